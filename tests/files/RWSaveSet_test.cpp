#include "files/RWSaveSet.h"

#include <gtest/gtest.h>

#include <fstream>

#include "support/TestPaths.h"
#include "workspace/Error.h"

namespace tintara {
namespace {

namespace fs = std::filesystem;

// Curve of record r at angle a of a set tagged `seed`: distinct for every (seed, r, a, point).
double Value(int seed, int r, int a, int p) {
    return seed * 10.0 + r + a * 0.5 + p * 0.01;
}

SaveSetData TileSet(int records, const std::string& status, int16_t instrument, int16_t angles,
                    int seed) {
    SaveSetData d;
    d.NumAngles = angles;
    d.Company = "Company " + std::to_string(seed);
    d.Status = status;
    d.Instrument = instrument;
    for (int r = 0; r < records; ++r) {
        const std::string n = std::to_string(r), s = "S" + std::to_string(seed) + "-";
        SaveSetRecord rec{s + n, "tiles " + n, "serial " + n, "operator " + n, "", instrument};
        for (int a = 0; a < angles; ++a) {
            for (int p = 0; p < kPointCount; ++p)
                rec.Curves[a][p] = Value(seed, r, a, p);
        }
        d.Records.push_back(rec);
    }
    return d;
}

class RWSaveSetTest : public ::testing::Test {
  protected:
    void SetUp() override {
        const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
        dir = test::ScratchDir(std::string("RWSaveSet_") + info->name());
        rw.SetOutputFolder(dir);
    }
    std::string Store(const SaveSetData& d, const std::string& name) {
        StoreSaveSet(d, dir / name);
        return (dir / name).string();
    }
    // Reads a tile set and returns Failed.
    bool Read(const std::string& file, bool master) {
        bool failed = true;
        rw.ReadWSVRecord(file, master, failed);
        return failed;
    }
    std::array<int, 5> ReferenceTiles() const {
        return {ws.GainTile, ws.OffsetTile, ws.LinearityTileA, ws.LinearityTileB,
                ws.LinearityTileC};
    }
    void ExpectCurves(const Matrix& m, int tiles, int seed, int angle) {
        for (int t = 0; t < tiles; ++t) {
            for (int p = 0; p < kPointCount; ++p)
                ASSERT_EQ(m(t, p), Value(seed, t, angle, p)) << "tile " << t << " point " << p;
        }
    }

    fs::path dir;
    GlobalVariables ws;
    RWSaveSet rw{ws};
};

TEST_F(RWSaveSetTest, ReadsA32TileMasterAndTargetPair) {
    ASSERT_FALSE(Read(Store(TileSet(32, "XXIIXX", 203, 1, 1), "m.wsv"), true)) << rw.LastError();
    EXPECT_EQ(ws.TileCount, 32);
    EXPECT_EQ(ws.LastResult, kTrue);
    EXPECT_EQ(ws.TargetAfterWavelength.Rows(), 33u);
    EXPECT_EQ(ReferenceTiles(), (std::array{0, 1, 2, 4, 8}));
    ExpectCurves(ws.MasterReflectance, 32, 1, 0);
    EXPECT_EQ(ws.TileNames[31], "S1-31");
    EXPECT_EQ(ws.MasterInstrumentID, 203);
    EXPECT_EQ(ws.MasterType, "Minolta CM-2500c");
    EXPECT_EQ(ws.MasterStatus, "XXIIXX");
    // The last record's texts, and the save set's company.
    EXPECT_EQ(
        (std::array{ws.RecordCompany, ws.RecordTileSetSerial, ws.RecordSerial, ws.RecordOperator}),
        (std::array<std::string, 4>{"Company 1", "tiles 31", "serial 31", "operator 31"}));

    ASSERT_FALSE(Read(Store(TileSet(32, "XXEIXX", 197, 1, 2), "t.wsv"), false)) << rw.LastError();
    ExpectCurves(ws.TargetReflectance, 32, 2, 0);
    ExpectCurves(ws.TargetSpareReflectance, 32, 2, 0);
    ExpectCurves(ws.MasterReflectance, 32, 1, 0);  // the Master stays
    EXPECT_EQ(ws.TargetType, "Minolta CM-2600");
    EXPECT_EQ(ws.TargetStatus, "XXEIXX");
    EXPECT_EQ(ws.TileNames[5], "S2-5");  // names follow the set read last
}

TEST_F(RWSaveSetTest, RefusesSetsThatAreNoTileSetOrDoNotMatchTheMaster) {
    const auto missing = (dir / "missing.wsv").string();
    EXPECT_TRUE(Read(missing, true));
    EXPECT_EQ(ws.LastResult, kFalse);
    EXPECT_NE(rw.LastError().find(missing), std::string::npos);
    EXPECT_FALSE(rw.Library().IsOpen());
    // With no Master in hand, no Target can match.
    EXPECT_TRUE(Read(Store(TileSet(16, "XXIIXX", 203, 1, 4), "t16b.wsv"), false));

    ASSERT_FALSE(Read(Store(TileSet(32, "XXIIXX", 203, 1, 1), "m32.wsv"), true));
    // A Target that does not match the loaded Master: nothing of it is read.
    EXPECT_TRUE(Read(Store(TileSet(16, "XXIIXX", 203, 1, 2), "t16.wsv"), false));
    EXPECT_EQ(ws.TileCount, 32);
    EXPECT_NE(rw.LastError().find("16 records"), std::string::npos) << rw.LastError();
    EXPECT_EQ(ws.TargetReflectance(0, 0), 0.0);
    EXPECT_EQ(ws.TargetStatus, "XXXXXX");

    // A Master of 30 records is no tile set.
    const auto thirty = Store(TileSet(30, "XXIIXX", 203, 1, 3), "m30.wsv");
    EXPECT_TRUE(Read(thirty, true));
    EXPECT_EQ(ws.TileCount, 0);
    EXPECT_NE(rw.LastError().find(thirty), std::string::npos);
    ExpectCurves(ws.MasterReflectance, 32, 1, 0);  // the earlier Master's curves are not touched
}

TEST_F(RWSaveSetTest, ReferenceTilesFollowTheTileSetSize) {
    ASSERT_FALSE(Read(Store(TileSet(48, "XXIIXX", 203, 1, 1), "m48.wsv"), true));
    EXPECT_EQ(ws.TileCount, 48);
    EXPECT_EQ(ReferenceTiles(), (std::array{4, 7, 6, 5, 0}));
    ExpectCurves(ws.MasterReflectance, 48, 1, 0);
}

TEST_F(RWSaveSetTest, BothGeometrySetsFollowTheGeometryChoice) {
    // The XTS is read as holding both geometries whatever its status says.
    const auto xts = Store(TileSet(16, "XXIIXX", 173, 2, 1), "xts.wsv");
    ws.GeometryChoice = true;
    ASSERT_FALSE(Read(xts, true));
    EXPECT_EQ(ws.MasterStatus, "XXIIXX");
    EXPECT_EQ(ws.MasterType, "Macbeth XTS");
    ExpectCurves(ws.MasterReflectance, 16, 1, 0);

    ws.GeometryChoice = false;
    ASSERT_FALSE(Read(xts, true));
    EXPECT_EQ(ws.MasterStatus, "XXEIXX");
    ExpectCurves(ws.MasterReflectance, 16, 1, 1);

    // Any instrument whose status says "B" in third place.
    ASSERT_FALSE(Read(Store(TileSet(16, "ABBU", 203, 2, 2), "both.wsv"), false));
    EXPECT_EQ(ws.TargetStatus, "ABEU");
    ExpectCurves(ws.TargetReflectance, 16, 2, 1);

    // "B" with SCE chosen on a one-angle set would profile against zeros: refused.
    EXPECT_TRUE(Read(Store(TileSet(16, "XXBIXX", 203, 1, 4), "one.wsv"), false));
    EXPECT_NE(rw.LastError().find("one angle position"), std::string::npos) << rw.LastError();
}

TEST_F(RWSaveSetTest, RemoveNullCutsAtTheFirstNul) {
    std::string text("Red\0junk\0more", 13);
    RWSaveSet::RemoveNull(text);
    EXPECT_EQ(text, "Red");
    // Texts handed back by the library are cleaned on the way in.
    SaveSetData d = TileSet(16, std::string("XXI\0ZZ", 6), 203, 1, 1);
    d.Records[3].Name = std::string("Tan\0garbage", 11);
    d.Records[15].Name2 = std::string("AV\0x", 4);
    ASSERT_FALSE(Read(Store(d, "nul.wsv"), true));
    EXPECT_EQ(ws.TileNames[3], "Tan");
    EXPECT_EQ(ws.MasterStatus, "XXI");
    EXPECT_EQ(ws.RecordTileSetSerial, "AV");
}

TEST_F(RWSaveSetTest, ReadersCallTheLibraryInOrder) {
    std::vector<std::string> calls;
    rw.Library().SetCallLog(&calls);
    ASSERT_FALSE(Read(Store(TileSet(16, "XXIIXX", 203, 1, 1), "m.wsv"), true));
    const std::vector<std::string> head = {"SS_Open",         "SS_GetNumRecords",
                                           "SS_GetNumAngles", "SS_GetAngleTypes",
                                           "SS_GetStatus",    "SS_GetCompany"};
    const std::vector<std::string> perRecord = {
        "SS_RecallRecord",  "SS_GetName2",  "SS_GetSystem", "SS_GetNotes",
        "SS_GetInstrument", "SS_GetStatus", "SS_GetName",   "SS_GetReflectance"};
    auto expected = [&](int records, bool secondCurve) {
        std::vector<std::string> e = head;
        for (int r = 0; r < records; ++r) {
            e.insert(e.end(), perRecord.begin(), perRecord.end());
            if (secondCurve)
                e.push_back("SS_GetReflectance");
        }
        e.push_back("SS_Close");
        return e;
    };
    EXPECT_EQ(calls, expected(16, false));

    // A fandeck goes round the library: it keeps its identity and "B", not its curves.
    calls.clear();
    SaveSetData deck = TileSet(3, "XXBIXX", 173, 2, 3);
    deck.Records[0].Curves[1] = {};
    ws.MasterSaveSetFile = Store(deck, "f.wsv");
    ASSERT_TRUE(rw.ReadMasterFandeck());
    EXPECT_TRUE(calls.empty());
    // The fandeck keeps its identity apart from the tile sets' header fields.
    EXPECT_EQ(ws.MasterFandeck.Status, "XXBIXX");
    EXPECT_EQ(ws.MasterFandeck.AngleCount, 2);
    EXPECT_EQ(ws.MasterFandeck.RecordCount, 3);
    EXPECT_EQ(ws.MasterFandeck.File, ws.MasterSaveSetFile);
    EXPECT_EQ(ws.MasterFandeck.FileSize, fs::file_size(ws.MasterSaveSetFile));
    EXPECT_EQ(ws.MasterFandeck.FirstSecondPositionRecord, 1);  // record 0's is empty
    EXPECT_EQ(ws.MasterStatus, "XXIIXX");                      // the tile set read before
    EXPECT_EQ(ws.FandeckAngleCount, 2);
}

TEST_F(RWSaveSetTest, WritesSixRecordResultSetsForEveryTile) {
    ws.DimensionTileArrays(32);
    Matrix* arrays[] = {&ws.MasterReflectance, &ws.TargetReflectance,    &ws.TargetAfterOffset,
                        &ws.TargetAfterGain,   &ws.TargetAfterLinearity, &ws.TargetAfterWavelength};
    for (int k = 0; k < 6; ++k) {
        for (int t = 0; t <= 32; ++t) {
            for (int p = 0; p < kPointCount; ++p)
                (*arrays[k])(t, p) = Value(k, t, 0, p);
        }
    }
    for (int t = 0; t < 32; ++t)
        ws.TileNames[t] =
            t == 7 ? "A/B" : "Tile" + std::to_string(t);  // "/" cannot stand in a name
    rw.WriteSaveSetResults();

    EXPECT_EQ(std::distance(fs::directory_iterator(dir), {}), 32);
    const char* names[] = {"Master", "Target", "Offset", "Gain", "Linearity", "Wavelength"};
    for (int t = 0; t < 32; ++t) {
        const std::string file =
            t == 7 ? "A_BResults.wsv" : "Tile" + std::to_string(t) + "Results.wsv";
        SCOPED_TRACE(file);
        const SaveSetData d = LoadSaveSet(dir / file);
        EXPECT_EQ(d.NumAngles, 1);
        EXPECT_EQ(d.Company, "Pellucidane,Inc");
        EXPECT_EQ(d.Status, "CRE");
        ASSERT_EQ(d.Records.size(), 6u);
        for (int k = 0; k < 6; ++k) {
            EXPECT_EQ(d.Records[k].Name, names[k]);
            for (int p = 0; p < kPointCount; ++p)
                ASSERT_EQ(d.Records[k].Curves[0][p], Value(k, t, 0, p));
        }
    }
}

TEST_F(RWSaveSetTest, TheCorrelatedFandeckIsTheConversionCopiedAndAFailedSaveKeepsTheEarlierFile) {
    ws.CorrelatedSaveSetFile = "corrected.wsv";  // relative: lands in the output folder
    // Nothing converted: refused, nothing written.
    EXPECT_THROW(rw.WriteCorrelatedResults(), IoError);
    EXPECT_FALSE(fs::exists(dir / "corrected.wsv"));

    ws.ConvertedCurvesFile = Store(TileSet(5, "XPIIXX", 197, 2, 9), "converted.wsv");
    rw.WriteCorrelatedResults();
    const auto bytes = [](const fs::path& file) {
        std::ifstream in(file, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), {});
    };
    EXPECT_EQ(bytes(dir / "corrected.wsv"), bytes(ws.ConvertedCurvesFile));

    // The conversion gone from the temporary folder: the earlier file stays as it was.
    const std::string earlier = bytes(dir / "corrected.wsv");
    fs::remove(ws.ConvertedCurvesFile);
    EXPECT_THROW(rw.WriteCorrelatedResults(), IoError);
    EXPECT_NE(rw.LastError().find("corrected.wsv"), std::string::npos) << rw.LastError();
    EXPECT_EQ(bytes(dir / "corrected.wsv"), earlier);

    // A conversion given up to the save becomes the file, and is no longer in hand.
    ws.ConvertedCurvesFile = Store(TileSet(7, "XPIIXX", 197, 2, 4), "converted2.wsv");
    ws.ConversionDone = ws.CorrelatedFandeckReady = true;
    const std::string converted = bytes(ws.ConvertedCurvesFile);
    const fs::path scratch = ws.ConvertedCurvesFile;
    rw.SetConversionKeptAfterSave(false);
    rw.WriteCorrelatedResults();
    EXPECT_EQ(bytes(dir / "corrected.wsv"), converted);
    EXPECT_FALSE(fs::exists(scratch));
    EXPECT_TRUE(ws.ConvertedCurvesFile.empty());
    EXPECT_FALSE(ws.ConversionDone || ws.CorrelatedFandeckReady);
    EXPECT_THROW(rw.WriteCorrelatedResults(), IoError);
    EXPECT_EQ(bytes(dir / "corrected.wsv"), converted);
}

}  // namespace
}  // namespace tintara
