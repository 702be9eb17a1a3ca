#include "files/DemoData.h"

#include <gtest/gtest.h>

#include <cmath>

#include "files/SaveSetLibrary.h"
#include "support/TestPaths.h"

namespace tintara {
namespace {

Curve Constant(double v) {
    Curve c;
    c.fill(v);
    return c;
}

TEST(InstrumentDifference, EachTermActsAsDocumented) {
    Rng rng(3);
    const Curve master = MakeDemoData().MasterTiles.Records[7].Curves[0];  // a yellow: 6..84 %
    EXPECT_EQ(ApplyInstrumentDifference(master, {}, rng), master);         // defaults: the identity

    InstrumentDifferenceModel og;
    og.Offset = 0.4;
    og.Gain = 0.97;
    const Curve shifted = ApplyInstrumentDifference(master, og, rng);
    for (int i = 0; i < kPointCount; ++i)
        EXPECT_NEAR(shifted[i], 0.97 * master[i] + 0.4, 1e-12);

    InstrumentDifferenceModel nl;  // 0 and 100 % stay, 50 % moves most
    nl.Nonlinearity = 0.02;
    for (double level : {0.0, 50.0, 100.0}) {
        const double expected = level == 50.0 ? 50.0 + 0.02 * 25.0 : level;
        EXPECT_NEAR(ApplyInstrumentDifference(Constant(level), nl, rng)[20], expected, 1e-12);
    }

    InstrumentDifferenceModel band;  // a flat curve stays flat, a spike spreads to neighbours
    band.Bandwidth = 0.1;
    EXPECT_NEAR(ApplyInstrumentDifference(Constant(42.0), band, rng)[0], 42.0, 1e-12);
    Curve spike = Constant(10.0);
    spike[20] = 60.0;
    const Curve spread = ApplyInstrumentDifference(spike, band, rng);
    EXPECT_NEAR(spread[20], 0.8 * 60.0 + 0.2 * 10.0, 1e-12);
    EXPECT_NEAR(spread[19], 0.9 * 10.0 + 0.1 * 60.0, 1e-12);
    EXPECT_NEAR(spread[21], spread[19], 1e-12);
    EXPECT_NEAR(spread[10], 10.0, 1e-12);

    InstrumentDifferenceModel noisy;
    noisy.NoiseSd = 0.05;
    double sum = 0, sumSq = 0;
    for (int k = 0; k < 500; ++k) {
        const Curve t = ApplyInstrumentDifference(master, noisy, rng);
        for (int i = 0; i < kPointCount; ++i) {
            sum += t[i] - master[i];
            sumSq += (t[i] - master[i]) * (t[i] - master[i]);
        }
    }
    EXPECT_NEAR(sum / (500 * kPointCount), 0.0, 0.002);
    EXPECT_NEAR(std::sqrt(sumSq / (500 * kPointCount)), 0.05, 0.002);
}

TEST(InstrumentDifference, WavelengthShiftInterpolatesAndRepeatsTheEnds) {
    Rng rng(5);
    const Curve edge = MakeDemoData().MasterTiles.Records[7].Curves[0];
    InstrumentDifferenceModel whole, half;
    whole.WavelengthShiftNm = 10.0;  // r1(l) = r(l - 10): one point later
    half.WavelengthShiftNm = -5.0;   // halfway towards the next point
    const Curve moved = ApplyInstrumentDifference(edge, whole, rng);
    const Curve between = ApplyInstrumentDifference(edge, half, rng);
    EXPECT_EQ(moved[0], edge[0]);  // beyond the ends the end value repeats
    EXPECT_EQ(between[39], edge[39]);
    for (int i = 1; i < kPointCount; ++i) {
        EXPECT_NEAR(moved[i], edge[i - 1], 1e-12) << i;
        EXPECT_NEAR(between[i - 1], 0.5 * (edge[i - 1] + edge[i]), 1e-12) << i;
    }
}

TEST(DemoData, IsTheSameEveryTimeOnDiskTooAndDependsOnTheSeed) {
    const DemoSaveSets a = MakeDemoData();
    const auto files = WriteDemoData(test::ScratchDir("DemoDataWrite") / "new" / "folder");
    ASSERT_EQ(files.size(), 4u);
    EXPECT_EQ(files[0].filename(), "master-tiles.wsv");
    EXPECT_EQ(LoadSaveSet(files[0]), a.MasterTiles);
    EXPECT_EQ(LoadSaveSet(files[1]), a.TargetTiles);
    EXPECT_EQ(LoadSaveSet(files[2]), a.MasterFandeck);
    EXPECT_EQ(LoadSaveSet(files[3]), a.TargetFandeck);

    DemoParameters other;
    other.Seed += 1;
    const DemoSaveSets c = MakeDemoData(other);
    EXPECT_EQ(c.MasterTiles, a.MasterTiles);  // tiles are designed, only their readings are noisy
    EXPECT_NE(c.TargetTiles, a.TargetTiles);
    EXPECT_NE(c.TargetFandeck, a.TargetFandeck);
}

}  // namespace
}  // namespace tintara
