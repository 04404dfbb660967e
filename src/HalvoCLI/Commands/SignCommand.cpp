#include "Commands/Commands.h"
#include "Output/FailureReport.h"
#include "Services.h"

#include <Base/Base64.h>
#include <Base/Text.h>
#include <Ed25519/PrivateKey.h>
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

} // namespace

std::unique_ptr<Command> makeSignCommand() { return std::make_unique<SignCommand>(); }

} // namespace halvo
