#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace halvo {

/// Without blanks, tabs and line breaks at both ends; the rest is borrowed.
std::string_view trimmed(std::string_view text);
/// ASCII letters only; every other byte stays.
std::string lowercased(std::string_view text);
std::string uppercased(std::string_view text);

/// The pieces between separators; `"a,,b"` has three.
std::vector<std::string> split(std::string_view text, char separator);
std::string joined(const std::vector<std::string>& parts, std::string_view separator);
std::string replacingAll(std::string text, std::string_view from, std::string_view to);
bool containsIgnoringCase(std::string_view text, std::string_view part);

/// A base-10 integer: an optional sign and digits, nothing else. Absent for anything else and on overflow.
std::optional<std::int64_t> parseInteger(std::string_view text);

/// A file size for people, in decimal units: "Zero KB", "512 bytes", "3 KB", "1.2 MB", "4.25 GB".
std::string formatByteCount(std::uint64_t bytes);

} // namespace halvo
