#include "Names.h"

#include <Support/CaseName.h>

#include <gtest/gtest.h>

namespace halvo::hfsplus {
namespace {

struct StoredCase {
    std::string_view name;
    std::string_view file;
    std::u16string_view stored;
};

class StoredName : public testing::TestWithParam<StoredCase> {};

TEST_P(StoredName, isDecomposedAsTheFormatWants) {
    EXPECT_EQ(storedName(GetParam().file), GetParam().stored);
}

INSTANTIATE_TEST_SUITE_P(
    Names, StoredName,
    testing::Values(StoredCase{"accent", "caf\u00e9", u"cafe\u0301"},
                    StoredCase{"marksInTheirOrder", "s\u0307\u0323", u"s\u0323\u0307"},
                    StoredCase{"hangul", "\ud55c", u"\u1112\u1161\u11ab"},
                    StoredCase{"symbolStaysWhole", "\u2126\u212b", u"\u2126\u212b"},
                    StoredCase{"ideographStaysWhole", "\uf900e\u0301", u"\uf900e\u0301"},
                    StoredCase{"letterOfUnicode5", "\u1b06", u"\u1b06"},
                    StoredCase{"markOfUnicode4StaysInPlace", "a\u0358\u0323", u"a\u0358\u0323"},
                    StoredCase{"aboveTheFirstPlane", "\U0001F600\U0001D15E", u"\U0001F600\U0001D15E"},
                    StoredCase{"colon", "a:b", u"a/b"}),
    test::CaseName());

TEST(NameOrder, isThatOfTheCatalog) {
    const std::u16string_view rising[] = {u"",           u"_",          u"a",     u"apple",  u"B",
                                          u"cafe\u0301", u"caff",       u"Zebra", u"\u00df", u"\u03a9",
                                          u"\u0436",     u"\U0001F600", u"\uff21"};
    for (std::size_t left = 0; left < std::size(rising); ++left)
        for (std::size_t right = 0; right < std::size(rising); ++right)
            EXPECT_EQ(compareNames(rising[left], rising[right]), left <=> right) << left << " and " << right;
    for (const auto& [one, other] : {std::pair{u"README", u"readme"},
                                     {u"\u0416", u"\u0436"},
                                     {u"a\u200d", u"A"},
                                     {u"\u018e", u"\u01dd"},
                                     {u"\u01c4", u"\u01c6"},
                                     {u"\uff21", u"\uff41"}})
        EXPECT_EQ(compareNames(one, other), std::strong_ordering::equal);
    // Pairs of later Unicode, and letters whose capital is stored in two, are different letters.
    EXPECT_NE(compareNames(u"\u1e9e", u"\u00df"), std::strong_ordering::equal);
    EXPECT_NE(compareNames(u"\u03c2", u"\u03c3"), std::strong_ordering::equal);
}

} // namespace
} // namespace halvo::hfsplus
