#pragma once

#include <Platform/HTTPSession.h>
#include <S3/S3Error.h>

#include <map>
#include <optional>
#include <string>

namespace halvo {

/// The XML document of an S3 response: its root's name and its root's children that hold text. Names are
/// without their namespace, which some stores give and some do not.
struct S3Document {
    std::string root{};
    std::map<std::string, std::string> fields{};
};

/// Absent when the body is no XML, declares a document type, or is larger than any S3 response of this kind.
std::optional<S3Document> parseS3Document(ByteView body);

/// The error that a response stands for. `request` holds operation, bucket and key; the rest is filled in.
S3Error readS3Error(const HTTPResponse& response, S3Error::Details request);

} // namespace halvo
