#include "AppBundle.h"
#include "ProgramFixture.h"

#include <Support/CaseName.h>

namespace halvo::test {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr const char* bundle = "com.example.demo";

class SigningCommands : public ProgramTest {
protected:
    SigningCommands() { secrets.push_back(key.secret); }

    /// The app, packed by the system's own tool.
    std::filesystem::path packedApp(const std::string& name = "Demo.zip") {
        AppBundle().writeTo(work);
        script("zip -q -r -y \"$1\" Demo.app && rm -r Demo.app", {name});
        return work / name;
    }

    SigningKey key = makeSigningKey();
};

struct VerifyCase {
    const char* name;
    const char* file;
    const char* signature; ///< absent: that of the file
    const char* publicKey; ///< absent: that of the key
    std::string verdict;
};

class Verify : public SigningCommands, public testing::WithParamInterface<VerifyCase> {};

TEST_P(Verify, judgesWithStatusZero) {
    const VerifyCase& row = GetParam();
    folder.write("work/update.zip", "an update");
    folder.write("work/other.zip", "another update");
    const std::string valid = script(
        "openssl pkeyutl -sign -rawin -in update.zip -keyform DER -inkey ../private.der | base64 -w 0");
    const std::string signature = row.signature != nullptr ? row.signature : valid;
    const std::string publicKey = row.publicKey != nullptr ? row.publicKey : key.publicKey;

    const Outcome judged = run({"verify", row.file, signature, publicKey});
    EXPECT_EQ(judged.status, 0);
    EXPECT_THAT(judged.error, IsEmpty());
    EXPECT_EQ(judged.output, std::string("Signature Verification\n\nFile: ") + row.file + "\nSignature: " +
                                 signature + "\nPublic Key: " + publicKey + "\n" + row.verdict + "\n");
}

constexpr const char* otherKey = "MCowBQYDK2VwAyEAMCowBQYDK2VwAyEAMCowBQYDK2U=";

INSTANTIATE_TEST_SUITE_P(
    SigningCommands, Verify,
    testing::Values(
        VerifyCase{"signatureOfOpenSSL", "update.zip", nullptr, nullptr, "Success: Signature is valid!"},
        VerifyCase{"otherFile", "other.zip", nullptr, nullptr, "Warning: Signature is invalid!"},
        VerifyCase{"otherKey", "update.zip", nullptr, otherKey, "Warning: Signature is invalid!"},
        VerifyCase{"shortSignature", "update.zip", "AAAA", nullptr, "Warning: Signature is invalid!"},
        VerifyCase{"signatureNoBase64", "update.zip", "*", nullptr,
                   "Warning: An error occurred: The signature isn't valid base64."},
        VerifyCase{"keyNoBase64", "update.zip", nullptr, "*",
                   "Warning: An error occurred: The public key isn't valid base64."},
        VerifyCase{
            "keyOfAnotherLength", "update.zip", nullptr, "AAAA",
            "Warning: An error occurred: A key of 3 bytes is not an Ed25519 key: a private key has 32 or "
            "96 bytes, a public key 32."},
        VerifyCase{"noFile", "missing.zip", nullptr, nullptr,
                   "Warning: An error occurred: Could not read missing.zip: No such file or directory"}),
    CaseName());

class Sign : public SigningCommands, public testing::WithParamInterface<const char*> {};

TEST_P(Sign, makesASignatureThatOpenSSLAccepts) {
    const auto archive = packedApp(GetParam());
    storeInKeychain("dataProtection", std::string("halvo.sparkle.") + bundle, key.secret);

    const Outcome signing = run({"sign", GetParam()});
    EXPECT_EQ(signing.status, 0);
    const std::string label = std::string("\nFile: ") + GetParam() + "\nSignature: ";
    EXPECT_THAT(signing.output,
                HasSubstr("Signature Details\n\nApp: Demo (com.example.demo)\nVersion: 1.2 (7)" + label));
    const std::string signature = signing.output.substr(signing.output.find(label) + label.size(), 88);
    EXPECT_TRUE(opensslVerifies(archive, signature, key)) << signature;
    EXPECT_THAT(signing.output, EndsWith(signature + "\n"));
}

INSTANTIATE_TEST_SUITE_P(SigningCommands, Sign, testing::Values("Demo.zip", "Demo.ZIP"),
                         [](const auto& row) { return row.index == 0 ? "lowerCase" : "upperCase"; });

TEST_F(SigningCommands, signRefusesOtherFiles) {
    const Outcome refused = run({"sign", "Demo.tar"});
    EXPECT_EQ(refused.status, 1);
    EXPECT_EQ(refused.output, "Unsupported file type: tar. Use .dmg or .zip\n");
    EXPECT_THAT(refused.error, IsEmpty());
}

TEST_F(SigningCommands, signNeedsTheKeyOfTheApp) {
    packedApp();
    storeInKeychain("dataProtection", "halvo.sparkle.com.example.other", key.secret);
    const Outcome refused = run({"sign", "Demo.zip"});
    EXPECT_EQ(refused.status, 1);
    EXPECT_EQ(refused.output, "Keychain error: No item for ed25519 in the keychain.\n");
}

TEST_F(SigningCommands, exportPrintsNothingButTheKey) {
    secrets.clear(); // the one command that is to tell it
    const SigningKey toolKey = makeSigningKey('t');
    storeInKeychain("login", "https://sparkle-project.org", toolKey.secret, "ssh");
    Outcome told = run({"export", "sparkle-key", "-b", bundle});
    EXPECT_EQ(told.status, 0);
    EXPECT_EQ(told.output, toolKey.secret + "\n");
    EXPECT_THAT(told.error, IsEmpty());

    storeInKeychain("dataProtection", std::string("halvo.sparkle.") + bundle, key.secret);
    told = run({"export", "sparkle-key", "--bundle-id", bundle});
    EXPECT_EQ(told.status, 0);
    EXPECT_EQ(told.output, key.secret + "\n");
}

TEST_F(SigningCommands, exportNeedsAKey) {
    const Outcome refused = run({"export", "sparkle-key", "-b", bundle});
    EXPECT_EQ(refused.status, 1);
    EXPECT_EQ(refused.output, "No Sparkle signing key found for com.example.demo.\n");
    EXPECT_THAT(refused.error, IsEmpty());
}

} // namespace
} // namespace halvo::test
