#include "Commands/Release/ReleasePlan.h"

#include "TestServices.h"

#include <KeyChain/MacKeyChainStore.h>
#include <Support/CaseName.h>
#include <Support/FakeDistributionTools.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace halvo {
namespace {

const std::string bundle = "com.example.Demo";
const CodesignIdentity stored{"AB12", "Stored", "TEAM1"};
const CodesignIdentity other{"CD34", "Other", "TEAM2"};

/// A run with these options over what is stored for the app.
struct PlannedRun {
    PlannedRun(ReleaseOptions given, const std::optional<ReleaseSettings>& settings,
               TerminalDescription terminal = {})
        : options(std::move(given)), test({}, terminal),
          context(OutputContext::make(test.services, options.format, terminal.interactive)) {
        storage.setReleaseSettings(settings, bundle);
        tools.identities = {stored, other};
    }
    ReleasePlan plan(bool fromArchive = false) const {
        return ReleasePlanner(options, credentials, storage, tools, test.platform, context)
            .makePlan(bundle, fromArchive);
    }

    ReleaseOptions options;
    test::TestServices test;
    OutputContext context;
    MacKeyChainStore keyChain{test.keychainItems};
    mutable UserDefaultsStorageController storage{test.userDefaults};
    mutable test::FakeDistributionTools tools;
    ReleaseCredentials credentials{options, test.environment, keyChain, context};
};

/// "zip, notarization", "dmg signed by NAME, notarization" or what went wrong.
std::string outcomeOf(const PlannedRun& run) {
    try {
        const ReleasePlan plan = run.plan();
        std::string text = "zip";
        if (const auto* dmg = std::get_if<PackageFormat::DMG>(&plan.packageFormat.value))
            text = "dmg signed by " + dmg->codesignIdentity.name + (dmg->watermark ? " with watermark" : "");
        return text + ", " + notarizationDescription(plan.notarizationPolicy);
    } catch (const CLIError& error) {
        return error.code + ": " + error.description();
    } catch (const Failure& failure) {
        return failure.description();
    }
}

ReleaseSettings settings(const std::string& profile = "", bool dmgEnabled = true,
                         std::optional<bool> watermark = {}) {
    return {.codesignIdentity = stored,
            .keychainProfile = profile,
            .dmgEnabled = dmgEnabled,
            .showWatermark = watermark};
}

struct PlanRow {
    const char* name;
    ReleaseOptions options;
    std::optional<ReleaseSettings> stored;
    const char* outcome;
};

class Plan : public testing::TestWithParam<PlanRow> {};

TEST_P(Plan, laysFlagsOverWhatIsStored) {
    const PlannedRun run(GetParam().options, GetParam().stored);
    EXPECT_EQ(outcomeOf(run), GetParam().outcome);
    EXPECT_EQ(run.storage.getReleaseSettings(bundle), GetParam().stored); // nothing is written back
}

const ReleaseOptions apiKey{.ascAPIKeyID = "KEY1", .ascAPIIssuer = "issuer", .ascAPIKey = "a2V5"};
constexpr const char* noNotarization = "missing_argument: No notarization configured for this DMG release. "
                                       "Provide --keychain-profile, ASC API-key "
                                       "credentials (--asc-api-key-id/--asc-api-issuer/--asc-api-key or "
                                       "ASC_API_KEY_ID/ASC_API_ISSUER/ASC_API_KEY), or --skip-notarization.";
constexpr const char* noIdentity = "missing_argument: --codesign-identity is required for DMG releases";

INSTANTIATE_TEST_SUITE_P(
    ReleasePlan, Plan,
    testing::Values(
        PlanRow{"nothingGivesAZIP", {}, {}, "zip, Skipped"},
        PlanRow{"noDMGOutranksEverything",
                {.codesignIdentity = "Other", .noDMG = true},
                settings("p"),
                "zip, Skipped"},
        PlanRow{"storedDMG", {}, settings("p"), "dmg signed by Stored, p"},
        PlanRow{"storedDMGWithoutProfile", {}, settings(), "dmg signed by Stored, Skipped"},
        PlanRow{"storedZIP", {}, settings("p", false), "zip, p"},
        PlanRow{"aFlagTurnsStoredZIPIntoDMG",
                {.codesignIdentity = "Other"},
                settings("p", false),
                "dmg signed by Other, p"},
        PlanRow{"profileFlagKeepsTheIdentity",
                {.keychainProfile = "q"},
                settings("p"),
                "dmg signed by Stored, q"},
        PlanRow{"bothFlagsNeedNothingStored",
                {.codesignIdentity = "Other", .keychainProfile = "q"},
                {},
                "dmg signed by Other, q"},
        PlanRow{"emptyFlagsCountAsNone", {.codesignIdentity = "", .keychainProfile = ""}, {}, "zip, Skipped"},
        PlanRow{"profileAloneLacksTheIdentity", {.keychainProfile = "q"}, {}, noIdentity},
        PlanRow{"identityAloneLacksNotarization", {.codesignIdentity = "Other"}, {}, noNotarization},
        PlanRow{"identityAloneMaySkip",
                {.codesignIdentity = "Other", .skipNotarization = true},
                {},
                "dmg signed by Other, Skipped"},
        PlanRow{"identityIsFoundByItsWholeName",
                {.codesignIdentity = "Oth", .keychainProfile = "q"},
                {},
                "Codesigning identity not found: Oth"},
        PlanRow{"skipOutranksTheProfile",
                {.skipNotarization = true},
                settings("p"),
                "dmg signed by Stored, Skipped"},
        PlanRow{"apiKeyOutranksTheProfile", apiKey, settings("p"),
                "dmg signed by Stored, ASC API key (KEY1)"},
        PlanRow{"storedWatermark", {}, settings("p", true, true), "dmg signed by Stored with watermark, p"},
        PlanRow{"watermarkFlagOn",
                {.watermark = true},
                settings("p", true, false),
                "dmg signed by Stored with watermark, p"},
        PlanRow{
            "watermarkFlagOff", {.watermark = false}, settings("p", true, true), "dmg signed by Stored, p"}),
    test::CaseName());

TEST(ReleasePlan, anIdentityThatIsGoneStopsADiskImageAndNotAZIP) {
    PlannedRun dmg({}, settings("p"));
    dmg.tools.identities = {other};
    EXPECT_EQ(outcomeOf(dmg), "Codesigning identity not found: Stored");
    PlannedRun zip({}, settings("p", false));
    zip.tools.identities = {};
    EXPECT_EQ(outcomeOf(zip), "zip, p");
    EXPECT_TRUE(zip.tools.calls.empty());
}

TEST(ReleasePlan, warnsOfABackgroundThatNoDiskImageWillShow) {
    const std::pair<ReleaseOptions, std::optional<ReleaseSettings>> withoutDMG[] = {
        {{.noDMG = true, .dmgBackground = "x.png"}, settings("p")},
        {{.dmgBackground = "x.png"}, std::nullopt},
        {{.dmgBackground = "x.png"}, settings("p", false)},
    };
    for (const auto& [options, kept] : withoutDMG) {
        const PlannedRun run(options, kept);
        EXPECT_EQ(outcomeOf(run).substr(0, 5), "zip, ");
        EXPECT_THAT(run.test.output->text,
                    testing::HasSubstr("--dmg-background was ignored because no DMG will be "
                                       "built for this release."));
    }
    const PlannedRun silent({.noDMG = true}, settings("p"));
    outcomeOf(silent);
    EXPECT_EQ(silent.test.output->text, "");
}

TEST(ReleasePlan, checksTheBackgroundBeforeAnythingIsBuilt) {
    PlannedRun run({.dmgBackground = "~/given.png"}, settings("p"));
    ReleaseSettings kept = settings("p");
    kept.dmgBackgroundURL = URL::file(run.test.folder / "stored.png");
    run.storage.setReleaseSettings(kept, bundle);
    const auto write = [&run](const char* name, double scale) {
        const Bytes picture = run.test.images->renderPNG(Drawing(), 600, 400, scale).value();
        run.test.folder.write(name, viewText(picture));
    };
    constexpr const char* stopped = " The release was stopped so it doesn't ship with the wrong background.";
    EXPECT_EQ(outcomeOf(run), "Cannot read background image at " + (run.test.folder / "given.png").string() +
                                  ". Provide a PNG, JPG, or TIFF file." + stopped);
    write("given.png", 2);
    EXPECT_EQ(run.plan().background, URL::file(run.test.folder / "given.png"));
    EXPECT_EQ(run.test.output->text, "");
    write("given.png", 1);
    EXPECT_EQ(outcomeOf(run), "dmg signed by Stored, p");
    EXPECT_THAT(run.test.output->text, testing::HasSubstr("will look soft on Retina displays"));

    run.options.dmgBackground.reset();
    EXPECT_THAT(outcomeOf(run), testing::AllOf(testing::HasSubstr("stored.png"), testing::EndsWith(stopped)));
    write("stored.png", 2);
    EXPECT_EQ(run.plan().background, kept.dmgBackgroundURL);
}

TEST(ReleasePlan, exportsByHandWhenAnIdentityIsNamedOrNobodyIsThere) {
    const auto identityOf = [](const PlannedRun& run) -> std::string {
        const auto signing = run.plan(true).exportSigning;
        return signing ? std::get<ArchiveExporter::Signing::Manual>(signing->value).identity : "the default";
    };
    EXPECT_EQ(identityOf(PlannedRun({}, settings("p"))), "Stored");
    EXPECT_EQ(identityOf(PlannedRun({}, settings("p"), test::personsTerminal())), "the default");
    EXPECT_EQ(identityOf(PlannedRun({.codesignIdentity = "Other"}, settings("p"), test::personsTerminal())),
              "Other");
    EXPECT_EQ(identityOf(PlannedRun({}, std::nullopt)), "the default");
    EXPECT_FALSE(PlannedRun({}, settings("p")).plan(false).exportSigning);
}

TEST(ReleasePlan, exportsWithAProfileThatNamesItsApp) {
    const PlannedRun run({.codesignIdentity = "Other"}, settings("p"));
    ResolvedProvisioningProfile profile{.identity = "Mine", .specifier = "0F2C", .bundleIdentifier = bundle};
    const ReleasePlanner planner(run.options, run.credentials, run.storage, run.tools, run.test.platform,
                                 run.context);
    const auto manual = [&] {
        return std::get<ArchiveExporter::Signing::Manual>(
            planner.makePlan(bundle, true, profile).exportSigning.value().value);
    };
    EXPECT_EQ(manual().identity, "Mine");
    EXPECT_EQ(manual().provisioningProfiles, (std::map<std::string, std::string>{{bundle, "0F2C"}}));
    profile.bundleIdentifier.reset();
    EXPECT_EQ(manual().identity, "Other");
    EXPECT_TRUE(manual().provisioningProfiles.empty());
}

TEST(ReleasePlan, showsItsDecisionsToPeopleOnly) {
    const PlannedRun text({}, settings("p"));
    displayReleaseSettings(text.plan(), text.context);
    EXPECT_THAT(text.test.output->text, testing::ContainsRegex("Release Settings"));
    EXPECT_THAT(text.test.output->text, testing::ContainsRegex("Codesign Identity.*Stored"));
    EXPECT_THAT(text.test.output->text, testing::ContainsRegex("Notarization.* p"));
    const PlannedRun zip({}, std::nullopt);
    displayReleaseSettings(zip.plan(), zip.context);
    EXPECT_THAT(zip.test.output->text, testing::ContainsRegex("Format.*ZIP"));
    const PlannedRun json({.format = OutputFormat::json}, settings("p"));
    displayReleaseSettings(json.plan(), json.context);
    EXPECT_EQ(json.test.output->text + json.test.error->text, "");
}

} // namespace
} // namespace halvo
