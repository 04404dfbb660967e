#pragma once

#include <DSStore/FourCC.h>

#include <Base/PropertyList.h>

#include <chrono>
#include <variant>

namespace halvo::dsstore {

/// A value of a property list: text, integer, number, truth value, bytes, date, array or dictionary.
using PlistValue = PropertyList;

/// A moment in seconds since 1970 UTC, in floating point: a file counts 1/65536 seconds since 1904.
using Timestamp = std::chrono::sys_time<std::chrono::duration<double>>;

/// The bytes of a bookmark, kept as they are.
struct Bookmark {
    Bytes bytes{};
    bool operator==(const Bookmark&) const = default;
};

/// What a record holds. How each kind is named in a file:
///
///     monostate  0       no payload           Timestamp     "dutc"  1/65536 s since 1904-01-01 UTC
///     bool       "bool"                       FourCC        "type"
///     uint16_t   "shor"                       std::string   "ustr"  UTF-8 here, UTF-16 in the file
///     uint32_t   "long"                       Bytes         "blob"
///     uint64_t   "comp"                       Bookmark      "book"
///                                             PlistValue    "blob"  a property list inside
///
/// Bytes that are a property list come back from a file as PlistValue.
struct Value {
    using Held = std::variant<std::monostate, bool, std::uint16_t, std::uint32_t, std::uint64_t, Timestamp,
                              FourCC, std::string, Bytes, Bookmark, PlistValue>;
    Held held{};

    /// The payload when it is of that kind, else null.
    template<typename Type>
    const Type* as() const {
        return std::get_if<Type>(&held);
    }

    bool operator==(const Value&) const = default;
};

} // namespace halvo::dsstore
