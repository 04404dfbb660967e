#include "Commands/Commands.h"
#include "Services.h"

#include <Base/Base64.h>
#include <Ed25519/PublicKey.h>
#include <Platform/Files.h>

namespace halvo {
namespace {

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

} // namespace

std::unique_ptr<Command> makeVerifyCommand() { return std::make_unique<VerifyCommand>(); }

} // namespace halvo
