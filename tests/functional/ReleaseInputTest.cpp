#include "ReleaseFixture.h"

#include <Base/Text.h>
#include <Support/CaseName.h>
#include <Support/FaultServer.h>

namespace halvo::test {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

constexpr const char* skip = "--skip-notarization";

struct FailureCase {
    const char* name;
    Arguments arguments;
    Variables changes;
    const char* code;
    std::string message;
    std::string textMessage{}; ///< where it differs without a format
};

/// A failed release in both formats, with the inputs that a table may name.
class ReleaseFailure : public ReleaseTest {
protected:
    ReleaseFailure() {
        AppBundle().writeTo(work);
        std::filesystem::create_directories(work / "Empty.app");
        std::filesystem::create_directories(work / "Demo.xcarchive");
        std::filesystem::create_directories(work / "projects/Demo.xcodeproj");
        for (const char* file : {"Demo.txt", "File.app"})
            folder.write(std::string("work/") + file, "content");
    }

    void expectFailure(const FailureCase& row) {
        const Outcome text = release(row.arguments, row.changes);
        const std::string message = row.textMessage.empty() ? row.message : row.textMessage;
        EXPECT_EQ(text.status, 1);
        if (std::string_view(row.code) == "missing_argument")
            EXPECT_THAT(text.output,
                        StartsWith(message + "\n\nOVERVIEW: Build, sign, notarize, and publish"));
        else
            EXPECT_THAT("\n" + text.output, EndsWith("\n" + message + "\n"));
        EXPECT_THAT(text.error, Not(HasSubstr("Error: ")));

        Arguments arguments = row.arguments;
        arguments.insert(arguments.end(), {"--format", "json"});
        const Outcome json = release(arguments, row.changes);
        EXPECT_EQ(json.status, 1);
        EXPECT_EQ(json.output, nlohmann::json({{"code", row.code}, {"message", row.message}}).dump() + "\n");
        EXPECT_THAT("\n" + json.error, HasSubstr("\nError: " + row.message + "\n")); // advice may follow

        const bool deprecated = std::ranges::count(row.arguments, "--beta") != 0;
        for (const Outcome& outcome : {text, json})
            EXPECT_EQ(
                outcome.error.starts_with("warning: --beta is deprecated; use --channel beta instead.\n"),
                deprecated);
    }
};

class RefusedOptions : public ReleaseFailure, public testing::WithParamInterface<FailureCase> {};

TEST_P(RefusedOptions, areReportedInBothFormats) { expectFailure(GetParam()); }

constexpr const char* projectOnly = "--build-number/--marketing-version/--bundle-id require building from an "
                                    "Xcode project or workspace";
constexpr const char* channelForm =
    "Release failed: Channel name must be lowercase alphanumeric with internal hyphens (e.g. beta, "
    "nightly-build).";

INSTANTIATE_TEST_SUITE_P(
    Release, RefusedOptions,
    testing::Values(
        FailureCase{"noPath",
                    {},
                    {},
                    "missing_argument",
                    "No path provided and no .xcodeproj found in current directory"},
        FailureCase{"noScheme",
                    {"projects/Demo.xcodeproj"},
                    {},
                    "missing_argument",
                    "--scheme is required when releasing from an Xcode project or workspace"},
        FailureCase{"betaAndChannel",
                    {"Demo.app", "--beta", "--channel", "nightly"},
                    {},
                    "invalid_argument",
                    "--channel nightly conflicts with --beta. Pass only one."},
        FailureCase{"betaAndStable",
                    {"Demo.app", "--beta", "--channel", "stable"},
                    {},
                    "invalid_argument",
                    "--channel stable conflicts with --beta. Pass only one."},
        FailureCase{"channelForm", {"Demo.app", "--channel", "Beta"}, {}, "release_failed", channelForm},
        FailureCase{"channelHyphen", {"Demo.app", "--channel", "beta-"}, {}, "release_failed", channelForm},
        FailureCase{"channelReserved",
                    {"Demo.app", "--channel", "unreleased"},
                    {},
                    "release_failed",
                    "Release failed: Channel name 'unreleased' is reserved and cannot be used."},
        FailureCase{
            "buildNumberOfAnApp", {"Demo.app", "--build-number", "4"}, {}, "invalid_argument", projectOnly},
        FailureCase{"profileOfAnApp",
                    {"Demo.app", "--provisioning-profile", "a"},
                    {},
                    "invalid_argument",
                    "--provisioning-profile requires an Xcode project, workspace, or archive"}),
    CaseName());

class RefusedInput : public ReleaseFailure, public testing::WithParamInterface<FailureCase> {};

TEST_P(RefusedInput, isReportedInBothFormats) { expectFailure(GetParam()); }

INSTANTIATE_TEST_SUITE_P(
    Release, RefusedInput,
    testing::Values(
        FailureCase{
            "otherFile", {"Demo.txt"}, {}, "release_failed", "Release failed: Unsupported format: txt"},
        FailureCase{"missingApp", {"None.app"}, {}, "release_failed", "Release failed: Invalid app bundle"},
        FailureCase{"fileNamedApp", {"File.app"}, {}, "release_failed", "Release failed: Invalid app bundle"},
        FailureCase{"emptyApp", {"Empty.app"}, {}, "release_failed", "Release failed: Invalid app bundle"}),
    CaseName());

class RefusedCredentials : public ReleaseFailure, public testing::WithParamInterface<FailureCase> {};

TEST_P(RefusedCredentials, areReportedInBothFormats) { expectFailure(GetParam()); }

INSTANTIATE_TEST_SUITE_P(
    Release, RefusedCredentials,
    testing::Values(
        FailureCase{"notNotarized",
                    {"Demo.app"},
                    {},
                    "notarization_not_configured",
                    "Notarization is not configured. Pass --skip-notarization to release without it, or "
                    "configure with `halvo config set release keychain-profile <name> -b com.example.demo`.",
                    "Confirmation required: Release without notarization?. Re-run interactively, or pass the "
                    "corresponding override flag (e.g. --skip-notarization) to proceed non-interactively."},
        FailureCase{"incompleteNotaryKey",
                    {"Demo.app"},
                    {{"ASC_API_KEY_ID", "ABC"}},
                    "invalid_argument",
                    "Incomplete ASC API key. Provide all of --asc-api-key-id/--asc-api-issuer/--asc-api-key "
                    "(or ASC_API_KEY_ID/ASC_API_ISSUER/ASC_API_KEY)."},
        FailureCase{"keyNoBase64",
                    {"Demo.app", skip},
                    {{"SPARKLE_PRIVATE_KEY", "*"}},
                    "invalid_argument",
                    "SPARKLE_PRIVATE_KEY is not valid base64. Get the correct value with `halvo export "
                    "sparkle-key -b com.example.demo`."},
        FailureCase{
            "keyOfAnotherLength",
            {"Demo.app", skip},
            {{"SPARKLE_PRIVATE_KEY", "AAAA"}},
            "release_failed",
            "Release failed: A key of 3 bytes is not an Ed25519 key: a private key has 32 or 96 bytes, a "
            "public key 32."},
        FailureCase{
            "noKey",
            {"Demo.app", skip, "--non-interactive"},
            {{"SPARKLE_PRIVATE_KEY", ""}},
            "signing_key_not_found",
            "No Sparkle signing key for com.example.demo. Provide --sparkle-private-key or set "
            "SPARKLE_PRIVATE_KEY (base64), or run `halvo export sparkle-key -b com.example.demo` on a "
            "machine that has it."},
        FailureCase{
            "noKeyInCI",
            {"Demo.app", skip},
            {{"SPARKLE_PRIVATE_KEY", ""}, {"CI", "true"}},
            "signing_key_not_found",
            "No Sparkle signing key for com.example.demo. Provide --sparkle-private-key or set "
            "SPARKLE_PRIVATE_KEY (base64), or run `halvo export sparkle-key -b com.example.demo` on a "
            "machine that has it."},
        FailureCase{
            "keyThatCannotBeOffered",
            {"Demo.app", skip},
            {{"SPARKLE_PRIVATE_KEY", ""}},
            "signing_key_not_found",
            "No Sparkle signing key for com.example.demo. Provide --sparkle-private-key or set "
            "SPARKLE_PRIVATE_KEY (base64), or run `halvo export sparkle-key -b com.example.demo` on a "
            "machine that has it."},
        FailureCase{"notaryKeyNoBase64",
                    {"Demo.app"},
                    {{"ASC_API_KEY_ID", "ABC"}, {"ASC_API_ISSUER", "a"}, {"ASC_API_KEY", "*"}},
                    "invalid_argument",
                    "ASC_API_KEY is not valid base64. Encode your key with `base64 < AuthKey_XXXXXXXXXX.p8 | "
                    "pbcopy`."},
        FailureCase{"profileWithoutIdentity",
                    {"Demo.app", "--keychain-profile", "notary"},
                    {},
                    "missing_argument",
                    "--codesign-identity is required for DMG releases"},
        FailureCase{"noStoreCredentials",
                    {"Demo.app", skip},
                    {{"AWS_SECRET_ACCESS_KEY", ""}},
                    "app_not_configured",
                    "No S3 credentials found. Provide --s3-access-key-id and --s3-secret-access-key, set "
                    "AWS_ACCESS_KEY_ID/AWS_SECRET_ACCESS_KEY, or store them in Keychain via the macOS app."},
        FailureCase{"noRegionNorAddress",
                    {"Demo.app", skip},
                    {{"HALVO_S3_REGION", ""}, {"HALVO_S3_PUBLIC_URL", ""}},
                    "invalid_argument",
                    "Incomplete S3 destination for bucket \"releases\". Missing: --s3-region (or "
                    "HALVO_S3_REGION), --s3-public-url (or HALVO_S3_PUBLIC_URL)."},
        FailureCase{"noAddress",
                    {"Demo.app", skip},
                    {{"HALVO_S3_PUBLIC_URL", ""}},
                    "invalid_argument",
                    "Incomplete S3 destination for bucket \"releases\". Missing: --s3-public-url (or "
                    "HALVO_S3_PUBLIC_URL)."},
        FailureCase{"endpointNoURL",
                    {"Demo.app", skip, "--s3-endpoint", "store"},
                    {},
                    "invalid_argument",
                    "--s3-endpoint is not a valid URL: store"},
        FailureCase{"addressNoURL",
                    {"Demo.app", skip, "--s3-public-url", "dl.example.com"},
                    {},
                    "invalid_argument",
                    "--s3-public-url is not a valid URL: dl.example.com"}),
    CaseName());

struct AnswerCase {
    const char* name;
    int status;
    const char* body;
    const char* code;
    const char* message;
};

class RefusedByTheService : public ReleaseFailure, public testing::WithParamInterface<AnswerCase> {};

TEST_P(RefusedByTheService, isReportedInBothFormats) {
    const AnswerCase& row = GetParam();
    const FaultServer service(std::vector<ServerReply>(20, {.status = row.status, .body = row.body}));
    expectFailure({"",
                   {"Demo.app", skip},
                   {{"HALVO_S3_BUCKET", ""}, {"HALVO_SERVER_URL", service.url("")}, {"HALVO_TOKEN", "token"}},
                   row.code,
                   row.message});
}

INSTANTIATE_TEST_SUITE_P(
    Release, RefusedByTheService,
    testing::Values(
        AnswerCase{"tokenRefused", 401, "{}", "not_authenticated",
                   "Not logged in. Run `halvo login`, or `halvo setup` to register a new app."},
        AnswerCase{"forbidden", 403, R"({"message": "Not yours."})", "api_error", "API error: Not yours."},
        AnswerCase{
            "noApp", 200, "[]", "app_not_configured",
            "App \"Demo\" (com.example.demo) not found. Run `halvo setup` to register it, or pass the S3 "
            "destination directly (--s3-bucket, --s3-region, --s3-public-url, or HALVO_S3_* environment "
            "variables)."}),
    CaseName());

struct PropertyCase {
    const char* name;
    const char* key;
    const char* value; ///< absent: the key is missing
    std::string message;
};

class RefusedProperties : public ReleaseFailure, public testing::WithParamInterface<PropertyCase> {};

TEST_P(RefusedProperties, areReportedInBothFormats) {
    AppBundle app;
    if (GetParam().value != nullptr)
        app.info[GetParam().key] = GetParam().value;
    else
        app.info.erase(GetParam().key);
    app.writeTo(work);
    expectFailure({"", {"Demo.app"}, {}, "release_failed", "Release failed: " + GetParam().message});
}

INSTANTIATE_TEST_SUITE_P(
    Release, RefusedProperties,
    testing::Values(
        PropertyCase{"name", "CFBundleName", nullptr, "Missing CFBundleName in Info.plist"},
        PropertyCase{"identifier", "CFBundleIdentifier", nullptr, "Missing CFBundleIdentifier in Info.plist"},
        PropertyCase{"version", "CFBundleVersion", nullptr, "Missing CFBundleVersion in Info.plist"},
        PropertyCase{"shortVersion", "CFBundleShortVersionString", nullptr,
                     "Missing CFBundleShortVersionString in Info.plist"},
        PropertyCase{"minimumSystem", "LSMinimumSystemVersion", nullptr,
                     "Missing LSMinimumSystemVersion in Info.plist"},
        PropertyCase{
            "versionNoInteger", "CFBundleVersion", "1.2.3",
            "CFBundleVersion is \"1.2.3\", but Halvo currently requires an integer build number. Set "
            "CURRENT_PROJECT_VERSION to an integer (e.g. 42) and keep your marketing version (e.g. "
            "1.2.3) in CFBundleShortVersionString."}),
    CaseName());

TEST_F(ReleaseFailure, namesAKeychainThatCannotBeRead) {
    const auto keychain = home / "data/halvo/keychain.json";
    std::filesystem::create_directories(keychain);
    expectFailure({"",
                   {"Demo.app", skip},
                   {{"SPARKLE_PRIVATE_KEY", ""}},
                   "keychain_error",
                   "Key error: The keychain file " + keychain.string() +
                       " could not be read or written. Check its permissions and the free space on its disk. "
                       "(OSStatus -36)"});
}

TEST_F(ReleaseFailure, namesAnArchiveWithoutItsInfo) {
    expectFailure({"",
                   {"Demo.xcarchive"},
                   {},
                   "release_failed",
                   "Release failed: Archive not found at " + (work / "Demo.xcarchive").string()});
}

TEST_F(ReleaseFailure, saysWhyAnInfoPlistCannotBeRead) {
    folder.write("work/Demo.app/Contents/Info.plist", "<plist>\n<dict>\n");
    expectFailure(
        {"", {"Demo.app"}, {}, "release_failed", "Release failed: Bundle does not contain an Info.plist"});
    EXPECT_THAT(release({"Demo.app"}).error, EndsWith("damaged in line 3: it is cut off.\n"));
}

TEST_F(ReleaseFailure, refusesArchivesWithoutAnApp) {
    script("zip -q NoApp.zip Demo.txt; zip -q -r Whole.zip Demo.app; head -c 900 Whole.zip >Cut.zip; "
           "zip -q -d Whole.zip Demo.app/Contents/Info.plist");
    const std::string failed = "Release failed: ";
    expectFailure({"", {"NoApp.zip"}, {}, "release_failed", failed + "No .app bundle found in ZIP"});
    expectFailure(
        {"", {"Whole.zip"}, {}, "release_failed", failed + "Bundle does not contain an Info.plist"});
    expectFailure({"",
                   {"Cut.zip"},
                   {},
                   "release_failed",
                   failed + "Failed to extract ZIP: \"" + (work / "Cut.zip").string() +
                       "\" is not a ZIP archive, or its end is missing. Get or make it again."});
}

} // namespace
} // namespace halvo::test
