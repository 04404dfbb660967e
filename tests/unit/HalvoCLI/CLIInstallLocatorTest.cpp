#include "CLIInstallLocator.h"

#include <Support/CaseName.h>

#include <map>

#include <gtest/gtest.h>

namespace halvo {
namespace {

/// Executables by their paths, with what each resolves to.
class FakeFileProbe final : public CLIInstallLocator::FileProbe {
public:
    explicit FakeFileProbe(std::map<std::filesystem::path, std::filesystem::path> executables)
        : executables(std::move(executables)) {}
    bool isExecutableFile(const std::filesystem::path& path) const override {
        return executables.contains(path);
    }
    std::filesystem::path resolveSymlink(const std::filesystem::path& path) const override {
        return executables.at(path);
    }

private:
    std::map<std::filesystem::path, std::filesystem::path> executables;
};

struct LocatorCase {
    const char* name;
    std::vector<std::string> path;
    std::optional<std::string> miseDataDir;
    std::map<std::filesystem::path, std::filesystem::path> executables;
    std::vector<std::string> found;
};

class CLIInstallLocatorTest : public testing::TestWithParam<LocatorCase> {};

TEST_P(CLIInstallLocatorTest, findsEachExecutableOnce) {
    const auto& [name, path, miseDataDir, executables, expected] = GetParam();
    std::vector<std::string> found;
    for (const FoundCLI& entry :
         CLIInstallLocator::findAll({path, "/home/ann", miseDataDir}, FakeFileProbe(executables)))
        found.push_back(entry.path.filePath().string() + " -> " + entry.resolvedPath.filePath().string());
    EXPECT_EQ(found, expected);
}

INSTANTIATE_TEST_SUITE_P(
    Places, CLIInstallLocatorTest,
    testing::Values(LocatorCase{"nowhere", {"/usr/bin", "/bin"}, {}, {}, {}},
                    LocatorCase{"inTheOrderOfThePath",
                                {"/b", "/a", "/c"},
                                {},
                                {{"/a/halvo", "/a/halvo"}, {"/b/halvo", "/opt/halvo 2/halvo"}},
                                {"/b/halvo -> /opt/halvo 2/halvo", "/a/halvo -> /a/halvo"}},
                    LocatorCase{"pathsBeforeWellKnownPlaces",
                                {"/a"},
                                {},
                                {{"/home/ann/.local/bin/halvo", "/x/halvo"},
                                 {"/home/ann/.local/share/mise/shims/halvo", "/usr/bin/mise"},
                                 {"/a/halvo", "/a/halvo"}},
                                {"/a/halvo -> /a/halvo", "/home/ann/.local/bin/halvo -> /x/halvo",
                                 "/home/ann/.local/share/mise/shims/halvo -> /usr/bin/mise"}},
                    LocatorCase{"miseElsewhere",
                                {},
                                "/srv/mise",
                                {{"/srv/mise/shims/halvo", "/usr/bin/mise"},
                                 {"/home/ann/.local/share/mise/shims/halvo", "/old/mise"}},
                                {"/srv/mise/shims/halvo -> /usr/bin/mise"}},
                    LocatorCase{"sameFolderTwice",
                                {"/a", "/a/", "/b/../a"},
                                {},
                                {{"/a/halvo", "/a/halvo"}},
                                {"/a/halvo -> /a/halvo"}},
                    LocatorCase{"sameFileThroughTwoLinks",
                                {"/bin", "/usr/bin"},
                                {},
                                {{"/bin/halvo", "/usr/bin/halvo"}, {"/usr/bin/halvo", "/usr/bin/halvo"}},
                                {"/bin/halvo -> /usr/bin/halvo"}},
                    LocatorCase{"relativeFoldersDoNotCount",
                                {"", ".", "bin"},
                                {},
                                {{"halvo", "/w/halvo"}, {"bin/halvo", "/w/bin/halvo"}},
                                {}}),
    test::CaseName());

} // namespace
} // namespace halvo
