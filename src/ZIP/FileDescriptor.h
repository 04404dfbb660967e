#pragma once

#include <utility>

#include <unistd.h>

namespace halvo::zip {

/// Closes a file descriptor when it goes.
class FileDescriptor {
public:
    explicit FileDescriptor(int opened) : number(opened) {}
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    ~FileDescriptor() {
        if (number >= 0)
            ::close(number);
    }
    int get() const { return number; }
    bool isOpen() const { return number >= 0; }
    /// Closes now and says whether that worked: some file systems report a failed write only here.
    bool close() { return ::close(std::exchange(number, -1)) == 0; }

private:
    int number;
};

} // namespace halvo::zip
