#pragma once

#include <optional>
#include <string>

namespace halvo {

/// Where the bearer token of the hosted service comes from.
class TokenProviding {
public:
    virtual ~TokenProviding() = default;
    /// Absent when nobody is logged in.
    virtual std::optional<std::string> getToken() = 0;
};

} // namespace halvo
