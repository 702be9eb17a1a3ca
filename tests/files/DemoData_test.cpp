#include "files/DemoData.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <set>

#include "files/SaveSetLibrary.h"
#include "support/TestPaths.h"
#include "workspace/GlobalVariables.h"
#include "workspace/MakeSensorList.h"

namespace tintara {
namespace {

// FNV-1a over the bytes of every curve of every record.
uint64_t CurveChecksum(const SaveSetData& s) {
    uint64_t h = 0xCBF29CE484222325ULL;
    for (const SaveSetRecord& r : s.Records) {
        for (const Curve& c : r.Curves) {
            unsigned char bytes[sizeof(Curve)];
            std::memcpy(bytes, c.data(), sizeof bytes);
            for (unsigned char b : bytes) {
                h = (h ^ b) * 0x100000001B3ULL;
            }
        }
    }
    return h;
}

uint64_t Checksum(const DemoSaveSets& d) {
    return CurveChecksum(d.MasterTiles) ^ (CurveChecksum(d.TargetTiles) * 3) ^
           (CurveChecksum(d.MasterFandeck) * 5) ^ (CurveChecksum(d.TargetFandeck) * 7);
}

Curve Constant(double v) {
    Curve c;
    c.fill(v);
    return c;
}

double Mean(const Curve& c, int from = 0, int to = kPointCount - 1) {
    double s = 0;
    for (int i = from; i <= to; ++i)
        s += c[i];
    return s / (to - from + 1);
}

// Wavelength (nm) where a rising curve first crosses `level`, by linear interpolation.
double Crossing(const Curve& c, double level) {
    for (int i = 1; i < kPointCount; ++i) {
        if (c[i - 1] < level && c[i] >= level) {
            return 360.0 + 10.0 * (i - 1 + (level - c[i - 1]) / (c[i] - c[i - 1]));
        }
    }
    return NAN;
}

TEST(DemoRng, IsReproducibleAndRoughlyUniformAndNormal) {
    Rng a(42), b(42), c(43);
    for (int i = 0; i < 100; ++i) {
        const uint64_t x = a.Next();
        EXPECT_EQ(x, b.Next());
        EXPECT_NE(x, c.Next());
    }
    Rng r(7);
    double sum = 0, sumSq = 0, lo = 1, hi = 0;
    constexpr int kDraws = 200000;
    for (int i = 0; i < kDraws; ++i) {
        const double u = r.Uniform();
        lo = std::min(lo, u);
        hi = std::max(hi, u);
        const double n = r.Normal();
        sum += n;
        sumSq += n * n;
    }
    EXPECT_GE(lo, 0.0);
    EXPECT_LT(hi, 1.0);
    EXPECT_LT(lo, 0.001);
    EXPECT_GT(hi, 0.999);
    EXPECT_NEAR(sum / kDraws, 0.0, 0.01);
    EXPECT_NEAR(std::sqrt(sumSq / kDraws), 1.0, 0.01);
}

TEST(InstrumentDifference, DefaultModelIsTheIdentityAndNoiseIsAllItAdds) {
    const Curve master = MakeDemoData().MasterTiles.Records[5].Curves[0];
    Rng rng(1);
    EXPECT_EQ(ApplyInstrumentDifference(master, {}, rng), master);

    InstrumentDifferenceModel noisy;
    noisy.NoiseSd = 0.05;
    double sum = 0, sumSq = 0;
    int n = 0;
    for (int k = 0; k < 500; ++k) {
        const Curve t = ApplyInstrumentDifference(master, noisy, rng);
        for (int i = 0; i < kPointCount; ++i, ++n) {
            sum += t[i] - master[i];
            sumSq += (t[i] - master[i]) * (t[i] - master[i]);
        }
    }
    EXPECT_NEAR(sum / n, 0.0, 0.002);
    EXPECT_NEAR(std::sqrt(sumSq / n), 0.05, 0.002);
}

TEST(InstrumentDifference, OffsetGainAndNonlinearityActAsDocumented) {
    Rng rng(3);
    const Curve master = MakeDemoData().MasterTiles.Records[7].Curves[0];  // a yellow: 6..84 %
    InstrumentDifferenceModel m;
    m.Offset = 0.4;
    m.Gain = 0.97;
    const Curve og = ApplyInstrumentDifference(master, m, rng);
    for (int i = 0; i < kPointCount; ++i) {
        EXPECT_NEAR(og[i], 0.97 * master[i] + 0.4, 1e-12);
    }
    InstrumentDifferenceModel nl;
    nl.Nonlinearity = 0.02;
    for (double level : {0.0, 50.0, 100.0}) {
        const double expected = level == 50.0 ? 50.0 + 0.02 * 25.0 : level;
        EXPECT_NEAR(ApplyInstrumentDifference(Constant(level), nl, rng)[20], expected, 1e-12);
    }
}

TEST(InstrumentDifference, BandwidthSpreadsASpikeAndKeepsAFlatCurve) {
    Rng rng(4);
    InstrumentDifferenceModel m;
    m.Bandwidth = 0.1;
    const Curve flat = ApplyInstrumentDifference(Constant(42.0), m, rng);
    for (double v : flat)
        EXPECT_NEAR(v, 42.0, 1e-12);
    Curve spike = Constant(10.0);
    spike[20] = 60.0;
    const Curve out = ApplyInstrumentDifference(spike, m, rng);
    EXPECT_NEAR(out[20], 0.8 * 60.0 + 0.2 * 10.0, 1e-12);
    EXPECT_NEAR(out[19], 0.9 * 10.0 + 0.1 * 60.0, 1e-12);
    EXPECT_NEAR(out[21], out[19], 1e-12);
    EXPECT_NEAR(out[10], 10.0, 1e-12);
}

TEST(InstrumentDifference, WavelengthShiftMovesAnEdgeByTheShift) {
    Rng rng(5);
    Curve edge;
    for (int i = 0; i < kPointCount; ++i) {
        const double x = (360.0 + 10.0 * i - 552.0) / 25.0;
        edge[i] = 5.0 + 80.0 * (0.5 + 0.5 * x / std::sqrt(1.0 + x * x));
    }
    const double before = Crossing(edge, 45.0);
    for (double shift : {-3.0, 2.0, 4.5}) {
        InstrumentDifferenceModel m;
        m.WavelengthShiftNm = shift;
        const double after = Crossing(ApplyInstrumentDifference(edge, m, rng), 45.0);
        EXPECT_NEAR(after - before, shift, 0.3) << shift;
    }
    InstrumentDifferenceModel whole;
    whole.WavelengthShiftNm = 10.0;
    const Curve moved = ApplyInstrumentDifference(edge, whole, rng);
    EXPECT_EQ(moved[0], edge[0]);  // below the range the first value repeats
    for (int i = 1; i < kPointCount; ++i)
        EXPECT_NEAR(moved[i], edge[i - 1], 1e-12);
}

TEST(DemoData, IsTheSameEveryTimeAndDependsOnTheSeed) {
    const DemoSaveSets a = MakeDemoData();
    const DemoSaveSets b = MakeDemoData();
    EXPECT_EQ(a.MasterTiles, b.MasterTiles);
    EXPECT_EQ(a.TargetTiles, b.TargetTiles);
    EXPECT_EQ(a.MasterFandeck, b.MasterFandeck);
    EXPECT_EQ(a.TargetFandeck, b.TargetFandeck);
    EXPECT_EQ(Checksum(a), Checksum(b));
    DemoParameters other;
    other.Seed += 1;
    const DemoSaveSets c = MakeDemoData(other);
    EXPECT_NE(Checksum(a), Checksum(c));
    EXPECT_EQ(c.MasterTiles, a.MasterTiles);  // tiles are designed, only their readings are noisy
    EXPECT_NE(c.TargetTiles, a.TargetTiles);
    // A smaller fandeck leaves the tiles and the first samples as they were.
    DemoParameters small;
    small.FandeckSamples = 10;
    const DemoSaveSets s = MakeDemoData(small);
    EXPECT_EQ(s.TargetTiles, a.TargetTiles);
    EXPECT_EQ(s.MasterFandeck.Records[9], a.MasterFandeck.Records[9]);
}

TEST(DemoData, TileSetHasTheReferenceTilesWhereTheProfilerLooks) {
    const DemoSaveSets d = MakeDemoData();
    for (const SaveSetData* set : {&d.MasterTiles, &d.TargetTiles}) {
        ASSERT_EQ(set->Records.size(), 32u);
        auto mean = [&](int tile) { return Mean(set->Records[tile].Curves[0], 9, 39); };
        EXPECT_NEAR(mean(0), 88.0, 1.5);  // gain tile
        EXPECT_NEAR(mean(1), 1.0, 0.5);   // offset tile
        EXPECT_NEAR(mean(2), 10.0, 1.5);
        EXPECT_NEAR(mean(4), 30.0, 2.0);
        EXPECT_NEAR(mean(8), 60.0, 3.0);
        // Offset, linearity A, B, C, gain: rising lightness.
        EXPECT_LT(mean(1), mean(2));
        EXPECT_LT(mean(2), mean(4));
        EXPECT_LT(mean(4), mean(8));
        EXPECT_LT(mean(8), mean(0));
        // Every other tile is lighter than the black and darker than the white.
        for (int t = 2; t < 32; ++t) {
            EXPECT_GT(mean(t), mean(1));
            EXPECT_LT(mean(t), mean(0));
        }
    }
}

TEST(DemoData, CurvesArePlausibleSmoothAndSceLacksAFewPercentOfSpecular) {
    const DemoSaveSets d = MakeDemoData();
    const DemoParameters p;
    EXPECT_GE(d.MasterFandeck.Records.size(), 1000u);
    EXPECT_EQ(d.MasterFandeck.Records.size(), d.TargetFandeck.Records.size());
    for (const SaveSetData* set :
         {&d.MasterTiles, &d.TargetTiles, &d.MasterFandeck, &d.TargetFandeck}) {
        EXPECT_EQ(set->NumAngles, 2);
        for (const SaveSetRecord& r : set->Records) {
            const Curve& sci = r.Curves[0];
            const Curve& sce = r.Curves[1];
            for (int i = 0; i < kPointCount; ++i) {
                ASSERT_GT(sce[i], 0.0) << r.Name;
                ASSERT_LE(sci[i], 100.0) << r.Name;
                if (set == &d.MasterTiles || set == &d.MasterFandeck) {
                    EXPECT_LE(sce[i], sci[i]);
                    EXPECT_LE(sci[i] - sce[i], std::max(p.TileGloss, p.FandeckGlossHigh) + 1e-12);
                }
                if (i >= 1 && i + 1 < kPointCount) {
                    // Real surfaces do not jump: even the steep edge of a cadmium red keeps the
                    // second difference of 10 nm points well under 20 %.
                    EXPECT_LT(std::fabs(sci[i - 1] - 2 * sci[i] + sci[i + 1]), 20.0) << r.Name;
                }
            }
        }
    }
    // The Target reads differently, but like an instrument of the same class.
    double sumAbs = 0;
    int n = 0;
    for (std::size_t k = 0; k < d.MasterFandeck.Records.size(); ++k) {
        for (int i = 0; i < kPointCount; ++i, ++n) {
            sumAbs += std::fabs(d.TargetFandeck.Records[k].Curves[0][i] -
                                d.MasterFandeck.Records[k].Curves[0][i]);
        }
    }
    EXPECT_GT(sumAbs / n, 0.1);
    EXPECT_LT(sumAbs / n, 3.0);
}

TEST(DemoData, HeadersNameTwoCatalogueInstrumentsAndUsableTileNames) {
    const DemoSaveSets d = MakeDemoData();
    GlobalVariables ws;
    const MakeSensorList catalogue(ws);
    EXPECT_NE(d.MasterTiles.Instrument, d.TargetTiles.Instrument);
    for (const SaveSetData* set :
         {&d.MasterTiles, &d.TargetTiles, &d.MasterFandeck, &d.TargetFandeck}) {
        EXPECT_EQ(catalogue.FindInstrument(set->Instrument).rfind("Unknown", 0), std::string::npos);
        for (const SaveSetRecord& r : set->Records) {
            ASSERT_EQ(r.Status.size(), 6u);
            EXPECT_EQ(r.Status[2], 'B');
            EXPECT_EQ(r.Status[3], 'I');
            EXPECT_EQ(r.Instrument, set->Instrument);
            EXPECT_FALSE(r.Name2.empty());
            EXPECT_FALSE(r.System.empty());
            EXPECT_FALSE(r.Notes.empty());
        }
    }
    std::set<std::string> seen;
    for (std::size_t t = 0; t < d.MasterTiles.Records.size(); ++t) {
        const std::string& name = d.MasterTiles.Records[t].Name;
        EXPECT_EQ(name, DemoTileNames()[t]);
        EXPECT_TRUE(seen.insert(name).second) << name;
        EXPECT_FALSE(name.empty());
        EXPECT_EQ(name.find_first_of("/\\:*?\"<>|"), std::string::npos) << name;
        EXPECT_NE(name.back(), ' ');
    }
}

TEST(DemoData, WritesTheFourSaveSetsThatReadBackUnchanged) {
    const auto dir = test::ScratchDir("DemoDataWrite") / "new" / "folder";
    const auto files = WriteDemoData(dir);
    ASSERT_EQ(files.size(), 4u);
    const DemoSaveSets d = MakeDemoData();
    EXPECT_EQ(files[0].filename(), "master-tiles.wsv");
    EXPECT_EQ(LoadSaveSet(files[0]), d.MasterTiles);
    EXPECT_EQ(LoadSaveSet(files[1]), d.TargetTiles);
    EXPECT_EQ(LoadSaveSet(files[2]), d.MasterFandeck);
    EXPECT_EQ(LoadSaveSet(files[3]), d.TargetFandeck);
}

}  // namespace
}  // namespace tintara
