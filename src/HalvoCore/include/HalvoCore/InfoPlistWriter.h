#pragma once

#include <Base/Failure.h>
#include <Base/URL.h>

#include <map>
#include <string>
#include <variant>

namespace halvo {

/// A property list file that could not be changed. The file is as it was.
struct PlistWriteCases {
    struct ReadFailed {
        std::string reason;
        std::string description() const { return "Failed to read plist: " + reason; }
        bool operator==(const ReadFailed&) const = default;
    };
    struct WriteFailed {
        std::string reason;
        std::string description() const { return "Failed to write plist: " + reason; }
        bool operator==(const WriteFailed&) const = default;
    };
    struct FileNotFound {
        std::string description() const { return "Plist file not found"; }
        bool operator==(const FileNotFound&) const = default;
    };
    /// The list is not a dictionary.
    struct UnexpectedFormat {
        std::string description() const { return "Plist has unexpected format"; }
        bool operator==(const UnexpectedFormat&) const = default;
    };
    using Case = std::variant<ReadFailed, WriteFailed, FileNotFound, UnexpectedFormat>;
};
using PlistWriteError = FailureOf<PlistWriteCases>;

/// Merges values into a property list file. For the companion Mac app; no command of `halvo` uses it.
struct InfoPlistWriter {
    /// Sets each of the values and leaves all other keys as they are. The file becomes XML, is replaced in
    /// one step and keeps its permissions; a link stays, and what it leads to is replaced. Throws
    /// PlistWriteError.
    static void write(const std::map<std::string, std::string>& values, const URL& file);
};

} // namespace halvo
