#include <HalvoCore/ReleaseController.h>
#include <HalvoCore/ReleasePolicies.h>

#include <Base/Base64.h>
#include <Platform/Files.h>
#include <Support/DemoApp.h>
#include <Support/FakeDistributionTools.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace halvo {
namespace {

namespace fs = std::filesystem;
using Step = ReleaseState::Step;

/// Notes what it is given and what its controller shows at that moment, and fails where it is told.
class Destination final : public ReleaseUploaderProtocol {
public:
    void preflightCheck(const BundleInfo&) override {
        shown();
        if (failingPreflight)
            throw Failure("taken");
    }
    UploadResult upload(const fs::path& path, const BundleInfo&, const std::string& base64,
                        const ReleaseConfiguration& chosen) override {
        shown();
        file = path;
        delivered = readFile(path);
        signature = decodeBase64(base64).value();
        configuration = chosen;
        if (failingUpload)
            throw Failure("no route");
        return {.release = {.title = "done"}};
    }

    std::function<void()> shown;
    bool failingPreflight = false;
    bool failingUpload = false;
    fs::path file;
    Bytes delivered;
    Bytes signature;
    ReleaseConfiguration configuration;
};

class ReleaseControllerTest : public testing::Test {
protected:
    ReleaseControllerTest() {
        fs::create_directory(temporary);
        tools.identities = {settings.codesignIdentity};
        tools.dmg = URL::file(folder.write("temporary/Demo.dmg", "disk image"));
        destination.shown = [this] {
            if (const auto* publishing = std::get_if<ReleaseState::Publishing>(&controller.state().value))
                steps.push_back(publishing->step);
        };
    }
    template<typename State>
    bool is() const {
        return std::holds_alternative<State>(controller.state().value);
    }
    UploadResult publish(const std::optional<ReleaseSettings>& with) {
        return controller.publish({ImportedBundle::App{test::demoInfo(URL::file(app))}}, with);
    }

    test::TemporaryFolder folder;
    fs::path temporary = folder / "temporary";
    fs::path app = test::writeDemoApp(folder);
    ReleaseSettings settings{.codesignIdentity = {"AB12", "Developer ID", "TEAM"},
                             .keychainProfile = "profile"};
    test::FakeDistributionTools tools;
    Destination destination;
    DefaultReleasePublisher publisher{destination};
    ZipService zipService{temporary, {}};
    BinaryPreparationService preparation{tools, zipService, {}};
    PrivateKey key = PrivateKey::generate();
    ReleaseController controller{{}, key, publisher, preparation, tools};
    std::vector<Step> steps;
};

TEST_F(ReleaseControllerTest, withoutSettingsPublishesAZIPAndAsksForNoIdentity) {
    EXPECT_TRUE(is<ReleaseState::Idle>());
    EXPECT_EQ(publish(std::nullopt).release.title, "done");
    EXPECT_TRUE(is<ReleaseState::Published>());
    EXPECT_THAT(tools.calls, testing::ElementsAre("assertDistributable Demo.app"));
    EXPECT_THAT(steps, testing::ElementsAre(Step::preflight, Step::uploading));
    EXPECT_EQ(destination.file.filename(), "Demo.zip");
    EXPECT_TRUE(PublicKey(*decodeBase64(controller.publicKey()))
                    .isValidSignature(destination.signature, destination.delivered));
    EXPECT_FALSE(fs::exists(destination.file));
    EXPECT_EQ(destination.configuration, ReleaseConfiguration());
}

TEST_F(ReleaseControllerTest, withSettingsPublishesANotarizedDiskImageWithWhatWasChosen) {
    controller.releaseNotes = "notes";
    controller.isBeta = controller.isCritical = controller.isPhasedRollout = true;
    controller.isPublished = false;
    publish(settings);
    EXPECT_THAT(tools.calls,
                testing::ElementsAre("availableIdentities", "isSignedForDistribution Demo.app",
                                     "sign Demo.app as Developer ID", "assertDistributable Demo.app",
                                     "createDMG Demo from Demo.app", "notarize Demo.dmg"));
    EXPECT_EQ(destination.configuration, (ReleaseConfiguration{"notes", "beta", true, true, false}));
}

TEST_F(ReleaseControllerTest, anIdentityThatIsNotHereEndsItBeforeAnything) {
    tools.identities = {{"CD34", settings.codesignIdentity.name, "TEAM"}}; // same name, another certificate
    try {
        publish(settings);
        FAIL() << "was published";
    } catch (const Failure& failure) {
        EXPECT_STREQ(failure.what(), "Codesigning identity not found: Developer ID");
    }
    EXPECT_TRUE(is<ReleaseState::Idle>());
    EXPECT_TRUE(steps.empty());

    settings.dmgEnabled = false; // then no identity is needed
    publish(settings);
    EXPECT_EQ(destination.file.extension(), ".zip");
}

TEST_F(ReleaseControllerTest, aFailureBeforeTheUploadLeavesItIdle) {
    destination.failingPreflight = true;
    EXPECT_THROW(publish(std::nullopt), Failure);
    EXPECT_TRUE(is<ReleaseState::Idle>());
    EXPECT_TRUE(tools.calls.empty()); // no work is spent on it

    destination.failingPreflight = false;
    tools.failingAt = "assertDistributable";
    EXPECT_THROW(publish(std::nullopt), Failure);
    EXPECT_TRUE(is<ReleaseState::Idle>());
    tools.failingAt.clear();
    publish(std::nullopt);
    EXPECT_TRUE(is<ReleaseState::Published>());
}

TEST_F(ReleaseControllerTest, aFailedUploadCanBeRetriedOrCancelled) {
    destination.failingUpload = true;
    EXPECT_THROW(publish(std::nullopt), Failure);
    EXPECT_TRUE(is<ReleaseState::UploadFailed>());
    EXPECT_TRUE(fs::exists(destination.file));
    EXPECT_THROW(controller.retryUpload(), Failure);
    controller.cancelUpload();
    EXPECT_TRUE(is<ReleaseState::Idle>());

    EXPECT_THROW(publish(std::nullopt), Failure);
    destination.failingUpload = false;
    controller.retryUpload();
    EXPECT_TRUE(is<ReleaseState::Published>());
    EXPECT_FALSE(fs::exists(destination.file));
}

TEST(ReleasePolicies, whatIsAskedForOutranksWhatIsStored) {
    const URL asked = URL::file("/asked.png");
    const URL stored = URL::file("/stored.png");
    EXPECT_EQ(DMGBackgroundPolicy::resolve(asked, stored, true).custom, asked);
    EXPECT_EQ(DMGBackgroundPolicy::resolve({}, stored, true).custom, stored);
    EXPECT_EQ(DMGBackgroundPolicy::resolve({}, {}, true).custom, std::nullopt);
    EXPECT_EQ(DMGBackgroundPolicy::resolve(asked, stored, false).custom, std::nullopt);
    EXPECT_FALSE(WatermarkPolicy::resolve({}, {}).watermark);
    EXPECT_TRUE(WatermarkPolicy::resolve({}, true).watermark);
    EXPECT_FALSE(WatermarkPolicy::resolve(false, true).watermark);
    EXPECT_TRUE(WatermarkPolicy::resolve(true, false).watermark);
}

} // namespace
} // namespace halvo
