// Names measured and cut by characters and columns: the fixed-width fields of every report.
#include "workspace/Utf8Text.h"

#include <gtest/gtest.h>

namespace tintara {
namespace {

TEST(Utf8Text, ColumnsCountCharactersWideOnesTwiceAndMarksNotAtAll) {
    EXPECT_EQ(TextColumns("Wei\xC3\x9F"), 4u);                               // Weiß
    EXPECT_EQ(TextColumns("\xC5\xBC\xC3\xB3\xC5\x82w"), 4u);                 // żółw
    EXPECT_EQ(TextColumns("\xCE\x9B\xCE\xB5\xCF\x85\xCE\xBA\xCF\x8C"), 5u);  // Λευκό
    EXPECT_EQ(TextColumns("\xD0\x91\xD0\xB5\xD0\xBB\xD1\x8B\xD0\xB9"), 5u);  // Белый
    EXPECT_EQ(TextColumns("\xE7\x99\xBD\xE8\x89\xB2"), 4u);                  // 白色
    EXPECT_EQ(TextColumns("\xEA\xB0\x80 \xEF\xBC\xA1"), 5u);  // Hangul, blank, full-width A
    EXPECT_EQ(TextColumns("e\xCC\x81"), 1u);                  // e + combining acute
    EXPECT_EQ(TextColumns("\xF0\xA0\x80\x80"), 2u);           // CJK extension B
}

TEST(Utf8Text, PadCutKeepsWholeCharactersAndExactColumns) {
    EXPECT_EQ(PadCutColumns("Wei\xC3\x9F", 6), "Wei\xC3\x9F  ");
    EXPECT_EQ(PadCutColumns("Rouge fonc\xC3\xA9 profond", 11), "Rouge fonc\xC3\xA9");
    // A wide character that would straddle the last column gives way to a blank.
    EXPECT_EQ(PadCutColumns("ab\xE7\x99\xBD\xE8\x89\xB2", 5), "ab\xE7\x99\xBD ");
    EXPECT_EQ(PadCutColumns("ab\xE7\x99\xBD\xE8\x89\xB2", 6), "ab\xE7\x99\xBD\xE8\x89\xB2");
    // A combining mark stays with its letter, also at the cut.
    EXPECT_EQ(PadCutColumns("ne\xCC\x81z", 2), "ne\xCC\x81");
    EXPECT_EQ(PadCutColumns("", 3), "   ");
    EXPECT_EQ(PadCutColumns("abc", 0), "");
    for (std::size_t width = 0; width < 40; ++width) {
        const std::string cut =
            PadCutColumns("Gr\xC3\xBCn gl\xC3\xA4nzend \xE7\x99\xBD\xE8\x89\xB2 \xCE\x9B", width);
        EXPECT_EQ(TextColumns(cut), width);
        EXPECT_EQ(ValidUtf8(cut), cut) << width;
    }
}

TEST(Utf8Text, IllFormedBytesBecomeReplacementCharactersNeverHalfASequence) {
    const std::string replacement = "\xEF\xBF\xBD";
    EXPECT_EQ(ValidUtf8("a\xC3"), "a" + replacement);             // cut sequence
    EXPECT_EQ(ValidUtf8("\xBA!"), replacement + "!");             // stray continuation
    EXPECT_EQ(ValidUtf8("\xC0\xAF"), replacement + replacement);  // overlong '/'
    EXPECT_EQ(ValidUtf8("\xED\xA0\x80"), replacement + replacement + replacement);  // surrogate
    EXPECT_EQ(ValidUtf8("\xF0\x9F\x98\x80 ok"), "\xF0\x9F\x98\x80 ok");
    EXPECT_EQ(PadCutColumns("Fliese \xC3", 9), "Fliese " + replacement + " ");
    EXPECT_EQ(DecodeUtf8("\xE2\x82\xAC", 0).CodePoint, U'\u20AC');
    EXPECT_EQ(EncodeUtf8(U'\U0001F600'), "\xF0\x9F\x98\x80");
}

}  // namespace
}  // namespace tintara
