#include <HalvoCore/ReleasePublisher.h>

#include <Base/UUID.h>
#include <Support/DemoApp.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace halvo {
namespace {

namespace fs = std::filesystem;
using Published = ReleaseState::Published;
using UploadFailed = ReleaseState::UploadFailed;
using Idle = ReleaseState::Idle;

/// Delivers nothing: fails as often as it is told, then succeeds.
class FakeUploader final : public ReleaseUploaderProtocol {
public:
    UploadResult upload(const fs::path& file, const BundleInfo&, const std::string& signature,
                        const ReleaseConfiguration& configuration) override {
        EXPECT_TRUE(fs::exists(file));
        signatures.push_back(signature);
        notes.push_back(configuration.releaseNotes);
        if (duringUpload)
            duringUpload();
        if (failures > 0) {
            --failures;
            throw Failure("no route");
        }
        return {.release = {.title = "1.2.3 (42)"}};
    }

    int failures = 0;
    std::function<void()> duringUpload;
    std::vector<std::string> signatures;
    std::vector<std::string> notes;
};

class DefaultReleasePublisherTest : public testing::Test {
protected:
    UploadResult publish() {
        return publisher.publish({.fileURL = URL::file(file),
                                  .bundleInfo = test::demoInfo(),
                                  .signature = "sig",
                                  .shouldCleanup = temporary},
                                 {.releaseNotes = "notes"},
                                 [this](ReleaseState::Step step) { steps.push_back(step); });
    }
    template<typename State>
    bool is() const {
        return std::holds_alternative<State>(publisher.state().value);
    }

    test::TemporaryFolder folder;
    std::string run = UUID::random().string();
    fs::path file = folder.write(run + "/Demo.zip", "archive");
    bool temporary = true;
    FakeUploader uploader;
    DefaultReleasePublisher publisher{uploader};
    std::vector<ReleaseState::Step> steps;
};

TEST_F(DefaultReleasePublisherTest, publishesOnceAndRemovesTheTemporaryFileAndItsFolder) {
    uploader.duringUpload = [&] {
        EXPECT_EQ(publisher.state().value,
                  decltype(publisher.state().value)(ReleaseState::Publishing{ReleaseState::Step::uploading}));
        uploader.duringUpload = {};
        try {
            publish();
            ADD_FAILURE() << "two at a time";
        } catch (const ReleaseError& error) {
            EXPECT_STREQ(error.what(), "Another release is already in progress.");
        }
    };
    EXPECT_EQ(publish().release.title, "1.2.3 (42)");
    ASSERT_TRUE(is<Published>());
    EXPECT_EQ(std::get<Published>(publisher.state().value).release.title, "1.2.3 (42)");
    EXPECT_THAT(steps, testing::ElementsAre(ReleaseState::Step::uploading));
    EXPECT_FALSE(fs::exists(folder / run));

    EXPECT_THROW(publish(), ReleaseError); // final
    publisher.retryUpload();
    publisher.cancelUpload();
    EXPECT_TRUE(is<Published>());
    EXPECT_EQ(uploader.signatures.size(), 1U);
}

TEST_F(DefaultReleasePublisherTest, keepsTheFileOfAFailedUploadForARetry) {
    uploader.failures = 2;
    EXPECT_THROW(publish(), Failure);
    ASSERT_TRUE(is<UploadFailed>());
    const UploadFailed first = std::get<UploadFailed>(publisher.state().value);
    EXPECT_EQ(first.uploadURL, URL::file(file));
    EXPECT_TRUE(first.shouldCleanup);
    EXPECT_TRUE(fs::exists(file));
    EXPECT_THROW(publish(), ReleaseError); // a retry, not a second release

    EXPECT_THROW(publisher.retryUpload(), Failure);
    ASSERT_TRUE(is<UploadFailed>());
    EXPECT_NE(std::get<UploadFailed>(publisher.state().value).releaseID, first.releaseID);

    publisher.retryUpload();
    EXPECT_TRUE(is<Published>());
    EXPECT_FALSE(fs::exists(file));
    EXPECT_THAT(uploader.signatures, testing::ElementsAre("sig", "sig", "sig"));
    EXPECT_THAT(uploader.notes, testing::Each("notes"));
}

TEST_F(DefaultReleasePublisherTest, cancelsAFailedUploadAndIsFreeAgain) {
    publisher.retryUpload();
    publisher.cancelUpload();
    EXPECT_TRUE(is<Idle>());
    EXPECT_TRUE(uploader.signatures.empty());

    uploader.failures = 1;
    EXPECT_THROW(publish(), Failure);
    publisher.cancelUpload();
    EXPECT_TRUE(is<Idle>());
    EXPECT_TRUE(fs::exists(file));
    publisher.retryUpload();
    EXPECT_EQ(uploader.signatures.size(), 1U);
    publish();
    EXPECT_TRUE(is<Published>());
}

TEST_F(DefaultReleasePublisherTest, neverRemovesAFileOfTheUsers) {
    temporary = false;
    uploader.failures = 1;
    EXPECT_THROW(publish(), Failure);
    EXPECT_FALSE(std::get<UploadFailed>(publisher.state().value).shouldCleanup);
    publisher.retryUpload();
    EXPECT_TRUE(is<Published>());
    EXPECT_TRUE(fs::exists(file));
}

} // namespace
} // namespace halvo
