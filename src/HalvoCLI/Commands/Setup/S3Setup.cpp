#include "Commands/Setup/S3Setup.h"

#include "Output/CLIError.h"

namespace halvo {
namespace {

using Value = std::optional<std::string>;

/// Asks for a value, which `given` answers when nothing is typed.
std::string ask(Terminal& terminal, const char* title, const char* question, const char* option,
                const Value& given = {}) {
    return terminal.textPrompt({.title = title,
                                .prompt = question,
                                .defaultValue = given,
                                .hint = std::string("Pass ") + option + "."});
}

S3DestinationOptions::Resolved askForDestination(const S3DestinationOptions::Resolved& given,
                                                 Terminal& terminal) {
    S3DestinationOptions::Resolved answers = given;
    answers.bucket = ask(terminal, "S3 Bucket", "What is the S3 bucket name?", "--s3-bucket");
    answers.region =
        ask(terminal, "S3 Region", "What is the S3 region? (e.g., us-east-1)", "--s3-region", given.region);
    answers.publicUrl = ask(terminal, "Public URL", "What is the public base URL for downloads?",
                            "--s3-public-url", given.publicUrl);
    answers.endpoint = ask(terminal, "Endpoint", "Custom S3 endpoint URL (leave empty for default)",
                           "--s3-endpoint", given.endpoint);
    answers.pathPrefix = ask(terminal, "Path Prefix", "Path prefix for uploaded files (leave empty for none)",
                             "--s3-path-prefix", given.pathPrefix);
    return answers;
}

} // namespace

S3Configuration resolveS3Configuration(const S3DestinationOptions& options, const Environment& environment,
                                       Terminal& terminal) {
    S3DestinationOptions::Resolved values = options.resolved(environment);
    if (!values.bucket)
        values = askForDestination(values, terminal);
    if (values.bucket.value_or("").empty() || values.publicUrl.value_or("").empty())
        throw Failure("Invalid S3 configuration. Bucket and public URL are required.");
    const S3DestinationOptions complete{.bucket = values.bucket,
                                        .region = values.region,
                                        .publicUrl = values.publicUrl,
                                        .endpoint = values.endpoint,
                                        .pathPrefix = values.pathPrefix,
                                        .appcastPath = values.appcastPath};
    // An answer that was left empty is one, which no variable fills in.
    return complete.makeConfiguration(Environment()).value();
}

S3Credentials resolveS3Credentials(const SetupOptions& options, Terminal& terminal) {
    const std::string accessKeyID = options.s3AccessKeyID.value_or("");
    const std::string secretAccessKey = options.s3SecretAccessKey.value_or("");
    if (!accessKeyID.empty() && !secretAccessKey.empty())
        return {.accessKeyID = accessKeyID, .secretAccessKey = secretAccessKey};
    const auto notEmpty = [](const std::string& answer) {
        return answer.empty() ? std::optional<std::string>("S3 needs both halves of the key.") : std::nullopt;
    };
    const std::string hint = "Pass both --s3-access-key-id and --s3-secret-access-key.";
    S3Credentials credentials;
    credentials.accessKeyID =
        terminal.textPrompt({.title = "S3 Access Key ID",
                             .prompt = "What is your S3 access key ID?",
                             .defaultValue = accessKeyID.empty() ? std::nullopt : std::optional(accessKeyID),
                             .validation = notEmpty,
                             .hint = hint});
    credentials.secretAccessKey = terminal.textPrompt({.title = "S3 Secret Access Key",
                                                       .prompt = "What is your S3 secret access key?",
                                                       .secure = true,
                                                       .validation = notEmpty,
                                                       .hint = hint});
    return credentials;
}

} // namespace halvo
