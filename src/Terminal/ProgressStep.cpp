#include <Terminal/ProgressStep.h>

#include "Screen.h"
#include "StepLine.h"

#include <array>
#include <condition_variable>
#include <functional>
#include <optional>
#include <thread>

#include <signal.h>

namespace halvo {
namespace {

using namespace std::chrono_literals;
using TimePoint = std::chrono::steady_clock::time_point;

constexpr std::array<std::string_view, 10> spinner{"\u280B", "\u2819", "\u2839", "\u2838", "\u283C",
                                                   "\u2834", "\u2826", "\u2827", "\u2807", "\u280F"};
constexpr std::string_view stillSymbol = "\u2022";
constexpr auto frameInterval = 80ms;
constexpr auto waitShownFrom = 500ms;
constexpr auto plainLineInterval = 10s;
/// A step that is over sooner needs no count of its seconds.
constexpr auto elapsedShownFrom = 1s;

std::chrono::milliseconds milliseconds(std::chrono::steady_clock::duration duration) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(duration);
}

/// Blocks every signal in this thread for its lifetime, for threads that are started meanwhile to inherit.
class SignalsBlocked {
public:
    SignalsBlocked() {
        sigset_t all;
        ::sigfillset(&all);
        ::pthread_sigmask(SIG_SETMASK, &all, &before);
    }
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;
    ~SignalsBlocked() { ::pthread_sigmask(SIG_SETMASK, &before, nullptr); }

private:
    sigset_t before{};
};

} // namespace

/// All of it is guarded by the screen's mutex, but for the thread.
struct RunningStep::State final : StatusLine {
    State(Screen& screen, const ProgressStep& step)
        : screen(screen), step(step), message(step.message),
          redraws(screen.standardError().description().interactive), start(screen.now()),
          lastPlainLine(start) {}

    void begin() {
        const auto held = screen.hold();
        if (!redraws) {
            writePlainLine(held, step.message);
            return;
        }
        screen.show(held, *this);
        if (step.showSpinner)
            startAnimation([this](const std::stop_token& stop) { animate(screen.hold(), stop); });
    }

    void beginWait() {
        if (redraws)
            startAnimation([this](const std::stop_token& stop) { animateWait(stop); });
    }

    void startAnimation(std::function<void(const std::stop_token&)> frames) {
        const SignalsBlocked inherited; // signals are for the threads that the program made for them
        animation = std::jthread(std::move(frames));
    }

    ~State() override { takeAway(); }

    void animateWait(const std::stop_token& stop) {
        auto held = screen.hold();
        if (wakeUp.wait_for(held, stop, waitShownFrom, [&] { return stop.stop_requested(); }))
            return;
        screen.show(held, *this);
        animate(std::move(held), stop);
    }

    void animate(Screen::Hold held, const std::stop_token& stop) {
        while (!wakeUp.wait_for(held, stop, frameInterval, [&] { return stop.stop_requested(); })) {
            ++frame;
            screen.refresh(held, *this);
        }
    }

    void stopAnimation() {
        animation.request_stop();
        if (animation.joinable())
            animation.join();
    }

    /// Takes the line off the screen. May be called again.
    void takeAway() {
        stopAnimation();
        const auto held = screen.hold();
        screen.remove(held, *this);
    }

    void end(TextStyle style, std::string_view symbol, const TerminalText& text) {
        takeAway();
        const auto held = screen.hold();
        OutputPipeline& output = screen.standardError();
        const Painter painter = screen.painter(output);
        const std::string duration = formatDuration(milliseconds(screen.now() - start));
        screen.write(held, output,
                     painter.painted({{style, std::string(symbol)}, {TextStyle::plain, " "}}) +
                         painter.painted(painter.prepared(text)) +
                         painter.painted({{TextStyle::muted, " (" + duration + ")"}}) + "\n");
    }

    void writePlainLine(const Screen::Hold& held, const TerminalText& text) {
        OutputPipeline& output = screen.standardError();
        const Painter painter = screen.painter(output);
        std::string line = painter.painted(painter.prepared(text)) + "\n";
        if (line != lastPlainText)
            screen.write(held, output, line);
        lastPlainText = std::move(line);
        lastPlainLine = screen.now();
    }

    std::string draw(const Painter& painter, std::size_t width) override {
        const TimePoint now = lastDrawn = screen.now();
        std::string details;
        if (transfer) {
            rate.record(now, transfer->done);
            details = describeTransfer(*transfer, rate);
        } else if (now - start >= elapsedShownFrom) {
            const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(now - start);
            details = seconds < 60s ? std::to_string(seconds.count()) + "s" : formatDuration(seconds);
        }
        return stepLine(painter, step.showSpinner ? spinner[frame % spinner.size()] : stillSymbol, message,
                        details, width);
    }

    Screen& screen;
    const ProgressStep step;
    TerminalText message;
    const bool redraws;
    const TimePoint start;
    TimePoint lastPlainLine;
    TimePoint lastDrawn;
    std::string lastPlainText;
    std::optional<Transfer> transfer;
    TransferRate rate;
    std::size_t frame = 0;
    std::condition_variable_any wakeUp;
    std::jthread animation; ///< last: it uses all of the above
};

RunningStep::RunningStep(Screen& screen, const ProgressStep& step)
    : state(std::make_unique<State>(screen, step)) {
    state->begin();
}

RunningStep::RunningStep(Screen& screen, const TerminalText& message)
    : state(std::make_unique<State>(screen, ProgressStep{.message = message})) {
    state->beginWait();
}

RunningStep::~RunningStep() = default;

void RunningStep::update(const TerminalText& text) {
    const auto held = state->screen.hold();
    state->message = text;
    state->transfer.reset();
    state->rate = {};
    if (!state->redraws)
        state->writePlainLine(held, text);
    else if (!state->step.showSpinner)
        state->screen.refresh(held, *state);
}

void RunningStep::progress(std::uint64_t done, std::uint64_t total) {
    const auto held = state->screen.hold();
    if (done == 0 && total == 0) {
        state->transfer.reset();
        state->rate = {};
        return;
    }
    state->transfer = {done, total};
    const TimePoint now = state->screen.now();
    if (!state->redraws) {
        if (now - state->lastPlainLine >= plainLineInterval)
            state->writePlainLine(held, state->message + ": " + describeBytes(*state->transfer));
    } else if (!state->step.showSpinner && now - state->lastDrawn >= frameInterval) {
        state->screen.refresh(held, *state);
    }
}

void RunningStep::succeed() { state->end(TextStyle::success, "\u2714", state->step.successMessage); }

void RunningStep::fail() { state->end(TextStyle::danger, "\u2716", state->step.errorMessage); }

} // namespace halvo
