#pragma once

#include <HalvoAPI/APIClient.h>
#include <KeyChain/KeyChainStore.h>
#include <Platform/Environment.h>

#include <optional>
#include <string>

namespace halvo {

/// The home of the bearer token.
class TokenControllerProtocol : public TokenProviding {
public:
    virtual void saveToken(const std::string& token) = 0;
    virtual void deleteToken() = 0;
};

/// Keeps the token in the keychain. Saving and deleting throw KeychainError.
class KeyChainTokenController final : public TokenControllerProtocol {
public:
    explicit KeyChainTokenController(KeyChainStore& keyChain) : keyChain(keyChain) {}

    void saveToken(const std::string& token) override;
    /// Absent also when the keychain cannot be read.
    std::optional<std::string> getToken() override;
    void deleteToken() override;

private:
    KeyChainStore& keyChain;
};

/// Lets `HALVO_TOKEN` take precedence over another token controller. While it is set and not empty, nothing
/// is saved or deleted.
class EnvironmentTokenController final : public TokenControllerProtocol {
public:
    EnvironmentTokenController(TokenControllerProtocol& base, const Environment& environment);

    void saveToken(const std::string& token) override;
    std::optional<std::string> getToken() override;
    void deleteToken() override;

    /// Whether the token is the environment's.
    bool hasEnvironmentToken() const { return envToken.has_value(); }

private:
    TokenControllerProtocol& base;
    std::optional<std::string> envToken;
};

} // namespace halvo
