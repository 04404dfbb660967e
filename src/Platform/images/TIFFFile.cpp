#include "TIFFFile.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>

#include <tiffio.h>

namespace halvo {
namespace {

/// A file in memory for libtiff. What `changes` holds is written to; without it, every write is refused.
struct Memory {
    ByteView bytes{};
    Bytes* changes = nullptr;
    std::uint64_t position = 0;
};

Memory& memory(thandle_t handle) { return *static_cast<Memory*>(handle); }

tmsize_t readMemory(thandle_t handle, void* target, tmsize_t size) {
    Memory& file = memory(handle);
    if (size <= 0 || file.position >= file.bytes.size())
        return 0;
    const std::size_t count = std::min<std::size_t>(size, file.bytes.size() - file.position);
    std::memcpy(target, file.bytes.data() + file.position, count);
    file.position += count;
    return static_cast<tmsize_t>(count);
}

tmsize_t writeMemory(thandle_t handle, void* source, tmsize_t size) {
    Memory& file = memory(handle);
    // libtiff writes the values of a new directory first, and leaves room for the directory before them.
    constexpr std::uint64_t largestDirectory = 0xFFFF * 20 + 16;
    if (file.changes == nullptr || size <= 0 || file.position > file.changes->size() + largestDirectory)
        return 0;
    const std::uint64_t end = file.position + static_cast<std::uint64_t>(size);
    if (end > file.changes->size())
        file.changes->resize(end);
    std::memcpy(file.changes->data() + file.position, source, static_cast<std::size_t>(size));
    file.bytes = *file.changes;
    file.position = end;
    return size;
}

toff_t seekMemory(thandle_t handle, toff_t offset, int origin) {
    Memory& file = memory(handle);
    switch (origin) {
    case SEEK_SET: file.position = offset; break;
    case SEEK_CUR: file.position += offset; break;
    case SEEK_END: file.position = file.bytes.size() + offset; break;
    default: return static_cast<toff_t>(-1);
    }
    return file.position;
}

int closeMemory(thandle_t) { return 0; }
toff_t sizeOfMemory(thandle_t handle) { return memory(handle).bytes.size(); }

using TIFFHandle = std::unique_ptr<TIFF, void (*)(TIFF*)>;

TIFFHandle open(Memory& file, const char* mode) {
    TIFFSetErrorHandler(nullptr); // or it prints what it dislikes to standard error
    TIFFSetWarningHandler(nullptr);
    return {TIFFClientOpen("", mode, &file, readMemory, writeMemory, seekMemory, closeMemory, sizeOfMemory,
                           nullptr, nullptr),
            TIFFClose};
}

double density(TIFF* tiff, std::uint32_t tag) {
    constexpr double centimetresPerInch = 2.54;
    float value = 0;
    std::uint16_t unit = 0;
    if (TIFFGetField(tiff, tag, &value) == 0 ||
        TIFFGetFieldDefaulted(tiff, TIFFTAG_RESOLUTIONUNIT, &unit) == 0)
        return 0;
    return unit == RESUNIT_INCH ? value : unit == RESUNIT_CENTIMETER ? value * centimetresPerInch : 0;
}

} // namespace

std::optional<ImageProperties> readTIFFProperties(ByteView tiff) {
    Memory file{.bytes = tiff};
    const TIFFHandle handle = open(file, "rD"); // D: the tables of strips, which may be large, are not read
    ImageProperties properties{.type = ImageProperties::Type::tiff};
    if (!handle || TIFFGetField(handle.get(), TIFFTAG_IMAGEWIDTH, &properties.pixelWidth) == 0 ||
        TIFFGetField(handle.get(), TIFFTAG_IMAGELENGTH, &properties.pixelHeight) == 0)
        return std::nullopt;
    properties.density = {density(handle.get(), TIFFTAG_XRESOLUTION),
                          density(handle.get(), TIFFTAG_YRESOLUTION)};
    return properties;
}

std::optional<Bytes> withTIFFDensity(ByteView tiff, PixelDensity density) {
    Bytes output(tiff.begin(), tiff.end());
    Memory file{.bytes = output, .changes = &output};
    TIFFHandle handle = open(file, "r+");
    if (!handle || TIFFSetField(handle.get(), TIFFTAG_XRESOLUTION, density.x) == 0 ||
        TIFFSetField(handle.get(), TIFFTAG_YRESOLUTION, density.y) == 0 ||
        TIFFSetField(handle.get(), TIFFTAG_RESOLUTIONUNIT, RESUNIT_INCH) == 0 ||
        TIFFRewriteDirectory(handle.get()) == 0)
        return std::nullopt;
    handle.reset();
    return output;
}

} // namespace halvo
