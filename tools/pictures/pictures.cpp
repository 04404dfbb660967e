// pictures FOLDER: writes the generated background of a disk image and the blueprint as the program draws
// them.
#include <HalvoDMG/DMGBackgroundImage.h>
#include <HalvoDMG/DMGBackgroundTemplate.h>
#include <Platform/Files.h>

#include <cstdio>

int main(int count, char** arguments) {
    using namespace halvo;
    if (count != 2) {
        std::fputs("Usage: pictures FOLDER\n", stderr);
        return 64;
    }
    try {
        const std::filesystem::path folder = arguments[1];
        const auto images = makeSystemImageServices();
        const URL background = DMGBackgroundImage(*images, folder).create(600, 400, "Demo", true);
        std::filesystem::rename(background.filePath(), folder / "dmg-background.png");
        writeFileAtomically(folder / "dmg-template.png", DMGBackgroundTemplate(*images).create({}));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", describe(error).c_str());
        return 1;
    }
}
