#include "FeedTools.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace halvo {
namespace {

using nlohmann::json;

TEST(AppcastItem, travelsAsJSONUnderItsFieldNames) {
    AppcastItem item = test::makeItem();
    item.pubDate = Date(std::chrono::milliseconds(978'307'200'500)); // half a second after the reference date
    const json expected = json::parse(R"({"title": "Demo 1.2.3", "pubDate": 0.5, "releaseNotes": "Notes",
        "enclosureURL": "https://cdn.example.com/mac/Demo-1.2.3-42.dmg", "enclosureLength": 123456789,
        "version": 42, "shortVersionString": "1.2.3", "minimumSystemVersion": "13.0",
        "edSignature": "c2lnbmF0dXJl", "isPhasedRollout": false, "isCritical": false, "isPublished": true})");
    EXPECT_EQ(json(item), expected);
    EXPECT_EQ(expected.get<AppcastItem>(), item);

    item.channel = "beta";
    item.isPublished = false;
    EXPECT_EQ(json(item).at("channel"), "beta");
    EXPECT_EQ(json(item).get<AppcastItem>(), item);
    EXPECT_NE(std::hash<AppcastItem>()(item), std::hash<AppcastItem>()(expected.get<AppcastItem>()));
}

} // namespace
} // namespace halvo
