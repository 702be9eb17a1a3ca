// Converting a Target fandeck with a coefficient file, and the per-sample deltas of a comparison.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <fstream>

#include "engine/Utility.h"
#include "files/CCFReadWrite.h"
#include "files/RWSaveSet.h"
#include "files/SaveSetLibrary.h"
#include "support/TestPaths.h"

namespace tintara {
namespace {

constexpr int16_t kMasterId = 47;
constexpr int16_t kTargetId = 12;

// A smooth sample curve in percent; `shift` makes the Target read differently from the Master.
double SampleValue(int sample, int w, double shift) {
    const double nm = 360.0 + 10.0 * w;
    const double centre = 400.0 + 7.0 * (sample % 45);
    return 5.0 + 0.8 * (sample % 11) + shift +
           60.0 * std::exp(-(nm - centre) * (nm - centre) / (2500.0 + 40.0 * sample));
}

SaveSetData MakeFandeck(int records, int angles, int16_t instrument, const std::string& status,
                        double shift) {
    SaveSetData data;
    data.NumAngles = static_cast<int16_t>(angles);
    data.Status = status;
    data.Instrument = instrument;
    data.Company = "Test Lab";
    for (int r = 0; r < records; ++r) {
        SaveSetRecord rec;
        rec.Name = "Sample " + std::to_string(r + 1);
        rec.Status = status;
        rec.Instrument = instrument;
        for (int a = 0; a < angles; ++a) {
            for (int w = 0; w < kPointCount; ++w) {
                rec.Curves[a][w] = SampleValue(r, w, shift) - 1.5 * a;  // SCE reads lower
            }
        }
        data.Records.push_back(rec);
    }
    return data;
}

// Coefficients of a run for one geometry: an offset, a gain and weights that differ by geometry.
void FillCoefficients(GlobalVariables& ws, bool sci) {
    ws.DimensionTileArrays(16);
    ws.SetReferenceTiles(16);
    ws.MasterInstrumentID = kMasterId;
    ws.TargetInstrumentID = kTargetId;
    ws.MasterStatus = ws.TargetStatus = sci ? "RNIIXX" : "RNEIXX";
    for (int p = 0; p < kPointCount; ++p) {
        ws.OffsetCoefficients[p] = sci ? -0.8 : 0.6;
        ws.GainCoefficients[p] = sci ? 1.02 : 0.97;
        ws.TargetReflectance(ws.GainTile, p) = 86.0;
        for (int j = 0; j < 6; ++j) {
            ws.LinearitySlopes[p][j] = 1.0;
            ws.LinearityIntercepts[p][j] = 0.0;
        }
        for (int k = 0; k < 5; ++k)
            ws.LinearityPoints[p][2 * k + 1] = 5.0 + 20.0 * k;
        ws.WavelengthCoefficients[p] =
            sci ? std::array<double, 3>{0.02, 0.96, 0.02} : std::array<double, 3>{0.0, 1.0, 0.0};
    }
}

struct Files {
    std::filesystem::path dir, ccf, master, target;
};

// A coefficient file with the geometries asked for, a Master and a Target fandeck.
Files MakeFiles(const std::string& name, bool withSci, bool withSce, int records = 25,
                int angles = 2, const std::string& status = "RNBIXX",
                int16_t targetInstrument = kTargetId) {
    Files f;
    f.dir = test::ScratchDir(name);
    f.ccf = f.dir / "pair.ccf";
    f.master = f.dir / "master.wsv";
    f.target = f.dir / "target.wsv";
    if (withSci) {
        GlobalVariables ws;
        FillCoefficients(ws, true);
        CCFReadWrite(ws).WriteCoeficcients(f.ccf);
    }
    if (withSce) {
        GlobalVariables ws;
        FillCoefficients(ws, false);
        CCFReadWrite(ws).WriteCoeficcients(f.ccf);
    }
    StoreSaveSet(MakeFandeck(records, angles, kMasterId, status, 0.0), f.master);
    StoreSaveSet(MakeFandeck(records, angles, targetInstrument, status, 0.7), f.target);
    return f;
}

class RecordingProgress : public ProgressSink {
  public:
    void SetProgressMaximum(long maximum) override { this->maximum = maximum; }
    void SetProgressValue(long value) override { last = value; }
    long maximum = -1, last = -1;
};

// ---- conversion
// -----------------------------------------------------------------------------------

TEST(FandeckConversion, EachAnglePositionIsCorrectedWithItsOwnBlock) {
    const Files f = MakeFiles("ConvertBoth", true, true);
    GlobalVariables ws;
    ws.CoefficientFile = f.ccf.string();
    RWSaveSet saveSets(ws);
    RecordingProgress progress;
    ASSERT_EQ(saveSets.ReadFandeckandBuildCorrelatedData(f.target.string(), progress),
              RWSaveSet::kCorrelationDone)
        << saveSets.LastError();
    EXPECT_TRUE(ws.ConversionDone);
    EXPECT_TRUE(ws.CorrelatedFandeckReady);
    EXPECT_EQ(ws.FandeckRecordCount, 25);
    EXPECT_EQ(ws.FandeckAngleCount, 2);
    EXPECT_EQ(ws.FandeckNames[24], "Sample 25");
    EXPECT_EQ(progress.maximum, 25);
    EXPECT_EQ(progress.last, 25);
    EXPECT_TRUE(saveSets.CorrelationWarning().empty());

    const ProfileCorrector& corrector = saveSets.Corrector();
    for (std::size_t r = 0; r < 25; ++r) {
        double sci[kPointCount], sce[kPointCount];
        corrector.Correct(Geometry::SCI, ws.TargetFandeckReflectance.Curve(r, 0), sci);
        corrector.Correct(Geometry::SCE, ws.TargetFandeckReflectance.Curve(r, 1), sce);
        ASSERT_EQ(std::memcmp(sci, ws.CorrelatedFandeckReflectance.Curve(r, 0), sizeof sci), 0);
        ASSERT_EQ(std::memcmp(sce, ws.CorrelatedFandeckReflectance.Curve(r, 1), sizeof sce), 0);
    }
    // The two blocks differ (offset -0.8 against +0.6), so a swap would show.
    EXPECT_LT(ws.CorrelatedFandeckReflectance(20, 0, 3), ws.TargetFandeckReflectance(20, 0, 3));
    EXPECT_GT(ws.CorrelatedFandeckReflectance(20, 1, 3), ws.TargetFandeckReflectance(20, 1, 3));
}

TEST(FandeckConversion, MissingGeometryIsCopiedUnchangedWithAWarning) {
    const Files f = MakeFiles("ConvertSciOnly", true, false);
    GlobalVariables ws;
    ws.CoefficientFile = f.ccf.string();
    RWSaveSet saveSets(ws);
    ASSERT_EQ(saveSets.ReadFandeckandBuildCorrelatedData(f.target.string()), 0);
    EXPECT_NE(saveSets.CorrelationWarning().find("SCE"), std::string::npos)
        << saveSets.CorrelationWarning();
    EXPECT_EQ(saveSets.CorrelationWarning().find("SCI"), std::string::npos);
    for (std::size_t r = 0; r < 25; ++r) {
        EXPECT_EQ(
            std::memcmp(ws.TargetFandeckReflectance.Curve(r, 1),
                        ws.CorrelatedFandeckReflectance.Curve(r, 1), sizeof(double) * kPointCount),
            0);
        EXPECT_NE(ws.TargetFandeckReflectance(10, 0, r), ws.CorrelatedFandeckReflectance(10, 0, r));
    }
}

TEST(FandeckConversion, OneAngleFandeckFollowsItsStatus) {
    // An SCE-only fandeck: position 0 takes the SCE block; the position it lacks stays zero.
    const Files f = MakeFiles("ConvertOneAngle", true, true, 8, 1, "RNEIXX");
    GlobalVariables ws;
    ws.CoefficientFile = f.ccf.string();
    RWSaveSet saveSets(ws);
    ASSERT_EQ(saveSets.ReadFandeckandBuildCorrelatedData(f.target.string()), 0);
    EXPECT_EQ(ws.FandeckAngleCount, 1);
    double sce[kPointCount];
    saveSets.Corrector().Correct(Geometry::SCE, ws.TargetFandeckReflectance.Curve(3, 0), sce);
    EXPECT_EQ(std::memcmp(sce, ws.CorrelatedFandeckReflectance.Curve(3, 0), sizeof sce), 0);
    for (int w = 0; w < kPointCount; ++w)
        EXPECT_EQ(ws.CorrelatedFandeckReflectance(w, 1, 3), 0.0);
}

TEST(FandeckConversion, RefusalsReturnTheirCodes) {
    {
        // Master fandeck loaded with another record count.
        const Files f = MakeFiles("ConvertCount", true, true);
        StoreSaveSet(MakeFandeck(24, 2, kMasterId, "RNBIXX", 0.0), f.master);
        GlobalVariables ws;
        ws.CoefficientFile = f.ccf.string();
        ws.MasterSaveSetFile = f.master.string();
        RWSaveSet saveSets(ws);
        ASSERT_TRUE(saveSets.ReadMasterFandeck());
        ws.MasterSaveSetLoaded = true;
        EXPECT_EQ(saveSets.ReadFandeckandBuildCorrelatedData(f.target.string()),
                  RWSaveSet::kCorrelationRecordMismatch);
        EXPECT_FALSE(ws.CorrelatedFandeckReady);
    }
    {
        // The fandeck was read on an instrument the file does not profile.
        const Files f = MakeFiles("ConvertInstrument", true, true, 5, 2, "RNBIXX", 99);
        GlobalVariables ws;
        ws.CoefficientFile = f.ccf.string();
        RWSaveSet saveSets(ws);
        EXPECT_EQ(saveSets.ReadFandeckandBuildCorrelatedData(f.target.string()),
                  RWSaveSet::kCorrelationInstrumentMismatch);
        EXPECT_EQ(ws.TargetInstrumentID, 99);  // what the message shows
        EXPECT_FALSE(ws.ConversionDone);
    }
    {
        // Unreadable coefficient file, then unreadable fandeck: code 3 with the reason.
        const Files f = MakeFiles("ConvertUnreadable", true, true, 5);
        std::ofstream(f.dir / "broken.ccf", std::ios::binary) << " 47 \r\nRNIIXX\r\n";
        GlobalVariables ws;
        ws.CoefficientFile = (f.dir / "broken.ccf").string();
        RWSaveSet saveSets(ws);
        EXPECT_EQ(saveSets.ReadFandeckandBuildCorrelatedData(f.target.string()),
                  RWSaveSet::kCorrelationUnreadable);
        EXPECT_NE(saveSets.LastError().find("line 3"), std::string::npos) << saveSets.LastError();
        ws.CoefficientFile = f.ccf.string();
        EXPECT_EQ(saveSets.ReadFandeckandBuildCorrelatedData((f.dir / "none.wsv").string()),
                  RWSaveSet::kCorrelationUnreadable);
        EXPECT_FALSE(saveSets.LastError().empty());
    }
}

// ---- deltas
// ---------------------------------------------------------------------------------------

// Reads both fandecks the way the compare command does and converts the Target.
void LoadPair(GlobalVariables& ws, RWSaveSet& saveSets, const Files& f) {
    ws.CoefficientFile = f.ccf.string();
    ws.MasterSaveSetFile = f.master.string();
    ASSERT_TRUE(saveSets.ReadMasterFandeck());
    ws.MasterSaveSetLoaded = true;
    ASSERT_EQ(saveSets.ReadFandeckandBuildCorrelatedData(f.target.string()), 0);
}

TEST(FandeckConversion, DeltasAreThoseOfReCalcDEAndTheLastRowAverages) {
    const Files f = MakeFiles("DeltasBoth", true, true, 30);
    GlobalVariables ws;
    RWSaveSet saveSets(ws);
    LoadPair(ws, saveSets, f);
    Utility utility(ws);
    utility.ProcessCorrelatedDeltas();
    ASSERT_EQ(ws.SampleCount, 30);
    ASSERT_EQ(ws.SampleDeltas.Rows(), 31u);
    EXPECT_EQ(ws.SampleNames[29], "Sample 30");

    // Every value is what ReCalcDE reports for the same pair of curves.
    Utility reference(ws);
    const FandeckCurves* trials[2] = {&ws.TargetFandeckReflectance,
                                      &ws.CorrelatedFandeckReflectance};
    for (std::size_t s = 0; s < 30; ++s) {
        for (std::size_t g = 0; g < 2; ++g) {
            for (std::size_t which = 0; which < 2; ++which) {
                std::memcpy(ws.MasterWorkSpectrum.data(), ws.MasterFandeckReflectance.Curve(s, g),
                            sizeof(double) * kPointCount);
                std::memcpy(ws.SampleWorkSpectrum.data(), trials[which]->Curve(s, g),
                            sizeof(double) * kPointCount);
                reference.ReCalcDE();
                const std::size_t c = g * kDeltasPerGeometry + which * 4;
                EXPECT_EQ(ws.SampleDeltas(s, c + 0), ws.DEResult[0]);
                EXPECT_EQ(ws.SampleDeltas(s, c + 1), ws.DEResult[1]);
                EXPECT_EQ(ws.SampleDeltas(s, c + 2), ws.DEResult[2]);
                EXPECT_EQ(ws.SampleDeltas(s, c + 3), ws.DEResult[6]);
            }
        }
    }
    // The average row: signed means (the Target reads lighter, so DL is positive before
    // correction), and the mean DE.
    for (std::size_t c = 0; c < kSampleDeltaColumns; ++c) {
        double sum = 0.0;
        for (std::size_t s = 0; s < 30; ++s)
            sum += ws.SampleDeltas(s, c);
        EXPECT_NEAR(ws.SampleDeltas(30, c), sum / 30.0, 1e-12) << c;
    }
    EXPECT_GT(ws.SampleDeltas(30, 0), 0.0);
    EXPECT_GT(ws.SampleDeltas(30, 3), 0.0);
}

TEST(FandeckConversion, OneAngleMasterProcessesOnlyItsGeometry) {
    for (const std::string status : {"RNIIXX", "RNEIXX"}) {
        const Files f = MakeFiles("DeltasOneAngle" + status, true, true, 6, 1, status);
        GlobalVariables ws;
        RWSaveSet saveSets(ws);
        LoadPair(ws, saveSets, f);
        Utility utility(ws);
        utility.ProcessCorrelatedDeltas();
        const std::size_t done = status[2] == 'I' ? 0 : kDeltasPerGeometry;
        const std::size_t skipped = status[2] == 'I' ? kDeltasPerGeometry : 0;
        for (std::size_t s = 0; s <= 6; ++s) {
            EXPECT_GT(ws.SampleDeltas(s, done + 3), 0.0) << status << " sample " << s;
            for (int c = 0; c < kDeltasPerGeometry; ++c) {
                EXPECT_EQ(ws.SampleDeltas(s, skipped + c), 0.0) << status;
            }
        }
    }
}

TEST(FandeckConversion, WithoutConversionBothGroupsAreTheUncorrectedOne) {
    const Files f = MakeFiles("DeltasNoConversion", true, true, 10);
    GlobalVariables ws;
    ws.MasterSaveSetFile = f.master.string();
    ws.TargetSaveSetFile = f.target.string();
    RWSaveSet saveSets(ws);
    ASSERT_TRUE(saveSets.ReadMasterFandeck());
    ASSERT_TRUE(saveSets.ReadTargetFandeck());
    Utility utility(ws);
    utility.ProcessCorrelatedDeltas();
    for (std::size_t s = 0; s <= 10; ++s) {
        for (int g = 0; g < 2; ++g) {
            for (int c = 0; c < 4; ++c) {
                const std::size_t base = g * kDeltasPerGeometry;
                EXPECT_EQ(ws.SampleDeltas(s, base + c), ws.SampleDeltas(s, base + 4 + c));
            }
        }
    }
    EXPECT_GT(ws.SampleDeltas(10, 3), 0.0);
}

TEST(FandeckConversion, IdenticalFandecksGiveZeroDeltasAndAllocationSizesArrays) {
    GlobalVariables ws;
    ws.SampleCount = 4;
    Utility utility(ws);
    utility.AllocateFandeckArrays();
    EXPECT_EQ(ws.MasterFandeckReflectance.Records(), 4u);
    EXPECT_EQ(ws.CorrelatedFandeckReflectance.Angles(), 2u);
    EXPECT_EQ(ws.SampleNames.size(), 4u);
    EXPECT_EQ(ws.SampleDeltas.Rows(), 5u);
    EXPECT_EQ(ws.SampleDeltas.Cols(), static_cast<std::size_t>(kSampleDeltaColumns));

    for (std::size_t s = 0; s < 4; ++s) {
        for (std::size_t a = 0; a < 2; ++a) {
            for (int w = 0; w < kPointCount; ++w) {
                ws.MasterFandeckReflectance(w, a, s) = ws.TargetFandeckReflectance(w, a, s) =
                    SampleValue(static_cast<int>(s), w, a);
            }
        }
    }
    ws.FandeckRecordCount = 4;
    ws.FandeckNames = {"a", "b", "c", "d"};
    utility.ProcessCorrelatedDeltas();
    for (std::size_t s = 0; s <= 4; ++s) {
        for (int c = 0; c < kSampleDeltaColumns; ++c)
            EXPECT_EQ(ws.SampleDeltas(s, c), 0.0);
    }
    EXPECT_EQ(ws.SampleNames[3], "d");

    // An empty comparison leaves a single zero average row and no division by zero.
    ws.FandeckRecordCount = 0;
    utility.ProcessCorrelatedDeltas();
    EXPECT_EQ(ws.SampleCount, 0);
    ASSERT_EQ(ws.SampleDeltas.Rows(), 1u);
    EXPECT_EQ(ws.SampleDeltas(0, 3), 0.0);
}

}  // namespace
}  // namespace tintara
