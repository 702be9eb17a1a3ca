// The engine's spectral preparation (raw DE, fine spectra), the reset, the small utilities, the
// profiling sequence's between-phase behaviour and the correlation grid's rows.
#include <gtest/gtest.h>

#include "engine/ProfileSequence.h"
#include "engine/TileSetFixture.h"
#include "engine/Utility.h"
#include "workspace/NumberFormat.h"

namespace tintara {
namespace {

TEST(Utility, RawDifferenceComesFromTheColourComponentForEveryTileAndTheExtraSlot) {
    GlobalVariables ws;
    test::LoadSyntheticPair(ws, 16, 31u);
    // Something in the extra slot too, so that its evaluation shows.
    for (int w = 0; w < kPointCount; ++w)
        ws.TargetReflectance(16, w) = 10.0;
    Utility utility(ws);
    utility.GetRawDE();

    ColorMatch independent;
    std::vector<double> result;
    for (int t = 0; t <= 16; ++t) {
        independent.SetStandardSpectrum({ws.MasterReflectance.Row(t), kPointCount});
        independent.SetTrialSpectrum({ws.TargetReflectance.Row(t), kPointCount});
        independent.GetDifferenceVector(0, result);
        for (int c = 0; c < 3; ++c)
            EXPECT_EQ(ws.RawDE(t, c), result[c]) << "tile " << t;
        EXPECT_EQ(ws.RawDE(t, 3), result[6]) << "tile " << t;
        EXPECT_GT(ws.RawDE(t, 3), 0.0);
    }

    GlobalVariables same;
    test::LoadSyntheticPair(same, 48, 31u, {}, /*identical=*/true);
    Utility sameUtility(same);
    sameUtility.GetRawDE();
    for (int t = 0; t <= 48; ++t) {
        for (int c = 0; c < 4; ++c)
            EXPECT_EQ(same.RawDE(t, c), 0.0);
    }
}

TEST(Utility, FineSpectraComeFromTheirOwnSourceArraysAndKeepEveryTenthNanometre) {
    GlobalVariables ws;
    test::LoadSyntheticPair(ws, 16, 37u);
    // Six distinguishable sources: each array offset by its own amount.
    const std::pair<Matrix*, Matrix*> pairs[] = {
        {&ws.MasterReflectance, &ws.MasterFineSpectrum},
        {&ws.TargetReflectance, &ws.TargetFineSpectrum},
        {&ws.TargetAfterOffset, &ws.OffsetFineSpectrum},
        {&ws.TargetAfterGain, &ws.GainFineSpectrum},
        {&ws.TargetAfterLinearity, &ws.LinearityFineSpectrum},
        {&ws.TargetAfterWavelength, &ws.WavelengthFineSpectrum},
    };
    for (int k = 2; k < 6; ++k) {
        for (int t = 0; t <= 16; ++t) {
            for (int w = 0; w < kPointCount; ++w) {
                (*pairs[k].first)(t, w) = ws.MasterReflectance(t, w) + 3.0 * k;
            }
        }
    }
    Utility utility(ws);
    utility.GenerateSpectralData();
    EXPECT_EQ(ws.FineSpectrum.size(), static_cast<std::size_t>(kFinePointCount));
    for (const auto& [source, fine] : pairs) {
        ASSERT_EQ(fine->Rows(), 17u);
        ASSERT_EQ(fine->Cols(), static_cast<std::size_t>(kFinePointCount));
        for (int t = 0; t <= 16; ++t) {
            for (int w = 0; w < kPointCount; ++w) {
                EXPECT_NEAR((*fine)(t, 10 * w), (*source)(t, w), 1e-9) << "tile " << t;
            }
        }
    }
}

TEST(Utility, ResetRestoresTheIdentityCorrectionAndClearsTheTables) {
    GlobalVariables ws;
    test::LoadSyntheticPair(ws, 28, 43u);
    Utility utility(ws);
    ProfileSequence(utility);
    ws.MasterStatus = "MSII01";
    utility.InitializeVariables();
    for (int w = 0; w < kPointCount; ++w) {
        EXPECT_EQ(ws.OffsetCoefficients[w], 0.0);
        EXPECT_EQ(ws.GainCoefficients[w], 1.0);
        EXPECT_EQ(ws.LinearityCoefficients[w], 1.0);
        EXPECT_EQ(ws.WavelengthCoefficients[w], (std::array<double, 3>{0.0, 1.0, 0.0}));
    }
    for (int t = 0; t <= 28; ++t) {
        EXPECT_EQ(ws.RawDE(t, 3), 0.0);
        EXPECT_EQ(ws.WavelengthDE[t], 0.0);
        EXPECT_TRUE(ws.TileNames[t].empty());
    }
    EXPECT_EQ(ws.MasterStatus, "XXXXXX");
    EXPECT_EQ(ws.TargetStatus, "XXXXXX");
}

TEST(Utility, SmallUtilities) {
    const std::vector<uint8_t> bytes{'T', 'i', 'l', 'e', 0, 0xE9, '1'};
    const std::string text = Utility::ConvertBytetoString(bytes);
    ASSERT_EQ(text.size(), bytes.size());
    for (std::size_t i = 0; i < bytes.size(); ++i)
        EXPECT_EQ(static_cast<uint8_t>(text[i]), bytes[i]);
    EXPECT_TRUE(Utility::ConvertBytetoString({}).empty());

    GlobalVariables ws;
    Utility utility(ws);
    EXPECT_FALSE(utility.IsLoaded("Profiler"));
    EXPECT_FALSE(utility.AnybodyLoaded());
    std::vector<std::string> open{"Profiler", "GetTolerances"};
    utility.SetOpenFormsSource([&open] { return open; });
    EXPECT_TRUE(utility.IsLoaded("GetTolerances"));
    EXPECT_FALSE(utility.IsLoaded("Profile"));
    EXPECT_FALSE(utility.AnybodyLoaded());
    open.push_back("MatchResult");  // the source is asked each time
    EXPECT_TRUE(utility.AnybodyLoaded());
}

// Records what a display would show between phases.
class RecordingDisplay : public PhaseDisplay {
  public:
    explicit RecordingDisplay(const GlobalVariables& ws) : m_ws(ws) {}
    void RefreshDisplay() override { Snapshots.push_back(m_ws); }
    void IndicateCell(int16_t column) override { Columns.push_back(column); }
    std::vector<GlobalVariables> Snapshots;
    std::vector<int16_t> Columns;

  private:
    const GlobalVariables& m_ws;
};

TEST(ProfileSequence, ShowsPhasesOnlyWhenAskedAndCopiesColumnsForwardFromTileOne) {
    GlobalVariables ws;
    test::LoadSyntheticPair(ws, 16, 47u);
    Utility utility(ws);
    RecordingDisplay quiet(ws);
    ProfileSequence(utility, &quiet);
    EXPECT_TRUE(quiet.Snapshots.empty());
    EXPECT_TRUE(quiet.Columns.empty());

    GlobalVariables shown;
    test::LoadSyntheticPair(shown, 16, 47u);
    shown.ShowPhaseProgress = true;
    Utility shownUtility(shown);
    RecordingDisplay display(shown);
    ProfileSequence(shownUtility, &display);
    // Column 5 is never marked.
    EXPECT_EQ(display.Columns, (std::vector<int16_t>{1, 2, 3, 4, 6}));
    ASSERT_EQ(display.Snapshots.size(), 5u);

    // Shown after the Offset phase: later columns still hold the raw DE copied into them, for
    // tiles 1..TileCount only; tile 0 keeps its reset value until its own phase fills it.
    const GlobalVariables& afterOffset = display.Snapshots[1];
    for (int t = 1; t <= 16; ++t) {
        EXPECT_EQ(afterOffset.GainDE[t], afterOffset.RawDE(t, 3));
        EXPECT_EQ(afterOffset.WavelengthDE[t], afterOffset.RawDE(t, 3));
        EXPECT_EQ(afterOffset.FinalDE(t, 3), afterOffset.RawDE(t, 3));
    }
    EXPECT_EQ(afterOffset.GainDE[0], 0.0);
    EXPECT_GT(afterOffset.RawDE(0, 3), 0.0);
    // After the Linearity phase the Wavelength column shows the Linearity result.
    const GlobalVariables& afterLinearity = display.Snapshots[3];
    for (int t = 0; t <= 16; ++t) {
        EXPECT_EQ(afterLinearity.WavelengthDE[t], afterLinearity.LinearityDE[t]);
    }
    // Showing changes nothing in the results.
    EXPECT_EQ(shown.FinalDE, ws.FinalDE);
    EXPECT_EQ(shown.WavelengthCoefficients, ws.WavelengthCoefficients);
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
    EXPECT_EQ(rows[3][2 + 1], "123.40");
    EXPECT_EQ(rows[4][3 + 1], "7.00");
    EXPECT_EQ(rows[5][4 + 1], "-0.50");
    EXPECT_EQ(rows[33][0], "T31");  // the extra slot has no row
    for (const auto& row : rows)
        EXPECT_EQ(row.size(), 7u);
}

}  // namespace
}  // namespace tintara
