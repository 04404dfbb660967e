#include "StepLine.h"

#include <Base/Text.h>
#include <Base/Unicode.h>

#include <algorithm>

#include <fmt/format.h>

namespace halvo {

std::string formatDuration(std::chrono::milliseconds duration) {
    const auto tenths = std::max<std::int64_t>(duration.count(), 0) / 100;
    const auto seconds = tenths / 10;
    if (seconds < 60)
        return fmt::format("{}.{}s", seconds, tenths % 10);
    if (seconds < 3600)
        return fmt::format("{}m {:02}s", seconds / 60, seconds % 60);
    return fmt::format("{}h {:02}m", seconds / 3600, seconds / 60 % 60);
}

std::string describeBytes(const Transfer& transfer) {
    if (transfer.total == 0)
        return formatByteCount(transfer.done);
    const std::uint64_t done = std::min(transfer.done, transfer.total);
    const auto percent =
        static_cast<int>(100 * (static_cast<double>(done) / static_cast<double>(transfer.total)));
    return fmt::format("{} of {} ({}%)", formatByteCount(done), formatByteCount(transfer.total), percent);
}

std::string describeTransfer(const Transfer& transfer, const TransferRate& rate) {
    std::string text = describeBytes(transfer);
    if (const auto speed = rate.bytesPerSecond())
        text += fmt::format(", {}/s", formatByteCount(static_cast<std::uint64_t>(*speed)));
    if (const auto left = rate.remaining(transfer.total); left && left->count() > 0) {
        const std::int64_t seconds = left->count();
        text += seconds < 60 ? fmt::format(", {}s left", seconds) : ", " + formatDuration(*left) + " left";
    }
    return text;
}

std::string stepLine(const Painter& painter, std::string_view symbol, const TerminalText& message,
                     const std::string& details, std::size_t width) {
    Runs line{{TextStyle::accent, std::string(symbol)}, {TextStyle::plain, " "}};
    const Runs end = details.empty() ? Runs() : Runs{{TextStyle::muted, "  " + details}};
    constexpr std::size_t leastForMessage = 12;
    const std::size_t taken = displayWidth(line) + displayWidth(end);
    const std::size_t forMessage = std::max(leastForMessage, width > taken ? width - taken : 0);
    for (const Runs& part : {truncated(painter.preparedLine(message), forMessage), end})
        line.insert(line.end(), part.begin(), part.end());
    return painter.painted(truncated(line, width));
}

} // namespace halvo
