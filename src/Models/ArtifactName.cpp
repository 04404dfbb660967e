#include <Models/ArtifactName.h>

#include <Base/Unicode.h>

namespace halvo {

std::string artifactName(std::string_view name) {
    std::string safe = composed(name);
    for (char& character : safe)
        if (character == '/' || static_cast<unsigned char>(character) < 0x20 || character == 0x7F)
            character = '-';
    safe.erase(0, safe.find_first_not_of('.'));
    return safe.empty() ? "App" : safe;
}

} // namespace halvo
