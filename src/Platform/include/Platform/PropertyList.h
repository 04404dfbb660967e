#pragma once

#include <Base/Bytes.h>
#include <Base/Date.h>
#include <Base/Failure.h>

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace halvo {

class PropertyList;
using PropertyListArray = std::vector<PropertyList>;
using PropertyListDictionary = std::map<std::string, PropertyList>;

/// Bytes that are no property list, or one that cannot be held; the description says why.
class PropertyListError : public Failure {
public:
    using Failure::Failure;
};

/// A value of a property list, binary or XML.
class PropertyList {
public:
    using Value = std::variant<bool, std::int64_t, double, std::string, Bytes, Date, PropertyListArray,
                               PropertyListDictionary>;

    PropertyList(Value initial) : held(std::move(initial)) {}
    PropertyList(const char* text) : held(std::string(text)) {}
    PropertyList(PropertyListDictionary dictionary) : held(std::move(dictionary)) {}
    PropertyList(PropertyListArray array) : held(std::move(array)) {}

    /// Reads either form. Throws PropertyListError for damaged bytes, other formats (JSON, old text plists, a
    /// byte-order mark) and nesting beyond 512 levels or input beyond 64 MB.
    static PropertyList parse(ByteView bytes);
    /// The XML form, with keys in the order of their text.
    Bytes xml() const;
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

    /// The entry of a dictionary; null when this is no dictionary or has no such key.
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
