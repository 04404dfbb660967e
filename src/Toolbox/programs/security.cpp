// security: opens signed messages (`cms -D`) and lists identities, of which this system has none.
#include <Platform/Files.h>
#include <Toolbox/SignedMessage.h>

#include <cstdio>
#include <optional>
#include <string>
#include <vector>

namespace {

constexpr int failed = 1;
constexpr int usageError = 2;

int decode(const std::string& path) {
    try {
        const std::optional<halvo::Bytes> content = halvo::signedContent(halvo::readFile(path));
        if (!content) {
            std::fprintf(stderr, "security: failed to decode message: %s holds no signed data\n",
                         path.c_str());
            return failed;
        }
        const bool written = std::fwrite(content->data(), 1, content->size(), stdout) == content->size() &&
                             std::fflush(stdout) == 0;
        return written ? 0 : failed;
    } catch (const halvo::Failure& failure) {
        std::fprintf(stderr, "security: failed to decode message: %s\n", failure.description().c_str());
        return failed;
    }
}

} // namespace

int main(int count, char** values) {
    const std::vector<std::string> arguments(values + 1, values + count);
    if (!arguments.empty() && arguments[0] == "find-identity") {
        std::puts("     0 valid identities found");
        return 0;
    }
    if (arguments.size() == 4 && arguments[0] == "cms" && arguments[1] == "-D" && arguments[2] == "-i")
        return decode(arguments[3]);
    std::fputs("Usage: security cms -D -i file | find-identity\n", stderr);
    return usageError;
}
