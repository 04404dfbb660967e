#pragma once

#include <Terminal/TransferRate.h>

#include "TextLayout.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>

namespace halvo {

struct Transfer {
    std::uint64_t done = 0;
    std::uint64_t total = 0; ///< zero: not known
};

/// "0.4s", "12.3s", "3m 20s", "1h 05m"
std::string formatDuration(std::chrono::milliseconds duration);

/// "45.2 MB of 104.9 MB (43%)"
std::string describeBytes(const Transfer& transfer);

/// "45.2 MB of 104.9 MB (43%), 5.2 MB/s, 12s left", as far as it is known.
std::string describeTransfer(const Transfer& transfer, const TransferRate& rate);

/// Symbol, message and details in one line of at most `width` columns. The message gives way first.
std::string stepLine(const Painter& painter, std::string_view symbol, const TerminalText& message,
                     const std::string& details, std::size_t width);

} // namespace halvo
