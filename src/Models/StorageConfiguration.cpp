#include <Models/StorageConfiguration.h>

#include <Models/JSONFields.h>

namespace halvo {

std::optional<URL> parseWebAddress(std::string_view text) {
    const auto url = URL::parse(text); // which asks for a host where the scheme is one of these two
    return url && (url->scheme() == "https" || url->scheme() == "http") ? url : std::nullopt;
}

std::optional<std::string> S3Configuration::parsePathPrefix(std::string_view text) {
    const std::size_t first = text.find_first_not_of('/');
    if (first == std::string_view::npos)
        return std::nullopt;
    return std::string(text.substr(first, text.find_last_not_of('/') - first + 1));
}

std::string S3Configuration::s3Key(const std::string& name) const {
    return pathPrefix.value_or("").empty() ? name : *pathPrefix + "/" + name;
}

URL S3Configuration::downloadURL(const std::string& name) const {
    return publicBaseURL.appendingPath(s3Key(name));
}

void to_json(nlohmann::json& json, const S3Configuration& configuration) {
    FieldWriter(json)
        .field("bucket", configuration.bucket)
        .field("region", configuration.region)
        .field("endpoint", configuration.endpoint)
        .field("pathPrefix", configuration.pathPrefix)
        .field("publicBaseURL", configuration.publicBaseURL)
        .field("appcastPath", configuration.appcastPath);
}

void from_json(const nlohmann::json& json, S3Configuration& configuration) {
    const FieldReader fields(json);
    fields.required("bucket", configuration.bucket);
    fields.required("region", configuration.region);
    fields.optional("endpoint", configuration.endpoint);
    fields.optional("pathPrefix", configuration.pathPrefix);
    fields.required("publicBaseURL", configuration.publicBaseURL);
    fields.required("appcastPath", configuration.appcastPath);
}

void to_json(nlohmann::json& json, const StorageConfiguration& configuration) {
    writeTagged(json, "s3").field(unnamedPayload, configuration.s3());
}

void from_json(const nlohmann::json& json, StorageConfiguration& configuration) {
    const TaggedReader tagged(json);
    if (tagged.name() != "s3")
        throw tagged.unknownCase("s3");
    tagged.required(unnamedPayload, configuration.value.emplace<S3Configuration>());
}

void to_json(nlohmann::json& json, const S3Credentials& credentials) {
    FieldWriter(json)
        .field("accessKeyID", credentials.accessKeyID)
        .field("secretAccessKey", credentials.secretAccessKey);
}

void from_json(const nlohmann::json& json, S3Credentials& credentials) {
    const FieldReader fields(json);
    fields.required("accessKeyID", credentials.accessKeyID);
    fields.required("secretAccessKey", credentials.secretAccessKey);
}

} // namespace halvo
