#pragma once

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

#include <sys/types.h>

namespace halvo::test {

/// A server program that runs as long as this object does. It gets no input; what it says on standard error
/// stays visible.
class ServerProcess {
public:
    /// Starts `arguments` (the first names the executable, looked up in PATH) and waits for a line of its
    /// standard output that begins with `readyPrefix`. Throws std::runtime_error when it ends or stays
    /// silent.
    ServerProcess(const std::vector<std::string>& arguments, std::string_view readyPrefix,
                  std::chrono::seconds patience = std::chrono::seconds(60));
    ServerProcess(const ServerProcess&) = delete;
    ServerProcess& operator=(const ServerProcess&) = delete;
    /// Asks it to end (SIGTERM), insists after five seconds, and waits until it has.
    ~ServerProcess();

    /// The rest of the line that said it is ready.
    const std::string& announcement() const { return announced; }
    pid_t processID() const { return child; }

private:
    void end() noexcept;

    pid_t child = -1;
    int output = -1; ///< kept open, so that the server can go on writing
    std::string announced;
};

} // namespace halvo::test
