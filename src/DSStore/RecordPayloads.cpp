#include "RecordPayloads.h"

#include "Fail.h"

#include <Base/BinaryWriter.h>

namespace halvo::dsstore {

Bytes iconLocationPayload(const IconPosition& position, const std::string& filename) {
    BinaryWriter writer;
    for (const std::int64_t coordinate : {position.x, position.y}) {
        if (coordinate < 0 || coordinate > UINT32_MAX)
            failWriting("Icon position values are outside the supported range for " + filename);
        writer.writeUInt32(static_cast<std::uint32_t>(coordinate));
    }
    writer.writeUInt32(0xFFFFFFFF);
    writer.writeUInt32(0xFFFF0000);
    return writer.take();
}

Bytes windowInfoPayload(const WindowBounds& bounds) {
    BinaryWriter writer;
    for (const std::int64_t side : {bounds.top, bounds.left, bounds.bottom, bounds.right}) {
        if (side < 0 || side > UINT16_MAX)
            failWriting("Window bounds values are outside the supported range");
        writer.writeUInt16(static_cast<std::uint16_t>(side));
    }
    writer.writeUInt32(bounds.viewStyle.value_or(fourCC(ViewStyle::icon)).rawValue);
    writer.writeZeros(4);
    return writer.take();
}

Bytes backgroundPayload(const BackgroundType& background) {
    BinaryWriter writer;
    if (const ColorBackground* color = std::get_if<ColorBackground>(&background)) {
        writer.writeUInt32(colorBackgroundCode.rawValue);
        for (const std::uint16_t part : {color->red, color->green, color->blue})
            writer.writeUInt16(part);
    } else {
        const bool picture = std::holds_alternative<PictureBackground>(background);
        writer.writeUInt32((picture ? pictureBackgroundCode : defaultBackgroundCode).rawValue);
    }
    writer.writePadding(12);
    return writer.take();
}

Bytes pictureBackgroundPayload(std::uint32_t aliasLength) {
    BinaryWriter writer;
    writer.writeUInt32(pictureBackgroundCode.rawValue);
    writer.writeUInt32(aliasLength);
    writer.writePadding(12);
    return writer.take();
}

} // namespace halvo::dsstore
