#include "Commands/Setup/SetupFlow.h"

#include "Commands/HostedApps.h"
#include "Commands/Release/ReleaseInput.h"
#include "Commands/Setup/S3Setup.h"
#include "Output/FailureReport.h"

#include <Base/Text.h>
#include <HalvoCore/BucketPublication.h>
#include <HalvoCore/BundleImportService.h>
#include <HalvoCore/ServerAppRepository.h>
#include <Models/Artifact.h>
#include <Models/ServiceAddresses.h>
#include <Platform/Files.h>

namespace halvo {
namespace {

/// Stands in the record until the service has given the app its own.
const URL placeholderAppcastURL = URL::parse("https://placeholder.invalid/appcast.xml").value();

const std::string couldNotCreate = "Failed to create app: ";

} // namespace

void SetupFlow::run() {
    const auto givenKey = readSparkleKey(options); // before anything is stored
    const BundleInfo app = importApp();
    terminal.print(TerminalText::primary(app.name) + "\nBundle ID: " +
                   TerminalText::secondary(app.identifier) + "\n" + app.versionDescription() + "\n");
    if (isSetUp(app))
        return;
    if (chooseHosting(app) == HostingType::s3)
        setUpS3(app, givenKey);
    else
        setUpHosted(app, givenKey);
    terminal.success("Setup complete! Run " + TerminalText::command("halvo release") +
                     " to publish your first release.");
}

/// The metadata, without an icon that is gone after this run.
BundleInfo SetupFlow::importApp() {
    const std::string path =
        options.path ? *options.path
                     : terminal.textPrompt({.title = "App Path",
                                            .prompt = "Path to your .app bundle",
                                            .hint = "Pass the path as an argument: halvo setup MyApp.app"});
    const URL url = URL::file(expandingTilde(std::string(trimmed(path)), platform.homeDirectory));
    const ZipService zipService(platform.temporaryDirectory, platform.cancellation);
    const DMGService dmgService(platform.processes, platform.log, platform.temporaryDirectory,
                                platform.cancellation, platform.hasDiskImageTools);
    const ImportedBundle imported = withFailurePrefix("Failed to import app: ", [&] {
        return terminal.progressStep(
            {.message = "Extract app metadata",
             .successMessage = "App metadata extracted",
             .errorMessage = "Failed to extract app metadata"},
            [&](ProgressUpdater&) { return BundleImportService(zipService, dmgService).importBundle(url); });
    });
    BundleInfo app = imported.bundleInfo();
    if (app.appIcon && !std::holds_alternative<ImportedBundle::App>(imported.value)) {
        removeQuietly(app.appIcon->filePath()); // a copy out of an archive
        app.appIcon.reset();
    }
    return app;
}

bool SetupFlow::isSetUp(const BundleInfo& app) {
    if (const auto stored = services.localApps().fetchStored(app.identifier)) {
        terminal.print("App \"" + stored->name + "\" is already set up (S3-hosted).");
        displaySparkleConfig(stored->appcastURL(), stored->edDSAPublicKey);
        return true;
    }
    try {
        const auto hosted = listHostedApps(services, terminal);
        const ServerApp* registered = hosted ? findApp(*hosted, app.identifier) : nullptr;
        if (registered != nullptr)
            terminal.print("App \"" + registered->name + "\" is already registered on Halvo.");
        return registered != nullptr;
    } catch (const Failure& failure) { // no reason not to set up an app that does not need the service
        terminal.warning({{.message = "Could not check whether the app is registered on Halvo: " +
                                      failure.description()}});
        return false;
    }
}

HostingType SetupFlow::chooseHosting(const BundleInfo& app) {
    if (options.hosting)
        return *options.hosting;
    const std::size_t chosen =
        terminal.singleChoicePrompt({.question = "How would you like to host " + app.name + "?",
                                     .options = {"Halvo", "S3"},
                                     .hint = "Pass --hosting halvo or --hosting s3."});
    return chosen == 0 ? HostingType::halvo : HostingType::s3;
}

/// Where another app's feed stands at the address, each needs a place of its own. A feed that cannot be read
/// now is found out by the first release.
void SetupFlow::proposePrefix(S3Configuration& configuration, const BundleInfo& app) {
    std::optional<std::string> title;
    const std::string address = configuration.appcastURL().absoluteString();
    try {
        const HTTPResponse feed = platform.http.send({.url = address, .timeLimit = std::chrono::seconds(10)},
                                                     platform.cancellation);
        if (feed.status == 200)
            title = titleOfAnotherAppsFeed(feed.body, app.name);
    } catch (const HTTPError&) {
    }
    if (!title)
        return;
    const std::string prefix = artifactName(lowercased(app.name));
    const std::string found = "The feed " + address + " belongs to another app (\"" + *title + "\").";
    if (terminal.interactive() &&
        terminal.yesOrNoChoicePrompt(
            {.question = found + " Use the path prefix \"" + prefix + "\" for " + app.name + "?"}))
        configuration.pathPrefix = prefix;
    else
        terminal.warning(
            {{.message = found + " Releases will be refused until this app has a place of its own.",
              .nextSteps = {"Run " + TerminalText::command("halvo config set s3 path-prefix " + prefix +
                                                           " -b " + app.identifier)}}});
}

void SetupFlow::setUpS3(const BundleInfo& app, const std::optional<PrivateKey>& givenKey) {
    S3Configuration configuration =
        resolveS3Configuration(options.s3Destination, platform.environment, terminal);
    proposePrefix(configuration, app);
    const S3Credentials credentials = resolveS3Credentials(options, terminal);
    withFailurePrefix("Failed to store S3 credentials: ",
                      [&] { services.keyChain().setS3Credentials(credentials, app.identifier); });
    const SparkleKey key = withFailurePrefix(couldNotCreate, [&] {
        SparkleKey resolved = resolveSparkleKey(givenKey, options.generateSparkleKey, app.identifier,
                                                services.keyChain(), terminal);
        services.localApps().create({.id = UUID::random(),
                                     .bundleIdentifier = app.identifier,
                                     .edDSAPublicKey = resolved.publicKey,
                                     .iconURL = app.appIcon,
                                     .name = app.name,
                                     .storage = {configuration}});
        return resolved;
    });
    displaySparkleConfig(configuration.appcastURL(), key.publicKey, key.isNew);
}

void SetupFlow::setUpHosted(const BundleInfo& app, const std::optional<PrivateKey>& givenKey) {
    if (!services.tokenController().getToken()) // before a key is made for nothing
        throw Failure(couldNotCreate + "Not logged in. Run `halvo login`, or set HALVO_TOKEN.");
    const SparkleKey key = withFailurePrefix(couldNotCreate, [&] {
        return resolveSparkleKey(givenKey, options.generateSparkleKey, app.identifier, services.keyChain(),
                                 terminal);
    });
    const ServerApp created = withFailurePrefix(couldNotCreate, [&] {
        return terminal.progressStep({.message = "Register app",
                                      .successMessage = "App registered",
                                      .errorMessage = "Failed to register app"},
                                     [&](ProgressUpdater&) {
                                         return ServerAppRepository(services.apiClient())
                                             .create({.name = app.name,
                                                      .bundleIdentifier = app.identifier,
                                                      .edDSAPublicKey = key.publicKey,
                                                      .appcastURL = placeholderAppcastURL});
                                     });
    });
    displaySparkleConfig(created.appcastURL, key.publicKey, key.isNew);
}

void SetupFlow::displaySparkleConfig(const URL& appcastURL, const std::optional<std::string>& publicKey,
                                     bool isNew) {
    terminal.print("\nAdd these to your app's Info.plist:");
    KeyValueRows rows{{"SUFeedURL", TerminalText::secondary(appcastURL.absoluteString())}};
    if (publicKey)
        rows.emplace_back("SUPublicEDKey", TerminalText::secondary(*publicKey));
    terminal.keyValues(rows);
    if (publicKey && isNew)
        terminal.print("Sparkle Public Key: " + TerminalText::primary(*publicKey));
    terminal.print(std::string("Learn how to integrate Sparkle: ") + helpAddress::sparkle);
}

} // namespace halvo
