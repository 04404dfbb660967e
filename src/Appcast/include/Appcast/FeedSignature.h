#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace halvo {

/// A feed that carries its own signature, as Sparkle's tools make it since 2.9: a comment behind the
/// document, without a byte between, with LF alone. Clients that require it refuse the whole feed when it is
/// missing or does not fit.
///
///     <!-- sparkle-signatures:
///     edSignature: BASE64
///     length: BYTES OF THE CONTENT
///     -->
struct SignedFeed {
    std::string_view content{};    ///< what is signed: everything in front of the comment
    std::string_view afterBlock{}; ///< what follows the comment; nobody reads it
    std::string edSignature{};     ///< base64; empty when the comment has none

    /// Absent for a feed without that comment.
    static std::optional<SignedFeed> read(std::string_view document);
};

/// The content with the comment that signs it.
std::string withFeedSignature(std::string_view content, const std::string& edSignature,
                              std::string_view afterBlock = "");

} // namespace halvo
