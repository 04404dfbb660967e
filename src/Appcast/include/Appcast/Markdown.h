#pragma once

#include <string>
#include <string_view>

namespace halvo {

/// The HTML of release notes in Markdown: CommonMark with GitHub's tables, strike-through, task lists and
/// bare links. A block stands on lines of its own, except directly inside a block quote or a list item.
///
/// What may reach a user's update window is safe: HTML in the notes is shown as text, and a link or image
/// that leads anywhere but to http, https, mailto or a relative address loses its target. Sequences that are
/// not UTF-8, and NUL, become U+FFFD.
std::string htmlFromMarkdown(std::string_view markdown);

} // namespace halvo
