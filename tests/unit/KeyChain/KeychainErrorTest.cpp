#include <KeyChain/KeychainError.h>

#include <Support/CaseName.h>

#include <gtest/gtest.h>

namespace halvo {
namespace {

struct DescriptionCase {
    std::string name;
    KeychainError::Case which;
    std::string systemMessage;
    std::string description;
};

class Description : public testing::TestWithParam<DescriptionCase> {};

TEST_P(Description, isTheFixedText) {
    const KeychainError error(GetParam().which, GetParam().systemMessage);
    EXPECT_EQ(error.description(), GetParam().description);
    EXPECT_EQ(error.which, GetParam().which);
}

INSTANTIATE_TEST_SUITE_P(
    KeychainError, Description,
    testing::Values(
        DescriptionCase{"itemNotFound", KeychainError::ItemNotFound{"ed25519"}, "",
                        "No item for ed25519 in the keychain."},
        DescriptionCase{"itemAlreadyExists", KeychainError::ItemAlreadyExists{"api-token"}, "",
                        "An item for api-token already exists in the keychain."},
        DescriptionCase{"unableToStoreItem", KeychainError::UnableToStoreItem{-36}, "I/O error.",
                        "Couldn't save the item to the keychain. I/O error. (OSStatus -36)"},
        DescriptionCase{"unableToUpdateItem", KeychainError::UnableToUpdateItem{-25300}, "Not found.",
                        "Couldn't update the keychain item. Not found. (OSStatus -25300)"},
        DescriptionCase{"unknownKeychainError", KeychainError::UnknownKeychainError{-50}, "Bad parameter.",
                        "Bad parameter. (OSStatus -50)"},
        DescriptionCase{"unknownWithoutAMessage", KeychainError::UnknownKeychainError{-67}, "",
                        " (OSStatus -67)"},
        DescriptionCase{"authenticationFailed", KeychainError::AuthenticationFailed{}, "",
                        "Keychain access was denied. Try again and allow access when macOS asks."},
        DescriptionCase{"userCanceled", KeychainError::UserCanceled{}, "",
                        "Keychain access was canceled. Try again and allow access when macOS asks."},
        DescriptionCase{
            "interactionNotAllowed", KeychainError::InteractionNotAllowed{}, "",
            "macOS can't show the keychain prompt right now. Unlock your Mac and try again from a "
            "logged-in desktop session."},
        DescriptionCase{"unableToDecodeData", KeychainError::UnableToDecodeData{}, "",
                        "The keychain item contains data that can't be read."},
        DescriptionCase{"invalidBase64Encoding", KeychainError::InvalidBase64Encoding{}, "",
                        "The key isn't valid base64."}),
    test::CaseName());

} // namespace
} // namespace halvo
