// tintara convert and tintara compare, run as the user runs them.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>

#include "engine/Tolerances.h"
#include "files/CCFReadWrite.h"
#include "files/DemoData.h"
#include "files/FandeckCompare.h"
#include "files/ProfileCorrector.h"
#include "files/SaveSetLibrary.h"
#include "support/TestPaths.h"
#include "workspace/MakeSensorList.h"

namespace tintara {
namespace {

constexpr int16_t kMasterId = 47;
constexpr int16_t kTargetId = 12;
constexpr double kShift = 0.7;  // the Target reads this much higher at every point

double SampleValue(int sample, int w) {
    const double nm = 360.0 + 10.0 * w;
    const double centre = 410.0 + 9.0 * (sample % 37);
    return 6.0 + 0.5 * (sample % 13) + 55.0 * std::exp(-(nm - centre) * (nm - centre) / 3000.0);
}

SaveSetData Fandeck(int records, int angles, int16_t instrument, const std::string& status,
                    double shift) {
    SaveSetData data;
    data.NumAngles = static_cast<int16_t>(angles);
    data.Status = status;
    data.Instrument = instrument;
    for (int r = 0; r < records; ++r) {
        SaveSetRecord rec;
        rec.Name = "Colour " + std::to_string(r + 1);
        rec.Status = status;
        rec.Instrument = instrument;
        for (int a = 0; a < angles; ++a) {
            for (int w = 0; w < kPointCount; ++w)
                rec.Curves[a][w] = SampleValue(r, w) + shift - a;
        }
        data.Records.push_back(rec);
    }
    return data;
}

// A coefficient file whose SCI block removes the Target's shift exactly (and, with `sce`, an
// SCE block that does the same).
void WriteCoefficients(const std::filesystem::path& file, bool sce) {
    for (int pass = 0; pass < (sce ? 2 : 1); ++pass) {
        GlobalVariables ws;
        ws.DimensionTileArrays(16);
        ws.SetReferenceTiles(16);
        ws.MasterInstrumentID = kMasterId;
        ws.TargetInstrumentID = kTargetId;
        ws.MasterStatus = ws.TargetStatus = pass == 0 ? "RNIIXX" : "RNEIXX";
        for (int p = 0; p < kPointCount; ++p) {
            ws.OffsetCoefficients[p] = -kShift;
            ws.TargetReflectance(ws.GainTile, p) = 88.0;
            for (int j = 0; j < 6; ++j)
                ws.LinearitySlopes[p][j] = 1.0;
            for (int k = 0; k < 5; ++k)
                ws.LinearityPoints[p][2 * k + 1] = 5.0 + 20.0 * k;
        }
        CCFReadWrite(ws).WriteCoeficcients(file);
    }
}

std::string Quote(const std::filesystem::path& p) {
    return "'" + p.string() + "'";
}

struct Outcome {
    int status;
    std::string out, err;
};

// Runs the tool with Profiler.ini in `home` (so that the user's own settings never leak in).
Outcome Tintara(const std::filesystem::path& home, const std::string& arguments) {
    Outcome r;
    r.status = test::RunCommand(
        "TINTARA_HOME=" + Quote(home) + " " + Quote(test::CliPath()) + " " + arguments, &r.out,
        &r.err);
    return r;
}

std::vector<std::vector<std::string>> Table(const std::string& text) {
    std::vector<std::vector<std::string>> rows;
    std::istringstream in(text);
    std::string line;
    while (std::getline(in, line)) {
        std::vector<std::string> cells;
        std::size_t start = 0;
        for (;;) {
            const auto tab = line.find('\t', start);
            cells.push_back(line.substr(start, tab - start));
            if (tab == std::string::npos)
                break;
            start = tab + 1;
        }
        rows.push_back(cells);
    }
    return rows;
}

class Fandecks : public ::testing::Test {
  protected:
    void SetUp() override {
        dir = test::ScratchDir(::testing::UnitTest::GetInstance()->current_test_info()->name());
        WriteTolerances(dir / "Profiler.ini", ToleranceSettings{0.5, 0.5, 0});
        StoreSaveSet(Fandeck(20, 2, kMasterId, "RNBIXX", 0.0), dir / "master.wsv");
        StoreSaveSet(Fandeck(20, 2, kTargetId, "RNBIXX", kShift), dir / "target.wsv");
        WriteCoefficients(dir / "both.ccf", true);
        WriteCoefficients(dir / "sci.ccf", false);
    }
    std::string Path(const std::string& name) const { return Quote(dir / name); }
    std::filesystem::path dir;
};

// ---- convert
// --------------------------------------------------------------------------------------

TEST_F(Fandecks, ConvertWritesTheCorrectedFandeck) {
    const Outcome r = Tintara(dir, "convert --ccf " + Path("both.ccf") + " --in " +
                                       Path("target.wsv") + " --out " + Path("out.wsv"));
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.err, "");
    const SaveSetData out = LoadSaveSet(dir / "out.wsv");
    const SaveSetData master = LoadSaveSet(dir / "master.wsv");
    ASSERT_EQ(out.Records.size(), 20u);
    EXPECT_EQ(out.NumAngles, 2);
    // The file undoes the shift: the corrected curves are the Master's to the printed precision.
    for (std::size_t i = 0; i < 20; ++i) {
        EXPECT_EQ(out.Records[i].Name, master.Records[i].Name);
        for (int a = 0; a < 2; ++a) {
            for (int w = 0; w < kPointCount; ++w) {
                EXPECT_NEAR(out.Records[i].Curves[a][w], master.Records[i].Curves[a][w], 1e-9);
            }
        }
    }
}

TEST_F(Fandecks, ConvertWarnsAboutAMissingGeometryAndCopiesIt) {
    const Outcome r = Tintara(dir, "convert --ccf " + Path("sci.ccf") + " --in " +
                                       Path("target.wsv") + " --out " + Path("out.wsv"));
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.err.find("Warning:"), std::string::npos);
    EXPECT_NE(r.err.find("no SCE coefficients"), std::string::npos) << r.err;
    const SaveSetData out = LoadSaveSet(dir / "out.wsv");
    const SaveSetData target = LoadSaveSet(dir / "target.wsv");
    EXPECT_EQ(out.Records[7].Curves[1], target.Records[7].Curves[1]);
    EXPECT_NE(out.Records[7].Curves[0], target.Records[7].Curves[0]);
}

TEST_F(Fandecks, ConvertRefusesAFandeckOfAnotherInstrument) {
    StoreSaveSet(Fandeck(20, 2, kMasterId, "RNBIXX", 0.0), dir / "wrong.wsv");
    const Outcome r = Tintara(dir, "convert --ccf " + Path("both.ccf") + " --in " +
                                       Path("wrong.wsv") + " --out " + Path("out.wsv"));
    EXPECT_EQ(r.status, 1);
    GlobalVariables catalogue;
    const MakeSensorList sensors(catalogue);
    const std::string master = sensors.FindInstrument(kMasterId);
    const std::string target = sensors.FindInstrument(kTargetId);
    EXPECT_EQ(r.err, "Instuments do NOT Match: Profile Master - " + master + "\nProfile Target - " +
                         target + "\nSaveSet Instrument - " + master + "\n");
    EXPECT_FALSE(std::filesystem::exists(dir / "out.wsv"));
}

TEST_F(Fandecks, ConvertRefusesAnUnreadableCoefficientFileNamingTheLine) {
    std::string text;
    {
        std::ifstream in(dir / "both.ccf", std::ios::binary);
        std::ostringstream s;
        s << in.rdbuf();
        text = s.str();
    }
    // Line 40 becomes text where a number belongs.
    std::size_t pos = 0;
    for (int line = 1; line < 40; ++line)
        pos = text.find("\r\n", pos) + 2;
    text.replace(pos, text.find("\r\n", pos) - pos, "n/a");
    std::ofstream(dir / "bad.ccf", std::ios::binary) << text;

    const Outcome r = Tintara(dir, "convert --ccf " + Path("bad.ccf") + " --in " +
                                       Path("target.wsv") + " --out " + Path("out.wsv"));
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err.rfind("File Read Error: ", 0), 0u) << r.err;
    EXPECT_NE(r.err.find("line 40"), std::string::npos) << r.err;
    EXPECT_EQ(Tintara(dir, "convert --ccf " + Path("both.ccf")).status, 2);
}

// ---- compare
// --------------------------------------------------------------------------------------

TEST_F(Fandecks, CompareJudgesTheCorrectedGroup) {
    const Outcome before =
        Tintara(dir, "compare --master " + Path("master.wsv") + " --target " + Path("target.wsv"));
    const Outcome after = Tintara(dir, "compare --master " + Path("master.wsv") + " --target " +
                                           Path("target.wsv") + " --ccf " + Path("both.ccf"));
    ASSERT_EQ(before.status, 0) << before.err;
    ASSERT_EQ(after.status, 0) << after.err;
    for (const Outcome* r : {&before, &after}) {
        const auto rows = Table(r->out);
        ASSERT_EQ(rows.size(), 1u + 20u + 1u + 1u) << r->out;
        EXPECT_EQ(rows[0], (std::vector<std::string>{"Sample Name", "DL*", "Da*", "Db*", "DE"}));
        EXPECT_EQ(rows[1][0], "Colour 1");
        EXPECT_EQ(rows[21][0], "Average");
        EXPECT_EQ(rows[21][1], "");
        // The average row is the mean of the sample DEs (to the rounding of the printed values).
        double sum = 0.0;
        for (int s = 1; s <= 20; ++s)
            sum += std::stod(rows[s][4]);
        EXPECT_NEAR(std::stod(rows[21][4]), sum / 20.0, 0.006);
    }
    const auto b = Table(before.out);
    const auto a = Table(after.out);
    EXPECT_GT(std::stod(b[21][4]), 0.5);  // a 0.7 % shift is far outside the 0.5 limit
    EXPECT_EQ(b[22][0], "The Target Instrument has FAILED");
    EXPECT_EQ(a[21][4], "0.00");
    EXPECT_EQ(a[22][0], "The Target Instrument has PASSED");
}

TEST_F(Fandecks, CompareFollowsTheToleranceSettings) {
    const std::string command =
        "compare --master " + Path("master.wsv") + " --target " + Path("target.wsv") + " --sce";
    const Outcome lab = Tintara(dir, command);
    ASSERT_EQ(lab.status, 0) << lab.err;
    const double average = std::stod(Table(lab.out)[21][4]);
    EXPECT_EQ(Table(lab.out)[22][0], "The Target Instrument has FAILED");

    // A generous limit passes; Hunter Lab takes the captions without asterisks.
    WriteTolerances(dir / "Profiler.ini", ToleranceSettings{5.0, 5.0, 2});
    const Outcome hunter = Tintara(dir, command);
    ASSERT_EQ(hunter.status, 0) << hunter.err;
    const auto rows = Table(hunter.out);
    EXPECT_EQ(rows[0], (std::vector<std::string>{"Sample Name", "DL", "Da", "Db", "DE"}));
    EXPECT_NE(std::stod(rows[21][4]), average);
    EXPECT_EQ(rows[22][0], "The Target Instrument has PASSED");
}

TEST_F(Fandecks, CompareRefusesFandecksOfDifferentLength) {
    StoreSaveSet(Fandeck(19, 2, kTargetId, "RNBIXX", kShift), dir / "short.wsv");
    for (const std::string& ccf : std::vector<std::string>{"", " --ccf " + Path("both.ccf")}) {
        const Outcome r = Tintara(
            dir, "compare --master " + Path("master.wsv") + " --target " + Path("short.wsv") + ccf);
        EXPECT_EQ(r.status, 1);
        EXPECT_EQ(r.err,
                  "Save Set Mis-Match: Number of records in Files do NOT match - unable to "
                  "proceed\n");
        EXPECT_EQ(r.out, "");
    }
}

TEST_F(Fandecks, CompareWritesTheReportAndCertificateOnRequest) {
    const Outcome r =
        Tintara(dir, "compare --master " + Path("master.wsv") + " --target " + Path("target.wsv") +
                         " --ccf " + Path("both.ccf") + " --report " + Path("CompareReport.txt") +
                         " --certificate " + Path("cert.pdf"));
    ASSERT_EQ(r.status, 0) << r.err;
    std::ifstream report(dir / "CompareReport.txt", std::ios::binary);
    std::string first;
    std::getline(report, first);
    EXPECT_EQ(first, "Sample Name                   dL      da      db      dE\r");
    std::ifstream pdf(dir / "cert.pdf", std::ios::binary);
    char magic[5] = {};
    pdf.read(magic, 4);
    EXPECT_STREQ(magic, "%PDF");
}

TEST_F(Fandecks, OneAngleMasterHasNoOtherGeometryToShow) {
    StoreSaveSet(Fandeck(20, 1, kMasterId, "RNIIXX", 0.0), dir / "m1.wsv");
    StoreSaveSet(Fandeck(20, 1, kTargetId, "RNIIXX", kShift), dir / "t1.wsv");
    const std::string command =
        "compare --master " + Path("m1.wsv") + " --target " + Path("t1.wsv");
    const Outcome sci = Tintara(dir, command + " --ccf " + Path("both.ccf"));
    ASSERT_EQ(sci.status, 0) << sci.err;
    EXPECT_EQ(Table(sci.out)[21][4], "0.00");
    const Outcome sce = Tintara(dir, command + " --sce");
    EXPECT_EQ(sce.status, 1);
    EXPECT_NE(sce.err.find("SCI data only"), std::string::npos) << sce.err;
}

// ---- the verdict rule
// -----------------------------------------------------------------------------

TEST(PerformanceVerdict, AverageEqualToTheLimitPasses) {
    GlobalVariables ws;
    ws.SampleCount = 2;
    ws.SampleDeltas.Resize(3, kSampleDeltaColumns);
    ws.AverageTolerance = 0.75;
    for (Geometry g : {Geometry::SCI, Geometry::SCE}) {
        const int de = CorrectedColumn(g) + 3;
        ws.SampleDeltas(2, de) = 0.75;
        ws.SampleDeltas(0, de) = 3.0;  // a failed sample does not decide
        EXPECT_TRUE(PerformancePassed(ws, g));
        ws.SampleDeltas(2, de) = std::nextafter(0.75, 1.0);
        EXPECT_FALSE(PerformancePassed(ws, g));
        ws.SampleDeltas(2, UncorrectedColumn(g) + 3) = 9.0;  // the uncorrected group never does
        ws.SampleDeltas(2, de) = 0.1;
        EXPECT_TRUE(PerformancePassed(ws, g));
    }
}

// ---- the whole road on the demo data
// ----------------------------------------------------------------

TEST(DemoRoad, ProfileBothGeometriesIntoOneFileThenConvertAndCompare) {
    const auto dir = test::ScratchDir("DemoRoad");
    WriteTolerances(dir / "Profiler.ini", ToleranceSettings{0.5, 0.5, 0});
    WriteDemoData(dir);
    auto path = [&](const std::string& name) { return Quote(dir / name); };
    const std::string tiles = "--master " + path("master-tiles.wsv") + " --target " +
                              path("target-tiles.wsv") + " --ccf " + path("demo.ccf");
    const Outcome sci =
        Tintara(dir, "profile " + tiles + " --geometry sci --results-dir " + path("results"));
    ASSERT_EQ(sci.status, 0) << sci.err;
    const Outcome sce = Tintara(dir, "profile " + tiles + " --geometry sce");
    ASSERT_EQ(sce.status, 0) << sce.err;

    // One file, both geometries real, header texts from the tile sets.
    const CoefficientFileContents ccf = ParseCoefficientFile(dir / "demo.ccf");
    EXPECT_TRUE(ccf.SCIPresent);
    EXPECT_TRUE(ccf.SCEPresent);
    EXPECT_NE(ccf.SCI, ccf.SCE);
    EXPECT_EQ(ccf.Master.InstrumentID, DemoParameters{}.MasterInstrument);
    EXPECT_EQ(ccf.Target.Company, DemoParameters{}.Company);
    int results = 0;
    for ([[maybe_unused]] const auto& e : std::filesystem::directory_iterator(dir / "results"))
        ++results;
    EXPECT_EQ(results, 32);

    const Outcome convert =
        Tintara(dir, "convert --ccf " + path("demo.ccf") + " --in " + path("target-fandeck.wsv") +
                         " --out " + path("corrected.wsv"));
    ASSERT_EQ(convert.status, 0) << convert.err;
    EXPECT_EQ(convert.err, "");  // both geometries applied

    for (const std::string view : {"", " --sce"}) {
        const std::string pair = "compare --master " + path("master-fandeck.wsv") + " --target ";
        const Outcome before = Tintara(dir, pair + path("target-fandeck.wsv") + view);
        const Outcome after = Tintara(dir, pair + path("corrected.wsv") + view);
        const Outcome onTheFly =
            Tintara(dir, pair + path("target-fandeck.wsv") + " --ccf " + path("demo.ccf") + view);
        ASSERT_EQ(before.status, 0) << before.err;
        ASSERT_EQ(after.status, 0) << after.err;
        const auto b = Table(before.out), a = Table(after.out), f = Table(onTheFly.out);
        ASSERT_GE(b.size(), 3u);
        const double deBefore = std::stod(b[b.size() - 2][4]);
        const double deAfter = std::stod(a[a.size() - 2][4]);
        std::printf("demo fandeck%s: mean DE %.2f before, %.2f after correction\n", view.c_str(),
                    deBefore, deAfter);
        // The profile removes most of the systematic difference; what is left is noise and the
        // parts the model does not capture.
        EXPECT_LT(deAfter, 0.5 * deBefore);
        // Converting to a file and converting on the fly give the same comparison.
        EXPECT_EQ(a, f);
    }
}

}  // namespace
}  // namespace tintara
