#pragma once

#include <Base/Failure.h>

#include <string>
#include <variant>

namespace halvo {

/// A ZIP archive that cannot be read safely, or a folder that cannot be packed. What the system refused (no
/// space, no permission) is a FileError instead.
class ZIPError : public Failure {
public:
    /// The file does not end like a ZIP archive; a download that was cut short looks like that.
    struct NotAnArchive {
        std::string path{};
    };
    /// The bytes contradict themselves; `entry` is empty when the archive's own records do.
    struct Damaged {
        std::string entry{};
        std::string reason{};
    };
    struct Encrypted {
        std::string entry{};
    };
    /// Something that the format allows and this reader does not, such as a rare compression method.
    struct Unsupported {
        std::string entry{};
        std::string feature{};
    };
    /// A name that would leave the folder, or that no file system takes.
    struct UnsafeName {
        std::string entry{};
        std::string reason{};
    };
    /// A symbolic link that leads, directly or through others, out of the folder or nowhere at all.
    struct UnsafeLink {
        std::string entry{};
        std::string target{};
    };
    /// Two entries of one name, or an entry below another that is no folder.
    struct Conflict {
        std::string entry{};
    };
    /// Beyond the limits that the caller set.
    struct TooLarge {
        std::string reason{};
    };
    /// What should be packed is no folder.
    struct NotAFolder {
        std::string path{};
    };
    /// A socket, a pipe or a device inside a folder that should be packed.
    struct SpecialFile {
        std::string path{};
    };
    /// A file that was written to, replaced or removed while it was being packed.
    struct Changed {
        std::string path{};
    };
    using Case = std::variant<NotAnArchive, Damaged, Encrypted, Unsupported, UnsafeName, UnsafeLink, Conflict,
                              TooLarge, NotAFolder, SpecialFile, Changed>;

    explicit ZIPError(Case problem) : Failure(describe(problem)), which(std::move(problem)) {}
    Case which;

private:
    static std::string describe(const Case& problem);
};

} // namespace halvo
