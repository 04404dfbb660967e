#pragma once

#include <HalvoNotarization/XcodeArchiveService.h>

namespace halvo {

enum class KillReason {
    stall,      ///< silent for too long, or silent with a whole archive
    successHang ///< reported success and did not end
};

struct ArchiveOutcome {
    Termination termination{};
    std::optional<KillReason> killed{}; ///< counts before the termination
    std::vector<std::string> lines{};   ///< of standard output, then of standard error
};

/// One watched run of `xcodebuild archive`. Throws ProcessError, what `onLine` throws, and CancelledError;
/// the child is gone in every case.
ArchiveOutcome runArchive(ProcessRunner& processes, const ProcessRequest& request,
                          const std::filesystem::path& archive, const XcodeArchiveService::Limits& limits,
                          const XcodeArchiveService::OutputLine& onLine);

/// Whether the app that an archive names lies in it.
bool isArchiveComplete(const std::filesystem::path& archive);

} // namespace halvo
