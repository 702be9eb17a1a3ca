#include "workspace/GlobalVariables.h"

#include <gtest/gtest.h>

namespace tintara {
namespace {

TEST(GlobalVariables, StartsEmptyWithIdentityCoefficients) {
    GlobalVariables ws;
    EXPECT_EQ(ws.TileCount, 0);
    EXPECT_EQ(ws.MasterStatus, "XXXXXX");
    EXPECT_EQ(ws.TargetStatus, "XXXXXX");
    EXPECT_FALSE(ws.MasterTileSetLoaded);
    EXPECT_FALSE(ws.CoefficientsLoaded);
    EXPECT_TRUE(ws.UseCentroid);
    EXPECT_EQ(ws.SingleSampleTolerance, 0.5);
    EXPECT_EQ(ws.AverageTolerance, 0.5);
    EXPECT_EQ(ws.ColorSpace, 0);
    for (int w = 0; w < kPointCount; ++w) {
        EXPECT_EQ(ws.OffsetCoefficients[w], 0.0);
        EXPECT_EQ(ws.GainCoefficients[w], 1.0);
        EXPECT_EQ(ws.LinearityCoefficients[w], 1.0);
        EXPECT_EQ(ws.WavelengthCoefficients[w], (std::array<double, 3>{0.0, 1.0, 0.0}));
    }
}

TEST(GlobalVariables, ReferenceTilesFollowTheTileSetSize) {
    struct Row {
        int size, gain, offset, a, b, c;
    };
    for (const Row r : {Row{16, 0, 1, 2, 4, 8}, Row{28, 1, 12, 8, 6, 4}, Row{32, 0, 1, 2, 4, 8},
                        Row{48, 4, 7, 6, 5, 0}}) {
        GlobalVariables ws;
        ASSERT_TRUE(ws.SetReferenceTiles(static_cast<int16_t>(r.size))) << r.size;
        EXPECT_EQ(ws.GainTile, r.gain) << r.size;
        EXPECT_EQ(ws.OffsetTile, r.offset) << r.size;
        EXPECT_EQ(ws.LinearityTileA, r.a) << r.size;
        EXPECT_EQ(ws.LinearityTileB, r.b) << r.size;
        EXPECT_EQ(ws.LinearityTileC, r.c) << r.size;
    }
}

TEST(GlobalVariables, OtherSizesHaveNoReferenceTilesAndChangeNothing) {
    GlobalVariables ws;
    ASSERT_TRUE(ws.SetReferenceTiles(48));
    for (int size : {0, 1, 15, 17, 30, 31, 33, 47, 49, 100, -16}) {
        EXPECT_FALSE(ws.SetReferenceTiles(static_cast<int16_t>(size))) << size;
        EXPECT_FALSE(ReferenceTilesFor(size).has_value()) << size;
    }
    EXPECT_EQ(ws.GainTile, 4);
    EXPECT_EQ(ws.OffsetTile, 7);
}

TEST(GlobalVariables, TileArraysSpanZeroToTileCountInclusive) {
    GlobalVariables ws;
    ws.DimensionTileArrays(32);
    EXPECT_EQ(ws.TileCount, 32);
    EXPECT_EQ(ws.MasterReflectance.Rows(), 33u);
    EXPECT_EQ(ws.MasterReflectance.Cols(), 40u);
    EXPECT_EQ(ws.TargetAfterWavelength.Rows(), 33u);
    EXPECT_EQ(ws.WavelengthFineSpectrum.Rows(), 33u);
    EXPECT_EQ(ws.WavelengthFineSpectrum.Cols(), 391u);
    EXPECT_EQ(ws.RawDE.Rows(), 33u);
    EXPECT_EQ(ws.RawDE.Cols(), 4u);
    EXPECT_EQ(ws.WavelengthDE.size(), 33u);
    EXPECT_EQ(ws.TileNames.size(), 33u);
    EXPECT_EQ(ws.MasterReflectance(32, 39), 0.0);  // the extra slot is zero
}

TEST(GlobalVariables, InitializeVariablesResetsTablesCoefficientsAndStatus) {
    GlobalVariables ws;
    ws.DimensionTileArrays(16);
    for (int t = 0; t <= 16; ++t) {
        for (int c = 0; c < 4; ++c)
            ws.RawDE(t, c) = 1.0 + t;
        ws.OffsetDE[t] = ws.GainDE[t] = ws.LinearityDE[t] = ws.WavelengthDE[t] = 2.0;
        ws.TileNames[t] = "Tile";
    }
    ws.OffsetCoefficients.fill(0.3);
    ws.GainCoefficients.fill(1.2);
    ws.LinearityCoefficients.fill(0.9);
    for (auto& weights : ws.WavelengthCoefficients)
        weights = {0.1, 0.8, 0.1};
    ws.MasterStatus = "RCIIXX";
    ws.TargetStatus = "RCEIXX";
    ws.MasterReflectance(3, 3) = 42.0;

    ws.InitializeVariables();

    for (int t = 0; t <= 16; ++t) {
        for (int c = 0; c < 4; ++c)
            EXPECT_EQ(ws.RawDE(t, c), 0.0);
        EXPECT_EQ(ws.OffsetDE[t], 0.0);
        EXPECT_EQ(ws.GainDE[t], 0.0);
        EXPECT_EQ(ws.LinearityDE[t], 0.0);
        EXPECT_EQ(ws.WavelengthDE[t], 0.0);
        EXPECT_TRUE(ws.TileNames[t].empty());
    }
    for (int w = 0; w < kPointCount; ++w) {
        EXPECT_EQ(ws.OffsetCoefficients[w], 0.0);
        EXPECT_EQ(ws.GainCoefficients[w], 1.0);
        EXPECT_EQ(ws.LinearityCoefficients[w], 1.0);
        EXPECT_EQ(ws.WavelengthCoefficients[w], (std::array<double, 3>{0.0, 1.0, 0.0}));
    }
    EXPECT_EQ(ws.MasterStatus, "XXXXXX");
    EXPECT_EQ(ws.TargetStatus, "XXXXXX");
    EXPECT_EQ(ws.MasterReflectance(3, 3), 42.0);  // measurements are not part of the reset
}

}  // namespace
}  // namespace tintara
