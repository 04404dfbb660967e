#include <DSStore/DSStore.h>

#include "Fail.h"
#include "Layout.h"
#include "NameOrder.h"
#include "RecordCoding.h"
#include "RecordTreeReader.h"
#include "StoreLayout.h"

#include <Platform/Files.h>

#include <algorithm>
#include <cerrno>

// Reading, writing and the list of records; ViewOptions.cpp has the view settings.
namespace halvo {

using namespace dsstore;

namespace {

std::vector<Record> readRecords(ByteView file) {
    // Asked for once: one read tells one handler, whatever happens to the process's meanwhile.
    const DiagnosticHandler diagnostics = DiagnosticHandlerStorage::get();
    const BuddyAllocator allocator = readAllocator(file, diagnostics);
    const auto tree = allocator.tableOfContents.find(treeName);
    if (tree == allocator.tableOfContents.end())
        throw Error(Error::InvalidBTreeHeader{});
    return RecordTreeReader(file, allocator, diagnostics).read(tree->second);
}

std::vector<const Record*> sortedRecords(const std::map<std::uint64_t, Record>& entries) {
    std::vector<std::pair<SortKey, const Record*>> keyed;
    keyed.reserve(entries.size());
    for (const auto& [sequence, record] : entries)
        keyed.emplace_back(SortKey(record), &record);
    std::ranges::stable_sort(keyed, {}, [](const auto& entry) -> const SortKey& { return entry.first; });
    std::vector<const Record*> sorted;
    sorted.reserve(keyed.size());
    for (const auto& entry : keyed)
        sorted.push_back(entry.second);
    return sorted;
}

Bytes serializeSorted(const std::vector<const Record*>& sorted) {
    BinaryWriter encoded;
    std::vector<std::size_t> ends;
    ends.reserve(sorted.size());
    for (const Record* record : sorted) {
        writeRecord(encoded, *record);
        ends.push_back(encoded.size());
    }
    std::vector<ByteView> records;
    records.reserve(sorted.size());
    std::size_t begin = 0;
    for (const std::size_t end : ends) {
        records.push_back(ByteView(encoded.bytes()).subspan(begin, end - begin));
        begin = end;
    }
    return layOutStore(buildRecordTree(records));
}

} // namespace

DSStore::DSStore(std::vector<Record> records) {
    for (Record& record : records)
        append(std::move(record));
}

DSStore DSStore::read(ByteView file) {
    try {
        return DSStore(readRecords(file));
    } catch (const BinaryReadError& error) {
        if (error.kind == BinaryReadError::Kind::invalidUTF16String)
            throw Error(Error::InvalidUTF16String{});
        failCorrupted(error.description());
    }
}

DSStore DSStore::read(const std::filesystem::path& path) {
    constexpr std::uint64_t largestFile =
        std::uint64_t(UINT32_MAX) + originOfOffsets + 1; // addresses end there
    Bytes file;
    try {
        file = readFile(path, largestFile);
    } catch (const FileError& error) {
        if (error.code == ENOENT)
            throw Error(Error::FileNotFound{});
        throw Error(Error::ReadFailed{error.description()});
    }
    return read(file);
}

Bytes DSStore::serialize() const {
    for (const auto& [filename, sequences] : byFilename) {
        if (sequences.size() == 1)
            continue;
        std::vector<FourCC> codes;
        for (const Sequence sequence : sequences)
            codes.push_back(entries.at(sequence).type.code());
        std::ranges::sort(codes);
        if (std::ranges::adjacent_find(codes) != codes.end())
            failWriting("Duplicate record key");
    }
    return serializeSorted(sortedRecords(entries));
}

void DSStore::write(const std::filesystem::path& path) const {
    const Bytes file = serialize();
    try {
        writeFileAtomically(path, file);
    } catch (const FileError& error) {
        failWriting(error.description());
    }
}

std::vector<DSStore::Record> DSStore::records(const std::string& filename) const {
    std::vector<Record> found;
    if (const auto sequences = byFilename.find(filename); sequences != byFilename.end())
        for (const Sequence sequence : sequences->second)
            found.push_back(entries.at(sequence));
    return found;
}

std::set<std::string> DSStore::filenames() const {
    std::set<std::string> names;
    for (const auto& [filename, sequences] : byFilename)
        names.insert(filename);
    return names;
}

const DSStore::Record* DSStore::record(const std::string& filename, RecordType type) const {
    if (const auto sequences = byFilename.find(filename); sequences != byFilename.end())
        for (const Sequence sequence : sequences->second)
            if (const Record& candidate = entries.at(sequence); candidate.type == type)
                return &candidate;
    return nullptr;
}

void DSStore::append(Record record) {
    byFilename[record.filename].push_back(nextSequence);
    entries.emplace_hint(entries.end(), nextSequence, std::move(record));
    ++nextSequence;
}

void DSStore::add(Record record) {
    remove(std::string(record.filename), record.type);
    append(std::move(record));
}

void DSStore::removeRecords(const std::string& filename) {
    const auto sequences = byFilename.find(filename);
    if (sequences == byFilename.end())
        return;
    for (const Sequence sequence : sequences->second)
        entries.erase(sequence);
    byFilename.erase(sequences);
}

void DSStore::remove(const std::string& filename, RecordType type) {
    const auto sequences = byFilename.find(filename);
    if (sequences == byFilename.end())
        return;
    std::erase_if(sequences->second, [&](Sequence sequence) {
        const auto entry = entries.find(sequence);
        if (entry->second.type != type)
            return false;
        entries.erase(entry);
        return true;
    });
    if (sequences->second.empty())
        byFilename.erase(sequences);
}

bool DSStore::operator==(const DSStore& other) const {
    const RecordView own = records();
    const RecordView others = other.records();
    return std::equal(own.begin(), own.end(), others.begin(), others.end());
}

} // namespace halvo
