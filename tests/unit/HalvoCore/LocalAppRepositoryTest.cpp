#include <HalvoCore/LocalAppRepository.h>

#include <KeyChain/MacKeyChainStore.h>
#include <Platform/FileKeychainItems.h>
#include <Support/FakeClock.h>
#include <Support/MemoryAppcastStorage.h>
#include <Support/TemporaryFolder.h>

#include <nlohmann/json.hpp>

#include <condition_variable>
#include <mutex>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace halvo {
namespace {

using nlohmann::json;
using test::MemoryAppcastStorage;

const std::string firstID = "6D1A9F1C-3B7E-5A2D-9C4F-8E0A1B2C3D4E";

/// The settings store over a file, as the program has it.
class StoreTest : public testing::Test {
protected:
    test::FakeClock clock;
    test::TemporaryFolder folder;
    FileUserDefaults defaults{folder / "settings.json", clock, [](const std::string&) {}};
    UserDefaultsStorageController storage{defaults};
};

TEST_F(StoreTest, keepsOneJSONValueForEachKey) {
    const ReleaseSettings settings{.codesignIdentity = {"AB12", "Developer ID", "TEAM"},
                                   .keychainProfile = "p"};
    storage.setReleaseSettings(settings, "com.example.Demo");
    storage.setXcodeBuildConfiguration(
        XcodeBuildConfiguration{URL::parse("file:///p/Demo.xcodeproj"), ProjectType::project, "Demo"},
        "com.example.Demo");
    storage.setSelectedAppId(UUID::parse(firstID));
    storage.setCachedApps({});

    EXPECT_EQ(
        json::parse(test::readText(folder / "settings.json")),
        (json{{"releaseSettings.com.example.Demo",
               {{"codesignIdentity", {{"hash", "AB12"}, {"name", "Developer ID"}, {"teamID", "TEAM"}}},
                {"keychainProfile", "p"},
                {"dmgEnabled", true}}},
              {"xcodeBuildConfig.com.example.Demo",
               {{"projectPath", "file:///p/Demo.xcodeproj"}, {"projectType", "project"}, {"scheme", "Demo"}}},
              {"selectedAppId", firstID},
              {"cachedApps", json::array()}}));
    EXPECT_EQ(storage.getReleaseSettings("com.example.Demo"), settings);
    EXPECT_EQ(storage.getReleaseSettings("com.example.Other"), std::nullopt);
    EXPECT_EQ(storage.getSelectedAppId(), UUID::parse(firstID));
    EXPECT_EQ(storage.getCachedApps(), std::vector<App>{});

    storage.setReleaseSettings(std::nullopt, "com.example.Demo");
    storage.setXcodeBuildConfiguration(std::nullopt, "com.example.Demo");
    storage.setSelectedAppId(std::nullopt);
    EXPECT_EQ(json::parse(test::readText(folder / "settings.json")), (json{{"cachedApps", json::array()}}));
}

TEST_F(StoreTest, whatCannotBeReadCountsAsAbsent) {
    for (const json& damaged : {json(1), json("text"), json::array({1}), json{{"codesignIdentity", 1}}}) {
        SCOPED_TRACE(damaged.dump());
        for (const char* key : {"releaseSettings.x", "xcodeBuildConfig.x", "selectedAppId", "cachedApps"})
            storage.set(damaged, key);
        EXPECT_EQ(storage.getReleaseSettings("x"), std::nullopt);
        EXPECT_EQ(storage.getXcodeBuildConfiguration("x"), std::nullopt);
        EXPECT_EQ(storage.getSelectedAppId(), std::nullopt);
        EXPECT_EQ(storage.getCachedApps(), std::nullopt);
    }
}

std::string feedOf(int version) {
    return "<rss version=\"2.0\" "
           "xmlns:sparkle=\"http://www.andymatuschak.org/xml-namespaces/sparkle\"><channel>"
           "<item><title>R</title><pubDate>Sun, 22 Nov 2026 09:30:00 +0000</pubDate><sparkle:version>" +
           std::to_string(version) +
           "</sparkle:version><sparkle:shortVersionString>1</sparkle:shortVersionString>"
           "<enclosure url=\"https://x.example/a.zip\" length=\"1\" type=\"application/zip\" "
           "sparkle:edSignature=\"" +
           std::string(86, 'A') + "==\"/></item></channel></rss>";
}

class LocalAppRepositoryTest : public StoreTest {
protected:
    static LocalApp app(const std::string& name) {
        return {.id = UUID::random(),
                .bundleIdentifier = "com.example." + name,
                .name = name,
                .storage = {S3Configuration{.bucket = name,
                                            .region = "us-east-1",
                                            .publicBaseURL = MemoryAppcastStorage::baseURL(),
                                            .appcastPath = "appcast.xml"}}};
    }
    /// Stores apps of these names, with credentials.
    std::vector<LocalApp> createApps(const std::vector<std::string>& names) {
        std::vector<LocalApp> apps;
        for (const std::string& name : names) {
            apps.push_back(repository.create(app(name)));
            keyChain.setS3Credentials({"id of " + name, "secret"}, apps.back().bundleIdentifier);
        }
        return apps;
    }
    static std::vector<std::string> names(const std::vector<LocalApp>& apps) {
        std::vector<std::string> names;
        for (const LocalApp& app : apps)
            names.push_back(app.name);
        return names;
    }

    FileKeychainItems items{folder / "keys/keychain.json", clock, [](const std::string&) {}};
    MacKeyChainStore keyChain{items};
    std::function<std::unique_ptr<AppcastStorageProvider>(const std::string& bucket)> open =
        [](const std::string&) { return std::make_unique<MemoryAppcastStorage>(); };
    LocalAppRepository repository{
        storage, keyChain,
        [this](const S3Configuration& configuration, const S3Credentials& credentials) {
            EXPECT_EQ(credentials.accessKeyID, "id of " + configuration.bucket);
            return open(configuration.bucket);
        },
        clock};
};

TEST_F(LocalAppRepositoryTest, keepsTheListUnderOneKeyAndNeverItsReleases) {
    EXPECT_TRUE(repository.listStored().empty());
    LocalApp demo = app("Demo");
    demo.id = *UUID::parse(firstID);
    demo.releases.push_back({.title = "1.0"});
    EXPECT_EQ(repository.create(demo), demo);
    EXPECT_EQ(storage.get("localApps"), (json::array({{{"id", firstID},
                                                       {"bundleIdentifier", "com.example.Demo"},
                                                       {"name", "Demo"},
                                                       {"storage",
                                                        {{"s3",
                                                          {{"_0",
                                                            {{"bucket", "Demo"},
                                                             {"region", "us-east-1"},
                                                             {"publicBaseURL", "https://dl.example.com"},
                                                             {"appcastPath", "appcast.xml"}}}}}}}}})));

    const LocalApp other = repository.create(app("Other"));
    demo.name = "Renamed";
    repository.update(demo);
    repository.update(app("Stranger")); // nothing has its id
    EXPECT_EQ(names(repository.listStored()), (std::vector<std::string>{"Renamed", "Other"}));
    EXPECT_EQ(repository.fetchStored("com.example.Demo")->name, "Renamed");
    repository.remove(demo);
    EXPECT_EQ(names(repository.listStored()), std::vector<std::string>{"Other"});
    EXPECT_EQ(repository.fetchStored("com.example.Demo"), std::nullopt);
}

TEST_F(LocalAppRepositoryTest, carriesAlongWhatItCannotRead) {
    const json strange = {{"name", "Demo"}};
    for (const json& stored : {strange, json::array({strange}), json("x")}) {
        SCOPED_TRACE(stored.dump());
        storage.set(stored, "localApps");
        EXPECT_TRUE(repository.list().empty());
        LocalApp demo = repository.create(app("Demo"));
        demo.name = "Renamed";
        repository.update(demo);
        EXPECT_EQ(names(repository.listStored()), std::vector<std::string>{"Renamed"});
        repository.remove(demo);
        EXPECT_EQ(storage.get("localApps"), stored.is_array() ? stored : json::array({stored}));
    }
}

TEST_F(LocalAppRepositoryTest, withoutCredentialsAnAppHasNoReleases) {
    repository.create(app("Demo"));
    open = [](const std::string&) -> std::unique_ptr<AppcastStorageProvider> {
        ADD_FAILURE() << "was opened";
        return nullptr;
    };
    ASSERT_EQ(repository.list().size(), 1U);
    EXPECT_TRUE(repository.fetch("com.example.Demo").releases.empty());
    try {
        repository.fetch("com.example.Nobody");
        FAIL() << "was found";
    } catch (const AppRepositoryError& error) {
        EXPECT_STREQ(error.what(), "Storage error: App not found: com.example.Nobody");
    }
}

TEST_F(LocalAppRepositoryTest, listKeepsTheStoredOrderWhicheverFetchEndsFirst) {
    createApps({"First", "Second", "Third"});
    // The first feed answers only after both others have: fetches run side by side.
    std::mutex mutex;
    std::condition_variable changed;
    int answered = 0;
    open = [&](const std::string& bucket) {
        auto feed = std::make_unique<MemoryAppcastStorage>();
        feed->feed = feedOf(bucket == "First" ? 1 : bucket == "Second" ? 2 : 3);
        feed->duringDownload = [&, bucket] {
            std::unique_lock lock(mutex);
            const bool othersAnswered = bucket != "First" || changed.wait_for(lock, std::chrono::seconds(20),
                                                                              [&] { return answered == 2; });
            EXPECT_TRUE(othersAnswered);
            ++answered;
            changed.notify_all();
        };
        return feed;
    };
    const auto apps = repository.list();
    EXPECT_EQ(names(apps), (std::vector<std::string>{"First", "Second", "Third"}));
    for (std::size_t index = 0; index < apps.size(); ++index) {
        ASSERT_EQ(apps[index].releases.size(), 1U);
        EXPECT_EQ(apps[index].releases[0].bundleVersion, static_cast<std::int64_t>(index) + 1);
    }
}

TEST_F(LocalAppRepositoryTest, oneFailingFetchFailsTheList) {
    createApps({"Good", "Bad", "AlsoGood"});
    open = [](const std::string& bucket) {
        auto feed = std::make_unique<MemoryAppcastStorage>();
        feed->failingAt = bucket == "Bad" ? "download" : "";
        return feed;
    };
    EXPECT_THROW(repository.list(), AppcastStorageError);
}

TEST_F(LocalAppRepositoryTest, aKeychainThatCannotBeReadIsNoEmptyList) {
    createApps({"Demo"});
    std::filesystem::remove(folder / "keys/keychain.json");
    std::filesystem::create_directory(folder / "keys/keychain.json");
    EXPECT_THROW(repository.list(), KeychainError);
}

} // namespace
} // namespace halvo
