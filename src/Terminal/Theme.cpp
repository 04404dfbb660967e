#include <Terminal/Theme.h>

namespace halvo {

std::string_view Theme::parameters(TextStyle style) const {
    switch (style) {
    case TextStyle::plain: return {};
    case TextStyle::command: return command;
    case TextStyle::primary: return primary;
    case TextStyle::secondary: return secondary;
    case TextStyle::muted: return muted;
    case TextStyle::accent: return accent;
    case TextStyle::success: return success;
    case TextStyle::warning: return warning;
    case TextStyle::danger: return danger;
    case TextStyle::path: return path;
    case TextStyle::section: return section;
    }
    return {};
}

} // namespace halvo
