// Validation statistics against values worked out by hand or by a formula of the test's own, and
// the leave-one-out check of the wavelength phase against a search on data without the tile.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "engine/ColorMatch.h"
#include "engine/ProfileSequence.h"
#include "engine/Utility.h"
#include "engine/Validation.h"
#include "engine/WavelengthSearch.h"
#include "files/DemoData.h"
#include "files/RWSaveSet.h"
#include "support/ExpectThrow.h"
#include "support/TestPaths.h"
#include "workspace/Error.h"

namespace tintara {
namespace {

TEST(ValidationStatistics, PercentilesInterpolateBetweenClosestRanks) {
    const std::vector<double> four{1, 2, 3, 4};
    EXPECT_DOUBLE_EQ(Percentile(four, 0.5), 2.5);    // h = 1.5
    EXPECT_DOUBLE_EQ(Percentile(four, 0.9), 3.7);    // h = 2.7
    EXPECT_DOUBLE_EQ(Percentile(four, 0.95), 3.85);  // h = 2.85
    EXPECT_DOUBLE_EQ(Percentile(four, 0.0), 1.0);
    EXPECT_DOUBLE_EQ(Percentile(four, 1.0), 4.0);
    EXPECT_DOUBLE_EQ(Percentile(std::vector<double>{7.5}, 0.95), 7.5);
    EXPECT_EQ(Percentile(std::vector<double>{}, 0.5), 0.0);

    // Unsorted input; 0.5 lies exactly on the limit and counts as within it.
    const std::vector<double> de{0.3, 1.2, 0.5, 0.9, 0.1};
    const DifferenceSummary s = SummariseDifferences(de, 0.5);
    EXPECT_EQ(s.Count, 5u);
    EXPECT_NEAR(s.Mean, 0.6, 1e-15);
    EXPECT_DOUBLE_EQ(s.Median, 0.5);
    EXPECT_NEAR(s.P90, 0.9 + 0.6 * 0.3, 1e-15);  // h = 3.6 between 0.9 and 1.2
    EXPECT_NEAR(s.P95, 0.9 + 0.8 * 0.3, 1e-15);  // h = 3.8
    EXPECT_DOUBLE_EQ(s.Max, 1.2);
    EXPECT_DOUBLE_EQ(s.ShareWithin, 0.6);
    EXPECT_EQ(SummariseDifferences(std::vector<double>{}, 0.5).Mean, 0.0);
}

TEST(ValidationStatistics, LimitsOfAgreementUseTheSampleStandardDeviation) {
    const Agreement a = LimitsOfAgreement(std::vector<double>{1, 2, 3, 4, 5});
    const double sd = std::sqrt(10.0 / 4.0);  // squares 4+1+0+1+4 over n - 1
    EXPECT_DOUBLE_EQ(a.Mean, 3.0);
    EXPECT_DOUBLE_EQ(a.Sd, sd);
    EXPECT_DOUBLE_EQ(a.Lower, 3.0 - 1.96 * sd);
    EXPECT_DOUBLE_EQ(a.Upper, 3.0 + 1.96 * sd);
    const Agreement one = LimitsOfAgreement(std::vector<double>{-0.4});
    EXPECT_EQ(one.Sd, 0.0);
    EXPECT_EQ(one.Lower, -0.4);
    EXPECT_EQ(one.Upper, -0.4);
    // Largest first, ties in input order.
    EXPECT_EQ(LargestIndices(std::vector<double>{1, 3, 2, 3, 0}, 3),
              (std::vector<std::size_t>{1, 3, 2}));
    EXPECT_EQ(LargestIndices(std::vector<double>{1}, 5), (std::vector<std::size_t>{0}));
}

// CIE L* of a flat (neutral) curve of reflectance r percent: Y = r under any illuminant, a* = b* =
// 0, so DE*ab is the difference of L* and CIEDE2000 is dL / SL (CIE 142-2001).
double LightnessOfFlat(double r) {
    return 116.0 * std::cbrt(r / 100.0) - 16.0;
}
double De2000OfGreys(double l1, double l2) {
    const double mean = (l1 + l2) / 2 - 50;
    return std::abs(l2 - l1) / (1 + 0.015 * mean * mean / std::sqrt(20 + mean * mean));
}

TEST(ValidationStatistics, ValidateSummarisesFlatGreysBeforeAndAfter) {
    // Three greys: Master 50 %, Target off by +2, -1, +4 points, corrected off by +0.5, 0, -1.
    const double targetOff[3] = {2, -1, 4}, correctedOff[3] = {0.5, 0, -1};
    std::vector<std::array<double, 40>> curves(9);
    std::vector<ValidationPair> pairs;
    for (int s = 0; s < 3; ++s) {
        curves[3 * s].fill(50.0);
        curves[3 * s + 1].fill(50.0 + targetOff[s]);
        curves[3 * s + 2].fill(50.0 + correctedOff[s]);
        pairs.push_back({"Grey " + std::to_string(s), curves[3 * s].data(),
                         curves[3 * s + 1].data(), curves[3 * s + 2].data()});
    }
    const ValidationResult r = Validate(pairs, 0, 0.5);
    ASSERT_EQ(r.Samples.size(), 3u);
    const double l0 = LightnessOfFlat(50);
    for (int s = 0; s < 3; ++s) {
        SCOPED_TRACE(pairs[s].Name);
        const double lt = LightnessOfFlat(50 + targetOff[s]);
        const double lc = LightnessOfFlat(50 + correctedOff[s]);
        EXPECT_NEAR(r.Samples[s].Before.DL, lt - l0, 1e-9);
        EXPECT_NEAR(r.Samples[s].Before.DE, std::abs(lt - l0), 1e-9);
        EXPECT_NEAR(r.Samples[s].After.DE, std::abs(lc - l0), 1e-9);
        EXPECT_NEAR(r.Samples[s].Before.Da, 0.0, 1e-9);
        EXPECT_NEAR(r.Samples[s].Before.DE2000, De2000OfGreys(l0, lt), 1e-9);
        EXPECT_NEAR(r.Samples[s].After.DE2000, De2000OfGreys(l0, lc), 1e-9);
    }
    // The summary is of those numbers: the median of three is the middle one.
    std::vector<double> before{r.Samples[0].Before.DE, r.Samples[1].Before.DE,
                               r.Samples[2].Before.DE};
    std::sort(before.begin(), before.end());
    EXPECT_DOUBLE_EQ(r.Before.DE.Median, before[1]);
    EXPECT_DOUBLE_EQ(r.Before.DE.Max, before[2]);
    EXPECT_NEAR(r.Before.DE.P90, before[1] + 0.8 * (before[2] - before[1]), 1e-12);
    double dl = 0;
    for (double off : targetOff)
        dl += (LightnessOfFlat(50 + off) - l0) / 3;
    EXPECT_NEAR(r.Before.DL.Mean, dl, 1e-9);
    // Near 50 % one point of reflectance is about 0.6 of L*: none within 0.5 before, the 0 and
    // +0.5 greys after.
    EXPECT_EQ(r.Before.DE.ShareWithin, 0.0);
    EXPECT_DOUBLE_EQ(r.After.DE.ShareWithin, 2.0 / 3.0);
    EXPECT_EQ(r.Worst, (std::vector<std::size_t>{2, 0, 1}));

    // Per point, Master - Target: the mean and RMS of the offsets with the sign turned.
    for (int w : {0, 17, 39}) {
        SCOPED_TRACE("point " + std::to_string(w));
        EXPECT_NEAR(r.Before.SpectralMean[w], -(2 - 1 + 4) / 3.0, 1e-12);
        EXPECT_NEAR(r.Before.SpectralRms[w], std::sqrt((4 + 1 + 16) / 3.0), 1e-12);
        EXPECT_NEAR(r.After.SpectralMean[w], -(0.5 + 0 - 1) / 3.0, 1e-12);
        EXPECT_NEAR(r.After.SpectralRms[w], std::sqrt((0.25 + 0 + 1) / 3.0), 1e-12);
    }

    // A curve that is not finite is refused, naming the sample.
    curves[4][3] = std::nan("");
    EXPECT_THROW_WHAT(Validate(pairs, 0, 0.5), Error, "Grey 1");
}

// The demo tile sets read and profiled in SCI, as the coefficient command does.
void ProfileDemo(GlobalVariables& ws, const std::filesystem::path& dir, bool search) {
    ws.InitializeVariables();
    ws.GeometryChoice = true;
    ws.UseCentroid = search;
    RWSaveSet reader(ws);
    bool failed = false;
    reader.ReadWSVRecord((dir / "master-tiles.wsv").string(), true, failed);
    ASSERT_FALSE(failed);
    reader.ReadWSVRecord((dir / "target-tiles.wsv").string(), false, failed);
    ASSERT_FALSE(failed);
    Utility utility(ws);
    ProfileSequence(utility);
}

TEST(CrossValidation, HoldsOutEachOrdinaryTileAndLeavesTheProfileAlone) {
    const auto dir = test::ScratchDir("CrossValidation");
    WriteDemoData(dir);
    GlobalVariables ws;
    ProfileDemo(ws, dir, true);
    const auto weights = ws.WavelengthCoefficients;
    const auto fitted = ws.WavelengthDE;

    const CrossValidationResult cv = CrossValidateWavelength(ws);
    ASSERT_EQ(cv.Tiles.size(), 32u - 5u);  // every tile but the five reference tiles
    EXPECT_EQ(ws.WavelengthCoefficients, weights);
    EXPECT_EQ(ws.WavelengthDE, fitted);

    // Tile k predicted = the search run on tile sets where tile k reads zero on both instruments
    // (a zero pair adds nothing to any sum), applied to tile k.
    double fittedSum = 0, predictedSum = 0;
    for (const CrossValidationTile& t : cv.Tiles) {
        EXPECT_NE(t.Tile, ws.GainTile);
        EXPECT_NE(t.Tile, ws.LinearityTileB);
        EXPECT_EQ(t.Fitted, fitted[t.Tile]);
        fittedSum += t.Fitted;
        predictedSum += t.Predicted;
    }
    for (const CrossValidationTile& t : {cv.Tiles.front(), cv.Tiles[13]}) {
        Matrix linearity = ws.TargetAfterLinearity, master = ws.MasterReflectance;
        std::fill(linearity.Row(t.Tile), linearity.Row(t.Tile) + kPointCount, 0.0);
        std::fill(master.Row(t.Tile), master.Row(t.Tile) + kPointCount, 0.0);
        std::array<double, 40> predicted{};
        for (int w = 0; w < kPointCount; ++w) {
            predicted[w] =
                ThreePointValue(ws.TargetAfterLinearity.Row(t.Tile),
                                FastWavelengthSearch(linearity, master, ws.TileCount, w), w);
        }
        ColorMatch plm;
        plm.SetStandardSpectrum(std::span<const double>(ws.MasterReflectance.Row(t.Tile), 40));
        plm.SetTrialSpectrum(predicted);
        std::vector<double> d;
        plm.GetDifferenceVector(0, d);
        EXPECT_DOUBLE_EQ(t.Predicted, d[6]) << t.Name;
    }
    EXPECT_NEAR(cv.MeanFitted, fittedSum / 27, 1e-12);
    EXPECT_NEAR(cv.MeanPredicted, predictedSum / 27, 1e-12);
    // Held-out tiles do worse on average than fitted ones: the search fits them, too.
    EXPECT_GE(cv.Gap(), 0.0);

    // Without the weight search there is nothing to hold out.
    GlobalVariables plain;
    ProfileDemo(plain, dir, false);
    for (const CrossValidationTile& t : CrossValidateWavelength(plain).Tiles)
        EXPECT_NEAR(t.Predicted, t.Fitted, 1e-12) << t.Name;
}

}  // namespace
}  // namespace tintara
