#include "Commands/S3DestinationOptions.h"

#include "Output/CLIError.h"

#include <Base/Text.h>

namespace halvo {
namespace {

URL parseAddress(const std::string& text, const char* option) {
    const auto url = parseWebAddress(text);
    if (!url)
        throw CLIError("invalid_argument", std::string(option) + " is not a valid URL: " + text);
    return *url;
}

} // namespace

std::optional<std::string> firstNonEmpty(const std::optional<std::string>& option,
                                         const Environment& environment, const char* variable) {
    return option && !option->empty() ? option : environment.nonEmpty(variable);
}

void S3DestinationOptions::declare(CommandArguments& arguments) {
    arguments.option("--s3-bucket", bucket, "S3 bucket name (or HALVO_S3_BUCKET)");
    arguments.option("--s3-region", region, "S3 region, e.g. us-east-1 (or HALVO_S3_REGION)");
    arguments.option("--s3-public-url", publicUrl,
                     "S3 public base URL for downloads (or HALVO_S3_PUBLIC_URL)");
    arguments.option("--s3-endpoint", endpoint, "Custom S3 endpoint URL (or HALVO_S3_ENDPOINT)");
    arguments.option("--s3-path-prefix", pathPrefix,
                     "S3 path prefix for uploaded files (or HALVO_S3_PATH_PREFIX)");
    arguments.option("--s3-appcast-path", appcastPath,
                     "Path to appcast.xml within the bucket (or HALVO_S3_APPCAST_PATH)");
}

S3DestinationOptions::Resolved S3DestinationOptions::resolved(const Environment& environment) const {
    return {.bucket = firstNonEmpty(bucket, environment, "HALVO_S3_BUCKET"),
            .region = firstNonEmpty(region, environment, "HALVO_S3_REGION"),
            .publicUrl = firstNonEmpty(publicUrl, environment, "HALVO_S3_PUBLIC_URL"),
            .endpoint = firstNonEmpty(endpoint, environment, "HALVO_S3_ENDPOINT"),
            .pathPrefix = firstNonEmpty(pathPrefix, environment, "HALVO_S3_PATH_PREFIX"),
            .appcastPath = firstNonEmpty(appcastPath, environment, "HALVO_S3_APPCAST_PATH")};
}

std::optional<S3Configuration> S3DestinationOptions::makeConfiguration(const Environment& environment) const {
    const Resolved values = resolved(environment);
    if (!values.bucket)
        return std::nullopt;
    std::vector<std::string> missing;
    if (!values.region)
        missing.emplace_back("--s3-region (or HALVO_S3_REGION)");
    if (!values.publicUrl)
        missing.emplace_back("--s3-public-url (or HALVO_S3_PUBLIC_URL)");
    if (!missing.empty())
        throw CLIError("invalid_argument", "Incomplete S3 destination for bucket \"" + *values.bucket +
                                               "\". Missing: " + joined(missing, ", ") + ".");
    S3Configuration configuration;
    configuration.bucket = *values.bucket;
    configuration.region = *values.region;
    configuration.publicBaseURL = parseAddress(*values.publicUrl, "--s3-public-url");
    if (values.endpoint)
        configuration.endpoint = parseAddress(*values.endpoint, "--s3-endpoint");
    configuration.pathPrefix = S3Configuration::parsePathPrefix(values.pathPrefix.value_or(""));
    configuration.appcastPath = values.appcastPath.value_or(S3Configuration::defaultAppcastPath);
    return configuration;
}

} // namespace halvo
