#include "ArchiveMonitor.h"

#include <HalvoNotarization/ArchiveExporter.h>

#include <algorithm>

namespace halvo {

void StallTracker::noteOutput(Instant now) {
    const std::lock_guard lock(mutex);
    state.lastOutput = now;
}

void StallTracker::noteSuccess(Instant now) {
    const std::lock_guard lock(mutex);
    if (!state.successReportedAt)
        state.successReportedAt = now;
}

StallTracker::State StallTracker::snapshot() const {
    const std::lock_guard lock(mutex);
    return state;
}

std::optional<ArchiveSnapshot> takeSnapshot(const std::filesystem::path& archive) {
    ArchiveSnapshot snapshot;
    std::error_code failed;
    std::filesystem::recursive_directory_iterator entry(
        archive, std::filesystem::directory_options::skip_permission_denied, failed);
    for (; !failed && entry != std::filesystem::recursive_directory_iterator(); entry.increment(failed)) {
        ++snapshot.fileCount;
        std::error_code undated;
        const auto modification = entry->last_write_time(undated);
        if (!undated)
            snapshot.newestModification = std::max(snapshot.newestModification, modification);
    }
    if (failed)
        return std::nullopt;
    return snapshot;
}

bool isArchiveComplete(const std::filesystem::path& archive) {
    try {
        std::error_code unreadable;
        return std::filesystem::exists(ArchiveExporter::appURL(archive), unreadable);
    } catch (const ArchiveExportError&) {
        return false; // it says that the archive is not whole yet, which is the answer
    }
}

std::optional<KillReason> ArchiveMonitor::watch(const std::stop_token& stop) {
    try {
        for (;;) {
            clock.sleep(previous == current ? limits.poll : limits.confirmingPoll, stop);
            if (const auto reason = judge())
                return reason;
        }
    } catch (const CancelledError&) {
        return std::nullopt;
    }
}

std::optional<KillReason> ArchiveMonitor::judge() {
    const auto now = clock.steadyNow();
    const StallTracker::State state = tracker.snapshot();
    if (state.successReportedAt && now - *state.successReportedAt > limits.hangAfterSuccess)
        return KillReason::successHang;
    const auto silence = now - state.lastOutput;
    if (silence > limits.stall)
        return KillReason::stall;
    if (silence <= limits.idleGrace || !isArchiveComplete(archive)) {
        previous.reset();
        current.reset();
        return std::nullopt;
    }
    previous = current;
    current = takeSnapshot(archive);
    if (previous && previous == current)
        return KillReason::stall;
    return std::nullopt;
}

} // namespace halvo
