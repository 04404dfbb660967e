#include "ArchiveRun.h"

#include <HalvoNotarization/ArchiveExporter.h>

#include <algorithm>
#include <iterator>

namespace halvo {
namespace {

using Instant = RunningProcess::Instant;

constexpr Instant never = Instant::max();
constexpr std::string_view successLine = "** ARCHIVE SUCCEEDED **";

/// What a folder looked like: two that are equal mean that nothing was written in between.
struct Snapshot {
    std::int64_t fileCount = -1; ///< none was taken
    std::filesystem::file_time_type newestModification = std::filesystem::file_time_type::min();
    bool operator==(const Snapshot&) const = default;
};

/// None when the folder cannot be walked.
Snapshot takeSnapshot(const std::filesystem::path& archive) {
    Snapshot snapshot{.fileCount = 0};
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
    return failed ? Snapshot() : snapshot;
}

/// Tells when a run has to be killed.
class Watch {
public:
    Watch(const std::filesystem::path& archive, const XcodeArchiveService::Limits& limits, Instant now)
        : archive(archive), limits(limits), lastOutput(now), due(now + limits.poll) {}

    void noteLine(const RunningProcess::Line& line, Instant now) {
        lastOutput = now;
        if (successReportedAt == never && line.stream == OutputStream::standardOutput &&
            line.text.find(successLine) != std::string::npos)
            successReportedAt = now;
    }

    /// When to judge next, if nothing comes before.
    Instant deadline() const { return due; }

    std::optional<KillReason> judge(Instant now) {
        if (now < due)
            return std::nullopt;
        // Nobody was there to read meanwhile: Ctrl-Z stopped this process, or the machine slept.
        if (const auto late = now - due; late > limits.poll) {
            lastOutput += late;
            if (successReportedAt != never)
                successReportedAt += late;
        }
        const auto reason = reasonToKill(now);
        due = now + (previous == current ? limits.poll : limits.confirmingPoll);
        return reason;
    }

private:
    std::optional<KillReason> reasonToKill(Instant now) {
        if (now - successReportedAt > limits.hangAfterSuccess)
            return KillReason::successHang;
        const auto silence = now - lastOutput;
        if (silence > limits.stall)
            return KillReason::stall;
        if (silence <= limits.idleGrace || !isArchiveComplete(archive)) {
            previous = current = Snapshot();
            return std::nullopt;
        }
        previous = current;
        current = takeSnapshot(archive);
        if (current == Snapshot() || current != previous)
            return std::nullopt;
        return KillReason::stall;
    }

    const std::filesystem::path& archive;
    const XcodeArchiveService::Limits& limits;
    Instant lastOutput;
    Instant due;
    Instant successReportedAt = never;
    Snapshot previous;
    Snapshot current;
};

} // namespace

bool isArchiveComplete(const std::filesystem::path& archive) {
    try {
        std::error_code unreadable;
        return std::filesystem::exists(ArchiveExporter::appURL(archive), unreadable);
    } catch (const ArchiveExportError&) {
        return false; // it says that the archive is not whole yet, which is the answer
    }
}

ArchiveOutcome runArchive(ProcessRunner& processes, const ProcessRequest& request,
                          const std::filesystem::path& archive, const XcodeArchiveService::Limits& limits,
                          const XcodeArchiveService::OutputLine& onLine) {
    const auto process = processes.start(request);
    Watch watch(archive, limits, std::chrono::steady_clock::now());
    std::vector<std::string> lines[2];
    for (;;) {
        auto event = process->next(watch.deadline());
        const Instant now = std::chrono::steady_clock::now();
        if (auto* line = std::get_if<RunningProcess::Line>(&event)) {
            watch.noteLine(*line, now);
            onLine(line->text);
            lines[static_cast<std::size_t>(line->stream)].push_back(std::move(line->text));
        } else if (const auto* end = std::get_if<RunningProcess::End>(&event)) {
            std::move(lines[1].begin(), lines[1].end(), std::back_inserter(lines[0]));
            return {.termination = end->termination, .lines = std::move(lines[0])};
        }
        if (const auto reason = watch.judge(now)) {
            process->signalGroup(SIGKILL);
            return {.termination = process->wait(), .killed = reason};
        }
    }
}

} // namespace halvo
