#include <Support/ChildProcess.h>

#include <exception>
#include <iostream>
#include <utility>

#include <sys/wait.h>
#include <unistd.h>

namespace halvo::test {

ChildProcess::ChildProcess(const Body& body) : process(::fork()) {
    if (process != 0)
        return;
    int status = 99;
    try {
        status = body();
    } catch (const std::exception& error) {
        std::cerr << "child: " << error.what() << std::endl;
    }
    ::_exit(status);
}

ChildProcess ChildProcess::ofOrdinaryUser(const Body& body) {
    return ChildProcess([&] {
        constexpr uid_t nobody = 65534;
        if (::getuid() == 0 && ::setuid(nobody) != 0)
            return 98;
        return body();
    });
}

ChildProcess::ChildProcess(ChildProcess&& other) noexcept : process(std::exchange(other.process, -1)) {}

ChildProcess::~ChildProcess() { wait(); }

int ChildProcess::wait() {
    int status = 0;
    if (process <= 0 || ::waitpid(std::exchange(process, -1), &status, 0) < 0 || !WIFEXITED(status))
        return -1;
    return WEXITSTATUS(status);
}

} // namespace halvo::test
