// The paper a certificate is laid out on: by name, by a locale's width, from the environment.
#include "report/Paper.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <cstdlib>
#include <string>

namespace tintara {
namespace {

TEST(Paper, NamesAndLocaleWidthsGiveA4OrLetterWithHalfInchMargins) {
    EXPECT_EQ(PaperByName("A4"), PageSetup::A4());
    EXPECT_EQ(PaperByName("letter"), PageSetup::Letter());
    EXPECT_EQ(PaperByName("Letter"), PageSetup::Letter());
    EXPECT_FALSE(PaperByName("b5").has_value());
    EXPECT_FALSE(PaperByName("").has_value());
    // 210 x 297 mm and 8.5 x 11 in, in twips.
    EXPECT_EQ(PageSetup::A4().Width, 11906);
    EXPECT_EQ(PageSetup::A4().Height, 16838);
    EXPECT_EQ(PageSetup::Letter().Width, 12240);
    EXPECT_EQ(PageSetup::Letter().PrintableWidth(), 12240 - 2 * 720);
    EXPECT_EQ(PageSetup::A4().PrintableBottom(), 16838 - 720);
    EXPECT_EQ(PaperOfWidth(216), PageSetup::Letter());
    EXPECT_EQ(PaperOfWidth(210), PageSetup::A4());
}

TEST(Paper, TheLocalesPaperIsReadWithoutChangingTheProgramsLocale) {
    ::setenv("LC_ALL", "C", 1);
    const std::string before = std::setlocale(LC_ALL, nullptr);
    EXPECT_EQ(LocalePaper(), PageSetup::A4());  // glibc's C locale prints on A4
    EXPECT_EQ(std::setlocale(LC_ALL, nullptr), before);
    ::unsetenv("LC_ALL");
}

TEST(Paper, FixedPitchSizesFitTheWidthOnAQuarterPointGrid) {
    // 77 columns at 12 points (554 pt) do not fit 523 pt of A4; the largest size that does.
    const int32_t width = PageSetup::A4().PrintableWidth();
    const double size = FitFixedPitch(12.0, 77, width);
    EXPECT_LE(FixedPitchWidth(77, size), width);
    EXPECT_GT(FixedPitchWidth(77, size + 0.25), width);
    EXPECT_EQ(std::fmod(size, 0.25), 0.0);
    EXPECT_EQ(FitFixedPitch(10.0, 77, width), 10.0);
}

}  // namespace
}  // namespace tintara
