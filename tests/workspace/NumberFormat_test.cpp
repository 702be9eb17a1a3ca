#include "workspace/NumberFormat.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

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

// The values the integer fast path must render exactly as the printf-based reference does.
std::vector<double> BitIdentityValues() {
    std::vector<double> values = {0.0,
                                  -0.0,
                                  0.5,
                                  0.125,
                                  2.675,
                                  1.005,
                                  9.995,
                                  0.0005,
                                  0.1 + 0.2,
                                  1.0 / 3.0,
                                  123456789012345.5,  // exact ties at the 15th digit: to even
                                  123456789012344.5,
                                  99999999999999.95,
                                  999999999999999.4,
                                  999999999999999.6,
                                  1e15,
                                  1e-12,
                                  9.99999999999999e-13,
                                  1e-4,
                                  0.99999999999999994,
                                  std::numeric_limits<double>::min(),
                                  std::numeric_limits<double>::denorm_min(),
                                  std::numeric_limits<double>::max(),
                                  std::numeric_limits<double>::infinity(),
                                  std::numeric_limits<double>::quiet_NaN()};
    for (int e = -20; e <= 20; ++e) {
        const double p = std::pow(10.0, e);
        values.insert(values.end(), {p, std::nextafter(p, 0.0), std::nextafter(p, 1e300)});
        values.push_back(0.5 * p);
        values.push_back(9.999999999999995 * p);
    }
    std::mt19937_64 random(19);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    for (int i = 0; i < 4000; ++i) {
        values.push_back(unit(random) * 200.0);                         // colour differences
        values.push_back(std::ldexp(unit(random), int(i % 110) - 60));  // every binade in reach
        values.push_back(std::round(unit(random) * 2e5) / 2.0);         // halves
        values.push_back(std::round(unit(random) * 8e4) / 8000.0);      // exact decimal ties
        std::uint64_t bits = random();
        double any = 0.0;
        std::memcpy(&any, &bits, sizeof any);
        values.push_back(any);  // any double at all, NaN and infinity included
    }
    // 15-significant-digit values one step either side, where the rounding is decided.
    for (int i = 0; i < 3000; ++i) {
        const double v = static_cast<double>(100000000000000 + random() % 900000000000000) *
                         std::pow(10.0, static_cast<int>(i % 30) - 26);
        values.insert(values.end(), {v, std::nextafter(v, 0.0), std::nextafter(v, 1e300)});
    }
    const std::size_t count = values.size();
    for (std::size_t i = 0; i < count; ++i)
        values.push_back(-values[i]);
    return values;
}

TEST(NumberFormat, FastPathRendersEveryValueAsTheReference) {
    const char* patterns[] = {
        "##0.00",    " ##0.00",    " ##0.00;-#0.00",    "#0.00",       "0.00",  "###",
        "##.000",    "###.000000", "###.000",           "0.000",       "0.0##", "#,##0.0",
        "dE 0.00 u", "000000",     "#.###############", "0.0000000000"};
    int mismatches = 0;
    for (double v : BitIdentityValues()) {
        for (const char* pattern : patterns) {
            const std::string fast = Format(v, pattern);
            const std::string reference = detail::ReferenceFormat(v, pattern);
            if (fast != reference && ++mismatches <= 10)
                ADD_FAILURE() << "Format(" << v << ", \"" << pattern << "\"): " << fast << " vs "
                              << reference;
        }
        const std::string text = NumberText(v);
        const std::string reference = detail::ReferenceNumberText(v);
        if (text != reference && ++mismatches <= 10)
            ADD_FAILURE() << "NumberText(" << v << "): " << text << " vs " << reference;
        const std::string printed = PrintNumber(v);
        if (printed != (reference[0] == '-' ? reference : " " + reference) + " " &&
            ++mismatches <= 10)
            ADD_FAILURE() << "PrintNumber(" << v << "): " << printed;
    }
    EXPECT_EQ(mismatches, 0);
}

}  // namespace
}  // namespace tintara
