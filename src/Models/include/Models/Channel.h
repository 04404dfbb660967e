#pragma once

#include <Base/Failure.h>

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace halvo {

/// A name that cannot be a release channel.
struct ChannelCases {
    struct TooLong {
        std::size_t max = 0;
        std::string description() const {
            return "Channel name must be at most " + std::to_string(max) + " characters.";
        }
        bool operator==(const TooLong&) const = default;
    };
    struct Reserved {
        std::string name;
        std::string description() const {
            return "Channel name '" + name + "' is reserved and cannot be used.";
        }
        bool operator==(const Reserved&) const = default;
    };
    struct InvalidFormat {
        std::string description() const {
            return "Channel name must be lowercase alphanumeric with internal hyphens (e.g. beta, nightly-build).";
        }
        bool operator==(const InvalidFormat&) const = default;
    };
    using Case = std::variant<TooLong, Reserved, InvalidFormat>;
};
using ChannelError = FailureOf<ChannelCases>;

/// The rules of a channel's name. The default channel has none.
struct Channel {
    Channel() = delete;

    static constexpr std::size_t maxLength = 50;
    static constexpr std::string_view reservedNames[] = {"unreleased"};

    /// Throws ChannelError unless the name is made of lower-case letters, digits and inner hyphens, is not
    /// too long and is not reserved.
    static void validate(std::string_view name);
    /// The name that a person typed, without blanks around it; absent for the default channel, which is typed
    /// as nothing or "stable". Throws ChannelError.
    static std::optional<std::string> normalize(std::string_view input);
};

} // namespace halvo
