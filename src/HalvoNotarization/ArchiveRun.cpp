#include "ArchiveRun.h"

#include <iterator>
#include <thread>

namespace halvo {
namespace {

constexpr std::string_view successLine = "** ARCHIVE SUCCEEDED **";

} // namespace

ArchiveRun::Outcome ArchiveRun::perform(ProcessRequest request, const std::filesystem::path& archive,
                                        ArchiveMonitor::Limits limits,
                                        const std::function<void(const std::string&)>& onLine) {
    // The readers end when the child does; when this function leaves early, the run's own stop releases them.
    std::stop_source run;
    const std::stop_callback forward(request.cancellation, [&run] { run.request_stop(); });
    request.cancellation = run.get_token();
    const auto process = processes.start(request);
    StallTracker tracker(clock.steadyNow());
    Outcome outcome;
    {
        const std::jthread output([&] { read(*process, OutputStream::standardOutput, tracker); });
        const std::jthread error([&] { read(*process, OutputStream::standardError, tracker); });
        const std::jthread monitor([&](const std::stop_token& stop) {
            try {
                if (const auto reason = ArchiveMonitor(clock, tracker, archive, limits).watch(stop)) {
                    deliver(
                        Killed{*reason}); // first: the readers' ends, which the signal brings, count after it
                    process->signalGroup(SIGKILL);
                }
            } catch (...) {
                deliver(Failed{std::current_exception()});
            }
        });
        try {
            outcome = collect(onLine);
        } catch (...) {
            run.request_stop();
            throw;
        }
    }
    outcome.termination = process->wait();
    return outcome;
}

ArchiveRun::Outcome ArchiveRun::collect(const std::function<void(const std::string&)>& onLine) {
    Outcome outcome;
    std::vector<std::string> lines[2];
    for (int finished = 0; finished < 2 && !outcome.killed;) {
        Event event = nextEvent();
        if (auto* line = std::get_if<Line>(&event)) {
            onLine(line->text);
            lines[static_cast<std::size_t>(line->stream)].push_back(std::move(line->text));
        } else if (const auto* killed = std::get_if<Killed>(&event)) {
            outcome.killed = killed->reason;
        } else if (const auto* failed = std::get_if<Failed>(&event)) {
            std::rethrow_exception(failed->failure);
        } else {
            ++finished;
        }
    }
    outcome.lines = std::move(lines[0]);
    std::move(lines[1].begin(), lines[1].end(), std::back_inserter(outcome.lines));
    return outcome;
}

void ArchiveRun::read(RunningProcess& process, OutputStream stream, StallTracker& tracker) {
    try {
        while (auto line = process.readLine(stream)) {
            const auto now = clock.steadyNow();
            tracker.noteOutput(now);
            if (stream == OutputStream::standardOutput && line->find(successLine) != std::string::npos)
                tracker.noteSuccess(now);
            deliver(Line{stream, std::move(*line)});
        }
        deliver(Finished{});
    } catch (...) {
        deliver(Failed{std::current_exception()});
    }
}

void ArchiveRun::deliver(Event event) {
    const std::lock_guard lock(mutex);
    queue.push_back(std::move(event));
    delivered.notify_one();
}

ArchiveRun::Event ArchiveRun::nextEvent() {
    std::unique_lock lock(mutex);
    delivered.wait(lock, [this] { return !queue.empty(); });
    Event event = std::move(queue.front());
    queue.pop_front();
    return event;
}

} // namespace halvo
