#include "Output/OutputFormat.h"

namespace halvo {

std::optional<OutputFormat> parseOutputFormat(const std::string& text) {
    if (text == "text")
        return OutputFormat::text;
    if (text == "json")
        return OutputFormat::json;
    return std::nullopt;
}

const std::vector<std::string>& outputFormatNames() {
    static const std::vector<std::string> names{"text", "json"};
    return names;
}

} // namespace halvo
