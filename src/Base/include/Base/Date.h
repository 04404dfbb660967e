#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace halvo {

/// A moment in UTC, to the microsecond.
using Date = std::chrono::sys_time<std::chrono::microseconds>;

/// Seconds since 2001-01-01 00:00:00 UTC, the form in which records on disk hold a date.
double secondsSinceReferenceDate(Date date);
/// Absent for a number that a Date cannot hold.
std::optional<Date> dateFromReferenceSeconds(double seconds);

/// ISO 8601 in UTC with whole seconds: "2026-11-22T09:30:00Z".
std::string formatISO8601(Date date);
/// Reads "2026-11-22T09:30:00", with optional fractions of a second, and "Z" or an offset such as "+01:00".
std::optional<Date> parseISO8601(std::string_view text);

/// "20261122093000": year to second in UTC, digits only.
std::string formatTimestamp(Date date);

/// A calendar day and time, free of any zone. `month` counts from 1.
struct CivilTime {
    int year = 1970;
    unsigned month = 1;
    unsigned day = 1;
    unsigned hour = 0;
    unsigned minute = 0;
    unsigned second = 0;
    bool operator==(const CivilTime&) const = default;
};

/// Absent when the fields name no day or no time of a day; second 60 counts as the next minute.
std::optional<Date> dateFromCivilTime(const CivilTime& civil);
CivilTime civilTime(Date date);

} // namespace halvo
