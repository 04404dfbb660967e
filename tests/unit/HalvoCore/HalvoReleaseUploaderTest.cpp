#include <HalvoCore/HalvoReleaseUploader.h>
#include <HalvoCore/ReleasePublisher.h>
#include <HalvoCore/ServerAppRepository.h>
#include <HalvoCore/ServerReleaseRepository.h>

#include <Support/DemoApp.h>
#include <Support/FakeImages.h>
#include <Support/FaultServer.h>
#include <Support/Thrown.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace halvo {
namespace {

using nlohmann::json;
using test::ServerReply;
using testing::ElementsAre;

const std::string idText = "6D1A9F1C-3B7E-5A2D-9C4F-8E0A1B2C3D4E";
const UUID id = *UUID::parse(idText);

ServerReply releaseReply(const char* downloadURL = nullptr) {
    json release{{"id", idText},        {"title", "1.2.3 (42)"},
                 {"bundleVersion", 42}, {"bundleVersionString", "1.2.3"},
                 {"releaseNotes", ""},  {"minimumSystemVersion", "13.0"},
                 {"fileSize", 4},       {"isPhasedRollout", false},
                 {"isCritical", false}, {"isPublished", false}};
    if (downloadURL != nullptr)
        release["downloadURL"] = downloadURL;
    return {.body = release.dump()};
}

ServerReply appReply(bool inList = false) {
    const json app{{"id", idText},
                   {"name", "Demo"},
                   {"bundleIdentifier", "com.example.Demo"},
                   {"appcastURL", "https://dl.example.com/a.xml"},
                   {"stripeManagedPayments", false},
                   {"releases", {json::parse(releaseReply().body)}}};
    return {.body = (inList ? json::array({app}) : app).dump()};
}

struct NoToken final : TokenProviding {
    std::optional<std::string> getToken() override { return std::nullopt; }
};

struct HostedService {
    explicit HostedService(std::vector<ServerReply> script) : server(std::move(script)) {}

    UploadResult upload(const BundleInfo& info) {
        return uploader.upload(folder.write("Demo.zip", "file"), info, "c2ln", {.channel = "beta"});
    }
    std::vector<std::string> targets() const {
        std::vector<std::string> list;
        for (const test::ReceivedRequest& request : server.requests())
            list.push_back(request.target);
        return list;
    }

    test::TemporaryFolder folder;
    test::FaultServer server;
    NoToken token;
    SilentLog log;
    std::unique_ptr<HTTPSession> http = makeSystemHTTPSession();
    APIClient client{*URL::parse(server.url()), token, *http, log};
    test::FakeImages images;
    HalvoReleaseUploader uploader{client,
                                  {.id = id,
                                   .name = "Demo",
                                   .bundleIdentifier = "com.example.Demo",
                                   .appcastURL = *URL::parse("https://dl.example.com/a.xml")},
                                  {images, folder.path()}};
};

const std::string createPath = "/v1/releases";
const std::string uploadPath = "/v1/releases/" + idText + "/upload";
const std::string iconPath = "/v1/apps/" + idText + "/icon";

TEST(HalvoReleaseUploader, refusesAVersionThatTheServiceHas) {
    HostedService service({appReply(), appReply()});
    EXPECT_EQ(
        test::descriptionThrown<ReleaseError>([&] { service.uploader.preflightCheck(test::demoInfo()); }),
        "A release with bundle version 42 already exists. Increment your bundle version before releasing.");
    BundleInfo next = test::demoInfo();
    next.version = 43;
    service.uploader.preflightCheck(next);
    EXPECT_EQ(service.targets().at(1), "/v1/apps/com.example.Demo/details");
}

TEST(HalvoReleaseUploader, sendsTheRecordThenTheFile) {
    HostedService service({releaseReply(), releaseReply("https://dl.example.com/Demo.zip")});
    const UploadResult result = service.upload(test::demoInfo());
    EXPECT_THAT(service.targets(), ElementsAre(createPath, uploadPath)); // no icon, no call
    const json sent = json::parse(service.server.requests().at(0).body);
    EXPECT_EQ(sent.at("fileSize"), 4);
    EXPECT_EQ(sent.at("title"), "1.2.3 (42)");
    EXPECT_EQ(sent.at("channel"), "beta");
    EXPECT_EQ(sent.at("appID"), idText);
    EXPECT_EQ(service.server.requests().at(1).body, "file");
    EXPECT_EQ(result.downloadURL.absoluteString(), "https://dl.example.com/Demo.zip");
    EXPECT_EQ(result.release.downloadURL, result.downloadURL);
    EXPECT_EQ(result.fileSize, 4);
    EXPECT_EQ(service.uploader.unfinishedRelease(), std::nullopt);
}

TEST(HalvoReleaseUploader, givesTheLastDownloadAddressThatWasTold) {
    HostedService early({releaseReply("https://dl.example.com/early.zip"), releaseReply()});
    EXPECT_EQ(early.upload(test::demoInfo()).downloadURL.absoluteString(),
              "https://dl.example.com/early.zip");
    HostedService never({releaseReply(), releaseReply()});
    EXPECT_EQ(never.upload(test::demoInfo()).downloadURL.absoluteString(),
              "https://dl.example.com/v1/apps/com.example.Demo/download");
}

TEST(HalvoReleaseUploader, standsWithoutAnIcon) {
    BundleInfo info = test::demoInfo();
    info.appIcon = URL::file("/nowhere/Demo.icns");
    HostedService unreadable({releaseReply(), releaseReply()});
    unreadable.upload(info);
    EXPECT_THAT(unreadable.targets(), ElementsAre(createPath, uploadPath));

    HostedService refused({releaseReply(), releaseReply(), {.status = 500}});
    info.appIcon = URL::file(refused.folder.write("icon.icns", "icns..."));
    refused.upload(info);
    EXPECT_THAT(refused.targets(), ElementsAre(createPath, uploadPath, iconPath));
    EXPECT_EQ(refused.server.requests().at(2).header("Content-Type"), "image/png");
    EXPECT_EQ(refused.server.requests().at(2).body, "PNG of 256");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(refused.folder.path()), {}), 2);
}

TEST(HalvoReleaseUploader, namesTheRecordThatIsLeftWithoutAFile) {
    HostedService service({releaseReply(), {.status = 500}});
    EXPECT_THROW(service.upload(test::demoInfo()), APIError);
    EXPECT_EQ(service.uploader.unfinishedRelease(), id);
}

TEST(ServerReleaseRepository, administersTheReleasesOfOneApp) {
    HostedService service({appReply(true), appReply(true), releaseReply(), {.status = 204}});
    ServerReleaseRepository releases(service.client, id);
    EXPECT_TRUE(ServerReleaseRepository(service.client, UUID()).list().empty());
    std::vector<Release> listed = releases.list();
    ASSERT_EQ(listed.size(), 1U);
    listed[0].isPublished = true;
    EXPECT_EQ(releases.update(listed[0]).id, id); // as the service answered
    releases.remove(listed[0]);
    EXPECT_THAT(service.targets(), ElementsAre("/v1/users/apps", "/v1/users/apps", "/v1/releases/" + idText,
                                               "/v1/releases/" + idText));
}

TEST(ServerAppRepository, sendsAnIconAndRemovesItsPicture) {
    HostedService service({appReply()});
    const URL icon = URL::file(service.folder.write("icon.icns", "icns..."));
    EXPECT_EQ(
        ServerAppRepository(service.client).uploadIcon(id, icon, {service.images, service.folder.path()}).id,
        id);
    EXPECT_THAT(service.targets(), ElementsAre(iconPath));
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(service.folder.path()), {}), 1);
}

} // namespace
} // namespace halvo
