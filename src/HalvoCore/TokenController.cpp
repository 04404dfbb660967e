#include <HalvoCore/TokenController.h>

namespace halvo {

void KeyChainTokenController::saveToken(const std::string& token) { keyChain.setAPIToken(token); }

std::optional<std::string> KeyChainTokenController::getToken() {
    try {
        return keyChain.getAPIToken();
    } catch (const KeychainError&) {
        return std::nullopt; // a token that cannot be read is none; the service then says so
    }
}

void KeyChainTokenController::deleteToken() { keyChain.deleteAPIToken(); }

EnvironmentTokenController::EnvironmentTokenController(TokenControllerProtocol& base,
                                                       const Environment& environment)
    : base(base), envToken(environment.nonEmpty("HALVO_TOKEN")) {}

void EnvironmentTokenController::saveToken(const std::string& token) {
    if (!envToken)
        base.saveToken(token);
}

std::optional<std::string> EnvironmentTokenController::getToken() {
    return envToken ? envToken : base.getToken();
}

void EnvironmentTokenController::deleteToken() {
    if (!envToken)
        base.deleteToken();
}

} // namespace halvo
