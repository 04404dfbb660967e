#include <HalvoAPI/UserRecords.h>

#include <Models/JSONFields.h>

namespace halvo {

void to_json(nlohmann::json& json, const RegisterRequest& request) {
    FieldWriter(json)
        .field("email", request.email)
        .field("password", request.password)
        .field("name", request.name);
}

void to_json(nlohmann::json& json, const LoginRequest& request) {
    FieldWriter(json).field("email", request.email).field("password", request.password);
}

void to_json(nlohmann::json& json, const UserUpdateRequest& request) {
    FieldWriter(json).field("name", request.name);
}

void to_json(nlohmann::json& json, const PasswordResetRequest& request) {
    FieldWriter(json).field("email", request.email);
}

void to_json(nlohmann::json& json, const ChangePasswordRequest& request) {
    FieldWriter(json)
        .field("currentPassword", request.currentPassword)
        .field("newPassword", request.newPassword);
}

void from_json(const nlohmann::json& json, UserResponse& response) {
    const FieldReader fields(json);
    fields.required("id", response.id);
    fields.required("email", response.email);
    fields.required("name", response.name);
}

void from_json(const nlohmann::json& json, AuthResponse& response) {
    const FieldReader fields(json);
    fields.required("user", response.user);
    fields.required("token", response.token);
}

void from_json(const nlohmann::json& json, MessageResponse& response) {
    FieldReader(json).required("message", response.message);
}

} // namespace halvo
