#include <Models/JSONFields.h>

#include <Base/Base64.h>

#include <algorithm>
#include <limits>

namespace halvo {
namespace {

using nlohmann::json;

const std::string& textOf(const json& json, const char* expected) {
    if (!json.is_string())
        throw ModelError(ModelError::Mismatch{expected});
    return json.get_ref<const std::string&>();
}

template<typename Value>
void assign(Value& value, std::optional<Value> parsed, const char* expected) {
    if (!parsed)
        throw ModelError(ModelError::Mismatch{expected});
    value = std::move(*parsed);
}

constexpr const char* integer = "an integer of 64 bits";
constexpr const char* date = "a date";

} // namespace

void readJSON(const json& json, bool& value, DateForm) {
    if (!json.is_boolean())
        throw ModelError(ModelError::Mismatch{"true or false"});
    value = json.get<bool>();
}

void readJSON(const json& json, std::int64_t& value, DateForm) {
    if (!json.is_number_integer())
        throw ModelError(ModelError::Mismatch{integer});
    if (json.is_number_unsigned() && json.get<std::uint64_t>() > std::numeric_limits<std::int64_t>::max())
        throw ModelError(ModelError::Mismatch{integer});
    value = json.get<std::int64_t>();
}

void readJSON(const json& json, std::string& value, DateForm) { value = textOf(json, "a string"); }

void readJSON(const json& json, URL& value, DateForm) {
    assign(value, URL::parse(textOf(json, "a URL")), "a URL");
}

void readJSON(const json& json, UUID& value, DateForm) {
    assign(value, UUID::parse(textOf(json, "a UUID")), "a UUID");
}

void readJSON(const json& json, Bytes& value, DateForm) {
    assign(value, decodeBase64(textOf(json, "base64")), "base64");
}

void readJSON(const json& json, Date& value, DateForm dates) {
    if (dates == DateForm::iso8601)
        return assign(value, parseISO8601(textOf(json, date)), date);
    if (!json.is_number())
        throw ModelError(ModelError::Mismatch{date});
    assign(value, dateFromReferenceSeconds(json.get<double>()), date);
}

json writeJSON(bool value, DateForm) { return value; }
json writeJSON(std::int64_t value, DateForm) { return value; }
json writeJSON(const std::string& value, DateForm) { return value; }
json writeJSON(const URL& value, DateForm) { return value.absoluteString(); }
json writeJSON(const UUID& value, DateForm) { return value.string(); }
json writeJSON(const Bytes& value, DateForm) { return encodeBase64(value); }

json writeJSON(Date value, DateForm dates) {
    if (dates == DateForm::iso8601)
        return formatISO8601(value);
    return secondsSinceReferenceDate(value);
}

FieldReader::FieldReader(const json& json, DateForm dates) : object(json), dates(dates) {
    if (!json.is_object())
        throw ModelError(ModelError::Mismatch{"an object"});
}

const json* FieldReader::find(const std::string& key) const {
    const auto field = object.find(key);
    return field == object.end() || field->is_null() ? nullptr : &*field;
}

FieldWriter::FieldWriter(json& json, DateForm dates) : object(json), dates(dates) { json = json::object(); }

std::size_t caseIndex(const json& json, std::span<const char* const> names) {
    if (!json.is_object() || json.size() != 1)
        throw ModelError(ModelError::KeyCount());
    const auto found = std::ranges::find(names, json.begin().key());
    if (found != names.end())
        return static_cast<std::size_t>(found - names.begin());
    std::string known;
    for (std::size_t index = 0; index < names.size(); ++index)
        known += std::string(index == 0 ? "" : index + 1 == names.size() ? " or " : ", ") + names[index];
    throw ModelError(ModelError::Mismatch{"an object with one key, " + known});
}

} // namespace halvo
