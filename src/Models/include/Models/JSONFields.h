#pragma once

#include <Base/Bytes.h>
#include <Base/Date.h>
#include <Base/URL.h>
#include <Base/UUID.h>
#include <Models/ModelError.h>

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include <nlohmann/json.hpp>

/// How records become JSON and back. For .cpp files only: this header brings the whole JSON library.
///
/// A record lists each of its keys once, for both directions, in a function that needs nothing of this
/// header:
///
///     static void fields(auto& release, auto&& field) {
///         field("id", release.id);
///         field("dmgEnabled", release.dmgEnabled, true); // what the absence of the key stands for
///     }
///
/// A tagged record, whose `value` is a variant, is an object with one key, the name of its case, over an
/// object with the payload: `{"zip":{"_0":{...},"sourceURL":"..."}}`. It lists the names in `caseNames`, in
/// the order of the variant, and the fields of a case in `caseFields`.
///
/// URLs are their absolute strings, UUIDs upper-case strings, bytes base64. An absent optional has no key;
/// when reading, a null counts as absent.
namespace halvo {

/// A document on disk holds dates as seconds since 2001-01-01 UTC, one of the service as ISO 8601 text.
enum class DateForm { referenceSeconds, iso8601 };

class FieldReader;
class FieldWriter;

template<typename Type>
concept Record = requires(Type& record, FieldReader& reader) {
    Type::fields(record, reader);
};
template<typename Type>
concept TaggedRecord = requires {
    Type::caseNames;
};

// Single values. Reading is strict: 1 is not a bool, and neither 1.0 nor "1" is an integer, nor is a number
// beyond 64 bits. Each throws ModelError.
void readJSON(const nlohmann::json& json, bool& value, DateForm dates);
void readJSON(const nlohmann::json& json, std::int64_t& value, DateForm dates);
void readJSON(const nlohmann::json& json, std::string& value, DateForm dates);
void readJSON(const nlohmann::json& json, URL& value, DateForm dates);
void readJSON(const nlohmann::json& json, UUID& value, DateForm dates);
void readJSON(const nlohmann::json& json, Bytes& value, DateForm dates);
void readJSON(const nlohmann::json& json, Date& value, DateForm dates);

nlohmann::json writeJSON(bool value, DateForm dates);
nlohmann::json writeJSON(std::int64_t value, DateForm dates);
nlohmann::json writeJSON(const std::string& value, DateForm dates);
nlohmann::json writeJSON(const URL& value, DateForm dates);
nlohmann::json writeJSON(const UUID& value, DateForm dates);
nlohmann::json writeJSON(const Bytes& value, DateForm dates);
nlohmann::json writeJSON(Date value, DateForm dates);

/// A record, a tagged record, or anything else that has a to_json and a from_json of its own.
template<typename Type>
void readJSON(const nlohmann::json& json, Type& value, DateForm dates);
template<typename Type>
nlohmann::json writeJSON(const Type& value, DateForm dates);

template<typename Element>
void readJSON(const nlohmann::json& json, std::vector<Element>& values, DateForm dates) {
    if (!json.is_array())
        throw ModelError(ModelError::Mismatch{"a list"});
    values.assign(json.size(), Element());
    for (std::size_t index = 0; index < json.size(); ++index) {
        try {
            readJSON(json[index], values[index], dates);
        } catch (const ModelError& error) {
            throw error.insideElement(index);
        }
    }
}

template<typename Element>
nlohmann::json writeJSON(const std::vector<Element>& values, DateForm dates) {
    nlohmann::json json = nlohmann::json::array();
    for (const Element& value : values)
        json.push_back(writeJSON(value, dates));
    return json;
}

/// Whole documents: `decodeJSON<std::vector<LocalApp>>(json)`. Throws ModelError.
template<typename Value>
Value decodeJSON(const nlohmann::json& json, DateForm dates = DateForm::referenceSeconds) {
    Value value{};
    readJSON(json, value, dates);
    return value;
}

template<typename Value>
nlohmann::json encodeJSON(const Value& value, DateForm dates = DateForm::referenceSeconds) {
    return writeJSON(value, dates);
}

/// Reads the fields of one object. Keys that nobody asks for are passed over. Every reader throws a
/// ModelError that names the key.
class FieldReader {
public:
    /// Borrows the object. Throws ModelError when the value is not an object.
    explicit FieldReader(const nlohmann::json& json, DateForm dates = DateForm::referenceSeconds);

    template<typename Value>
    void required(const std::string& key, Value& value) const {
        const nlohmann::json* field = find(key);
        if (field == nullptr)
            throw ModelError(ModelError::Missing(), key);
        try {
            readJSON(*field, value, dates);
        } catch (const ModelError& error) {
            throw error.insideKey(key);
        }
    }

    template<typename Value>
    void optional(const std::string& key, std::optional<Value>& value) const {
        if (find(key) != nullptr)
            required(key, value.emplace());
        else
            value.reset();
    }

    // The fields of a record.
    template<typename Value>
    void operator()(const char* key, Value& value) const {
        required(key, value);
    }
    template<typename Value>
    void operator()(const char* key, std::optional<Value>& value) const {
        optional(key, value);
    }
    template<typename Value>
    void operator()(const char* key, Value& value, const Value& whenAbsent) const {
        if (find(key) != nullptr)
            required(key, value);
        else
            value = whenAbsent;
    }

private:
    const nlohmann::json* find(const std::string& key) const;

    const nlohmann::json& object;
    DateForm dates;
};

/// Makes `json` an object and writes its fields; absent optionals are left out.
class FieldWriter {
public:
    explicit FieldWriter(nlohmann::json& json, DateForm dates = DateForm::referenceSeconds);

    template<typename Value>
    FieldWriter& field(const std::string& key, const Value& value) {
        object[key] = writeJSON(value, dates);
        return *this;
    }
    template<typename Value>
    FieldWriter& field(const std::string& key, const std::optional<Value>& value) {
        return value ? field(key, *value) : *this;
    }

    // The fields of a record.
    template<typename Value>
    void operator()(const char* key, const Value& value) {
        field(key, value);
    }
    template<typename Value>
    void operator()(const char* key, const Value& value, const Value& /*whenAbsent*/) {
        field(key, value);
    }

private:
    nlohmann::json& object;
    DateForm dates;
};

/// Finds the one key of a tagged record's object. Throws ModelError unless there is exactly one and it stands
/// in `names`, whose position it gives.
std::size_t caseIndex(const nlohmann::json& json, std::span<const char* const> names);

template<typename Type>
void readJSON(const nlohmann::json& json, Type& value, DateForm dates) {
    if constexpr (Record<Type>) {
        Type::fields(value, FieldReader(json, dates));
    } else if constexpr (TaggedRecord<Type>) {
        const std::size_t index = caseIndex(json, Type::caseNames);
        const auto readCase = [&]<std::size_t candidate>() {
            if (candidate == index)
                Type::caseFields(value.value.template emplace<candidate>(), FieldReader(json.front(), dates));
        };
        try {
            [&]<std::size_t... candidates>(std::index_sequence<candidates...>) {
                (readCase.template operator()<candidates>(), ...);
            }
            (std::make_index_sequence<std::size(Type::caseNames)>());
        } catch (const ModelError& error) {
            throw error.insideKey(Type::caseNames[index]);
        }
    } else {
        from_json(json, value);
    }
}

template<typename Type>
nlohmann::json writeJSON(const Type& value, DateForm dates) {
    nlohmann::json json;
    if constexpr (Record<Type>) {
        Type::fields(value, FieldWriter(json, dates));
    } else if constexpr (TaggedRecord<Type>) {
        FieldWriter fields(json[Type::caseNames[value.value.index()]], dates);
        std::visit([&](const auto& payload) { Type::caseFields(payload, fields); }, value.value);
    } else {
        to_json(json, value);
    }
    return json;
}

} // namespace halvo
