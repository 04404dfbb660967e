#pragma once

#include "Commands/Release/ReleasePlan.h"

#include <HalvoCore/BinaryPreparationService.h>
#include <Models/PreparedBinary.h>

#include <functional>
#include <optional>

namespace halvo {

/// Prepares the file of a release, and tries again where an App Store Connect key may get what was missing.
class ReleasePreparation {
public:
    ReleasePreparation(BinaryPreparationService& preparation, const ReleaseCredentials& credentials)
        : preparation(preparation), credentials(credentials) {}

    /// Shows through `line` how it goes. `onStep` takes each step in the place of the line. Throws what
    /// BinaryPreparationService throws; of two exports that failed, only the folder of the second stays.
    PreparedBinary prepareBinaryWithProgress(const ImportedBundle& imported, const ReleasePlan& plan,
                                             const PrivateKey& key, ProgressUpdater& line,
                                             const StepChange& onStep = {});

private:
    PreparedBinary prepare(const BinaryPreparationService::Request& request);

    BinaryPreparationService& preparation;
    const ReleaseCredentials& credentials;
};

/// How to export after an export that lacked a provisioning profile; absent when there is nothing left to
/// try.
std::optional<ArchiveExporter::Signing>
escalatedExportSigning(const std::optional<ArchiveExporter::Signing>& after,
                       const std::optional<NotarizationCredentials>& credentials);

} // namespace halvo
