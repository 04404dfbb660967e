// pictures FOLDER: writes the generated background of a disk image and the blueprint as the program draws
// them.
#include <HalvoDMG/Background.h>
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
        writeFileAtomically(folder / "dmg-background.png",
                            generatedBackground({600, 400}, "Demo", true, *images).picture);
        writeFileAtomically(folder / "dmg-template.png", drawBackgroundTemplate({}, *images));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", describe(error).c_str());
        return 1;
    }
}
