#include <DSStore/Record.h>

#include "RecordPayloads.h"

#include <Base/BinaryReader.h>

#include <fmt/format.h>

namespace halvo::dsstore {
namespace {

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

} // namespace halvo::dsstore
