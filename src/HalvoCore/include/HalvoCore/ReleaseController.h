#pragma once

#include <HalvoCore/BinaryPreparationService.h>
#include <HalvoCore/ReleasePublisher.h>

#include <Models/App.h>
#include <Models/ReleaseSettings.h>

#include <optional>
#include <string>

namespace halvo {

/// Throws CodesigningError when a disk image should be built and its identity is not on this machine.
void validate(const ReleaseSettings& settings, DistributionTools& tools);

/// Drives one release from an imported bundle to a published one: checks the settings, decides package format
/// and notarization, prepares the file and hands it to the publisher. For front ends that watch `state`.
class ReleaseController {
public:
    ReleaseController(App app, PrivateKey privateKey, ReleasePublisher& releasePublisher,
                      BinaryPreparationService& binaryPreparationService, DistributionTools& tools)
        : app(std::move(app)), releaseKey(std::move(privateKey)), releasePublisher(releasePublisher),
          binaryPreparationService(binaryPreparationService), tools(tools) {}

    const App app;
    // What the person chooses before publishing.
    std::string releaseNotes{};
    bool isBeta = false;
    bool isPhasedRollout = false;
    bool isCritical = false;
    bool isPublished = true;
    std::optional<std::string> error{}; ///< for the front end; never set here

    const ReleaseState& state() const { return current; }
    std::string publicKey() const { return releaseKey.publicKey().baseEncoding(); }

    /// A failure before the upload leaves the state idle, one in the upload as the publisher has it. Throws
    /// what the steps throw.
    UploadResult publish(const ImportedBundle& importedBundle,
                         const std::optional<ReleaseSettings>& settings);
    void retryUpload();
    void cancelUpload();

private:
    PreparedBinary prepare(const ImportedBundle& importedBundle,
                           const std::optional<ReleaseSettings>& settings);
    void show(ReleaseState::Step step) { current.value = ReleaseState::Publishing{step}; }

    PrivateKey releaseKey;
    ReleasePublisher& releasePublisher;
    BinaryPreparationService& binaryPreparationService;
    DistributionTools& tools;
    ReleaseState current{};
};

} // namespace halvo
