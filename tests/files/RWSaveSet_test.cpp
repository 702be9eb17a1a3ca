#include "files/RWSaveSet.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
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
        SaveSetRecord rec;
        rec.Name = "S" + std::to_string(seed) + "-" + std::to_string(r);
        rec.Name2 = "tiles " + std::to_string(r);
        rec.System = "serial " + std::to_string(r);
        rec.Notes = "operator " + std::to_string(r);
        rec.Instrument = instrument;
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
        const fs::path file = dir / name;
        StoreSaveSet(d, file);
        return file.string();
    }
    // Reads a tile set and returns Failed.
    bool Read(const std::string& file, bool master) {
        bool failed = true;
        rw.ReadWSVRecord(file, master, failed);
        return failed;
    }
    void ExpectCurves(const Matrix& m, int tiles, int seed, int angle) {
        for (int t = 0; t < tiles; ++t) {
            for (int p = 0; p < kPointCount; ++p) {
                ASSERT_EQ(m(t, p), Value(seed, t, angle, p)) << "tile " << t << " point " << p;
            }
        }
    }

    fs::path dir;
    GlobalVariables ws;
    RWSaveSet rw{ws};
};

TEST_F(RWSaveSetTest, ReadsA32TileMasterAndTargetPair) {
    const auto master = Store(TileSet(32, "XXIIXX", 203, 1, 1), "m.wsv");
    const auto target = Store(TileSet(32, "XXEIXX", 197, 1, 2), "t.wsv");

    ASSERT_FALSE(Read(master, true)) << rw.LastError();
    EXPECT_EQ(ws.TileCount, 32);
    EXPECT_EQ(ws.LastResult, kTrue);
    EXPECT_EQ(ws.MasterReflectance.Rows(), 33u);
    EXPECT_EQ(ws.TargetAfterWavelength.Rows(), 33u);
    EXPECT_EQ(ws.MasterFineSpectrum.Rows(), 33u);
    EXPECT_EQ(ws.TileNames.size(), 33u);
    EXPECT_EQ((std::array<int, 5>{ws.GainTile, ws.OffsetTile, ws.LinearityTileA, ws.LinearityTileB,
                                  ws.LinearityTileC}),
              (std::array<int, 5>{0, 1, 2, 4, 8}));
    ExpectCurves(ws.MasterReflectance, 32, 1, 0);
    for (int p = 0; p < kPointCount; ++p)
        EXPECT_EQ(ws.MasterReflectance(32, p), 0.0);
    EXPECT_EQ(ws.TileNames[0], "S1-0");
    EXPECT_EQ(ws.TileNames[31], "S1-31");
    EXPECT_EQ(ws.TileNames[32], "");
    EXPECT_EQ(ws.MasterInstrumentID, 203);
    EXPECT_EQ(ws.MasterType, "Minolta CM-2500c");
    EXPECT_EQ(ws.MasterStatus, "XXIIXX");
    // The last record's texts, and the save set's company.
    EXPECT_EQ(ws.RecordCompany, "Company 1");
    EXPECT_EQ(ws.RecordTileSetSerial, "tiles 31");
    EXPECT_EQ(ws.RecordSerial, "serial 31");
    EXPECT_EQ(ws.RecordOperator, "operator 31");

    ASSERT_FALSE(Read(target, false)) << rw.LastError();
    EXPECT_EQ(ws.TileCount, 32);
    ExpectCurves(ws.TargetReflectance, 32, 2, 0);
    ExpectCurves(ws.TargetSpareReflectance, 32, 2, 0);
    ExpectCurves(ws.MasterReflectance, 32, 1, 0);  // the Master stays
    EXPECT_EQ(ws.TargetType, "Minolta CM-2600");
    EXPECT_EQ(ws.TargetStatus, "XXEIXX");
    EXPECT_EQ(ws.TileNames[5], "S2-5");  // names follow the set read last
    EXPECT_EQ(ws.RecordCompany, "Company 2");
}

TEST_F(RWSaveSetTest, RefusesMasterOfAnUnknownSizeAndTargetOfAnotherSize) {
    ASSERT_FALSE(Read(Store(TileSet(32, "XXIIXX", 203, 1, 1), "m32.wsv"), true));

    // A Target that does not match the loaded Master: nothing of it is read.
    EXPECT_TRUE(Read(Store(TileSet(16, "XXIIXX", 203, 1, 2), "t16.wsv"), false));
    EXPECT_EQ(ws.TileCount, 32);
    EXPECT_EQ(ws.LastResult, kTrue);  // the close succeeded
    EXPECT_NE(rw.LastError().find("16 records"), std::string::npos) << rw.LastError();
    for (int p = 0; p < kPointCount; ++p)
        EXPECT_EQ(ws.TargetReflectance(0, p), 0.0);
    EXPECT_EQ(ws.TargetStatus, "XXXXXX");

    // A Master of 30 records is no tile set.
    const auto thirty = Store(TileSet(30, "XXIIXX", 203, 1, 3), "m30.wsv");
    EXPECT_TRUE(Read(thirty, true));
    EXPECT_EQ(ws.TileCount, 0);
    EXPECT_NE(rw.LastError().find(thirty), std::string::npos);
    ExpectCurves(ws.MasterReflectance, 32, 1, 0);  // the earlier Master's curves are not touched

    // With no Master in hand, no Target can match.
    EXPECT_TRUE(Read(Store(TileSet(16, "XXIIXX", 203, 1, 4), "t16b.wsv"), false));
}

TEST_F(RWSaveSetTest, ReferenceTilesFollowTheTileSetSize) {
    ASSERT_FALSE(Read(Store(TileSet(48, "XXIIXX", 203, 1, 1), "m48.wsv"), true));
    EXPECT_EQ(ws.TileCount, 48);
    EXPECT_EQ(ws.GainTile, 4);
    EXPECT_EQ(ws.OffsetTile, 7);
    EXPECT_EQ(ws.LinearityTileA, 6);
    EXPECT_EQ(ws.LinearityTileB, 5);
    EXPECT_EQ(ws.LinearityTileC, 0);
    ExpectCurves(ws.MasterReflectance, 48, 1, 0);

    ASSERT_FALSE(Read(Store(TileSet(28, "XXIIXX", 203, 1, 2), "m28.wsv"), true));
    EXPECT_EQ(ws.TileCount, 28);
    EXPECT_EQ(ws.MasterReflectance.Rows(), 29u);
    EXPECT_EQ(ws.GainTile, 1);
    EXPECT_EQ(ws.OffsetTile, 12);
    EXPECT_EQ(ws.LinearityTileC, 4);
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

    // A status too short to carry a geometry is padded before the XTS rule applies.
    ASSERT_FALSE(Read(Store(TileSet(16, "Q", 173, 2, 3), "short.wsv"), false));
    EXPECT_EQ(ws.TargetStatus, "QXE");
    ExpectCurves(ws.TargetReflectance, 16, 3, 1);

    // "B" with SCE chosen on a one-angle set would profile against zeros: refused.
    EXPECT_TRUE(Read(Store(TileSet(16, "XXBIXX", 203, 1, 4), "one.wsv"), false));
    EXPECT_NE(rw.LastError().find("one angle position"), std::string::npos) << rw.LastError();
}

TEST_F(RWSaveSetTest, UnreadableFilesFailWithTheirReason) {
    const auto missing = (dir / "missing.wsv").string();
    EXPECT_TRUE(Read(missing, true));
    EXPECT_EQ(ws.LastResult, kFalse);
    EXPECT_NE(rw.LastError().find(missing), std::string::npos);
    EXPECT_FALSE(rw.Library().IsOpen());

    const auto empty = Store(TileSet(0, "XXIIXX", 203, 1, 1), "empty.wsv");
    EXPECT_TRUE(Read(empty, true));
    EXPECT_NE(rw.LastError().find("no records"), std::string::npos);
    EXPECT_FALSE(rw.Library().IsOpen());

    ws.MasterSaveSetFile = missing;
    EXPECT_FALSE(rw.ReadMasterFandeck());
    EXPECT_EQ(ws.LastResult, kFalse);
    EXPECT_EQ(ws.FandeckRecordCount, 0);
}

TEST_F(RWSaveSetTest, RemoveNullCutsAtTheFirstNul) {
    std::string text("Red\0junk\0more", 13);
    RWSaveSet::RemoveNull(text);
    EXPECT_EQ(text, "Red");
    text = std::string("\0abc", 4);
    RWSaveSet::RemoveNull(text);
    EXPECT_EQ(text, "");
    text = "plain";
    RWSaveSet::RemoveNull(text);
    EXPECT_EQ(text, "plain");

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
    std::vector<std::string> expected = {"SS_Open",          "SS_GetNumRecords", "SS_GetNumAngles",
                                         "SS_GetAngleTypes", "SS_GetStatus",     "SS_GetCompany"};
    const std::vector<std::string> perRecord = {
        "SS_RecallRecord",  "SS_GetName2",  "SS_GetSystem", "SS_GetNotes",
        "SS_GetInstrument", "SS_GetStatus", "SS_GetName",   "SS_GetReflectance"};
    for (int r = 0; r < 16; ++r)
        expected.insert(expected.end(), perRecord.begin(), perRecord.end());
    expected.push_back("SS_Close");
    EXPECT_EQ(calls, expected);

    // A refused Target size: open, count, close, nothing else.
    calls.clear();
    EXPECT_TRUE(Read(Store(TileSet(28, "XXIIXX", 203, 1, 2), "t.wsv"), false));
    EXPECT_EQ(calls, (std::vector<std::string>{"SS_Open", "SS_GetNumRecords", "SS_Close"}));

    // A fandeck of two angle positions reads both curves of every record.
    calls.clear();
    ws.MasterSaveSetFile = Store(TileSet(3, "XXBIXX", 203, 2, 3), "f.wsv");
    ASSERT_TRUE(rw.ReadMasterFandeck());
    expected.assign({"SS_Open", "SS_GetNumRecords", "SS_GetNumAngles", "SS_GetAngleTypes",
                     "SS_GetStatus", "SS_GetCompany"});
    for (int r = 0; r < 3; ++r) {
        expected.insert(expected.end(), perRecord.begin(), perRecord.end());
        expected.push_back("SS_GetReflectance");
    }
    expected.push_back("SS_Close");
    EXPECT_EQ(calls, expected);
}

TEST_F(RWSaveSetTest, FileDatesAreLocalTextAndUtcWords) {
    // A fixed zone five hours behind UTC, without daylight saving.
    const char* oldZone = std::getenv("TZ");
    const std::string saved = oldZone ? oldZone : "";
    setenv("TZ", "XST5", 1);
    tzset();

    using namespace std::chrono;
    const auto stamp = [&](const std::string& name, sys_days day, milliseconds sinceMidnight) {
        const fs::path file = dir / name;
        std::ofstream(file) << "x";
        fs::last_write_time(file,
                            file_clock::from_sys(sys_time<milliseconds>(day) + sinceMidnight));
        return file.string();
    };
    const auto master = stamp("m.wsv", 2023y / March / 5, 14h + 7min + 9s + 250ms);
    const auto target = stamp("t.wsv", 2024y / February / 29, 5h + 0min + 0s);

    rw.GetLastModifiedDate(master, true);
    EXPECT_EQ(ws.MasterFileTime, (SystemTime{2023, 3, 0, 5, 14, 7, 9, 250}));
    EXPECT_EQ(ws.MasterDate, "3/5/2023 9:07:09 AM");
    EXPECT_EQ(ws.TargetDate, "3/5/2023 9:07:09 AM");  // stamped for either side

    rw.GetLastModifiedDate(target, false);
    EXPECT_EQ(ws.TargetFileTime, (SystemTime{2024, 2, 4, 29, 5, 0, 0, 0}));
    EXPECT_EQ(ws.TargetDate, "2/29/2024");  // local midnight: the date alone
    EXPECT_EQ(ws.MasterDate, "3/5/2023 9:07:09 AM");

    const auto evening = stamp("e.wsv", 2023y / December / 31, 23h + 59min + 59s);
    rw.GetLastModifiedDate(evening, false);
    EXPECT_EQ(ws.TargetDate, "12/31/2023 6:59:59 PM");

    rw.SetDateFormatter([](system_clock::time_point) { return std::string("fixed"); });
    rw.GetLastModifiedDate(master, false);
    EXPECT_EQ(ws.TargetDate, "fixed");
    EXPECT_THROW(rw.GetLastModifiedDate((dir / "missing.wsv").string(), true), IoError);

    if (oldZone) {
        setenv("TZ", saved.c_str(), 1);
    } else {
        unsetenv("TZ");
    }
    tzset();
}

// A workspace as a 32-tile profile run leaves it: every array of every tile distinct.
void FillProfileRun(GlobalVariables& ws) {
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
        ws.TileNames[t] = "Tile" + std::to_string(t);
}

TEST_F(RWSaveSetTest, WritesSixRecordResultSetsForEveryTile) {
    FillProfileRun(ws);
    ws.TileNames[7] = "A/B";  // cannot stand in a file name as it is
    rw.WriteSaveSetResults();

    std::vector<std::string> files;
    for (const auto& entry : fs::directory_iterator(dir)) {
        files.push_back(entry.path().filename().string());
    }
    EXPECT_EQ(files.size(), 32u);
    const char* names[] = {"Master", "Target", "Offset", "Gain", "Linearity", "Wavelength"};
    for (int t = 0; t < 32; ++t) {
        const std::string file =
            t == 7 ? "A_BResults.wsv" : "Tile" + std::to_string(t) + "Results.wsv";
        SCOPED_TRACE(file);
        const SaveSetData d = LoadSaveSet(dir / file);
        EXPECT_EQ(d.Version, 5);
        EXPECT_EQ(d.FileType, 0);
        EXPECT_EQ(d.NumAngles, 1);
        EXPECT_EQ(d.Company, "Pellucidane,Inc");
        EXPECT_EQ(d.Status, "CRE");
        EXPECT_EQ(d.Instrument, 0);
        EXPECT_EQ(d.CMCFactors, (std::array<double, 4>{1.0, 1.0, 1.0, 1.0}));
        EXPECT_EQ(d.ColorSpace, 1);
        EXPECT_EQ(d.Observer, 1);
        EXPECT_EQ(d.WarningLevel, 0.75);
        ASSERT_EQ(d.Records.size(), 6u);
        for (int k = 0; k < 6; ++k) {
            const SaveSetRecord& rec = d.Records[k];
            EXPECT_EQ(rec.Name, names[k]);
            EXPECT_EQ(rec.Name2, "");
            EXPECT_EQ(rec.System, "");
            EXPECT_EQ(rec.Notes, "");
            EXPECT_EQ(rec.Time, 0);
            for (int p = 0; p < kPointCount; ++p)
                ASSERT_EQ(rec.Curves[0][p], Value(k, t, 0, p));
        }
    }
}

TEST_F(RWSaveSetTest, ResultWriterCallsTheLibraryInOrder) {
    FillProfileRun(ws);
    ws.DimensionTileArrays(16);
    std::vector<std::string> calls;
    rw.Library().SetCallLog(&calls);
    rw.WriteSaveSetResults();
    std::vector<std::string> one = {"SS_SetVersion",    "SS_SetFileType",    "SS_New",
                                    "SS_SetAngleTypes", "SS_SetIlluminants", "SS_SetCMCFactors",
                                    "SS_SetColorSpace", "SS_SetObserver",    "SS_SetWarningLevel",
                                    "SS_SetCompany",    "SS_SetStatus",      "SS_SetInstrument"};
    for (int k = 0; k < 6; ++k) {
        one.insert(one.end(), {"SS_SetName", "SS_SetName2", "SS_SetSystem", "SS_SetTime",
                               "SS_SetNotes", "SS_SetReflectance", "SS_AddRecord"});
    }
    one.insert(one.end(), {"SS_Save", "SS_Close"});
    std::vector<std::string> expected;
    for (int t = 0; t < 16; ++t)
        expected.insert(expected.end(), one.begin(), one.end());
    EXPECT_EQ(calls, expected);
}

TEST_F(RWSaveSetTest, WritesTheCorrelatedFandeckWithBothAnglePositions) {
    // Read a one-angle Target fandeck, then write its corrected copy.
    SaveSetData deck = TileSet(5, "XXIIXX", 197, 1, 1);
    deck.AngleTypes = {2, 0, 0};
    deck.Illuminants = {1, 7, 8};
    deck.CMCFactors = {2.0, 1.0, 1.0, 1.0};
    ws.TargetSaveSetFile = Store(deck, "target-deck.wsv");
    ASSERT_TRUE(rw.ReadTargetFandeck()) << rw.LastError();
    EXPECT_EQ(ws.FandeckAngleCount, 1);
    EXPECT_EQ(ws.FandeckRecordCount, 5);

    ws.MasterType = "Macbeth Color i7";
    ws.CorrelatedFandeckReflectance.Resize(5, 2);
    for (int r = 0; r < 5; ++r) {
        for (int a = 0; a < 2; ++a) {
            for (int p = 0; p < kPointCount; ++p) {
                ws.CorrelatedFandeckReflectance(p, a, r) = Value(9, r, a, p);
            }
        }
    }
    ws.CorrelatedSaveSetFile = "corrected.wsv";  // relative: lands in the output folder
    std::vector<std::string> calls;
    rw.Library().SetCallLog(&calls);
    rw.WriteCorrelatedResults();

    const SaveSetData d = LoadSaveSet(dir / "corrected.wsv");
    EXPECT_EQ(d.Version, 5);
    EXPECT_EQ(d.NumAngles, 1);
    EXPECT_EQ(d.AngleTypes, deck.AngleTypes);
    EXPECT_EQ(d.Illuminants, deck.Illuminants);
    EXPECT_EQ(d.CMCFactors, deck.CMCFactors);
    EXPECT_EQ(d.Company, "Pellucidane Profiled Data");
    EXPECT_EQ(d.Status, "XPIIXX");
    EXPECT_EQ(d.Instrument, 197);
    ASSERT_EQ(d.Records.size(), 5u);
    for (int r = 0; r < 5; ++r) {
        const SaveSetRecord& rec = d.Records[r];
        EXPECT_EQ(rec.Name, "S1-" + std::to_string(r));
        EXPECT_EQ(rec.Notes, "This Data has been profiled to a Macbeth Color i7");
        EXPECT_EQ(rec.Name2, "");
        EXPECT_EQ(rec.System, "");
        for (int a = 0; a < 2; ++a) {
            for (int p = 0; p < kPointCount; ++p)
                ASSERT_EQ(rec.Curves[a][p], Value(9, r, a, p));
        }
    }
    std::vector<std::string> expected = {
        "SS_SetVersion",    "SS_SetFileType",     "SS_New",           "SS_SetAngleTypes",
        "SS_SetAngleTypes", "SS_SetIlluminants",  "SS_SetCMCFactors", "SS_SetColorSpace",
        "SS_SetObserver",   "SS_SetWarningLevel", "SS_SetCompany",    "SS_SetStatus",
        "SS_SetInstrument"};
    for (int r = 0; r < 5; ++r) {
        expected.insert(expected.end(),
                        {"SS_SetName", "SS_SetReflectance", "SS_SetReflectance", "SS_SetName2",
                         "SS_SetSystem", "SS_SetTime", "SS_SetNotes", "SS_AddRecord"});
    }
    expected.insert(expected.end(), {"SS_Save", "SS_Close"});
    EXPECT_EQ(calls, expected);
}

TEST_F(RWSaveSetTest, FandeckReadersFillBothAnglePositions) {
    ws.MasterSaveSetFile = Store(TileSet(40, "XXBIXX", 173, 2, 1), "master-deck.wsv");
    ASSERT_TRUE(rw.ReadMasterFandeck()) << rw.LastError();
    EXPECT_EQ(ws.MasterFandeckReflectance.Records(), 40u);
    for (int r = 0; r < 40; ++r) {
        for (int a = 0; a < 2; ++a) {
            for (int p = 0; p < kPointCount; ++p) {
                ASSERT_EQ(ws.MasterFandeckReflectance(p, a, r), Value(1, r, a, p));
            }
        }
    }
    EXPECT_EQ(ws.MasterStatus, "XXBIXX");  // a fandeck keeps both geometries
    EXPECT_EQ(ws.MasterType, "Macbeth XTS");
    EXPECT_EQ(ws.FandeckNames.size(), 40u);
    EXPECT_EQ(ws.FandeckNames[39], "S1-39");
    EXPECT_EQ(ws.SampleCount, 40);
    EXPECT_EQ(ws.FandeckAngleCount, 2);
    EXPECT_EQ(rw.MasterFandeckAngleCount(), 2);

    ws.TargetSaveSetFile = Store(TileSet(40, "XXEIXX", 197, 1, 2), "target-deck.wsv");
    ASSERT_TRUE(rw.ReadTargetFandeck());
    for (int p = 0; p < kPointCount; ++p) {
        EXPECT_EQ(ws.TargetFandeckReflectance(p, 0, 7), Value(2, 7, 0, p));
        EXPECT_EQ(ws.TargetFandeckReflectance(p, 1, 7), 0.0);
    }
    EXPECT_EQ(ws.FandeckAngleCount, 1);
    EXPECT_EQ(rw.MasterFandeckAngleCount(), 2);
    EXPECT_EQ(rw.TargetFandeckAngleCount(), 1);
    EXPECT_EQ(ws.TargetStatus, "XXEIXX");
}

TEST_F(RWSaveSetTest, WritersReportAFileTheyCannotWrite) {
    FillProfileRun(ws);
    rw.SetOutputFolder(dir / "no-such-folder");
    EXPECT_THROW(rw.WriteSaveSetResults(), IoError);
    EXPECT_NE(rw.LastError().find("Tile0Results.wsv"), std::string::npos) << rw.LastError();
    EXPECT_FALSE(rw.Library().IsOpen());

    ws.CorrelatedFandeckReflectance.Resize(2, 2);
    ws.FandeckAngleCount = 2;
    ws.CorrelatedSaveSetFile = "c.wsv";
    EXPECT_THROW(rw.WriteCorrelatedResults(), IoError);
    ws.FandeckAngleCount = 0;  // nothing was ever read
    rw.SetOutputFolder(dir);
    EXPECT_THROW(rw.WriteCorrelatedResults(), IoError);
    EXPECT_FALSE(fs::exists(dir / "c.wsv"));
}

}  // namespace
}  // namespace tintara
