#include <Platform/UserDefaults.h>

#include <Platform/Files.h>
#include <Platform/UserDirectories.h>
#include <Support/CaseName.h>
#include <Support/ChildProcess.h>
#include <Support/FakeClock.h>
#include <Support/TemporaryFolder.h>

#include <nlohmann/json.hpp>

#include <cerrno>

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace halvo {
namespace {

using nlohmann::json;
namespace fs = std::filesystem;

class FileUserDefaultsTest : public testing::Test {
protected:
    FileUserDefaults open() {
        return {file, clock, [this](const std::string& message) { warnings.push_back(message); }};
    }
    fs::path aside(const std::string& number = "") const {
        return folder / ("settings/suite.json.damaged-20261122000000" + number);
    }

    test::TemporaryFolder folder;
    fs::path file = folder / "settings/suite.json";
    test::FakeClock clock;
    std::vector<std::string> warnings;
};

TEST_F(FileUserDefaultsTest, keepsValuesBetweenInstances) {
    const json record = {{"name", "D\u00e9mo"}, {"build", std::int64_t{9007199254740993}}};
    open().set("record", record);
    open().set("flag", true);
    EXPECT_EQ(open().value("record"), record);
    EXPECT_EQ(open().value("absent"), std::nullopt);
    open().set("flag", "now text");
    open().remove("record");
    open().remove("record");
    EXPECT_EQ(json::parse(test::readText(file)), json({{"flag", "now text"}}));
    EXPECT_TRUE(warnings.empty());
}

TEST_F(FileUserDefaultsTest, readingAndRemovingMakeNoFile) {
    EXPECT_EQ(open().value("key"), std::nullopt);
    open().remove("key");
    EXPECT_FALSE(fs::exists(file.parent_path()));
}

TEST_F(FileUserDefaultsTest, nobodyElseCanReadWhateverTheUmask) {
    const mode_t before = ::umask(0);
    file = folder / "new/deeper/suite.json";
    open().set("key", 1);
    ::umask(before);
    const auto modeOf = [&](const char* name) { return fs::status(folder / name).permissions(); };
    EXPECT_EQ(modeOf("new"), fs::perms(0700));
    EXPECT_EQ(modeOf("new/deeper"), fs::perms(0700));
    EXPECT_EQ(modeOf("new/deeper/suite.json"), fs::perms(0600));
    EXPECT_EQ(modeOf("new/deeper/suite.json.lock"), fs::perms(0600));
}

TEST_F(FileUserDefaultsTest, severalProcessesLoseNoKey) {
    constexpr int processes = 6;
    constexpr int keys = 25;
    folder.write("settings/suite.json", "{\"cut off"); // and only one of them moves the damaged file aside
    std::vector<test::ChildProcess> children;
    for (int process = 0; process < processes; ++process)
        children.emplace_back([&, process] {
            FileUserDefaults defaults(file, clock, [](const std::string&) {});
            for (int key = 0; key < keys; ++key) {
                defaults.set(std::to_string(process) + "." + std::to_string(key), key);
                if (key % 5 == 4)
                    defaults.remove(std::to_string(process) + "." + std::to_string(key - 1));
            }
            return 0;
        });
    for (auto& child : children)
        EXPECT_EQ(child.wait(), 0);
    const json stored = json::parse(test::readText(file));
    EXPECT_EQ(stored.size(), std::size_t{processes * keys * 4 / 5});
    EXPECT_TRUE(fs::exists(aside()));
    EXPECT_EQ(std::distance(fs::directory_iterator(file.parent_path()), {}), 3) << "file, lock, damaged file";
}

TEST_F(FileUserDefaultsTest, changesAValueInOneStep) {
    std::vector<test::ChildProcess> children;
    for (int process = 0; process < 6; ++process)
        children.emplace_back([&] {
            for (int count = 0; count < 25; ++count)
                open().change("count",
                              [](json& value) { value = value.is_null() ? 1 : value.get<int>() + 1; });
            return 0;
        });
    for (auto& child : children)
        EXPECT_EQ(child.wait(), 0);
    EXPECT_EQ(open().value("count"), 150);
    EXPECT_THROW(open().change("count", [](json&) { throw Failure("no"); }), Failure);
    EXPECT_EQ(open().value("count"), 150);
}

TEST_F(FileUserDefaultsTest, keepsSymbolicLinks) {
    fs::create_directories(file.parent_path());
    fs::create_symlink("../dotfiles/halvo.json", file); // leads nowhere yet
    open().set("key", 1);
    EXPECT_EQ(fs::read_symlink(file), "../dotfiles/halvo.json");
    EXPECT_EQ(json::parse(test::readText(folder / "dotfiles/halvo.json")), json({{"key", 1}}));
    folder.write("dotfiles/halvo.json", "damaged");
    open().set("key", 2);
    EXPECT_EQ(fs::read_symlink(file), "../dotfiles/halvo.json");
    EXPECT_EQ(open().value("key"), 2);
    EXPECT_EQ(test::readText(folder / "dotfiles/halvo.json.damaged-20261122000000"), "damaged");
}

TEST_F(FileUserDefaultsTest, aTextThatIsNotUTF8IsRefusedAndNothingChanges) {
    open().set("key", "kept");
    EXPECT_THROW(open().set("key", "\xff"), Failure);
    EXPECT_THROW(open().set("\xff", 1), Failure);
    EXPECT_EQ(open().value("key"), "kept");
}

TEST_F(FileUserDefaultsTest, aFileThatMayNotBeReadIsAFailureAndStays) {
    open().set("key", "kept");
    fs::permissions(file.parent_path(), fs::perms(0755)); // the child of a test that root runs is a stranger
    fs::permissions(file, fs::perms::none);
    test::ChildProcess child = test::ChildProcess::ofOrdinaryUser([&] {
        const auto refused = [](const auto& operation) {
            try {
                operation();
                return false;
            } catch (const FileError& error) {
                return error.code == EACCES;
            }
        };
        return refused([&] { open().value("key"); }) && refused([&] { open().set("key", 1); }) &&
                       refused([&] { open().remove("key"); })
                   ? 0
                   : 1;
    });
    EXPECT_EQ(child.wait(), 0);
    fs::permissions(file, fs::perms(0600));
    EXPECT_EQ(open().value("key"), "kept");
}

struct DamageCase {
    std::string name;
    std::string content;
};

class Damage : public FileUserDefaultsTest, public testing::WithParamInterface<DamageCase> {};

TEST_P(Damage, isMovedAsideWithAWarning) {
    folder.write("settings/suite.json", GetParam().content);
    EXPECT_EQ(open().value("key"), std::nullopt);
    ASSERT_EQ(warnings.size(), 1U);
    EXPECT_NE(warnings.front().find(file.string() + " is damaged"), std::string::npos);
    EXPECT_NE(warnings.front().find(aside().string()), std::string::npos) << warnings.front();
    EXPECT_EQ(test::readText(aside()), GetParam().content);

    folder.write("settings/suite.json", GetParam().content); // again, within the same second
    open().set("key", "new");
    EXPECT_EQ(warnings.size(), 2U);
    EXPECT_EQ(test::readText(aside("-2")), GetParam().content);
    EXPECT_EQ(open().value("key"), "new");
}

std::string nested(std::size_t depth) {
    return R"({"key":)" + std::string(depth, '[') + std::string(depth, ']') + "}";
}

INSTANTIATE_TEST_SUITE_P(FileUserDefaults, Damage,
                         testing::Values(DamageCase{"empty", ""}, DamageCase{"cutOff", R"({"key": "val)"},
                                         DamageCase{"list", R"(["key"])"},
                                         DamageCase{"notUTF8", "{\"key\": \"\xff\"}"},
                                         DamageCase{"deeperThanTheStack", nested(100'000)}),
                         test::CaseName());

TEST(UserDirectories, followTheEnvironmentWhenItNamesAnAbsolutePath) {
    const Environment set({{"XDG_CONFIG_HOME", "/conf"}, {"XDG_DATA_HOME", "/data"}});
    const Environment bad({{"XDG_CONFIG_HOME", "conf"}, {"XDG_DATA_HOME", ""}});
    EXPECT_EQ(userConfigDirectory(set, "/home/u"), "/conf");
    EXPECT_EQ(userDataDirectory(set, "/home/u"), "/data");
    EXPECT_EQ(userConfigDirectory(bad, "/home/u"), "/home/u/.config");
    EXPECT_EQ(userDataDirectory(bad, "/home/u"), "/home/u/.local/share");
}

} // namespace
} // namespace halvo
