#include "FeedTools.h"

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

TEST(WrittenDate, standsInTheZoneOfTheProcess) {
    const struct {
        const char* name;
        const char* zone;
        const char* moment;
        const char* expected;
    } cases[] = {{"halfHour", "Asia/Kolkata", "2026-12-31T20:00:01Z", "Fri, 01 Jan 2027 01:30:01 +0530"},
                 {"west", "America/St_Johns", "2026-03-01T02:00:00Z", "Sat, 28 Feb 2026 22:30:00 -0330"},
                 {"summer", "Europe/Berlin", "2026-07-01T12:00:00Z", "Wed, 01 Jul 2026 14:00:00 +0200"},
                 {"early", "UTC", "1969-12-31T23:59:59Z", "Wed, 31 Dec 1969 23:59:59 +0000"}};
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        const test::ScopedVariable zone("TZ", row.zone);
        EXPECT_EQ(writtenDate(row.moment), row.expected);
    }
}

TEST(ReadDate, takesTheFormsOfOtherTools) {
    const struct {
        const char* name;
        const char* text;
        const char* expected; ///< null: not readable
    } cases[] = {{"offset", "Sun, 22 Nov 2026 09:30:00 -0800", "2026-11-22T17:30:00Z"},
                 {"wrongDayName", "Mon, 22 Nov 2026 09:30:00 +0000", "2026-11-22T09:30:00Z"},
                 {"fullNames", "sunday, 22 november 2026 09:30:00 +0000", "2026-11-22T09:30:00Z"},
                 {"colon", "Sun, 22 Nov 2026 09:30:00 +05:30", "2026-11-22T04:00:00Z"},
                 {"zoneName", "Sun, 22 Nov 2026 09:30:00 GMT", "2026-11-22T09:30:00Z"},
                 {"blanksAround", "\n  Sun, 22  Nov 2026 09:30:00 Z\n", "2026-11-22T09:30:00Z"},
                 {"noZone", "Sun, 22 Nov 2026 09:30:00", nullptr},
                 {"german", "So, 22 Nov 2026 09:30:00 +0000", nullptr},
                 {"noSuchDay", "Mon, 30 Feb 2026 09:30:00 +0000", nullptr},
                 {"wildOffset", "Sun, 22 Nov 2026 09:30:00 +0560", nullptr},
                 {"twoDigitYear", "Sun, 22 Nov 26 09:30:00 +0000", nullptr},
                 {"iso", "2026-11-22T09:30:00Z", nullptr}};
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        std::string feed = test::feedWith(test::itemText("1"));
        const std::string original = "Sun, 22 Nov 2026 09:30:00 +0000";
        feed.replace(feed.find(original), original.size(), row.text);
        const auto items = test::parsed(feed);
        ASSERT_EQ(items.size(), row.expected == nullptr ? 0u : 1u);
        for (const AppcastItem& item : items)
            EXPECT_EQ(formatISO8601(item.pubDate), row.expected);
    }
}

} // namespace
} // namespace halvo
