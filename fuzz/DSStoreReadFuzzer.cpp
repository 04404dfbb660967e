// Reading any bytes ends in a store or in a named error, and so does asking the store for what it means.
#include <DSStore/DSStore.h>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace halvo;
    try {
        const DSStore store = DSStore::read(ByteView(data, size));
        for (const DSStore::Record& record : store.records()) {
            (void)record.iconPosition();
            (void)record.windowBounds();
            (void)record.backgroundType();
            (void)record.description();
        }
        if (const auto settings = store.windowSettings())
            (void)settings->windowBoundsValue();
        (void)store.iconViewSettings();
        (void)store.listViewSettings(DSStore::RecordType::listViewProperties);
        (void)store.viewStyleValue();
    } catch (const DSStore::Error&) {
        // a damaged file
    }
    return 0;
}
