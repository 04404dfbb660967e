#pragma once

#include <Base/Date.h>

#include <cstdint>
#include <optional>
#include <string>
#include <variant>

namespace halvo {

/// The value of `--build-number`.
struct BuildNumber {
    struct Explicit {
        std::int64_t value = 0; ///< above zero
        bool operator==(const Explicit&) const = default;
    };
    struct Auto { ///< one past the highest released build number
        bool operator==(const Auto&) const = default;
    };
    struct Timestamp { ///< the time of the run, yyyyMMddHHmmss in UTC
        bool operator==(const Timestamp&) const = default;
    };
    std::variant<Auto, Explicit, Timestamp> kind = Auto();

    /// "auto" and "timestamp" in any case, or a positive integer; absent for anything else.
    static std::optional<BuildNumber> parse(const std::string& argument);
    /// Absent for `Auto`, which only the destination can tell.
    std::optional<std::int64_t> resolve(Date now) const;

    bool operator==(const BuildNumber&) const = default;
};

} // namespace halvo
