#include <HalvoCore/LocalAppRepository.h>

#include <Support/FakeClock.h>
#include <Support/TemporaryFolder.h>

#include <nlohmann/json.hpp>

#include <condition_variable>
#include <mutex>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace halvo {
namespace {

using nlohmann::json;

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

class LocalAppRepositoryTest : public StoreTest {
protected:
    static LocalApp app(const std::string& name) {
        return {.id = UUID::random(),
                .bundleIdentifier = "com.example." + name,
                .name = name,
                .storage = {S3Configuration{.bucket = name,
                                            .region = "us-east-1",
                                            .publicBaseURL = *URL::parse("https://dl.example.com"),
                                            .appcastPath = "appcast.xml"}}};
    }
    static std::vector<std::string> names(const std::vector<LocalApp>& apps) {
        std::vector<std::string> names;
        for (const LocalApp& app : apps)
            names.push_back(app.name);
        return names;
    }

    LocalAppRepository repository{storage, [this](const LocalApp& one) { return fetch(one.name); }};
    std::function<std::vector<Release>(const std::string& name)> fetch = [](const std::string&) {
        return std::vector<Release>();
    };
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

TEST_F(LocalAppRepositoryTest, listKeepsTheStoredOrderWhicheverFetchEndsFirst) {
    for (const char* name : {"First", "Second", "Third"})
        repository.create(app(name));
    // The first fetch ends only after both others have: they run side by side.
    std::mutex mutex;
    std::condition_variable changed;
    int answered = 0;
    fetch = [&](const std::string& name) {
        std::unique_lock lock(mutex);
        const bool othersAnswered = name != "First" || changed.wait_for(lock, std::chrono::seconds(20),
                                                                        [&] { return answered == 2; });
        EXPECT_TRUE(othersAnswered);
        ++answered;
        changed.notify_all();
        return std::vector<Release>{{.title = name}};
    };
    for (const LocalApp& listed : repository.list())
        EXPECT_EQ(listed.releases.at(0).title, listed.name);
    EXPECT_EQ(names(repository.listStored()), (std::vector<std::string>{"First", "Second", "Third"}));
    EXPECT_EQ(repository.fetch("com.example.Second").releases.at(0).title, "Second");
    EXPECT_THROW(repository.fetch("com.example.Nobody"), AppRepositoryError);

    fetch = [](const std::string& name) {
        if (name == "Second")
            throw Failure("no way");
        return std::vector<Release>();
    };
    EXPECT_THROW(repository.list(), Failure);
}

} // namespace
} // namespace halvo
