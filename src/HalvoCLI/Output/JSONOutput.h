#pragma once

#include <nlohmann/json_fwd.hpp>

#include <string>

namespace halvo::JSONOutput {

enum class Layout {
    oneLine,
    pretty, ///< indented, for standard output that is a terminal
};

/// The text of a document: keys sorted, slashes as they are, no line break at the end. Text that is not UTF-8
/// gets U+FFFD in its place.
std::string encode(const nlohmann::json& document, Layout layout);

} // namespace halvo::JSONOutput
