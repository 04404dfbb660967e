#pragma once

#include <Platform/Clock.h>
#include <Platform/Environment.h>
#include <Platform/WarningHandler.h>

#include <nlohmann/json_fwd.hpp>

#include <filesystem>
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
    /// Throws FileError when the store cannot be written, and Failure when a text in `value` is not UTF-8.
    virtual void set(const std::string& key, const nlohmann::json& value) = 0;
    /// Removing what is not there is no failure.
    virtual void remove(const std::string& key) = 0;
};

/// A store in one file: a JSON object from key to value, mode 0600, in a folder that is made with mode 0700
/// when it is missing. Usable from several threads and processes at once; none loses the key of another.
///
/// `set` and `remove` take a lock on the neighbouring file `<name>.lock`, read afresh, change the one key and
/// replace the file atomically. A file that is not a JSON object is moved aside to `<name>.damaged-<time>`
/// with a warning, never overwritten.
class FileUserDefaults final : public UserDefaults {
public:
    /// `clock` names the files that are moved aside.
    FileUserDefaults(const std::filesystem::path& file, const Clock& clock, WarningHandler warn);
    ~FileUserDefaults() override;

    std::optional<nlohmann::json> value(const std::string& key) override;
    void set(const std::string& key, const nlohmann::json& value) override;
    void remove(const std::string& key) override;

private:
    std::unique_ptr<const LockedJSONFile> file;
};

/// The settings of `suite` (such as "com.tarnworks.Halvo") on this system: on Linux the file
/// `halvo/<suite>.json` in the user's configuration folder (Platform/UserDirectories.h).
std::unique_ptr<UserDefaults> makeSystemUserDefaults(const std::string& suite, const Environment& environment,
                                                     const std::filesystem::path& homeDirectory,
                                                     const Clock& clock, WarningHandler warn);

} // namespace halvo
