#include <Appcast/FeedSignature.h>

#include <Base/Text.h>

namespace halvo {
namespace {

constexpr std::string_view opening = "<!-- sparkle-signatures:\n";
constexpr std::string_view closing = "-->";
constexpr std::string_view signatureKey = "edSignature:";

} // namespace

std::optional<SignedFeed> SignedFeed::read(std::string_view document) {
    const std::size_t start = document.rfind(opening);
    if (start == std::string_view::npos)
        return std::nullopt;
    const std::size_t end = document.find(closing, start);
    if (end == std::string_view::npos)
        return std::nullopt;
    SignedFeed feed{.content = document.substr(0, start),
                    .afterBlock = document.substr(end + closing.size())};
    for (const std::string& line : split(document.substr(start, end - start), '\n'))
        if (line.starts_with(signatureKey)) // the last one counts
            feed.edSignature = trimmed(std::string_view(line).substr(signatureKey.size()));
    return feed;
}

std::string withFeedSignature(std::string_view content, const std::string& edSignature,
                              std::string_view afterBlock) {
    return std::string(content)
        .append(opening)
        .append(signatureKey)
        .append(" " + edSignature + "\nlength: " + std::to_string(content.size()) + "\n")
        .append(closing)
        .append(afterBlock);
}

} // namespace halvo
