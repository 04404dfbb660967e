#include <Base/PropertyList.h>
#include <HFSPlus/VolumeReader.h>
#include <Platform/Descriptor.h>
#include <Platform/Files.h>
#include <Platform/SystemProcessRunner.h>
#include <Platform/VolumeFacts.h>

#include <Base/Text.h>
#include <Support/TemporaryFolder.h>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace halvo {
namespace {

namespace fs = std::filesystem;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

constexpr std::uint64_t volumeOffset = 40 * 512;

/// The program as it is built, with the arguments that images are made with.
class Hdiutil : public testing::Test {
protected:
    test::TemporaryFolder folder;
    fs::path root = fs::canonical(folder.path());
    Environment environment{{{"PATH", "/usr/bin:/bin"},
                             {"HALVO_TOOL_ROOT", HALVO_TOOLBOX},
                             {"TMPDIR", root},
                             {"SOURCE_DATE_EPOCH", "1700000000"}}};
    SystemProcessRunner runner{environment, ToolPaths(environment, "")};
    SystemVolumeFacts facts{AttachedVolumes::ofUser(environment)};
    fs::path image = root / "rw-1.dmg";

    ProcessResult hdiutil(Arguments arguments) {
        return runner.run({.executable = "/usr/bin/hdiutil", .arguments = std::move(arguments)});
    }
    std::string succeed(Arguments arguments) {
        const ProcessResult result = hdiutil(std::move(arguments));
        EXPECT_TRUE(result.succeeded()) << result.standardError;
        return result.standardOutput;
    }
    std::string failure(Arguments arguments) {
        const ProcessResult result = hdiutil(std::move(arguments));
        EXPECT_EQ(result.termination, Termination{.value = 1});
        return result.standardError;
    }
    void create(const fs::path& path) {
        folder.write("stage/Demo.app/Contents/MacOS/Demo", "code");
        fs::permissions(folder / "stage/Demo.app/Contents/MacOS/Demo", fs::perms(0755));
        folder.write("stage/.background/bg.png", "picture");
        std::error_code exists;
        fs::create_symlink("/Applications", folder / "stage/Applications", exists);
        EXPECT_EQ(succeed({"create", "-srcfolder", root / "stage", "-volname", "Demo 1", "-fs", "APFS",
                           "-format", "UDRW", path}),
                  "created: " + path.string() + "\n");
        succeed({"resize", "-size", "20m", path});
    }
    fs::path attach(const fs::path& path) {
        const std::string text = succeed({"attach", path, "-mountrandom", "/Volumes", "-readwrite",
                                          "-noverify", "-noautoopen", "-nobrowse"});
        const std::vector<std::string> lines = split(text, '\n');
        EXPECT_EQ(lines.size(), 3u) << text;
        EXPECT_THAT(lines[0], StartsWith("/dev/disk4          \tGUID_partition_scheme"));
        const std::vector<std::string> columns = split(lines[1], '\t');
        EXPECT_EQ(columns.size(), 3u) << text;
        EXPECT_EQ(trimmed(columns[1]), "Apple_HFS");
        return columns[2];
    }
    /// What another process finds in the raw image.
    hfsplus::CatalogIDs catalog(const fs::path& path, hfsplus::VolumeProperties& properties) {
        const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
        const std::uint64_t size = (fs::file_size(path) / 512 - 73) / 8 * 8 * 512;
        hfsplus::FileSource source(file.get(), 0, fs::file_size(path));
        hfsplus::VolumeReader reader(source, volumeOffset, size);
        properties = reader.properties();
        const TemporaryDirectory out(root);
        return reader.unfold(out.path());
    }
};

TEST_F(Hdiutil, keepsTheNumbersThatFilesWereToldToHave) {
    create(image);
    const fs::path mount = attach(image);
    EXPECT_EQ(facts.info(mount).name, "Demo 1");
    EXPECT_EQ(facts.info(mount).createDate, Date(std::chrono::seconds(1700000000)));
    EXPECT_EQ(facts.creationDate(mount / ".background/bg.png"), Date(std::chrono::seconds(1700000000)));
    const auto root = facts.fileID(mount);
    const auto known = facts.fileID(mount / ".background/bg.png");
    writeNewFile(mount / "zz-first", {});
    writeNewFile(mount / "later.png", viewBytes("picture"));
    const auto later = facts.fileID(mount / "later.png"); // asked for first, last in the catalog's order
    const auto first = facts.fileID(mount / "zz-first");
    fs::rename(mount / "later.png", mount / ".background/later.png");
    writeNewFile(mount / "never-asked", {});
    fs::remove_all(mount / "Demo.app");
    EXPECT_TRUE(runner.run({.executable = "/usr/bin/SetFile", .arguments = {"-a", "C", mount}}).succeeded());
    EXPECT_EQ(succeed({"detach", mount, "-force"}), "\"disk4\" ejected.\n");

    EXPECT_FALSE(fs::exists(mount));
    hfsplus::VolumeProperties properties;
    const hfsplus::CatalogIDs ids = catalog(image, properties);
    EXPECT_EQ(root, hfsplus::rootFolderID);
    EXPECT_EQ(ids.at(".background/bg.png"), known);
    EXPECT_EQ(ids.at(".background/later.png"), later);
    EXPECT_EQ(ids.at("zz-first"), first);
    EXPECT_GT(ids.at("never-asked"), first);
    EXPECT_FALSE(ids.contains("Demo.app"));
    EXPECT_TRUE(properties.hasCustomIcon);
    EXPECT_EQ(properties.name, "Demo 1");
}

TEST_F(Hdiutil, leavesImageAndFolderWhenTheVolumeIsFull) {
    create(image);
    const Bytes before = readFile(image);
    const fs::path mount = attach(image);
    writeNewFile(mount / "large", Bytes(30u << 20, 1));
    EXPECT_THAT(failure({"detach", mount, "-force"}),
                StartsWith("hdiutil: detach failed - No space left on device\n"));
    EXPECT_EQ(readFile(image), before);
    EXPECT_TRUE(fs::exists(mount / "large"));
    EXPECT_THAT(failure({"resize", "-size", "30m", image}),
                StartsWith("hdiutil: resize failed - Resource busy\n"));
    EXPECT_THAT(failure({"convert", image, "-format", "ULMO", "-o", root / "out"}),
                HasSubstr("Resource temporarily unavailable"));
    fs::remove(mount / "large");
    succeed({"detach", "/dev/disk4"});
}

TEST_F(Hdiutil, convertsToTheSameBytesAndReadsThem) {
    for (const char* name : {"one", "two"}) {
        create(root / (std::string(name) + "-rw.dmg"));
        const fs::path mount = attach(root / (std::string(name) + "-rw.dmg"));
        writeNewFile(mount / ".DS_Store", viewBytes("layout"));
        succeed({"detach", mount, "-force"});
        EXPECT_EQ(succeed({"convert", root / (std::string(name) + "-rw.dmg"), "-format", "ULMO", "-o",
                           root / name}),
                  "created: " + (root / name).string() + ".dmg\n");
    }
    EXPECT_EQ(readFile(root / "one.dmg"), readFile(root / "two.dmg"));

    const std::string text = succeed({"attach", root / "one.dmg", "-plist", "-nobrowse", "-readonly"});
    const PropertyList answer = PropertyList::parse(viewBytes(text));
    const auto* entities = answer.find<PropertyListArray>("system-entities");
    ASSERT_TRUE(entities && entities->size() == 2);
    const fs::path mount = entities->at(1).find("mount-point")->as<std::string>()->c_str();
    EXPECT_EQ(test::readText(mount / "Demo.app/Contents/MacOS/Demo"), "code");
    EXPECT_EQ(fs::status(mount / "Demo.app/Contents/MacOS/Demo").permissions(), fs::perms(0755));
    EXPECT_TRUE(fs::is_symlink(mount / "Applications"));
    const std::string listed = succeed({"info", "-plist"});
    EXPECT_THAT(listed, HasSubstr("<string>" + (root / "one.dmg").string() + "</string>"));
    EXPECT_THAT(listed, HasSubstr("<string>" + mount.string() + "</string>"));

    removeQuietly(mount.parent_path()); // as when the system clears its temporary folder
    EXPECT_EQ(
        PropertyList::parse(viewBytes(succeed({"info", "-plist"}))).find<PropertyListArray>("images")->size(),
        0u);
    attach(root / "two-rw.dmg"); // takes the device that was left behind
}

TEST_F(Hdiutil, unfoldsWhatOnlySevenZipReads) {
    create(image);
    Bytes bytes = readFile(image); // as HFSX, which the reader here leaves to others
    bytes.at(volumeOffset + 1024 + 1) = 'X';
    bytes.at(volumeOffset + 1024 + 3) = 5;
    writeFileAtomically(image, bytes);
    const std::string text = succeed({"attach", image, "-plist", "-nobrowse", "-readonly"});
    const PropertyList answer = PropertyList::parse(viewBytes(text));
    const fs::path mount = answer.find<PropertyListArray>("system-entities")
                               ->at(1)
                               .find("mount-point")
                               ->as<std::string>()
                               ->c_str();
    EXPECT_EQ(test::readText(mount / ".background/bg.png"), "picture");
    EXPECT_TRUE(fs::is_symlink(mount / "Applications"));
    succeed({"detach", mount});
}

TEST_F(Hdiutil, saysWhyItFailed) {
    create(image);
    EXPECT_THAT(failure({"create", "-srcfolder", root / "stage", "-volname", "x", "-format", "UDRW", image}),
                StartsWith("hdiutil: create failed - File exists\n"));
    EXPECT_THAT(failure({"attach", root / "none.dmg"}),
                StartsWith("hdiutil: attach failed - No such file or directory\n"));
    EXPECT_THAT(failure({"detach", "/Volumes/None", "-force"}),
                StartsWith("hdiutil: detach failed - No such file or directory\n"));
    EXPECT_THAT(failure({"resize", "-size", "400k", image}), HasSubstr("needs at least"));
    EXPECT_THAT(failure({"convert", image, "-format", "ULFO", "-o", root / "x"}), HasSubstr("ULMO and UDZO"));
    EXPECT_THAT(failure({"convert", image, "-format", "UDZO", "-o", image}), HasSubstr("File exists"));
    EXPECT_THAT(failure({"burn"}), StartsWith("Usage: hdiutil"));
    const std::string limits = succeed({"resize", "-limits", image});
    EXPECT_THAT(split(limits, '\t'), testing::SizeIs(3));
    EXPECT_THAT(split(limits, '\t')[1], "40960");
    EXPECT_FALSE(fs::exists(root / "x.dmg"));
}

} // namespace
} // namespace halvo
