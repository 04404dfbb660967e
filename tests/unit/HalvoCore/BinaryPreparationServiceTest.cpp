#include <HalvoCore/BinaryPreparationService.h>

#include <Models/ReleaseSettings.h>
#include <Platform/Files.h>
#include <Support/CaseName.h>
#include <Support/DemoApp.h>
#include <Support/FakeDistributionTools.h>

#include <Base/Base64.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace halvo {
namespace {

namespace fs = std::filesystem;
using Step = ReleaseState::Step;
using Calls = std::vector<std::string>;

enum class Input { app, archivedApp, dmg, zip };

const PackageFormat zipFormat{};
const PackageFormat dmgFormat{PackageFormat::DMG{.codesignIdentity = {"AB12", "Developer ID", "TEAM"}}};
const NotarizationPolicy notarizing =
    NotarizationPolicy::notarize({NotarizationCredentials::KeychainProfile{"profile"}});

/// A folder with one app, one archive of each kind that users hand over, and a place for temporary files.
class Preparation {
public:
    Preparation() {
        fs::create_directory(temporary);
        tools.dmg = URL::file(folder.write("temporary/own/Demo.dmg", "disk image"));
    }

    ImportedBundle imported(Input input) const {
        const BundleInfo info = test::demoInfo(URL::file(app));
        switch (input) {
        case Input::app: return {ImportedBundle::App{info}};
        case Input::archivedApp: return {ImportedBundle::ArchivedApp{info, URL::file("/Demo.xcarchive")}};
        case Input::dmg: return {ImportedBundle::DMG{info, userDMG}};
        case Input::zip: return {ImportedBundle::ZIP{info, userZIP}};
        }
        return {};
    }

    PreparedBinary prepare(Input input, const PackageFormat& format, const NotarizationPolicy& policy) {
        const ImportedBundle bundle = imported(input);
        return service.prepareBinary({.importedBundle = bundle,
                                      .privateKey = key,
                                      .packageFormat = format,
                                      .notarizationPolicy = policy,
                                      .onStepChange = [this](Step step) { steps.push_back(step); }});
    }

    bool temporaryIsEmpty() const {
        return !fs::exists(temporary / "own/Demo.dmg") &&
               (fs::is_empty(temporary) || fs::is_empty(temporary / "own"));
    }

    test::TemporaryFolder folder;
    fs::path temporary = folder / "temporary";
    fs::path app = test::writeDemoApp(folder);
    URL userDMG = URL::file(folder.write("User.dmg", "a disk image of the user's"));
    URL userZIP = URL::file(folder.write("User.zip", "an archive of the user's"));
    PrivateKey key = PrivateKey::generate();
    test::FakeDistributionTools tools;
    ZipService zipService{temporary, {}};
    BinaryPreparationService service{tools, zipService, {}};
    std::vector<Step> steps;
};

struct MatrixRow {
    const char* name;
    Input input;
    bool dmg;
    bool notarizes;
    bool appIsSigned;
    std::vector<Step> steps;
    Calls calls;
    const char* file;
    bool shouldCleanup;
};

class PreparationMatrix : public testing::TestWithParam<MatrixRow> {};

TEST_P(PreparationMatrix, hasStepsToolsAndResult) {
    const MatrixRow& row = GetParam();
    Preparation preparation;
    preparation.tools.appIsSigned = row.appIsSigned;

    const auto prepared = preparation.prepare(row.input, row.dmg ? dmgFormat : zipFormat,
                                              row.notarizes ? notarizing : NotarizationPolicy::skip());

    EXPECT_EQ(preparation.steps, row.steps);
    EXPECT_EQ(preparation.tools.calls, row.calls);
    EXPECT_EQ(prepared.file().filename(), row.file);
    EXPECT_EQ(prepared.isOwn(), row.shouldCleanup);
    const Bytes delivered = readFile(prepared.file());
    EXPECT_TRUE(preparation.key.publicKey().isValidSignature(*decodeBase64(prepared.signature), delivered));
}

const Calls appToDMG{"isSignedForDistribution Demo.app", "sign Demo.app as Developer ID",
                     "assertDistributable Demo.app", "createDMG Demo from Demo.app"};
const Calls appToNotarizedDMG{"isSignedForDistribution Demo.app", "sign Demo.app as Developer ID",
                              "assertDistributable Demo.app", "createDMG Demo from Demo.app",
                              "notarize Demo.dmg"};
const Calls signedAppToDMG{"isSignedForDistribution Demo.app", "assertDistributable Demo.app",
                           "createDMG Demo from Demo.app"};
const Calls archiveToDMG{"export Demo.xcarchive for TEAM, signing absent", "assertDistributable Exported.app",
                         "createDMG Demo from Exported.app", "notarize Demo.dmg"};
const Calls assertOnly{"assertDistributable Demo.app"};

INSTANTIATE_TEST_SUITE_P(
    BinaryPreparation, PreparationMatrix,
    testing::Values(
        MatrixRow{"appZip",
                  Input::app,
                  false,
                  false,
                  false,
                  {Step::zipping, Step::signing},
                  assertOnly,
                  "Demo.zip",
                  true},
        MatrixRow{"appZipIsNeverNotarized",
                  Input::app,
                  false,
                  true,
                  false,
                  {Step::zipping, Step::signing},
                  assertOnly,
                  "Demo.zip",
                  true},
        MatrixRow{"appDMG",
                  Input::app,
                  true,
                  false,
                  false,
                  {Step::codesigningApp, Step::creatingDMG, Step::signing},
                  appToDMG,
                  "Demo.dmg",
                  true},
        MatrixRow{"appNotarizedDMG",
                  Input::app,
                  true,
                  true,
                  false,
                  {Step::codesigningApp, Step::creatingDMG, Step::notarizing, Step::signing},
                  appToNotarizedDMG,
                  "Demo.dmg",
                  true},
        MatrixRow{"signedAppIsNotSignedAgain",
                  Input::app,
                  true,
                  false,
                  true,
                  {Step::creatingDMG, Step::signing},
                  signedAppToDMG,
                  "Demo.dmg",
                  true},
        MatrixRow{"archiveDMG",
                  Input::archivedApp,
                  true,
                  true,
                  false,
                  {Step::exporting, Step::creatingDMG, Step::notarizing, Step::signing},
                  archiveToDMG,
                  "Demo.dmg",
                  true},
        MatrixRow{"dmgSkip", Input::dmg, true, false, false, {Step::signing}, {}, "User.dmg", false},
        MatrixRow{"dmgNotarizedWhateverTheFormat",
                  Input::dmg,
                  false,
                  true,
                  false,
                  {Step::notarizing, Step::signing},
                  {"notarize User.dmg"},
                  "User.dmg",
                  false},
        MatrixRow{"dmgNotarizedOnce",
                  Input::dmg,
                  true,
                  true,
                  false,
                  {Step::notarizing, Step::signing},
                  {"notarize User.dmg"},
                  "User.dmg",
                  false},
        MatrixRow{
            "zipIsNeverNotarized", Input::zip, true, true, false, {Step::signing}, {}, "User.zip", false}),
    test::CaseName());

TEST(BinaryPreparation, refusesAnArchiveAsZIPBeforeAnyStep) {
    Preparation preparation;
    try {
        preparation.prepare(Input::archivedApp, zipFormat, notarizing);
        FAIL() << "was prepared";
    } catch (const HalvoError& error) {
        EXPECT_TRUE(error.is<HalvoError::ArchivedAppRequiresDMG>());
    }
    EXPECT_THAT(preparation.steps, testing::IsEmpty());
    EXPECT_THAT(preparation.tools.calls, testing::IsEmpty());
}

TEST(BinaryPreparation, aFailingToolEndsItAndLeavesNoTemporaryFile) {
    for (const char* tool :
         {"isSignedForDistribution", "sign", "assertDistributable", "createDMG", "notarize"}) {
        SCOPED_TRACE(tool);
        Preparation preparation;
        if (std::string(tool) != "notarize")
            fs::remove(preparation.tools.dmg.filePath()); // the tool never came to make it
        preparation.tools.failingAt = tool;
        EXPECT_THROW(preparation.prepare(Input::app, dmgFormat, notarizing), Failure);
        EXPECT_THAT(preparation.tools.calls.back(), testing::StartsWith(tool));
        EXPECT_TRUE(preparation.temporaryIsEmpty());
    }
}

TEST(BinaryPreparation, removesTheExportFolderHoweverItEnds) {
    for (const char* tool : {"assertDistributable", "createDMG", "notarize", "nothing"}) {
        SCOPED_TRACE(tool);
        Preparation preparation;
        preparation.folder.write("export/Demo.app/Contents/MacOS/Demo", "demo");
        preparation.tools.exportedApp = URL::file(preparation.folder / "export/Demo.app");
        preparation.tools.failingAt = tool;
        if (std::string_view(tool) == "nothing")
            preparation.prepare(Input::archivedApp, dmgFormat, notarizing);
        else
            EXPECT_THROW(preparation.prepare(Input::archivedApp, dmgFormat, notarizing), Failure);
        EXPECT_FALSE(fs::exists(preparation.folder / "export"));
        EXPECT_TRUE(fs::exists(preparation.app));
    }
}

TEST(BinaryPreparation, aCancelledSigningRemovesTheArchiveAndNotTheUsersFile) {
    for (const Input input : {Input::app, Input::zip}) {
        Preparation preparation;
        fs::remove(preparation.tools.dmg.filePath());
        std::stop_source source;
        BinaryPreparationService service(preparation.tools, preparation.zipService, source.get_token());
        const ImportedBundle bundle = preparation.imported(input);
        EXPECT_THROW(service.prepareBinary({.importedBundle = bundle,
                                            .privateKey = preparation.key,
                                            .packageFormat = zipFormat,
                                            .notarizationPolicy = notarizing,
                                            .onStepChange =
                                                [&](Step step) {
                                                    if (step == Step::signing)
                                                        source.request_stop();
                                                }}),
                     CancelledError);
        EXPECT_TRUE(preparation.temporaryIsEmpty());
        EXPECT_TRUE(fs::exists(preparation.userZIP.filePath()));
    }
}

struct AssessmentRow {
    const char* name;
    Input input;
    bool dmg;
    bool notarizes;
    bool appIsNotarized;
    const char* failingAt;
    NotarizationAssessment assessment;
    Calls calls;
};

class Assessment : public testing::TestWithParam<AssessmentRow> {};

TEST_P(Assessment, saysWhatWillBeTrue) {
    const AssessmentRow& row = GetParam();
    Preparation preparation;
    preparation.tools.appIsNotarized = row.appIsNotarized;
    preparation.tools.failingAt = row.failingAt;
    EXPECT_EQ(preparation.service.assessNotarization(preparation.imported(row.input),
                                                     row.dmg ? dmgFormat : zipFormat,
                                                     row.notarizes ? notarizing : NotarizationPolicy::skip()),
              row.assessment);
    EXPECT_EQ(preparation.tools.calls, row.calls);
}

const Calls checked{"isNotarized Demo.app"};
using Is = NotarizationAssessment;

INSTANTIATE_TEST_SUITE_P(
    BinaryPreparation, Assessment,
    testing::Values(
        AssessmentRow{"dmgSkip", Input::dmg, true, false, true, "", Is::notNotarized, {}},
        AssessmentRow{"dmgWhateverTheFormat", Input::dmg, false, true, false, "", Is::willNotarize, {}},
        AssessmentRow{"appDMG", Input::app, true, true, false, "", Is::willNotarize, {}},
        AssessmentRow{"appDMGSkip", Input::app, true, false, true, "", Is::notNotarized, {}},
        AssessmentRow{"archiveDMG", Input::archivedApp, true, true, false, "", Is::willNotarize, {}},
        AssessmentRow{"archiveZIP", Input::archivedApp, false, true, true, "", Is::notNotarized, {}},
        AssessmentRow{"appZIPPolicyPromisesNothing", Input::app, false, true, false, "", Is::notNotarized,
                      checked},
        AssessmentRow{"appZIPStapled", Input::app, false, false, true, "", Is::alreadyNotarized, checked},
        AssessmentRow{"zipStapled", Input::zip, true, true, true, "", Is::alreadyNotarized, checked},
        AssessmentRow{"failedCheck", Input::app, false, false, true, "isNotarized", Is::notNotarized,
                      checked}),
    test::CaseName());

} // namespace
} // namespace halvo
