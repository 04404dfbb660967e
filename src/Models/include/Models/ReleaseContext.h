#pragma once

#include <Base/Bytes.h>
#include <Models/App.h>
#include <Models/ImportedBundle.h>

namespace halvo {

/// What a release needs before it starts. Holds secrets.
struct ReleaseContext {
    UUID id{};
    ImportedBundle importedBundle{};
    App app{};
    Bytes privateKeyData{}; ///< the raw Ed25519 key that signs the update
    std::optional<S3Credentials> s3Credentials{};

    bool operator==(const ReleaseContext&) const = default;
};

void to_json(nlohmann::json& json, const ReleaseContext& context);
void from_json(const nlohmann::json& json, ReleaseContext& context); ///< throws ModelError

} // namespace halvo
