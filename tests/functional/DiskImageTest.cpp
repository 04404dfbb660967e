#include "ReleaseFixture.h"

namespace halvo::test {
namespace {

using testing::EndsWith;
using testing::HasSubstr;

constexpr const char* sourceDate = "1700000000";

/// Images that are written here, read by others. ProgramTest checks that nothing stays behind.
class DiskImage : public ReleaseTest {
protected:
    DiskImage() { bundle.writeTo(work); }

    Outcome create(const Arguments& arguments, const Variables& environment = {}) {
        Arguments all{"create-dmg", app, "--skip-notarization"};
        all.insert(all.end(), arguments.begin(), arguments.end());
        return run(all, environment);
    }
    /// The differences that independent readers find: "identical" without any.
    std::string check(const std::string& image) {
        return script("\"$1\" \"$2\" \"$3\" \"$4\" || true", {HALVO_IMAGE_CHECKER, image, app, sourceDate});
    }

    AppBundle bundle;
    std::string app = "Demo.app";
};

TEST_F(DiskImage, holdsTheAppAsEveryReaderSeesItAndComesOutTheSameAgain) {
    // Names that volumes store in another form, permissions that stay, and folders in folders.
    script(R"(cd Demo.app/Contents/Resources
              for name in 'café.txt' 'Größe' '한글' '😀 emoji' 'Zebra' 'apple'; do echo "$name" >"$name"; done
              printf '' >empty; chmod 600 'café.txt'; chmod 444 Zebra; chmod 755 apple
              head -c 2500000 /dev/urandom >picture.heic; head -c 3000000 /dev/zero >zeros
              mkdir -p many/deep/deeper; for index in $(seq 300); do echo $index >many/file-$index; done
              mv many/file-1 many/deep/deeper
              cd ../../..; mv Demo.app 'Démo.app')");
    app = "Démo.app";
    const Variables sameDate{{"SOURCE_DATE_EPOCH", sourceDate}};
    const Outcome made = create({}, sameDate);
    EXPECT_EQ(made.status, 0) << made.error;
    EXPECT_THAT(made.output, EndsWith("Output: " + (work / "Démo.dmg").string() + "\n"));
    EXPECT_EQ(check("Démo.dmg"), "identical");

    EXPECT_EQ(create({"--output", "again.dmg"}, sameDate).status, 0);
    script("cmp Démo.dmg again.dmg");
}

TEST_F(DiskImage, leavesAFileThatIsThere) {
    const auto image = folder.write("work/Demo.dmg", "mine");
    const Outcome refused = create({});
    EXPECT_EQ(refused.status, 1);
    EXPECT_THAT(refused.output + refused.error, HasSubstr("Output file already exists at " + image.string()));
    EXPECT_EQ(readText(image), "mine");
}

TEST_F(DiskImage, isSignedAndReleasedAsItIs) {
    ASSERT_EQ(create({"--output", "Mine.dmg"}).status, 0);
    std::filesystem::remove_all(work / "Demo.app");
    const Outcome released = release({"Mine.dmg", "--skip-notarization", "--output", "out"});
    EXPECT_EQ(released.status, 0) << released.error;
    EXPECT_THAT(released.output, HasSubstr("Version: 1.2 (7)\nFormat: DMG\n"));
    script("cmp Mine.dmg out/Demo-1.2.dmg");

    storeInKeychain("dataProtection", "halvo.sparkle.com.example.demo", key.secret);
    const Outcome signing = run({"sign", "Mine.dmg"});
    EXPECT_EQ(signing.status, 0) << signing.output;
    const std::string label = "Signature: ";
    const std::string signature = signing.output.substr(signing.output.find(label) + label.size(), 88);
    EXPECT_TRUE(opensslVerifies(work / "Mine.dmg", signature, key)) << signing.output;
}

TEST_F(DiskImage, isNotWhatOnlyHasTheName) {
    script("zip -q -r -y Zip.dmg Demo.app; tar -cf Tar.dmg Demo.app; echo text >Text.dmg; : >Empty.dmg");
    for (const char* name : {"Zip.dmg", "Tar.dmg", "Text.dmg", "Empty.dmg"}) {
        const Outcome refused = release({name, "--skip-notarization", "--output", "out"});
        EXPECT_EQ(refused.status, 1) << name;
        EXPECT_THAT(refused.output, HasSubstr("Failed to mount DMG: image not recognized\n")) << name;
    }
}

} // namespace
} // namespace halvo::test
