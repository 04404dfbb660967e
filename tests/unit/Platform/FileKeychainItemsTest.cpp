#include <Platform/FileKeychainItems.h>

#include <Platform/Files.h>
#include <Support/ChildProcess.h>
#include <Support/TemporaryFolder.h>

#include <nlohmann/json.hpp>

#include <cerrno>

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace halvo {
namespace {

using nlohmann::json;
namespace fs = std::filesystem;

class FileKeychainItemsTest : public testing::Test {
protected:
    test::TemporaryFolder folder;
    fs::path file = folder / "halvo/keychain.json";
    SystemClock clock;
    std::vector<std::string> warnings;
    FileKeychainItems items{file, clock, [this](const std::string& message) { warnings.push_back(message); }};

    const KeychainQuery query{.service = "service", .account = "account"};
    const KeychainItem item{.data = copyBytes("hidden"), .attributes = {.label = "A label"}};
    KeychainItem read;
};

TEST_F(FileKeychainItemsTest, nobodyElseCanReadWhateverTheUmask) {
    const mode_t before = ::umask(0);
    EXPECT_EQ(items.add(query, item), KeychainStatus::success);
    ::umask(before);
    EXPECT_EQ(fs::status(file).permissions(), fs::perms(0600));
    EXPECT_EQ(fs::status(file.parent_path()).permissions(), fs::perms(0700));

    fs::permissions(file, fs::perms(0644));
    fs::permissions(file.parent_path(), fs::perms(0755));
    EXPECT_EQ(items.update(query, item), KeychainStatus::success);
    EXPECT_EQ(fs::status(file).permissions(), fs::perms(0600));
    EXPECT_EQ(fs::status(file.parent_path()).permissions(), fs::perms(0700));
}

TEST_F(FileKeychainItemsTest, writesTheFormThatItsHeaderShows) {
    const KeychainQuery other{
        .service = "site", .account = "key", .domain = KeychainDomain::login, .protocol = "ssh"};
    ASSERT_EQ(items.add(query, item), KeychainStatus::success);
    ASSERT_EQ(items.add(other, {.data = {0xff}}), KeychainStatus::success);
    EXPECT_EQ(
        json::parse(test::readText(file)),
        json({{"dataProtection", {{"service", {{"account", {{"data", "aGlkZGVu"}, {"label", "A label"}}}}}}},
              {"login", {{"site", {{"key", {{"data", "/w=="}, {"protocol", "ssh"}}}}}}}}));
}

TEST_F(FileKeychainItemsTest, aFileThatMayNotBeReadIsNotEmpty) {
    ASSERT_EQ(items.add(query, item), KeychainStatus::success);
    const std::string before = test::readText(file);
    fs::permissions(file.parent_path(), fs::perms(0755)); // the child of a test that root runs is a stranger
    fs::permissions(file, fs::perms::none);
    test::ChildProcess child = test::ChildProcess::ofOrdinaryUser([&] {
        const bool refused = items.copy(query, read) == KeychainStatus::ioError &&
                             items.exists(query) == KeychainStatus::ioError &&
                             items.add(query, item) == KeychainStatus::ioError &&
                             items.remove(query) == KeychainStatus::ioError;
        return refused && warnings.size() == 4 &&
                       warnings.front() == FileError("read", file, EACCES).description()
                   ? 0
                   : 1;
    });
    EXPECT_EQ(child.wait(), 0);
    fs::permissions(file, fs::perms(0600));
    EXPECT_EQ(test::readText(file), before);
    EXPECT_NE(items.message(KeychainStatus::ioError).find(file.string()), std::string::npos);
}

TEST_F(FileKeychainItemsTest, reportsADamagedEntryAndLeavesIt) {
    for (const char* content :
         {R"({"dataProtection": {"service": []}})",
          R"({"dataProtection": {"service": {"account": {"label": "x"}}}})",
          R"({"dataProtection": {"service": {"account": {"data": "hidden!"}}}})",
          R"({"dataProtection": {"service": {"account": {"data": "", "label": {}}}}})"}) {
        SCOPED_TRACE(content);
        folder.write("halvo/keychain.json", content);
        EXPECT_EQ(items.copy(query, read), KeychainStatus::decode);
        EXPECT_NE(items.add(query, item), KeychainStatus::success);
        EXPECT_EQ(test::readText(file), content);
        EXPECT_TRUE(warnings.empty());
    }
}

} // namespace
} // namespace halvo
