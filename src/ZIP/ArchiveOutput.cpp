#include "ArchiveOutput.h"

#include <Base/UUID.h>
#include <Platform/Files.h>

#include <algorithm>
#include <cerrno>

#include <fcntl.h>

namespace halvo::zip {
namespace {

constexpr std::size_t bufferSize = std::size_t{1} << 20;

} // namespace

ArchiveOutput::ArchiveOutput(std::filesystem::path path)
    : destination(std::move(path)),
      temporary(destination.parent_path() /
                ("." + destination.filename().string() + "." + UUID::random().string())),
      file(::open(temporary.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0644)) {
    if (!file.isOpen())
        throw FileError("write", destination, errno);
    buffer.reserve(bufferSize);
}

ArchiveOutput::~ArchiveOutput() {
    if (!temporary.empty())
        removeQuietly(temporary);
}

void ArchiveOutput::append(ByteView bytes) {
    if (buffer.size() + bytes.size() > bufferSize)
        flush();
    if (bytes.size() >= bufferSize) {
        writeAt(flushed, bytes);
        flushed += bytes.size();
    } else {
        buffer.insert(buffer.end(), bytes.begin(), bytes.end());
    }
}

void ArchiveOutput::rewrite(std::uint64_t offset, ByteView bytes) {
    if (offset < flushed) {
        flush();
        writeAt(offset, bytes);
    } else {
        std::ranges::copy(bytes, buffer.begin() + static_cast<std::ptrdiff_t>(offset - flushed));
    }
}

void ArchiveOutput::goBack(std::uint64_t offset) {
    flush();
    if (::ftruncate(file.get(), static_cast<off_t>(offset)) != 0)
        throw FileError("write", destination, errno);
    flushed = offset;
}

void ArchiveOutput::flush() {
    writeAt(flushed, buffer);
    flushed += buffer.size();
    buffer.clear();
}

void ArchiveOutput::writeAt(std::uint64_t offset, ByteView bytes) {
    while (!bytes.empty()) {
        const ssize_t written = ::pwrite(file.get(), bytes.data(), bytes.size(), static_cast<off_t>(offset));
        if (written < 0 && errno == EINTR)
            continue;
        if (written < 0)
            throw FileError("write", destination, errno);
        bytes = bytes.subspan(static_cast<std::size_t>(written));
        offset += static_cast<std::uint64_t>(written);
    }
}

void ArchiveOutput::finish() {
    flush();
    if (::fsync(file.get()) != 0 || !file.close() || ::rename(temporary.c_str(), destination.c_str()) != 0)
        throw FileError("write", destination, errno);
    temporary.clear();
}

} // namespace halvo::zip
