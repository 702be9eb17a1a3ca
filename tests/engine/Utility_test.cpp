// The engine object on tile sets of every size: colour differences, the four correction phases,
// the wavelength-weight search (fast path bit for bit), fine spectra and the grid's rows.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <iterator>

#include "engine/ProfileSequence.h"
#include "engine/Utility.h"
#include "engine/WavelengthSearch.h"
#include "files/DemoData.h"
#include "support/ExpectThrow.h"
#include "workspace/Error.h"

namespace tintara {
namespace {

// Dimensions the workspace for `tiles` tiles (16, 28, 32 or 48), sets the reference tiles, resets
// it and fills tiles 0..tiles-1 (the extra slot at index tiles stays zero). The reference tiles
// get the demo's black, three greys and white in linearity order, so the ladder rises; the other
// tiles are fandeck samples drawn by the seed. The Target reads the Master through the model, or
// equals it with identical set.
void LoadTilePair(GlobalVariables& ws, int tiles, uint64_t seed,
                  const InstrumentDifferenceModel& model = DemoParameters{}.Target,
                  bool identical = false) {
    static const DemoSaveSets demo = MakeDemoData();
    ws.DimensionTileArrays(static_cast<int16_t>(tiles));
    ws.SetReferenceTiles(static_cast<int16_t>(tiles));
    ws.InitializeVariables();
    const int ladder[] = {ws.OffsetTile, ws.LinearityTileA, ws.LinearityTileB, ws.LinearityTileC,
                          ws.GainTile};
    const int demoLadder[] = {1, 2, 4, 8, 0};  // black, greys near 10, 30 and 60 %, white
    const auto& samples = demo.MasterFandeck.Records;
    Rng rng(seed);
    for (int t = 0; t < tiles; ++t) {
        const auto k = std::find(std::begin(ladder), std::end(ladder), t) - std::begin(ladder);
        const Curve& master = k < 5 ? demo.MasterTiles.Records[demoLadder[k]].Curves[0]
                                    : samples[rng.Next() % samples.size()].Curves[0];
        const Curve target = identical ? master : ApplyInstrumentDifference(master, model, rng);
        std::copy(master.begin(), master.end(), ws.MasterReflectance.Row(t));
        std::copy(target.begin(), target.end(), ws.TargetReflectance.Row(t));
        ws.TileNames[t] = "Tile " + std::to_string(t + 1);
    }
}

// Expects row t of a DE table (DL, Da, Db, DE) to be the colour component's own comparison of
// the two curves, bit for bit.
void ExpectComponentRow(const Matrix& table, int t, const double* master, const double* target) {
    ColorMatch plm;
    plm.SetStandardSpectrum({master, kPointCount});
    plm.SetTrialSpectrum({target, kPointCount});
    std::vector<double> d;
    plm.GetDifferenceVector(0, d);
    EXPECT_EQ(std::vector<double>(table.Row(t), table.Row(t) + 4),
              (std::vector<double>{d[0], d[1], d[2], d[6]}))
        << "tile " << t;
}

TEST(Utility, ReCalcDEFillsTheResultsAsTheColourComponentDoesInTheWorkspacesSpace) {
    for (const int16_t space : {kCieLab, kHunterLab}) {
        GlobalVariables ws;
        LoadTilePair(ws, 16, 5u);
        ws.ColorSpace = space;
        Utility engine(ws);
        std::copy_n(ws.MasterReflectance.Row(3), kPointCount, ws.MasterWorkSpectrum.begin());
        std::copy_n(ws.TargetReflectance.Row(3), kPointCount, ws.SampleWorkSpectrum.begin());
        engine.ReCalcDE();
        ColorMatch reference;  // the Master is the standard
        reference.SetColorSpace(space);
        reference.SetStandardSpectrum(ws.MasterWorkSpectrum);
        reference.SetTrialSpectrum(ws.SampleWorkSpectrum);
        std::vector<double> de(1), standard(1), trial(1);
        reference.GetDifferenceVector(0, de);
        reference.GetDeltaArray1(0, standard);
        reference.GetDeltaArray2(0, trial);
        EXPECT_EQ(ws.DEResult, de) << space;
        EXPECT_EQ(ws.DeltaArrayA, standard) << space;
        EXPECT_EQ(ws.DeltaArrayB, trial) << space;
        EXPECT_GT(ws.DEResult[6], 0.1);
        ws.SampleWorkSpectrum = ws.MasterWorkSpectrum;  // nothing of the first call stays
        engine.ReCalcDE();
        EXPECT_EQ(ws.DEResult, std::vector<double>(7, 0.0));
    }
}

TEST(CorrectionPhases, IdenticalSetsGiveIdentityCoefficientsAndZeroDifferenceEverywhere) {
    std::array<double, kPointCount> zeros{}, ones;
    ones.fill(1.0);
    for (int tiles : {16, 28, 32, 48}) {
        GlobalVariables ws;
        LoadTilePair(ws, tiles, 7u + tiles, {}, /*identical=*/true);
        Utility utility(ws);
        ProfileSequence(utility);
        EXPECT_EQ(ws.OffsetCoefficients, zeros);
        EXPECT_EQ(ws.GainCoefficients, ones);
        EXPECT_EQ(ws.LinearityCoefficients, ones);
        for (int w = 0; w < kPointCount; ++w) {
            EXPECT_EQ(ws.LinearitySlopes[w], (std::array<double, 6>{1, 1, 1, 1, 1, 1}));
            EXPECT_EQ(ws.LinearityIntercepts[w], (std::array<double, 6>{}));
            EXPECT_EQ(ws.WavelengthCoefficients[w], kIdentityWeights) << tiles << " tiles";
        }
        EXPECT_EQ(ws.TargetAfterWavelength, ws.MasterReflectance);
        EXPECT_EQ(ws.RawDE, Matrix(tiles + 1, 4));
        EXPECT_EQ(ws.FinalDE, Matrix(tiles + 1, 4));
        // Colour differences are never negative: a zero sum means every phase gave zero.
        for (int t = 0; t <= tiles; ++t)
            EXPECT_EQ(ws.OffsetDE[t] + ws.GainDE[t] + ws.LinearityDE[t] + ws.WavelengthDE[t], 0);
    }
}

TEST(CorrectionPhases, ReferenceTilesAreBroughtOntoTheMasterAndDifferencesAreTheComponents) {
    GlobalVariables ws;
    LoadTilePair(ws, 32, 11u);
    for (int w = 0; w < kPointCount; ++w)
        ws.TargetReflectance(32, w) = 10.0;  // so that the extra slot's evaluation shows
    Utility utility(ws);
    ProfileSequence(utility);
    // The offset tile after its phase and the rising grey ladder after linearity read as Master.
    for (int w = 0; w < kPointCount; ++w) {
        EXPECT_NEAR(ws.TargetAfterOffset(ws.OffsetTile, w), ws.MasterReflectance(ws.OffsetTile, w),
                    1e-12);
        for (int16_t t : {ws.OffsetTile, ws.LinearityTileA, ws.LinearityTileB, ws.LinearityTileC})
            EXPECT_NEAR(ws.TargetAfterLinearity(t, w), ws.MasterReflectance(t, w), 1e-9) << t;
    }
    double raw = 0, final = 0;
    for (int t = 0; t <= 32; ++t) {
        const double* master = ws.MasterReflectance.Row(t);
        ExpectComponentRow(ws.RawDE, t, master, ws.TargetReflectance.Row(t));
        ExpectComponentRow(ws.FinalDE, t, master, ws.TargetAfterWavelength.Row(t));
        EXPECT_EQ(ws.WavelengthDE[t], ws.FinalDE(t, 3));
        raw += t < 32 ? ws.RawDE(t, 3) : 0.0;
        final += t < 32 ? ws.FinalDE(t, 3) : 0.0;
    }
    EXPECT_LT(final, 0.5 * raw);  // correction pays off across the whole set
}

TEST(CorrectionPhases, GainIsFullAtTheGainTilesRawLevelAndTaperedElsewhere) {
    // Offset tile read alike by both instruments, so the offset is zero and x / r is exact.
    GlobalVariables ws;
    LoadTilePair(ws, 16, 3u);
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
        EXPECT_EQ(ws.TargetAfterGain(16, w), 0.0);  // the extra zero slot: no gain, no division
    }
}

TEST(CorrectionPhases, ZeroGainTileIsReportedWithPhaseTileAndWavelength) {
    // Offset-corrected gain tile of zero: no gain can be taken from it. Raw gain tile of zero
    // with a non-zero offset: the taper would divide by it.
    const struct {
        int tiles, point;
        bool offsetMatches;
        const char* words[3];
    } cases[] = {{16, 7, true, {"Gain", "tile 0", "430 nm"}},
                 {28, 39, false, {"Gain", "tile 1", "750 nm"}}};
    for (const auto& c : cases) {
        GlobalVariables ws;
        LoadTilePair(ws, c.tiles, 5u);
        const int offset = ws.OffsetTile, p = c.point;
        if (c.offsetMatches)
            ws.TargetReflectance(offset, p) = ws.MasterReflectance(offset, p);
        ws.TargetReflectance(ws.GainTile, p) = 0.0;
        Utility utility(ws);
        const auto what = test::ThrownWhat<ComputeError>([&] { ProfileSequence(utility); });
        ASSERT_TRUE(what.has_value()) << "no error at " << c.words[2];
        for (const char* word : c.words)
            EXPECT_NE(what->find(word), std::string::npos) << *what;
    }
}

TEST(CorrectionPhases, LinearityBreakLevelsAndTheSpanGuard) {
    GlobalVariables ws;
    LoadTilePair(ws, 16, 21u);
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
        // At or above T4 (the gain tile is exactly on it) values are unchanged.
        ASSERT_GE(ws.TargetAfterGain(3, w), ws.LinearityPoints[w][9]);
        for (int tile : {3, static_cast<int>(ws.GainTile)})
            EXPECT_EQ(ws.TargetAfterLinearity(tile, w), ws.TargetAfterGain(tile, w)) << tile;
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
            LoadTilePair(ws, tiles, 13u);
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
            if (centroid)
                continue;
            for (int w = 0; w < kPointCount; ++w)
                EXPECT_EQ(ws.WavelengthCoefficients[w], kIdentityWeights) << "point " << w;
            EXPECT_EQ(ws.TargetAfterWavelength, ws.TargetAfterLinearity);
        }
    }
}

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
    ASSERT_EQ(candidates.size(), expected.size());  // 231
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
        // Point 5 has zero neighbours: candidates of one centre weight tie, 0.9 matches. Point 20
        // is 0.85 of itself and 0.15 of its right neighbour. Elsewhere the identity matches.
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
            InstrumentDifferenceModel model = DemoParameters{}.Target;
            model.WavelengthShiftNm = -2.5 + 5.0 * round + 0.1 * tiles / 16;  // both directions
            model.NoiseSd = 0.05 * (round + 1);
            LoadTilePair(pairs.emplace_back(), tiles, seed++, model);
        }
    }
    const DemoSaveSets demo = MakeDemoData();
    for (int angle : {0, 1}) {  // SCI and SCE
        GlobalVariables& ws = pairs.emplace_back();
        LoadTilePair(ws, 32, 0u);
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
        // The comparison is not vacuous: the search moved many points.
        EXPECT_GT(
            std::count_if(ref.WavelengthCoefficients.begin(), ref.WavelengthCoefficients.end(),
                          [](const auto& w) { return w != kIdentityWeights; }),
            p < 8 ? 10 : 0);
    }
}

TEST(Utility, EachFineSpectrumComesFromItsOwnSourceArrayForEveryTileAndTheExtraSlot) {
    GlobalVariables ws;
    ws.DimensionTileArrays(16);
    const std::pair<Matrix*, Matrix*> pairs[] = {
        {&ws.MasterReflectance, &ws.MasterFineSpectrum},
        {&ws.TargetReflectance, &ws.TargetFineSpectrum},
        {&ws.TargetAfterOffset, &ws.OffsetFineSpectrum},
        {&ws.TargetAfterGain, &ws.GainFineSpectrum},
        {&ws.TargetAfterLinearity, &ws.LinearityFineSpectrum},
        {&ws.TargetAfterWavelength, &ws.WavelengthFineSpectrum}};
    // Straight lines, which Sprague keeps straight, each array its own: every fine point known.
    for (int k = 0; k < 6; ++k) {
        for (int t = 0; t <= 16; ++t) {
            for (int w = 0; w < kPointCount; ++w)
                (*pairs[k].first)(t, w) = 10.0 * k + t + 0.1 * w * (k + 1);
        }
    }
    Utility(ws).GenerateSpectralData();
    for (int k = 0; k < 6; ++k) {
        for (int t = 0; t <= 16; ++t) {
            for (int l = 0; l < kFinePointCount; ++l)
                ASSERT_NEAR(pairs[k].second->At(t, l), 10.0 * k + t + 0.01 * l * (k + 1), 1e-9);
        }
    }
}

TEST(ProfileSequence, GridRowsAverageTheExtraSlotAndFormatEveryCell) {
    GlobalVariables ws;
    ws.DimensionTileArrays(32);
    for (int t = 0; t <= 32; ++t) {
        ws.RawDE(t, 3) = t;  // 0 + 1 + ... + 32 = 528, over 33 entries
        ws.TileNames[t] = "T" + std::to_string(t);
    }
    ws.FinalDE(32, 3) = 33.0;  // only the extra slot: 33 / 33
    ws.OffsetDE[0] = 0.004;
    ws.GainDE[1] = 123.4;
    ws.LinearityDE[2] = 7;
    ws.WavelengthDE[3] = -0.5;
    const auto rows = CorrelationGridRows(ws);
    ASSERT_EQ(rows.size(), 34u);
    EXPECT_EQ(rows[0], (std::vector<std::string>{"Tile Name", "Raw DE", "Phase #1", "Phase #2",
                                                 "Phase #3", "Phase #4", "Final DE"}));
    EXPECT_EQ(rows[1], (std::vector<std::string>{"Average DE", "16.00", "0.00", "3.74", "0.21",
                                                 "-0.02", "1.00"}));
    EXPECT_EQ(rows[2],
              (std::vector<std::string>{"T0", "0.00", "0.00", "0.00", "0.00", "0.00", "0.00"}));
    EXPECT_EQ(rows[3][3] + rows[4][4] + rows[5][5], "123.407.00-0.50");
    EXPECT_EQ(rows[33][0], "T31");  // the extra slot has no row
}

}  // namespace
}  // namespace tintara
