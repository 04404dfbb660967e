#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace halvo {

/// A UUID of RFC 4122. Its text is upper-case with hyphens, everywhere in this program.
class UUID {
public:
    using Raw = std::array<std::uint8_t, 16>;

    /// The nil UUID.
    UUID() = default;
    explicit UUID(const Raw& bytes) : raw(bytes) {}
    /// A new version-4 UUID from the system's random source.
    static UUID random();
    /// Either case of letters; absent for anything but 8-4-4-4-12 hexadecimal digits.
    static std::optional<UUID> parse(std::string_view text);

    const Raw& bytes() const { return raw; }
    std::string string() const;

    auto operator<=>(const UUID&) const = default;

private:
    Raw raw{};
};

} // namespace halvo
