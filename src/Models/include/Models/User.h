#pragma once

#include <Base/UUID.h>

#include <string>

#include <nlohmann/json_fwd.hpp>

namespace halvo {

/// An account of the hosted service.
struct User {
    UUID id{};
    std::string name{};
    std::string email{};

    bool operator==(const User&) const = default;
};

void to_json(nlohmann::json& json, const User& user);
void from_json(const nlohmann::json& json, User& user); ///< throws ModelError

} // namespace halvo
