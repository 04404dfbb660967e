#pragma once

#include <Base/Failure.h>

#include <cstdint>
#include <string>
#include <variant>

namespace halvo {

/// Why a secret could not be read, stored or removed.
///
/// Only ItemNotFound means that nothing is stored. AuthenticationFailed, UserCanceled and
/// InteractionNotAllowed mean that something is there which cannot be had now.
class KeychainError : public Failure {
public:
    struct ItemNotFound {
        std::string account{};
        bool operator==(const ItemNotFound&) const = default;
    };
    struct ItemAlreadyExists {
        std::string account{};
        bool operator==(const ItemAlreadyExists&) const = default;
    };
    struct UnableToStoreItem {
        std::int32_t status = 0;
        bool operator==(const UnableToStoreItem&) const = default;
    };
    struct UnableToUpdateItem {
        std::int32_t status = 0;
        bool operator==(const UnableToUpdateItem&) const = default;
    };
    struct UnknownKeychainError {
        std::int32_t status = 0;
        bool operator==(const UnknownKeychainError&) const = default;
    };
    struct AuthenticationFailed {
        bool operator==(const AuthenticationFailed&) const = default;
    };
    struct UserCanceled {
        bool operator==(const UserCanceled&) const = default;
    };
    struct InteractionNotAllowed {
        bool operator==(const InteractionNotAllowed&) const = default;
    };
    struct UnableToDecodeData {
        bool operator==(const UnableToDecodeData&) const = default;
    };
    struct InvalidBase64Encoding {
        bool operator==(const InvalidBase64Encoding&) const = default;
    };
    using Case = std::variant<ItemNotFound, ItemAlreadyExists, UnableToStoreItem, UnableToUpdateItem,
                              UnknownKeychainError, AuthenticationFailed, UserCanceled, InteractionNotAllowed,
                              UnableToDecodeData, InvalidBase64Encoding>;

    /// `systemMessage` is the keychain's own sentence for the status of a case that has one; it may be empty.
    explicit KeychainError(Case which, const std::string& systemMessage = "");

    template<typename Type>
    bool is() const {
        return std::holds_alternative<Type>(which);
    }

    Case which;

private:
    static std::string describe(const Case& which, const std::string& systemMessage);
};

} // namespace halvo
