#include <DiskImage/DiskImageError.h>
#include <DiskImage/DiskImageWriter.h>

#include <Platform/Files.h>
#include <Platform/SystemProcessRunner.h>
#include <Support/Shell.h>
#include <Support/TemporaryFolder.h>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>

namespace halvo {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

const Date someDay = Date(std::chrono::seconds(1'700'000'000));

/// A folder that becomes a volume, and what other programs make of the image.
class DiskImage : public testing::Test {
protected:
    /// Both streams of a script that must succeed; $1 ... are the arguments.
    static std::string output(const std::string& script, Arguments arguments) {
        // The tools of this machine: its PATH, and an encoding for names.
        const Environment environment({{"PATH", "/usr/bin:/bin:/usr/sbin:/sbin"}, {"LC_ALL", "C.UTF-8"}});
        SystemProcessRunner runner(environment, ToolPaths(environment, ""));
        ProcessRequest request = test::shell("exec 2>&1\nset -e\n" + script, std::move(arguments));
        request.outputLimit = 16u << 20;
        const ProcessResult result = runner.run(request);
        EXPECT_EQ(result.termination, (Termination{})) << result.standardOutput;
        return result.standardOutput;
    }

    /// An app with framework links, permissions, names and sizes that go to the borders of the formats.
    void makeSample(int files) {
        const std::string framework = "Demo.app/Contents/Frameworks/F.framework/";
        write(framework + "Versions/A/F", "code");
        fs::create_directory_symlink("A", source / (framework + "Versions/Current"));
        fs::create_symlink("Versions/Current/F", source / (framework + "F"));
        fs::create_directory_symlink("/Applications", source / "Applications");
        fs::permissions(write("Demo.app/Contents/MacOS/Demo", "program"), fs::perms(0775));
        for (const char* name :
             {"a", "B", "_", "Zebra", "apple", "caf\u00e9", "caff", "\u03a9mega", "\u0436\u0443\u043a",
              "\ud55c\uae00", "smile \U0001F600", "co:lon", "\uff21", "\u1e69", "\u2126"})
            write(name, name);
        write(std::string(255, 'x'), "long name");
        for (const std::size_t size : {0u, 1u, 4095u, 4096u, 4097u, 1u << 20, 5'000'000u})
            write("size " + std::to_string(size), std::string(size, 'd'));
        write("zeros", std::string(3'000'000, '\0'));
        output("head -c 2500000 /dev/urandom >\"$1/noise\"; chmod 600 \"$1/noise\"", {source.string()});
        for (int index = 0; index < files; ++index)
            write("many/" + std::to_string(index * 7919 % 10'007) + std::string(90, 'n'),
                  std::to_string(index));
        for (const auto& item : fs::recursive_directory_iterator(source)) {
            const timespec times[2] = {{1'600'000'001, 0}, {1'600'000'001, 0}};
            ::utimensat(AT_FDCWD, item.path().c_str(), times, AT_SYMLINK_NOFOLLOW);
        }
    }
    fs::path write(const std::string& name, const std::string& content) const {
        return folder.write("source/" + name, content);
    }
    VolumeContents contents(const std::string& name = "S\u00e4mple",
                            std::optional<Date> latestDate = {}) const {
        return {{.name = name, .creationDate = someDay, .latestDate = latestDate},
                readVolumeItem(source, "").children};
    }
    bool make(const VolumeContents& volume) const { return writeDiskImage(volume, image); }
    /// Takes the image apart, with its checksums compared, and gives the volume's file.
    fs::path volumeFile() const {
        output("7zz x -tdmg -y \"-o$2\" \"$1\"", {image.string(), (folder / "parts").string()});
        return folder / "parts/4.hfs";
    }
    std::vector<std::string> besideTheImage() const {
        std::vector<std::string> names;
        for (const auto& entry : fs::directory_iterator(image.parent_path()))
            names.push_back(entry.path().filename());
        return names;
    }

    test::TemporaryFolder folder;
    fs::path source = folder / "source";
    fs::path image = (fs::create_directories(folder / "source"), fs::create_directories(folder / "out"),
                      folder / "out/made.dmg");
};

TEST_F(DiskImage, satisfiesEveryReader) {
    makeSample(3000); // three levels of catalog
    ASSERT_TRUE(make(contents()));
    const fs::path volume = volumeFile();
    output("python3 \"$1\" \"$2\"", {HALVO_VOLUME_CHECKER, volume.string()});
    EXPECT_THAT(output("7zz t -tdmg \"$1\"; 7zz t -thfs \"$2\"", {image.string(), volume.string()}),
                testing::Not(testing::ContainsRegex("WARNING|ERROR")));
    EXPECT_THAT(output("fsstat -f hfs \"$1\"", {volume.string()}), HasSubstr("Volume Unmounted Properly"));
    EXPECT_THAT(output("fshfsinfo -H \"$1\"", {volume.string()}),
                HasSubstr("/Demo.app/Contents/Frameworks/F.framework/Versions/Current"));
    output("partclone.hfsp -c -F -s \"$1\" -o /dev/null -L \"$2\"",
           {volume.string(), (folder / "log").string()});
    output("python3 \"$1\" \"$2\"", {HALVO_IMAGE_CHECKER, image.string()});
}

TEST_F(DiskImage, hasNumbersAndDatesThatAreKnownBefore) {
    fs::permissions(write("Demo.app/file", "content"), fs::perms(0775)); // only its owner is to write to it
    VolumeContents volume = contents("Demo", Date(std::chrono::seconds(1'500'000'000)));
    const CatalogID number = volume.id("Demo.app/file");
    ASSERT_TRUE(make(volume));
    const std::string first = test::readText(image);
    EXPECT_THAT(output("istat -f hfs \"$1\" \"$2\"; icat -f hfs \"$1\" \"$2\"",
                       {volumeFile().string(), std::to_string(number)}),
                testing::AllOf(HasSubstr("2017-07-14 02:40:00"), HasSubstr("rwxr-xr-x"),
                               testing::EndsWith("content")));
    // The same again, whenever the files were written.
    fs::remove(image);
    write("Demo.app/file", "content");
    ASSERT_TRUE(make(contents("Demo", Date(std::chrono::seconds(1'500'000'000)))));
    EXPECT_TRUE(test::readText(image) == first);
}

TEST_F(DiskImage, tellsHowFarItIsAndEndsWhenCancelled) {
    write("noise", std::string(5'000'000, 'n'));
    std::uint64_t last = 0;
    std::stop_source cancellation;
    const auto report = [&](std::uint64_t done, std::uint64_t total) {
        EXPECT_GT(done, last);
        EXPECT_LE(done, total);
        last = done;
        if (done > 3'000'000)
            cancellation.request_stop();
    };
    EXPECT_THROW((void)writeDiskImage(contents(), image, report, cancellation.get_token()), CancelledError);
    EXPECT_GT(last, 3'000'000u);
    EXPECT_THAT(besideTheImage(), testing::IsEmpty());
}

TEST_F(DiskImage, neverTakesThePlaceOfAFile) {
    write("file", "content");
    folder.write("out/made.dmg", "mine");
    EXPECT_FALSE(make(contents()));
    EXPECT_EQ(test::readText(image), "mine");
    EXPECT_THAT(besideTheImage(), testing::ElementsAre("made.dmg"));
}

template<typename Problem>
void expectProblem(const std::function<void()>& action) {
    try {
        action();
        FAIL() << "nothing was thrown";
    } catch (const DiskImageError& error) {
        EXPECT_TRUE(error.is<Problem>()) << error.what();
    }
}

TEST_F(DiskImage, refusesWhatTheFormatCannotHold) {
    expectProblem<DiskImageError::InvalidName>([&] { contents(""); });
    expectProblem<DiskImageError::InvalidName>([&] { contents(std::string(256, 'n')); });
    write("file", "content");
    const VolumeContents volume = contents();
    write("file", "CONTENT!");
    expectProblem<DiskImageError::Changed>([&] { (void)make(volume); });
    fs::remove(source / "file");
    expectProblem<DiskImageError::Changed>([&] { (void)make(volume); });
    EXPECT_THAT(besideTheImage(), testing::IsEmpty());

    const auto refuses = [&]<typename Problem>(Problem, const std::function<void()>& prepare) {
        fs::remove_all(source);
        fs::create_directory(source);
        prepare();
        expectProblem<Problem>([&] { contents(); });
    };
    const auto writeBoth = [&](const char* one, const char* other) {
        return [&, one, other] {
            write(one, "");
            write(other, "");
        };
    };
    refuses(DiskImageError::EqualNames{}, writeBoth("Readme", "README"));
    refuses(DiskImageError::EqualNames{}, writeBoth("caf\u00e9", "cafe\u0301"));
    refuses(DiskImageError::InvalidName{}, writeBoth("\xff", "b"));
    std::string longName; // 85 letters, each stored as four
    for (int letter = 0; letter < 85; ++letter)
        longName += "\u1f82";
    refuses(DiskImageError::InvalidName{}, writeBoth(longName.c_str(), "b"));
    refuses(DiskImageError::SpecialFile{}, [&] { ::mkfifo((source / "pipe").c_str(), 0600); });
    refuses(DiskImageError::LinkTooLong{},
            [&] { fs::create_symlink(std::string(1025, 't'), source / "link"); });
}

} // namespace
} // namespace halvo
