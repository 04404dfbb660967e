#include <HalvoNotarization/XcodeArchiveService.h>

#include "Duration.h"

#include <Base/Text.h>
#include <Base/Unicode.h>

#include <algorithm>

#include <nlohmann/json.hpp>

namespace halvo {
namespace {

using nlohmann::json;

constexpr std::size_t schemesLimit = 256 << 10;
constexpr std::size_t buildSettingsLimit =
    1 << 30; // 30 KB for each target and more: a bound against a tool gone mad

/// The JSON of an output that log lines may precede, as far as the filter keeps it. Absent when there is
/// none.
std::optional<json> parseOutput(std::string_view output, const json::parser_callback_t& filter = nullptr) {
    int attempts = 16; // log lines may begin with a bracket too, but not without end
    for (std::size_t line = 0; line < output.size() && attempts > 0;) {
        if (output[line] == '{' || output[line] == '[' || line == 0) {
            --attempts;
            json value = json::parse(output.substr(line), filter, /*allow_exceptions=*/false);
            if (!value.is_discarded())
                return value;
        }
        const std::size_t end = output.find('\n', line);
        line = end == std::string_view::npos ? output.size() : end + 1;
    }
    return std::nullopt;
}

const json* member(const json& object, const char* key) {
    const auto entry = object.is_object() ? object.find(key) : object.end();
    return entry != object.end() ? &*entry : nullptr;
}

/// Empty when the key is missing or holds something else.
std::string textMember(const json& object, const char* key) {
    const json* value = member(object, key);
    return value && value->is_string() ? value->get<std::string>() : std::string();
}

/// The leading lines of what a failed query said; `fallback` when that is nothing.
std::string leadingLines(const std::string& text, std::string_view fallback) {
    constexpr std::size_t shown = 10;
    std::vector<std::string> lines;
    for (const std::string& line : split(repairedUTF8(text), '\n'))
        if (!trimmed(line).empty() && lines.size() < shown)
            lines.push_back(line);
    return lines.empty() ? std::string(fallback) : joined(lines, "\n");
}

void requireProject(const std::filesystem::path& project) {
    std::error_code unreadable;
    if (!std::filesystem::exists(project, unreadable))
        throw XcodeArchiveError(XcodeArchiveError::ProjectNotFound{project});
}

const char* projectOption(ProjectType type) {
    return type == ProjectType::workspace ? "-workspace" : "-project";
}

[[noreturn]] void failSchemes(std::string text) {
    throw XcodeArchiveError(XcodeArchiveError::FailedToParseSchemes{std::move(text)});
}

[[noreturn]] void failBuildSettings(std::string text) {
    throw XcodeArchiveError(XcodeArchiveError::FailedToReadBuildSettings{std::move(text)});
}

} // namespace

ProcessResult XcodeArchiveService::runQuery(const Arguments& arguments, std::size_t outputLimit) {
    const std::string timeout =
        "xcodebuild did not exit within " + durationText(services.limits.query) +
        " and was killed. Raise HALVO_XCODEBUILD_QUERY_TIMEOUT (seconds) if this machine is legitimately slow.";
    for (const bool again : {true, false}) {
        try {
            return services.processes.run({.executable = "/usr/bin/xcodebuild",
                                           .arguments = arguments,
                                           .ownGroup = true,
                                           .outputLimit = outputLimit,
                                           .timeLimit = services.limits.query,
                                           .teardown = {{SIGKILL, std::chrono::seconds(1)}},
                                           .cancellation = cancellation});
        } catch (const ProcessError& error) {
            if (!error.is<ProcessError::TimeLimitExceeded>())
                throw;
        }
        if (again)
            services.log.write(LogLevel::error, "XcodeArchiveService",
                               "halvo: " + timeout + " Retrying the query once.");
    }
    throw Failure(timeout);
}

std::string XcodeArchiveService::bundleIdentifier(const std::filesystem::path& project, ProjectType type,
                                                  const std::string& scheme) {
    requireProject(project);
    Arguments arguments{projectOption(type), project.string(),     "-scheme", scheme,
                        "archive",           "-showBuildSettings", "-json"};
    const Arguments packages = clonedSourcePackagesArguments();
    arguments.insert(arguments.end(), packages.begin(), packages.end());
    ProcessResult result;
    try {
        result = runQuery(arguments, buildSettingsLimit);
    } catch (const Failure& failure) {
        failBuildSettings("Failed to run xcodebuild: " + failure.description());
    }
    if (!result.succeeded())
        failBuildSettings(leadingLines(result.standardError, "xcodebuild -showBuildSettings failed"));
    auto identifier = parseBundleIdentifier(result.standardOutput);
    if (!identifier)
        failBuildSettings("No PRODUCT_BUNDLE_IDENTIFIER in build settings for scheme '" + scheme + "'");
    return *identifier;
}

std::vector<std::string> XcodeArchiveService::listSchemes(const std::filesystem::path& project,
                                                          ProjectType type) {
    requireProject(project);
    ProcessResult result;
    try {
        result = runQuery({"-list", "-json", projectOption(type), project.string()}, schemesLimit);
    } catch (const Failure& failure) {
        failSchemes("Failed to run xcodebuild: " + failure.description());
    }
    if (!result.succeeded())
        failSchemes(leadingLines(result.standardError, "Failed to list schemes"));
    return parseSchemes(result.standardOutput, type);
}

std::optional<std::string> XcodeArchiveService::parseBundleIdentifier(std::string_view output) {
    // A target has some 500 settings, and large projects hundreds of targets: what does not count is never
    // kept.
    const auto counts = [](int depth, json::parse_event_t event, const json& parsed) {
        constexpr int ofSettings = 3; // [ { "buildSettings": { key
        return event != json::parse_event_t::key || depth != ofSettings || parsed == "PRODUCT_TYPE" ||
               parsed == "PRODUCT_BUNDLE_IDENTIFIER";
    };
    const auto targets = parseOutput(output, counts);
    if (!targets || !targets->is_array())
        return std::nullopt;
    std::optional<std::string> first;
    for (const json& target : *targets) {
        const json* settings = member(target, "buildSettings");
        const std::string identifier = settings ? textMember(*settings, "PRODUCT_BUNDLE_IDENTIFIER") : "";
        if (identifier.empty())
            continue;
        if (textMember(*settings, "PRODUCT_TYPE") == "com.apple.product-type.application")
            return identifier;
        if (!first)
            first = identifier;
    }
    return first;
}

std::vector<std::string> XcodeArchiveService::parseSchemes(std::string_view output, ProjectType type) {
    if (!isValidUTF8(output))
        failSchemes("Invalid output encoding");
    const auto list = parseOutput(output);
    const json* container =
        list ? member(*list, type == ProjectType::workspace ? "workspace" : "project") : nullptr;
    const json* schemes = container ? member(*container, "schemes") : nullptr;
    if (!schemes || !schemes->is_array())
        failSchemes("The output of xcodebuild -list holds no schemes");
    std::vector<std::string> names;
    for (const json& scheme : *schemes) {
        if (!scheme.is_string())
            failSchemes("The output of xcodebuild -list holds a scheme that is not a text");
        names.push_back(scheme.get<std::string>());
    }
    std::sort(names.begin(), names.end());
    return names;
}

} // namespace halvo
