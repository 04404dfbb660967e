#pragma once

#include <Base/Bytes.h>
#include <Models/App.h>
#include <Models/ImportedBundle.h>

/// Records for the companion Mac app, which is built on the same modules. No command of `halvo` uses them.
namespace halvo {

/// The back end of an app: the hosted service, or an S3 bucket with an appcast.
enum class AppType { halvo, s3 };

constexpr const char* rawValue(AppType type) { return type == AppType::halvo ? "halvo" : "s3"; }

/// What a release needs before it starts, as it is handed from one process to another. Holds secrets.
struct ReleaseContext {
    UUID id{};
    ImportedBundle importedBundle{};
    App app{};
    Bytes privateKeyData{}; ///< the raw Ed25519 key that signs the update
    std::optional<S3Credentials> s3Credentials{};

    static void fields(auto& context, auto&& field) {
        field("id", context.id);
        field("importedBundle", context.importedBundle);
        field("app", context.app);
        field("privateKeyData", context.privateKeyData);
        field("s3Credentials", context.s3Credentials);
    }

    bool operator==(const ReleaseContext&) const = default;
};

} // namespace halvo
