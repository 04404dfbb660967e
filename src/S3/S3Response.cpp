#include <S3/S3Response.h>

#include <Base/Text.h>
#include <Base/Unicode.h>

#include <algorithm>
#include <memory>

#include <libxml/parser.h>
#include <libxml/tree.h>

namespace halvo {
namespace {

constexpr std::size_t largestDocument = std::size_t{256} * 1024;
constexpr std::size_t longestText = 600; ///< bytes of a message that are repeated to the user

std::string nameOf(const xmlNode& node) { return reinterpret_cast<const char*>(node.name); }

/// Text of a stranger as it may go to a terminal: one line, no control characters, no flood.
std::string presentable(std::string_view text) {
    std::string clean = repairedUTF8(trimmed(text.substr(0, longestText)));
    for (std::size_t index = 0; index < clean.size(); ++index) {
        const auto byte = static_cast<unsigned char>(clean[index]);
        const bool startsControl =
            byte == 0xC2 && static_cast<unsigned char>(clean[index + 1]) < 0xA0; // U+0080-9F
        if (byte < 0x20 || byte == 0x7F)
            clean[index] = ' ';
        else if (startsControl)
            clean.replace(index, 2, " ");
    }
    return clean;
}

/// A name for what the status says, where no document names it (an answer to HEAD has no body).
std::string codeOf(int status) {
    switch (status) {
    case 301: return "PermanentRedirect";
    case 302:
    case 307: return "TemporaryRedirect";
    case 400: return "BadRequest";
    case 401: return "Unauthorized";
    case 403: return "Forbidden";
    case 404: return "NotFound";
    case 409: return "Conflict";
    case 412: return "PreconditionFailed";
    case 413: return "EntityTooLarge";
    case 429: return "TooManyRequests";
    case 500: return "InternalError";
    case 501: return "NotImplemented";
    case 502: return "BadGateway";
    case 503: return "ServiceUnavailable";
    case 504: return "GatewayTimeout";
    default: return status < 300 ? "InvalidResponse" : "HTTP" + std::to_string(status);
    }
}

std::string messageOf(const S3Error::Details& request, int status) {
    const bool isBucket = request.key.empty();
    if (status < 300)
        return "The server did not answer like an S3 store.";
    if (status < 400)
        return "The bucket is not at this address.";
    if (isBucket && status == 404)
        return "There is no bucket \"" + request.bucket + "\".";
    if (isBucket && status == 403)
        return "The access key has no access to the bucket \"" + request.bucket + "\".";
    return "The store gave no S3 error document.";
}

/// What the user can do about it; empty when the store's own words must do.
std::string adviceOf(const std::string& code, int status, const HTTPResponse& response,
                     const S3Document& document) {
    if (code == "RequestTimeTooSkewed")
        return "Set the clock of this computer and try again.";
    const auto field = [&](const char* name) {
        const auto entry = document.fields.find(name);
        return entry == document.fields.end() ? std::string() : presentable(entry->second);
    };
    const bool isElsewhere = status == 301 || status == 302 || status == 307 || code == "PermanentRedirect" ||
                             code == "TemporaryRedirect" || code == "AuthorizationHeaderMalformed" ||
                             code == "IllegalLocationConstraintException" ||
                             (code == "BadRequest" && response.header("x-amz-bucket-region"));
    if (!isElsewhere)
        return "";
    std::string region = presentable(response.header("x-amz-bucket-region").value_or(""));
    if (region.empty())
        region = field("Region");
    if (!region.empty())
        return "The bucket is in region " + region + ": use that region.";
    if (const std::string endpoint = field("Endpoint"); !endpoint.empty())
        return "The bucket is at " + endpoint + ": use its region or endpoint.";
    return "The bucket is in another region: use that region.";
}

bool isTemporary(const std::string& code, int status) {
    static constexpr int statuses[] = {408, 429, 500, 502, 503, 504};
    static constexpr std::string_view codes[] = {"SlowDown", "InternalError", "RequestTimeout",
                                                 "ServiceUnavailable", "OperationAborted"};
    return std::ranges::find(statuses, status) != std::end(statuses) ||
           std::ranges::find(codes, code) != std::end(codes);
}

} // namespace

std::optional<S3Document> parseS3Document(ByteView body) {
    if (body.empty() || body.size() > largestDocument)
        return std::nullopt;
    xmlInitParser(); // several threads may come here first
    const std::string_view text =
        trimmed(viewText(body)); // stores that keep a connection alive send blanks first
    const std::unique_ptr<xmlDoc, decltype(&xmlFreeDoc)> document(
        xmlReadMemory(text.data(), static_cast<int>(text.size()), nullptr, nullptr,
                      XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING | XML_PARSE_NOCDATA),
        xmlFreeDoc);
    // No S3 document has a document type, and with one come entities.
    const xmlNode* root =
        document && document->intSubset == nullptr ? xmlDocGetRootElement(document.get()) : nullptr;
    if (root == nullptr)
        return std::nullopt;
    S3Document parsed{.root = nameOf(*root)};
    for (const xmlNode* child = root->children; child != nullptr; child = child->next) {
        if (child->type != XML_ELEMENT_NODE)
            continue;
        const std::unique_ptr<xmlChar, decltype(xmlFree)> content(xmlNodeGetContent(child), xmlFree);
        if (content)
            parsed.fields.emplace(nameOf(*child), reinterpret_cast<const char*>(content.get()));
    }
    return parsed;
}

S3Error readS3Error(const HTTPResponse& response, S3Error::Details details) {
    const S3Document document = parseS3Document(response.body).value_or(S3Document());
    const auto field = [&](const char* name) {
        const auto entry = document.fields.find(name);
        return document.root == "Error" && entry != document.fields.end() ? presentable(entry->second)
                                                                          : std::string();
    };
    details.status = response.status;
    details.code = field("Code");
    details.message = field("Message");
    details.requestID = field("RequestId");
    if (details.code.empty()) {
        details.code = codeOf(response.status);
        details.message = messageOf(details, response.status);
    }
    if (details.requestID.empty())
        details.requestID = presentable(response.header("x-amz-request-id").value_or(""));
    details.isTemporary = isTemporary(details.code, details.status);
    if (const std::string advice = adviceOf(details.code, details.status, response, document);
        !advice.empty())
        details.message += (details.message.empty() ? "" : " ") + advice;
    return S3Error(std::move(details));
}

} // namespace halvo
