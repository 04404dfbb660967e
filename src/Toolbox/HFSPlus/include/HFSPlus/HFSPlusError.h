#pragma once

#include <Base/Failure.h>

#include <cstdint>
#include <string>
#include <variant>

namespace halvo::hfsplus {

/// A volume that cannot be read, or a folder that cannot become one. What the system refused for a path is a
/// FileError instead.
class HFSPlusError : public Failure {
public:
    /// No HFS Plus volume begins there.
    struct NotAVolume {};
    /// The volume contradicts itself.
    struct Damaged {
        std::string reason{};
    };
    /// Something that real volumes have and this reader does not know: another tool may read the volume.
    struct Unsupported {
        std::string feature{};
    };
    /// A stored name that would leave the folder or that no file system takes.
    struct UnsafeName {
        std::string name{};
    };
    /// Beyond the limits that the caller set, or those of the format.
    struct TooLarge {
        std::string reason{};
    };
    struct ReadPastEnd {
        std::uint64_t offset = 0;
    };
    struct ReadFailed {
        int code = 0; ///< an errno value
    };
    /// A name that the format cannot hold.
    struct InvalidName {
        std::string path{};
        std::string reason{};
    };
    /// Two names of one folder that are the same to HFS Plus, which ignores case.
    struct EqualNames {
        std::string first{};
        std::string second{};
    };
    /// A socket, a pipe or a device.
    struct SpecialFile {
        std::string path{};
    };
    /// A link whose target is longer than the format allows.
    struct LinkTooLong {
        std::string path{};
    };
    /// A file that was written to, replaced or removed while the volume was being written.
    struct Changed {
        std::string path{};
    };
    /// The content needs more room than the volume has.
    struct NoSpace {
        std::uint64_t needed = 0; ///< bytes
        std::uint64_t size = 0;   ///< bytes
    };
    /// The system could not write the image.
    struct WriteFailed {
        int code = 0; ///< an errno value
    };
    using Case =
        std::variant<NotAVolume, Damaged, Unsupported, UnsafeName, TooLarge, ReadPastEnd, ReadFailed,
                     InvalidName, EqualNames, SpecialFile, LinkTooLong, Changed, NoSpace, WriteFailed>;

    explicit HFSPlusError(Case problem) : Failure(describe(problem)), which(std::move(problem)) {}
    Case which;

private:
    static std::string describe(const Case& problem);
};

} // namespace halvo::hfsplus
