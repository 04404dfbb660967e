#pragma once

#include <Base/Bytes.h>
#include <Base/Date.h>
#include <Base/Failure.h>

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace halvo {

class PropertyList;
using PropertyListArray = std::vector<PropertyList>;
using PropertyListDictionary = std::map<std::string, PropertyList>;

/// Bytes that are not a property list, or a value that cannot be written in the form asked for; the description
/// says why.
class PropertyListError : public Failure {
public:
    using Failure::Failure;
};

/// An integer that only fits without a sign: above the largest std::int64_t.
struct PropertyListUnsigned {
    std::uint64_t value = 0;
    bool operator==(const PropertyListUnsigned&) const = default;
};

/// A reference inside a keyed archive. Binary lists have a type for it; in XML it is a dictionary with the
/// one key "CF$UID", and reads back as that.
struct PropertyListUID {
    std::uint64_t value = 0;
    bool operator==(const PropertyListUID&) const = default;
};

/// A value of a property list, binary or XML. Texts are UTF-8.
class PropertyList {
public:
    using Value = std::variant<bool, std::int64_t, double, std::string, Bytes, Date, PropertyListArray,
                               PropertyListDictionary, PropertyListUnsigned, PropertyListUID>;

    /// What `parse` takes: the input's size, the nesting, and the values with their texts and data, which a
    /// small binary file could otherwise multiply through shared references.
    static constexpr std::size_t maxInputSize = 64u << 20;
    static constexpr std::size_t maxDepth = 200;
    static constexpr std::size_t maxValueCount = 4'000'000;

    /// Of any payload: `PropertyListDictionary{{"method", "developer-id"}, {"count", 3}, {"thin", false}}`.
    template<typename Payload>
    requires(!std::same_as<std::remove_cvref_t<Payload>, PropertyList>) &&
        std::constructible_from<Value, Payload> PropertyList(Payload&& payload)
        : held(std::forward<Payload>(payload)) {}

    /// Reads either form; XML in any encoding that it declares, with or without a byte-order mark. Of keys
    /// that stand twice in a dictionary the last counts. Throws PropertyListError for damaged bytes, for
    /// other formats (JSON, old text lists), beyond the limits above, and when texts, data and references
    /// take more than `maxContentSize` bytes.
    static PropertyList parse(ByteView bytes, std::size_t maxContentSize = maxInputSize);
    /// The XML form as Apple's tools write it, keys in the order of their bytes. Dates lose their fractions
    /// of a second. Throws PropertyListError for a text that XML cannot hold and a year that is not of four
    /// digits.
    Bytes xml() const;
    /// Throws PropertyListError for a text that is not UTF-8.
    Bytes binary() const;

    const Value& value() const { return held; }
    /// The payload when it is of that type, else null.
    template<typename Type>
    const Type* as() const {
        return std::get_if<Type>(&held);
    }
    template<typename Type>
    Type* as() {
        return std::get_if<Type>(&held);
    }

    /// The entry of a dictionary; null when this is not a dictionary or has no such key.
    const PropertyList* find(const std::string& key) const;
    /// The entry of a dictionary when it has that type.
    template<typename Type>
    const Type* find(const std::string& key) const {
        const PropertyList* entry = find(key);
        return entry ? entry->as<Type>() : nullptr;
    }

    bool operator==(const PropertyList&) const = default;

private:
    Value held;
};

} // namespace halvo
