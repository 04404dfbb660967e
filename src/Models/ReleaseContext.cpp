#include <Models/ReleaseContext.h>

#include <Models/JSONFields.h>

namespace halvo {

void to_json(nlohmann::json& json, const ReleaseContext& context) {
    FieldWriter(json)
        .field("id", context.id)
        .field("importedBundle", context.importedBundle)
        .field("app", context.app)
        .field("privateKeyData", context.privateKeyData)
        .field("s3Credentials", context.s3Credentials);
}

void from_json(const nlohmann::json& json, ReleaseContext& context) {
    const FieldReader fields(json);
    fields.required("id", context.id);
    fields.required("importedBundle", context.importedBundle);
    fields.required("app", context.app);
    fields.required("privateKeyData", context.privateKeyData);
    fields.optional("s3Credentials", context.s3Credentials);
}

} // namespace halvo
