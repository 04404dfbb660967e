#include "FolderState.h"

#include <Base/BinaryWriter.h>
#include <Base/Bytes.h>
#include <Platform/Files.h>

#include <array>
#include <cerrno>

#include <openssl/sha.h>
#include <sys/stat.h>

namespace halvo {
namespace {

namespace fs = std::filesystem;

void add(const fs::path& path, std::string relative, FolderState& state, BinaryWriter& facts) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0)
        throw FileError("read", path, errno);
    facts.writeText(relative);
    facts.writeUInt8(0);
    for (const auto value : {std::uint64_t{status.st_ino}, std::uint64_t{status.st_mode},
                             static_cast<std::uint64_t>(S_ISDIR(status.st_mode) ? 0 : status.st_size),
                             static_cast<std::uint64_t>(status.st_mtim.tv_sec),
                             static_cast<std::uint64_t>(status.st_mtim.tv_nsec)})
        facts.writeUInt64(value);
    state.inodes.emplace(std::move(relative), status.st_ino);
}

} // namespace

FolderState readFolderState(const fs::path& folder) {
    std::map<std::string, fs::path> items{{"", folder}};
    const std::size_t prefix = folder.string().size() + 1;
    try {
        for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder))
            items.emplace(entry.path().string().substr(prefix), entry.path());
    } catch (const fs::filesystem_error& error) {
        throw FileError("read", error.path1(), error.code().value());
    }
    FolderState state;
    BinaryWriter facts;
    for (const auto& [relative, path] : items)
        add(path, relative, state, facts);
    std::array<std::uint8_t, SHA256_DIGEST_LENGTH> digest{};
    SHA256(facts.bytes().data(), facts.size(), digest.data());
    state.fingerprint = toHex(digest);
    return state;
}

std::map<std::uint64_t, std::uint32_t> idsByInode(const FolderState& state, const hfsplus::CatalogIDs& ids) {
    std::map<std::uint64_t, std::uint32_t> result;
    for (const auto& [path, inode] : state.inodes)
        if (const auto id = ids.find(path); id != ids.end())
            result.emplace(inode, id->second);
    return result;
}

hfsplus::CatalogIDs idsByPath(const FolderState& state, const std::map<std::uint64_t, std::uint32_t>& ids) {
    hfsplus::CatalogIDs result;
    for (const auto& [path, inode] : state.inodes)
        if (const auto id = ids.find(inode); id != ids.end())
            result.emplace(path, id->second);
    return result;
}

} // namespace halvo
