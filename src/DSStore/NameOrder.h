#pragma once

#include <DSStore/Record.h>

namespace halvo::dsstore {

/// A filename with case and diacritics folded away, as UTF-16: names are in order when these are, by code
/// unit. "a" and "\u00c4" fold to the same.
std::u16string foldedName(const std::string& filename);

/// What records are sorted by: the folded name, then the code of the type.
struct SortKey {
    explicit SortKey(const Record& record) : name(foldedName(record.filename)), code(record.type.code()) {}
    std::u16string name;
    FourCC code;
    auto operator<=>(const SortKey&) const = default; // NOLINT(modernize-use-nullptr)
};

} // namespace halvo::dsstore
