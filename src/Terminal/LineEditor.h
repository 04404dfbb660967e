#pragma once

#include "Keys.h"

#include <cstddef>
#include <string>

namespace halvo {

/// One line of text with a cursor, as keys change it.
class LineEditor {
public:
    /// What is to be shown of the line, and where the cursor stands in it.
    struct View {
        std::string text{};
        std::size_t cursorColumn = 0;
    };

    /// Keys that mean nothing to a line are ignored.
    void handle(const Key& key);
    const std::string& text() const { return content; }
    /// At most `width` columns, with the cursor in them. A secret shows a bullet for each character.
    View view(std::size_t width, bool secret) const;

private:
    std::size_t before(std::size_t position) const;
    std::size_t after(std::size_t position) const;
    std::size_t wordStart() const;
    std::size_t wordEnd() const;
    void erase(std::size_t from, std::size_t to);

    std::string content;    ///< UTF-8
    std::size_t cursor = 0; ///< a byte offset at the start of a character
};

} // namespace halvo
