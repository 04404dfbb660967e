#include <Base/Text.h>

#include <array>
#include <charconv>

#include <fmt/format.h>

namespace halvo {
namespace {

constexpr char lower(char character) {
    return character >= 'A' && character <= 'Z' ? static_cast<char>(character + 32) : character;
}

constexpr char upper(char character) {
    return character >= 'a' && character <= 'z' ? static_cast<char>(character - 32) : character;
}

/// Decimals as macOS shows them: none for KB, one for MB, two from GB on; closing zeros go.
std::string withDecimals(double value, int decimals) {
    std::string text = fmt::format("{:.{}f}", value, decimals);
    if (decimals > 0) {
        text.erase(text.find_last_not_of('0') + 1);
        if (text.back() == '.')
            text.pop_back();
    }
    return text;
}

} // namespace

std::string_view trimmed(std::string_view text) {
    static constexpr std::string_view blanks = " \t\r\n\v\f";
    const std::size_t first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos)
        return text.substr(0, 0);
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

std::string lowercased(std::string_view text) {
    std::string result(text);
    for (char& character : result)
        character = lower(character);
    return result;
}

std::string uppercased(std::string_view text) {
    std::string result(text);
    for (char& character : result)
        character = upper(character);
    return result;
}

std::vector<std::string> split(std::string_view text, char separator) {
    std::vector<std::string> parts;
    for (std::size_t start = 0;;) {
        const std::size_t end = text.find(separator, start);
        parts.emplace_back(text.substr(start, end - start));
        if (end == std::string_view::npos)
            return parts;
        start = end + 1;
    }
}

std::string joined(const std::vector<std::string>& parts, std::string_view separator) {
    std::string text;
    for (std::size_t index = 0; index < parts.size(); ++index) {
        if (index > 0)
            text += separator;
        text += parts[index];
    }
    return text;
}

std::string replacingAll(std::string text, std::string_view from, std::string_view to) {
    for (std::size_t position = text.find(from); position != std::string::npos;
         position = text.find(from, position + to.size()))
        text.replace(position, from.size(), to);
    return text;
}

bool containsIgnoringCase(std::string_view text, std::string_view part) {
    return lowercased(text).find(lowercased(part)) != std::string::npos;
}

std::optional<std::int64_t> parseInteger(std::string_view text) {
    if (text.starts_with('+')) {
        text.remove_prefix(1);
        if (text.starts_with('-'))
            return std::nullopt;
    }
    std::int64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size())
        return std::nullopt;
    return value;
}

std::string formatByteCount(std::uint64_t bytes) {
    if (bytes == 0)
        return "Zero KB";
    if (bytes == 1)
        return "1 byte";
    if (bytes < 1000)
        return fmt::format("{} bytes", bytes);
    struct Unit {
        const char* name;
        int decimals;
    };
    static constexpr std::array<Unit, 6> units{
        {{"KB", 0}, {"MB", 1}, {"GB", 2}, {"TB", 2}, {"PB", 2}, {"EB", 2}}};
    double value = static_cast<double>(bytes) / 1000;
    std::size_t unit = 0;
    // 999.6 KB would read "1000 KB": the rounded value decides, not the exact one.
    while (unit + 1 < units.size() && value >= (units[unit].decimals == 0 ? 999.5 : 999.95)) {
        value /= 1000;
        ++unit;
    }
    return withDecimals(value, units[unit].decimals) + " " + units[unit].name;
}

} // namespace halvo
