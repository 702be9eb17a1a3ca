#include "workspace/NumberFormat.h"

#include <gtest/gtest.h>

namespace tintara {
namespace {

TEST(NumberFormat, DeltaEPatternKeepsOneIntegerDigitAndTwoDecimals) {
    EXPECT_EQ(Format(123.456, "##0.00"), "123.46");
    EXPECT_EQ(Format(0.125, "##0.00"), "0.13");
    EXPECT_EQ(Format(0.004, "##0.00"), "0.00");
    EXPECT_EQ(Format(123.4, "##0.00"), "123.40");
    EXPECT_EQ(Format(7, "##0.00"), "7.00");
    EXPECT_EQ(Format(0, "##0.00"), "0.00");
    EXPECT_EQ(Format(12345.678, "##0.00"), "12345.68");  // wider than the pattern
    EXPECT_EQ(Format(-1.234, "##0.00"), "-1.23");
    EXPECT_EQ(Format(-0.001, "##0.00"), "-0.00");
    EXPECT_EQ(Format(9.995, "##0.00"), "10.00");
    EXPECT_EQ(Format(2.675, "##0.00"), "2.68");  // 2.67499999... in binary, 2.675 at 15 digits
    EXPECT_EQ(Format(1.005, "#0.00"), "1.01");
    EXPECT_EQ(Format(0.5, "#0.00"), "0.50");
    EXPECT_EQ(Format(5, "#0.00"), "5.00");
    EXPECT_EQ(Format(0.5, "0.00"), "0.50");
}

TEST(NumberFormat, OptionalIntegerDigitsVanishBelowOne) {
    EXPECT_EQ(Format(0.5, "##.000"), ".500");
    EXPECT_EQ(Format(-0.25, "##.000"), "-.250");
    EXPECT_EQ(Format(12.3456, "##.000"), "12.346");
    EXPECT_EQ(Format(0, "##.000"), ".000");
    EXPECT_EQ(Format(0.0004, "##.000"), ".000");
    EXPECT_EQ(Format(0.0005, "##.000"), ".001");
    EXPECT_EQ(Format(1.0, "###.000000"), "1.000000");
    EXPECT_EQ(Format(0.98765432, "###.000000"), ".987654");
    EXPECT_EQ(Format(-0.0000005, "###.000000"), "-.000001");
    EXPECT_EQ(Format(87.65, "###.000"), "87.650");
    EXPECT_EQ(Format(0.5, "##.00"), ".50");
    EXPECT_EQ(Format(1234.5, "##.00"), "1234.50");
}

TEST(NumberFormat, ForcedDigitPatternsForCoefficients) {
    EXPECT_EQ(Format(0, "0.000"), "0.000");
    EXPECT_EQ(Format(1, "0.000"), "1.000");
    EXPECT_EQ(Format(0.0125, "0.000"), "0.013");
    EXPECT_EQ(Format(-0.0125, "0.000"), "-0.013");
    EXPECT_EQ(Format(0.9999, "0.000"), "1.000");
}

TEST(NumberFormat, NegativeSectionReplacesTheMinusSign) {
    EXPECT_EQ(Format(-0.5, " ##0.00;-#0.00"), "-0.50");
    EXPECT_EQ(Format(0.5, " ##0.00;-#0.00"), " 0.50");
    EXPECT_EQ(Format(0, " ##0.00;-#0.00"), " 0.00");
    EXPECT_EQ(Format(-123.456, " ##0.00;-#0.00"), "-123.46");
    EXPECT_EQ(Format(123.456, " ##0.00;-#0.00"), " 123.46");
}

TEST(NumberFormat, IntegerPatternWithOnlyOptionalDigits) {
    EXPECT_EQ(Format(999, "###"), "999");
    EXPECT_EQ(Format(4, "###"), "4");
    EXPECT_EQ(Format(12345, "###"), "12345");
    EXPECT_EQ(Format(0, "###"), "");
    EXPECT_EQ(Format(2.5, "###"), "3");
    EXPECT_EQ(Format(-7, "###"), "-7");
}

TEST(NumberFormat, PrintWritesSignBlankAndTrailingBlank) {
    EXPECT_EQ(PrintNumber(0.5), " .5 ");
    EXPECT_EQ(PrintNumber(32), " 32 ");
    EXPECT_EQ(PrintNumber(0), " 0 ");
    EXPECT_EQ(PrintNumber(2), " 2 ");
    EXPECT_EQ(PrintNumber(-2), "-2 ");
    EXPECT_EQ(PrintNumber(-0.25), "-.25 ");
    EXPECT_EQ(PrintNumber(5), " 5 ");
    EXPECT_EQ(PrintNumber(0.01), " .01 ");
    EXPECT_EQ(PrintNumber(0.1 + 0.2), " .3 ");  // 15 significant digits
    EXPECT_EQ(PrintNumber(1.0 / 3.0), " .333333333333333 ");
    EXPECT_EQ(PrintNumber(123456.75), " 123456.75 ");
    EXPECT_EQ(PrintNumber(0.0001), " .0001 ");
    EXPECT_EQ(PrintNumber(0.00001), " 1E-05 ");
    EXPECT_EQ(PrintNumber(1e15), " 1E+15 ");
    EXPECT_EQ(PrintNumber(123456789012345.0), " 123456789012345 ");
}

TEST(NumberFormat, ValTakesTheLeadingNumber) {
    EXPECT_EQ(Val("0.50"), 0.5);
    EXPECT_EQ(Val("  1.25abc"), 1.25);
    EXPECT_EQ(Val("abc"), 0.0);
    EXPECT_EQ(Val(""), 0.0);
    EXPECT_EQ(Val(" .5 "), 0.5);
    EXPECT_EQ(Val("-3"), -3.0);
}

}  // namespace
}  // namespace tintara
