#include "ReleaseFixture.h"

namespace halvo::test {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;

/// `halvo release --output`. Nothing listens at the destination, so that an upload would fail.
class LocalOutput : public ReleaseTest {
protected:
    std::vector<std::string> filesIn(const std::filesystem::path& directory) const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(directory))
            names.push_back(entry.path().filename().string());
        return names;
    }
};

TEST_F(LocalOutput, packsAnAppIntoAFolderThatItMakes) {
    AppBundle().writeTo(work);
    const Outcome built = release({"Demo.app", "--skip-notarization", "--output", "out/deep"});
    EXPECT_EQ(built.status, 0);
    const auto target = work / "out/deep/Demo-1.2.zip";
    EXPECT_THAT(built.output,
                HasSubstr("\nSuccess: Artifact built successfully.\nBuild Summary\n"
                          "Bundle ID: com.example.demo\nVersion: 1.2 (7)\nFormat: ZIP\nSize: "));
    EXPECT_THAT(built.output, EndsWith("\nPath: " + target.string() + "\n"));
    EXPECT_THAT(filesIn(work / "out/deep"), testing::ElementsAre("Demo-1.2.zip"));
    script(
        "mkdir unpacked && cd unpacked && unzip -q \"$1\" && diff -r --no-dereference Demo.app ../Demo.app",
        {target.string()});
}

TEST_F(LocalOutput, replacesAnOlderArtefactAndReportsInJSON) {
    AppBundle().writeTo(work);
    const auto target = folder.write("work/Demo-1.2.zip", "old");
    const Outcome built = release({"Demo.app", "--skip-notarization", "-o", ".", "--format", "json"});
    EXPECT_EQ(built.status, 0);
    EXPECT_EQ(built.output, nlohmann::json({{"bundleIdentifier", "com.example.demo"},
                                            {"name", "Demo"},
                                            {"version", 7},
                                            {"versionString", "1.2"},
                                            {"format", "zip"},
                                            {"fileSize", std::filesystem::file_size(target)},
                                            {"path", target.string()}})
                                    .dump() +
                                "\n");
    script("unzip -tq \"$1\"", {target.string()});
}

TEST_F(LocalOutput, needsStandardOutputAlone) {
    AppBundle().writeTo(work);
    const Arguments arguments =
        releaseArguments({"Demo.app", "--skip-notarization", "-o", ".", "--format", "json"});
    for (const char* prelude : {"exec 2>&-;", "exec 2>/dev/full;", "exec <&- 2>&-;"}) {
        const Outcome built = run(arguments, variables, prelude);
        EXPECT_EQ(built.status, 0) << prelude;
        EXPECT_TRUE(nlohmann::json::accept(built.output)) << prelude;
    }
    for (const char* prelude : {"exec >&-;", "exec >/dev/full;"}) {
        const Outcome built = run(arguments, variables, prelude);
        EXPECT_EQ(built.status, 1) << prelude;
        EXPECT_THAT(built.error, HasSubstr("Error: The output cannot be written: ")) << prelude;
    }
}

TEST_F(LocalOutput, copiesTheUsersOwnArchive) {
    AppBundle().writeTo(work);
    script("zip -q -r -y Mine.zip Demo.app");
    const std::string before = readText(work / "Mine.zip");
    const Outcome built = release({"Mine.zip", "--skip-notarization", "--output", "out"});
    EXPECT_EQ(built.status, 0);
    EXPECT_EQ(readText(work / "Mine.zip"), before);
    EXPECT_EQ(readText(work / "out/Demo-1.2.zip"), before);
}

TEST_F(LocalOutput, leavesAFileThatIsInTheWay) {
    AppBundle().writeTo(work);
    folder.write("work/out", "a file");
    const Outcome refused = release({"Demo.app", "--skip-notarization", "--output", "out"});
    EXPECT_EQ(refused.status, 1);
    EXPECT_EQ(readText(work / "out"), "a file");
}

} // namespace
} // namespace halvo::test
