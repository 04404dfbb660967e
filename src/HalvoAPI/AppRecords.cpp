#include <HalvoAPI/AppRecords.h>

#include <Models/JSONFields.h>

#include <algorithm>
#include <iterator>

namespace halvo {

ServerApp AppResponse::app() const {
    ServerApp app{.id = id,
                  .name = name,
                  .bundleIdentifier = bundleIdentifier,
                  .edDSAPublicKey = edDSAPublicKey,
                  .fullReleaseNotesURL = fullReleaseNotesURL,
                  .iconURL = iconURL,
                  .appcastURL = appcastURL,
                  .customDomain = customDomain,
                  .stripeSecretKey = stripeSecretKey,
                  .stripeWebhookSecret = stripeWebhookSecret,
                  .stripeManagedPayments = stripeManagedPayments};
    std::ranges::transform(releases, std::back_inserter(app.releases), &ReleaseResponse::release);
    return app;
}

UpdateAppRequest UpdateAppRequest::editing(const ServerApp& app) {
    return {.id = app.id,
            .edDSAPublicKey = app.edDSAPublicKey,
            .fullReleaseNotesURL = app.fullReleaseNotesURL,
            .customDomain = app.customDomain,
            .stripeSecretKey = app.stripeSecretKey,
            .stripeWebhookSecret = app.stripeWebhookSecret,
            .stripeManagedPayments = app.stripeManagedPayments};
}

void from_json(const nlohmann::json& json, AppResponse& response) {
    const FieldReader fields(json, DateForm::iso8601);
    fields.required("id", response.id);
    fields.required("name", response.name);
    fields.required("bundleIdentifier", response.bundleIdentifier);
    fields.optional("edDSAPublicKey", response.edDSAPublicKey);
    fields.optional("fullReleaseNotesURL", response.fullReleaseNotesURL);
    fields.optional("iconURL", response.iconURL);
    fields.required("appcastURL", response.appcastURL);
    fields.optional("customDomain", response.customDomain);
    fields.optional("stripeSecretKey", response.stripeSecretKey);
    fields.optional("stripeWebhookSecret", response.stripeWebhookSecret);
    fields.required("stripeManagedPayments", response.stripeManagedPayments);
    fields.required("releases", response.releases);
}

void to_json(nlohmann::json& json, const CreateAppRequest& request) {
    FieldWriter(json)
        .field("name", request.name)
        .field("bundleIdentifier", request.bundleIdentifier)
        .field("edDSAPublicKey", request.edDSAPublicKey);
}

void to_json(nlohmann::json& json, const UpdateAppRequest& request) {
    FieldWriter(json)
        .field("id", request.id)
        .field("edDSAPublicKey", request.edDSAPublicKey)
        .field("fullReleaseNotesURL", request.fullReleaseNotesURL)
        .field("customDomain", request.customDomain)
        .field("stripeSecretKey", request.stripeSecretKey)
        .field("stripeWebhookSecret", request.stripeWebhookSecret)
        .field("stripeManagedPayments", request.stripeManagedPayments);
}

void from_json(const nlohmann::json& json, DailyDownloads& downloads) {
    const FieldReader fields(json);
    fields.required("date", downloads.date);
    fields.required("downloads", downloads.downloads);
}

void from_json(const nlohmann::json& json, DownloadsResponse& response) {
    const FieldReader fields(json);
    fields.required("total", response.total);
    fields.required("daily", response.daily);
}

} // namespace halvo
