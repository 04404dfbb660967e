#include <Models/AppType.h>

namespace halvo {

std::string_view rawValue(AppType type) { return type == AppType::halvo ? "halvo" : "s3"; }

std::optional<AppType> parseAppType(std::string_view text) {
    for (const AppType type : {AppType::halvo, AppType::s3})
        if (text == rawValue(type))
            return type;
    return std::nullopt;
}

} // namespace halvo
