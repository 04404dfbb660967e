// Any bytes as release notes: the HTML is UTF-8, its tags are balanced, and no address leads where it must
// not.
#include <Appcast/Markdown.h>

#include <Base/Bytes.h>
#include <Base/Text.h>
#include <Base/Unicode.h>

#include <algorithm>
#include <cstdlib>

namespace {

using namespace halvo;

void require(bool condition) {
    if (!condition)
        std::abort();
}

/// Only what the renderer writes itself is in angle brackets.
void checkTag(std::string_view tag, std::vector<std::string>& open) {
    const bool closes = tag.starts_with('/');
    const std::string name(tag.substr(closes, tag.find(' ') - closes));
    static const std::vector<std::string> alone{"br", "hr", "img", "input"};
    static const std::vector<std::string> known{
        "a",  "blockquote", "code", "del",    "em",    "h1",    "h2", "h3",    "h4", "h5", "h6", "li",
        "ol", "p",          "pre",  "strong", "table", "tbody", "td", "thead", "th", "tr", "ul"};
    if (std::find(alone.begin(), alone.end(), name) != alone.end())
        return;
    require(std::find(known.begin(), known.end(), name) != known.end());
    if (!closes)
        return open.push_back(name);
    require(!open.empty() && open.back() == name);
    open.pop_back();
}

void checkAddresses(std::string_view tag) {
    for (const std::string_view attribute : {" href=\"", " src=\""}) {
        const std::size_t start = tag.find(attribute);
        if (start == std::string_view::npos)
            continue;
        const std::string_view address = tag.substr(start + attribute.size());
        const std::string value = lowercased(address.substr(0, address.find('"')));
        const std::size_t end = value.find_first_of(":/?#&");
        if (end == std::string::npos || value[end] != ':')
            continue;
        const std::string scheme = value.substr(0, end);
        require(scheme == "http" || scheme == "https" || scheme == "mailto");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string html = htmlFromMarkdown(viewText(ByteView(data, size)));
    require(isValidUTF8(html) && html.find('\0') == std::string::npos);
    std::vector<std::string> open;
    std::size_t position = 0;
    while ((position = html.find('<', position)) != std::string::npos) {
        const std::size_t end = html.find('>', position);
        require(end != std::string::npos);
        const std::string_view tag = std::string_view(html).substr(position + 1, end - position - 1);
        checkTag(tag, open);
        checkAddresses(tag);
        position = end;
    }
    require(open.empty());
    return 0;
}
