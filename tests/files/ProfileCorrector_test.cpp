#include "files/ProfileCorrector.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <random>
#include <vector>

#include "app/FandeckCompare.h"
#include "engine/ProfileSequence.h"
#include "engine/Utility.h"
#include "files/CCFReadWrite.h"
#include "files/DemoData.h"
#include "files/RWSaveSet.h"
#include "support/TestPaths.h"

namespace tintara {
namespace {

// The correction written out the plain way, straight from a stored bank: the reference the
// precomputed Correct() must match bit for bit.
void ReferenceCorrect(const CoefficientBank& bank, const double* in, double* out) {
    double linear[kPointCount];
    for (int w = 0; w < kPointCount; ++w) {
        const int p = w == 0 ? 1 : w;
        const double x = in[w] + bank.Offset[p];
        const double g = bank.Gain[p];
        const double r = bank.GainTileReflectance[p];
        double s = (1 + (1 - g) * (1 - x / r)) * g * x;
        int segment = 1;  // the first whose upper level lies above s, else 5
        while (segment < 5 && s >= bank.Levels[p][segment])
            ++segment;
        if (bank.Slopes[p][segment] != 0.0)
            s = (s - bank.Intercepts[p][segment]) / bank.Slopes[p][segment];
        linear[w] = s;
    }
    const auto& W = bank.Wavelength;  // point 0 takes point 1's weights
    out[0] = W[1][1] * linear[0] + W[1][2] * linear[1];
    for (int w = 1; w < kPointCount - 1; ++w)
        out[w] = W[w][0] * linear[w - 1] + W[w][1] * linear[w] + W[w][2] * linear[w + 1];
    out[39] = W[39][0] * linear[38] + W[39][1] * linear[39];
}

// plainGain: offset 0 and gain 1, so that an input equal to a break level reaches the level as is.
CoefficientBank RandomBank(std::mt19937& rng, bool monotoneLevels, bool plainGain) {
    std::uniform_real_distribution<double> u(0.0, 1.0);
    CoefficientBank b;
    for (int p = 1; p < kPointCount; ++p) {
        b.Offset[p] = plainGain ? 0.0 : -1.0 + 2.0 * u(rng);
        b.Gain[p] = plainGain ? 1.0 : 0.9 + 0.2 * u(rng);
        b.GainTileReflectance[p] = 60.0 + 35.0 * u(rng);
        for (int j = 1; j <= 5; ++j) {
            // Some segments disabled (slope 0), as the linearity fit leaves flat Master spans.
            b.Slopes[p][j] = u(rng) < 0.15 ? 0.0 : 0.8 + 0.4 * u(rng);
            b.Intercepts[p][j] = -2.0 + 4.0 * u(rng);
        }
        double level = 2.0 + 10.0 * u(rng);
        for (int j = 1; j <= 4; ++j) {
            b.Levels[p][j] = monotoneLevels ? level : 5.0 + 80.0 * u(rng);
            level += 5.0 + 20.0 * u(rng);
        }
        const int left = static_cast<int>(u(rng) * 21);
        const int centre = 80 + static_cast<int>(u(rng) * (21 - left));
        b.Wavelength[p] = {left / 100.0, centre / 100.0, (100 - left - centre) / 100.0};
    }
    return b;
}

TEST(ProfileCorrector, PrecomputedCorrectionMatchesThePlainFormulaBitForBit) {
    std::mt19937 rng(20240314);
    std::uniform_real_distribution<double> u(0.0, 1.0);
    for (int bankNo = 0; bankNo < 40; ++bankNo) {
        CoefficientFileContents c;
        c.SCI = RandomBank(rng, bankNo % 2 == 0, bankNo % 4 == 0);
        c.SCE = RandomBank(rng, true, false);
        c.SCIPresent = c.SCEPresent = true;
        ProfileCorrector corrector;
        corrector.Load(c);
        // Every width this processor has: two points at a time always, four with AVX2, eight
        // with AVX-512.
        std::vector<int> widths{2};
        for (int wider : {4, 8}) {
            if (corrector.Width() >= wider)
                widths.push_back(wider);
        }
        for (int width : widths)
            for (int curveNo = 0; curveNo < 50; ++curveNo) {
                corrector.SetWidth(width);
                double in[kPointCount], fast[kPointCount], reference[kPointCount];
                for (double& v : in)
                    v = -1.0 + 101.0 * u(rng);
                // Values sitting exactly on a break level take the upper segment.
                if (curveNo == 0) {
                    for (int w = 1; w < kPointCount; ++w)
                        in[w] = c.SCI.Levels[w][1 + w % 4];
                }
                for (Geometry g : {Geometry::SCI, Geometry::SCE}) {
                    const CoefficientBank& bank = g == Geometry::SCI ? c.SCI : c.SCE;
                    corrector.Correct(g, in, fast);
                    ReferenceCorrect(bank, in, reference);
                    ASSERT_EQ(std::memcmp(fast, reference, sizeof fast), 0)
                        << "bank " << bankNo << " curve " << curveNo << " width " << width;
                }
                // In place gives the same numbers.
                double inPlace[kPointCount];
                std::memcpy(inPlace, in, sizeof in);
                corrector.Correct(Geometry::SCI, inPlace, inPlace);
                corrector.Correct(Geometry::SCI, in, fast);
                ASSERT_EQ(std::memcmp(fast, inPlace, sizeof fast), 0);
            }
    }
}

// ---- against a real profile run -----------------------------------------------------------------

// The demo tile sets profiled in both geometries into one file: the corrector must reproduce the
// run's own corrected tiles, and converting the demo fandeck with the file must bring it closer to
// the Master.
TEST(ProfileCorrector, ReproducesTheDemoRunAndLowersTheDemoFandecksMeanDE) {
    const auto dir = test::ScratchDir("CorrectorDemo");
    const auto files = WriteDemoData(dir);
    const auto ccf = dir / "demo.ccf";
    for (const bool sci : {true, false}) {
        SCOPED_TRACE(sci ? "profiled in SCI" : "profiled in SCE");
        GlobalVariables ws;
        ws.GeometryChoice = sci;
        RWSaveSet reader(ws);
        bool failed = true;
        reader.ReadWSVRecord(files[0].string(), true, failed);
        ASSERT_FALSE(failed) << reader.LastError();
        reader.ReadWSVRecord(files[1].string(), false, failed);
        ASSERT_FALSE(failed) << reader.LastError();
        Utility utility(ws);
        ProfileSequence(utility);
        CCFReadWrite(ws).WriteCoeficcients(ccf);

        ProfileCorrector corrector;
        corrector.ReadCoefficientFile(ccf);
        const Geometry geometry = sci ? Geometry::SCI : Geometry::SCE;
        ASSERT_TRUE(corrector.HasGeometry(geometry));
        if (sci) {  // the SCE block of a new SCI file is a placeholder: the identity
            ASSERT_FALSE(corrector.HasGeometry(Geometry::SCE));
            double out[kPointCount];
            corrector.Correct(Geometry::SCE, ws.TargetReflectance.Row(5), out);
            EXPECT_EQ(std::memcmp(out, ws.TargetReflectance.Row(5), sizeof out), 0);
        }
        int compared = 0;
        double worst = 0.0;
        for (int t = 0; t < ws.TileCount; ++t) {
            double out[kPointCount];
            corrector.Correct(geometry, ws.TargetReflectance.Row(t), out);
            for (int w = 1; w < kPointCount; ++w) {
                // The file holds neither point 0 nor the segment below the offset tile's level.
                // And the map jumps at the top level T4 (segment 4 ends at the gain tile's
                // Master value, segment 5 is the identity), so a reading within the printed
                // half-unit of T4 (the gain tile's own) may land on the other side of the
                // 3-decimal level.
                bool excluded = w == 1 && ws.WavelengthCoefficients[1][0] != 0.0;
                for (int v = w - 1; v <= std::min(kPointCount - 1, w + 1); ++v) {
                    const double s = ws.TargetAfterGain(t, v);
                    if (s < ws.LinearityPoints[v][1] ||
                        std::fabs(s - ws.LinearityPoints[v][9]) <= 5e-4)
                        excluded = true;
                }
                if (excluded)
                    continue;
                ++compared;
                worst = std::max(worst, std::fabs(out[w] - ws.TargetAfterWavelength(t, w)));
                EXPECT_NEAR(out[w], ws.TargetAfterWavelength(t, w), 1e-3)
                    << "tile " << t << " point " << w;
            }
        }
        std::printf("%s: worst difference %.6g over %d values\n", sci ? "SCI" : "SCE", worst,
                    compared);
        EXPECT_GT(compared, 32 * 35);
    }

    GlobalVariables ws;
    RWSaveSet saveSets(ws);
    ws.CoefficientFile = ccf.string();
    ws.MasterSaveSetFile = files[2].string();
    ASSERT_TRUE(saveSets.ReadMasterFandeck());
    ws.MasterSaveSetLoaded = true;
    ASSERT_EQ(saveSets.ReadFandeckandBuildCorrelatedData(files[3].string()),
              RWSaveSet::kCorrelationDone);
    EXPECT_TRUE(saveSets.CorrelationWarning().empty());
    Utility utility(ws);
    CompareFandecks(ws, utility);
    for (int g = 0; g < 2; ++g) {
        SCOPED_TRACE(g == 0 ? "demo fandeck, SCI" : "demo fandeck, SCE");
        // Columns of a geometry: DL, Da, Db, DE uncorrected, then the same corrected.
        const double before = ws.SampleDeltas(ws.SampleCount, g * kDeltasPerGeometry + 3);
        const double after = ws.SampleDeltas(ws.SampleCount, g * kDeltasPerGeometry + 4 + 3);
        std::printf("demo fandeck geometry %d: mean DE %.3f before, %.3f after\n", g, before,
                    after);
        // Most of the systematic difference goes; noise and what the model does not capture stay.
        EXPECT_LT(after, 0.5 * before);
    }
}

}  // namespace
}  // namespace tintara
