#include "Commands/Commands.h"
#include "Output/AppManagementSettingsPrompt.h"
#include "Services.h"

#include <HalvoCore/StorageController.h>
#include <HalvoDMG/Background.h>
#include <HalvoDMG/DMGCreator.h>
#include <HalvoNotarization/Codesigner.h>
#include <HalvoNotarization/Notarizer.h>
#include <Models/BundleInfo.h>
#include <Platform/Bundle.h>
#include <Platform/Files.h>

#include <filesystem>

namespace halvo {
namespace {

/// Absent for an empty text: settings hold one where nothing was chosen.
std::optional<std::string> nonEmpty(const std::string& text) {
    return text.empty() ? std::nullopt : std::optional(text);
}

std::optional<BundleInfo> readBundleInfo(const URL& appURL) {
    const auto bundle = Bundle::open(appURL.filePath());
    if (!bundle)
        return std::nullopt;
    try {
        return BundleInfo::from(*bundle);
    } catch (const BundleInfoError&) { // making the image tells what is wrong with the app
        return std::nullopt;
    }
}

class CreateDMGCommand final : public Command {
public:
    std::string_view name() const override { return "create-dmg"; }
    std::string_view abstract() const override {
        return "Create a DMG disk image from an app bundle (no upload)";
    }
    void declare(CommandArguments& arguments) override {
        arguments.positional("app-path", appPath, "Path to the .app bundle");
        arguments.option("--output", output, "Output path for the DMG file");
        arguments.flag("--open", open, "Open the DMG after creation");
        arguments.option("--codesign-identity", codesignIdentity, "Code signing identity");
        arguments.option("--keychain-profile", keychainProfile, "Notarization keychain profile");
        arguments.flag("--skip-notarization", skipNotarization,
                       "Skip notarization (not recommended for public distribution)");
        arguments.invertibleFlag("--watermark", "--no-watermark", watermark,
                                 "Keep or remove the watermark line of the generated background");
        arguments.option(
            "--background", background,
            "Custom background image (PNG, JPG, or TIFF). Overrides the stored dmg-background config.");
    }

    void run(Services& services) override {
        const auto terminal = services.makeTerminal();
        try {
            create(services, *terminal);
        } catch (const std::exception& error) {
            const auto* creation = dynamic_cast<const DMGCreationError*>(&error);
            if (creation != nullptr && terminal->interactive() &&
                std::holds_alternative<DMGCreationError::OperationNotPermitted>(creation->which))
                AppManagementSettingsPrompt::offerToOpen(*terminal, services.platform.workspace);
            terminal->printError(TerminalText::danger(describe(error)));
            throw ExitCode{ExitCode::failure};
        }
    }

private:
    /// What flags and the app's stored settings come to.
    struct Plan {
        std::optional<std::string> appName{}; ///< absent for an app that cannot be read
        std::optional<std::string> identity{};
        std::optional<std::string> profile{};
        std::optional<URL> background{};
        bool watermark = false;
    };

    Plan makePlan(const Platform& platform, const URL& appURL) const {
        const std::optional<BundleInfo> info = readBundleInfo(appURL);
        std::optional<ReleaseSettings> stored;
        if (info)
            stored =
                UserDefaultsStorageController(platform.userDefaults).getReleaseSettings(info->identifier);
        Plan plan{.identity = codesignIdentity, .profile = keychainProfile};
        if (info)
            plan.appName = info->name;
        if (!plan.identity && stored)
            plan.identity = nonEmpty(stored->codesignIdentity.name);
        if (!plan.profile && stored)
            plan.profile = nonEmpty(stored->keychainProfile);
        std::optional<URL> requested;
        if (background)
            requested = URL::file(expandingTilde(*background, platform.homeDirectory));
        plan.background = requested || !stored ? requested : stored->dmgBackgroundURL;
        plan.watermark = watermark.value_or(stored && stored->showWatermark.value_or(false));
        return plan;
    }

    void create(Services& services, Terminal& terminal) const {
        const Platform& platform = services.platform;
        const URL appURL = URL::file(appPath);
        const std::optional<URL> outputURL = output ? std::optional(URL::file(*output)) : std::nullopt;
        const Plan plan = makePlan(platform, appURL);
        if (!plan.identity)
            terminal.warning({{.message = "No codesign identity provided. DMG will not be signed."}});
        if (!plan.profile && !skipNotarization)
            terminal.warning({{.message = "No keychain profile provided. DMG will not be notarized."}});

        const URL image = createImage(platform, terminal, plan, appURL, outputURL);
        if (plan.identity) {
            sign(platform, terminal, *plan.identity, image);
            if (plan.profile && !skipNotarization)
                notarize(platform, terminal, *plan.profile, image);
        }
        terminal.print("Output: " + TerminalText::path(image.path()));
        if (open && !platform.workspace.open(image.absoluteString()))
            terminal.warning({{.message = "The DMG could not be opened on this machine."}});
    }

    static URL createImage(const Platform& platform, Terminal& terminal, const Plan& plan, const URL& appURL,
                           const std::optional<URL>& outputURL) {
        const DMGConfiguration configuration;
        const PointSize window = configuration.windowSize();
        const Background picture =
            plan.background ? fittedBackground(*plan.background, window, platform.images)
                            : generatedBackground(window, plan.appName, plan.watermark, platform.images);
        if (picture.retinaWarning)
            terminal.warning({{.message = *picture.retinaWarning}});
        const auto builder = makeImageBuilder(platform);
        return terminal.progressStep(
            {.message = "Creating DMG",
             .successMessage = "DMG created",
             .errorMessage = "Failed to create DMG"},
            [&](ProgressUpdater& line) {
                return DMGCreator(*builder).create(
                    appURL, outputURL, configuration, picture,
                    [&line](std::uint64_t done, std::uint64_t total) { line.progress(done, total); });
            });
    }

    static void sign(const Platform& platform, Terminal& terminal, const std::string& identity,
                     const URL& image) {
        Codesigner codesigner(platform.processes, platform.log, platform.cancellation);
        terminal.progressStep(
            {.message = "Signing DMG", .successMessage = "DMG signed", .errorMessage = "Failed to sign DMG"},
            [&](ProgressUpdater&) { codesigner.sign(image.filePath(), identity); });
    }

    static void notarize(const Platform& platform, Terminal& terminal, const std::string& profile,
                         const URL& image) {
        Notarizer notarizer({platform.processes, platform.clock}, platform.temporaryDirectory,
                            platform.cancellation);
        terminal.progressStep(
            {.message = "Notarizing DMG",
             .successMessage = "DMG notarized",
             .errorMessage = "Failed to notarize DMG"},
            [&](ProgressUpdater& line) {
                notarizer.notarize(image.filePath(), {NotarizationCredentials::KeychainProfile{profile}},
                                   {.onProgress = [&line](const std::string& text) { line.update(text); }});
            });
    }

    std::string appPath{};
    std::optional<std::string> output{};
    bool open = false;
    std::optional<std::string> codesignIdentity{};
    std::optional<std::string> keychainProfile{};
    bool skipNotarization = false;
    std::optional<bool> watermark{};
    std::optional<std::string> background{};
};

class DMGTemplateCommand final : public Command {
public:
    std::string_view name() const override { return "dmg-template"; }
    std::string_view abstract() const override {
        return "Write a blueprint template image for designing custom DMG backgrounds";
    }
    std::string_view discussion() const override {
        return "The template marks exactly where Finder places the app icon, the\n"
               "Applications link, and their labels, on the same canvas the DMG\n"
               "ships with. Design over it, export it unscaled, then configure it:\n"
               "  halvo config set release dmg-background <your-file> -b <bundle-id>";
    }
    void declare(CommandArguments& arguments) override {
        arguments.typedOption<std::string>(
            "--output", output, "Output path for the template PNG",
            [](const std::string& text) { return std::optional(text); }, output);
    }
    void run(Services& services) override {
        const auto terminal = services.makeTerminal();
        const std::filesystem::path file = std::filesystem::absolute(output).lexically_normal();
        std::error_code unreadable;
        if (std::filesystem::symlink_status(file, unreadable).type() !=
            std::filesystem::file_type::not_found) {
            terminal->printError(TerminalText::danger("A file already exists at " + file.string() + "."));
            throw ExitCode{ExitCode::failure};
        }
        const Bytes picture = drawBackgroundTemplate({}, services.platform.images);
        writeNewFile(file, picture, 0644);
        terminal->print("Template written to " + TerminalText::path(file.string()));
        terminal->print("Design over it, export at the same pixel size, then run " +
                        TerminalText::command("halvo config set release dmg-background <your-file>") + ".");
    }

private:
    std::string output = "dmg-background-template.png";
};

} // namespace

std::unique_ptr<Command> makeCreateDMGCommand() { return std::make_unique<CreateDMGCommand>(); }
std::unique_ptr<Command> makeDMGTemplateCommand() { return std::make_unique<DMGTemplateCommand>(); }

} // namespace halvo
