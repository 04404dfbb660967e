#pragma once

#include "Commands/Setup/SetupOptions.h"
#include "Commands/Setup/SparkleKeySetup.h"
#include "DependencyContainer.h"

#include <Models/BundleInfo.h>
#include <Terminal/Terminal.h>

namespace halvo {

/// One run of `halvo setup`.
class SetupFlow {
public:
    SetupFlow(const SetupOptions& options, Platform& platform, Terminal& terminal)
        : options(options), platform(platform), terminal(terminal), services(platform) {}

    /// Throws a Failure whose text is the whole report.
    void run();

private:
    BundleInfo importApp();
    bool isSetUp(const BundleInfo& app);
    HostingType chooseHosting(const BundleInfo& app);
    void proposePrefix(S3Configuration& configuration, const BundleInfo& app);
    void setUpS3(const BundleInfo& app, const std::optional<PrivateKey>& givenKey);
    void setUpHosted(const BundleInfo& app, const std::optional<PrivateKey>& givenKey);
    void displaySparkleConfig(const URL& appcastURL, const std::optional<std::string>& publicKey,
                              bool isNew = false);

    const SetupOptions& options;
    Platform& platform;
    Terminal& terminal;
    DependencyContainer services;
};

} // namespace halvo
