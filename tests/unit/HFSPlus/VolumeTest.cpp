#include "SampleVolume.h"

#include <Platform/SystemProcessRunner.h>
#include <Support/Shell.h>
#include <Support/TemporaryFolder.h>

#include <fstream>
#include <sstream>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>

namespace halvo {
namespace {

namespace fs = std::filesystem;
using namespace hfsplus;
using test::TemporaryFolder;

/// Both streams of a script that must succeed; $1 ... are the arguments.
std::string output(std::string script, Arguments arguments) {
    // The tools of this machine: its PATH, and an encoding for names.
    const Environment environment({{"PATH", "/usr/bin:/bin:/usr/sbin:/sbin"}, {"LC_ALL", "C.UTF-8"}});
    SystemProcessRunner runner(environment, ToolPaths(environment, ""));
    ProcessRequest request = test::shell("exec 2>&1\nset -e\n" + std::move(script), std::move(arguments));
    request.outputLimit = 16u << 20;
    const ProcessResult result = runner.run(request);
    EXPECT_EQ(result.termination, (Termination{})) << result.standardOutput;
    return result.standardOutput;
}

/// An app with framework links, permissions, names and sizes that go to the borders of the format.
void makeSample(const TemporaryFolder& folder, int files) {
    const std::string framework = "source/Demo.app/Contents/Frameworks/F.framework/";
    folder.write(framework + "Versions/A/F", "code");
    fs::create_directory_symlink("A", folder / (framework + "Versions/Current"));
    fs::create_symlink("Versions/Current/F", folder / (framework + "F"));
    fs::create_directory_symlink("/Applications", folder / "source/Applications");
    fs::permissions(folder.write("source/Demo.app/Contents/MacOS/Demo", "program"), fs::perms(04755));
    for (const char* name :
         {"a", "B", "_", "Zebra", "apple", "caf\u00e9", "caff", "\u03a9mega", "\u0436\u0443\u043a",
          "\ud55c\uae00", "smile \U0001F600", "co:lon", "\uff21", "\u1e69", "\u2126"})
        folder.write("source/" + std::string(name), name);
    folder.write("source/" + std::string(255, 'x'), "long name");
    for (const std::size_t size : {0u, 1u, 4095u, 4096u, 4097u, 5'000'000u})
        folder.write("source/size " + std::to_string(size), std::string(size, 'd'));
    for (int index = 0; index < files; ++index)
        folder.write("source/many/" + std::to_string(index * 7919 % 10'007) + std::string(90, 'n'),
                     std::to_string(index));
    for (const auto& item : fs::recursive_directory_iterator(folder / "source")) {
        const timespec times[2] = {{1'600'000'001, 0}, {1'600'000'001, 0}};
        ::utimensat(AT_FDCWD, item.path().c_str(), times, AT_SYMLINK_NOFOLLOW);
    }
}

std::string describeTree(const fs::path& folder) {
    return output("cd \"$1\"; find . -mindepth 1 -printf '%P %y %m %Ts %l\\n' | LC_ALL=C sort; "
                  "find . -type f -print0 | LC_ALL=C sort -z | xargs -0 sha256sum",
                  {folder.string()});
}

struct Volume : testing::Test {
    TemporaryFolder folder;
    fs::path image = folder / "volume.img";
};

TEST_F(Volume, isFaultlessAndComesBackAsItWas) {
    makeSample(folder, 3000); // three levels of catalog
    const VolumeContents contents(folder / "source");
    SampleVolume::write(contents, image);
    output("python3 \"$1\" \"$2\"", {HALVO_VOLUME_CHECKER, image.string()});

    SampleVolume volume(image);
    VolumeReader reader(volume.source, 0, volume.source.size());
    EXPECT_EQ(reader.properties().name, "Sample");
    EXPECT_EQ(reader.properties().identifier, 0x0102030405060708u);
    EXPECT_FALSE(reader.properties().hasCustomIcon);
    EXPECT_EQ(reader.freeBlocks(), 0u);
    const fs::path unfolded = folder / "unfolded";
    fs::create_directory(unfolded);
    EXPECT_EQ(reader.unfold(unfolded), contents.catalogIDs());
    fs::permissions(folder / "source/Demo.app/Contents/MacOS/Demo", fs::perms(0755)); // without set-user-id
    EXPECT_EQ(describeTree(unfolded), describeTree(folder / "source"));
}

TEST_F(Volume, satisfiesOtherReaders) {
    makeSample(folder, 60);
    // A bitmap of two blocks. What is not written takes no room.
    const std::uint64_t size = std::uint64_t{200} << 20;
    SampleVolume::write(VolumeContents(folder / "source"), image, size);
    struct stat status {};
    ASSERT_EQ(::stat(image.c_str(), &status), 0);
    EXPECT_LT(status.st_blocks * 512, 16 << 20);
    output("python3 \"$1\" \"$2\"", {HALVO_VOLUME_CHECKER, image.string()});

    const std::string tested = output("7zz t -thfs \"$1\"", {image.string()});
    EXPECT_THAT(tested, testing::Not(testing::ContainsRegex("WARNING|ERROR")));
    EXPECT_THAT(output("fsstat -f hfs \"$1\"", {image.string()}),
                testing::HasSubstr("Volume Unmounted Properly"));
    EXPECT_THAT(output("fshfsinfo -H \"$1\"", {image.string()}),
                testing::HasSubstr("/Demo.app/Contents/Frameworks/F.framework/Versions/Current"));
    output("partclone.hfsp -c -F -s \"$1\" -o /dev/null -L \"$2\"",
           {image.string(), (folder / "log").string()});
    // By number, which makes it search the catalog by key. fls shows names as they are stored.
    output(R"script(
        fls -r -p -f hfs "$1" | grep '^[rl]/' | grep -v '\$' | sed 's|^[rl]/[rl] \([0-9]*\):.*|\1|' > "$2"
        test "$(wc -l < "$2")" = "$(find "$3" ! -type d | wc -l)"
        while read -r number; do icat -f hfs "$1" "$number" | sha256sum; done < "$2" | sort > "$2.read"
        { find "$3" -type f -print0 | xargs -0 sha256sum | sed 's/^\\//' | cut -c1-64 | sed 's/$/  -/'
          find "$3" -type l -exec sh -c 'for link; do readlink -n "$link" | sha256sum; done' sh {} +
        } | sort > "$2.found"
        cmp "$2.read" "$2.found")script",
           {image.string(), (folder / "listed").string(), (folder / "source").string()});
}

TEST_F(Volume, givesTheSameBytesAgainAndKeepsNumbers) {
    makeSample(folder, 10);
    const auto written = [&] {
        SampleVolume::write(
            VolumeContents(folder / "source", {.latestDate = Date(std::chrono::seconds(1'500'000'000))}),
            image);
        return test::readText(image);
    };
    const std::string first = written();
    fs::last_write_time(folder / "source/apple", fs::file_time_type::clock::now()); // clamped like the others
    EXPECT_TRUE(written() == first);

    const CatalogIDs before = VolumeContents(folder / "source").catalogIDs();
    fs::remove(folder / "source/apple");
    folder.write("source/Aaa", "new");
    CatalogIDs after = VolumeContents(folder / "source", {.knownIDs = before}).catalogIDs();
    EXPECT_EQ(after["Aaa"], 16 + before.size() - 1) << "the root is one of them";
    after.erase("Aaa");
    after["apple"] = before.at("apple");
    EXPECT_EQ(after, before);
}

template<typename Problem, typename Action>
void expectProblem(Action action) {
    try {
        action();
        FAIL() << "nothing was thrown";
    } catch (const HFSPlusError& error) {
        EXPECT_TRUE(std::holds_alternative<Problem>(error.which)) << error.what();
    }
}

TEST_F(Volume, refusesWhatTheFormatCannotHold) {
    const fs::path source = folder / "source";
    fs::create_directory(source);
    const auto make = [&](const VolumeProperties& properties, std::uint64_t size) {
        SampleVolume::write(VolumeContents(source), image, size, properties);
    };
    expectProblem<HFSPlusError::InvalidName>([&] { make({.name = ""}, 1 << 20); });
    expectProblem<HFSPlusError::InvalidName>([&] { make({.name = std::string(256, 'n')}, 1 << 20); });
    expectProblem<HFSPlusError::NoSpace>([&] { make({.name = "n"}, 4096 * 127); });
    folder.write("source/file", "content");
    const VolumeContents contents(source);
    folder.write("source/file", "CONTENT!");
    expectProblem<HFSPlusError::Changed>([&] { SampleVolume::write(contents, image); });

    const auto refuses = [&]<typename Problem>(Problem, auto prepare) {
        fs::remove_all(source);
        fs::create_directory(source);
        prepare();
        expectProblem<Problem>([&] { VolumeContents{source}; });
    };
    refuses(HFSPlusError::EqualNames{}, [&] {
        folder.write("source/Readme", "");
        folder.write("source/README", "");
    });
    refuses(HFSPlusError::EqualNames{}, [&] {
        folder.write("source/caf\u00e9", "");
        folder.write("source/cafe\u0301", "");
    });
    refuses(HFSPlusError::InvalidName{}, [&] { folder.write("source/\xff", ""); });
    refuses(HFSPlusError::InvalidName{},
            [&] { // 85 letters, each stored as four
                std::string name;
                for (int letter = 0; letter < 85; ++letter)
                    name += "\u1f82";
                folder.write("source/" + name, "");
            });
    refuses(HFSPlusError::SpecialFile{}, [&] { ::mkfifo((source / "pipe").c_str(), 0600); });
    refuses(HFSPlusError::LinkTooLong{},
            [&] { fs::create_symlink(std::string(1025, 't'), source / "link"); });
}

} // namespace
} // namespace halvo
