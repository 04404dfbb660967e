#include "Names.h"

#include <Base/Unicode.h>

#include <algorithm>
#include <array>
#include <iterator>

#include <utf8proc.h>

namespace halvo::hfsplus {
namespace {

struct CharacterRange {
    char32_t first;
    char32_t last;
};

template<std::size_t count>
bool contains(const CharacterRange (&ranges)[count], char32_t character) {
    const auto* range = std::partition_point(std::begin(ranges), std::end(ranges),
                                             [&](const CharacterRange& one) { return one.last < character; });
    return range != std::end(ranges) && range->first <= character;
}

/// Characters that decompose for Unicode and not for HFS Plus: punctuation and symbols, compatibility
/// ideographs, those that Unicode got after version 3.2 (Balinese), and all above U+FFFF.
constexpr CharacterRange keptWhole[] = {
    {0x1B06, 0x1B06}, {0x1B08, 0x1B08}, {0x1B0A, 0x1B0A},    {0x1B0C, 0x1B0C}, {0x1B0E, 0x1B0E},
    {0x1B12, 0x1B12}, {0x1B3B, 0x1B3B}, {0x1B3D, 0x1B3D},    {0x1B40, 0x1B41}, {0x1B43, 0x1B43},
    {0x2000, 0x2FFF}, {0xF900, 0xFAFF}, {0x10000, 0x10FFFF},
};

/// The marks that Unicode 3.2 had. Marks move past each other by their combining class, younger ones never.
constexpr CharacterRange marks[] = {
    {0x0300, 0x034E}, {0x0360, 0x036F}, {0x0483, 0x0486}, {0x0591, 0x05A1}, {0x05A3, 0x05B9},
    {0x05BB, 0x05BD}, {0x05BF, 0x05BF}, {0x05C1, 0x05C2}, {0x05C4, 0x05C4}, {0x064B, 0x0655},
    {0x0670, 0x0670}, {0x06D6, 0x06DC}, {0x06DF, 0x06E4}, {0x06E7, 0x06E8}, {0x06EA, 0x06ED},
    {0x0711, 0x0711}, {0x0730, 0x074A}, {0x093C, 0x093C}, {0x094D, 0x094D}, {0x0951, 0x0954},
    {0x09BC, 0x09BC}, {0x09CD, 0x09CD}, {0x0A3C, 0x0A3C}, {0x0A4D, 0x0A4D}, {0x0ABC, 0x0ABC},
    {0x0ACD, 0x0ACD}, {0x0B3C, 0x0B3C}, {0x0B4D, 0x0B4D}, {0x0BCD, 0x0BCD}, {0x0C4D, 0x0C4D},
    {0x0C55, 0x0C56}, {0x0CCD, 0x0CCD}, {0x0D4D, 0x0D4D}, {0x0DCA, 0x0DCA}, {0x0E38, 0x0E3A},
    {0x0E48, 0x0E4B}, {0x0EB8, 0x0EB9}, {0x0EC8, 0x0ECB}, {0x0F18, 0x0F19}, {0x0F35, 0x0F35},
    {0x0F37, 0x0F37}, {0x0F39, 0x0F39}, {0x0F71, 0x0F72}, {0x0F74, 0x0F74}, {0x0F7A, 0x0F7D},
    {0x0F80, 0x0F80}, {0x0F82, 0x0F84}, {0x0F86, 0x0F87}, {0x0FC6, 0x0FC6}, {0x1037, 0x1037},
    {0x1039, 0x1039}, {0x1714, 0x1714}, {0x1734, 0x1734}, {0x17D2, 0x17D2}, {0x18A9, 0x18A9},
    {0x20D0, 0x20DC}, {0x20E1, 0x20E1}, {0x20E5, 0x20EA}, {0x302A, 0x302F}, {0x3099, 0x309A},
    {0xFB1E, 0xFB1E}, {0xFE20, 0xFE23}};

int combiningClass(char32_t character) {
    if (!contains(marks, character))
        return 0;
    return utf8proc_get_property(static_cast<utf8proc_int32_t>(character))->combining_class;
}

void appendDecomposed(std::u32string& text, char32_t character) {
    if (character < 0x80 || contains(keptWhole, character)) {
        text += character;
        return;
    }
    std::array<utf8proc_int32_t, 16> pieces{}; // the longest decomposition has 4
    int boundary = 0;
    const auto count = utf8proc_decompose_char(static_cast<utf8proc_int32_t>(character), pieces.data(),
                                               pieces.size(), UTF8PROC_DECOMPOSE, &boundary);
    for (utf8proc_ssize_t index = 0; index < count; ++index)
        text += static_cast<char32_t>(pieces[static_cast<std::size_t>(index)]);
}

/// Each run of marks by combining class, equal ones in the order they have.
void orderMarks(std::u32string& text) {
    for (auto place = text.begin(); place != text.end();) {
        const auto isMark = [](char32_t character) { return combiningClass(character) != 0; };
        const auto first = std::find_if(place, text.end(), isMark);
        const auto last = std::find_if_not(first, text.end(), isMark);
        std::stable_sort(first, last, [](char32_t left, char32_t right) {
            return combiningClass(left) < combiningClass(right);
        });
        place = last;
    }
}

/// Lone surrogates stay what they are.
char32_t takeCharacter(std::u16string_view& units) {
    const char32_t first = units.front();
    units.remove_prefix(1);
    const bool paired = first >= 0xD800 && first < 0xDC00 && !units.empty() && units.front() >= 0xDC00 &&
                        units.front() < 0xE000;
    if (!paired)
        return first;
    const char32_t second = units.front();
    units.remove_prefix(1);
    return 0x10000 + ((first - 0xD800) << 10) + (second - 0xDC00);
}

void appendUnits(std::u16string& units, char32_t character) {
    if (character < 0x10000) {
        units += static_cast<char16_t>(character);
    } else {
        units += static_cast<char16_t>(0xD800 + ((character - 0x10000) >> 10));
        units += static_cast<char16_t>(0xDC00 + ((character - 0x10000) & 0x3FF));
    }
}

} // namespace

std::optional<std::u16string> storedName(std::string_view name) {
    const auto units = encodeUTF16(name);
    if (!units)
        return std::nullopt;
    std::u32string text;
    for (std::u16string_view rest = *units; !rest.empty();)
        appendDecomposed(text, takeCharacter(rest));
    orderMarks(text);
    std::replace(text.begin(), text.end(), U':', U'/');
    std::u16string stored;
    for (const char32_t character : text)
        appendUnits(stored, character);
    return stored;
}

} // namespace halvo::hfsplus
