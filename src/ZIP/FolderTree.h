#pragma once

#include <cstdint>
#include <filesystem>
#include <stop_token>
#include <string>
#include <vector>

struct stat;

namespace halvo::zip {

/// What tells a file from any other, and one state of it from a later one.
struct FileIdentity {
    std::uint64_t device = 0;
    std::uint64_t number = 0;
    std::uint64_t size = 0;
    std::int64_t modifiedSeconds = 0;
    std::int64_t modifiedNanoseconds = 0;
    bool operator==(const FileIdentity&) const = default;
};

FileIdentity identityOf(const struct stat& status);

/// One file, folder or link below a folder that is to be packed.
struct TreeEntry {
    enum class Kind { file, folder, link };
    Kind kind = Kind::file;
    std::string name{};           ///< from the top folder's name on, bytes as on disk; folders end in a slash
    std::filesystem::path path{}; ///< on disk
    FileIdentity identity{};
    unsigned permissions = 0; ///< the nine bits
    std::string target{};     ///< of a link
};

/// The folder and everything below it, sorted by the bytes of the names. Links are not followed. Throws
/// ZIPError, FileError or CancelledError.
std::vector<TreeEntry> listTree(const std::filesystem::path& folder, const std::stop_token& cancellation);

} // namespace halvo::zip
