#include "Commands/Commands.h"
#include "Commands/Setup/SetupFlow.h"
#include "Output/FailureReport.h"
#include "Services.h"

namespace halvo {
namespace {

std::optional<HostingType> parseHostingType(const std::string& text) {
    if (text == "halvo")
        return HostingType::halvo;
    if (text == "s3")
        return HostingType::s3;
    return std::nullopt;
}

class SetupCommand final : public Command {
public:
    std::string_view name() const override { return "setup"; }
    std::string_view abstract() const override { return "Set up a new app for distribution"; }
    std::string_view discussion() const override {
        return "Walks you through setting up a new app with Halvo, including:\n"
               "- Extracting app metadata\n"
               "- Choosing hosting (Halvo managed or S3 self-hosted)\n"
               "- Configuring S3 storage (if self-hosted)\n"
               "- Generating Sparkle signing keys\n"
               "- Registering the app\n"
               "\n"
               "Non-interactive mode (for CI/CD and agents):\n"
               "  halvo setup MyApp.app --hosting halvo --generate-sparkle-key\n"
               "  halvo setup MyApp.app --hosting s3 --s3-bucket my-bucket --s3-region us-east-1 \\\n"
               "    --s3-public-url https://cdn.example.com --s3-access-key-id ID \\\n"
               "    --s3-secret-access-key SECRET --generate-sparkle-key\n"
               "\n"
               "After setup, use `halvo release` to publish your first release.";
    }
    void declare(CommandArguments& arguments) override {
        arguments.positional("path", options.path, "Path to the .app bundle");
        arguments.typedOption<HostingType>("--hosting", options.hosting, "Hosting type (halvo, s3)",
                                           parseHostingType, {"halvo", "s3"});
        options.s3Destination.declare(arguments);
        arguments.option("--s3-access-key-id", options.s3AccessKeyID, "S3 access key ID (required for S3)");
        arguments.option("--s3-secret-access-key", options.s3SecretAccessKey,
                         "S3 secret access key (required for S3)");
        arguments.option("--sparkle-key", options.sparkleKey,
                         "Base64-encoded Ed25519 private key for Sparkle signing");
        arguments.flag("--generate-sparkle-key", options.generateSparkleKey,
                       "Generate a new Sparkle signing key without prompting");
    }

    void run(Services& services) override {
        const auto terminal = services.makeTerminal();
        endingOnFailure(*terminal, ExitCode::success,
                        [&] { SetupFlow(options, services.platform, *terminal).run(); });
    }

private:
    SetupOptions options{};
};

} // namespace

std::unique_ptr<Command> makeSetupCommand() { return std::make_unique<SetupCommand>(); }

} // namespace halvo
