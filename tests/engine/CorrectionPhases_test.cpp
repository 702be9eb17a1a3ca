// The four correction phases on whole tile sets: what each phase must achieve, its guards, its
// failure reports and its progress.
#include <gtest/gtest.h>

#include <cmath>

#include "engine/ProfileSequence.h"
#include "engine/TileSetFixture.h"
#include "engine/Utility.h"
#include "engine/WavelengthSearch.h"
#include "workspace/Error.h"

namespace tintara {
namespace {

TEST(CorrectionPhases, IdenticalSetsGiveIdentityCoefficientsAndZeroDifferenceEverywhere) {
    for (int tiles : {16, 28, 32, 48}) {
        GlobalVariables ws;
        test::LoadSyntheticPair(ws, tiles, 7u + tiles, {}, /*identical=*/true);
        Utility utility(ws);
        ProfileSequence(utility);
        for (int w = 0; w < kPointCount; ++w) {
            EXPECT_EQ(ws.OffsetCoefficients[w], 0.0);
            EXPECT_EQ(ws.GainCoefficients[w], 1.0);
            EXPECT_EQ(ws.LinearityCoefficients[w], 1.0);
            EXPECT_EQ(ws.LinearitySlopes[w], (std::array<double, 6>{1, 1, 1, 1, 1, 1}));
            EXPECT_EQ(ws.LinearityIntercepts[w], (std::array<double, 6>{}));
            EXPECT_EQ(ws.WavelengthCoefficients[w], kIdentityWeights) << tiles << " tiles";
        }
        for (int t = 0; t <= tiles; ++t) {
            for (int c = 0; c < 4; ++c) {
                EXPECT_EQ(ws.RawDE(t, c), 0.0);
                EXPECT_EQ(ws.FinalDE(t, c), 0.0);
            }
            // Colour differences are never negative: a zero sum means every phase gave zero.
            EXPECT_EQ(ws.OffsetDE[t] + ws.GainDE[t] + ws.LinearityDE[t] + ws.WavelengthDE[t], 0);
            for (int w = 0; w < kPointCount; ++w)
                EXPECT_EQ(ws.TargetAfterWavelength(t, w), ws.MasterReflectance(t, w));
        }
    }
}

TEST(CorrectionPhases, ReferenceTilesAreBroughtOntoTheMasterAndDifferencesAreTheComponents) {
    GlobalVariables ws;
    test::LoadSyntheticPair(ws, 32, 11u);
    for (int w = 0; w < kPointCount; ++w)
        ws.TargetReflectance(32, w) = 10.0;  // so that the extra slot's evaluation shows
    Utility utility(ws);
    ProfileSequence(utility);
    for (int w = 0; w < kPointCount; ++w) {
        // The offset tile after the Offset phase, and the grey ladder after the linearity map
        // (rising, so every segment is active), read as the Master does.
        EXPECT_NEAR(ws.TargetAfterOffset(ws.OffsetTile, w), ws.MasterReflectance(ws.OffsetTile, w),
                    1e-12);
        for (int16_t t : {ws.OffsetTile, ws.LinearityTileA, ws.LinearityTileB, ws.LinearityTileC})
            EXPECT_NEAR(ws.TargetAfterLinearity(t, w), ws.MasterReflectance(t, w), 1e-9) << t;
        // The gain tile is exactly on the last break level and so is left alone by segment 5.
        EXPECT_EQ(ws.TargetAfterLinearity(ws.GainTile, w), ws.TargetAfterGain(ws.GainTile, w));
    }
    double raw = 0, final = 0;
    for (int t = 0; t <= 32; ++t) {
        const double* master = ws.MasterReflectance.Row(t);
        test::ExpectComponentRow(ws.RawDE, t, master, ws.TargetReflectance.Row(t));
        test::ExpectComponentRow(ws.FinalDE, t, master, ws.TargetAfterWavelength.Row(t));
        EXPECT_EQ(ws.WavelengthDE[t], ws.FinalDE(t, 3));
        raw += t < 32 ? ws.RawDE(t, 3) : 0.0;
        final += t < 32 ? ws.FinalDE(t, 3) : 0.0;
    }
    EXPECT_LT(final, 0.5 * raw);  // correction pays off across the whole set
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

TEST(CorrectionPhases, ImpossibleCorrectionsAreReportedWithPhaseTileAndWavelength) {
    // A zero offset-corrected gain tile (no gain can be taken from it), a zero raw gain tile with
    // a non-zero offset (the taper would divide by it), an overflowing offset.
    const struct {
        int tiles, point, kind;
        const char* words[3];
    } cases[] = {{16, 7, 0, {"Gain", "tile 0", "430 nm"}},
                 {28, 39, 1, {"Gain", "tile 1", "750 nm"}},
                 {16, 12, 2, {"Offset", "tile 1", "480 nm"}}};
    for (const auto& c : cases) {
        GlobalVariables ws;
        test::LoadSyntheticPair(ws, c.tiles, 5u);
        const int p = c.point;
        if (c.kind == 0)
            ws.TargetReflectance(ws.OffsetTile, p) = ws.MasterReflectance(ws.OffsetTile, p);
        if (c.kind < 2)
            ws.TargetReflectance(ws.GainTile, p) = 0.0;
        if (c.kind == 2) {
            ws.MasterReflectance(ws.OffsetTile, p) = 1.5e308;
            ws.TargetReflectance(ws.OffsetTile, p) = -1.5e308;
        }
        Utility utility(ws);
        try {
            utility.CalculateOffset();
            utility.CalculateGain();
            ADD_FAILURE() << "no error for " << c.words[0] << " at " << c.words[2];
        } catch (const ComputeError& e) {
            for (const char* word : c.words)
                EXPECT_NE(std::string(e.what()).find(word), std::string::npos) << e.what();
        }
        for (int t = 0; t <= c.tiles; ++t) {
            for (int w = 0; w < kPointCount; ++w)
                ASSERT_FALSE(std::isnan(ws.TargetAfterGain(t, w)));
        }
    }
}

TEST(CorrectionPhases, LinearityBreakLevelsAndTheSpanGuard) {
    GlobalVariables ws;
    test::LoadSyntheticPair(ws, 16, 21u);
    const int16_t offset = ws.OffsetTile, a = ws.LinearityTileA;
    // Point 20: the Master span of segment 1 is below 1e-6, so segment 1 keeps values while
    // segment 2 maps them. Point 21: 2e-6 is a real span. Point 22: a falling Master disables
    // segment 3 like a tiny span.
    ws.MasterReflectance(a, 20) = ws.MasterReflectance(offset, 20) + 5e-7;
    ws.MasterReflectance(a, 21) = ws.MasterReflectance(offset, 21) + 2e-6;
    ws.MasterReflectance(ws.LinearityTileC, 22) = ws.MasterReflectance(ws.LinearityTileB, 22) - 1;
    for (int w = 0; w < kPointCount; ++w) {
        ws.MasterReflectance(3, w) = 95.0;  // tile 3 lighter than the gain tile
        ws.TargetReflectance(3, w) = 99.0;
        ws.MasterReflectance(6, w) = 0.2;  // tile 6 darker than the offset tile
        ws.TargetReflectance(6, w) = 0.1;
    }
    Utility utility(ws);
    utility.CalculateOffset();
    utility.CalculateGain();
    utility.CalculateLinearity();
    EXPECT_EQ(ws.LinearitySlopes[20][1], 0.0);
    EXPECT_EQ(ws.LinearityIntercepts[20][1], ws.TargetAfterGain(a, 20));
    EXPECT_NE(ws.LinearitySlopes[21][1], 0.0);
    EXPECT_EQ(ws.LinearitySlopes[22][3], 0.0);
    EXPECT_NE(ws.LinearitySlopes[22][4], 0.0);
    // Tile A reads exactly T1 at point 20: segment 2 maps it to the Master; segment 1 would not.
    ASSERT_GT(std::abs(ws.TargetAfterGain(a, 20) - ws.MasterReflectance(a, 20)), 0.01);
    EXPECT_NEAR(ws.TargetAfterLinearity(a, 20), ws.MasterReflectance(a, 20), 1e-9);
    for (int w = 0; w < kPointCount; ++w) {
        // At or above T4 and below T0 values are unchanged.
        ASSERT_GE(ws.TargetAfterGain(3, w), ws.LinearityPoints[w][9]);
        ASSERT_LT(ws.TargetAfterGain(6, w), ws.LinearityPoints[w][1]);
        for (int tile : {3, 6, static_cast<int>(ws.GainTile)})
            EXPECT_EQ(ws.TargetAfterLinearity(tile, w), ws.TargetAfterGain(tile, w)) << tile;
        for (int k = 0; k < 6; ++k)
            EXPECT_TRUE(std::isfinite(ws.LinearitySlopes[w][k] + ws.LinearityIntercepts[w][k]));
    }
}

class CountingProgress : public ProgressSink {
  public:
    void SetProgressMaximum(long maximum) override { Maximum = maximum; }
    void SetProgressValue(long value) override { Value = value; }
    void AdvanceProgress(long steps) override { Value += steps; }
    void LetEventsRun() override { ++Yields; }
    long Maximum = -1, Value = -1;
    int Yields = 0;
};

TEST(CorrectionPhases, ProgressCountsAndWithoutCentroidEveryPointKeepsIdentityWeights) {
    for (const bool centroid : {true, false}) {
        for (auto mode : {WavelengthSearchMode::Fast, WavelengthSearchMode::Reference}) {
            const int tiles = centroid ? 48 : 16;
            GlobalVariables ws;
            test::LoadSyntheticPair(ws, tiles, 13u);
            for (auto& weights : ws.WavelengthCoefficients)
                weights = {0.1, 0.8, 0.1};  // stale weights of an earlier run
            ws.UseCentroid = centroid;
            CountingProgress progress;
            Utility utility(ws, progress);
            utility.SetWavelengthSearchMode(mode);
            ProfileSequence(utility);
            // Without the search the bar stops short of its maximum by the search's share.
            EXPECT_EQ(progress.Maximum, (tiles + 1) * 120L + 840);
            EXPECT_EQ(progress.Value, progress.Maximum - (centroid ? 0 : 840));
            EXPECT_GE(progress.Yields, 6);
            for (int w = 0; w < kPointCount && !centroid; ++w) {
                EXPECT_EQ(ws.WavelengthCoefficients[w], kIdentityWeights) << "point " << w;
                for (int t = 0; t <= tiles; ++t)
                    EXPECT_EQ(ws.TargetAfterWavelength(t, w), ws.TargetAfterLinearity(t, w));
            }
        }
    }
}

}  // namespace
}  // namespace tintara
