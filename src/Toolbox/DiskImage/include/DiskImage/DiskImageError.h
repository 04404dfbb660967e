#pragma once

#include <Base/Failure.h>

#include <cstdint>
#include <string>
#include <variant>

namespace halvo {

/// A disk image that cannot be read, made or changed. The description is the reason alone, as hdiutil prints
/// it behind "attach failed - ".
class DiskImageError : public Failure {
public:
    /// What an operation needs is not there, is there already, is in use, is full: an errno value.
    struct System {
        int code = 0;
    };
    /// The file is no disk image, or none of a kind that is known here.
    struct NotRecognized {};
    /// A disk image whose tables contradict themselves or the file.
    struct Damaged {
        std::string what{};
    };
    /// A volume or compression that only 7-Zip reads, and 7-Zip is not installed.
    struct NeedsSevenZip {
        std::string what{};
    };
    /// 7-Zip could not unfold it; `output` is what it said.
    struct SevenZipFailed {
        std::string output{};
    };
    /// Content that is larger than any real volume: refused before the disk is full.
    struct TooLarge {
        std::uint64_t limit = 0; ///< in bytes
    };
    /// A size below what the volume's content needs.
    struct BelowMinimum {
        std::uint64_t sectors = 0; ///< the smallest possible size, in sectors of 512 bytes
    };
    /// Something that hdiutil can do on a Mac and this one cannot.
    struct Unsupported {
        std::string what{};
    };
    using Case = std::variant<System, NotRecognized, Damaged, NeedsSevenZip, SevenZipFailed, TooLarge,
                              BelowMinimum, Unsupported>;
    explicit DiskImageError(Case which) : Failure(describe(which)), which(std::move(which)) {}
    Case which;

private:
    static std::string describe(const Case& which);
};

/// The text of an errno value as macOS has it, where callers look for it: "Resource busy".
std::string systemErrorText(int code);

} // namespace halvo
