#include <S3/S3Error.h>

namespace halvo {

bool S3Error::isMissingObject() const {
    return details.code == "NoSuchKey" || details.message.find("NoSuchKey") != std::string::npos;
}

bool S3Error::isConflict() const { return details.status == 409 || details.status == 412; }

bool S3Error::isNotImplemented() const {
    return details.status == 501 || (details.status == 400 && details.code == "NotImplemented");
}

std::string S3Error::describe(const Details& details) {
    std::string context;
    const auto add = [&](const std::string& part) { context += (context.empty() ? "" : ", ") + part; };
    if (!details.operation.empty())
        add(details.operation + " " + details.bucket + (details.key.empty() ? "" : "/" + details.key));
    if (details.status != 0)
        add("status " + std::to_string(details.status));
    if (!details.requestID.empty())
        add("request id " + details.requestID);
    return details.code + (details.message.empty() ? "" : ": " + details.message) +
           (context.empty() ? "" : " (" + context + ")");
}

} // namespace halvo
