#include <Appcast/AppcastItem.h>

#include <nlohmann/json.hpp>

namespace halvo {
namespace {

template<typename Value>
Value required(const nlohmann::json& json, const char* key, const std::optional<Value>& value) {
    if (!value)
        throw nlohmann::json::type_error::create(
            302, "the value of '" + std::string(key) + "' cannot be read", &json);
    return *value;
}

/// Combines the hash of one more field into `seed`.
template<typename Value>
void combine(std::size_t& seed, const Value& value) {
    seed ^= std::hash<Value>()(value) + 0x9E3779B97F4A7C15 + (seed << 6) + (seed >> 2);
}

} // namespace

void to_json(nlohmann::json& json, const AppcastItem& item) {
    json = {{"title", item.title},
            {"pubDate", secondsSinceReferenceDate(item.pubDate)},
            {"releaseNotes", item.releaseNotes},
            {"enclosureURL", item.enclosureURL.absoluteString()},
            {"enclosureLength", item.enclosureLength},
            {"version", item.version},
            {"shortVersionString", item.shortVersionString},
            {"minimumSystemVersion", item.minimumSystemVersion},
            {"edSignature", item.edSignature},
            {"isPhasedRollout", item.isPhasedRollout},
            {"isCritical", item.isCritical},
            {"isPublished", item.isPublished}};
    if (item.channel)
        json["channel"] = *item.channel;
}

void from_json(const nlohmann::json& json, AppcastItem& item) {
    json.at("title").get_to(item.title);
    item.pubDate = required(json, "pubDate", dateFromReferenceSeconds(json.at("pubDate").get<double>()));
    json.at("releaseNotes").get_to(item.releaseNotes);
    item.enclosureURL =
        required(json, "enclosureURL", URL::parse(json.at("enclosureURL").get_ref<const std::string&>()));
    json.at("enclosureLength").get_to(item.enclosureLength);
    json.at("version").get_to(item.version);
    json.at("shortVersionString").get_to(item.shortVersionString);
    json.at("minimumSystemVersion").get_to(item.minimumSystemVersion);
    json.at("edSignature").get_to(item.edSignature);
    item.channel.reset();
    if (const auto channel = json.find("channel"); channel != json.end() && !channel->is_null())
        item.channel = channel->get<std::string>();
    json.at("isPhasedRollout").get_to(item.isPhasedRollout);
    json.at("isCritical").get_to(item.isCritical);
    json.at("isPublished").get_to(item.isPublished);
}

} // namespace halvo

std::size_t std::hash<halvo::AppcastItem>::operator()(const halvo::AppcastItem& item) const noexcept {
    std::size_t seed = 0;
    for (const std::string* text : {&item.title, &item.releaseNotes, &item.enclosureURL.absoluteString(),
                                    &item.shortVersionString, &item.minimumSystemVersion, &item.edSignature})
        halvo::combine(seed, *text);
    halvo::combine(seed, item.channel);
    halvo::combine(seed, item.pubDate.time_since_epoch().count());
    halvo::combine(seed, item.enclosureLength);
    halvo::combine(seed, item.version);
    for (const bool flag : {item.isPhasedRollout, item.isCritical, item.isPublished})
        halvo::combine(seed, flag);
    return seed;
}
