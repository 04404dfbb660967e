#include <Appcast/AppcastEditor.h>

#include <benchmark/benchmark.h>

namespace {

using namespace halvo;

AppcastItem item(std::int64_t build) {
    return {.title = "1." + std::to_string(build),
            .pubDate = Date(std::chrono::seconds(1'790'000'000)),
            .releaseNotes = "- **Faster** start\n- Fixes a crash at launch\n- Reads files of *all* versions\n",
            .enclosureURL = *URL::parse("https://cdn.example.com/mac/Demo-" + std::to_string(build) + ".dmg"),
            .enclosureLength = 30'000'000,
            .version = build,
            .shortVersionString = "1." + std::to_string(build),
            .minimumSystemVersion = "13.0",
            .edSignature = std::string(86, 'A') + "=="};
}

/// A feed of that many items, about 900 bytes each.
std::string feedOf(std::int64_t items, const AppcastEditor& editor) {
    std::string feed = editor.upsertItem(item(1), std::nullopt);
    const std::string one = editor.itemText({1, "1.1"}, viewBytes(feed));
    std::string more;
    for (std::int64_t build = items; build > 1; --build) {
        std::string next = one;
        const std::string number = std::to_string(build);
        for (const char* tag : {"<title>1.", "<sparkle:version>", "<sparkle:shortVersionString>1."})
            next.replace(next.find(tag) + std::string_view(tag).size(), 1, number);
        more += next + "\n        ";
    }
    return feed.insert(feed.find("<item>"), more);
}

const SystemClock systemClock;
const AppcastEditor editor("Demo", *URL::parse("https://cdn.example.com/mac"), true, systemClock);

/// What a release does to a feed: one reading for the preflight, one before the edit, the edit.
void releaseIntoFeed(benchmark::State& state) {
    const std::string feed = feedOf(state.range(0), editor);
    for (auto _ : state) {
        benchmark::DoNotOptimize(editor.read(viewBytes(feed)));
        benchmark::DoNotOptimize(editor.read(viewBytes(feed)));
        benchmark::DoNotOptimize(editor.upsertItem(item(state.range(0) + 1), viewBytes(feed)));
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * feed.size()));
}
BENCHMARK(releaseIntoFeed)->Arg(100)->Arg(5'000)->Unit(benchmark::kMillisecond);

} // namespace
