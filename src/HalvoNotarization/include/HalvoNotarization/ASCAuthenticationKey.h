#pragma once

#include <Base/Bytes.h>
#include <Platform/Files.h>
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

    /// Gives `operation` the path of a key file (0600 in a new folder, 0700) and returns what it returns. The
    /// folder is removed in every case. Throws FileError when the key cannot be written.
    template<typename Operation>
    auto withKeyFile(const std::filesystem::path& temporaryDirectory, Operation operation) const {
        const TemporaryDirectory folder(temporaryDirectory, "halvo-asc-");
        const std::filesystem::path file = folder.path() / ("AuthKey_" + keyID + ".p8");
        writeNewFile(file, keyData, 0600);
        return operation(file);
    }

    /// What xcodebuild is given to sign in with the key.
    Arguments xcodebuildArguments(const std::filesystem::path& keyPath) const {
        return {"-authenticationKeyPath",     keyPath.string(), "-authenticationKeyID", keyID,
                "-authenticationKeyIssuerID", issuerID};
    }
};

} // namespace halvo
