#include <Models/CodesignIdentity.h>

#include <Models/JSONFields.h>

namespace halvo {

void to_json(nlohmann::json& json, const CodesignIdentity& identity) {
    FieldWriter(json)
        .field("hash", identity.hash)
        .field("name", identity.name)
        .field("teamID", identity.teamID);
}

void from_json(const nlohmann::json& json, CodesignIdentity& identity) {
    const FieldReader fields(json);
    fields.required("hash", identity.hash);
    fields.required("name", identity.name);
    fields.required("teamID", identity.teamID);
}

} // namespace halvo
