// codesign: describes signatures. Signing needs the private keys of a macOS keychain.
#include <Toolbox/SignedObject.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr int failed = 1;
constexpr int usageError = 2;

bool asksForDescription(std::string_view option) {
    return option == "--display" || (option.size() > 1 && option[0] == '-' && option[1] == 'd');
}

int describePaths(const std::vector<std::string>& paths) {
    int status = 0;
    for (const std::string& path : paths) {
        try {
            const std::string text = halvo::describeSignedObject(halvo::readSignedObject(path));
            std::fputs(text.c_str(), stderr);
        } catch (const std::exception& error) {
            std::fprintf(stderr, "%s: %s\n", path.c_str(), error.what());
            status = failed;
        }
    }
    return status;
}

} // namespace

int main(int count, char** values) {
    const std::vector<std::string> arguments(values + 1, values + count);
    const bool describes = std::any_of(arguments.begin(), arguments.end(), asksForDescription);
    std::vector<std::string> paths;
    for (const std::string& argument : arguments)
        if (!argument.starts_with('-'))
            paths.push_back(argument);
    if (describes && !paths.empty())
        return describePaths(paths);
    if (!describes && !paths.empty()) {
        std::fprintf(stderr, "%s: signing needs the identities of a macOS keychain; sign on a Mac\n",
                     paths.back().c_str());
        return failed;
    }
    std::fputs("Usage: codesign -dvv path ...\n", stderr);
    return usageError;
}
