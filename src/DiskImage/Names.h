#pragma once

#include <compare>
#include <optional>
#include <string>
#include <string_view>

namespace halvo::hfsplus {

/// In UTF-16 code units, as stored.
constexpr std::size_t longestName = 255;

/// A file's name as a volume stores it: UTF-16, decomposed as Unicode 3.2 does with the exceptions of HFS
/// Plus,
/// '/' for ':'. Absent for text that is not UTF-8. The length is not checked.
std::optional<std::u16string> storedName(std::string_view name);

/// The order of a catalog (TN1150, "Case-Insensitive String Comparison Algorithm"): code unit by code unit,
/// without case and without characters that do not show.
std::strong_ordering compareNames(std::u16string_view left, std::u16string_view right);

} // namespace halvo::hfsplus
