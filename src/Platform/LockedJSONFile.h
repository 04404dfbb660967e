#pragma once

#include <Platform/Clock.h>
#include <Platform/WarningHandler.h>

#include <nlohmann/json_fwd.hpp>

#include <filesystem>
#include <functional>
#include <optional>
#include <string>

namespace halvo {

/// One JSON object in a file of the user's own (mode 0600), shared by any number of processes and threads.
///
/// A change takes a lock on the neighbouring file `<name>.lock`, reads afresh, edits and replaces the file
/// atomically, so no change is lost and a reader needs no lock. A symbolic link is followed and stays.
/// Folders that are missing are made with mode 0700. A file that holds anything but a JSON object is moved
/// aside to `<name>.damaged-<time>` with a warning, and the object counts as empty. Every operation throws
/// FileError when the system refuses.
class LockedJSONFile {
public:
    /// Changes the object and says whether it did; nothing is written when not.
    using Edit = std::function<bool(nlohmann::json& object)>;

    LockedJSONFile(std::filesystem::path file, const Clock& clock, WarningHandler warn);

    /// The object as it stands, empty when there is no file.
    nlohmann::json read() const;
    void change(const Edit& edit) const;

    const std::filesystem::path& path() const { return file; }
    /// Hands a sentence to the callback that this file warns through.
    void warnAbout(const std::string& message) const { warn(message); }

private:
    nlohmann::json readLocked() const;
    std::filesystem::path moveAside() const;
    void write(const nlohmann::json& object) const;

    std::filesystem::path file;
    const Clock& clock;
    WarningHandler warn;
};

} // namespace halvo
