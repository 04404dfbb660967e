// What reads must write, and read back equal.
#include <DSStore/DSStore.h>

#include <algorithm>
#include <cstdlib>

namespace {

using namespace halvo;

/// What a file may hold although no writer may make it: a null in a name, and property lists, which take
/// another number of bytes when they are written again.
bool mayBeRefused(const DSStore& store, const DSStore::Error& error) {
    const auto records = store.records();
    const std::string reason = error.is<DSStore::Error::WriteFailed>() ? error.description() : "";
    if (reason.ends_with("Filename contains a null character"))
        return true;
    const bool listed = std::ranges::any_of(
        records, [](const DSStore::Record& record) { return record.value.as<dsstore::PlistValue>(); });
    const bool large = std::ranges::any_of(records, [](const DSStore::Record& record) {
        const Bytes* data = record.value.as<Bytes>();
        return data && data->size() > 3500;
    });
    return (reason.ends_with("Record exceeds B-tree page size") && listed) ||
           (reason.ends_with("Unable to split B-tree node") && (listed || large));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    DSStore store;
    try {
        store = DSStore::read(ByteView(data, size));
    } catch (const DSStore::Error&) {
        return 0;
    }
    Bytes written;
    try {
        written = store.serialize();
    } catch (const DSStore::Error& error) {
        if (!mayBeRefused(store, error))
            std::abort();
        return 0;
    }
    const DSStore again = DSStore::read(written);
    if (again.size() != store.size() || again.filenames() != store.filenames())
        std::abort();
    // Byte for byte, since a number in a property list may be no number and then equals nothing.
    if (again.serialize() != written)
        std::abort();
    return 0;
}
