#pragma once

#include <Base/Bytes.h>
#include <Base/Date.h>
#include <Base/URL.h>
#include <Base/UUID.h>
#include <Models/ModelError.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

/// How records become JSON objects and back, field by field. For the .cpp files of records only: this header
/// brings the whole JSON library.
///
/// URLs are their absolute strings, UUIDs upper-case strings, bytes base64. An absent optional has no key;
/// when reading, a null counts as absent.
namespace halvo {

/// Records on disk hold a date as seconds since 2001-01-01 UTC, those of the service as ISO 8601 text.
enum class DateForm { referenceSeconds, iso8601 };

// Single values. Reading is strict: 1 is no bool, 1.0 and "1" are no integers, and so is a number beyond 64
// bits. Each throws ModelError.
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

/// A record, by its own from_json, which also decides how its dates read.
template<typename Record>
void readJSON(const nlohmann::json& json, Record& value, DateForm) {
    from_json(json, value);
}

template<typename Record>
nlohmann::json writeJSON(const Record& value, DateForm) {
    nlohmann::json json;
    to_json(json, value);
    return json;
}

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
Value decodeJSON(const nlohmann::json& json) {
    Value value{};
    readJSON(json, value, DateForm::referenceSeconds);
    return value;
}

template<typename Value>
nlohmann::json encodeJSON(const Value& value) {
    return writeJSON(value, DateForm::referenceSeconds);
}

/// Reads the fields of one object. Keys that nobody asks for are passed over. Every reader throws a
/// ModelError that names the key.
class FieldReader {
public:
    /// Borrows the object. Throws ModelError when the value is no object.
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

    /// A field whose absence stands for `fallback`.
    template<typename Value>
    void optional(const std::string& key, Value& value, const Value& fallback) const {
        if (find(key) != nullptr)
            required(key, value);
        else
            value = fallback;
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

private:
    nlohmann::json& object;
    DateForm dates;
};

/// A tagged record is an object with one key, the name of its case, over an object with the payload:
/// `{"zip":{"_0":{...},"sourceURL":"..."}}`.
class TaggedReader {
public:
    /// Borrows the object. Throws ModelError unless it has exactly one key.
    explicit TaggedReader(const nlohmann::json& json);

    const std::string& name() const { return caseName; }

    template<typename Value>
    void required(const std::string& key, Value& value) const {
        try {
            FieldReader(payload).required(key, value);
        } catch (const ModelError& error) {
            throw error.insideKey(caseName);
        }
    }

    /// The error for a name that is none of the record's cases; `known` reads like "local or server".
    ModelError unknownCase(const std::string& known) const;

private:
    explicit TaggedReader(const nlohmann::json::const_iterator& entry);

    const std::string& caseName;
    const nlohmann::json& payload;
};

/// The fields of a tagged record's payload, to write to.
FieldWriter writeTagged(nlohmann::json& json, const std::string& caseName);

/// The key of a payload that has no name of its own.
inline constexpr const char* unnamedPayload = "_0";

} // namespace halvo
