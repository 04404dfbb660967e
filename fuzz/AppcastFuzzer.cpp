// Any bytes as a feed, with an item made of some of them: what upsertItem writes can be read again, holds the
// item in front and every other release as it was, and loses the item again without a trace.
#include <Appcast/AppcastEditor.h>

#include <algorithm>
#include <cstdlib>

namespace {

using namespace halvo;

class StoppedClock final : public Clock {
public:
    Date now() const override { return Date(std::chrono::seconds(1'800'000'000)); }
    std::chrono::steady_clock::time_point steadyNow() const override { return {}; }
    void sleep(std::chrono::milliseconds, const std::stop_token&) override {}
};

void require(bool condition) {
    if (!condition)
        std::abort();
}

/// Texts of the item come from the input's end, split at NUL.
std::string takeText(ByteView& bytes) {
    const auto end = std::find(bytes.rbegin(), bytes.rend(), std::uint8_t{0});
    const auto length = static_cast<std::size_t>(end - bytes.rbegin());
    std::string text(viewText(bytes.last(length)));
    bytes = bytes.first(bytes.size() - std::min(bytes.size(), length + 1));
    return text;
}

AppcastItem takeItem(ByteView& bytes) {
    AppcastItem item{.pubDate = Date(std::chrono::seconds(1'700'000'000)),
                     .enclosureURL = *URL::parse("https://cdn.example.com/a.zip"),
                     .enclosureLength = 1,
                     .version = 1};
    item.title = takeText(bytes);
    item.releaseNotes = takeText(bytes);
    item.shortVersionString = takeText(bytes);
    item.minimumSystemVersion = takeText(bytes);
    item.edSignature = "s" + takeText(bytes); // an item without one is not a release
    item.channel = takeText(bytes);
    item.isPublished = item.title.size() % 2 == 0;
    item.isCritical = item.title.size() % 3 == 0;
    return item;
}

std::vector<AppcastItem> others(std::vector<AppcastItem> items) {
    std::erase_if(items, [](const AppcastItem& item) { return item.version == 1; });
    return items;
}

void roundTrip(const AppcastEditor& editor, ByteView document, const AppcastItem& item) {
    const auto before = others(editor.parseItems(document));
    const std::string edited = editor.upsertItem(item, document);
    const FeedContents contents = editor.read(viewBytes(edited));
    const auto items = editor.parseItems(viewBytes(edited));
    require(!items.empty() && items.front().version == 1);
    require(others(items) == before && items.size() >= before.size() + 1);
    const AppcastItem& read = items.front();
    require(read.enclosureURL == item.enclosureURL && read.pubDate == item.pubDate);
    require(read.isCritical == item.isCritical);
    // An edit that sets what is there changes no byte; another one is undone by its opposite, for a reader.
    const AppcastItemID& id = contents.items.front().id;
    const ReleaseChanges same{
        .isPublished = read.isPublished, .isCritical = read.isCritical, .channel = read.channel};
    require(editor.updateItem(id, same, viewBytes(edited)) == edited);
    const std::string flipped = editor.updateItem(id, {.isCritical = !read.isCritical}, viewBytes(edited));
    require(editor.parseItems(viewBytes(flipped)).front().isCritical != read.isCritical);
    const std::string back = editor.updateItem(id, {.isCritical = read.isCritical}, viewBytes(flipped));
    require(editor.parseItems(viewBytes(back)) == items);
    const std::string removed = editor.deleteItem(id, viewBytes(edited));
    require(others(editor.parseItems(viewBytes(removed))) == before);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const StoppedClock clock;
    static const AppcastEditor editor("Demo", *URL::parse("https://cdn.example.com"), true, clock);
    ByteView document(data, size);
    const AppcastItem item = takeItem(document);
    try {
        editor.parseItems(document);
    } catch (const Failure&) {
        const std::string made = editor.upsertItem(item, std::nullopt);
        require(editor.parseItems(viewBytes(made)).size() == 1);
        return 0;
    }
    roundTrip(editor, document, item);
    return 0;
}
