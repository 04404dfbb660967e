#include <HalvoDMG/AliasBuilder.h>

#include <Base/BinaryWriter.h>
#include <Base/Unicode.h>
#include <Platform/Files.h>

#include <algorithm>
#include <cstring>

namespace halvo {
namespace {

constexpr std::size_t volumeNameField = 28;
constexpr std::size_t fileNameField = 64;
constexpr std::size_t longestTag = 65535;
constexpr std::size_t recordSizeOffset = 4;
constexpr std::uint16_t aliasVersion = 2;
constexpr std::uint16_t fileKind = 0;
constexpr std::string_view hfsPlusSignature = "H+";
constexpr std::uint16_t noLevels = 0xFFFF;

enum Tag : std::uint16_t {
    unicodeFileNameTag = 14,
    unicodeVolumeNameTag = 15,
    pathInVolumeTag = 18,
    mountPointTag = 19,
    endTag = 0xFFFF,
};

[[noreturn]] void fail(std::string reason) {
    throw DMGCreationError(DMGCreationError::AliasBuildFailed{std::move(reason)});
}

/// A length byte, the text cut between characters, zeros up to the size of the field.
void writePascalString(BinaryWriter& writer, std::string_view text, std::size_t fieldSize) {
    text = text.substr(0, fieldSize - 1);
    while (!isValidUTF8(text))
        text.remove_suffix(1);
    const std::size_t end = writer.size() + fieldSize;
    writer.writeUInt8(static_cast<std::uint8_t>(text.size()));
    writer.writeText(text);
    writer.writePadding(end);
}

/// Every tag starts at an even offset.
void writeTag(BinaryWriter& writer, Tag tag, ByteView data) {
    data = data.first(std::min(data.size(), longestTag));
    writer.writeUInt16(tag);
    writer.writeUInt16(static_cast<std::uint16_t>(data.size()));
    writer.writeBytes(data);
    writer.writeZeros(data.size() % 2);
}

void writeUnicodeTag(BinaryWriter& writer, Tag tag, std::string_view text) {
    std::u16string units = encodeUTF16(text).value();
    units.resize(std::min(units.size(), (longestTag - sizeof(std::uint16_t)) / sizeof(char16_t)));
    BinaryWriter data;
    data.writeUInt16(static_cast<std::uint16_t>(units.size()));
    data.writeUTF16String(units);
    writeTag(writer, tag, data.bytes());
}

std::string withoutClosingSlashes(std::string path) {
    while (path.size() > 1 && path.back() == '/')
        path.pop_back();
    return path;
}

} // namespace

std::uint32_t hfsSeconds(Date date) {
    constexpr std::int64_t from1904To1970 = 2082844800;
    const std::int64_t seconds =
        std::chrono::floor<std::chrono::seconds>(date).time_since_epoch().count() + from1904To1970;
    return static_cast<std::uint32_t>(std::clamp<std::int64_t>(seconds, 0, UINT32_MAX));
}

Bytes CarbonAlias::encode() const {
    // File names need not be UTF-8 on every system, but an alias has no other form.
    const std::string volume = repairedUTF8(volumeName);
    const std::string file = repairedUTF8(fileName);
    BinaryWriter writer;
    writer.writeUInt32(0); // user type
    writer.writeUInt16(0); // record size, filled in below
    writer.writeUInt16(aliasVersion);
    writer.writeUInt16(fileKind);
    writePascalString(writer, volume, volumeNameField);
    writer.writeUInt32(hfsSeconds(volumeCreationDate));
    writer.writeText(hfsPlusSignature);
    writer.writeUInt16(0); // drive type: fixed
    writer.writeUInt32(parentID);
    writePascalString(writer, file, fileNameField);
    writer.writeUInt32(fileID);
    writer.writeUInt32(hfsSeconds(fileCreationDate));
    writer.writeUInt32(0); // file type
    writer.writeUInt32(0); // creator
    writer.writeUInt16(noLevels);
    writer.writeUInt16(noLevels);
    writer.writeUInt32(0); // volume attributes
    writer.writeUInt16(0); // volume file system
    writer.writeZeros(10); // reserved
    writeUnicodeTag(writer, unicodeFileNameTag, file);
    writeUnicodeTag(writer, unicodeVolumeNameTag, volume);
    writeTag(writer, pathInVolumeTag, viewBytes(pathInVolume));
    writeTag(writer, mountPointTag, viewBytes(mountPoint));
    writeTag(writer, endTag, {});

    Bytes record = writer.take();
    const std::size_t size = std::min<std::size_t>(record.size(), UINT16_MAX);
    record[recordSizeOffset] = static_cast<std::uint8_t>(size >> 8);
    record[recordSizeOffset + 1] = static_cast<std::uint8_t>(size);
    return record;
}

Bytes AliasBuilder::makeFileAlias(const std::filesystem::path& volumeMountPoint,
                                  const std::filesystem::path& targetPath) const {
    const std::string mount = withoutClosingSlashes(volumeMountPoint.string());
    const std::string target = withoutClosingSlashes(targetPath.string());
    if (!target.starts_with(mount + "/"))
        fail("target path " + target + " is outside mounted volume " + mount);
    const VolumeFacts::Info volume = volumes.info(mount);
    const std::filesystem::path file = target;
    CarbonAlias alias{.volumeName = volume.name,
                      .volumeCreationDate = volume.createDate,
                      .fileName = file.filename().string(),
                      .parentID = cnid(file.parent_path()),
                      .fileID = cnid(file),
                      .pathInVolume = target.substr(mount.size()),
                      .mountPoint = mount};
    alias.fileCreationDate = creationDate(file);
    return alias.encode();
}

std::uint32_t AliasBuilder::cnid(const std::filesystem::path& path) const {
    try {
        return static_cast<std::uint32_t>(volumes.fileID(path)); // the field has room for the low half
    } catch (const FileError& error) {
        fail("getattrlist(FILEID) on " + path.string() + ": " + std::strerror(error.code));
    }
}

Date AliasBuilder::creationDate(const std::filesystem::path& path) const {
    try {
        const std::optional<Date> date = volumes.creationDate(path);
        return date ? *date : clock.now();
    } catch (const FileError& error) {
        fail(error.description());
    }
}

} // namespace halvo
