#pragma once

#include <Platform/Clock.h>
#include <Platform/Environment.h>
#include <Platform/WarningHandler.h>

#include <nlohmann/json_fwd.hpp>

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace halvo {

class LockedJSONFile;

/// Small JSON values by key, kept between runs.
class UserDefaults {
public:
    virtual ~UserDefaults() = default;
    /// The value of a key, absent when there is none. Throws FileError when the store cannot be read.
    virtual std::optional<nlohmann::json> value(const std::string& key) = 0;
    /// Changes the value of a key in place; null stands for a key that is not there.
    using Edit = std::function<void(nlohmann::json& value)>;
    /// Reads, edits and writes in one step: nobody else changes a value meanwhile. Throws FileError when the
    /// store cannot be written, and Failure when a text in the value is not UTF-8; then nothing has changed.
    virtual void change(const std::string& key, const Edit& edit) = 0;

    void set(const std::string& key, const nlohmann::json& value);
    /// Removing what is not there is no failure.
    void remove(const std::string& key);
};

/// A store in one file: a JSON object from key to value, mode 0600, in a folder that is made with mode 0700
/// when it is missing. Usable from several threads and processes at once; none loses the key of another.
///
/// A change takes a lock on the neighbouring file `<name>.lock`, reads afresh, edits the one key and replaces
/// the file atomically; a symbolic link stays, and what it leads to is replaced. A file that is not a JSON
/// object is moved aside to `<name>.damaged-<time>` with a warning, never overwritten.
class FileUserDefaults final : public UserDefaults {
public:
    /// `clock` names the files that are moved aside.
    FileUserDefaults(const std::filesystem::path& file, const Clock& clock, WarningHandler warn);
    ~FileUserDefaults() override;

    std::optional<nlohmann::json> value(const std::string& key) override;
    void change(const std::string& key, const Edit& edit) override;

private:
    std::unique_ptr<const LockedJSONFile> file;
};

/// The settings of `suite` (such as "com.tarnworks.Halvo") on this system: on Linux the file
/// `halvo/<suite>.json` in the user's configuration folder (Platform/UserDirectories.h).
std::unique_ptr<UserDefaults> makeSystemUserDefaults(const std::string& suite, const Environment& environment,
                                                     const std::filesystem::path& homeDirectory,
                                                     const Clock& clock, WarningHandler warn);

} // namespace halvo
