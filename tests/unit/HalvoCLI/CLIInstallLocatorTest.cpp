#include "CLIInstallLocator.h"

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

TEST(CLIInstallLocator, findsEachExecutableOnce) {
    using Links = std::map<std::filesystem::path, std::filesystem::path>;
    using Texts = std::vector<std::string>;
    const std::string own = "/home/ann/.local/bin/halvo";
    const std::string shim = "/home/ann/.local/share/mise/shims/halvo";
    const struct {
        Texts path;
        std::optional<std::string> miseDataDir;
        Links executables;
        Texts found;
    } cases[] = {
        {{"/usr/bin", "/bin"}, {}, {}, {}},
        {{"/b", "/a", "/c"},
         {},
         {{"/a/halvo", "/a/halvo"}, {"/b/halvo", "/opt/halvo 2/halvo"}},
         {"/b/halvo -> /opt/halvo 2/halvo", "/a/halvo -> /a/halvo"}},
        {{"/a"},
         {},
         {{own, "/x/halvo"}, {shim, "/usr/bin/mise"}, {"/a/halvo", "/a/halvo"}},
         {"/a/halvo -> /a/halvo", own + " -> /x/halvo", shim + " -> /usr/bin/mise"}},
        {{},
         "/srv/mise",
         {{"/srv/mise/shims/halvo", "/usr/bin/mise"}, {shim, "/old/mise"}},
         {"/srv/mise/shims/halvo -> /usr/bin/mise"}},
        {{"/a", "/a/", "/b/../a"}, {}, {{"/a/halvo", "/a/halvo"}}, {"/a/halvo -> /a/halvo"}},
        {{"/bin", "/usr/bin"},
         {},
         {{"/bin/halvo", "/usr/bin/halvo"}, {"/usr/bin/halvo", "/usr/bin/halvo"}},
         {"/bin/halvo -> /usr/bin/halvo"}},
        {{"", ".", "bin"},
         {},
         {{"halvo", "/w/halvo"}, {"bin/halvo", "/w/bin/halvo"}},
         {}}, // relative ones do not count
    };
    for (const auto& row : cases) {
        Texts found;
        for (const FoundCLI& entry : CLIInstallLocator::findAll({row.path, "/home/ann", row.miseDataDir},
                                                                FakeFileProbe(row.executables)))
            found.push_back(entry.path.filePath().string() + " -> " + entry.resolvedPath.filePath().string());
        EXPECT_EQ(found, row.found);
    }
}

} // namespace
} // namespace halvo
