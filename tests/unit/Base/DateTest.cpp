#include <Base/Date.h>

#include <gtest/gtest.h>

namespace halvo {
namespace {

using namespace std::chrono_literals;

constexpr Date release = std::chrono::sys_days(std::chrono::year(2026) / 11 / 22) + 9h + 30min + 5s;

TEST(Date, countsSecondsFrom2001) {
    EXPECT_EQ(secondsSinceReferenceDate(std::chrono::sys_days(std::chrono::year(2001) / 1 / 1)), 0.0);
    EXPECT_EQ(secondsSinceReferenceDate(release + 250ms), 817032605.25);
    EXPECT_EQ(dateFromReferenceSeconds(817032605.25), release + 250ms);
    EXPECT_EQ(dateFromReferenceSeconds(-1),
              std::chrono::sys_days(std::chrono::year(2000) / 12 / 31) + 23h + 59min + 59s);
    EXPECT_FALSE(dateFromReferenceSeconds(1e300));
    EXPECT_FALSE(dateFromReferenceSeconds(std::numeric_limits<double>::quiet_NaN()));
}

TEST(Date, readsISO8601WithZonesAndFractions) {
    EXPECT_EQ(formatISO8601(release), "2026-11-22T09:30:05Z");
    EXPECT_EQ(formatTimestamp(release), "20261122093005");
    for (const char* text : {"2026-11-22T09:30:05Z", "2026-11-22T10:30:05+01:00", "2026-11-22T04:00:05-0530",
                             "2026-11-22T09:30:05.000Z"})
        EXPECT_EQ(parseISO8601(text), release) << text;
    EXPECT_EQ(parseISO8601("2026-11-22T09:30:05.1234567Z"), release + 123456us);
    for (const char* text : {"", "2026-11-22", "2026-11-22T09:30:05", "2026-13-22T09:30:05Z",
                             "2026-02-30T09:30:05Z", "2026-11-22T24:30:05Z", "2026-11-22 09:30:05Z",
                             "2026-11-22T09:30:05.Z", "2026-11-22T09:30:05Zx", "2026-11-22T09:30:05+25:00"})
        EXPECT_FALSE(parseISO8601(text)) << text;
}

TEST(Date, refusesDaysThatDoNotExist) {
    EXPECT_FALSE(dateFromCivilTime({.year = 2025, .month = 2, .day = 29}));
    EXPECT_EQ(civilTime(*dateFromCivilTime({.year = 2024, .month = 2, .day = 29, .second = 60})),
              (CivilTime{.year = 2024, .month = 2, .day = 29, .minute = 1}));
}

} // namespace
} // namespace halvo
