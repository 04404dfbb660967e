// SetFile -a C: marks the volume of an attached disk image as one with an icon of its own (.VolumeIcon.icns).
#include <Base/Failure.h>
#include <Platform/AttachedVolumes.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

namespace {

constexpr int usageError = 1;
constexpr int failed = 2;

int setCustomIcon(const std::string& path) {
    const auto volumes = halvo::AttachedVolumes::ofUser(halvo::Environment::ofProcess());
    const auto volume = volumes.find(path);
    if (!volume || volume->mountPoint != std::filesystem::weakly_canonical(path) || !volume->isWritable) {
        std::fprintf(stderr, "ERROR: %s is not the folder of a disk image that is attached for writing.\n",
                     path.c_str());
        return failed;
    }
    volumes.change(volume->device, [](halvo::AttachedVolume& record) { record.hasCustomIcon = true; });
    return 0;
}

} // namespace

int main(int count, char** values) {
    const std::vector<std::string> arguments(values + 1, values + count);
    if (arguments.size() != 3 || arguments[0] != "-a" || arguments[1] != "C") {
        std::fputs(
            "Usage: SetFile -a C mount-point\n"
            "Here it only sets the custom icon flag of an attached disk image; every other attribute needs "
            "a Mac.\n",
            stderr);
        return usageError;
    }
    try {
        return setCustomIcon(arguments[2]);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "ERROR: %s\n", halvo::describe(error).c_str());
        return failed;
    }
}
