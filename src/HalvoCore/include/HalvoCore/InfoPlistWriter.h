#pragma once

#include <Base/Failure.h>
#include <Base/URL.h>

#include <map>
#include <string>
#include <variant>

namespace halvo {

/// A property list file that could not be changed. The file is as it was.
class PlistWriteError : public Failure {
public:
    struct ReadFailed {
        std::string description;
        bool operator==(const ReadFailed&) const = default;
    };
    struct WriteFailed {
        std::string description;
        bool operator==(const WriteFailed&) const = default;
    };
    struct FileNotFound {
        bool operator==(const FileNotFound&) const = default;
    };
    /// The list is no dictionary.
    struct UnexpectedFormat {
        bool operator==(const UnexpectedFormat&) const = default;
    };
    using Case = std::variant<ReadFailed, WriteFailed, FileNotFound, UnexpectedFormat>;

    explicit PlistWriteError(Case problem) : Failure(describe(problem)), which(std::move(problem)) {}

    Case which;

private:
    static std::string describe(const Case& which);
};

/// Merges values into a property list file.
struct InfoPlistWriter {
    /// Sets each of the values and leaves all other keys as they are. The file becomes XML, is replaced in
    /// one step and keeps its permissions; a link stays, and what it leads to is replaced. Throws
    /// PlistWriteError.
    static void write(const std::map<std::string, std::string>& values, const URL& file);
};

} // namespace halvo
