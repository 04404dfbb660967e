#pragma once

#include <Base/Bytes.h>
#include <HalvoNotarization/KeyFile.h>
#include <Platform/ProcessRunner.h>

#include <filesystem>
#include <string>

namespace halvo {

/// An App Store Connect API key. Tools take it as a file, which exists only while one of them runs.
struct ASCAuthenticationKey {
    std::string keyID{};
    std::string issuerID{};
    Bytes keyData{}; ///< the content of the .p8 file; secret

    bool operator==(const ASCAuthenticationKey&) const = default;

    /// Gives `operation` the path of a key file and returns what it returns. Throws FileError when the key
    /// cannot be written.
    template<typename Operation>
    auto withKeyFile(const std::filesystem::path& temporaryDirectory, Operation operation) const {
        const KeyFile file(temporaryDirectory, "halvo-asc-", "AuthKey_" + keyID + ".p8", keyData);
        return operation(file.path());
    }

    /// What xcodebuild is given to sign in with the key.
    Arguments xcodebuildArguments(const std::filesystem::path& keyPath) const {
        return {"-authenticationKeyPath",     keyPath.string(), "-authenticationKeyID", keyID,
                "-authenticationKeyIssuerID", issuerID};
    }
};

} // namespace halvo
