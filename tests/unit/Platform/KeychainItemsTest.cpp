// One table of behaviours against both keychains of this system. Runs inside `keyring-session unlocked`.
#include <Platform/KeychainItems.h>

#include "KeyringSession.h"

#include <Support/TemporaryFolder.h>

#include <gtest/gtest.h>

namespace halvo {
namespace {

/// The parameter is the value of HALVO_KEYCHAIN: "file", or "" for the Secret Service.
class KeychainItemsTest : public testing::TestWithParam<std::string> {
protected:
    void SetUp() override {
        requireKeyringSession("unlocked");
        auto variables = Environment::ofProcess().all();
        variables["XDG_DATA_HOME"] = folder.path().string();
        variables["HALVO_KEYCHAIN"] = GetParam();
        items = makeSystemKeychainItems(Environment(variables), folder.path(), clock, {},
                                        [this](const std::string& message) { warnings.push_back(message); });
    }
    void TearDown() override {
        EXPECT_EQ(warnings.size(), GetParam() == "file" ? 1U : 0U)
            << "that secrets go to a file is told once";
        const bool usesFile = std::filesystem::exists(folder / "halvo/keychain.json");
        EXPECT_EQ(usesFile, GetParam() == "file") << "the wrong keychain was chosen";
    }

    test::TemporaryFolder folder;
    SystemClock clock;
    std::vector<std::string> warnings;
    std::unique_ptr<KeychainItems> items;

    /// A service of each test's own: all share one keyring.
    const KeychainQuery query{.service = testing::UnitTest::GetInstance()->current_test_info()->name(),
                              .account = "ed25519"};
    const KeychainItem item{.data = copyBytes("secret"),
                            .attributes = {.label = "Label", .description = "key", .comment = "caf\u00e9"}};
    KeychainItem read;
};

KeychainQuery with(KeychainQuery query, KeychainDomain domain) {
    query.domain = domain;
    return query;
}

TEST_P(KeychainItemsTest, anItemGoesThroughItsWholeLife) {
    EXPECT_EQ(items->exists(query), KeychainStatus::itemNotFound);
    EXPECT_EQ(items->copy(query, read), KeychainStatus::itemNotFound);
    EXPECT_EQ(items->update(query, item), KeychainStatus::itemNotFound);
    EXPECT_EQ(items->remove(query), KeychainStatus::itemNotFound);

    EXPECT_EQ(items->add(query, item), KeychainStatus::success);
    EXPECT_EQ(items->exists(query), KeychainStatus::success);
    EXPECT_EQ(items->add(query, {.data = copyBytes("other")}), KeychainStatus::duplicateItem);
    EXPECT_EQ(items->copy(query, read), KeychainStatus::success);
    EXPECT_EQ(read, item);

    EXPECT_EQ(items->update(query, {.data = copyBytes("new"), .attributes = {.comment = "changed"}}),
              KeychainStatus::success);
    EXPECT_EQ(items->copy(query, read), KeychainStatus::success);
    EXPECT_EQ(read,
              (KeychainItem{.data = copyBytes("new"),
                            .attributes = {.label = "Label", .description = "key", .comment = "changed"}}));

    EXPECT_EQ(items->remove(query), KeychainStatus::success);
    EXPECT_EQ(items->exists(query), KeychainStatus::itemNotFound);
    EXPECT_EQ(items->add(query, {.data = copyBytes("again")}), KeychainStatus::success);
    EXPECT_EQ(items->copy(query, read), KeychainStatus::success);
    EXPECT_EQ(read, (KeychainItem{.data = copyBytes("again")}));
}

TEST_P(KeychainItemsTest, serviceAccountAndDomainTellItemsApart) {
    KeychainQuery otherAccount = query;
    otherAccount.account = "work";
    KeychainQuery otherService = query;
    otherService.service += ".more";
    const KeychainQuery queries[] = {query, with(query, KeychainDomain::login), otherAccount,
                                     with(otherAccount, KeychainDomain::login), otherService};
    for (std::uint8_t number = 0; const auto& each : queries)
        EXPECT_EQ(items->add(each, {.data = {number++}}), KeychainStatus::success);
    for (std::uint8_t number = 0; const auto& each : queries) {
        EXPECT_EQ(items->copy(each, read), KeychainStatus::success);
        EXPECT_EQ(read.data, Bytes{number++});
    }
    EXPECT_EQ(items->update(with(query, KeychainDomain::login), {.data = {77}}), KeychainStatus::success);
    EXPECT_EQ(items->remove(with(otherAccount, KeychainDomain::login)), KeychainStatus::success);
    EXPECT_EQ(items->copy(query, read), KeychainStatus::success);
    EXPECT_EQ(read.data, Bytes{0});
    EXPECT_EQ(items->exists(otherAccount), KeychainStatus::success);
}

TEST_P(KeychainItemsTest, aProtocolNarrowsASearch) {
    KeychainQuery withProtocol = query;
    withProtocol.protocol = "ssh";
    EXPECT_EQ(items->add(query, item), KeychainStatus::success);
    EXPECT_EQ(items->exists(withProtocol), KeychainStatus::itemNotFound);
    EXPECT_EQ(items->add(withProtocol, item), KeychainStatus::duplicateItem);
    EXPECT_EQ(items->remove(query), KeychainStatus::success);
    EXPECT_EQ(items->add(withProtocol, item), KeychainStatus::success);
    EXPECT_EQ(items->copy(withProtocol, read), KeychainStatus::success);
    EXPECT_EQ(items->copy(query, read), KeychainStatus::success);
    withProtocol.protocol = "http";
    EXPECT_EQ(items->copy(withProtocol, read), KeychainStatus::itemNotFound);
}

TEST_P(KeychainItemsTest, anyBytesAndNamesComeBackAsTheyWere) {
    Bytes everyByte;
    for (int byte = 0; byte < 256; ++byte)
        everyByte.push_back(static_cast<std::uint8_t>(byte));
    for (const Bytes& data : {Bytes{}, Bytes{0}, everyByte, Bytes(100'000, 0x41)}) {
        const KeychainQuery odd{.service = query.service + " \"'\\/\n\u00fc", .account = ""};
        EXPECT_EQ(items->add(odd, {.data = data}), KeychainStatus::success);
        EXPECT_EQ(items->copy(odd, read), KeychainStatus::success);
        EXPECT_EQ(read.data, data);
        EXPECT_EQ(items->remove(odd), KeychainStatus::success);
    }
}

INSTANTIATE_TEST_SUITE_P(Unlocked, KeychainItemsTest, testing::Values("file", ""), [](const auto& row) {
    return std::string(row.param.empty() ? "secretService" : "file");
});

} // namespace
} // namespace halvo
