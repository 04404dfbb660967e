// AWS Signature Version 4 with the signature in a header: "Authenticating Requests: Using the Authorization
// Header" in the API reference of Amazon S3.
#include <S3/RequestSigner.h>

#include <Base/Text.h>
#include <Base/URL.h>

#include <algorithm>
#include <map>

namespace halvo {
namespace {

constexpr std::string_view algorithm = "AWS4-HMAC-SHA256";
constexpr std::string_view addedHeaders[] = {"host", "x-amz-date", "x-amz-content-sha256",
                                             "x-amz-security-token", "authorization"};

/// What the signature needs of a URL: the authority as it goes into `Host`, path and query as they are sent.
struct Target {
    std::string host{};
    std::string path{};
    std::string query{};
};

Target takeApart(std::string_view url) {
    const std::size_t schemeEnd = std::min(url.find("://"), url.size());
    const bool secure = lowercased(url.substr(0, schemeEnd)) == "https";
    url.remove_prefix(std::min(schemeEnd + 3, url.size()));
    url = url.substr(0, url.find('#'));
    const std::size_t authorityEnd = std::min(url.find_first_of("/?"), url.size());
    Target target;
    target.host = url.substr(0, authorityEnd);
    const std::string_view defaultPort = secure ? ":443" : ":80";
    if (target.host.ends_with(defaultPort))
        target.host.resize(target.host.size() - defaultPort.size());
    url.remove_prefix(authorityEnd);
    const std::size_t question = std::min(url.find('?'), url.size());
    target.path = question == 0 ? "/" : url.substr(0, question);
    target.query = url.substr(std::min(question + 1, url.size()));
    return target;
}

/// The query's items by name and value, each with its "=".
std::string canonicalQuery(const std::string& query) {
    if (query.empty())
        return "";
    std::vector<std::string> items = split(query, '&');
    for (std::string& item : items) {
        const std::size_t equals = std::min(item.find('='), item.size());
        item = percentEncoded(percentDecoded(item.substr(0, equals))) + "=" +
               percentEncoded(percentDecoded(item.substr(std::min(equals + 1, item.size()))));
    }
    std::ranges::sort(items);
    return joined(items, "&");
}

/// Without blanks at the ends, and with one blank for each run of them.
std::string canonicalValue(std::string_view value) {
    std::string text;
    for (const char letter : trimmed(value))
        if (letter != ' ' || !text.ends_with(' '))
            text += letter;
    return text;
}

struct CanonicalHeaders {
    std::string lines{};       ///< "name:value\n" for each
    std::string signedNames{}; ///< joined by ";"
};

CanonicalHeaders canonicalHeaders(const std::vector<HTTPHeader>& headers) {
    std::map<std::string, std::string> byName;
    for (const auto& [name, value] : headers) {
        const auto [entry, isNew] = byName.try_emplace(lowercased(name), canonicalValue(value));
        if (!isNew)
            entry->second += "," + canonicalValue(value);
    }
    CanonicalHeaders canonical;
    for (const auto& [name, value] : byName) {
        canonical.lines += joined({name, value}, ":") + "\n";
        canonical.signedNames += (canonical.signedNames.empty() ? "" : ";") + name;
    }
    return canonical;
}

std::string hexHash(std::string_view text) { return toHex(sha256(viewBytes(text))); }

} // namespace

void signRequest(HTTPRequest& request, const S3AccessKey& key, const std::string& region,
                 const SHA256Digest& bodyHash, Date time) {
    const std::string digits = formatTimestamp(time);
    const std::string day = digits.substr(0, 8);
    const std::string moment = day + "T" + digits.substr(8) + "Z";
    const Target target = takeApart(request.url);

    std::erase_if(request.headers, [](const HTTPHeader& header) {
        return std::ranges::find(addedHeaders, lowercased(header.first)) != std::end(addedHeaders);
    });
    request.headers.emplace_back("Host", target.host);
    request.headers.emplace_back("x-amz-date", moment);
    request.headers.emplace_back("x-amz-content-sha256", toHex(bodyHash));
    if (key.sessionToken)
        request.headers.emplace_back("x-amz-security-token", *key.sessionToken);

    const CanonicalHeaders headers = canonicalHeaders(request.headers);
    const std::string canonicalRequest = joined({request.method, target.path, canonicalQuery(target.query),
                                                 headers.lines, headers.signedNames, toHex(bodyHash)},
                                                "\n");
    const std::string scope = day + "/" + region + "/s3/aws4_request";
    const std::string stringToSign =
        joined({std::string(algorithm), moment, scope, hexHash(canonicalRequest)}, "\n");

    const SHA256Digest dayKey = hmacSHA256(viewBytes("AWS4" + key.secretAccessKey), day);
    const SHA256Digest signingKey = hmacSHA256(hmacSHA256(hmacSHA256(dayKey, region), "s3"), "aws4_request");
    request.headers.emplace_back("Authorization",
                                 std::string(algorithm) + " Credential=" + key.accessKeyID + "/" + scope +
                                     ",SignedHeaders=" + headers.signedNames +
                                     ",Signature=" + toHex(hmacSHA256(signingKey, stringToSign)));
}

} // namespace halvo
