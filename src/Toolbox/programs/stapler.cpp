// stapler: tells whether a ticket is stapled. Tickets themselves come from Apple's servers to Macs only.
#include <Toolbox/SignedObject.h>

#include <cstdio>
#include <string>
#include <vector>

namespace {

constexpr int noTicket = 65;
constexpr int usageError = 64;

int validate(const std::string& path) {
    std::printf("Processing: %s\n", path.c_str());
    try {
        if (halvo::hasStapledTicket(path)) {
            std::puts("The validate action worked!");
            return 0;
        }
        std::printf("%s does not have a ticket stapled to it.\n", path.c_str());
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s: %s\n", path.c_str(), error.what());
    }
    return noTicket;
}

} // namespace

int main(int count, char** values) {
    const std::vector<std::string> arguments(values + 1, values + count);
    if (arguments.size() == 2 && arguments[0] == "validate")
        return validate(arguments[1]);
    if (arguments.size() == 2 && arguments[0] == "staple") {
        std::fprintf(stderr, "%s: stapling needs the ticket service of macOS; staple on a Mac\n",
                     arguments[1].c_str());
        return noTicket;
    }
    std::fputs("Usage: stapler validate|staple path\n", stderr);
    return usageError;
}
