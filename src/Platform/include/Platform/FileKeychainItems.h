#pragma once

#include <Platform/KeychainItems.h>

namespace halvo {

class LockedJSONFile;

/// Both keychains in one JSON file, unencrypted and for its owner alone: mode 0600 from its first byte on, in
/// a folder of mode 0700, replaced atomically, shared between processes like the settings.
///
///   { "<domain>": { "<service>": { "<account>": { "data": "<base64>", "label": "...", "description": "...",
///                                                 "comment": "...", "protocol": "..." } } } }
///
/// The domains are "dataProtection" and "login"; all keys but "data" may be missing. A file that is not a
/// JSON object is moved aside to `<name>.damaged-<time>` with a warning. An entry of another shape gives the
/// status `decode` and is left as it is; what the system refuses gives `ioError`, and the warning says why.
class FileKeychainItems final : public KeychainItems {
public:
    /// The folder of `file` must belong to this program alone: it is set to mode 0700 when secrets are
    /// written.
    FileKeychainItems(const std::filesystem::path& file, const Clock& clock, WarningHandler warn);
    ~FileKeychainItems() override;

    KeychainStatus copy(const KeychainQuery& query, KeychainItem& item) override;
    KeychainStatus exists(const KeychainQuery& query) override;
    KeychainStatus add(const KeychainQuery& query, const KeychainItem& item) override;
    KeychainStatus update(const KeychainQuery& query, const KeychainItem& item) override;
    KeychainStatus remove(const KeychainQuery& query) override;
    std::string message(KeychainStatus status) const override;
    std::string location() const override;

private:
    std::unique_ptr<const LockedJSONFile> file;
};

} // namespace halvo
