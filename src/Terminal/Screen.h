#pragma once

#include <Terminal/Terminal.h>

#include "TextLayout.h"

#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace halvo {

/// A line that is drawn again and again at the bottom of the terminal.
class StatusLine {
public:
    virtual ~StatusLine() = default;
    /// At most `width` columns, painted. Called with the screen held.
    virtual std::string draw(const Painter& painter, std::size_t width) = 0;
};

/// The outputs of a kit and the one mutex that keeps what is written to them apart. Who writes holds the
/// screen and shows the Hold.
class Screen {
public:
    using Hold = std::unique_lock<std::mutex>;

    Screen(TerminalStreams streams, Theme theme, MonotonicClock now);

    Hold hold() { return Hold(mutex); }
    std::chrono::steady_clock::time_point now() const { return clock(); }
    OutputPipeline& standardOutput() const { return *streams.standardOutput; }
    OutputPipeline& standardError() const { return *streams.standardError; }
    /// Where questions are asked; null when neither output is a terminal.
    OutputPipeline* conversation() const;
    const Theme& looks() const { return theme; }
    Painter painter(const OutputPipeline& output) const { return {theme, output.description().coloured}; }

    /// Writes above the status line.
    void write(const Hold&, OutputPipeline& output, std::string_view text);

    // Status lines stand on standard error, which must be interactive. The last one shown is the visible one.
    void show(const Hold&, StatusLine& line);
    void remove(const Hold&, StatusLine& line);
    /// Draws the line again if it is the visible one.
    void refresh(const Hold&, StatusLine& line);
    /// Wipes the status line for somebody else's drawing, until the next refresh.
    void clear(const Hold&);
    /// The counterparts for a prompt, during which the cursor is shown.
    void pause(const Hold&);
    void resume(const Hold&);

private:
    void draw(StatusLine& line);

    const TerminalStreams streams;
    const Theme theme;
    const MonotonicClock clock;
    std::mutex mutex;
    std::vector<StatusLine*> statusLines;
    bool drawn = false;
};

} // namespace halvo
