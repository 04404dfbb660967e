#pragma once

#include <nlohmann/json_fwd.hpp>

#include <filesystem>
#include <functional>
#include <optional>
#include <string>

namespace halvo {

/// Small JSON values by key, kept between runs.
class UserDefaults {
public:
    virtual ~UserDefaults() = default;
    /// The value of a key, absent when there is none. Throws FileError when the store cannot be read.
    virtual std::optional<nlohmann::json> value(const std::string& key) = 0;
    virtual void set(const std::string& key, const nlohmann::json& value) = 0;
    /// Removing what is not there is no failure.
    virtual void remove(const std::string& key) = 0;
};

/// A store in one file: a JSON object from key to value, mode 0600, replaced atomically.
///
/// `set` and `remove` take a lock on a neighbouring file, read afresh, change the one key, write and rename,
/// so that several processes lose no key. A file that is not a JSON object is moved aside to
/// `<name>.damaged-<time>` with a warning, never overwritten.
class FileUserDefaults final : public UserDefaults {
public:
    using Warning = std::function<void(const std::string& message)>;
    FileUserDefaults(std::filesystem::path file, Warning warn);

    std::optional<nlohmann::json> value(const std::string& key) override;
    void set(const std::string& key, const nlohmann::json& value) override;
    void remove(const std::string& key) override;

private:
    std::filesystem::path file;
    Warning warn;
};

} // namespace halvo
