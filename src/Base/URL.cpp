#include <Base/URL.h>

#include <Base/Text.h>

#include <algorithm>

namespace halvo {
namespace {

constexpr std::string_view unreserved = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~";
/// What a path may hold unencoded beyond that (RFC 3986: sub-delims, ":", "@" and "/"), without ";" and
/// without
/// "+": stores differ on whether a plus in a path stands for itself.
constexpr std::string_view keptInPath = "!$&'()*,=:@/";

constexpr bool isHexDigit(char digit) {
    return (digit >= '0' && digit <= '9') || (digit >= 'a' && digit <= 'f') || (digit >= 'A' && digit <= 'F');
}

constexpr int hexValue(char digit) { return digit <= '9' ? digit - '0' : (digit | 0x20) - 'a' + 10; }

/// Where the parts of a URL lie in its text.
struct Parts {
    std::string_view scheme, authority, path, query, fragment;
    bool hasAuthority = false;
    bool hasQuery = false;
};

Parts dissect(std::string_view text) {
    Parts parts;
    const std::size_t colon = text.find(':');
    if (colon == std::string_view::npos)
        return parts;
    parts.scheme = text.substr(0, colon);
    std::string_view rest = text.substr(colon + 1);
    if (const std::size_t hash = rest.find('#'); hash != std::string_view::npos) {
        parts.fragment = rest.substr(hash);
        rest = rest.substr(0, hash);
    }
    if (const std::size_t mark = rest.find('?'); mark != std::string_view::npos) {
        parts.hasQuery = true;
        parts.query = rest.substr(mark + 1);
        rest = rest.substr(0, mark);
    }
    if (rest.starts_with("//")) {
        parts.hasAuthority = true;
        rest.remove_prefix(2);
        parts.authority = rest.substr(0, rest.find('/'));
        rest.remove_prefix(parts.authority.size());
    }
    parts.path = rest;
    return parts;
}

bool isScheme(std::string_view scheme) {
    static constexpr std::string_view letters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
    return !scheme.empty() && letters.find(scheme.front()) != std::string_view::npos &&
           scheme.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+-.") ==
               std::string_view::npos;
}

std::string_view hostOf(std::string_view authority) {
    if (const std::size_t at = authority.rfind('@'); at != std::string_view::npos)
        authority.remove_prefix(at + 1);
    if (authority.starts_with('['))
        return authority.substr(0, authority.find(']') + 1);
    return authority.substr(0, authority.find(':'));
}

bool isAuthority(std::string_view authority) {
    static constexpr std::string_view others = "!$&'()*+,;=:@[]%";
    for (const char character : authority)
        if (unreserved.find(character) == std::string_view::npos &&
            others.find(character) == std::string_view::npos)
            return false;
    const std::string_view host = hostOf(authority);
    const std::size_t hostEnd = static_cast<std::size_t>(host.data() + host.size() - authority.data());
    const std::string_view port = authority.substr(hostEnd);
    return port.empty() ||
           (port.front() == ':' && port.substr(1).find_first_not_of("0123456789") == std::string_view::npos);
}

/// Encodes bytes beyond ASCII and checks the rest; absent for a character that no URL may hold.
std::optional<std::string> normalised(std::string_view text) {
    static constexpr std::string_view reserved = ":/?#[]@!$&'()*+,;=";
    std::string result;
    for (std::size_t index = 0; index < text.size(); ++index) {
        const char character = text[index];
        if (static_cast<unsigned char>(character) >= 0x80)
            result += percentEncoded(text.substr(index, 1));
        else if (character == '%') {
            if (index + 2 >= text.size() || !isHexDigit(text[index + 1]) || !isHexDigit(text[index + 2]))
                return std::nullopt;
            result += character;
        } else if (unreserved.find(character) != std::string_view::npos ||
                   reserved.find(character) != std::string_view::npos)
            result += character;
        else
            return std::nullopt;
    }
    return result;
}

} // namespace

bool isLoopbackHost(std::string_view host) {
    if (lowercased(host) == "localhost" || host == "[::1]")
        return true;
    const std::vector<std::string> parts = split(host, '.');
    return parts.size() == 4 && parts.front() == "127" &&
           std::ranges::all_of(parts, [](const std::string& part) {
               return !part.empty() && part.size() <= 3 &&
                      part.find_first_not_of("0123456789") == std::string::npos;
           });
}

std::string percentEncoded(std::string_view text, std::string_view kept) {
    static constexpr char digits[] = "0123456789ABCDEF";
    std::string encoded;
    encoded.reserve(text.size());
    for (const char character : text) {
        if (unreserved.find(character) != std::string_view::npos ||
            kept.find(character) != std::string_view::npos) {
            encoded += character;
        } else {
            const auto byte = static_cast<unsigned char>(character);
            encoded += '%';
            encoded += digits[byte >> 4];
            encoded += digits[byte & 0xF];
        }
    }
    return encoded;
}

std::string percentDecoded(std::string_view text) {
    std::string decoded;
    decoded.reserve(text.size());
    for (std::size_t index = 0; index < text.size(); ++index) {
        if (text[index] == '%' && index + 2 < text.size() && isHexDigit(text[index + 1]) &&
            isHexDigit(text[index + 2])) {
            decoded += static_cast<char>(hexValue(text[index + 1]) * 16 + hexValue(text[index + 2]));
            index += 2;
        } else {
            decoded += text[index];
        }
    }
    return decoded;
}

std::optional<URL> URL::parse(std::string_view text) {
    const auto clean = normalised(text);
    if (!clean)
        return std::nullopt;
    const Parts parts = dissect(*clean);
    if (!isScheme(parts.scheme) || !isAuthority(parts.authority))
        return std::nullopt;
    const std::string scheme = lowercased(parts.scheme);
    if ((scheme == "http" || scheme == "https") && hostOf(parts.authority).empty())
        return std::nullopt;
    if (!parts.hasAuthority && parts.path.empty())
        return std::nullopt;
    return URL(*clean);
}

URL URL::file(const std::filesystem::path& path) {
    return URL("file://" +
               percentEncoded(std::filesystem::absolute(path).lexically_normal().string(), keptInPath));
}

std::string URL::scheme() const { return lowercased(dissect(text).scheme); }
std::string URL::host() const { return std::string(hostOf(dissect(text).authority)); }
std::string URL::encodedPath() const { return std::string(dissect(text).path); }
std::string URL::path() const { return percentDecoded(dissect(text).path); }

std::optional<std::string> URL::query() const {
    const Parts parts = dissect(text);
    if (!parts.hasQuery)
        return std::nullopt;
    return std::string(parts.query);
}

std::filesystem::path URL::filePath() const { return path(); }

std::string URL::lastPathComponent() const {
    std::string_view path = dissect(text).path;
    while (path.size() > 1 && path.ends_with('/'))
        path.remove_suffix(1);
    return percentDecoded(path.substr(path.rfind('/') + 1));
}

std::string URL::pathExtension() const { return halvo::pathExtension(lastPathComponent()); }

URL URL::appendingPath(std::string_view component) const {
    const Parts parts = dissect(text);
    const std::size_t pathEnd =
        text.size() - parts.fragment.size() - (parts.hasQuery ? parts.query.size() + 1 : 0);
    std::string front = text.substr(0, pathEnd);
    while (component.starts_with('/'))
        component.remove_prefix(1);
    if (!front.ends_with('/'))
        front += '/';
    return URL(front + percentEncoded(component, keptInPath) + text.substr(pathEnd));
}

URL URL::appendingQueryItem(std::string_view name, std::string_view value) const {
    const Parts parts = dissect(text);
    const std::size_t end = text.size() - parts.fragment.size();
    const char* separator = !parts.hasQuery ? "?" : parts.query.empty() ? "" : "&";
    return URL(text.substr(0, end) + separator + percentEncoded(name) + "=" + percentEncoded(value) +
               std::string(parts.fragment));
}

std::string pathExtension(const std::filesystem::path& path) {
    std::string name = path.filename().string();
    if (name.empty()) // "MyApp.app/" means the folder before the slash
        name = path.parent_path().filename().string();
    const std::size_t dot = name.rfind('.');
    if (dot == std::string::npos || dot == 0)
        return "";
    return name.substr(dot + 1);
}

} // namespace halvo
