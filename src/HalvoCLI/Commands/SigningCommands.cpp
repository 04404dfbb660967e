#include "Commands/Commands.h"
#include "Output/OutputContext.h"
#include "Output/FailureReport.h"
#include "Services.h"

#include <Base/Base64.h>
#include <Base/Text.h>
#include <Ed25519/PrivateKey.h>
#include <Ed25519/PublicKey.h>
#include <HalvoCore/BundleImportService.h>
#include <HalvoCore/ZipService.h>
#include <KeyChain/MacKeyChainStore.h>
#include <Platform/Files.h>

namespace halvo {
namespace {

class SignCommand final : public Command {
public:
    std::string_view name() const override { return "sign"; }
    std::string_view abstract() const override { return "Sign an app archive with your Ed25519 private key"; }
    void declare(CommandArguments& arguments) override {
        arguments.positional("path", path, "Path to the app archive (.dmg or .zip)");
    }

    void run(Services& services) override {
        const auto terminal = services.makeTerminal();
        const std::string extension = lowercased(pathExtension(path));
        if (extension != "zip" && extension != "dmg") {
            terminal->print(
                TerminalText::danger("Unsupported file type: " + extension + ". Use .dmg or .zip"));
            throw ExitCode{ExitCode::failure};
        }
        try {
            sign(services, *terminal);
        } catch (const std::exception& error) {
            const bool isKeychain = dynamic_cast<const KeychainError*>(&error) != nullptr;
            terminal->print(
                TerminalText::danger((isKeychain ? "Keychain error: " : "Error: ") + describe(error)));
            printAdvice(*terminal, error);
            throw ExitCode{ExitCode::failure};
        }
    }

private:
    void sign(Services& services, Terminal& terminal) const {
        const Platform& platform = services.platform;
        const BundleInfo info =
            terminal.progressStep({.message = "Extracting bundle info",
                                   .successMessage = "Extracted bundle info",
                                   .errorMessage = "Failed to extract bundle info"},
                                  [&](ProgressUpdater&) { return readBundleInfo(platform); });
        const PrivateKey key(
            MacKeyChainStore(platform.keychainItems).getSparklePrivateKeyFor(info.identifier));
        const std::string signature = terminal.progressStep(
            {.message = "Signing archive",
             .successMessage = "Archive signed",
             .errorMessage = "Failed to sign archive"},
            [&](ProgressUpdater& line) {
                const MappedFile file(path);
                return encodeBase64(key.signature(
                    file.bytes(), platform.cancellation,
                    [&](std::uint64_t done, std::uint64_t total) { line.progress(done, total); }));
            });
        terminal.print(TerminalText::section("Signature Details") + "\n\nApp: " + info.name + " (" +
                       info.identifier + ")\nVersion: " + info.versionDescription() + "\nFile: " +
                       std::filesystem::path(path).filename().string() + "\nSignature: " + signature);
    }

    BundleInfo readBundleInfo(const Platform& platform) const {
        const ZipService zipService(platform.temporaryDirectory, platform.cancellation);
        const DMGService dmgService(platform.processes, platform.log, platform.temporaryDirectory,
                                    platform.cancellation, platform.hasDiskImageTools);
        const BundleInfo info =
            BundleImportService(zipService, dmgService).importBundle(URL::file(path)).bundleInfo();
        if (info.appIcon)
            removeQuietly(info.appIcon->filePath()); // a copy that only an upload has a use for
        return info;
    }

    std::string path{};
};

Bytes decode(const std::string& text, const char* what) {
    auto bytes = decodeBase64(text, Base64Reading::ignoringWhitespace);
    if (!bytes)
        throw Failure(std::string("The ") + what + " isn't valid base64.");
    return std::move(*bytes);
}

class VerifyCommand final : public Command {
public:
    std::string_view name() const override { return "verify"; }
    std::string_view abstract() const override { return "Verify the Ed25519 signature of a file."; }
    void declare(CommandArguments& arguments) override {
        arguments.positional("path", path, "Path to the update archive");
        arguments.positional("signature", signature, "Signature");
        arguments.positional("public-key", publicKey, "Public Key");
    }

    /// The result is for reading: the status is that of success whatever the signature is worth.
    void run(Services& services) override {
        const auto terminal = services.makeTerminal();
        terminal->print(TerminalText::section("Signature Verification") + "\n\nFile: " + path +
                        "\nSignature: " + signature + "\nPublic Key: " + publicKey);
        try {
            if (isValid())
                terminal->success("Signature is valid!");
            else
                terminal->warning({{.message = "Signature is invalid!"}});
        } catch (const Failure& failure) {
            terminal->warning({{.message = "An error occurred: " + failure.description()}});
        }
    }

private:
    bool isValid() const {
        const PublicKey key(decode(publicKey, "public key"));
        const Bytes signatureBytes = decode(signature, "signature");
        const MappedFile file(path);
        return key.isValidSignature(signatureBytes, file.bytes());
    }

    std::string path{};
    std::string signature{};
    std::string publicKey{};
};

/// The key of the app, else that of Sparkle's own tool. Throws CLIError when there is neither.
Bytes findKey(KeyChainStore& keyChain, const std::string& bundleId) {
    if (auto key = keyChain.storedSparklePrivateKey(bundleId))
        return std::move(*key);
    try {
        return keyChain.getSparklePrivateKey("ed25519");
    } catch (const KeychainError& error) {
        if (error.is<KeychainError::ItemNotFound>())
            throw CLIError("signing_key_not_found", "No Sparkle signing key found for " + bundleId + ".");
        throw;
    }
}

class ExportSparkleKeyCommand final : public Command {
public:
    std::string_view name() const override { return "sparkle-key"; }
    std::string_view abstract() const override {
        return "Print the base64 Sparkle private key to paste into CI secrets";
    }
    void declare(CommandArguments& arguments) override {
        arguments.requiredOption("-b,--bundle-id", bundleId, bundleIdHelp);
    }

    void run(Services& services) override {
        const OutputContext context = OutputContext::make(services, OutputFormat::text, false);
        MacKeyChainStore keyChain(services.platform.keychainItems);
        try {
            // Nothing but the key, so that the output can be piped.
            services.streams.standardOutput->write(encodeBase64(findKey(keyChain, bundleId)) + "\n");
        } catch (const CLIError& error) {
            context.emit(error);
            throw ExitCode{ExitCode::failure};
        } catch (const KeychainError& error) {
            context.emit(CLIError("keychain_error", "Key error: " + error.description()));
            throw ExitCode{ExitCode::failure};
        }
    }

private:
    std::string bundleId{};
};

class ExportCommand final : public CommandGroup {
public:
    ExportCommand() { add(std::make_unique<ExportSparkleKeyCommand>()); }
    std::string_view name() const override { return "export"; }
    std::string_view abstract() const override { return "Export local credentials for use in CI"; }
};

} // namespace

std::unique_ptr<Command> makeSignCommand() { return std::make_unique<SignCommand>(); }
std::unique_ptr<Command> makeVerifyCommand() { return std::make_unique<VerifyCommand>(); }
std::unique_ptr<Command> makeExportCommand() { return std::make_unique<ExportCommand>(); }

} // namespace halvo
