#include <HalvoAPI/ReleaseRecords.h>

#include <Models/JSONFields.h>

namespace halvo {

Release ReleaseResponse::release() const {
    return {.id = id,
            .title = title,
            .bundleVersion = bundleVersion,
            .bundleVersionString = bundleVersionString,
            .releaseNotes = releaseNotes,
            .minimumSystemVersion = minimumSystemVersion,
            .fileSize = fileSize,
            .downloadURL = downloadURL,
            .channel = channel,
            .isPhasedRollout = isPhasedRollout,
            .isCritical = isCritical,
            .isPublished = isPublished,
            .createdAt = createdAt,
            .updatedAt = updatedAt};
}

UpdateReleaseRequest UpdateReleaseRequest::editing(const Release& release) {
    return {.id = release.id,
            .title = release.title,
            .releaseNotes = release.releaseNotes,
            .minimumSystemVersion = release.minimumSystemVersion,
            .channel = release.channel.value_or(""), // left out, it would stay as it is
            .isPhasedRollout = release.isPhasedRollout,
            .isCritical = release.isCritical,
            .isPublished = release.isPublished};
}

void from_json(const nlohmann::json& json, ReleaseResponse& response) {
    const FieldReader fields(json, DateForm::iso8601);
    fields.required("id", response.id);
    fields.required("title", response.title);
    fields.required("bundleVersion", response.bundleVersion);
    fields.required("bundleVersionString", response.bundleVersionString);
    fields.required("releaseNotes", response.releaseNotes);
    fields.required("minimumSystemVersion", response.minimumSystemVersion);
    fields.required("fileSize", response.fileSize);
    fields.optional("downloadURL", response.downloadURL);
    fields.optional("channel", response.channel);
    fields.required("isPhasedRollout", response.isPhasedRollout);
    fields.required("isCritical", response.isCritical);
    fields.required("isPublished", response.isPublished);
    fields.optional("createdAt", response.createdAt);
    fields.optional("updatedAt", response.updatedAt);
}

void to_json(nlohmann::json& json, const CreateReleaseRequest& request) {
    FieldWriter(json)
        .field("title", request.title)
        .field("bundleVersion", request.bundleVersion)
        .field("bundleVersionString", request.bundleVersionString)
        .field("releaseNotes", request.releaseNotes)
        .field("minimumSystemVersion", request.minimumSystemVersion)
        .field("fileSize", request.fileSize)
        .field("signature", request.signature)
        .field("isPublished", request.isPublished)
        .field("channel", request.channel)
        .field("isPhasedRollout", request.isPhasedRollout)
        .field("isCritical", request.isCritical)
        .field("criticalUpdateBelowReleaseID", request.criticalUpdateBelowReleaseID)
        .field("appID", request.appID);
}

void to_json(nlohmann::json& json, const UpdateReleaseRequest& request) {
    FieldWriter(json)
        .field("id", request.id)
        .field("title", request.title)
        .field("bundleVersion", request.bundleVersion)
        .field("bundleVersionString", request.bundleVersionString)
        .field("releaseNotes", request.releaseNotes)
        .field("minimumSystemVersion", request.minimumSystemVersion)
        .field("signature", request.signature)
        .field("channel", request.channel)
        .field("isPhasedRollout", request.isPhasedRollout)
        .field("isCritical", request.isCritical)
        .field("isPublished", request.isPublished)
        .field("criticalUpdateBelowReleaseID", request.criticalUpdateBelowReleaseID);
}

} // namespace halvo
