#include "Commands/Release/ReleaseCredentials.h"

#include "TestServices.h"

#include <Base/Base64.h>
#include <KeyChain/MacKeyChainStore.h>
#include <Support/CaseName.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace halvo {
namespace {

using test::TestServices;
using Variables = std::map<std::string, std::string>;

const std::string bundle = "com.example.Demo";
const BundleInfo demo{.identifier = bundle};

/// One lookup: what the command line and the environment give, and a keychain.
struct Lookup {
    explicit Lookup(ReleaseOptions given = {}, Variables variables = {}, TerminalDescription terminal = {},
                    const std::string& typed = "")
        : options(std::move(given)), test(std::move(variables), terminal, typed),
          context(OutputContext::make(test.services, options.format, terminal.interactive)) {}

    template<typename Action>
    static std::string failureOf(Action action) {
        try {
            action();
        } catch (const CLIError& error) {
            return error.code + ": " + error.description();
        } catch (const Failure& failure) {
            return failure.description();
        }
        return "";
    }

    ReleaseOptions options;
    TestServices test;
    OutputContext context;
    MacKeyChainStore keyChain{test.keychainItems};
    ReleaseCredentials credentials{options, test.environment, keyChain, context};
};

struct S3Row {
    const char* name;
    ReleaseOptions options;
    Variables variables;
    S3Credentials found;
    std::optional<std::string> token{};
};

class S3Lookup : public testing::TestWithParam<S3Row> {};

TEST_P(S3Lookup, takesEachHalfFromTheFirstPlaceThatHasIt) {
    Lookup lookup(GetParam().options, GetParam().variables);
    lookup.keyChain.setS3Credentials({"stored", "stored secret"}, bundle);
    const S3Access access =
        resolveS3Access(lookup.options.publication, lookup.test.environment, lookup.keyChain, bundle);
    EXPECT_EQ(access.credentials, GetParam().found);
    EXPECT_EQ(access.sessionToken, GetParam().token);
}

const ReleaseOptions bothFlags{.publication = {"flag", "flag secret"}};
const Variables bothVariables{{"AWS_ACCESS_KEY_ID", "var"}, {"AWS_SECRET_ACCESS_KEY", "var secret"}};
const S3Credentials stored{"stored", "stored secret"};

INSTANTIATE_TEST_SUITE_P(
    ReleaseCredentials, S3Lookup,
    testing::Values(
        S3Row{"flags", bothFlags, bothVariables, {"flag", "flag secret"}},
        S3Row{"variables", {}, bothVariables, {"var", "var secret"}},
        S3Row{"oneOfEach", {.publication = {"flag"}}, bothVariables, {"flag", "var secret"}},
        S3Row{"emptyFlagCountsAsNone", {.publication = {""}}, bothVariables, {"var", "var secret"}},
        S3Row{"keychain", {}, {}, stored},
        S3Row{"halfAPairGivesTheStoredOne", {.publication = {"flag"}}, {}, stored},
        S3Row{"halfAPairOfVariablesToo",
              {},
              {{"AWS_SECRET_ACCESS_KEY", "x"}, {"AWS_ACCESS_KEY_ID", ""}},
              stored},
        S3Row{"tokenGoesWithVariables",
              {},
              {{"AWS_ACCESS_KEY_ID", "var"},
               {"AWS_SECRET_ACCESS_KEY", "var secret"},
               {"AWS_SESSION_TOKEN", "t"}},
              {"var", "var secret"},
              "t"},
        S3Row{"tokenNeverGoesWithFlags", bothFlags, {{"AWS_SESSION_TOKEN", "t"}}, {"flag", "flag secret"}},
        S3Row{"tokenNeverGoesWithStoredKeys", {}, {{"AWS_SESSION_TOKEN", "t"}}, stored}),
    test::CaseName());

TEST(ReleaseCredentials, withoutS3KeysSaysWhereTheyMayComeFrom) {
    Lookup lookup({.publication = {"flag"}});
    EXPECT_EQ(
        Lookup::failureOf([&] {
            resolveS3Access(lookup.options.publication, lookup.test.environment, lookup.keyChain, bundle);
        }),
        "app_not_configured: No S3 credentials found. Provide --s3-access-key-id and --s3-secret-access-key, "
        "set AWS_ACCESS_KEY_ID/AWS_SECRET_ACCESS_KEY, or store them in Keychain via the macOS app.");
}

TEST(ReleaseCredentials, signingKeyComesFromFlagThenVariableThenKeychain) {
    const PrivateKey flag = PrivateKey::generate();
    const PrivateKey variable = PrivateKey::generate();
    const PrivateKey kept = PrivateKey::generate();
    const auto store = [&](Lookup& lookup) {
        lookup.keyChain.setSparklePrivateKey(kept.rawRepresentation(), kept.publicKey().rawRepresentation(),
                                             bundle);
    };
    Lookup withAll({.sparklePrivateKey = flag.baseEncoding()},
                   {{"SPARKLE_PRIVATE_KEY", variable.baseEncoding()}});
    store(withAll);
    EXPECT_TRUE(withAll.credentials.getSigningKey(demo) == flag);
    EXPECT_EQ(withAll.keyChain.storedSparklePrivateKey(bundle), kept.rawRepresentation());

    Lookup withVariable({.sparklePrivateKey = ""}, {{"SPARKLE_PRIVATE_KEY", variable.baseEncoding() + "\n"}});
    EXPECT_TRUE(withVariable.credentials.getSigningKey(demo) == variable);
    EXPECT_EQ(withVariable.keyChain.storedSparklePrivateKey(bundle), std::nullopt);

    Lookup withKeychain;
    store(withKeychain);
    EXPECT_TRUE(withKeychain.credentials.getSigningKey(demo) == kept);
}

TEST(ReleaseCredentials, aKeyThatIsNoneIsNamedWithoutBeingShown) {
    Lookup notBase64({.sparklePrivateKey = "s3cret!"});
    EXPECT_EQ(
        Lookup::failureOf([&] { notBase64.credentials.getSigningKey(demo); }),
        "invalid_argument: SPARKLE_PRIVATE_KEY is not valid base64. Get the correct value with `halvo export "
        "sparkle-key -b com.example.Demo`.");
    Lookup tooShort({}, {{"SPARKLE_PRIVATE_KEY", "c2VjcmV0"}});
    EXPECT_THROW(tooShort.credentials.getSigningKey(demo), Ed25519Error);
}

TEST(ReleaseCredentials, refusesAKeyThatInstalledCopiesDoNotTrust) {
    const PrivateKey own = PrivateKey::generate();
    const PrivateKey other = PrivateKey::generate();
    BundleInfo app = demo;
    app.sparklePublicEDKey = own.publicKey().baseEncoding();
    Lookup lookup({.sparklePrivateKey = other.baseEncoding()});
    const std::string said = Lookup::failureOf([&] { lookup.credentials.getSigningKey(app); });
    EXPECT_THAT(said, testing::StartsWith("sparkle_key_mismatch: "));
    for (const std::string& part : {own.publicKey().baseEncoding(), other.publicKey().baseEncoding(),
                                    std::string("--sparkle-private-key has")})
        EXPECT_THAT(said, testing::HasSubstr(part));
    EXPECT_THAT(said, testing::Not(testing::HasSubstr(other.baseEncoding())));
    Lookup fitting({.sparklePrivateKey = own.baseEncoding()});
    EXPECT_TRUE(fitting.credentials.getSigningKey(app) == own);

    Bytes expanded(96, 7); // its last third is not the public half of the rest
    Lookup damaged({.sparklePrivateKey = encodeBase64(expanded)});
    EXPECT_THAT(
        Lookup::failureOf([&] { damaged.credentials.getSigningKey(demo); }),
        testing::AllOf(testing::StartsWith("sparkle_key_mismatch: "), testing::HasSubstr("public half")));
}

TEST(ReleaseCredentials, takesOverTheKeyOfSparklesOwnTool) {
    const PrivateKey machineWide = PrivateKey::generate();
    Lookup lookup;
    const KeychainItem item{copyBytes(machineWide.baseEncoding()), {}};
    ASSERT_EQ(lookup.test.keychainItems.add({.service = "https://sparkle-project.org",
                                             .account = "ed25519",
                                             .domain = KeychainDomain::login,
                                             .protocol = "ssh"},
                                            item),
              KeychainStatus::success);
    ASSERT_TRUE(lookup.keyChain.hasSparklePrivateKey());
    EXPECT_TRUE(lookup.credentials.getSigningKey(demo) == machineWide);
    EXPECT_EQ(lookup.keyChain.storedSparklePrivateKey(bundle), machineWide.rawRepresentation());
    EXPECT_EQ(lookup.test.output->text + lookup.test.error->text, "");
}

const std::string noKey = "signing_key_not_found: No Sparkle signing key for com.example.Demo. Provide "
                          "--sparkle-private-key or set SPARKLE_PRIVATE_KEY (base64), or run `halvo export "
                          "sparkle-key -b com.example.Demo` on a machine that has it.";

TEST(ReleaseCredentials, generatesAKeyOnlyForAPersonWhoAgrees) {
    Lookup nobody;
    EXPECT_EQ(Lookup::failureOf([&] { nobody.credentials.getSigningKey(demo); }), noKey);
    Lookup refusing({}, {}, test::personsTerminal(), "n\r");
    EXPECT_EQ(Lookup::failureOf([&] { refusing.credentials.getSigningKey(demo); }), noKey);
    EXPECT_EQ(refusing.keyChain.storedSparklePrivateKey(bundle), std::nullopt);
    Lookup inJSON({.format = OutputFormat::json}, {}, test::personsTerminal());
    EXPECT_EQ(Lookup::failureOf([&] { inJSON.credentials.getSigningKey(demo); }), noKey);
    BundleInfo trusting = demo; // installed copies accept one key only
    trusting.sparklePublicEDKey = PrivateKey::generate().publicKey().baseEncoding();
    Lookup withTrust({}, {}, test::personsTerminal(), "\r");
    EXPECT_THAT(Lookup::failureOf([&] { withTrust.credentials.getSigningKey(trusting); }),
                testing::AllOf(testing::StartsWith(noKey), testing::HasSubstr(*trusting.sparklePublicEDKey)));

    Lookup agreeing({}, {}, test::personsTerminal(), "\r");
    const PrivateKey key = agreeing.credentials.getSigningKey(demo);
    EXPECT_EQ(agreeing.keyChain.storedSparklePrivateKey(bundle), key.rawRepresentation());
    EXPECT_THAT(agreeing.test.output->text, testing::HasSubstr("Back up your Sparkle signing key."));
    EXPECT_THAT(agreeing.test.output->text + agreeing.test.error->text,
                testing::Not(testing::HasSubstr(key.baseEncoding())));
}

TEST(ReleaseCredentials, notarizationKeyIsWholeOrAbsent) {
    const ReleaseOptions flags{.ascAPIKeyID = "ID", .ascAPIIssuer = "issuer", .ascAPIKey = "a2V5"};
    const NotarizationCredentials::APIKey expected{"ID", "issuer", copyBytes("key")};
    Lookup whole(flags, {{"ASC_API_KEY_ID", "other"}});
    EXPECT_EQ(whole.credentials.resolveNotarizationCredentials(), NotarizationCredentials{expected});
    Lookup mixed({.ascAPIKeyID = "ID"}, {{"ASC_API_ISSUER", "issuer"}, {"ASC_API_KEY", "a2V5\n"}});
    EXPECT_EQ(mixed.credentials.resolveNotarizationCredentials(), NotarizationCredentials{expected});
    Lookup none({.ascAPIKeyID = ""}, {{"ASC_API_KEY", ""}});
    EXPECT_EQ(none.credentials.resolveNotarizationCredentials(), std::nullopt);

    for (const ReleaseOptions& part : {ReleaseOptions{.ascAPIKeyID = "ID"},
                                       ReleaseOptions{.ascAPIIssuer = "issuer", .ascAPIKey = "a2V5"}}) {
        Lookup lookup(part);
        EXPECT_EQ(Lookup::failureOf([&] { lookup.credentials.resolveNotarizationCredentials(); }),
                  "invalid_argument: Incomplete ASC API key. Provide all of "
                  "--asc-api-key-id/--asc-api-issuer/--asc-api-key (or "
                  "ASC_API_KEY_ID/ASC_API_ISSUER/ASC_API_KEY).");
    }
    ReleaseOptions damaged = flags;
    damaged.ascAPIKey = "-----BEGIN";
    Lookup lookup(damaged);
    EXPECT_EQ(Lookup::failureOf([&] { lookup.credentials.resolveNotarizationCredentials(); }),
              "invalid_argument: ASC_API_KEY is not valid base64. Encode your key with `base64 < "
              "AuthKey_XXXXXXXXXX.p8 | pbcopy`.");
}

} // namespace
} // namespace halvo
