// The engine's colour-difference step, its fine spectra and the correlation grid's rows.
#include <gtest/gtest.h>

#include <limits>

#include "engine/ProfileSequence.h"
#include "engine/TileSetFixture.h"
#include "engine/Utility.h"
#include "workspace/Error.h"

namespace tintara {
namespace {

TEST(Utility, ReCalcDEFillsTheResultsAsTheColourComponentDoesInTheWorkspacesSpace) {
    for (const int16_t space : {kCieLab, kHunterLab}) {
        GlobalVariables ws;
        test::LoadSyntheticPair(ws, 16, 5u);
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
        // A second call leaves nothing of the first behind; a bad spectrum is refused.
        ws.SampleWorkSpectrum = ws.MasterWorkSpectrum;
        engine.ReCalcDE();
        EXPECT_EQ(ws.DEResult, std::vector<double>(7, 0.0));
        ws.SampleWorkSpectrum[5] = std::numeric_limits<double>::quiet_NaN();
        EXPECT_THROW(engine.ReCalcDE(), Error);
    }
    GlobalVariables unknownSpace;
    unknownSpace.ColorSpace = 1;
    EXPECT_THROW(Utility{unknownSpace}, Error);
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
        {&ws.TargetAfterWavelength, &ws.WavelengthFineSpectrum},
    };
    // Straight lines, which Sprague keeps straight, so every fine point is known; each source
    // array has its own.
    for (int k = 0; k < 6; ++k) {
        for (int t = 0; t <= 16; ++t) {
            for (int w = 0; w < kPointCount; ++w)
                (*pairs[k].first)(t, w) = 10.0 * k + t + 0.1 * w * (k + 1);
        }
    }
    Utility(ws).GenerateSpectralData();
    for (int t = 0; t <= 16; ++t) {
        for (int k = 0; k < 6; ++k) {
            ASSERT_EQ(pairs[k].second->Rows(), 17u);
            ASSERT_EQ(pairs[k].second->Cols(), static_cast<std::size_t>(kFinePointCount));
            for (int l = 0; l < kFinePointCount; ++l) {
                ASSERT_NEAR((*pairs[k].second)(t, l), 10.0 * k + t + 0.01 * l * (k + 1), 1e-9)
                    << "array " << k << " tile " << t;
            }
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
