#pragma once

#include <Models/User.h>

#include <string>

#include <nlohmann/json_fwd.hpp>

// What goes to and comes from the service about an account. JSON keys are the names of the fields.
namespace halvo {

struct RegisterRequest {
    std::string email{};
    std::string password{};
    std::string name{};
};

struct LoginRequest {
    std::string email{};
    std::string password{};
};

struct UserUpdateRequest {
    std::string name{};
};

struct PasswordResetRequest {
    std::string email{};
};

struct ChangePasswordRequest {
    std::string currentPassword{};
    std::string newPassword{};
};

struct UserResponse {
    UUID id{};
    std::string email{};
    std::string name{};

    User user() const { return {.id = id, .name = name, .email = email}; }

    bool operator==(const UserResponse&) const = default;
};

struct AuthResponse {
    UserResponse user{};
    std::string token{}; ///< the bearer token; secret

    bool operator==(const AuthResponse&) const = default;
};

struct MessageResponse {
    std::string message{};
};

void to_json(nlohmann::json& json, const RegisterRequest& request);
void to_json(nlohmann::json& json, const LoginRequest& request);
void to_json(nlohmann::json& json, const UserUpdateRequest& request);
void to_json(nlohmann::json& json, const PasswordResetRequest& request);
void to_json(nlohmann::json& json, const ChangePasswordRequest& request);
void from_json(const nlohmann::json& json, UserResponse& response);    ///< throws ModelError
void from_json(const nlohmann::json& json, AuthResponse& response);    ///< throws ModelError
void from_json(const nlohmann::json& json, MessageResponse& response); ///< throws ModelError

} // namespace halvo
