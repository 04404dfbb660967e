#include <HalvoCore/AuthController.h>

#include <Models/JSONFields.h>

#include <exception>

namespace halvo {
namespace {

constexpr const char* userKey = "user";

} // namespace

AuthController::AuthController(TokenControllerProtocol& tokenController, APIClient& apiClient,
                               StorageControllerProtocol& storageController,
                               std::weak_ptr<AuthControllerDelegate> delegate)
    : tokenController(tokenController), apiClient(apiClient), storageController(storageController),
      delegate(std::move(delegate)) {
    const auto stored = storageController.get(userKey);
    if (!stored)
        return;
    try {
        current.value = AuthState::Authenticated{decodeJSON<User>(*stored)};
    } catch (const ModelError&) {
        return; // a record of another shape counts as none
    }
}

User AuthController::registerUser(const std::string& email, const std::string& password,
                                  const std::string& name) {
    return logIn(apiClient.registerUser({.email = email, .password = password, .name = name}));
}

User AuthController::login(const std::string& email, const std::string& password) {
    return logIn(apiClient.login({.email = email, .password = password}));
}

User AuthController::logIn(const AuthResponse& response) {
    tokenController.saveToken(response.token);
    remember(response.user);
    tellDelegate();
    return response.user;
}

void AuthController::logout() {
    if (current.user() == nullptr) // a token may still lie there, from a log-out under HALVO_TOKEN
        return tokenController.deleteToken();
    current.value = AuthState::Unauthenticated();
    std::exception_ptr failure;
    try {
        apiClient.logout();
    } catch (...) {
        failure = std::current_exception();
    }
    storageController.remove(userKey);
    tokenController.deleteToken();
    tellDelegate();
    if (failure)
        std::rethrow_exception(failure);
}

User AuthController::update(const std::string& name) { return remember(apiClient.updateUser({name})); }

User AuthController::fetchUser() { return remember(apiClient.getUser()); }

User AuthController::remember(const User& user) {
    storageController.set(encodeJSON(user), userKey);
    current.value = AuthState::Authenticated{user};
    return user;
}

void AuthController::requestPasswordReset(const std::string& email) { apiClient.requestPasswordReset(email); }

void AuthController::changePassword(const std::string& currentPassword, const std::string& newPassword) {
    apiClient.changePassword(currentPassword, newPassword);
}

void AuthController::tellDelegate() {
    if (const auto told = delegate.lock())
        told->authController(*this, current);
}

} // namespace halvo
