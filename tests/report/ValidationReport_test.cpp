// The validation report's rows, CSV and pages on a small hand-made result.
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

#include "engine/ColorMatch.h"
#include "report/ValidationReport.h"
#include "workspace/NumberFormat.h"

namespace tintara {
namespace {

// Two samples; numbers chosen so every formatted cell can be read off by eye.
ValidationResult SmallResult(int16_t colorSpace = kCieLab) {
    std::vector<std::array<double, 40>> curves(6);
    curves[0].fill(40);
    curves[1].fill(42);
    curves[2].fill(40.2);
    curves[3].fill(60);
    curves[4].fill(59);
    curves[5].fill(60);
    const std::vector<ValidationPair> pairs{
        {"Red, deep", curves[0].data(), curves[1].data(), curves[2].data()},
        {"Grey \"60\"", curves[3].data(), curves[4].data(), curves[5].data()}};
    return Validate(pairs, colorSpace, 0.5);
}

TEST(ValidationReport, RowsAndCsvCarryEverySampleAndStatistic) {
    const ValidationResult r = SmallResult();
    const TextRows statistics = ValidationStatisticsRows(r);
    ASSERT_EQ(statistics.size(), 7u);
    EXPECT_EQ(statistics[0], (std::vector<std::string>{"Statistic", "DE before", "DE after",
                                                       "DE2000 before", "DE2000 after"}));
    EXPECT_EQ(statistics[5][0], "Maximum");
    EXPECT_EQ(statistics[5][1], Format(r.Samples[0].Before.DE, "##0.00"));
    EXPECT_EQ(statistics[6][0], "Within 0.50 (%)");
    EXPECT_EQ(statistics[6][1], "0.0");    // both greys are more than 0.5 away before
    EXPECT_EQ(statistics[6][2], "100.0");  // and within it after

    const TextRows bias = ValidationBiasRows(r);
    ASSERT_EQ(bias.size(), 4u);
    EXPECT_EQ(bias[1][0], "DL*");
    EXPECT_EQ(ValidationBiasRows(SmallResult(kHunterLab))[1][0], "DL");  // Hunter Lab: no asterisk
    EXPECT_EQ(bias[1][2],
              Format(r.Before.DL.Lower, "##0.00") + " .. " + Format(r.Before.DL.Upper, "##0.00"));
    const TextRows worst = ValidationWorstRows(r);
    ASSERT_EQ(worst.size(), 3u);
    EXPECT_EQ(worst[1][0], "Red, deep");  // 0.2 points off after, the grey none
    const TextRows spectral = ValidationSpectralRows(r);
    ASSERT_EQ(spectral.size(), 41u);
    EXPECT_EQ(spectral[1], (std::vector<std::string>{"360", "-0.500", "1.581", "-0.100", "0.141"}));

    std::ostringstream csv;
    WriteValidationCsv(r, csv);
    std::istringstream lines(csv.str());
    std::string header, first, second, rest;
    std::getline(lines, header);
    std::getline(lines, first);
    std::getline(lines, second);
    EXPECT_FALSE(std::getline(lines, rest));
    EXPECT_EQ(header,
              "name,DE before,DE after,DE2000 before,DE2000 after,DL before,Da before,"
              "Db before,DL after,Da after,Db after\r");
    EXPECT_TRUE(first.starts_with("\"Red, deep\",")) << first;
    EXPECT_TRUE(second.starts_with("\"Grey \"\"60\"\"\",")) << second;
    std::istringstream cells(first.substr(first.find("\",") + 2));
    double de = 0;
    cells >> de;
    EXPECT_NEAR(de, r.Samples[0].Before.DE, 1e-6);
}

TEST(ValidationReport, PagesHoldTheTablesAndThreePlotsInsideThePaper) {
    const ValidationResult r = SmallResult();
    const PageDescription doc =
        ValidationReportDocument(r, {"c.ccf", "m.wsv", "t.wsv", "SCI", "11/23/26"});
    ASSERT_EQ(doc.Pages.size(), 2u);
    const std::vector<std::string> lines = doc.TextLines();
    auto has = [&lines](const std::string& start) {
        return std::any_of(lines.begin(), lines.end(),
                           [&](const std::string& l) { return l.starts_with(start); });
    };
    EXPECT_TRUE(has("Coefficient file: c.ccf"));
    EXPECT_TRUE(has("Mean  "));
    EXPECT_TRUE(has("Red, deep"));
    EXPECT_TRUE(has("DE distribution before and after correction"));
    EXPECT_TRUE(has("DE per sample, sorted"));
    EXPECT_TRUE(has("Master - Target reflectance per wavelength"));
    // Histogram, sorted curve (two each) and four spectral lines, each with a legend key.
    ASSERT_EQ(doc.Pages[1].Polylines.size(), 2u * (2 + 2 + 4));
    for (const PagePolyline& line : doc.Pages[1].Polylines) {
        ASSERT_GE(line.Points.size(), 2u);
        for (const PagePoint& p : line.Points) {
            EXPECT_GE(p.X, 0);
            EXPECT_LE(p.X, doc.PageWidth);
            EXPECT_GE(p.Y, 0);
            EXPECT_LE(p.Y, doc.PageHeight);
        }
    }
}

}  // namespace
}  // namespace tintara
