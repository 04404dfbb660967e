#include <Platform/Interruption.h>

#include <chrono>

#include <unistd.h>

namespace halvo {
namespace {

using Steady = std::chrono::steady_clock;

constexpr std::chrono::seconds cleanUpTime{2};
constexpr int wakeUp = SIGUSR1; ///< of the watcher, at the end of the object

/// The next signal; 0 when the deadline passes first.
int nextSignal(const sigset_t& signals, std::optional<Steady::time_point> deadline) {
    if (!deadline) {
        int number = 0;
        ::sigwait(&signals, &number);
        return number;
    }
    const auto left = std::max(*deadline - Steady::now(), Steady::duration::zero());
    const auto seconds = std::chrono::floor<std::chrono::seconds>(left);
    const timespec time{.tv_sec = seconds.count(),
                        .tv_nsec = std::chrono::nanoseconds(left - seconds).count()};
    const int number = ::sigtimedwait(&signals, nullptr, &time);
    return number < 0 ? 0 : number;
}

bool isIgnored(int number) {
    struct sigaction action {};
    return ::sigaction(number, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

void react(const std::function<void()>& reaction) {
    if (reaction)
        reaction();
}

} // namespace

Interruption::Interruption(std::stop_source source, Reactions reactions)
    : source(std::move(source)), reactions(std::move(reactions)) {
    sigemptyset(&signals);
    for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP})
        if (!isIgnored(number))
            sigaddset(&signals, number);
    sigaddset(&signals, wakeUp);
    ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    watcher = std::jthread([this](const std::stop_token& ended) { watch(ended); });
}

Interruption::~Interruption() {
    watcher.request_stop();
    ::pthread_kill(watcher.native_handle(), wakeUp);
}

void Interruption::watch(const std::stop_token& ended) {
    std::optional<Steady::time_point> deadline; // of the clean-up
    while (!ended.stop_requested()) {
        const int number = nextSignal(signals, deadline);
        const bool isFirst = received == 0;
        if (number == SIGTSTP) {
            suspend();
        } else if (number != wakeUp) {
            if (isFirst)
                received = number;
            if (number == SIGQUIT || (deadline && number != 0) || (deadline && Steady::now() >= *deadline))
                abandon();
            if (isFirst) {
                source.request_stop();
            } else if (number != 0) {
                react(reactions.hurry);
                deadline = Steady::now() + cleanUpTime;
            }
        }
    }
}

void Interruption::suspend() const {
    react(reactions.suspend);
    // The signal's own action stops the process. It does nothing where no shell could let the process go on.
    sigset_t stop;
    sigemptyset(&stop);
    sigaddset(&stop, SIGTSTP);
    ::pthread_kill(::pthread_self(), SIGTSTP);
    ::pthread_sigmask(SIG_UNBLOCK, &stop, nullptr); // stands still here
    ::pthread_sigmask(SIG_BLOCK, &stop, nullptr);
    react(reactions.resume);
}

void Interruption::abandon() const {
    react(reactions.abandon);
    ::_exit(128 + received);
}

std::optional<int> Interruption::status() const {
    const int number = received;
    return number == 0 ? std::nullopt : std::optional(128 + number);
}

} // namespace halvo
