#include "Output/OutputContext.h"

#include "TestServices.h"

#include <Models/ServiceAddresses.h>

#include <nlohmann/json.hpp>

#include <gtest/gtest.h>

namespace halvo {
namespace {

using test::TestServices;

class Result final : public OutputData {
public:
    nlohmann::json json() const override { return {{"url", "https://x/y"}, {"a", 1}}; }
    TerminalText humanText() const override { return TerminalText("All is well"); }
};

const CLIError error("some_code", "It \"failed\": https://x/y");

TEST(OutputContext, textGoesToStandardOutput) {
    TestServices test;
    const OutputContext context = OutputContext::make(test.services, OutputFormat::text, true);
    context.info("Hello");
    context.emit(Result());
    context.emit(error);
    EXPECT_EQ(test.output->text, "Hello\nAll is well\nIt \"failed\": https://x/y\n");
    EXPECT_EQ(test.error->text, "");
}

TEST(OutputContext, jsonIsOneLineAndNothingElseOnStandardOutput) {
    TestServices test;
    const OutputContext context = OutputContext::make(test.services, OutputFormat::json, true);
    context.info("Hello");
    EXPECT_EQ(test.error->text, "");
    context.noora().print("printed");
    context.emit(Result());
    context.emit(error);
    context.emit(CLIError("c", "a\xFFz"));
    EXPECT_EQ(
        test.output->text,
        "{\"a\":1,\"url\":\"https://x/y\"}\n{\"code\":\"some_code\",\"message\":\"It \\\"failed\\\": https://x/y\"}\n{\"code\":\"c\",\"message\":\"a\uFFFDz\"}\n");
    EXPECT_TRUE(test.error->text.starts_with("printed\nError: It \"failed\": https://x/y\n"));
}

TEST(OutputContext, jsonIsPrettyOnATerminalAlone) {
    TestServices test({}, test::personsTerminal());
    OutputContext::make(test.services, OutputFormat::json, false).emit(Result());
    EXPECT_EQ(test.output->text, "{\n  \"a\": 1,\n  \"url\": \"https://x/y\"\n}\n");
}

constexpr const char* inJSON =
    "Pass the corresponding override flag (e.g. --yes, --skip-notarization) to proceed in --format json.";
constexpr const char* alone =
    "Re-run interactively, or pass the corresponding override flag (e.g. --skip-notarization) to proceed non-interactively.";

TEST(OutputContext, asksOnlyWhereSomebodyCanAnswer) {
    using enum OutputFormat;
    const struct {
        OutputFormat format;
        bool interactive, onATerminal;
        const char* typed;
        bool override;
        const char* outcome; ///< "yes", "no", or the end of the message
    } cases[] = {
        {text, true, true, "\r", false, "yes"}, {text, true, true, "n\r", false, "no"},
        {text, true, true, "", true, "yes"},    {json, true, true, "", true, "yes"},
        {json, false, false, "", true, "yes"},  {json, true, true, "", false, inJSON},
        {text, false, true, "", false, alone},  {json, false, true, "", false, alone},
        {text, true, false, "", false, alone},
    };
    for (const auto& row : cases) {
        TestServices test({}, row.onATerminal ? test::personsTerminal() : TerminalDescription(), row.typed);
        const OutputContext context = OutputContext::make(test.services, row.format, row.interactive);
        std::string outcome;
        try {
            outcome = context.confirm("Really?", row.override) ? "yes" : "no";
        } catch (const CLIError& failure) {
            EXPECT_EQ(failure.code, "confirmation_required");
            outcome = failure.description();
        }
        const bool answered = row.outcome == std::string("yes") || row.outcome == std::string("no");
        EXPECT_EQ(outcome, (answered ? "" : "Confirmation required: Really?. ") + std::string(row.outcome));
        const bool asked = (test.output->text + test.error->text).find("Really?") != std::string::npos;
        EXPECT_EQ(asked, row.typed[0] != '\0');
    }
}

TEST(CLIError, reportsTheLinesOfXcodebuildThatMatter) {
    const std::pair<std::string, std::string> cases[] = {
        {"", ""},
        {" \n\t\n", ""},
        {"one", "one"},
        {"one\n\n  two \nthree\nfour\n", "two\nthree\nfour"},
        {"a\nERROR: b\nc\n", "ERROR: b"},
        {"error 1\nerror 2\nx\nmy Errors 3\nerror 4\ny", "error 2\nmy Errors 3\nerror 4"},
    };
    for (const auto& [details, lines] : cases)
        EXPECT_EQ(CLIError::xcodebuildReport(details),
                  lines.empty() ? "" : "\n\nxcodebuild reported:\n" + lines);
}

TEST(CLIError, explainsProvisioningProfiles) {
    const CLIError required = CLIError::provisioningProfileRequired("error: x");
    EXPECT_EQ(required.code, "provisioning_profile_required");
    EXPECT_EQ(
        required.description(),
        std::string(
            "The app's entitlements require a provisioning profile. Create a Developer ID Application provisioning profile at ") +
            helpAddress::appleProfiles +
            " and pass it with --provisioning-profile (or HALVO_PROVISIONING_PROFILE, base64); Halvo then signs fully offline. App Store Connect API keys cannot fetch Developer ID profiles (a known Apple limitation), so a profile is the reliable path on CI. Guide: " +
            helpAddress::provisioningProfiles + "\n\nxcodebuild reported:\nerror: x");
    const CLIError mismatch = CLIError::provisioningProfileMismatch("com.example.Demo", "");
    EXPECT_EQ(mismatch.code, "provisioning_profile_mismatch");
    EXPECT_EQ(
        mismatch.description(),
        "The provisioning profile is for com.example.Demo, so Halvo gives it only to targets whose PRODUCT_BUNDLE_IDENTIFIER matches it. xcodebuild still found a target that requires a profile. If that target is the app, pass the profile for the app's bundle identifier. Halvo can't give a supplied profile to a target that doesn't match it.");
}

TEST(CLIError, explainsIgnoredVersions) {
    const std::string build =
        "Requested build number 5 but the archived app has 4.\nxcodebuild ignored CURRENT_PROJECT_VERSION, which means your target hardcodes CFBundleVersion in a checked-in Info.plist instead of referencing the build setting.\n";
    const std::string marketing =
        "Requested marketing version 2.0 but the archived app has 1.0.\nxcodebuild ignored MARKETING_VERSION, which means your target hardcodes CFBundleShortVersionString in a checked-in Info.plist instead of referencing the build setting.\n";
    const std::string buildFix = "set CFBundleVersion to $(CURRENT_PROJECT_VERSION)";
    const std::string marketingFix = "set CFBundleShortVersionString to $(MARKETING_VERSION)";
    const std::string end =
        " in your Info.plist, or enable \"Generate Info.plist File\" (GENERATE_INFOPLIST_FILE = YES) in the target's build settings.";
    const auto text = [](const ReleaseVersionOverrideError::Ignored& ignored) {
        const CLIError failure = CLIError::buildVersionOverrideIgnored(ReleaseVersionOverrideError(ignored));
        EXPECT_EQ(failure.code, "build_version_override_ignored");
        return failure.description();
    };
    const ReleaseVersionOverrideError::Mismatch five{"5", "4"}, two{"2.0", "1.0"};
    EXPECT_EQ(text({five, {}}), build + "Fix: " + buildFix + end);
    EXPECT_EQ(text({{}, two}), marketing + "Fix: " + marketingFix + end);
    EXPECT_EQ(text({five, two}), build + marketing + "Fix: " + buildFix + " and " + marketingFix + end);
}

} // namespace
} // namespace halvo
