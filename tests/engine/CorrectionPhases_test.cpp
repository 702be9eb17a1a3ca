// The four correction phases on whole tile sets: what each phase must achieve, its guards and its
// failure reports.
#include <gtest/gtest.h>

#include <cmath>
#include <numeric>

#include "engine/ProfileSequence.h"
#include "engine/TileSetFixture.h"
#include "engine/Utility.h"
#include "engine/WavelengthSearch.h"
#include "workspace/Error.h"

namespace tintara {
namespace {

class CountingProgress : public ProgressSink {
  public:
    void SetProgressMaximum(long maximum) override { Maximum = maximum; }
    void SetProgressValue(long value) override { Value = value; }
    void AdvanceProgress(long steps) override { Value += steps; }
    void LetEventsRun() override { ++Yields; }
    long Maximum = -1, Value = -1;
    int Yields = 0;
};

double Mean(const std::vector<double>& v) {
    return std::accumulate(v.begin(), v.end(), 0.0) / static_cast<double>(v.size());
}

TEST(CorrectionPhases, IdenticalSetsGiveIdentityCoefficientsAndZeroDifferenceEverywhere) {
    for (int tiles : {16, 28, 32, 48}) {
        SCOPED_TRACE("tiles " + std::to_string(tiles));
        GlobalVariables ws;
        test::LoadSyntheticPair(ws, tiles, 7u + tiles, {}, /*identical=*/true);
        Utility utility(ws);
        ProfileSequence(utility);

        for (int w = 0; w < kPointCount; ++w) {
            EXPECT_EQ(ws.OffsetCoefficients[w], 0.0);
            EXPECT_EQ(ws.GainCoefficients[w], 1.0);
            EXPECT_EQ(ws.LinearityCoefficients[w], 1.0);
            for (int k = 0; k < 6; ++k) {
                EXPECT_EQ(ws.LinearitySlopes[w][k], 1.0) << "point " << w << " segment " << k;
                EXPECT_EQ(ws.LinearityIntercepts[w][k], 0.0);
            }
            EXPECT_EQ(ws.WavelengthCoefficients[w], kIdentityWeights) << "point " << w;
        }
        for (int t = 0; t <= tiles; ++t) {
            for (int c = 0; c < 4; ++c) {
                EXPECT_EQ(ws.RawDE(t, c), 0.0);
                EXPECT_EQ(ws.FinalDE(t, c), 0.0);
            }
            EXPECT_EQ(ws.OffsetDE[t], 0.0);
            EXPECT_EQ(ws.GainDE[t], 0.0);
            EXPECT_EQ(ws.LinearityDE[t], 0.0);
            EXPECT_EQ(ws.WavelengthDE[t], 0.0);
            for (int w = 0; w < kPointCount; ++w) {
                EXPECT_EQ(ws.TargetAfterWavelength(t, w), ws.MasterReflectance(t, w));
            }
        }
    }
}

TEST(CorrectionPhases, EachReferenceTileIsBroughtOntoTheMasterByItsPhase) {
    GlobalVariables ws;
    test::LoadSyntheticPair(ws, 32, 11u);
    Utility utility(ws);
    ProfileSequence(utility);

    for (int w = 0; w < kPointCount; ++w) {
        // The offset tile after the Offset phase, and the reference tiles after the linearity
        // map (rising grey ladder, so every segment is active), read as the Master does.
        EXPECT_NEAR(ws.TargetAfterOffset(ws.OffsetTile, w), ws.MasterReflectance(ws.OffsetTile, w),
                    1e-12);
        for (int16_t tile :
             {ws.OffsetTile, ws.LinearityTileA, ws.LinearityTileB, ws.LinearityTileC}) {
            EXPECT_NEAR(ws.TargetAfterLinearity(tile, w), ws.MasterReflectance(tile, w), 1e-9)
                << "tile " << tile << " point " << w;
        }
        // The gain tile is exactly on the last break level and so is left alone by segment 5.
        EXPECT_EQ(ws.TargetAfterLinearity(ws.GainTile, w), ws.TargetAfterGain(ws.GainTile, w));
    }
    // Correction pays off across the whole set, phase by phase overall.
    std::vector<double> raw, final;
    for (int t = 0; t < 32; ++t) {
        raw.push_back(ws.RawDE(t, 3));
        final.push_back(ws.FinalDE(t, 3));
    }
    EXPECT_LT(Mean(final), 0.5 * Mean(raw));
    EXPECT_LT(Mean(ws.LinearityDE), Mean(ws.OffsetDE));
}

TEST(CorrectionPhases, GainIsFullAtTheGainTilesRawLevelAndTaperedElsewhere) {
    // Offset tile read alike by both instruments, so the offset is zero and x / r is exact.
    GlobalVariables ws;
    test::LoadSyntheticPair(ws, 16, 3u);
    for (int w = 0; w < kPointCount; ++w) {
        ws.TargetReflectance(ws.OffsetTile, w) = ws.MasterReflectance(ws.OffsetTile, w);
        ws.MasterReflectance(ws.GainTile, w) = 81.0;
        ws.TargetReflectance(ws.GainTile, w) = 90.0;  // G = 0.9
        ws.TargetReflectance(5, w) = 45.0;            // half the gain tile's level
    }
    Utility utility(ws);
    utility.CalculateOffset();
    utility.CalculateGain();
    for (int w = 0; w < kPointCount; ++w) {
        EXPECT_DOUBLE_EQ(ws.GainCoefficients[w], 0.9);
        EXPECT_DOUBLE_EQ(ws.TargetAfterGain(ws.GainTile, w), 81.0);
        // (1 + 0.1 x 0.5) x 0.9 x 45 = 42.525, where plain scaling would give 40.5.
        EXPECT_NEAR(ws.TargetAfterGain(5, w), 42.525, 1e-12);
        // The extra zero slot stays at zero: no gain without signal, and no division by it.
        EXPECT_EQ(ws.TargetAfterGain(16, w), 0.0);
    }
}

TEST(CorrectionPhases, ZeroGainTileReadingIsReportedWithPhaseTileAndWavelength) {
    // Offset-corrected gain tile of zero: no gain can be taken from it.
    {
        GlobalVariables ws;
        test::LoadSyntheticPair(ws, 16, 5u);
        ws.TargetReflectance(ws.OffsetTile, 7) = ws.MasterReflectance(ws.OffsetTile, 7);
        ws.TargetReflectance(ws.GainTile, 7) = 0.0;
        Utility utility(ws);
        utility.CalculateOffset();
        try {
            utility.CalculateGain();
            FAIL() << "no error for a zero gain tile";
        } catch (const ComputeError& e) {
            const std::string message = e.what();
            EXPECT_NE(message.find("Gain"), std::string::npos) << message;
            EXPECT_NE(message.find("tile 0"), std::string::npos) << message;
            EXPECT_NE(message.find("430 nm"), std::string::npos) << message;
        }
    }
    // Raw gain-tile reading of zero with a non-zero offset: the taper would divide by it.
    {
        GlobalVariables ws;
        test::LoadSyntheticPair(ws, 28, 5u);
        ws.TargetReflectance(ws.GainTile, 39) = 0.0;
        Utility utility(ws);
        utility.CalculateOffset();
        try {
            utility.CalculateGain();
            FAIL() << "no error for a zero raw gain tile";
        } catch (const ComputeError& e) {
            const std::string message = e.what();
            EXPECT_NE(message.find("Gain"), std::string::npos) << message;
            EXPECT_NE(message.find("tile 1"), std::string::npos) << message;  // 28-tile gain tile
            EXPECT_NE(message.find("750 nm"), std::string::npos) << message;
        }
        for (int t = 0; t <= 28; ++t) {
            for (int w = 0; w < kPointCount; ++w)
                ASSERT_FALSE(std::isnan(ws.TargetAfterGain(t, w)));
        }
    }
}

TEST(CorrectionPhases, OverflowIsReportedNotPassedOnAsInfinity) {
    GlobalVariables ws;
    test::LoadSyntheticPair(ws, 16, 9u);
    ws.MasterReflectance(ws.OffsetTile, 12) = 1.5e308;
    ws.TargetReflectance(ws.OffsetTile, 12) = -1.5e308;
    Utility utility(ws);
    try {
        utility.CalculateOffset();
        FAIL() << "no error for an overflowing offset";
    } catch (const ComputeError& e) {
        const std::string message = e.what();
        EXPECT_NE(message.find("Offset"), std::string::npos) << message;
        EXPECT_NE(message.find("480 nm"), std::string::npos) << message;
    }
}

class LinearityLevels : public ::testing::Test {
  protected:
    void SetUp() override {
        test::LoadSyntheticPair(ws, 16, 21u);
        // At point 20, make the Master span of segment 1 too small to divide by, so segment 1
        // leaves values alone while segment 2 maps them onto the Master.
        ws.MasterReflectance(ws.LinearityTileA, w0) =
            ws.MasterReflectance(ws.OffsetTile, w0) + 5e-7;
    }
    void Run() {
        Utility utility(ws);
        utility.CalculateOffset();
        utility.CalculateGain();
        utility.CalculateLinearity();
    }
    GlobalVariables ws;
    const int w0 = 20;
};

TEST_F(LinearityLevels, ValueOnABreakLevelTakesTheUpperSegment) {
    Run();
    EXPECT_EQ(ws.LinearitySlopes[w0][1], 0.0);
    EXPECT_EQ(ws.LinearityIntercepts[w0][1], ws.TargetAfterGain(ws.LinearityTileA, w0));
    ASSERT_NE(ws.LinearitySlopes[w0][2], 0.0);
    // Tile A reads exactly T1: segment 2 maps it to the Master; segment 1 would have kept it.
    const double t1 = ws.TargetAfterGain(ws.LinearityTileA, w0);
    const double m1 = ws.MasterReflectance(ws.LinearityTileA, w0);
    ASSERT_GT(std::abs(t1 - m1), 0.01);
    EXPECT_NEAR(ws.TargetAfterLinearity(ws.LinearityTileA, w0), m1, 1e-9);
}

TEST_F(LinearityLevels, ValuesAtOrAboveTheTopLevelAndBelowTheBottomAreUnchanged) {
    // A tile lighter than the gain tile and one darker than the offset tile.
    for (int w = 0; w < kPointCount; ++w) {
        ws.MasterReflectance(3, w) = 95.0;
        ws.TargetReflectance(3, w) = 99.0;
        ws.MasterReflectance(6, w) = 0.2;
        ws.TargetReflectance(6, w) = 0.1;
    }
    Run();
    for (int w = 0; w < kPointCount; ++w) {
        const auto& p = ws.LinearityPoints[w];
        ASSERT_GE(ws.TargetAfterGain(3, w), p[9]);
        ASSERT_LT(ws.TargetAfterGain(6, w), p[1]);
        EXPECT_EQ(ws.TargetAfterLinearity(3, w), ws.TargetAfterGain(3, w));
        EXPECT_EQ(ws.TargetAfterLinearity(6, w), ws.TargetAfterGain(6, w));
        EXPECT_EQ(ws.TargetAfterLinearity(ws.GainTile, w), ws.TargetAfterGain(ws.GainTile, w));
    }
}

TEST_F(LinearityLevels, SpanGuardSwitchesAtOneMillionth) {
    // 2e-6 is a real span: the segment is fitted. A falling Master disables it like a tiny one.
    ws.MasterReflectance(ws.LinearityTileA, w0) = ws.MasterReflectance(ws.OffsetTile, w0) + 2e-6;
    ws.MasterReflectance(ws.LinearityTileC, w0 + 1) =
        ws.MasterReflectance(ws.LinearityTileB, w0 + 1) - 1.0;
    Run();
    EXPECT_NE(ws.LinearitySlopes[w0][1], 0.0);
    EXPECT_EQ(ws.LinearitySlopes[w0 + 1][3], 0.0);
    EXPECT_NE(ws.LinearitySlopes[w0 + 1][4], 0.0);
    for (int w = 0; w < kPointCount; ++w) {
        for (int k = 0; k < 6; ++k) {
            EXPECT_TRUE(std::isfinite(ws.LinearitySlopes[w][k]));
            EXPECT_TRUE(std::isfinite(ws.LinearityIntercepts[w][k]));
        }
    }
}

TEST(CorrectionPhases, WithoutCentroidEveryPointKeepsIdentityWeights) {
    for (auto mode : {WavelengthSearchMode::Fast, WavelengthSearchMode::Reference}) {
        GlobalVariables ws;
        test::LoadSyntheticPair(ws, 16, 13u);
        // Leave stale weights behind from an earlier run: the phase must reset them.
        for (auto& weights : ws.WavelengthCoefficients)
            weights = {0.1, 0.8, 0.1};
        ws.UseCentroid = false;
        CountingProgress progress;
        Utility utility(ws, progress);
        utility.SetWavelengthSearchMode(mode);
        ProfileSequence(utility);
        for (int w = 0; w < kPointCount; ++w) {
            EXPECT_EQ(ws.WavelengthCoefficients[w], kIdentityWeights) << "point " << w;
            for (int t = 0; t <= 16; ++t) {
                EXPECT_EQ(ws.TargetAfterWavelength(t, w), ws.TargetAfterLinearity(t, w));
            }
        }
        // Without the search the bar stops short of its maximum by the search's share.
        EXPECT_EQ(progress.Maximum, 17 * 120 + 840);
        EXPECT_EQ(progress.Value, 17 * 120);
    }
}

TEST(CorrectionPhases, ProgressReachesItsMaximumWithTheSearch) {
    for (int tiles : {16, 48}) {
        GlobalVariables ws;
        test::LoadSyntheticPair(ws, tiles, 17u);
        CountingProgress progress;
        Utility utility(ws, progress);
        ProfileSequence(utility);
        EXPECT_EQ(progress.Maximum, (tiles + 1) * 120L + 840);
        EXPECT_EQ(progress.Value, progress.Maximum);
        EXPECT_GE(progress.Yields, 6);
    }
}

TEST(CorrectionPhases, FinalDifferenceColumnsMatchAFreshComparisonOfTheCorrectedCurves) {
    GlobalVariables ws;
    test::LoadSyntheticPair(ws, 28, 29u);
    Utility utility(ws);
    ProfileSequence(utility);
    ColorMatch independent;
    std::vector<double> result;
    for (int t = 0; t <= 28; ++t) {
        independent.SetStandardSpectrum({ws.MasterReflectance.Row(t), kPointCount});
        independent.SetTrialSpectrum({ws.TargetAfterWavelength.Row(t), kPointCount});
        independent.GetDifferenceVector(0, result);
        for (int c = 0; c < 3; ++c)
            EXPECT_EQ(ws.FinalDE(t, c), result[c]);
        EXPECT_EQ(ws.FinalDE(t, 3), result[6]);
        EXPECT_EQ(ws.WavelengthDE[t], result[6]);
    }
}

}  // namespace
}  // namespace tintara
