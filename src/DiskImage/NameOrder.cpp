#include "Names.h"

#include <array>
#include <memory>

namespace halvo::hfsplus {
namespace {

/// Every `step`-th letter from `first` to `last` folds to the one `distance` above it.
struct LetterRange {
    char16_t first;
    char16_t last;
    unsigned step;
    unsigned distance;
};

/// The table of TN1150 is the Unicode of 1996: later letters are told apart by case, and so they must be
/// here.
constexpr LetterRange letterRanges[] = {
    {0x0041, 0x005A, 1, 32}, // Latin
    {0x00C6, 0x00C6, 1, 32}, {0x00D0, 0x00D0, 1, 32}, {0x00D8, 0x00D8, 1, 32},
    {0x00DE, 0x00DE, 1, 32}, {0x0110, 0x0110, 1, 1},  {0x0126, 0x0126, 1, 1},
    {0x0132, 0x0132, 1, 1},  {0x013F, 0x013F, 1, 1},  {0x0141, 0x0141, 1, 1},
    {0x014A, 0x014A, 1, 1},  {0x0152, 0x0152, 1, 1},  {0x0166, 0x0166, 1, 1},
    {0x0182, 0x0184, 2, 1},  {0x0187, 0x018B, 4, 1},  {0x0191, 0x0191, 1, 1},
    {0x0198, 0x0198, 1, 1},  {0x01A2, 0x01A4, 2, 1},  {0x01A7, 0x01A7, 1, 1},
    {0x01AC, 0x01AC, 1, 1},  {0x01B3, 0x01B5, 2, 1},  {0x01B8, 0x01B8, 1, 1},
    {0x01BC, 0x01BC, 1, 1},  {0x01E4, 0x01E4, 1, 1},  {0x01C5, 0x01CB, 3, 1},
    {0x01F2, 0x01F2, 1, 1},  {0x01C4, 0x01CA, 3, 2},  {0x01F1, 0x01F1, 1, 2},
    {0x0391, 0x03A1, 1, 32}, {0x03A3, 0x03A9, 1, 32}, // Greek
    {0x03E2, 0x03EE, 2, 1},                           // Coptic
    {0x0402, 0x0402, 1, 80}, {0x0404, 0x0406, 1, 80}, {0x0408, 0x040B, 1, 80},
    {0x040F, 0x040F, 1, 80}, // Cyrillic
    {0x0410, 0x0418, 1, 32}, {0x041A, 0x042F, 1, 32}, {0x0460, 0x0474, 2, 1},
    {0x0478, 0x0480, 2, 1},  {0x0490, 0x04BE, 2, 1},  {0x04C3, 0x04CB, 4, 1},
    {0x0531, 0x0556, 1, 48}, // Armenian
    {0x10A0, 0x10C5, 1, 48}, // Georgian
    {0x2160, 0x216F, 1, 16}, // Roman numerals
    {0xFF21, 0xFF3A, 1, 32}, // full width
};

/// Letters whose small form stands elsewhere.
constexpr char16_t farLetters[][2] = {
    {0x0181, 0x0253}, {0x0186, 0x0254}, {0x0189, 0x0256}, {0x018A, 0x0257}, {0x018E, 0x01DD},
    {0x018F, 0x0259}, {0x0190, 0x025B}, {0x0193, 0x0260}, {0x0194, 0x0263}, {0x0196, 0x0269},
    {0x0197, 0x0268}, {0x019C, 0x026F}, {0x019D, 0x0272}, {0x019F, 0x0275}, {0x01A9, 0x0283},
    {0x01AE, 0x0288}, {0x01B1, 0x028A}, {0x01B2, 0x028B}, {0x01B7, 0x0292},
};

/// Joiners, marks of direction and the like: they count for nothing.
constexpr char16_t ignorableRanges[][2] = {
    {0x200C, 0x200F}, {0x202A, 0x202E}, {0x206A, 0x206F}, {0xFEFF, 0xFEFF}};

using FoldingTable = std::array<char16_t, 0x10000>;

std::unique_ptr<const FoldingTable> makeFoldingTable() {
    auto table = std::make_unique<FoldingTable>();
    for (std::size_t unit = 0; unit < table->size(); ++unit)
        (*table)[unit] = static_cast<char16_t>(unit);
    for (const LetterRange& range : letterRanges)
        for (unsigned unit = range.first; unit <= range.last; unit += range.step)
            (*table)[unit] = static_cast<char16_t>(unit + range.distance);
    for (const auto& [capital, small] : farLetters)
        (*table)[capital] = small;
    for (const auto& [first, last] : ignorableRanges)
        std::fill(table->begin() + first, table->begin() + last + 1, char16_t{0});
    (*table)[0] = 0xFFFF; // 0 now means ignorable, and a NUL sorts last
    return table;
}

/// The next unit that counts, folded; 0 at the end.
char16_t nextUnit(const FoldingTable& table, std::u16string_view& units) {
    char16_t folded = 0;
    while (folded == 0 && !units.empty()) {
        folded = table[units.front()];
        units.remove_prefix(1);
    }
    return folded;
}

} // namespace

std::strong_ordering compareNames(std::u16string_view left, std::u16string_view right) {
    static const std::unique_ptr<const FoldingTable> table = makeFoldingTable();
    for (;;) {
        const char16_t one = nextUnit(*table, left);
        const char16_t other = nextUnit(*table, right);
        if (one != other || one == 0)
            return one <=> other;
    }
}

} // namespace halvo::hfsplus
