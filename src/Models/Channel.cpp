#include <Models/Channel.h>

#include <Base/Text.h>

#include <algorithm>

namespace halvo {
namespace {

/// Of UTF-8: every byte but those that continue a character.
std::size_t characterCount(std::string_view text) {
    return static_cast<std::size_t>(
        std::ranges::count_if(text, [](char byte) { return (byte & 0xC0) != 0x80; }));
}

/// ^[a-z0-9]([a-z0-9-]*[a-z0-9])?$
bool hasChannelFormat(std::string_view name) {
    return !name.empty() && !name.starts_with('-') && !name.ends_with('-') &&
           name.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789-") == std::string_view::npos;
}

} // namespace

void Channel::validate(std::string_view name) {
    if (characterCount(name) > maxLength)
        throw ChannelError(ChannelError::TooLong{maxLength});
    if (!hasChannelFormat(name))
        throw ChannelError(ChannelError::InvalidFormat());
    if (std::ranges::find(reservedNames, name) != std::end(reservedNames))
        throw ChannelError(ChannelError::Reserved{std::string(name)});
}

std::optional<std::string> Channel::normalize(std::string_view input) {
    const std::string_view name = trimmed(input);
    if (name.empty() || name == "stable")
        return std::nullopt;
    validate(name);
    return std::string(name);
}

} // namespace halvo
