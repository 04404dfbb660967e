#include "Commands/Commands.h"
#include "Output/OutputContext.h"

#include <Base/Base64.h>
#include <KeyChain/MacKeyChainStore.h>

namespace halvo {
namespace {

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

std::unique_ptr<Command> makeExportCommand() { return std::make_unique<ExportCommand>(); }

} // namespace halvo
