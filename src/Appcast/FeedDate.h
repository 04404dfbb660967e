#pragma once

#include <Base/Date.h>

#include <optional>
#include <string>
#include <string_view>

namespace halvo {

/// The form of dates in a feed, "Sun, 22 Nov 2026 10:30:00 +0100", in English and in the time zone of the
/// process (the C library's, which reads TZ).
std::string formatFeedDate(Date date);

/// Reads that form with what other tools write as well: a full day or month name, a day of one digit, an
/// offset with a colon, and the zone names of RFC 822. The name of the day need not fit the date.
std::optional<Date> parseFeedDate(std::string_view text);

} // namespace halvo
