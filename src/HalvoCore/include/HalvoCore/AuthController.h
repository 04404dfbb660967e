#pragma once

#include <HalvoAPI/APIClient.h>
#include <HalvoCore/StorageController.h>
#include <HalvoCore/TokenController.h>
#include <Models/User.h>

#include <memory>
#include <string>
#include <variant>

namespace halvo {

/// Who is logged in, as this machine knows it. A user who is does not prove a token that the service accepts.
struct AuthState {
    struct Authenticated {
        User user{};
        bool operator==(const Authenticated&) const = default;
    };
    struct Unauthenticated {
        bool operator==(const Unauthenticated&) const = default;
    };
    std::variant<Authenticated, Unauthenticated> value = Unauthenticated();

    /// Null when nobody is logged in.
    const User* user() const {
        const auto* authenticated = std::get_if<Authenticated>(&value);
        return authenticated != nullptr ? &authenticated->user : nullptr;
    }

    bool operator==(const AuthState&) const = default;
};

/// Failures of the service are APIError and HTTPError, those of the token store KeychainError.
class AuthControllerProtocol {
public:
    virtual ~AuthControllerProtocol() = default;
    virtual const AuthState& state() const = 0;
    /// Makes an account, which is logged in at once. (`register` is a word of the language.)
    virtual User registerUser(const std::string& email, const std::string& password,
                              const std::string& name) = 0;
    virtual User login(const std::string& email, const std::string& password) = 0;
    virtual void logout() = 0;
    /// Asks the service who the token belongs to, and remembers it.
    virtual User fetchUser() = 0;

    // For the companion Mac app; no command of `halvo` uses these.
    virtual User update(const std::string& name) = 0;
    virtual void requestPasswordReset(const std::string& email) = 0;
    virtual void changePassword(const std::string& currentPassword, const std::string& newPassword) = 0;
};

/// Told after each log-in and log-out.
class AuthControllerDelegate {
public:
    virtual ~AuthControllerDelegate() = default;
    virtual void authController(AuthControllerProtocol& controller, const AuthState& didChangeTo) = 0;
};

/// Keeps the token in a token controller and the user under "user" in the settings store.
class AuthController final : public AuthControllerProtocol {
public:
    /// The state is that of the stored user; the service is not asked.
    AuthController(TokenControllerProtocol& tokenController, APIClient& apiClient,
                   StorageControllerProtocol& storageController,
                   std::weak_ptr<AuthControllerDelegate> delegate = {});

    const AuthState& state() const override { return current; }
    User registerUser(const std::string& email, const std::string& password,
                      const std::string& name) override;
    User login(const std::string& email, const std::string& password) override;
    /// This machine forgets user and token even when the service fails; its failure is thrown afterwards. The
    /// service is not asked when no user is stored.
    void logout() override;
    User fetchUser() override;
    User update(const std::string& name) override;
    void requestPasswordReset(const std::string& email) override;
    void changePassword(const std::string& currentPassword, const std::string& newPassword) override;

private:
    User logIn(const AuthResponse& response);
    User remember(const User& user);
    void tellDelegate();

    TokenControllerProtocol& tokenController;
    APIClient& apiClient;
    StorageControllerProtocol& storageController;
    std::weak_ptr<AuthControllerDelegate> delegate;
    AuthState current{};
};

} // namespace halvo
