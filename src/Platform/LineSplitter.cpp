#include "LineSplitter.h"

#include <Base/Unicode.h>

#include <algorithm>
#include <string_view>
#include <utility>

namespace halvo {

void LineSplitter::feed(std::span<const char> bytes) {
    const std::string_view text(bytes.data(), bytes.size());
    std::size_t lineFeed = text.find('\n'); // searched for again only once it is passed
    for (std::size_t start = 0; start < text.size();) {
        if (std::exchange(afterCarriageReturn, false) && text[start] == '\n') {
            ++start;
        } else {
            const std::string_view line = text.substr(start, std::min(lineFeed, text.size()) - start);
            const std::size_t length = std::min(line.find('\r'), line.size());
            const std::size_t taken = std::min(length, longestLine - unfinished.size());
            unfinished += line.substr(0, taken);
            start += taken;
            if (taken < length) {
                endLine();
            } else if (start < text.size()) {
                afterCarriageReturn = text[start] == '\r';
                endLine();
                ++start;
            }
        }
        if (start > lineFeed)
            lineFeed = text.find('\n', start);
    }
}

void LineSplitter::finish() {
    if (!unfinished.empty())
        endLine();
}

std::optional<std::string> LineSplitter::next() {
    if (lines.empty())
        return std::nullopt;
    std::string line = std::move(lines.front());
    lines.pop_front();
    return isValidUTF8(line) ? line : repairedUTF8(line);
}

std::string LineSplitter::begun() const { return repairedUTF8(unfinished); }

void LineSplitter::endLine() { lines.push_back(std::exchange(unfinished, {})); }

} // namespace halvo
