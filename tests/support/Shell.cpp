#include <Support/Shell.h>

#include <Base/Text.h>

#include <fstream>
#include <sstream>
#include <thread>

namespace halvo::test {
namespace {

template<typename Condition>
bool becomesTrue(std::chrono::milliseconds limit, Condition condition) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

std::string contentOf(const std::string& path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

} // namespace

ProcessRequest shell(std::string script, Arguments arguments) {
    arguments.insert(arguments.begin(), {"-c", std::move(script), "sh"});
    return {.executable = "/bin/sh", .arguments = std::move(arguments)};
}

bool isAlive(pid_t process) {
    const std::string status = contentOf("/proc/" + std::to_string(process) + "/stat");
    const std::size_t name = status.rfind(')');
    return name != std::string::npos && status.substr(name, 4).find('Z') == std::string::npos;
}

bool vanishes(pid_t process, std::chrono::milliseconds limit) {
    return becomesTrue(limit, [&] { return !isAlive(process); });
}

std::string awaitText(const std::string& path, std::chrono::milliseconds limit) {
    std::string text;
    becomesTrue(limit, [&] {
        text = contentOf(path);
        return text.ends_with('\n');
    });
    return std::string(trimmed(text));
}

} // namespace halvo::test
