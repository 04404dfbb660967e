// What is special to the Secret Service. Each suite runs inside the `keyring-session` of its name.
#include <Platform/KeychainItems.h>
#include <Platform/SystemProcessRunner.h>

#include "KeyringSession.h"

#include <Support/Shell.h>
#include <Support/TemporaryFolder.h>

#include <fstream>
#include <thread>

#include <gtest/gtest.h>

namespace halvo {
namespace {

/// What a shell command prints.
std::string outputOf(const std::string& command) {
    const Environment environment = Environment::ofProcess();
    SystemProcessRunner runner(environment, ToolPaths(Environment(), ""));
    return runner.run(test::shell(command)).standardOutput;
}

bool isLoaded(const std::string& library) {
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);)
        if (line.find(library) != std::string::npos)
            return true;
    return false;
}

class SecretServiceTest : public testing::Test {
protected:
    /// The keychain of the desktop session that runs the test, with some variables of its environment
    /// changed.
    std::unique_ptr<KeychainItems> open(const std::map<std::string, std::string>& changes = {}) {
        auto variables = Environment::ofProcess().all();
        variables["XDG_DATA_HOME"] = folder.path().string();
        for (const auto& [name, value] : changes)
            variables[name] = value;
        return makeSystemKeychainItems(Environment(variables), folder.path(), clock, stop.get_token(),
                                       [this](const std::string& message) { warnings.push_back(message); });
    }
    bool usesFile() const { return std::filesystem::exists(folder / "halvo/keychain.json"); }

    test::TemporaryFolder folder;
    SystemClock clock;
    std::stop_source stop;
    std::vector<std::string> warnings;
    const KeychainQuery token{.service = "halvo.example", .account = "api-token"};
    const KeychainItem item{.data = copyBytes("secret")};
    KeychainItem read;
};

class UnlockedKeyring : public SecretServiceTest {
protected:
    void SetUp() override { requireKeyringSession("unlocked"); }
};

TEST_F(UnlockedKeyring, itsItemsCanBeReadByOtherPrograms) {
    ASSERT_EQ(open()->add({.service = "read by others", .account = "a"},
                          {.data = copyBytes("shown"), .attributes = {.label = "Shown here"}}),
              KeychainStatus::success);
    EXPECT_EQ(outputOf("secret-tool lookup service 'read by others' account a"), "shown");
    const std::string listing = outputOf("secret-tool search service 'read by others' 2>&1");
    EXPECT_NE(listing.find("label = Shown here\n"), std::string::npos) << listing;
    EXPECT_NE(listing.find("schema = com.tarnworks.Halvo\n"), std::string::npos) << listing;
}

TEST_F(UnlockedKeyring, itemsOfOtherProgramsLieInTheLoginKeychain) {
    outputOf("printf filed | secret-tool store --label=Filed service filed account a protocol ssh");
    KeychainQuery query{.service = "filed", .account = "a", .protocol = "ssh"};
    EXPECT_EQ(open()->exists(query), KeychainStatus::itemNotFound);
    query.domain = KeychainDomain::login;
    EXPECT_EQ(open()->copy(query, read), KeychainStatus::success);
    EXPECT_EQ(read.data, copyBytes("filed"));
    EXPECT_EQ(open()->update(query, {.data = copyBytes("new"), .attributes = {.comment = "c"}}),
              KeychainStatus::success);
    EXPECT_EQ(outputOf("secret-tool lookup service filed account a protocol ssh"), "new");
    EXPECT_EQ(open()->remove(query), KeychainStatus::success);
    EXPECT_EQ(outputOf("secret-tool lookup service filed account a"), "");
}

TEST_F(UnlockedKeyring, findsAndClearsWhatWasFiledWithoutAKeyring) {
    KeychainQuery query = token;
    query.account = "filed";
    ASSERT_EQ(open({{"HALVO_KEYCHAIN", "file"}})->add(query, item), KeychainStatus::success);
    EXPECT_EQ(open()->copy(query, read), KeychainStatus::success);
    EXPECT_EQ(read, item);
    EXPECT_EQ(open()->exists(query), KeychainStatus::success);
    EXPECT_EQ(open()->add(query, item), KeychainStatus::duplicateItem);
    EXPECT_EQ(open()->update(query, {.data = copyBytes("new")}), KeychainStatus::success);
    EXPECT_EQ(open({{"HALVO_KEYCHAIN", "file"}})->copy(query, read), KeychainStatus::success);
    EXPECT_EQ(read.data, copyBytes("new"));
    EXPECT_THAT(open()->location(), testing::AllOf(testing::StartsWith("the login keyring"),
                                                   testing::HasSubstr("halvo/keychain.json")));
    outputOf("printf other | secret-tool store --label=Other service halvo.example account filed xdg:schema "
             "com.tarnworks.Halvo");
    EXPECT_EQ(open()->remove(query), KeychainStatus::success);
    EXPECT_EQ(open()->exists(query), KeychainStatus::itemNotFound);
    EXPECT_EQ(open()->remove(query), KeychainStatus::itemNotFound);
}

TEST_F(UnlockedKeyring, servesSeveralThreadsAtOnce) {
    const auto items = open();
    {
        std::vector<std::jthread> threads;
        for (const char* account : {"a", "b", "c", "d"})
            threads.emplace_back([&items, account] {
                const KeychainQuery query{.service = "threads", .account = account};
                KeychainItem copied;
                EXPECT_EQ(items->add(query, {.data = copyBytes(account)}), KeychainStatus::success);
                EXPECT_EQ(items->copy(query, copied), KeychainStatus::success);
                EXPECT_EQ(copied.data, copyBytes(account));
            });
    }
    EXPECT_FALSE(usesFile());
}

TEST_F(UnlockedKeyring, aCancelledRunAsksNothing) {
    const auto items = open();
    EXPECT_EQ(items->exists(token), KeychainStatus::itemNotFound);
    stop.request_stop();
    EXPECT_EQ(items->add(token, item), KeychainStatus::userCanceled);
    EXPECT_EQ(outputOf("secret-tool lookup service halvo.example"), "");
}

TEST_F(UnlockedKeyring, aSettingThatMeansNothingIsNamed) {
    EXPECT_EQ(open({{"HALVO_KEYCHAIN", "flie"}})->exists(token), KeychainStatus::itemNotFound);
    ASSERT_EQ(warnings.size(), 1U);
    EXPECT_NE(warnings.front().find("\"flie\""), std::string::npos);
}

class LockedKeyring : public SecretServiceTest {
protected:
    void SetUp() override { requireKeyringSession("locked"); }
    void expectEverywhere(KeychainItems& items, KeychainStatus status) {
        KeychainQuery inLogin = token;
        inLogin.domain = KeychainDomain::login;
        const KeychainQuery notStored{.service = "not stored", .account = "a"}; // which nobody can know
        for (const auto& query : {token, inLogin, notStored}) {
            EXPECT_EQ(items.copy(query, read), status);
            EXPECT_EQ(items.exists(query), status);
            EXPECT_EQ(items.add(query, item), status);
            EXPECT_EQ(items.update(query, item), status);
            EXPECT_EQ(items.remove(query), status);
        }
        EXPECT_FALSE(usesFile()) << "a locked keyring was taken for none";
    }
};

TEST_F(LockedKeyring, withoutADesktopNobodyCanBeAsked) {
    expectEverywhere(*open(), KeychainStatus::interactionNotAllowed);
    EXPECT_THAT(open()->message(KeychainStatus::interactionNotAllowed),
                testing::HasSubstr("HALVO_KEYCHAIN=file"));
    ASSERT_EQ(open({{"HALVO_KEYCHAIN", "file"}})->add(token, item), KeychainStatus::success);
    EXPECT_EQ(open()->copy(token, read), KeychainStatus::success) << "the file needs no password";
}

TEST_F(LockedKeyring, withADesktopAPromptThatEndsWithoutAPasswordIsACancellation) {
    expectEverywhere(*open({{"DISPLAY", ":99"}}), KeychainStatus::userCanceled);
}

class NewKeyring : public SecretServiceTest {
protected:
    void SetUp() override { requireKeyringSession("new"); }
};

TEST_F(NewKeyring, isMadeOnlyForAnItemAndOnlyWithTheUsersPassword) {
    const auto headless = open();
    EXPECT_EQ(headless->copy(token, read), KeychainStatus::itemNotFound);
    EXPECT_EQ(headless->remove(token), KeychainStatus::itemNotFound);
    EXPECT_EQ(headless->add(token, item), KeychainStatus::interactionNotAllowed);
    EXPECT_EQ(open({{"DISPLAY", ":99"}})->add(token, item), KeychainStatus::userCanceled);
    EXPECT_FALSE(usesFile());
    EXPECT_THAT(warnings, testing::IsEmpty());
}

class NoSecretService : public SecretServiceTest {
protected:
    void SetUp() override { requireKeyringSession("none"); }
    void expectFile(KeychainItems& items) {
        EXPECT_EQ(items.add(token, item), KeychainStatus::success);
        EXPECT_EQ(items.copy(token, read), KeychainStatus::success);
        EXPECT_TRUE(usesFile());
        EXPECT_THAT(warnings, testing::ElementsAre(testing::StartsWith("Secrets are kept unencrypted in ")));
    }
};

TEST_F(NoSecretService, leavesTheFile) { expectFile(*open()); }

TEST_F(NoSecretService, aBusThatIsGoneLeavesTheFile) {
    ::setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/bus",
             1); // libsecret reads the process's own
    expectFile(*open());
}

TEST_F(NoSecretService, withoutABusNothingIsOpened) {
    expectFile(*open({{"DBUS_SESSION_BUS_ADDRESS", ""}, {"XDG_RUNTIME_DIR", ""}}));
    EXPECT_EQ(open({{"HALVO_KEYCHAIN", "file"}})->copy(token, read), KeychainStatus::success);
    EXPECT_FALSE(isLoaded("libsecret"));
}

} // namespace
} // namespace halvo
