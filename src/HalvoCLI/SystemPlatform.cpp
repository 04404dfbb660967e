#include "SystemPlatform.h"

#include <HalvoCore/StorageController.h>
#include <Platform/LoadedModule.h>
#include <Terminal/TerminalText.h>

#include <filesystem>
#include <iostream>

#include <pwd.h>
#include <unistd.h>

namespace halvo {
namespace {

std::filesystem::path homeDirectoryOf(const Environment& environment) {
    if (const auto home = environment.nonEmpty("HOME"))
        return *home;
    const passwd* user = ::getpwuid(::getuid());
    return user != nullptr ? user->pw_dir : "/";
}

std::filesystem::path temporaryDirectoryOf(const Environment& environment) {
    return environment.nonEmpty("TMPDIR").value_or("/tmp");
}

void warnOnStandardError(const std::string& message) {
    std::cerr << "warning: " << sanitised(message) << std::endl;
}

} // namespace

struct SystemPlatform::Parts {
    Environment environment = Environment::ofProcess();
    std::filesystem::path home = homeDirectoryOf(environment);
    SystemClock clock{};
    ToolPaths tools{environment, installedToolbox()};
    SystemProcessRunner processes{environment, tools};
    std::unique_ptr<UserDefaults> userDefaults =
        makeSystemUserDefaults(settingsSuiteName, environment, home, clock, warnOnStandardError);
    std::unique_ptr<KeychainItems> keychainItems;
    std::unique_ptr<HTTPSession> http =
        makeSystemHTTPSession(environment.nonEmpty("SSL_CERT_FILE").value_or(""));
    std::unique_ptr<ImageServices> images = makeSystemImageServices();
    SystemWorkspace workspace{environment};
    SystemVolumeFacts volumes{};
    SystemLog log{};
    Platform platform;

    explicit Parts(const std::stop_token& cancellation)
        : keychainItems(makeSystemKeychainItems(environment, home, clock, cancellation, warnOnStandardError)),
          platform{.environment = environment,
                   .clock = clock,
                   .processes = processes,
                   .userDefaults = *userDefaults,
                   .keychainItems = *keychainItems,
                   .http = *http,
                   .images = *images,
                   .workspace = workspace,
                   .volumes = volumes,
                   .log = log,
                   .temporaryDirectory = temporaryDirectoryOf(environment),
                   .homeDirectory = home,
                   .cancellation = cancellation,
                   .hasDiskImageTools = tools.has("/usr/bin/hdiutil"),
                   .executable = executablePath()} {}
};

SystemPlatform::SystemPlatform(std::stop_token cancellation) : parts(std::make_unique<Parts>(cancellation)) {}
SystemPlatform::~SystemPlatform() = default;

Platform& SystemPlatform::platform() { return parts->platform; }
const Environment& SystemPlatform::environment() const { return parts->environment; }
SystemProcessRunner& SystemPlatform::processes() { return parts->processes; }

} // namespace halvo
