#pragma once

#include <Base/UUID.h>

#include <string>

namespace halvo {

/// An account of the hosted service.
struct User {
    UUID id{};
    std::string name{};
    std::string email{};

    static void fields(auto& user, auto&& field) {
        field("id", user.id);
        field("name", user.name);
        field("email", user.email);
    }

    bool operator==(const User&) const = default;
};

} // namespace halvo
