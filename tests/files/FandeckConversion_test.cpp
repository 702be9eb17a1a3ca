// Converting a Target fandeck with a coefficient file, and the per-sample deltas of a comparison.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <fstream>
#include <limits>

#include "app/FandeckCompare.h"
#include "engine/Utility.h"
#include "files/CCFReadWrite.h"
#include "files/RWSaveSet.h"
#include "files/SaveSetLibrary.h"
#include "support/ExpectThrow.h"
#include "support/TestPaths.h"
#include "workspace/Error.h"

namespace tintara {
namespace {

constexpr int16_t kMasterId = 47;
constexpr int16_t kTargetId = 12;

// A fandeck of smooth sample curves in percent; `shift` makes the Target read lighter, and SCE
// (angle position 1) reads lower than SCI.
SaveSetData MakeFandeck(int records, int angles, int16_t instrument, const std::string& status,
                        double shift) {
    SaveSetData data;
    data.NumAngles = static_cast<int16_t>(angles);
    data.Status = status;
    data.Instrument = instrument;
    for (int r = 0; r < records; ++r) {
        SaveSetRecord rec;
        rec.Name = "Sample " + std::to_string(r + 1);
        rec.Instrument = instrument;
        for (int a = 0; a < angles; ++a) {
            for (int w = 0; w < kPointCount; ++w) {
                const double nm = 360.0 + 10.0 * w, centre = 400.0 + 7.0 * (r % 45);
                rec.Curves[a][w] =
                    5.0 + 0.8 * (r % 11) + shift - 1.5 * a +
                    60.0 * std::exp(-(nm - centre) * (nm - centre) / (2500.0 + 40.0 * r));
            }
        }
        data.Records.push_back(rec);
    }
    return data;
}

// A coefficient file with the geometries asked for (offset -0.8 for SCI, +0.6 for SCE, so a swap
// shows; zero slopes leave linearity alone), a Master and a Target fandeck.
struct Files {
    std::filesystem::path dir, ccf, master, target;
};
Files MakeFiles(const std::string& name, bool withSci, bool withSce, int records = 25,
                int angles = 2, const std::string& status = "RNBIXX") {
    const auto dir = test::ScratchDir(name);
    const Files f{dir, dir / "pair.ccf", dir / "master.wsv", dir / "target.wsv"};
    for (const bool sci : {true, false}) {
        if (!(sci ? withSci : withSce))
            continue;
        GlobalVariables ws;
        ws.DimensionTileArrays(16);
        ws.SetReferenceTiles(16);
        ws.MasterInstrumentID = kMasterId;
        ws.TargetInstrumentID = kTargetId;
        ws.MasterStatus = sci ? "RNIIXX" : "RNEIXX";
        for (int p = 0; p < kPointCount; ++p) {
            ws.OffsetCoefficients[p] = sci ? -0.8 : 0.6;
            ws.GainCoefficients[p] = sci ? 1.02 : 0.97;
            ws.TargetReflectance(ws.GainTile, p) = 86.0;
            ws.WavelengthCoefficients[p] = {0.02 * sci, 1.0 - 0.04 * sci, 0.02 * sci};
        }
        CCFReadWrite(ws).WriteCoeficcients(f.ccf);
    }
    StoreSaveSet(MakeFandeck(records, angles, kMasterId, status, 0.0), f.master);
    StoreSaveSet(MakeFandeck(records, angles, kTargetId, status, 0.7), f.target);
    return f;
}

bool SameCurve(const double* a, const double* b) {
    return std::memcmp(a, b, sizeof(double) * kPointCount) == 0;
}

// The conversion in hand, as it will be saved.
SaveSetData Converted(const GlobalVariables& ws) {
    return LoadSaveSet(ws.ConvertedCurvesFile);
}

TEST(FandeckConversion, EachAnglePositionIsCorrectedWithItsOwnBlock) {
    const Files f = MakeFiles("ConvertBoth", true, true);
    GlobalVariables ws;
    ws.CoefficientFile = f.ccf.string();
    RWSaveSet saveSets(ws);
    ASSERT_EQ(saveSets.ReadFandeckandBuildCorrelatedData(f.target.string()),
              RWSaveSet::kCorrelationDone)
        << saveSets.LastError();
    EXPECT_TRUE(ws.ConversionDone && ws.CorrelatedFandeckReady);
    EXPECT_EQ(ws.FandeckRecordCount, 25);
    EXPECT_EQ(ws.ConvertedRecordCount, 25);
    EXPECT_TRUE(saveSets.CorrelationWarning().empty());
    const SaveSetData target = LoadSaveSet(f.target);
    SaveSetData converted = Converted(ws);
    ASSERT_EQ(converted.Records.size(), 25u);
    EXPECT_EQ(converted.Records[24].Name, "Sample 25");
    // The Target's own header and names, marked as profiled to the file's Master.
    EXPECT_EQ(converted.Company, "Pellucidane Profiled Data");
    EXPECT_EQ(converted.Status, "RPBIXX");
    EXPECT_EQ(converted.Instrument, kTargetId);
    EXPECT_EQ(converted.Records[7].Notes,
              "This Data has been profiled to a " + saveSets.Sensors().FindInstrument(kMasterId));
    for (std::size_t r = 0; r < 25; ++r) {
        double sci[kPointCount], sce[kPointCount];
        saveSets.Corrector().Correct(Geometry::SCI, target.Records[r].Curves[0].data(), sci);
        saveSets.Corrector().Correct(Geometry::SCE, target.Records[r].Curves[1].data(), sce);
        ASSERT_TRUE(SameCurve(sci, converted.Records[r].Curves[0].data()));
        ASSERT_TRUE(SameCurve(sce, converted.Records[r].Curves[1].data()));
    }

    // The file lacks SCE: that position is copied unchanged, with a warning naming it.
    const Files sciOnly = MakeFiles("ConvertSciOnly", true, false);
    ws.CoefficientFile = sciOnly.ccf.string();
    ASSERT_EQ(saveSets.ReadFandeckandBuildCorrelatedData(sciOnly.target.string()), 0);
    EXPECT_NE(saveSets.CorrelationWarning().find("SCE"), std::string::npos)
        << saveSets.CorrelationWarning();
    EXPECT_EQ(saveSets.CorrelationWarning().find("SCI"), std::string::npos);
    const SaveSetData sciTarget = LoadSaveSet(sciOnly.target);
    converted = Converted(ws);
    for (std::size_t r = 0; r < 25; ++r) {
        EXPECT_EQ(sciTarget.Records[r].Curves[1], converted.Records[r].Curves[1]);
        EXPECT_NE(sciTarget.Records[r].Curves[0][10], converted.Records[r].Curves[0][10]);
    }
}

TEST(FandeckConversion, RefusalsReturnTheirCodes) {
    const Files f = MakeFiles("Refusals", true, true, 5);
    GlobalVariables ws;
    RWSaveSet saveSets(ws);
    auto convert = [&](const std::filesystem::path& ccf, const std::filesystem::path& deck) {
        ws.CoefficientFile = ccf.string();
        return saveSets.ReadFandeckandBuildCorrelatedData(deck.string());
    };
    // A fandeck read on an instrument the file does not profile.
    StoreSaveSet(MakeFandeck(5, 2, 99, "RNBIXX", 0.7), f.dir / "other.wsv");
    EXPECT_EQ(convert(f.ccf, f.dir / "other.wsv"), RWSaveSet::kCorrelationInstrumentMismatch);
    EXPECT_EQ(ws.TargetFandeck.InstrumentID, 99);  // what the message shows
    EXPECT_EQ(ws.TargetInstrumentID, 0);           // the tile sets' field is left alone
    EXPECT_FALSE(ws.ConversionDone);
    // An unreadable coefficient file or fandeck, with the reason.
    std::ofstream(f.dir / "broken.ccf", std::ios::binary) << " 47 \r\nRNIIXX\r\n";
    EXPECT_EQ(convert(f.dir / "broken.ccf", f.target), RWSaveSet::kCorrelationUnreadable);
    EXPECT_NE(saveSets.LastError().find("line 3"), std::string::npos) << saveSets.LastError();
    EXPECT_EQ(convert(f.ccf, f.dir / "none.wsv"), RWSaveSet::kCorrelationUnreadable);
    EXPECT_NE(saveSets.LastError().find("none.wsv"), std::string::npos) << saveSets.LastError();
    // A Master fandeck loaded with another record count.
    StoreSaveSet(MakeFandeck(4, 2, kMasterId, "RNBIXX", 0.0), f.master);
    ws.MasterSaveSetFile = f.master.string();
    ASSERT_TRUE(saveSets.ReadMasterFandeck());
    ws.MasterSaveSetLoaded = true;
    EXPECT_EQ(convert(f.ccf, f.target), RWSaveSet::kCorrelationRecordMismatch);
    EXPECT_FALSE(ws.CorrelatedFandeckReady);
}

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
    CompareFandecks(ws, utility);
    ASSERT_EQ(ws.SampleCount, 30);
    ASSERT_EQ(ws.SampleDeltas.Rows(), 31u);
    EXPECT_EQ(ws.SampleNames[29], "Sample 30");

    // Every value is what ReCalcDE reports for the same pair of curves: per geometry DL, Da, Db,
    // DE of the uncorrected Target, then of the corrected one.
    const SaveSetData master = LoadSaveSet(f.master);
    const SaveSetData trials[2] = {LoadSaveSet(f.target), Converted(ws)};
    for (std::size_t s = 0; s < 30; ++s) {
        for (std::size_t g = 0; g < 2; ++g) {
            for (std::size_t which = 0; which < 2; ++which) {
                ws.MasterWorkSpectrum = master.Records[s].Curves[g];
                ws.SampleWorkSpectrum = trials[which].Records[s].Curves[g];
                utility.ReCalcDE();
                const std::size_t c = g * kDeltasPerGeometry + which * 4;
                EXPECT_EQ(
                    (std::array{ws.SampleDeltas(s, c), ws.SampleDeltas(s, c + 1),
                                ws.SampleDeltas(s, c + 2), ws.SampleDeltas(s, c + 3)}),
                    (std::array{ws.DEResult[0], ws.DEResult[1], ws.DEResult[2], ws.DEResult[6]}));
            }
        }
    }
    // The average row at SampleCount: signed means (the Target reads lighter, so DL is positive
    // before correction).
    for (std::size_t c = 0; c < kSampleDeltaColumns; ++c) {
        double sum = 0.0;
        for (std::size_t s = 0; s < 30; ++s)
            sum += ws.SampleDeltas(s, c);
        EXPECT_NEAR(ws.SampleDeltas(30, c), sum / 30.0, 1e-12) << c;
    }
    EXPECT_GT(ws.SampleDeltas(30, 0), 0.0);
}

TEST(FandeckConversion, OneAngleFandeckUsesAndComparesOnlyTheGeometryItsStatusNames) {
    // Third character "I" is SCI; anything else, a short status too, is SCE.
    for (const std::string status : {"RNIIXX", "RNEIXX", "RNBIXX", "RN"}) {
        SCOPED_TRACE(status);
        const Files f = MakeFiles("OneAngle" + status, true, true, 6, 1, status);
        GlobalVariables ws;
        RWSaveSet saveSets(ws);
        LoadPair(ws, saveSets, f);
        EXPECT_EQ(ws.FandeckAngleCount, 1);
        const bool sci = status.size() >= 3 && status[2] == 'I';
        double expected[kPointCount];
        saveSets.Corrector().Correct(sci ? Geometry::SCI : Geometry::SCE,
                                     LoadSaveSet(f.target).Records[3].Curves[0].data(), expected);
        const SaveSetData converted = Converted(ws);
        EXPECT_TRUE(SameCurve(expected, converted.Records[3].Curves[0].data()));
        EXPECT_EQ(converted.Records[3].Curves[1][20], 0.0);  // the position it lacks

        Utility utility(ws);
        CompareFandecks(ws, utility);
        const std::size_t done = sci ? 0 : kDeltasPerGeometry;
        const std::size_t skipped = sci ? kDeltasPerGeometry : 0;
        for (std::size_t s = 0; s <= 6; ++s) {
            EXPECT_GT(ws.SampleDeltas(s, done + 3), 0.0) << s;
            for (int c = 0; c < kDeltasPerGeometry; ++c)
                EXPECT_EQ(ws.SampleDeltas(s, skipped + c), 0.0) << s;
        }
    }
}

TEST(FandeckConversion, AReadingNoInstrumentGivesIsRefusedNamingTheSample) {
    const Files f = MakeFiles("Absurd", true, true, 6);
    GlobalVariables ws;
    RWSaveSet saveSets(ws);
    LoadPair(ws, saveSets, f);
    // Finite, yet enough to turn the colour difference into NaN: no verdict may rest on it, and
    // no half of the comparison is left behind.
    for (const double absurd : {1e250, -5000.0}) {
        SCOPED_TRACE(absurd);
        SaveSetData master = MakeFandeck(6, 2, kMasterId, "RNBIXX", 0.0);
        master.Records[4].Curves[1][12] = absurd;
        StoreSaveSet(master, f.dir / "absurd-master.wsv");
        ws.MasterSaveSetFile = (f.dir / "absurd-master.wsv").string();
        ASSERT_TRUE(saveSets.ReadMasterFandeck());
        Utility utility(ws);
        EXPECT_THROW_WHAT(CompareFandecks(ws, utility), ComputeError, "sample 5 (\"Sample 5\")");
        EXPECT_EQ(ws.SampleCount, 0);
        EXPECT_TRUE(ws.SampleNames.empty());
    }
    // The conversion refuses it too, naming file and record.
    SaveSetData deck = MakeFandeck(6, 2, kTargetId, "RNBIXX", 0.7);
    deck.Records[2].Curves[0][30] = 1e250;
    StoreSaveSet(deck, f.dir / "absurd.wsv");
    EXPECT_EQ(saveSets.ReadFandeckandBuildCorrelatedData((f.dir / "absurd.wsv").string()),
              RWSaveSet::kCorrelationUnreadable);
    EXPECT_NE(saveSets.LastError().find("record 3 \"Sample 3\""), std::string::npos)
        << saveSets.LastError();
    EXPECT_NE(saveSets.LastError().find("absurd.wsv"), std::string::npos);
}

}  // namespace
}  // namespace tintara
