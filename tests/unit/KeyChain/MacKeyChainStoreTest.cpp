#include <KeyChain/MacKeyChainStore.h>

#include <Platform/FileKeychainItems.h>
#include <Support/TemporaryFolder.h>

#include <functional>
#include <map>

#include <gtest/gtest.h>

namespace halvo {
namespace {

using enum KeychainDomain;

/// A real keychain whose operations can be made to fail.
class FaultyKeychainItems final : public KeychainItems {
public:
    explicit FaultyKeychainItems(KeychainItems& real) : real(real) {}

    KeychainStatus copy(const KeychainQuery& query, KeychainItem& item) override {
        return run("copy", query, [&] { return real.copy(query, item); });
    }
    KeychainStatus exists(const KeychainQuery& query) override {
        return run("exists", query, [&] { return real.exists(query); });
    }
    KeychainStatus add(const KeychainQuery& query, const KeychainItem& item) override {
        return run("add", query, [&] { return real.add(query, item); });
    }
    KeychainStatus update(const KeychainQuery& query, const KeychainItem& item) override {
        return run("update", query, [&] { return real.update(query, item); });
    }
    KeychainStatus remove(const KeychainQuery& query) override {
        return run("remove", query, [&] { return real.remove(query); });
    }
    std::string message(KeychainStatus status) const override {
        return status == KeychainStatus::ioError ? "The disk is on fire." : "";
    }
    std::string location() const override { return real.location(); }

    std::map<std::pair<std::string, KeychainDomain>, KeychainStatus> faults;

private:
    template<typename Operation>
    KeychainStatus run(const std::string& name, const KeychainQuery& query, Operation operation) {
        const auto fault = faults.find({name, query.domain});
        return fault == faults.end() ? operation() : fault->second;
    }

    KeychainItems& real;
};

class MacKeyChainStoreTest : public testing::Test {
protected:
    KeychainItem stored(const KeychainQuery& query) {
        KeychainItem item;
        EXPECT_EQ(items.copy(query, item), KeychainStatus::success) << query.service << " " << query.account;
        return item;
    }
    void plant(const KeychainQuery& query, std::string_view data, KeychainAttributes attributes = {}) {
        ASSERT_EQ(items.add(query, {.data = copyBytes(data), .attributes = std::move(attributes)}),
                  KeychainStatus::success);
    }
    bool isThere(const KeychainQuery& query) { return items.exists(query) == KeychainStatus::success; }

    test::TemporaryFolder folder;
    SystemClock clock;
    FileKeychainItems items{folder / "halvo/keychain.json", clock,
                            [](const std::string& message) { ADD_FAILURE() << message; }};
    FaultyKeychainItems faulty{items};
    MacKeyChainStore store{faulty};

    const std::string bundle = "com.example.App";
    const Bytes privateKey{0x00, 0xff, 0x10, 0x20};
    const KeychainQuery tokenQuery{.service = "halvo.example", .account = "api-token"};
    const KeychainQuery sparkleQuery{.service = "halvo.sparkle.com.example.App", .account = "ed25519"};
    const KeychainQuery s3Query{.service = "halvo.s3.com.example.App", .account = "aws-credentials"};
    const KeychainQuery toolQuery{
        .service = "https://sparkle-project.org", .account = "ed25519", .domain = login, .protocol = "ssh"};
};

KeychainQuery inLogin(KeychainQuery query) {
    query.domain = login;
    return query;
}

/// The sentence of the KeychainError that `action` throws.
std::string failureOf(const std::function<void()>& action) {
    try {
        action();
    } catch (const KeychainError& error) {
        return error.description();
    }
    return "nothing was thrown";
}

TEST_F(MacKeyChainStoreTest, filesEachItemUnderItsNamesAndAttributes) {
    store.setAPIToken("tok\u00e9n");
    store.setSparklePrivateKey(privateKey, Bytes{0xfe, 0x01}, bundle);
    store.setS3Credentials({.accessKeyID = "AKIA", .secretAccessKey = "s/e+c"}, bundle);
    const KeychainAttributes key{.label = "Private key for signing Sparkle updates (com.example.App)",
                                 .description = "private key",
                                 .comment = "/gE="};
    EXPECT_EQ(stored(tokenQuery),
              (KeychainItem{copyBytes("tok\u00e9n"), {.label = "API token for halvo.example"}}));
    EXPECT_EQ(stored(sparkleQuery), (KeychainItem{copyBytes("AP8QIA=="), key}));
    EXPECT_EQ(stored(s3Query), (KeychainItem{copyBytes(R"({"accessKeyID":"AKIA","secretAccessKey":"s/e+c"})"),
                                             {.label = "AWS credentials for com.example.App"}}));
    EXPECT_EQ(store.getAPIToken(), "tok\u00e9n");
    EXPECT_EQ(store.getSparklePrivateKeyFor(bundle), privateKey);
    EXPECT_EQ(store.getS3Credentials(bundle),
              (S3Credentials{.accessKeyID = "AKIA", .secretAccessKey = "s/e+c"}));
    EXPECT_FALSE(isThere(inLogin(tokenQuery)));
}

TEST_F(MacKeyChainStoreTest, namesTheAccountOfWhatIsMissing) {
    const auto missing = [](const std::string& account) {
        return "No item for " + account + " in the keychain.";
    };
    EXPECT_EQ(failureOf([&] { store.getAPIToken(); }), missing("api-token"));
    EXPECT_EQ(failureOf([&] { store.getSparklePrivateKeyFor(bundle); }), missing("ed25519"));
    EXPECT_EQ(failureOf([&] { store.getS3Credentials(bundle); }), missing("aws-credentials"));
    EXPECT_EQ(failureOf([&] { store.getSparklePrivateKey("work"); }), missing("work"));
    EXPECT_EQ(store.storedSparklePrivateKey(bundle), std::nullopt);
    EXPECT_FALSE(store.hasSparklePrivateKey());
}

TEST_F(MacKeyChainStoreTest, movesALegacyItemOverWhenItIsRead) {
    const KeychainAttributes attributes{
        .label = "old label", .description = "private key", .comment = "public"};
    plant(inLogin(sparkleQuery), "AP8QIA==", attributes);
    faulty.faults[{"add", dataProtection}] = KeychainStatus::ioError;
    EXPECT_EQ(failureOf([&] { store.getSparklePrivateKeyFor(bundle); }),
              "Couldn't save the item to the keychain. The disk is on fire. (OSStatus -36)");
    faulty.faults.clear();
    EXPECT_EQ(store.getSparklePrivateKeyFor(bundle), privateKey);
    EXPECT_EQ(stored(sparkleQuery).attributes, attributes);
    ASSERT_EQ(items.update(inLogin(sparkleQuery), {.data = copyBytes("changed")}), KeychainStatus::success);
    EXPECT_EQ(store.getSparklePrivateKeyFor(bundle), privateKey) << "the new item is found first";
}

TEST_F(MacKeyChainStoreTest, deletingRemovesFromBothKeychainsAndForgivesAbsence) {
    EXPECT_NO_THROW(store.deleteAPIToken());
    EXPECT_FALSE(std::filesystem::exists(folder / "halvo")) << "deleting made a keychain";
    for (const auto& query : {tokenQuery, inLogin(tokenQuery), s3Query, inLogin(s3Query)})
        plant(query, "{}");
    store.deleteAPIToken();
    EXPECT_FALSE(isThere(tokenQuery) || isThere(inLogin(tokenQuery)));
    EXPECT_TRUE(isThere(s3Query)) << "another item went along";
    faulty.faults[{"remove", login}] = KeychainStatus::authFailed; // the new keychain alone decides
    store.deleteS3Credentials(bundle);
    EXPECT_FALSE(isThere(s3Query));
    faulty.faults[{"remove", dataProtection}] = KeychainStatus::userCanceled;
    EXPECT_EQ(failureOf([&] { store.deleteAPIToken(); }), " (OSStatus -128)");
}

TEST_F(MacKeyChainStoreTest, readsTheKeyOfSparklesOwnToolAndLeavesItThere) {
    plant(toolQuery, "AP8QIA==");
    EXPECT_TRUE(store.hasSparklePrivateKey());
    EXPECT_EQ(store.getSparklePrivateKey(), privateKey);
    EXPECT_FALSE(isThere({.service = toolQuery.service, .account = toolQuery.account}));
}

TEST_F(MacKeyChainStoreTest, refusesDataThatIsNotWhatItShouldBe) {
    const std::string notReadable = "The keychain item contains data that can't be read.";
    plant(sparkleQuery, "not base64!");
    plant(tokenQuery, "\xff\xfe");
    EXPECT_EQ(failureOf([&] { store.storedSparklePrivateKey(bundle); }), "The key isn't valid base64.");
    EXPECT_EQ(failureOf([&] { store.getAPIToken(); }), notReadable);
    EXPECT_EQ(failureOf([&] { store.setAPIToken("\xff"); }), notReadable);
    for (const char* record : {"hidden", "[\"hidden\"]", R"({"accessKeyID":"hidden","secretAccessKey":7})"}) {
        static_cast<void>(items.remove(s3Query));
        plant(s3Query, record);
        try {
            store.getS3Credentials(bundle);
            ADD_FAILURE() << "accepted " << record;
        } catch (const Failure& failure) {
            EXPECT_EQ(failure.description().find("hidden"), std::string::npos) << failure.description();
        }
    }
    EXPECT_THROW(store.setS3Credentials({"hidden", "\xff"}, "com.example.Other"), Failure);
}

TEST_F(MacKeyChainStoreTest, tellsEveryStatusOfEveryOperation) {
    const std::string failing = "The disk is on fire. (OSStatus -36)";
    const std::pair<KeychainStatus, std::string> cases[] = {
        {KeychainStatus::authFailed,
         "Keychain access was denied. Try again and allow access when macOS asks."},
        {KeychainStatus::userCanceled,
         "Keychain access was canceled. Try again and allow access when macOS asks."},
        {KeychainStatus::interactionNotAllowed, "macOS can't show the keychain prompt right now. Unlock your "
                                                "Mac and try again from a logged-in desktop session."},
        {KeychainStatus::ioError, failing}};
    store.setAPIToken("first");
    for (const auto& [status, text] : cases) {
        const bool isNumber = text == failing;
        for (const char* operation : {"copy", "exists", "update"})
            for (const auto domain : {dataProtection, login})
                faulty.faults[{operation, domain}] = status;
        EXPECT_EQ(failureOf([&] { store.getAPIToken(); }), text);
        EXPECT_EQ(failureOf([&] { store.getSparklePrivateKey("ed25519"); }), text);
        EXPECT_EQ(failureOf([&] { store.hasSparklePrivateKey(); }), text);
        EXPECT_EQ(failureOf([&] { store.storedSparklePrivateKey(bundle); }), text);
        EXPECT_EQ(failureOf([&] { store.setAPIToken("second"); }),
                  (isNumber ? "Couldn't update the keychain item. " : "") + text);
        faulty.faults[{"add", dataProtection}] = status;
        EXPECT_EQ(failureOf([&] { store.setAPIToken("third"); }),
                  (isNumber ? "Couldn't save the item to the keychain. " : "") + text);
        faulty.faults.clear();
    }
}

} // namespace
} // namespace halvo
