#pragma once

#include <Base/Bytes.h>
#include <Platform/Clock.h>
#include <Platform/Environment.h>
#include <Platform/WarningHandler.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>

namespace halvo {

/// The results that keychain operations have, with the numbers that macOS gives them (Security framework,
/// SecBase.h). Any other number can occur and stands for "something else went wrong".
enum class KeychainStatus : std::int32_t {
    success = 0,
    userCanceled = -128,
    notAvailable = -25291, ///< there is no keychain service to ask
    authFailed = -25293,
    duplicateItem = -25299,
    itemNotFound = -25300,
    interactionNotAllowed = -25308, ///< locked, and nobody can be asked
    decode = -26275,                ///< what is stored for an item cannot be understood
    ioError = -36,
};

/// The sentence for a status where an implementation knows no better one; empty for an unknown status.
std::string keychainMessage(KeychainStatus status);

/// Which of the two keychains of a user: the data protection keychain, where this program's items live, or
/// the older file-based login keychain, where other tools and older versions left theirs.
enum class KeychainDomain { dataProtection, login };

/// Names one generic password.
struct KeychainQuery {
    std::string service{};
    std::string account{};
    KeychainDomain domain = KeychainDomain::dataProtection;
    std::optional<std::string> protocol{}; ///< such as "ssh"; narrows a search to items stored with it
    bool operator==(const KeychainQuery&) const = default;
};

/// What an item says about itself to somebody who browses a keychain. Absent: not stated.
struct KeychainAttributes {
    std::optional<std::string> label{};
    std::optional<std::string> description{};
    std::optional<std::string> comment{};
    bool operator==(const KeychainAttributes&) const = default;
};

struct KeychainItem {
    Bytes data{};
    KeychainAttributes attributes{};
    bool operator==(const KeychainItem&) const = default;
};

/// Generic passwords of the user. Operations answer with a status and throw nothing; they may block while the
/// desktop asks the user. Data never reaches a log. Usable from several threads at once.
class KeychainItems {
public:
    virtual ~KeychainItems() = default;
    /// On success `item` is filled.
    virtual KeychainStatus copy(const KeychainQuery& query, KeychainItem& item) = 0;
    /// Whether the item exists, without reading its data: success or itemNotFound, or why it cannot be told.
    virtual KeychainStatus exists(const KeychainQuery& query) = 0;
    /// duplicateItem when there is one with that service, account and domain.
    virtual KeychainStatus add(const KeychainQuery& query, const KeychainItem& item) = 0;
    /// Replaces the data and the attributes that are present in `item`.
    virtual KeychainStatus update(const KeychainQuery& query, const KeychainItem& item) = 0;
    virtual KeychainStatus remove(const KeychainQuery& query) = 0;
    /// The system's sentence for a status, empty when it has none.
    virtual std::string message(KeychainStatus status) const = 0;
    /// Where secrets lie, in words for the user.
    virtual std::string location() const = 0;
};

/// The keychain of this system. On Linux: the Secret Service, where the session has one that answers, and the
/// file `halvo/keychain.json` in the user's data folder. New items go to the service, or to the file where
/// there is no service; the first one in a file is told to `warn`. With `HALVO_KEYCHAIN=file` the file is all
/// there is. The service's libraries are opened with the first operation. Cancellation ends a wait for the
/// user.
std::unique_ptr<KeychainItems> makeSystemKeychainItems(const Environment& environment,
                                                       const std::filesystem::path& homeDirectory,
                                                       const Clock& clock, std::stop_token cancellation,
                                                       WarningHandler warn);

} // namespace halvo
