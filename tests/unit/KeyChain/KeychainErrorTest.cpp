#include <KeyChain/KeychainError.h>

#include <gtest/gtest.h>

namespace halvo {
namespace {

TEST(Description, isTheFixedText) {
    const struct {
        std::string name;
        KeychainError::Case which;
        std::string systemMessage;
        std::string description;
    } cases[] = {
        {"itemNotFound", KeychainError::ItemNotFound{"ed25519"}, "", "No item for ed25519 in the keychain."},
        {"itemAlreadyExists", KeychainError::ItemAlreadyExists{"api-token"}, "",
         "An item for api-token already exists in the keychain."},
        {"unableToStoreItem", KeychainError::UnableToStoreItem{-36}, "I/O error.",
         "Couldn't save the item to the keychain. I/O error. (OSStatus -36)"},
        {"unableToUpdateItem", KeychainError::UnableToUpdateItem{-25300}, "Not found.",
         "Couldn't update the keychain item. Not found. (OSStatus -25300)"},
        {"unknownKeychainError", KeychainError::UnknownKeychainError{-50}, "Bad parameter.",
         "Bad parameter. (OSStatus -50)"},
        {"authenticationFailed", KeychainError::AuthenticationFailed{}, "",
         "Keychain access was denied. Try again and allow access when macOS asks."},
        {"userCanceled", KeychainError::UserCanceled{}, "",
         "Keychain access was canceled. Try again and allow access when macOS asks."},
        {"interactionNotAllowed", KeychainError::InteractionNotAllowed{}, "",
         "macOS can't show the keychain prompt right now. Unlock your Mac and try again from a "
         "logged-in desktop session."},
        {"unableToDecodeData", KeychainError::UnableToDecodeData{}, "",
         "The keychain item contains data that can't be read."},
        {"invalidBase64Encoding", KeychainError::InvalidBase64Encoding{}, "", "The key isn't valid base64."}};
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        const KeychainError error(row.which, row.systemMessage);
        EXPECT_EQ(error.description(), row.description);
        EXPECT_EQ(error.which, row.which);
    }
}

} // namespace
} // namespace halvo
