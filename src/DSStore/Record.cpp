#include <DSStore/Record.h>

#include "Fail.h"
#include "RecordPayloads.h"

#include <Base/BinaryReader.h>
#include <Base/BinaryWriter.h>

#include <fmt/format.h>

namespace halvo::dsstore {
namespace {

constexpr FourCC defaultBackgroundCode("DefB");
constexpr FourCC colorBackgroundCode("ClrB");
constexpr FourCC pictureBackgroundCode("PctB");

/// The bytes of a record of that type when there are at least `size`.
const Bytes* payload(const Record& record, RecordType type, std::size_t size) {
    const Bytes* bytes = record.type == type ? record.value.as<Bytes>() : nullptr;
    return bytes && bytes->size() >= size ? bytes : nullptr;
}

} // namespace

std::optional<IconPosition> Record::iconPosition() const {
    const Bytes* bytes = payload(*this, RecordType::iconLocation, 8);
    if (!bytes)
        return std::nullopt;
    BinaryReader reader(*bytes);
    const std::uint32_t x = reader.readUInt32();
    return IconPosition{.x = x, .y = reader.readUInt32()};
}

std::optional<WindowBounds> Record::windowBounds() const {
    const Bytes* bytes = payload(*this, RecordType::finderWindowInfo, 12);
    if (!bytes)
        return std::nullopt;
    BinaryReader reader(*bytes);
    WindowBounds bounds;
    for (std::int64_t* side : {&bounds.top, &bounds.left, &bounds.bottom, &bounds.right})
        *side = reader.readUInt16();
    bounds.viewStyle = FourCC(reader.readUInt32());
    return bounds;
}

std::optional<BackgroundType> Record::backgroundType() const {
    const Bytes* bytes = payload(*this, RecordType::background, 4);
    if (!bytes)
        return std::nullopt;
    BinaryReader reader(*bytes);
    const FourCC kind(reader.readUInt32());
    if (kind == defaultBackgroundCode)
        return DefaultBackground{};
    if (kind == pictureBackgroundCode)
        return PictureBackground{};
    if (kind != colorBackgroundCode || reader.remaining() < 6)
        return std::nullopt;
    ColorBackground color;
    for (std::uint16_t* part : {&color.red, &color.green, &color.blue})
        *part = reader.readUInt16();
    return color;
}

std::string Record::description() const {
    return fmt::format("DSStore.Record(filename: \"{}\", type: {})", filename, type.displayName());
}

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
