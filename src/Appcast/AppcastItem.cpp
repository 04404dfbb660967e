#include <Appcast/AppcastItem.h>

#include <nlohmann/json.hpp>

namespace halvo {
namespace {

/// Calls `field` with the key and the value of each field that JSON holds as it is.
template<typename Item, typename Field>
void visitFields(Item& item, Field&& field) {
    field("title", item.title);
    field("releaseNotes", item.releaseNotes);
    field("enclosureLength", item.enclosureLength);
    field("version", item.version);
    field("shortVersionString", item.shortVersionString);
    field("minimumSystemVersion", item.minimumSystemVersion);
    field("edSignature", item.edSignature);
    field("isPhasedRollout", item.isPhasedRollout);
    field("isCritical", item.isCritical);
    field("isPublished", item.isPublished);
}

template<typename Value>
Value required(const nlohmann::json& json, const char* key, const std::optional<Value>& value) {
    if (!value)
        throw nlohmann::json::type_error::create(
            302, "the value of '" + std::string(key) + "' cannot be read", &json);
    return *value;
}

} // namespace

void to_json(nlohmann::json& json, const AppcastItem& item) {
    json = {{"pubDate", secondsSinceReferenceDate(item.pubDate)},
            {"enclosureURL", item.enclosureURL.absoluteString()}};
    visitFields(item, [&](const char* key, const auto& value) { json[key] = value; });
    if (item.channel)
        json["channel"] = *item.channel;
}

void from_json(const nlohmann::json& json, AppcastItem& item) {
    visitFields(item, [&](const char* key, auto& value) { json.at(key).get_to(value); });
    item.pubDate = required(json, "pubDate", dateFromReferenceSeconds(json.at("pubDate").get<double>()));
    item.enclosureURL =
        required(json, "enclosureURL", URL::parse(json.at("enclosureURL").get_ref<const std::string&>()));
    item.channel.reset();
    if (const auto channel = json.find("channel"); channel != json.end() && !channel->is_null())
        item.channel = channel->get<std::string>();
}

} // namespace halvo

std::size_t std::hash<halvo::AppcastItem>::operator()(const halvo::AppcastItem& item) const noexcept {
    using nlohmann::json;
    return std::hash<std::string>()(json(item).dump(-1, ' ', false, json::error_handler_t::replace));
}
