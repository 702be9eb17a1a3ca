// The engine's colour-difference step: work spectra in, DEResult and the delta arrays out.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "engine/Utility.h"
#include "workspace/Error.h"

namespace tintara {
namespace {

// A smooth coloured curve (percent) so that every coordinate is non-trivial.
std::array<double, kPointCount> Coloured(double base, double peakNm, double height) {
    std::array<double, kPointCount> curve{};
    for (int i = 0; i < kPointCount; ++i) {
        const double nm = 360.0 + 10.0 * i;
        curve[static_cast<std::size_t>(i)] =
            base + height * std::exp(-((nm - peakNm) / 40.0) * ((nm - peakNm) / 40.0));
    }
    return curve;
}

TEST(UtilityColour, ReCalcDEComparesSampleAgainstMaster) {
    GlobalVariables ws;
    Utility engine(ws);
    ws.MasterWorkSpectrum = Coloured(10.0, 620.0, 60.0);
    ws.SampleWorkSpectrum = Coloured(12.0, 600.0, 55.0);
    engine.ReCalcDE();

    ColorMatch reference;
    reference.SetStandardSpectrum(ws.MasterWorkSpectrum);
    reference.SetTrialSpectrum(ws.SampleWorkSpectrum);
    std::vector<double> expectedDE(1), expectedStandard(1), expectedTrial(1);
    reference.GetDifferenceVector(0, expectedDE);
    reference.GetDeltaArray1(0, expectedStandard);
    reference.GetDeltaArray2(0, expectedTrial);

    ASSERT_EQ(ws.DEResult.size(), 7u);
    ASSERT_EQ(ws.DeltaArrayA.size(), 8u);
    ASSERT_EQ(ws.DeltaArrayB.size(), 8u);
    EXPECT_EQ(ws.DEResult, expectedDE);
    EXPECT_EQ(ws.DeltaArrayA, expectedStandard);  // the Master is the standard
    EXPECT_EQ(ws.DeltaArrayB, expectedTrial);
    EXPECT_GT(ws.DEResult[6], 1.0);
    EXPECT_NEAR(ws.DEResult[0], ws.DeltaArrayB[0] - ws.DeltaArrayA[0], 1e-9);

    // A second call with other spectra leaves nothing of the first behind.
    ws.SampleWorkSpectrum = ws.MasterWorkSpectrum;
    engine.ReCalcDE();
    for (double v : ws.DEResult)
        EXPECT_EQ(v, 0.0);
    EXPECT_EQ(ws.DeltaArrayA, ws.DeltaArrayB);
}

TEST(UtilityColour, ColourSpaceComesFromTheWorkspace) {
    GlobalVariables ws;
    ws.ColorSpace = kHunterLab;
    Utility engine(ws);
    EXPECT_EQ(engine.PLM.ColorSpace(), kHunterLab);
    ws.MasterWorkSpectrum.fill(20.0);
    ws.SampleWorkSpectrum.fill(45.0);
    engine.ReCalcDE();
    // Hunter L = 100 sqrt(Y / Yn) and a flat curve has Y equal to its level.
    EXPECT_NEAR(ws.DeltaArrayA[0], 10.0 * std::sqrt(20.0), 1e-9);
    EXPECT_NEAR(ws.DeltaArrayB[0], 10.0 * std::sqrt(45.0), 1e-9);
    EXPECT_NEAR(ws.DEResult[6], 10.0 * (std::sqrt(45.0) - std::sqrt(20.0)), 1e-9);

    ws.ColorSpace = 1;
    EXPECT_THROW(Utility{ws}, Error);
}

TEST(UtilityColour, BadWorkSpectrumIsRefused) {
    GlobalVariables ws;
    Utility engine(ws);
    ws.MasterWorkSpectrum.fill(30.0);
    ws.SampleWorkSpectrum.fill(31.0);
    ws.SampleWorkSpectrum[5] = std::numeric_limits<double>::quiet_NaN();
    EXPECT_THROW(engine.ReCalcDE(), Error);
}

}  // namespace
}  // namespace tintara
