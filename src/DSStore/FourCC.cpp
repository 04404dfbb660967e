#include <DSStore/FourCC.h>

#include <algorithm>

#include <nlohmann/json.hpp>

namespace halvo::dsstore {
namespace {

bool isASCII(std::string_view text) {
    return std::ranges::all_of(text,
                               [](char character) { return static_cast<std::uint8_t>(character) < 128; });
}

} // namespace

std::optional<FourCC> FourCC::parse(std::string_view text) {
    if (text.size() != 4 || !isASCII(text))
        return std::nullopt;
    FourCC code;
    for (const char character : text)
        code.rawValue = code.rawValue << 8 | static_cast<std::uint8_t>(character);
    return code;
}

std::string FourCC::stringValue() const {
    std::string text;
    for (int shift = 24; shift >= 0; shift -= 8)
        text += static_cast<char>(rawValue >> shift & 0xFF);
    return isASCII(text) ? text : "????";
}

void to_json(nlohmann::json& json, const FourCC& code) { json = {{"rawValue", code.rawValue}}; }

void from_json(const nlohmann::json& json, FourCC& code) {
    const nlohmann::json& number = json.at("rawValue");
    if (!number.is_number_unsigned() || number.get<std::uint64_t>() > UINT32_MAX)
        throw nlohmann::json::type_error::create(302, "rawValue must be a number of 32 bits", &json);
    code.rawValue = number.get<std::uint32_t>();
}

} // namespace halvo::dsstore
