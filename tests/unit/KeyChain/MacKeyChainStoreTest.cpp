#include <KeyChain/MacKeyChainStore.h>

#include <Base/Base64.h>
#include <Platform/FileKeychainItems.h>
#include <Support/CaseName.h>
#include <Support/TemporaryFolder.h>

#include <functional>
#include <map>

#include <gtest/gtest.h>

namespace halvo {
namespace {

enum class Operation { copy, exists, add, update, remove };

/// A real keychain whose operations can be made to fail, each in one domain.
class FaultyKeychainItems final : public KeychainItems {
public:
    explicit FaultyKeychainItems(KeychainItems& real) : real(real) {}
    void fail(Operation operation, KeychainDomain domain, KeychainStatus status) {
        faults[{operation, domain}] = status;
    }

    KeychainStatus copy(const KeychainQuery& query, KeychainItem& item) override {
        const auto status = fault(Operation::copy, query);
        return status ? *status : real.copy(query, item);
    }
    KeychainStatus exists(const KeychainQuery& query) override {
        const auto status = fault(Operation::exists, query);
        return status ? *status : real.exists(query);
    }
    KeychainStatus add(const KeychainQuery& query, const KeychainItem& item) override {
        const auto status = fault(Operation::add, query);
        return status ? *status : real.add(query, item);
    }
    KeychainStatus update(const KeychainQuery& query, const KeychainItem& item) override {
        const auto status = fault(Operation::update, query);
        return status ? *status : real.update(query, item);
    }
    KeychainStatus remove(const KeychainQuery& query) override {
        const auto status = fault(Operation::remove, query);
        return status ? *status : real.remove(query);
    }
    std::string message(KeychainStatus status) const override {
        return status == KeychainStatus::ioError ? "The disk is on fire." : "";
    }

private:
    std::optional<KeychainStatus> fault(Operation operation, const KeychainQuery& query) const {
        const auto found = faults.find({operation, query.domain});
        return found == faults.end() ? std::nullopt : std::optional(found->second);
    }

    KeychainItems& real;
    std::map<std::pair<Operation, KeychainDomain>, KeychainStatus> faults;
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

    test::TemporaryFolder folder;
    SystemClock clock;
    FileKeychainItems items{folder / "halvo/keychain.json", clock,
                            [](const std::string& message) { ADD_FAILURE() << message; }};
    FaultyKeychainItems faulty{items};
    MacKeyChainStore store{faulty};

    const Bytes privateKey{0x00, 0xff, 0x10, 0x20};
    const Bytes publicKey{0xfe, 0x01};
    const KeychainQuery tokenQuery{.service = "halvo.example", .account = "api-token"};
    const KeychainQuery sparkleQuery{.service = "halvo.sparkle.com.example.App", .account = "ed25519"};
    const KeychainQuery s3Query{.service = "halvo.s3.com.example.App", .account = "aws-credentials"};
    const KeychainQuery toolQuery{.service = "https://sparkle-project.org",
                                  .account = "ed25519",
                                  .domain = KeychainDomain::login,
                                  .protocol = "ssh"};
};

KeychainQuery inLogin(KeychainQuery query) {
    query.domain = KeychainDomain::login;
    return query;
}

/// The case that `action` throws; fails the test when it throws no KeychainError.
KeychainError::Case caseOf(const std::function<void()>& action) {
    try {
        action();
    } catch (const KeychainError& error) {
        return error.which;
    }
    throw std::runtime_error("nothing was thrown");
}

TEST_F(MacKeyChainStoreTest, filesEachItemUnderItsNamesAndAttributes) {
    store.setAPIToken("tok\u00e9n");
    store.setSparklePrivateKey(privateKey, publicKey, "com.example.App");
    store.setS3Credentials({.accessKeyID = "AKIA", .secretAccessKey = "s/e+c"}, "com.example.App");

    EXPECT_EQ(stored(tokenQuery), (KeychainItem{.data = copyBytes("tok\u00e9n"),
                                                .attributes = {.label = "API token for halvo.example"}}));
    EXPECT_EQ(
        stored(sparkleQuery),
        (KeychainItem{.data = copyBytes("AP8QIA=="),
                      .attributes = {.label = "Private key for signing Sparkle updates (com.example.App)",
                                     .description = "private key",
                                     .comment = "/gE="}}));
    EXPECT_EQ(stored(s3Query),
              (KeychainItem{.data = copyBytes(R"({"accessKeyID":"AKIA","secretAccessKey":"s/e+c"})"),
                            .attributes = {.label = "AWS credentials for com.example.App"}}));

    EXPECT_EQ(store.getAPIToken(), "tok\u00e9n");
    EXPECT_EQ(store.getSparklePrivateKeyFor("com.example.App"), privateKey);
    EXPECT_EQ(store.getS3Credentials("com.example.App"),
              (S3Credentials{.accessKeyID = "AKIA", .secretAccessKey = "s/e+c"}));
    EXPECT_EQ(items.exists(inLogin(tokenQuery)), KeychainStatus::itemNotFound);
}

TEST_F(MacKeyChainStoreTest, namesTheAccountOfWhatIsMissing) {
    using NotFound = KeychainError::ItemNotFound;
    EXPECT_EQ(caseOf([&] { store.getAPIToken(); }), KeychainError::Case(NotFound{"api-token"}));
    EXPECT_EQ(caseOf([&] { store.getSparklePrivateKeyFor("com.example.App"); }),
              KeychainError::Case(NotFound{"ed25519"}));
    EXPECT_EQ(caseOf([&] { store.getS3Credentials("com.example.App"); }),
              KeychainError::Case(NotFound{"aws-credentials"}));
    EXPECT_EQ(caseOf([&] { store.getSparklePrivateKey("work"); }), KeychainError::Case(NotFound{"work"}));
    EXPECT_EQ(store.storedSparklePrivateKey("com.example.App"), std::nullopt);
    EXPECT_FALSE(store.hasSparklePrivateKey());
}

TEST_F(MacKeyChainStoreTest, movesALegacyItemOverWhenItIsRead) {
    const KeychainAttributes attributes{
        .label = "old label", .description = "private key", .comment = "public"};
    plant(inLogin(sparkleQuery), "AP8QIA==", attributes);
    EXPECT_EQ(store.getSparklePrivateKeyFor("com.example.App"), privateKey);
    EXPECT_EQ(stored(sparkleQuery).attributes, attributes);
    EXPECT_EQ(stored(inLogin(sparkleQuery)), stored(sparkleQuery));

    ASSERT_EQ(items.update(inLogin(sparkleQuery), {.data = copyBytes("changed")}), KeychainStatus::success);
    EXPECT_EQ(store.getSparklePrivateKeyFor("com.example.App"), privateKey) << "the new item is found first";
}

TEST_F(MacKeyChainStoreTest, aLegacyItemThatCannotBeMovedIsAFailure) {
    plant(inLogin(tokenQuery), "token");
    faulty.fail(Operation::add, KeychainDomain::dataProtection, KeychainStatus::ioError);
    EXPECT_EQ(caseOf([&] { store.getAPIToken(); }),
              KeychainError::Case(KeychainError::UnableToStoreItem{-36}));
}

TEST_F(MacKeyChainStoreTest, deletingRemovesFromBothKeychainsAndForgivesAbsence) {
    EXPECT_NO_THROW(store.deleteAPIToken());
    EXPECT_FALSE(std::filesystem::exists(folder / "halvo")) << "deleting made a keychain";
    for (const auto& query : {tokenQuery, inLogin(tokenQuery), s3Query, inLogin(s3Query)})
        plant(query, "{}");
    store.deleteAPIToken();
    EXPECT_EQ(items.exists(tokenQuery), KeychainStatus::itemNotFound);
    EXPECT_EQ(items.exists(inLogin(tokenQuery)), KeychainStatus::itemNotFound);
    EXPECT_EQ(items.exists(s3Query), KeychainStatus::success) << "another item went along";
    store.deleteS3Credentials("com.example.App");
    EXPECT_EQ(items.exists(s3Query), KeychainStatus::itemNotFound);
    EXPECT_EQ(items.exists(inLogin(s3Query)), KeychainStatus::itemNotFound);
}

TEST_F(MacKeyChainStoreTest, onlyTheNewKeychainDecidesWhetherADeletionWorked) {
    faulty.fail(Operation::remove, KeychainDomain::login, KeychainStatus::authFailed);
    EXPECT_NO_THROW(store.deleteAPIToken());
    faulty.fail(Operation::remove, KeychainDomain::dataProtection, KeychainStatus::userCanceled);
    EXPECT_EQ(caseOf([&] { store.deleteAPIToken(); }),
              KeychainError::Case(KeychainError::UnknownKeychainError{-128}));
    EXPECT_EQ(caseOf([&] { store.deleteS3Credentials("com.example.App"); }),
              KeychainError::Case(KeychainError::UnknownKeychainError{-128}));
}

TEST_F(MacKeyChainStoreTest, readsTheKeyOfSparklesOwnToolAndLeavesItThere) {
    plant(toolQuery, "AP8QIA==");
    EXPECT_TRUE(store.hasSparklePrivateKey());
    EXPECT_EQ(store.getSparklePrivateKey(), privateKey);
    KeychainQuery copied = toolQuery;
    copied.domain = KeychainDomain::dataProtection;
    EXPECT_EQ(items.exists(copied), KeychainStatus::itemNotFound);
}

TEST_F(MacKeyChainStoreTest, refusesDataThatIsNotWhatItShouldBe) {
    plant(sparkleQuery, "not base64!");
    plant(toolQuery, "AP8QIA==\n");
    plant(tokenQuery, "\xff\xfe");
    EXPECT_EQ(caseOf([&] { store.storedSparklePrivateKey("com.example.App"); }),
              KeychainError::Case(KeychainError::InvalidBase64Encoding{}));
    EXPECT_EQ(caseOf([&] { store.getSparklePrivateKey("ed25519"); }),
              KeychainError::Case(KeychainError::InvalidBase64Encoding{}));
    EXPECT_EQ(caseOf([&] { store.getAPIToken(); }), KeychainError::Case(KeychainError::UnableToDecodeData{}));
    EXPECT_EQ(caseOf([&] { store.setAPIToken("\xff"); }),
              KeychainError::Case(KeychainError::UnableToDecodeData{}));
}

TEST_F(MacKeyChainStoreTest, aBadRecordOfCredentialsIsAFailureWithoutItsValues) {
    for (const char* record : {"", "hidden", "[\"hidden\"]", R"({"accessKeyID":"hidden"})",
                               R"({"accessKeyID":"hidden","secretAccessKey":7})"}) {
        static_cast<void>(items.remove(s3Query));
        plant(s3Query, record);
        try {
            store.getS3Credentials("com.example.App");
            ADD_FAILURE() << "accepted " << record;
        } catch (const KeychainError&) {
            ADD_FAILURE() << "took a record for a keychain failure: " << record;
        } catch (const Failure& failure) {
            EXPECT_EQ(failure.description().find("hidden"), std::string::npos) << failure.description();
        }
    }
    const S3Credentials notText{.accessKeyID = "hidden", .secretAccessKey = "\xff"};
    EXPECT_THROW(store.setS3Credentials(notText, "com.example.Other"), Failure);
}

struct StatusCase {
    std::string name;
    KeychainStatus status;
    KeychainError::Case read;
    KeychainError::Case add;
    KeychainError::Case update;
};

class StatusMapping : public MacKeyChainStoreTest, public testing::WithParamInterface<StatusCase> {};

TEST_P(StatusMapping, holdsForEveryOperation) {
    const StatusCase& row = GetParam();
    for (const auto operation : {Operation::copy, Operation::exists})
        for (const auto domain : {KeychainDomain::dataProtection, KeychainDomain::login})
            faulty.fail(operation, domain, row.status);
    EXPECT_EQ(caseOf([&] { store.getAPIToken(); }), row.read);
    EXPECT_EQ(caseOf([&] { store.getSparklePrivateKey("ed25519"); }), row.read);
    EXPECT_EQ(caseOf([&] { store.hasSparklePrivateKey(); }), row.read);
    EXPECT_EQ(caseOf([&] { store.storedSparklePrivateKey("com.example.App"); }), row.read);

    faulty.fail(Operation::update, KeychainDomain::dataProtection, row.status);
    store.setAPIToken("first");
    EXPECT_EQ(caseOf([&] { store.setAPIToken("second"); }), row.update);
    faulty.fail(Operation::add, KeychainDomain::dataProtection, row.status);
    EXPECT_EQ(caseOf([&] { store.setAPIToken("third"); }), row.add);
}

constexpr auto unknownStatus = static_cast<KeychainStatus>(-67);

INSTANTIATE_TEST_SUITE_P(
    MacKeyChainStore, StatusMapping,
    testing::Values(StatusCase{"authFailed", KeychainStatus::authFailed,
                               KeychainError::AuthenticationFailed{}, KeychainError::AuthenticationFailed{},
                               KeychainError::AuthenticationFailed{}},
                    StatusCase{"userCanceled", KeychainStatus::userCanceled, KeychainError::UserCanceled{},
                               KeychainError::UserCanceled{}, KeychainError::UserCanceled{}},
                    StatusCase{"ioError", KeychainStatus::ioError, KeychainError::UnknownKeychainError{-36},
                               KeychainError::UnableToStoreItem{-36}, KeychainError::UnableToUpdateItem{-36}},
                    StatusCase{"aNumberWithoutAName", unknownStatus, KeychainError::UnknownKeychainError{-67},
                               KeychainError::UnableToStoreItem{-67},
                               KeychainError::UnableToUpdateItem{-67}}),
    test::CaseName());

TEST_F(MacKeyChainStoreTest, addsTheKeychainsOwnSentence) {
    faulty.fail(Operation::add, KeychainDomain::dataProtection, KeychainStatus::ioError);
    try {
        store.setAPIToken("token");
        FAIL();
    } catch (const KeychainError& error) {
        EXPECT_EQ(error.description(),
                  "Couldn't save the item to the keychain. The disk is on fire. (OSStatus -36)");
    }
}

} // namespace
} // namespace halvo
