#include "LineEditor.h"

#include "TextLayout.h"

#include <Base/Unicode.h>

#include <algorithm>
#include <vector>

namespace halvo {

void LineEditor::handle(const Key& key) {
    switch (key.kind) {
    case Key::Kind::character:
        content.insert(cursor, key.text);
        cursor += key.text.size();
        break;
    case Key::Kind::backspace: erase(before(cursor), cursor); break;
    case Key::Kind::deleteForward: erase(cursor, after(cursor)); break;
    case Key::Kind::left: cursor = before(cursor); break;
    case Key::Kind::right: cursor = after(cursor); break;
    case Key::Kind::home: cursor = 0; break;
    case Key::Kind::end: cursor = content.size(); break;
    case Key::Kind::wordLeft: cursor = wordStart(); break;
    case Key::Kind::wordRight: cursor = wordEnd(); break;
    case Key::Kind::deleteWord: erase(wordStart(), cursor); break;
    case Key::Kind::deleteToStart: erase(0, cursor); break;
    case Key::Kind::deleteToEnd: erase(cursor, content.size()); break;
    default: break;
    }
}

LineEditor::View LineEditor::view(std::size_t width, bool secret) const {
    struct Character {
        std::string_view text;
        std::size_t width;
    };
    std::vector<Character> characters;
    std::size_t cursorIndex = 0;
    for (std::size_t position = 0; position < content.size(); position = after(position)) {
        if (position < cursor)
            ++cursorIndex;
        const std::string_view text = std::string_view(content).substr(position, after(position) - position);
        characters.push_back(secret ? Character{"\u2022", 1} : Character{text, displayWidth(text)});
    }
    // The cursor needs a column of its own at the end of the line; from there the window goes back as far as
    // it can.
    std::size_t used = 1;
    std::size_t first = cursorIndex;
    while (first > 0 && used + characters[first - 1].width <= width)
        used += characters[--first].width;
    View view{{}, used - 1};
    for (std::size_t index = first; index < cursorIndex; ++index)
        view.text += characters[index].text;
    std::size_t total = view.cursorColumn;
    for (std::size_t index = cursorIndex;
         index < characters.size() && total + characters[index].width <= width; ++index) {
        view.text += characters[index].text;
        total += characters[index].width;
    }
    return view;
}

std::size_t LineEditor::after(std::size_t position) const {
    return position + characterLength(std::string_view(content).substr(position));
}

std::size_t LineEditor::before(std::size_t position) const {
    std::size_t start = 0;
    for (std::size_t next = after(0); next < position; next = after(next))
        start = next;
    return position == 0 ? 0 : start;
}

std::size_t LineEditor::wordStart() const {
    std::size_t position = cursor;
    while (position > 0 && content[position - 1] == ' ')
        --position;
    while (position > 0 && content[position - 1] != ' ')
        --position;
    return position;
}

std::size_t LineEditor::wordEnd() const {
    std::size_t position = std::min(content.find_first_not_of(' ', cursor), content.size());
    return std::min(content.find(' ', position), content.size());
}

void LineEditor::erase(std::size_t from, std::size_t to) {
    content.erase(from, to - from);
    cursor = from;
}

} // namespace halvo
