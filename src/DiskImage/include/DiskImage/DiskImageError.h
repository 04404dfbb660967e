#pragma once

#include <Base/Failure.h>

#include <string>
#include <variant>

namespace halvo {

/// Files that a disk image cannot hold. What the system refused for a path is a FileError instead.
struct DiskImageCases {
    struct InvalidName {
        std::string path{};
        std::string reason{};
        std::string description() const {
            return "A disk image cannot hold the name of \"" + path + "\": " + reason + ".";
        }
    };
    struct EqualNames {
        std::string first{};
        std::string second{};
        std::string description() const {
            return "\"" + first + "\" and \"" + second +
                   "\" have one name in a disk image, which ignores case. Rename one of them.";
        }
    };
    struct SpecialFile {
        std::string path{};
        std::string description() const {
            return "\"" + path + "\" is a socket, a pipe or a device, which a disk image does not hold.";
        }
    };
    struct LinkTooLong {
        std::string path{};
        std::string description() const {
            return "The symbolic link \"" + path + "\" leads to a path of more than 1024 bytes.";
        }
    };
    struct TooLarge {
        std::string reason{};
        std::string description() const { return "The disk image would be too large: " + reason + "."; }
    };
    /// A file that was written to, replaced or removed meanwhile.
    struct Changed {
        std::string path{};
        std::string description() const {
            return "\"" + path + "\" changed while the disk image was being written. Try again.";
        }
    };
    using Case = std::variant<InvalidName, EqualNames, SpecialFile, LinkTooLong, TooLarge, Changed>;
};
using DiskImageError = FailureOf<DiskImageCases>;

} // namespace halvo
