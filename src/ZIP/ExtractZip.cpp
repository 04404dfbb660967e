#include <ZIP/ExtractZip.h>

#include "ArchiveIndex.h"
#include "EntryReader.h"
#include "LinkChecker.h"
#include <Platform/Descriptor.h>

#include <Base/Text.h>
#include <Platform/Files.h>

#include <cerrno>
#include <set>

#include <fcntl.h>
#include <sys/stat.h>

namespace halvo {
namespace {

using namespace zip;
namespace fs = std::filesystem;

/// The longest that systems follow.
constexpr std::uint64_t longestTarget = 4096;

LinkTargets readTargets(ByteView archive, const std::vector<ArchiveEntry>& entries,
                        const std::stop_token& cancellation) {
    LinkTargets targets;
    for (const ArchiveEntry& entry : entries) {
        if (entry.kind != ArchiveEntry::Kind::link)
            continue;
        if (entry.size > longestTarget)
            throw ZIPError(ZIPError::UnsafeLink{entry.path, "(a target that is too long)"});
        std::string& target = targets[entry.path];
        readEntry(archive, entry, cancellation, [&target](ByteView piece) { target += viewText(piece); });
    }
    for (const auto& [path, target] : targets) {
        if (cancellation.stop_requested())
            throw CancelledError();
        requireLinkInside(targets, path);
    }
    return targets;
}

void requireWithinLimits(const std::vector<ArchiveEntry>& entries, const ExtractionLimits& limits,
                         std::uint64_t archiveSize) {
    std::uint64_t total = 0;
    for (const ArchiveEntry& entry : entries) {
        if (entry.size > limits.totalSize - total)
            throw ZIPError(
                ZIPError::TooLarge{"it unpacks to more than " + formatByteCount(limits.totalSize)});
        total += entry.size;
    }
    if (total > limits.unsuspiciousSize && total / limits.expansion > archiveSize)
        throw ZIPError(ZIPError::TooLarge{"it unpacks to " + formatByteCount(total) + ", more than " +
                                          std::to_string(limits.expansion) + " times its size"});
}

/// Makes files, folders and links below one folder, which nobody else writes to meanwhile.
class Unpacker {
public:
    Unpacker(const fs::path& folder, ByteView archive, const std::stop_token& cancellation)
        : root(folder), archive(archive), cancellation(cancellation) {}

    void makeFolder(const ArchiveEntry& entry) {
        makeFolders(entry.path);
        const unsigned permissions = entry.permissions == 0 ? 0755 : (entry.permissions & 0755) | 0700;
        if (::chmod((root / entry.path).c_str(), permissions) != 0)
            throw FileError("create", root / entry.path, errno);
    }

    void makeFile(const ArchiveEntry& entry) {
        makeFolders(parentOf(entry.path));
        const fs::path path = root / entry.path;
        Descriptor file(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
        if (!file.isOpen())
            throw FileError("create", path, errno);
        readEntry(archive, entry, cancellation, [&](ByteView piece) { writeAll(file, piece, path); });
        const unsigned permissions = entry.permissions == 0 ? 0644 : (entry.permissions & 0755) | 0600;
        if (::fchmod(file.get(), permissions) != 0 || !file.close())
            throw FileError("write", path, errno);
    }

    void makeLink(const std::string& entryPath, const std::string& target) {
        makeFolders(parentOf(entryPath));
        const fs::path path = root / entryPath;
        if (::symlink(target.c_str(), path.c_str()) != 0)
            throw FileError("create", path, errno);
    }

private:
    static std::string parentOf(const std::string& path) {
        const std::size_t slash = path.rfind('/');
        return slash == std::string::npos ? "" : path.substr(0, slash);
    }

    void makeFolders(const std::string& path) {
        if (path.empty() || made.contains(path))
            return;
        makeFolders(parentOf(path)); // no deeper than a path has slashes
        if (::mkdir((root / path).c_str(), 0755) != 0)
            throw FileError("create", root / path, errno);
        made.insert(path);
    }

    static void writeAll(const Descriptor& file, ByteView bytes, const fs::path& path) {
        while (!bytes.empty()) {
            const ssize_t written = ::write(file.get(), bytes.data(), bytes.size());
            if (written < 0 && errno == EINTR)
                continue;
            if (written < 0)
                throw FileError("write", path, errno);
            bytes = bytes.subspan(static_cast<std::size_t>(written));
        }
    }

    const fs::path& root;
    ByteView archive;
    const std::stop_token& cancellation;
    std::set<std::string> made; ///< folders
};

void requireEmptyFolder(const fs::path& folder) {
    std::error_code failed;
    const bool isEmpty = fs::directory_iterator(folder, failed) == fs::directory_iterator();
    if (failed)
        throw FileError("open", folder, failed.value());
    if (!isEmpty)
        throw FileError("unpack into", folder, ENOTEMPTY);
}

void removeContent(const fs::path& folder) noexcept {
    std::error_code failed;
    for (fs::directory_iterator items(folder, failed); !failed && items != fs::directory_iterator();
         items.increment(failed))
        removeQuietly(items->path());
}

} // namespace

void extractZip(const fs::path& archivePath, const fs::path& folder, const ExtractionOptions& options) {
    requireEmptyFolder(folder);
    const MappedFile file(archivePath);
    const ByteView archive = file.bytes();
    std::vector<ArchiveEntry> entries = readIndex(archive, options.limits.entries, archivePath.string());
    const LinkTargets targets = readTargets(archive, entries, options.cancellation);
    if (options.wanted)
        std::erase_if(entries, [&](const ArchiveEntry& entry) { return !options.wanted(entry.path); });
    requireWithinLimits(entries, options.limits, archive.size());
    try {
        Unpacker unpacker(folder, archive, options.cancellation);
        for (const ArchiveEntry& entry : entries) {
            if (options.cancellation.stop_requested())
                throw CancelledError();
            if (entry.kind == ArchiveEntry::Kind::folder)
                unpacker.makeFolder(entry);
            else if (entry.kind == ArchiveEntry::Kind::file)
                unpacker.makeFile(entry);
        }
        // Links come last, so that nothing is ever written through one.
        for (const ArchiveEntry& entry : entries)
            if (entry.kind == ArchiveEntry::Kind::link)
                unpacker.makeLink(entry.path, targets.at(entry.path));
    } catch (...) {
        removeContent(folder);
        throw;
    }
}

} // namespace halvo
