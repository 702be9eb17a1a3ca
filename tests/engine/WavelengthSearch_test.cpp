// The wavelength-weight search: candidate order, the strict-improvement and tie rules, and the
// fast path against the call-by-call reference, bit for bit.
#include <gtest/gtest.h>

#include <cstring>
#include <set>

#include "engine/ProfileSequence.h"
#include "engine/TileSetFixture.h"
#include "engine/Utility.h"
#include "engine/WavelengthSearch.h"
#include "files/DemoData.h"

namespace tintara {
namespace {

bool SameBits(double a, double b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
}

// Runs the profiling sequence on a copy of `ws` with the given search and returns the copy.
GlobalVariables Profile(const GlobalVariables& ws, WavelengthSearchMode mode) {
    GlobalVariables copy = ws;
    Utility utility(copy);
    utility.SetWavelengthSearchMode(mode);
    ProfileSequence(utility);
    return copy;
}

// Compares everything the search influences; returns the number of points whose weights left
// the identity, so callers can make sure the comparison was not vacuous.
int ExpectBitIdentical(const GlobalVariables& fast, const GlobalVariables& reference) {
    int moved = 0;
    for (int w = 0; w < kPointCount; ++w) {
        for (int k = 0; k < 3; ++k) {
            EXPECT_TRUE(
                SameBits(fast.WavelengthCoefficients[w][k], reference.WavelengthCoefficients[w][k]))
                << "point " << w << " weight " << k;
        }
        if (reference.WavelengthCoefficients[w] != kIdentityWeights)
            ++moved;
    }
    for (int t = 0; t <= reference.TileCount; ++t) {
        for (int w = 0; w < kPointCount; ++w) {
            EXPECT_TRUE(
                SameBits(fast.TargetAfterWavelength(t, w), reference.TargetAfterWavelength(t, w)))
                << "tile " << t << " point " << w;
        }
        EXPECT_TRUE(SameBits(fast.WavelengthDE[t], reference.WavelengthDE[t])) << "tile " << t;
        for (int c = 0; c < 4; ++c) {
            EXPECT_TRUE(SameBits(fast.FinalDE(t, c), reference.FinalDE(t, c))) << "tile " << t;
        }
    }
    return moved;
}

TEST(WavelengthSearch, CandidatesRunFromHighCentreAndLowLeftWeightAndSumToOneHundred) {
    const auto& candidates = WavelengthCandidates();
    EXPECT_EQ(candidates.front().Centre, 100);
    EXPECT_EQ(candidates.front().Left, 0);
    EXPECT_EQ(candidates.back().Centre, 80);
    EXPECT_EQ(candidates.back().Left, 20);
    std::set<std::pair<int, int>> seen;
    for (std::size_t k = 0; k < candidates.size(); ++k) {
        const auto& c = candidates[k];
        EXPECT_EQ(c.Left + c.Centre + c.Right, 100);
        EXPECT_GE(c.Right, 0);
        EXPECT_TRUE(c.Left >= 0 && c.Left <= 20 && c.Centre >= 80 && c.Centre <= 100);
        EXPECT_TRUE(seen.insert({c.Centre, c.Left}).second);
        if (k > 0) {
            const auto& p = candidates[k - 1];
            EXPECT_TRUE(c.Centre < p.Centre || (c.Centre == p.Centre && c.Left == p.Left + 1));
        }
    }
    // Every admissible (centre, left) pair is there: 1 + 2 + ... + 21.
    EXPECT_EQ(seen.size(), 231u);
}

// At point 5 every tile has zero neighbours, so every candidate with the same centre weight
// gives the same value: a tie that only the search order may break.
class TiedCandidates : public ::testing::TestWithParam<WavelengthSearchMode> {};

TEST_P(TiedCandidates, EarliestCandidateWinsATieAndOnlyStrictGainsCount) {
    GlobalVariables ws;
    ws.DimensionTileArrays(16);
    ws.SetReferenceTiles(16);
    for (int t = 0; t < 16; ++t) {
        for (int w = 0; w < kPointCount; ++w) {
            ws.TargetAfterLinearity(t, w) = (w == 4 || w == 6) ? 0.0 : 50.0 + t;
            ws.MasterReflectance(t, w) = ws.TargetAfterLinearity(t, w);
        }
        // Centre weight 0.9 reproduces the Master exactly at point 5.
        ws.MasterReflectance(t, 5) = (90 / 100.0) * ws.TargetAfterLinearity(t, 5);
        // At point 30 nothing beats the identity, which already matches.
    }
    Utility utility(ws);
    utility.SetWavelengthSearchMode(GetParam());
    utility.CalculateWavelength();
    // Left weights 0..10 with centre 90 all tie at zero; the first (left 0) is kept.
    const WavelengthWeights expected{0 / 100.0, 90 / 100.0, 10 / 100.0};
    EXPECT_EQ(ws.WavelengthCoefficients[5], expected);
    EXPECT_EQ(ws.WavelengthCoefficients[30], kIdentityWeights);
    for (int t = 0; t < 16; ++t) {
        EXPECT_EQ(ws.TargetAfterWavelength(t, 5), ws.MasterReflectance(t, 5));
    }
}

INSTANTIATE_TEST_SUITE_P(BothPaths, TiedCandidates,
                         ::testing::Values(WavelengthSearchMode::Fast,
                                           WavelengthSearchMode::Reference));

TEST(WavelengthSearch, FindsAKnownNeighbourMixture) {
    // Master = 0.85 x own point + 0.15 x right neighbour: the search must find (0, .85, .15) on
    // the points where the mixture is reproduced and both paths agree on it.
    GlobalVariables ws;
    test::LoadSyntheticPair(ws, 32, 41u);
    for (int t = 0; t <= 32; ++t) {
        for (int w = 0; w < kPointCount; ++w) {
            ws.TargetAfterLinearity(t, w) = ws.TargetReflectance(t, w);
        }
        for (int w = 1; w < kPointCount - 1; ++w) {
            ws.MasterReflectance(t, w) =
                ThreePointValue(ws.TargetAfterLinearity.Row(t), {0.0, 85 / 100.0, 15 / 100.0}, w);
        }
    }
    for (auto mode : {WavelengthSearchMode::Fast, WavelengthSearchMode::Reference}) {
        GlobalVariables copy = ws;
        Utility utility(copy);
        utility.SetWavelengthSearchMode(mode);
        utility.CalculateWavelength();
        for (int w = 1; w < kPointCount - 1; ++w) {
            const WavelengthWeights expected{0.0, 85 / 100.0, 15 / 100.0};
            EXPECT_EQ(copy.WavelengthCoefficients[w], expected) << "point " << w;
        }
    }
}

TEST(WavelengthSearch, FastPathIsBitIdenticalOnRandomisedPairsOfEverySize) {
    int seed = 100;
    for (int tiles : {16, 28, 32, 48}) {
        for (int round = 0; round < 2; ++round) {
            SCOPED_TRACE("tiles " + std::to_string(tiles) + " seed " + std::to_string(seed));
            test::InstrumentModel model;
            model.Shift = -2.5 + 5.0 * round + 0.1 * tiles / 16;  // both directions
            model.Noise = 0.05 * (round + 1);
            GlobalVariables ws;
            test::LoadSyntheticPair(ws, tiles, static_cast<unsigned>(seed++), model);
            const GlobalVariables fast = Profile(ws, WavelengthSearchMode::Fast);
            const GlobalVariables reference = Profile(ws, WavelengthSearchMode::Reference);
            const int moved = ExpectBitIdentical(fast, reference);
            EXPECT_GT(moved, 10) << "the search hardly moved; the comparison proves little";
        }
    }
}

TEST(WavelengthSearch, FastPathIsBitIdenticalOnTheDemoPairInBothGeometries) {
    const DemoSaveSets demo = MakeDemoData();
    for (int angle : {0, 1}) {
        SCOPED_TRACE(angle == 0 ? "SCI" : "SCE");
        GlobalVariables ws;
        const auto tiles = static_cast<int16_t>(demo.MasterTiles.Records.size());
        ASSERT_EQ(tiles, 32);
        ws.DimensionTileArrays(tiles);
        ws.SetReferenceTiles(tiles);
        ws.InitializeVariables();
        for (int t = 0; t < tiles; ++t) {
            for (int w = 0; w < kPointCount; ++w) {
                ws.MasterReflectance(t, w) = demo.MasterTiles.Records[t].Curves[angle][w];
                ws.TargetReflectance(t, w) = demo.TargetTiles.Records[t].Curves[angle][w];
            }
        }
        const GlobalVariables fast = Profile(ws, WavelengthSearchMode::Fast);
        const GlobalVariables reference = Profile(ws, WavelengthSearchMode::Reference);
        EXPECT_GT(ExpectBitIdentical(fast, reference), 0);
    }
}
}  // namespace
}  // namespace tintara
