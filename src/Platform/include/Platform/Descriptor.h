#pragma once

#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace halvo {

/// Closes a file descriptor when it goes.
class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int opened) : number(opened) {}
    Descriptor(Descriptor&& other) noexcept : number(std::exchange(other.number, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(number, other.number);
        return *this;
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() { close(); }

    int get() const { return number; }
    bool isOpen() const { return number >= 0; }
    /// Closes now and says whether that worked: some file systems report a failed write only here.
    bool close() {
        const int closing = std::exchange(number, -1);
        return closing < 0 || ::close(closing) == 0;
    }

private:
    int number = -1;
};

/// For `main`: a stream that the process was started without must not become the number of a file that it
/// opens. What is written to such a standard output fails, as it should; a standard error may be missed.
inline void occupyStandardStreams() {
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        if (::fcntl(stream, F_GETFD) < 0) // the lowest free number is given out
            static_cast<void>(::open("/dev/null", stream == STDERR_FILENO ? O_WRONLY : O_RDONLY));
}

} // namespace halvo
