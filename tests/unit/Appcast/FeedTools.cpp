#include "FeedTools.h"

#include <Support/TemporaryFolder.h>

#include <cstdlib>
#include <ctime>

#include <gtest/gtest.h>

namespace halvo::test {

ScopedVariable::ScopedVariable(std::string name, const std::string& value) : name(std::move(name)) {
    if (const char* current = std::getenv(this->name.c_str()))
        previous = current;
    ::setenv(this->name.c_str(), value.c_str(), 1);
    ::tzset();
}

ScopedVariable::~ScopedVariable() {
    if (previous)
        ::setenv(name.c_str(), previous->c_str(), 1);
    else
        ::unsetenv(name.c_str());
    ::tzset();
}

AppcastEditor makeEditor(bool shouldUseCacheBuster) {
    static const StoppedClock clock;
    return {"Demo", *URL::parse("https://cdn.example.com/mac"), shouldUseCacheBuster, clock};
}

AppcastItem makeItem() {
    return {.title = "Demo 1.2.3",
            .pubDate = Date(std::chrono::seconds(1'795'000'000)),
            .releaseNotes = "Notes",
            .enclosureURL = *URL::parse("https://cdn.example.com/mac/Demo-1.2.3-42.dmg"),
            .enclosureLength = 123'456'789,
            .version = 42,
            .shortVersionString = "1.2.3",
            .minimumSystemVersion = "13.0",
            .edSignature = "c2lnbmF0dXJl"};
}

std::string upserted(const AppcastItem& item, std::string_view document) {
    return makeEditor().upsertItem(item, viewBytes(document));
}

std::vector<AppcastItem> parsed(std::string_view document) {
    return makeEditor().parseItems(viewBytes(document));
}

std::vector<std::int64_t> versions(std::string_view document) {
    std::vector<std::int64_t> numbers;
    for (const AppcastItem& item : parsed(document))
        numbers.push_back(item.version);
    return numbers;
}

std::string feedWith(std::string_view channelContent) {
    return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
           "<rss xmlns:sparkle=\"http://www.andymatuschak.org/xml-namespaces/sparkle\" version=\"2.0\">\n"
           "  <channel>\n"
           "    <title>Demo</title>\n" +
           std::string(channelContent) +
           "  </channel>\n"
           "</rss>\n";
}

std::string itemText(std::string_view version, std::string_view shortVersionString, std::string_view more) {
    return "<item><title>T</title><pubDate>Sun, 22 Nov 2026 09:30:00 +0000</pubDate><sparkle:version>" +
           std::string(version) + "</sparkle:version><sparkle:shortVersionString>" +
           std::string(shortVersionString) + "</sparkle:shortVersionString>" + std::string(more) +
           "<enclosure url=\"https://x.example/a.zip\" length=\"7\" sparkle:edSignature=\"c2ln\"/></item>";
}

void expectReadByOthers(std::string_view document) {
    const TemporaryFolder folder;
    const std::string path = folder.write("feed.xml", document).string();
    EXPECT_EQ(std::system(("xmllint --noout --nonet '" + path + "'").c_str()), 0) << document;
}

} // namespace halvo::test
