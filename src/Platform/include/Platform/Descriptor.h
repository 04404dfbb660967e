#pragma once

#include <utility>

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

} // namespace halvo
