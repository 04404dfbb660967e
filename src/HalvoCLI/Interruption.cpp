#include "Interruption.h"

#include <Terminal/InputSource.h>

#include <csignal>

#include <unistd.h>

namespace halvo {
namespace {

sigset_t watchedSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGUSR1})
        sigaddset(&signals, number);
    return signals;
}

} // namespace

Interruption::Interruption() {
    const sigset_t signals = watchedSignals();
    ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    watcher = std::jthread([this](const std::stop_token& ended) { watch(ended); });
}

Interruption::~Interruption() {
    watcher.request_stop();
    ::pthread_kill(watcher.native_handle(), SIGUSR1); // wakes it from its wait
}

void Interruption::watch(const std::stop_token& ended) {
    const sigset_t signals = watchedSignals();
    while (!ended.stop_requested()) {
        int number = 0;
        if (::sigwait(&signals, &number) != 0 || number == SIGUSR1)
            continue;
        if (received.exchange(number) != 0) {
            restoreTerminal();
            ::_exit(128 + number);
        }
        source.request_stop();
    }
}

std::optional<int> Interruption::status() const {
    const int number = received;
    if (number == 0)
        return std::nullopt;
    return 128 + number;
}

} // namespace halvo
