#pragma once

#include <Base/BinaryWriter.h>
#include <ImageFormats/PNGPicture.h>

#include <string_view>
#include <vector>

namespace halvo {

/// A picture of one colour.
inline Picture solidPicture(unsigned width, unsigned height, std::array<std::uint8_t, 4> rgba) {
    Picture picture{.width = width, .height = height};
    for (unsigned index = 0; index < width * height; ++index)
        picture.pixels.insert(picture.pixels.end(), rgba.begin(), rgba.end());
    return picture;
}

inline Bytes solidPNG(unsigned side, std::array<std::uint8_t, 4> rgba) {
    return encodePNG(solidPicture(side, side, rgba));
}

struct IconElement {
    std::string_view type;
    Bytes data;
};

inline Bytes buildIcon(const std::vector<IconElement>& elements) {
    BinaryWriter body;
    for (const IconElement& element : elements) {
        body.writeText(element.type);
        body.writeUInt32(static_cast<std::uint32_t>(element.data.size() + 8));
        body.writeBytes(element.data);
    }
    BinaryWriter file;
    file.writeText("icns");
    file.writeUInt32(static_cast<std::uint32_t>(body.size() + 8));
    file.writeBytes(body.bytes());
    return file.take();
}

/// A plane of one value as runs of up to 130.
inline void appendRuns(Bytes& packed, std::size_t size, std::uint8_t value) {
    while (size >= 3) {
        std::size_t count = std::min<std::size_t>(size, 130);
        if (size - count == 1 || size - count == 2)
            count -= 3;
        packed.push_back(static_cast<std::uint8_t>(count + 125));
        packed.push_back(value);
        size -= count;
    }
}

} // namespace halvo
