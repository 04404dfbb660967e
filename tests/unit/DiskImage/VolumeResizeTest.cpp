#include <DiskImage/DiskImageError.h>
#include <HFSPlus/VolumeContents.h>
#include <Platform/Descriptor.h>
#include <Platform/Files.h>
#include <Platform/SystemProcessRunner.h>

#include "VolumeResize.h"

#include <Support/TemporaryFolder.h>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

namespace halvo {
namespace {

/// 7-Zip refuses a volume whose size is wrong.
void expectSound(const std::filesystem::path& volume) {
    const Environment environment;
    SystemProcessRunner runner(environment, ToolPaths(environment, ""));
    const ProcessResult tested =
        runner.run({.executable = "/usr/bin/7zz", .arguments = {"t", "-thfs", volume.string()}});
    EXPECT_TRUE(tested.succeeded()) << tested.standardOutput << tested.standardError;
    EXPECT_EQ(tested.standardOutput.find("WARNING"), std::string::npos) << tested.standardOutput;
}

TEST(VolumeResize, growsPastItsBitmapAndShrinksToItsFiles) {
    const test::TemporaryFolder folder;
    folder.write("in/file", std::string(20000, 'x'));
    const std::filesystem::path path = folder.write("volume", "");
    const Descriptor file(::open(path.c_str(), O_RDWR | O_CLOEXEC));
    const std::uint64_t size = 1u << 20;
    ASSERT_EQ(::ftruncate(file.get(), size), 0);
    hfsplus::VolumeContents(folder / "in").write(file.get(), 0, size, {.name = "Demo"});

    const std::uint64_t large = 300u << 20; // a bitmap of three blocks
    ASSERT_EQ(::ftruncate(file.get(), large), 0);
    VolumeResize(file.get(), path, 0, size).resize(large);
    expectSound(path);

    VolumeResize again(file.get(), path, 0, large);
    const std::uint64_t least = again.minimumSize();
    EXPECT_LT(least, size);
    again.resize(least);
    ASSERT_EQ(::ftruncate(file.get(), static_cast<off_t>(least)), 0);
    expectSound(path);
    EXPECT_EQ(VolumeResize(file.get(), path, 0, least).minimumSize(), least);
}

TEST(VolumeResize, refusesWhatItDoesNotKnow) {
    const test::TemporaryFolder folder;
    const std::filesystem::path path = folder.write("volume", std::string(8192, '\0'));
    const Descriptor file(::open(path.c_str(), O_RDWR | O_CLOEXEC));
    EXPECT_THROW(VolumeResize(file.get(), path, 0, 8192), DiskImageError);
}

} // namespace
} // namespace halvo
