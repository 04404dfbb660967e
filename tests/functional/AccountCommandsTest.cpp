#include "ProgramFixture.h"

#include <Base/Text.h>
#include <Base/UUID.h>
#include <Support/DevService.h>
#include <Support/FaultServer.h>
#include <Support/Shell.h>

#include <nlohmann/json.hpp>

namespace halvo::test {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

/// The program, a person at a terminal, and one development service for all tests of the suite.
class AccountCommands : public ProgramTest {
protected:
    static void SetUpTestSuite() { service = std::make_unique<DevService>(); }
    static void TearDownTestSuite() { service.reset(); }

    AccountCommands() { secrets = {password}; }

    Outcome call(const Arguments& arguments, Variables variables = {}) {
        variables.insert({"HALVO_SERVER_URL", service->address()});
        return run(arguments, variables);
    }

    /// Runs a command at a terminal whose questions get these answers, "QUESTION\tANSWER" lines. Gives what
    /// the terminal shows after the last one, which is the password's.
    std::string converse(const std::string& command, const std::string& answers) {
        const std::string shown = script("HALVO_SERVER_URL=$1 \"$2\" \"$3\" \"$4\" <\"$5\" | tr -d '\\r'",
                                         {service->address(), HALVO_TOOLS "/at-terminal", HALVO_PROGRAM,
                                          command, folder.write("answers", answers).string()});
        EXPECT_EQ(shown.find(password), std::string::npos) << "the terminal shows the password";
        const std::size_t answered = shown.rfind("(hidden)");
        return answered == std::string::npos ? shown : shown.substr(answered);
    }
    std::string logIn(const std::string& typed) {
        return converse("login", "What is your email address?\t" + email + "\nWhat is your password?\t" +
                                     typed + "\n");
    }

    Outcome failure(const Arguments& arguments, const nlohmann::json& fault) {
        service->injectFault(fault);
        return call(arguments);
    }

    static std::unique_ptr<DevService> service;
    const std::string email = UUID::random().string() + "@halvo.example"; ///< an account for each test
    const std::string password = "correct horse battery";
    const std::string stored = "Name:   Ann Lee\nEmail:  " + lowercased(email) + "\n";
};

std::unique_ptr<DevService> AccountCommands::service;

TEST_F(AccountCommands, anAccountFromItsBeginning) {
    EXPECT_EQ(call({"whoami"}).output,
              "Warning: Not logged in\n  Next step: Run `halvo login` to authenticate\n");
    EXPECT_THAT(converse("register", "What is your name?\tAnn Lee\nWhat is your email address?\t" + email +
                                         "\nChoose a password\t" + password + "\n"),
                EndsWith("Welcome, \x1b[1mAnn Lee\x1b[0m! Your account has been created."));
    EXPECT_EQ(call({"whoami"}).output, stored);
    EXPECT_THAT(call({"status"}).output,
                StartsWith("Authentication\n  Logged in as " + lowercased(email) + "\n\nCLI Installation\n"));
    EXPECT_THAT(call({"logout"}).output, EndsWith("You have been logged out.\n"));
    EXPECT_THAT(call({"status"}).output, StartsWith("Authentication\n  Not logged in\n"));
    EXPECT_THAT(call({"status"}).output, HasSubstr("\nSecrets\n  Kept in the file /"));

    EXPECT_THAT(logIn("wrong horse"), HasSubstr("Login failed: The email address or the password is wrong."));
    EXPECT_THAT(call({"whoami"}).output, HasSubstr("Not logged in"));
    EXPECT_THAT(logIn(password), EndsWith("Welcome back, \x1b[1mAnn Lee\x1b[0m!"));
    EXPECT_EQ(call({"whoami", "--refresh"}).output, stored);
}

TEST_F(AccountCommands, aServiceInTroubleLeavesTheStoredUserUntilLogOut) {
    service->makeAccount(email, password, "Ann Lee");
    logIn(password);
    const std::pair<nlohmann::json, std::string> cases[] = {
        {{{"path", "/v1/users"}, {"status", 503}}, "A server error with the code 503 occurred."},
        {{{"path", "/v1/users"}, {"status", 200}, {"body", "{}"}},
         "There was an error when decoding the response."},
        {{{"path", "/v1/users"}, {"status", 401}, {"body", "{}"}}, "You are not authenticated."},
    };
    for (const auto& [fault, told] : cases)
        EXPECT_EQ(failure({"whoami", "--refresh"}, fault).output,
                  "Failed to refresh: " + told + "\n" + stored);
    const Variables nowhere{{"HALVO_SERVER_URL", "http://127.0.0.1:" + std::to_string(unusedPort())}};
    EXPECT_THAT(call({"whoami", "--refresh"}, nowhere).output,
                testing::AllOf(StartsWith("Failed to refresh: Could not connect"), EndsWith("\n" + stored)));
    const Outcome ended = call({"logout"}, nowhere);
    EXPECT_EQ(ended.status, 0);
    EXPECT_THAT(ended.output, HasSubstr("Failed to logout: Could not connect"));
    EXPECT_THAT(call({"whoami"}).output, HasSubstr("Not logged in"));
}

TEST_F(AccountCommands, theTokenOfTheEnvironmentNamesItsOwnAccount) {
    service->makeAccount(email, password, "Ann Lee");
    logIn(password);
    const std::string token = service->makeAccount("bob-" + email, password, "Bob");
    secrets.push_back(token);
    EXPECT_EQ(call({"whoami"}, {{"HALVO_TOKEN", token}}).output,
              "Name:   Bob\nEmail:  bob-" + lowercased(email) + "\n");
    EXPECT_EQ(call({"whoami"}, {{"HALVO_TOKEN", "no such token"}}).output,
              "Failed to refresh: You are not logged in, or your login has expired.\n" + stored);
    EXPECT_EQ(call({"whoami"}, {{"HALVO_TOKEN", ""}}).output, stored);
}

TEST_F(AccountCommands, aPlainLogOutRemovesTheTokenThatOneUnderTheEnvironmentsLeft) {
    const std::string other = service->makeAccount("bob-" + email, password, "Bob");
    service->makeAccount(email, password, "Ann Lee");
    logIn(password);
    const std::string notLoggedIn = "Note: Not logged in. Showing local apps only.";
    call({"logout"}, {{"HALVO_TOKEN", other}});
    EXPECT_THAT(call({"whoami"}).output, HasSubstr("Not logged in"));
    EXPECT_THAT(call({"apps", "list"}).output, testing::Not(HasSubstr(notLoggedIn)));
    EXPECT_THAT(call({"logout"}).output, EndsWith("You have been logged out.\n"));
    EXPECT_THAT(call({"apps", "list"}).output, HasSubstr(notLoggedIn));
}

TEST_F(AccountCommands, withoutATerminalNothingIsAsked) {
    for (const auto& [command, text] :
         {std::pair("login", "Login failed: \"What is your email address?\""),
          std::pair("register", "Registration failed: \"What is your name?\"")}) {
        const Outcome refused = call({command});
        EXPECT_EQ(refused.status, 0);
        EXPECT_THAT(refused.output, StartsWith(std::string(text) + " cannot be asked without a terminal."));
        EXPECT_THAT(refused.error, IsEmpty());
    }
}

TEST_F(AccountCommands, postArchiveHandsTheArchiveOver) {
    const auto opener = folder.write("bin/xdg-open", "#!/bin/sh\necho \"$1\" >$OUT.new; mv $OUT.new $OUT\n");
    std::filesystem::permissions(opener, std::filesystem::perms::owner_all);
    const auto opened = folder / "opened";
    const Variables variables{{"PATH", (folder / "bin").string() + ":/usr/bin:/bin"},
                              {"OUT", opened.string()},
                              {"ARCHIVE_PATH", "/Archives/Xcode.xcarchive"}};
    EXPECT_EQ(call({"post-archive", "/Archives/My App 2.xcarchive"}, variables).output, "");
    EXPECT_EQ(awaitText(opened.string()),
              "halvo:///post-archive?archivePath=/Archives/My%20App%202.xcarchive");
    std::filesystem::remove(opened);
    EXPECT_EQ(call({"post-archive"}, variables).output, "");
    EXPECT_EQ(awaitText(opened.string()), "halvo:///post-archive?archivePath=/Archives/Xcode.xcarchive");

    EXPECT_EQ(call({"post-archive"}).output,
              "Neither environment variable `ARCHIVE_PATH` nor argument `archivePath` was provided!\n");
    const Outcome alone = call({"post-archive", "/x"}, {{"PATH", (folder / "nothing").string()}});
    EXPECT_EQ(alone.status, 0);
    EXPECT_THAT(alone.output, StartsWith("Could not hand over /x: "));
}

} // namespace
} // namespace halvo::test
