#pragma once

#include <Base/Failure.h>

#include <string>
#include <variant>

namespace halvo {

/// A ZIP archive that cannot be read, or a folder that cannot be packed. What the system refused (no space,
/// no permission) is a FileError instead.
struct ZIPErrorCases {
    /// A name from an archive in quotes. It may hold anything, and a terminal should not obey it.
    static std::string quoted(const std::string& name);
    static std::string archiveOr(const std::string& entry) {
        return entry.empty() ? "The ZIP archive" : "The entry " + quoted(entry);
    }

    /// The file does not end like a ZIP archive; a download that was cut short looks like that.
    struct NotAnArchive {
        std::string path{};
        std::string description() const {
            return quoted(path) + " is not a ZIP archive, or its end is missing. Get or make it again.";
        }
    };
    /// The bytes contradict themselves; `entry` is empty when the archive's own records do.
    struct Damaged {
        std::string entry{};
        std::string reason{};
        std::string description() const {
            return archiveOr(entry) + " is damaged: " + reason + ". Get or make the archive again.";
        }
    };
    struct Encrypted {
        std::string entry{};
        std::string description() const {
            return archiveOr(entry) + " is encrypted. Make the archive without a password.";
        }
    };
    /// Something that the format allows and this reader does not, such as a rare compression method.
    struct Unsupported {
        std::string entry{};
        std::string feature{};
        std::string description() const {
            return archiveOr(entry) + " uses " + feature +
                   ", which cannot be read. Make the archive with deflate compression.";
        }
    };
    struct TooLarge {
        std::string entry{};
        std::string limit{}; ///< "256 MB"
        std::string description() const {
            return archiveOr(entry) + " is larger than the " + limit + " that are read of an archive.";
        }
    };
    struct NotAFolder {
        std::string path{};
        std::string description() const { return quoted(path) + " is not a folder."; }
    };
    struct NameTooLong {
        std::string entry{};
        std::string description() const {
            return "The name " + quoted(entry) + " is too long for a ZIP archive.";
        }
    };
    /// A socket, a pipe or a device inside a folder that should be packed.
    struct SpecialFile {
        std::string path{};
        std::string description() const {
            return quoted(path) + " is a socket, a pipe or a device and cannot be packed. Remove it.";
        }
    };
    /// A file that was written to, replaced or removed while it was being packed.
    struct Changed {
        std::string path{};
        std::string description() const {
            return quoted(path) + " changed while it was being packed. Try again when nothing writes to it.";
        }
    };
    using Case = std::variant<NotAnArchive, Damaged, Encrypted, Unsupported, TooLarge, NotAFolder,
                              NameTooLong, SpecialFile, Changed>;
};
using ZIPError = FailureOf<ZIPErrorCases>;

} // namespace halvo
