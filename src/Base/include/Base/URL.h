#pragma once

#include <compare>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace halvo {

/// An absolute URL (RFC 3986), kept as its text. Two URLs are equal when their texts are.
///
/// The parts that the program needs are computed when asked for. A default-made URL is empty and stands for
/// "not set yet".
class URL {
public:
    URL() = default;

    /// Absent unless the text is an absolute URL: a scheme, no blanks or control characters, no stray "%",
    /// and a host where the scheme is http or https. Bytes beyond ASCII are percent-encoded in path and
    /// query.
    static std::optional<URL> parse(std::string_view text);
    /// The file URL of a path; a relative one is taken from the current directory.
    static URL file(const std::filesystem::path& path);

    const std::string& absoluteString() const { return text; }
    bool isEmpty() const { return text.empty(); }

    std::string scheme() const; ///< lower-case
    std::string host() const;   ///< without port and user; empty when there is none
    std::string encodedPath() const;
    std::string path() const; ///< percent-decoded
    /// What stands behind "?", still encoded; absent without one.
    std::optional<std::string> query() const;

    bool isFile() const { return scheme() == "file"; }
    /// The path of a file URL, as the file system takes it.
    std::filesystem::path filePath() const;

    /// The last part of the path, decoded, without a closing slash.
    std::string lastPathComponent() const;
    /// What follows the last dot of the last path component, as it is written; empty without one.
    std::string pathExtension() const;

    /// With `component` added to the path behind one slash. The component is encoded, its own slashes stay.
    /// A query or fragment of this URL stays behind the path.
    URL appendingPath(std::string_view component) const;
    /// With `name=value` added to the query, both encoded.
    URL appendingQueryItem(std::string_view name, std::string_view value) const;

    auto operator<=>(const URL&) const = default;

private:
    explicit URL(std::string absolute) : text(std::move(absolute)) {}

    std::string text;
};

/// Whether a host as it stands in a URL names this very machine: "localhost", 127.0.0.0/8 or "[::1]".
bool isLoopbackHost(std::string_view host);

/// Percent-encodes every byte but letters, digits, "-._~" and those in `kept` (RFC 3986, upper-case digits).
std::string percentEncoded(std::string_view text, std::string_view kept = "");
/// Each "%XX" becomes its byte; a "%" that starts no such triple stays as it is. "+" stays.
std::string percentDecoded(std::string_view text);

/// The extension of a path as people mean it: behind the last dot of the last component, "" without one.
/// A leading dot starts no extension.
std::string pathExtension(const std::filesystem::path& path);

} // namespace halvo
