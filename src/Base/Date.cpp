#include <Base/Date.h>

#include <cmath>

#include <fmt/format.h>

namespace halvo {
namespace {

using namespace std::chrono;

constexpr sys_days referenceDay = year(2001) / January / 1;
/// Far outside of what a release can carry, and safely inside of what microseconds in 64 bits can hold.
constexpr double largestReferenceSeconds = 4e12;

/// Reads from the front of a text; every step is absent when the text says something else.
class Scanner {
public:
    explicit Scanner(std::string_view input) : rest(input) {}

    std::optional<unsigned> digits(std::size_t count) {
        if (rest.size() < count)
            return std::nullopt;
        unsigned value = 0;
        for (std::size_t index = 0; index < count; ++index) {
            if (rest[index] < '0' || rest[index] > '9')
                return std::nullopt;
            value = value * 10 + static_cast<unsigned>(rest[index] - '0');
        }
        rest.remove_prefix(count);
        return value;
    }

    bool take(char expected) {
        if (rest.empty() || rest.front() != expected)
            return false;
        rest.remove_prefix(1);
        return true;
    }

    /// The digits behind a decimal point, as microseconds; what is finer is dropped.
    std::optional<microseconds> fraction() {
        std::int64_t value = 0;
        std::size_t length = 0;
        while (!rest.empty() && rest.front() >= '0' && rest.front() <= '9') {
            if (length < 6)
                value = value * 10 + (rest.front() - '0');
            ++length;
            rest.remove_prefix(1);
        }
        if (length == 0)
            return std::nullopt;
        for (std::size_t index = length; index < 6; ++index)
            value *= 10;
        return microseconds(value);
    }

    bool atEnd() const { return rest.empty(); }

private:
    std::string_view rest;
};

std::optional<minutes> readOffset(Scanner& scanner) {
    if (scanner.take('Z'))
        return minutes(0);
    const bool west = scanner.take('-');
    if (!west && !scanner.take('+'))
        return std::nullopt;
    const auto hour = scanner.digits(2);
    scanner.take(':');
    const auto minute = scanner.digits(2);
    if (!hour || !minute || *hour > 23 || *minute > 59)
        return std::nullopt;
    const minutes offset(*hour * 60 + *minute);
    return west ? -offset : offset;
}

} // namespace

double secondsSinceReferenceDate(Date date) { return duration<double>(date - referenceDay).count(); }

std::optional<Date> dateFromReferenceSeconds(double seconds) {
    if (!std::isfinite(seconds) || std::fabs(seconds) > largestReferenceSeconds)
        return std::nullopt;
    return referenceDay + microseconds(std::llround(seconds * 1e6));
}

std::optional<Date> dateFromCivilTime(const CivilTime& civil) {
    const year_month_day day{year(civil.year), month(civil.month), std::chrono::day(civil.day)};
    if (!day.ok() || civil.hour > 23 || civil.minute > 59 || civil.second > 60)
        return std::nullopt;
    return sys_days(day) + hours(civil.hour) + minutes(civil.minute) + seconds(civil.second);
}

CivilTime civilTime(Date date) {
    const auto midnight = floor<days>(date);
    const year_month_day day(midnight);
    const hh_mm_ss time(floor<seconds>(date - midnight));
    return {.year = static_cast<int>(day.year()),
            .month = static_cast<unsigned>(day.month()),
            .day = static_cast<unsigned>(day.day()),
            .hour = static_cast<unsigned>(time.hours().count()),
            .minute = static_cast<unsigned>(time.minutes().count()),
            .second = static_cast<unsigned>(time.seconds().count())};
}

std::string formatISO8601(Date date) {
    const CivilTime time = civilTime(date);
    return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}Z", time.year, time.month, time.day, time.hour,
                       time.minute, time.second);
}

std::optional<Date> parseISO8601(std::string_view text) {
    Scanner scanner(text);
    const auto year = scanner.digits(4);
    const bool firstDash = scanner.take('-');
    const auto month = scanner.digits(2);
    const bool secondDash = scanner.take('-');
    const auto day = scanner.digits(2);
    const bool separator = scanner.take('T');
    const auto hour = scanner.digits(2);
    const bool firstColon = scanner.take(':');
    const auto minute = scanner.digits(2);
    const bool secondColon = scanner.take(':');
    const auto second = scanner.digits(2);
    if (!second || !firstDash || !secondDash || !separator || !firstColon || !secondColon)
        return std::nullopt;
    if (!year || !month || !day || !hour || !minute)
        return std::nullopt;
    microseconds fraction{0};
    if (scanner.take('.')) {
        const auto read = scanner.fraction();
        if (!read)
            return std::nullopt;
        fraction = *read;
    }
    const auto offset = readOffset(scanner);
    const auto moment = dateFromCivilTime({static_cast<int>(*year), *month, *day, *hour, *minute, *second});
    if (!offset || !scanner.atEnd() || !moment)
        return std::nullopt;
    return *moment + fraction - *offset;
}

std::string formatTimestamp(Date date) {
    const CivilTime time = civilTime(date);
    return fmt::format("{:04}{:02}{:02}{:02}{:02}{:02}", time.year, time.month, time.day, time.hour,
                       time.minute, time.second);
}

} // namespace halvo
