#include <Models/User.h>

#include <Models/JSONFields.h>

namespace halvo {

void to_json(nlohmann::json& json, const User& user) {
    FieldWriter(json).field("id", user.id).field("name", user.name).field("email", user.email);
}

void from_json(const nlohmann::json& json, User& user) {
    const FieldReader fields(json);
    fields.required("id", user.id);
    fields.required("name", user.name);
    fields.required("email", user.email);
}

} // namespace halvo
