#pragma once

#include <functional>

#include <sys/types.h>

namespace halvo::test {

/// A copy of the test process that runs one function and exits with what it gives, 99 after an exception.
class ChildProcess {
public:
    using Body = std::function<int()>;
    explicit ChildProcess(const Body& body);
    /// The same without root's powers, so that file permissions hold.
    static ChildProcess ofOrdinaryUser(const Body& body);

    ChildProcess(ChildProcess&& other) noexcept;
    ChildProcess& operator=(ChildProcess&&) = delete;
    ChildProcess(const ChildProcess&) = delete;
    ~ChildProcess();

    /// The exit status; -1 when the child died of a signal.
    int wait();

private:
    pid_t process;
};

} // namespace halvo::test
