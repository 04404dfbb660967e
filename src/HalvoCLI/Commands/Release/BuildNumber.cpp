#include "Commands/Release/BuildNumber.h"

#include <Base/Text.h>

namespace halvo {

std::optional<BuildNumber> BuildNumber::parse(const std::string& argument) {
    const std::string text = lowercased(argument);
    if (text == "auto")
        return BuildNumber{Auto{}};
    if (text == "timestamp")
        return BuildNumber{Timestamp{}};
    const auto value = parseInteger(text);
    if (!value || *value <= 0)
        return std::nullopt;
    return BuildNumber{Explicit{*value}};
}

std::optional<std::int64_t> BuildNumber::resolve(Date now) const {
    if (const auto* number = std::get_if<Explicit>(&kind))
        return number->value;
    if (std::holds_alternative<Timestamp>(kind))
        return parseInteger(formatTimestamp(now));
    return std::nullopt;
}

} // namespace halvo
