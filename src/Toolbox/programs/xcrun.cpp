// xcrun: starts the tool of that name beside itself.
#include <Platform/LoadedModule.h>

#include <cstdio>
#include <filesystem>
#include <string_view>

#include <unistd.h>

namespace {

constexpr int usageError = 64;
constexpr int noTool = 72;

} // namespace

int main(int count, char** values) {
    if (count < 2 || values[1][0] == '-') {
        std::fputs("Usage: xcrun tool [argument ...]\n", stderr);
        return usageError;
    }
    const std::string_view name = values[1];
    if (name.find('/') == std::string_view::npos) {
        const std::filesystem::path tool = halvo::executablePath().parent_path() / name;
        ::execv(tool.c_str(), values + 1);
    }
    std::fprintf(stderr, "xcrun: error: unable to find utility \"%s\", not a developer tool or in PATH\n",
                 values[1]);
    return noTool;
}
