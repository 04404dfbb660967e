#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

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

/// In JSON (of nlohmann's library, which this header does without) an object with the one key `rawValue`.
template<typename JSON>
void to_json(JSON& json, FourCC code) {
    json["rawValue"] = code.rawValue;
}
/// Throws the library's failure, and std::out_of_range for a number that is not of 32 bits.
template<typename JSON>
void from_json(const JSON& json, FourCC& code) {
    const auto number = json.at("rawValue").template get<std::int64_t>();
    if (number < 0 || number > UINT32_MAX)
        throw std::out_of_range("rawValue must be a number of 32 bits");
    code.rawValue = static_cast<std::uint32_t>(number);
}

} // namespace halvo::dsstore
