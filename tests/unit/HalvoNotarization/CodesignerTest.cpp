#include <HalvoNotarization/Codesigner.h>

#include <Support/FakeProcessRunner.h>
#include <Support/ScriptedTools.h>
#include <Support/Thrown.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace halvo {
namespace {

using test::descriptionThrown;
using test::ScriptedTools;

const std::string hash = "0123456789ABCDEFabcdef890123456789ABCDEF";

TEST(ParseIdentities, readsWhatSecurityPrints) {
    const std::pair<std::string, std::vector<CodesignIdentity>> cases[] = {
        {"     0 valid identities found\n", {}},
        {"1) A1 \"ID: Doe (Old) Inc. (X) (TEAM1)\"", {{"A1", "ID: Doe (Old) Inc. (X) (TEAM1)", "TEAM1"}}},
        {"1) A1 \"ID: \"Doe\" (TEAM1)\"", {{"A1", "ID: \"Doe\" (TEAM1)", "TEAM1"}}},
        {"1) A1 \"ID: Doe\"", {}},
        {"1) A1 \"ID: Doe (TEAM1)\" (CSSMERR_TP_CERT_REVOKED)\r\n2) A2 \"ID: Roe (TEAM2)\"",
         {{"A2", "ID: Roe (TEAM2)", "TEAM2"}}},
        {"1) \"ID: Doe (TEAM1)\"", {}},
        {"1) A1 \"ID: Doe (TEAM1)", {}}};
    for (const auto& [text, identities] : cases)
        EXPECT_EQ(Codesigner::parseIdentities(text), identities) << text;
}

class CodesignerTest : public testing::Test {
protected:
    ScriptedTools tools;
    SilentLog log;
    Codesigner codesigner{tools.runner(), log};
    std::filesystem::path app =
        tools.write("My App.app/Contents/MacOS/App", "x").parent_path().parent_path().parent_path();
};

TEST_F(CodesignerTest, asksSecurityForIdentities) {
    tools.script("security find-identity", {R"([{"out": "  1) AA \"Apple Development: Jane (TEAM1)\"\n"},
        {"out": "  2) BB \"Developer ID Application: Jane (TEAM1)\"\n     2 valid identities found\n"}])"});
    const CodesignIdentity development{"AA", "Apple Development: Jane (TEAM1)", "TEAM1"};
    const CodesignIdentity distribution{"BB", "Developer ID Application: Jane (TEAM1)", "TEAM1"};
    EXPECT_EQ(codesigner.availableIdentities(), (std::vector{development, distribution}));
    EXPECT_EQ(codesigner.developerIDIdentities(), std::vector{distribution});
    EXPECT_EQ(tools.argumentsOf("security find-identity").front(),
              (Arguments{"find-identity", "-v", "-p", "codesigning"}));
}

TEST_F(CodesignerTest, signsTheWholeBundleInOneCall) {
    codesigner.sign(app, "Developer ID Application: Jane \"J\" Doe (ABCDE12345)");
    EXPECT_EQ(tools.argumentsOf("codesign --sign"),
              std::vector<Arguments>{
                  (Arguments{"--deep", "--force", "--verify", "--verbose", "--sign",
                             "Developer ID Application: Jane \"J\" Doe (ABCDE12345)", "--options", "runtime",
                             "--timestamp", "--preserve-metadata=entitlements", app.string()})});
}

TEST_F(CodesignerTest, carriesWhatAFailedToolSaid) {
    tools.script("security find-identity", {R"([{"err": "errSecInternalComponent\n"}, {"exit": 1}])"});
    tools.script("codesign --sign", {R"([{"out": "no identity"}, {"exit": 1}])"});
    EXPECT_EQ(descriptionThrown<CodesigningError>([&] { codesigner.availableIdentities(); }),
              "Failed to discover codesigning identities: errSecInternalComponent");
    EXPECT_EQ(descriptionThrown<CodesigningError>([&] { codesigner.sign(app, "Me"); }),
              "Codesigning failed: no identity");
}

TEST_F(CodesignerTest, startsNothingForAMissingApp) {
    EXPECT_EQ(descriptionThrown<CodesigningError>([&] { codesigner.sign("/no/such.app", "Me"); }),
              "Application not found at /no/such.app");
    EXPECT_TRUE(tools.calls().empty());
}

TEST_F(CodesignerTest, looksAtStandardErrorAloneForTheAuthority) {
    EXPECT_TRUE(codesigner.isSignedForDistribution(app));
    EXPECT_EQ(tools.argumentsOf("codesign -dvv"), std::vector<Arguments>{(Arguments{"-dvv", app.string()})});
    tools.script("codesign -dvv",
                 {R"([{"err": "Authority=Developer ID Application: Jane (T)\n"}, {"exit": 3}])",
                  R"([{"out": "Authority=Developer ID Application: Jane (T)\n"}])",
                  R"([{"err": "Signature=adhoc\nTeamIdentifier=not set\n"}])",
                  R"([{"err": "x: code object is not signed at all\n"}, {"exit": 1}])",
                  R"([{"err": "Authority=Apple Development: Jane (T)\n"}])"});
    EXPECT_TRUE(codesigner.isSignedForDistribution(app)) << "the exit status does not count";
    for (const char* why : {"standard output", "ad hoc", "unsigned", "development"})
        EXPECT_FALSE(codesigner.isSignedForDistribution(app)) << why;
}

TEST(Codesigner, leavesAnAppUnjudgedAsUnsignedWithoutATool) {
    test::FakeProcessRunner runner;
    SilentLog log;
    EXPECT_FALSE(Codesigner(runner, log).isSignedForDistribution("/Demo.app"));
    EXPECT_EQ(descriptionThrown<ProcessError>([&] { Codesigner(runner, log).availableIdentities(); }),
              "Executable is not found or cannot be executed.");
    EXPECT_EQ(CodesigningError(CodesigningError::IdentityNotFound{"Me"}).description(),
              "Codesigning identity not found: Me");
}

} // namespace
} // namespace halvo
