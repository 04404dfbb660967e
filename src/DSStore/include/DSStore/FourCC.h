#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <nlohmann/json_fwd.hpp>

namespace halvo::dsstore {

/// Four ASCII bytes as one big-endian number, such as "Iloc".
struct FourCC {
    std::uint32_t rawValue = 0;

    constexpr FourCC() = default;
    constexpr explicit FourCC(std::uint32_t rawValue) : rawValue(rawValue) {}
    /// A code that stands in the source: `FourCC("Iloc")`.
    constexpr explicit FourCC(const char (&code)[5]) {
        for (std::size_t index = 0; index < 4; ++index)
            rawValue = rawValue << 8 | static_cast<std::uint8_t>(code[index]);
    }

    /// Absent unless the text is exactly four ASCII characters.
    static std::optional<FourCC> parse(std::string_view text);

    /// The four characters, or "????" when they are not ASCII.
    std::string stringValue() const;

    constexpr auto operator<=>(const FourCC&) const = default; // NOLINT(modernize-use-nullptr)
};

/// An object with the one key `rawValue`.
void to_json(nlohmann::json& json, const FourCC& code);
/// Throws nlohmann::json::exception when the key is missing or no number of 32 bits.
void from_json(const nlohmann::json& json, FourCC& code);

} // namespace halvo::dsstore
