#include "AppBundle.h"
#include "ProgramFixture.h"

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

TEST_F(SigningCommands, verifyJudgesWithStatusZero) {
    folder.write("work/update.zip", "an update");
    folder.write("work/other.zip", "another update");
    const std::string valid = script(
        "openssl pkeyutl -sign -rawin -in update.zip -keyform DER -inkey ../private.der | base64 -w 0");
    const std::string own = key.publicKey;
    const std::string invalid = "Warning: Signature is invalid!";
    const std::string error = "Warning: An error occurred: ";
    const struct {
        std::string file, signature, publicKey, verdict;
    } cases[] = {
        {"update.zip", valid, own, "Success: Signature is valid!"},
        {"other.zip", valid, own, invalid},
        {"update.zip", valid, "MCowBQYDK2VwAyEAMCowBQYDK2VwAyEAMCowBQYDK2U=", invalid},
        {"update.zip", "AAAA", own, invalid},
        {"update.zip", "*", own, error + "The signature isn't valid base64."},
        {"update.zip", valid, "*", error + "The public key isn't valid base64."},
        {"update.zip", valid, "AAAA",
         error + "A key of 3 bytes is not an Ed25519 key: a private key has 32 or 96 bytes, a public key 32."},
        {"missing.zip", valid, own, error + "Could not read missing.zip: No such file or directory"},
    };
    for (const auto& row : cases) {
        const Outcome judged = run({"verify", row.file, row.signature, row.publicKey});
        EXPECT_EQ(judged.status, 0);
        EXPECT_THAT(judged.error, IsEmpty());
        EXPECT_EQ(judged.output, "Signature Verification\n\nFile: " + row.file +
                                     "\nSignature: " + row.signature + "\nPublic Key: " + row.publicKey +
                                     "\n" + row.verdict + "\n");
    }
}

TEST_F(SigningCommands, signMakesASignatureThatOpenSSLAccepts) {
    for (const std::string name : {"Demo.zip", "Demo.ZIP"}) {
        const auto archive = packedApp(name);
        storeInKeychain("dataProtection", std::string("halvo.sparkle.") + bundle, key.secret);
        const Outcome signing = run({"sign", name});
        EXPECT_EQ(signing.status, 0);
        const std::string label = "\nFile: " + name + "\nSignature: ";
        EXPECT_THAT(signing.output,
                    HasSubstr("Signature Details\n\nApp: Demo (com.example.demo)\nVersion: 1.2 (7)" + label));
        const std::string signature = signing.output.substr(signing.output.find(label) + label.size(), 88);
        EXPECT_TRUE(opensslVerifies(archive, signature, key)) << signature;
        EXPECT_THAT(signing.output, EndsWith(signature + "\n"));
    }
}

TEST_F(SigningCommands, refuseWhatTheyCannotDo) {
    packedApp();
    storeInKeychain("dataProtection", "halvo.sparkle.com.example.other", key.secret);
    const std::pair<Arguments, const char*> cases[] = {
        {{"sign", "Demo.tar"}, "Unsupported file type: tar. Use .dmg or .zip\n"},
        {{"sign", "Demo.zip"}, "Keychain error: No item for ed25519 in the keychain.\n"},
        {{"export", "sparkle-key", "-b", bundle}, "No Sparkle signing key found for com.example.demo.\n"},
    };
    for (const auto& [arguments, told] : cases) {
        const Outcome refused = run(arguments);
        EXPECT_EQ(refused.status, 1);
        EXPECT_EQ(refused.output, told);
    }
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

} // namespace
} // namespace halvo::test
