// The wavelength-weight search: candidate order, the strict-improvement and tie rules, and the
// fast path against the call-by-call reference, bit for bit.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "engine/ProfileSequence.h"
#include "engine/TileSetFixture.h"
#include "engine/Utility.h"
#include "engine/WavelengthSearch.h"
#include "files/DemoData.h"

namespace tintara {
namespace {

// Runs the profiling sequence (or only the Wavelength phase) on a copy of `ws`.
GlobalVariables Profile(const GlobalVariables& ws, WavelengthSearchMode mode, bool all = true) {
    GlobalVariables copy = ws;
    Utility utility(copy);
    utility.SetWavelengthSearchMode(mode);
    all ? ProfileSequence(utility) : utility.CalculateWavelength();
    return copy;
}

bool SameBits(const void* a, const void* b, std::size_t doubles) {
    return std::memcmp(a, b, doubles * sizeof(double)) == 0;
}

TEST(WavelengthSearch, CandidatesRunFromHighCentreAndWithinItFromLowLeftWeight) {
    std::vector<std::array<int, 3>> expected;
    for (int centre = 100; centre >= 80; --centre) {
        for (int left = 0; left <= 20 && left + centre <= 100; ++left)
            expected.push_back({left, centre, 100 - centre - left});
    }
    const auto& candidates = WavelengthCandidates();
    ASSERT_EQ(candidates.size(), expected.size());
    EXPECT_EQ(expected.size(), 231u);
    for (std::size_t k = 0; k < expected.size(); ++k) {
        const auto& c = candidates[k];
        EXPECT_EQ((std::array<int, 3>{c.Left, c.Centre, c.Right}), expected[k]) << k;
    }
}

TEST(WavelengthSearch, EarliestCandidateWinsATieOnlyStrictGainsCountAndNeighboursAreOriented) {
    GlobalVariables ws;
    ws.DimensionTileArrays(16);
    ws.SetReferenceTiles(16);
    for (int t = 0; t < 16; ++t) {
        for (int w = 0; w < kPointCount; ++w)
            ws.TargetAfterLinearity(t, w) = (w == 4 || w == 6) ? 0.0 : 50.0 + t;
        ws.TargetAfterLinearity(t, 21) = 80.0 - t;
        std::copy_n(ws.TargetAfterLinearity.Row(t), kPointCount, ws.MasterReflectance.Row(t));
        // Point 5 has zero neighbours, so all candidates of one centre weight tie; centre 0.9
        // reproduces the Master. Point 20 is 0.85 of itself and 0.15 of its right neighbour.
        // Elsewhere nothing beats the identity, which already matches.
        ws.MasterReflectance(t, 5) = 0.9 * ws.TargetAfterLinearity(t, 5);
        ws.MasterReflectance(t, 20) = 0.85 * (50.0 + t) + 0.15 * (80.0 - t);
    }
    for (auto mode : {WavelengthSearchMode::Fast, WavelengthSearchMode::Reference}) {
        const GlobalVariables out = Profile(ws, mode, false);
        for (int w = 0; w < kPointCount; ++w) {
            // At point 5 left weights 0..10 with centre 90 all tie at zero; the first is kept.
            const WavelengthWeights expected = w == 5    ? WavelengthWeights{0.0, 0.9, 0.1}
                                               : w == 20 ? WavelengthWeights{0.0, 0.85, 0.15}
                                                         : kIdentityWeights;
            EXPECT_EQ(out.WavelengthCoefficients[w], expected) << "point " << w;
        }
        for (int t = 0; t < 16; ++t)
            EXPECT_EQ(out.TargetAfterWavelength(t, 5), out.MasterReflectance(t, 5));
    }
}

TEST(WavelengthSearch, FastPathIsBitIdenticalOnRandomisedPairsOfEverySizeAndTheDemoPair) {
    std::vector<GlobalVariables> pairs;
    unsigned seed = 100;
    for (int tiles : {16, 28, 32, 48}) {
        for (int round = 0; round < 2; ++round) {
            test::InstrumentModel model;
            model.Shift = -2.5 + 5.0 * round + 0.1 * tiles / 16;  // both directions
            model.Noise = 0.05 * (round + 1);
            test::LoadSyntheticPair(pairs.emplace_back(), tiles, seed++, model);
        }
    }
    const DemoSaveSets demo = MakeDemoData();
    for (int angle : {0, 1}) {  // SCI and SCE
        GlobalVariables& ws = pairs.emplace_back();
        test::LoadSyntheticPair(ws, 32, 0u);
        for (int t = 0; t < 32; ++t) {
            std::copy_n(demo.MasterTiles.Records.at(t).Curves[angle].begin(), kPointCount,
                        ws.MasterReflectance.Row(t));
            std::copy_n(demo.TargetTiles.Records.at(t).Curves[angle].begin(), kPointCount,
                        ws.TargetReflectance.Row(t));
        }
    }
    for (std::size_t p = 0; p < pairs.size(); ++p) {
        const GlobalVariables fast = Profile(pairs[p], WavelengthSearchMode::Fast);
        const GlobalVariables ref = Profile(pairs[p], WavelengthSearchMode::Reference);
        const int tiles = ref.TileCount + 1;
        EXPECT_TRUE(SameBits(fast.WavelengthCoefficients.data(), ref.WavelengthCoefficients.data(),
                             3 * kPointCount))
            << "pair " << p;
        EXPECT_TRUE(SameBits(fast.TargetAfterWavelength.Row(0), ref.TargetAfterWavelength.Row(0),
                             tiles * kPointCount));
        EXPECT_TRUE(SameBits(fast.FinalDE.Row(0), ref.FinalDE.Row(0), tiles * 4));
        EXPECT_TRUE(SameBits(fast.WavelengthDE.data(), ref.WavelengthDE.data(), tiles));
        // The comparison is not vacuous: the search moved many points.
        EXPECT_GT(
            std::count_if(ref.WavelengthCoefficients.begin(), ref.WavelengthCoefficients.end(),
                          [](const auto& w) { return w != kIdentityWeights; }),
            p < 8 ? 10 : 0);
    }
}

}  // namespace
}  // namespace tintara
