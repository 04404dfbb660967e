#pragma once

#include <DSStore/DSStoreError.h>
#include <DSStore/Record.h>

#include <filesystem>
#include <iterator>
#include <map>
#include <set>
#include <unordered_map>
#include <vector>

namespace halvo {

/// What the Finder remembers about a folder, the file `.DS_Store` in it: icon positions, window settings,
/// comments and more, as records (filename, type, value). Open one, change its records or view settings,
/// write it back:
///
///     DSStore store = DSStore::read(folder / ".DS_Store");
///     store.setIconPosition("Demo.app", 150, 174);
///     store.write(folder / ".DS_Store");
///
/// A plain value: copies are independent. Adding and looking up cost the same however many files there are.
/// Everything that fails throws DSStore::Error and changes nothing.
class DSStore {
public:
    using Error = dsstore::Error;
    using FourCC = dsstore::FourCC;
    using Record = dsstore::Record;
    using RecordType = dsstore::RecordType;
    using Value = dsstore::Value;

    /// The records of a store, borrowed.
    class RecordView {
        using Entries = std::map<std::uint64_t, Record>;

    public:
        class Iterator {
        public:
            using iterator_category = std::forward_iterator_tag;
            using value_type = Record;
            using difference_type = std::ptrdiff_t;
            using pointer = const Record*;
            using reference = const Record&;

            Iterator() = default;
            explicit Iterator(Entries::const_iterator entry) : entry(entry) {}
            reference operator*() const { return entry->second; }
            pointer operator->() const { return &entry->second; }
            Iterator& operator++() {
                ++entry;
                return *this;
            }
            Iterator operator++(int) { return Iterator(entry++); }
            bool operator==(const Iterator&) const = default;

        private:
            Entries::const_iterator entry{};
        };

        explicit RecordView(const Entries& entries) : entries(&entries) {}
        Iterator begin() const { return Iterator(entries->begin()); }
        Iterator end() const { return Iterator(entries->end()); }
        const Record& front() const { return entries->begin()->second; }
        std::size_t size() const { return entries->size(); }

    private:
        const Entries* entries;
    };

    DSStore() = default;
    /// Takes the records as they are; a key that stands there twice is refused when the store is written.
    explicit DSStore(std::vector<Record> records);

    /// Reads a whole file. Damage is refused; oddities are told to the diagnostic handler
    /// (dsstore::DiagnosticHandlerStorage) and accepted. Records keep the order of the file.
    static DSStore read(ByteView file);
    static DSStore read(const std::filesystem::path& path);

    /// The bytes of a file with these records, in the order that the format wants. Nothing of the layout of a
    /// file that was read is kept.
    Bytes serialize() const;
    /// Writes them, replacing the file in one step.
    void write(const std::filesystem::path& path) const;

    // Records, in the order in which they were read or added.
    /// Valid until the store changes.
    RecordView records() const { return RecordView(entries); }
    std::vector<Record> records(const std::string& filename) const;
    std::set<std::string> filenames() const;
    std::size_t size() const { return entries.size(); }
    /// The first record of that key. Null when there is none; valid until the store changes.
    const Record* record(const std::string& filename, RecordType type) const;
    /// Takes the place of every record with the same key, at the end.
    void add(Record record);
    void removeRecords(const std::string& filename);
    void remove(const std::string& filename, RecordType type);

    std::optional<std::string> comment(const std::string& filename) const;
    void setComment(std::string comment, const std::string& filename);
    void removeComment(const std::string& filename);

    // The folder's window. Absent: the store says nothing, or something that is none of these.
    std::optional<FourCC> viewStyle() const;
    std::optional<dsstore::ViewStyle> viewStyleValue() const;
    void setViewStyle(FourCC style);
    void setViewStyle(dsstore::ViewStyle style);

    std::optional<FourCC> viewSort() const;
    std::optional<dsstore::ViewSort> viewSortValue() const;
    void setViewSort(dsstore::ViewSort sort);

    std::optional<dsstore::IconPosition> iconPosition(const std::string& filename) const;
    /// Coordinates from 0 to 4294967295.
    void setIconPosition(const std::string& filename, std::int64_t x, std::int64_t y);
    /// All of them or, when one does not fit, none.
    void setIconPositions(const std::vector<dsstore::IconPlacement>& placements);
    void setIconPositions(const std::map<std::string, dsstore::IconPosition>& positions);

    std::optional<dsstore::WindowBounds> windowBounds() const;
    /// Sides from 0 to 65535. Without a view style, the window is an icon view.
    void setWindowBounds(const dsstore::WindowBounds& bounds);

    std::optional<dsstore::BackgroundType> background() const;
    void setBackground(const dsstore::BackgroundType& background);
    std::optional<Bytes> backgroundPictureAliasData() const;
    /// A picture that a Carbon alias points to. A bookmark of an earlier picture goes, since the Finder
    /// would follow that one.
    void setBackgroundPicture(Bytes aliasData);

    // Setting replaces the whole property list. What was read carries along the entries that the structure
    // does not name, so to read, change and set keeps them.
    std::optional<dsstore::WindowSettings> windowSettings() const;
    void setWindowSettings(const dsstore::WindowSettings& settings);
    std::optional<dsstore::IconViewSettings> iconViewSettings() const;
    void setIconViewSettings(const dsstore::IconViewSettings& settings);
    /// `type` is listViewProperties or listViewPropertiesAlternate.
    std::optional<dsstore::ListViewSettings> listViewSettings(RecordType type) const;
    void setListViewSettings(const dsstore::ListViewSettings& settings, RecordType type);

    /// Equal records in equal order.
    bool operator==(const DSStore& other) const;

private:
    /// Counts up with every record added, so that entries are in order and can go from the middle.
    using Sequence = std::uint64_t;

    void append(Record record);
    template<typename Settings>
    std::optional<Settings> settings(RecordType type) const;

    std::map<Sequence, Record> entries;
    std::unordered_map<std::string, std::vector<Sequence>> byFilename;
    Sequence nextSequence = 0;
};

} // namespace halvo
