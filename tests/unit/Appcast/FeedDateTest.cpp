#include "FeedTools.h"

#include <Support/CaseName.h>
#include <Support/TemporaryFolder.h>

#include <clocale>
#include <cstdlib>

#include <gtest/gtest.h>

namespace halvo {
namespace {

std::string between(const std::string& text, const std::string& start, const std::string& end) {
    const std::size_t begin = text.find(start) + start.size();
    return text.substr(begin, text.find(end, begin) - begin);
}

std::string writtenDate(std::string_view iso) {
    AppcastItem item = test::makeItem();
    item.pubDate = *parseISO8601(iso);
    const std::string feed = test::upserted(item, test::feedWith(""));
    EXPECT_EQ(test::parsed(feed).at(0).pubDate, item.pubDate);
    return between(feed, "<pubDate>", "</pubDate>");
}

struct ZoneCase {
    const char* name;
    const char* zone;
    const char* moment;
    const char* expected;
};

class WrittenDate : public testing::TestWithParam<ZoneCase> {};

TEST_P(WrittenDate, standsInTheZoneOfTheProcess) {
    const test::ScopedVariable zone("TZ", GetParam().zone);
    EXPECT_EQ(writtenDate(GetParam().moment), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Appcast, WrittenDate,
    testing::Values(
        ZoneCase{"utc", "UTC", "2026-11-22T09:30:00Z", "Sun, 22 Nov 2026 09:30:00 +0000"},
        ZoneCase{"halfHour", "Asia/Kolkata", "2026-12-31T20:00:01Z", "Fri, 01 Jan 2027 01:30:01 +0530"},
        ZoneCase{"west", "America/St_Johns", "2026-03-01T02:00:00Z", "Sat, 28 Feb 2026 22:30:00 -0330"},
        ZoneCase{"summer", "Europe/Berlin", "2026-07-01T12:00:00Z", "Wed, 01 Jul 2026 14:00:00 +0200"},
        ZoneCase{"winter", "Europe/Berlin", "2024-02-29T12:00:00Z", "Thu, 29 Feb 2024 13:00:00 +0100"},
        ZoneCase{"early", "UTC", "1969-12-31T23:59:59Z", "Wed, 31 Dec 1969 23:59:59 +0000"}),
    test::CaseName());

TEST(FeedDate, isEnglishInEveryLocale) {
    // A German locale of our own, since machines have different ones installed.
    const test::TemporaryFolder folder;
    const std::string locale = (folder / "de_DE.UTF-8").string();
    ASSERT_EQ(std::system(("localedef -i de_DE -f UTF-8 " + locale).c_str()), 0);
    const test::ScopedVariable path("LOCPATH", folder.path().string());
    const test::ScopedVariable zone("TZ", "UTC");
    ASSERT_NE(std::setlocale(LC_ALL, "de_DE.UTF-8"), nullptr);
    const std::string written = writtenDate("2026-05-19T08:00:00Z");
    std::setlocale(LC_ALL, "C");
    EXPECT_EQ(written, "Tue, 19 May 2026 08:00:00 +0000");
}

struct DateCase {
    const char* name;
    const char* text;
    const char* expected; ///< null: not readable
};

class ReadDate : public testing::TestWithParam<DateCase> {};

TEST_P(ReadDate, takesTheFormsOfOtherTools) {
    std::string feed = test::feedWith(test::itemText("1"));
    const std::string original = "Sun, 22 Nov 2026 09:30:00 +0000";
    feed.replace(feed.find(original), original.size(), GetParam().text);
    const auto items = test::parsed(feed);
    ASSERT_EQ(items.size(), GetParam().expected == nullptr ? 0u : 1u);
    for (const AppcastItem& item : items)
        EXPECT_EQ(formatISO8601(item.pubDate), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Appcast, ReadDate,
    testing::Values(DateCase{"offset", "Sun, 22 Nov 2026 09:30:00 -0800", "2026-11-22T17:30:00Z"},
                    DateCase{"wrongDayName", "Mon, 22 Nov 2026 09:30:00 +0000", "2026-11-22T09:30:00Z"},
                    DateCase{"fullNames", "sunday, 22 november 2026 09:30:00 +0000", "2026-11-22T09:30:00Z"},
                    DateCase{"oneDigitDay", "Sun, 1 Nov 2026 9:30:00 +0000", "2026-11-01T09:30:00Z"},
                    DateCase{"colon", "Sun, 22 Nov 2026 09:30:00 +05:30", "2026-11-22T04:00:00Z"},
                    DateCase{"zoneName", "Sun, 22 Nov 2026 09:30:00 GMT", "2026-11-22T09:30:00Z"},
                    DateCase{"american", "Sun, 22 Nov 2026 09:30:00 PDT", "2026-11-22T16:30:00Z"},
                    DateCase{"blanksAround", "\n  Sun, 22  Nov 2026 09:30:00 Z\n", "2026-11-22T09:30:00Z"},
                    DateCase{"noDayName", "22 Nov 2026 09:30:00 +0000", nullptr},
                    DateCase{"noZone", "Sun, 22 Nov 2026 09:30:00", nullptr},
                    DateCase{"unknownZone", "Sun, 22 Nov 2026 09:30:00 CET", nullptr},
                    DateCase{"german", "So, 22 Nov 2026 09:30:00 +0000", nullptr},
                    DateCase{"noSuchDay", "Mon, 30 Feb 2026 09:30:00 +0000", nullptr},
                    DateCase{"hour24", "Sun, 22 Nov 2026 24:00:00 +0000", nullptr},
                    DateCase{"wildOffset", "Sun, 22 Nov 2026 09:30:00 +0560", nullptr},
                    DateCase{"twoDigitYear", "Sun, 22 Nov 26 09:30:00 +0000", nullptr},
                    DateCase{"more", "Sun, 22 Nov 2026 09:30:00 +0000 x", nullptr},
                    DateCase{"iso", "2026-11-22T09:30:00Z", nullptr}, DateCase{"empty", "", nullptr}),
    test::CaseName());

} // namespace
} // namespace halvo
