#pragma once

#include <cstddef>
#include <deque>
#include <optional>
#include <span>
#include <string>

namespace halvo {

/// Cuts a stream of bytes into lines at LF, CR LF and CR, wherever the pieces of the stream begin and end.
class LineSplitter {
public:
    /// A line that grows longer is given out in pieces of this size.
    static constexpr std::size_t longestLine = 1 << 20;

    void feed(std::span<const char> bytes);
    /// The stream is over: what stands behind the last break is the last line, unless that is nothing.
    void finish();
    /// The next whole line, with each sequence that is not UTF-8 replaced by U+FFFD.
    std::optional<std::string> next();
    /// The line that has no end yet, in the same form.
    std::string begun() const;

private:
    void endLine();

    std::deque<std::string> lines;
    std::string unfinished;
    bool afterCarriageReturn = false;
};

} // namespace halvo
