#include <HalvoDMG/DMGConfiguration.h>

#include <Models/JSONFields.h>

namespace halvo {

void to_json(nlohmann::json& json, const DMGConfiguration& configuration) {
    FieldWriter(json)
        .field("volumeName", configuration.volumeName)
        .field("volumeIcon", configuration.volumeIcon)
        .field("windowWidth", configuration.windowWidth)
        .field("windowHeight", configuration.windowHeight)
        .field("windowX", configuration.windowX)
        .field("windowY", configuration.windowY)
        .field("iconSize", configuration.iconSize)
        .field("textSize", configuration.textSize)
        .field("appIconX", configuration.appIconX)
        .field("appIconY", configuration.appIconY)
        .field("applicationsLinkX", configuration.applicationsLinkX)
        .field("applicationsLinkY", configuration.applicationsLinkY)
        .field("backgroundImage", configuration.backgroundImage);
}

void from_json(const nlohmann::json& json, DMGConfiguration& configuration) {
    const FieldReader fields(json);
    fields.optional("volumeName", configuration.volumeName);
    fields.optional("volumeIcon", configuration.volumeIcon);
    fields.required("windowWidth", configuration.windowWidth);
    fields.required("windowHeight", configuration.windowHeight);
    fields.required("windowX", configuration.windowX);
    fields.required("windowY", configuration.windowY);
    fields.required("iconSize", configuration.iconSize);
    fields.required("textSize", configuration.textSize);
    fields.required("appIconX", configuration.appIconX);
    fields.required("appIconY", configuration.appIconY);
    fields.required("applicationsLinkX", configuration.applicationsLinkX);
    fields.required("applicationsLinkY", configuration.applicationsLinkY);
    fields.optional("backgroundImage", configuration.backgroundImage);
}

} // namespace halvo
