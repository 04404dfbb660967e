#include <HalvoCore/AuthController.h>

#include <KeyChain/MacKeyChainStore.h>
#include <Platform/FileKeychainItems.h>
#include <Support/FakeClock.h>
#include <Support/FaultServer.h>
#include <Support/TemporaryFolder.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace halvo {
namespace {

using nlohmann::json;
using test::ServerReply;

const User ann{*UUID::parse("6D1A9F1C-3B7E-5A2D-9C4F-8E0A1B2C3D4E"), "Ann", "ann@example.com"};
const json annJSON{{"id", ann.id.string()}, {"name", ann.name}, {"email", ann.email}};
const ServerReply loggedIn{.body = json{{"user", annJSON}, {"token", "hunter2"}}.dump()};

/// Refuses to save and to delete while told so.
struct StubbornTokens final : TokenControllerProtocol {
    explicit StubbornTokens(TokenControllerProtocol& base) : base(base) {}
    void saveToken(const std::string& token) override {
        if (refuses)
            throw KeychainError(KeychainError::InteractionNotAllowed());
        base.saveToken(token);
    }
    std::optional<std::string> getToken() override { return base.getToken(); }
    void deleteToken() override { base.deleteToken(); }
    TokenControllerProtocol& base;
    bool refuses = false;
};

/// The account over files in a folder of its own and a scripted service.
struct Account {
    explicit Account(std::vector<ServerReply> script, const std::string& environmentToken = "")
        : server(std::move(script)),
          environment(std::map<std::string, std::string>{{"HALVO_TOKEN", environmentToken}}) {}

    AuthController controller() { return {tokens, client, storage}; }
    std::optional<json> storedUser() { return storage.get("user"); }

    test::TemporaryFolder folder;
    test::FakeClock clock;
    test::FaultServer server;
    Environment environment;
    FileKeychainItems items{folder / "keys/keychain.json", clock, [](const std::string&) {}};
    MacKeyChainStore keyChain{items};
    KeyChainTokenController keyChainTokens{keyChain};
    EnvironmentTokenController environmentTokens{keyChainTokens, environment};
    StubbornTokens tokens{environmentTokens};
    FileUserDefaults defaults{folder / "settings.json", clock, [](const std::string&) {}};
    UserDefaultsStorageController storage{defaults};
    std::unique_ptr<HTTPSession> http = makeSystemHTTPSession();
    SilentLog log;
    APIClient client{*URL::parse(server.url()), tokens, *http, log};
};

TEST(AuthController, remembersWhoLoggedInAcrossStarts) {
    Account account({loggedIn, {.body = annJSON.dump()}});
    EXPECT_EQ(account.controller().state().user(), nullptr);
    EXPECT_EQ(account.controller().login("ann@example.com", "p"), ann);
    EXPECT_EQ(account.keyChain.getAPIToken(), "hunter2");
    AuthController later = account.controller();
    EXPECT_EQ(*later.state().user(), ann);
    EXPECT_EQ(account.server.requests().size(), 1U); // the start asked nobody
    later.fetchUser();
    EXPECT_EQ(account.server.requests().at(1).header("Authorization"), "Bearer hunter2");
    account.storage.set({{"id", 7}}, "user"); // a record of another shape counts as none
    EXPECT_EQ(account.controller().state().user(), nullptr);
}

TEST(AuthController, staysAsItIsWhenALogInFails) {
    Account account({loggedIn, {.status = 401}, {.status = 500}});
    AuthController controller = account.controller();
    account.tokens.refuses = true;
    EXPECT_THROW(controller.login("ann@example.com", "p"), KeychainError);
    account.tokens.refuses = false;
    EXPECT_THROW(controller.login("ann@example.com", "wrong"), APIError);
    EXPECT_THROW(controller.fetchUser(), APIError);
    EXPECT_EQ(controller.state().user(), nullptr);
    EXPECT_EQ(account.storedUser(), std::nullopt);
    EXPECT_EQ(account.keyChainTokens.getToken(), std::nullopt);
}

TEST(AuthController, withoutAUserRemovesTheTokenAndAsksNobody) {
    Account account({});
    account.keyChain.setAPIToken("left");
    account.controller().logout();
    EXPECT_TRUE(account.server.requests().empty());
    EXPECT_EQ(account.keyChainTokens.getToken(), std::nullopt);
}

TEST(AuthController, forgetsTheUserEvenWhenTheServiceFails) {
    Account account({loggedIn, {.behaviour = ServerReply::Behaviour::cutBeforeAnswer}, {.status = 204}});
    AuthController controller = account.controller();
    controller.registerUser("ann@example.com", "p", "Ann");
    EXPECT_THROW(controller.logout(), HTTPError);
    EXPECT_EQ(account.server.requests().size(), 2U); // no POST is sent twice
    EXPECT_EQ(account.server.requests().at(1).header("Authorization"), "Bearer hunter2");
    EXPECT_EQ(controller.state().user(), nullptr);
    EXPECT_EQ(account.storedUser(), std::nullopt);
    EXPECT_EQ(account.keyChainTokens.getToken(), std::nullopt);
}

TEST(AuthController, keepsTheStoredUserWhenARefreshFails) {
    Account account({loggedIn, {.status = 401}, {.body = R"({"id":"x"})"}});
    AuthController controller = account.controller();
    controller.login("ann@example.com", "p");
    EXPECT_THROW(controller.fetchUser(), APIError);
    EXPECT_THROW(controller.update("Bo"), APIError);
    EXPECT_EQ(*controller.state().user(), ann);
    EXPECT_EQ(account.storedUser(), annJSON);
}

TEST(TokenController, theEnvironmentTakesPrecedenceAndLeavesTheKeychainAlone) {
    Account account({loggedIn, {}}, "from-environment");
    account.keyChain.setAPIToken("stored");
    AuthController controller = account.controller();
    controller.login("ann@example.com", "p");
    controller.logout();
    EXPECT_EQ(account.server.requests().at(1).header("Authorization"), "Bearer from-environment");
    EXPECT_EQ(account.keyChain.getAPIToken(), "stored");

    Account withEmptyVariable({});
    withEmptyVariable.keyChain.setAPIToken("stored");
    EXPECT_EQ(withEmptyVariable.tokens.getToken(), "stored");
    withEmptyVariable.folder.write("keys/keychain.json", "damaged"); // counts as an empty one
    EXPECT_EQ(withEmptyVariable.tokens.getToken(), std::nullopt);
}

} // namespace
} // namespace halvo
