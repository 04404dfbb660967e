#pragma once

#include <Platform/Clock.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <mutex>
#include <optional>
#include <stop_token>

namespace halvo {

/// When an archive run last said something, kept by its readers for its monitor.
class StallTracker {
public:
    using Instant = std::chrono::steady_clock::time_point;
    struct State {
        Instant lastOutput{};
        std::optional<Instant> successReportedAt{};
    };

    explicit StallTracker(Instant start) : state{start, std::nullopt} {}

    void noteOutput(Instant now);
    /// The first report counts; later ones change nothing.
    void noteSuccess(Instant now);
    State snapshot() const;

private:
    mutable std::mutex mutex;
    State state;
};

/// What a folder looked like: two that are equal mean that nothing was written in between.
struct ArchiveSnapshot {
    std::int64_t fileCount = 0;
    std::filesystem::file_time_type newestModification = std::filesystem::file_time_type::min();
    bool operator==(const ArchiveSnapshot&) const = default;
};

/// Absent when the folder cannot be walked.
std::optional<ArchiveSnapshot> takeSnapshot(const std::filesystem::path& archive);

/// Whether the app that an archive names lies in it.
bool isArchiveComplete(const std::filesystem::path& archive);

enum class KillReason {
    stall,      ///< silent for too long, or silent with a whole archive
    successHang ///< reported success and did not end
};

/// Watches one archive run.
class ArchiveMonitor {
public:
    struct Limits {
        std::chrono::seconds stall{600};
        std::chrono::seconds idleGrace{20};
        std::chrono::seconds hangAfterSuccess{15};
        std::chrono::seconds poll{10};
        std::chrono::seconds confirmingPoll{3};
    };

    ArchiveMonitor(Clock& clock, const StallTracker& tracker, std::filesystem::path archive, Limits limits)
        : clock(clock), tracker(tracker), archive(std::move(archive)), limits(limits) {}

    /// Returns why the run has to be killed; absent once `stop` is requested.
    std::optional<KillReason> watch(const std::stop_token& stop);

private:
    std::optional<KillReason> judge();

    Clock& clock;
    const StallTracker& tracker;
    std::filesystem::path archive;
    Limits limits;
    std::optional<ArchiveSnapshot> previous;
    std::optional<ArchiveSnapshot> current;
};

} // namespace halvo
