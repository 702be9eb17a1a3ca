// tintara convert and compare on the demo fandecks, with coefficients the tool made itself.
#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "cli/CliTest.h"
#include "engine/Tolerances.h"
#include "files/DemoData.h"
#include "app/FandeckCompare.h"
#include "files/SaveSetLibrary.h"
#include "workspace/WriteFile.h"

namespace tintara {
namespace {

namespace fs = std::filesystem;

class DemoRoad : public ::testing::Test {
  protected:
    // The demo data, Profiler.ini (both limits 0.5, CIE Lab) and an SCI coefficient file.
    void SetUp() override {
        WriteTolerances(dir / "Profiler.ini", ToleranceSettings{0.5, 0.5, 0});
        WriteDemoData(dir);
        ASSERT_EQ(Run(profile + " --geometry sci").Status, 0);
    }
    std::string In(const std::string& name) const { return test::Quote(dir / name); }
    test::CliRun Run(const std::string& arguments) const { return test::Tintara(dir, arguments); }
    std::vector<std::vector<std::string>> Compare(const std::string& target,
                                                  const std::string& options = "") const {
        const std::string master = "compare --master " + In("master-fandeck.wsv");
        return test::Rows(Run(master + " --target " + In(target) + options).Out);
    }
    const fs::path dir =
        test::ScratchDir(::testing::UnitTest::GetInstance()->current_test_info()->name());
    const std::string profile = "profile --master " + In("master-tiles.wsv") + " --target " +
                                In("target-tiles.wsv") + " --ccf " + In("demo.ccf");
    const std::string convert = "convert --ccf " + In("demo.ccf") + " --in ";
};

TEST_F(DemoRoad, ProfileBothGeometriesIntoOneFileThenConvertAndCompare) {
    test::CliRun run = Run(convert + In("target-fandeck.wsv") + " --out " + In("corrected.wsv"));
    EXPECT_EQ(run.Status, 0);  // SCI only: the SCE curves are copied, with a word
    EXPECT_TRUE(run.Err.starts_with("WARNING: ") &&
                run.Err.find("no SCE coefficients") != std::string::npos)
        << run.Err;
    ASSERT_EQ(Run(profile + " --geometry sce").Status, 0);
    run = Run(convert + In("target-fandeck.wsv") + " --out " + In("corrected.wsv"));
    EXPECT_EQ(run.Status, 0);
    EXPECT_EQ(run.Err, "");
    EXPECT_EQ(run.Out, "Converted 1200 records (2 angles) of " +
                           (dir / "target-fandeck.wsv").string() + " into " +
                           (dir / "corrected.wsv").string() + "\n");
    for (const std::string view : {"", " --sce"}) {
        const auto before = Compare("target-fandeck.wsv", view);
        const auto after = Compare("corrected.wsv", view);
        for (const auto* rows : {&before, &after}) {
            ASSERT_EQ(rows->size(), 1203u);  // header, 1200 samples, average, verdict
            EXPECT_EQ(rows->front(),
                      (std::vector<std::string>{"Sample Name", "DL*", "Da*", "Db*", "DE"}));
            const auto& average = (*rows)[1201];
            EXPECT_EQ(average, (std::vector<std::string>{"Average", "", "", "", average[4]}));
            double sum = 0.0;
            for (int s = 1; s <= 1200; ++s)
                sum += std::stod((*rows)[s][4]);
            EXPECT_NEAR(std::stod(average[4]), sum / 1200, 0.006);  // to the printed rounding
        }
        // The profile removes most of the systematic difference: the 0.5 limit fails before and
        // passes after; converting to a file and on the fly compare alike.
        EXPECT_LT(std::stod(after[1201][4]), 0.5 * std::stod(before[1201][4]));
        EXPECT_EQ(before[1202][0], "The Target Instrument has FAILED");
        EXPECT_EQ(after[1202][0], "The Target Instrument has PASSED");
        EXPECT_EQ(Compare("target-fandeck.wsv", " --ccf " + In("demo.ccf") + view), after);
    }
#if TINTARA_HAS_RENDERER
    const std::string files = " --report " + In("r.txt") + " --certificate " + In("c.pdf");
#else
    const std::string files = " --report " + In("r.txt");  // a tintara without Qt draws no PDF
#endif
    ASSERT_EQ(Compare("corrected.wsv", files).size(), 1203u);
    std::string report;
    std::getline(std::ifstream(dir / "r.txt"), report);
    EXPECT_EQ(report, "Sample Name                   dL      da      db      dE\r");
#if TINTARA_HAS_RENDERER
    std::string pdf(4, ' ');
    std::ifstream(dir / "c.pdf").read(pdf.data(), 4);
    EXPECT_EQ(pdf, "%PDF");
#endif
}

TEST_F(DemoRoad, ThePerformanceCertificateIdentifiesBothFandecksOnTheAskedPaperWithoutADisplay) {
#if !TINTARA_HAS_RENDERER
    test::ExpectFailure(dir,
                        "compare --master " + In("master-fandeck.wsv") + " --target " +
                            In("target-fandeck.wsv") + " --certificate " + In("c.pdf"),
                        1, "built without Qt");
    GTEST_SKIP() << "this build has no page renderer";
#else
    if (test::RunCommand("pdftotext -v") != 0 || test::RunCommand("pdfinfo -v") != 0)
        GTEST_SKIP() << "poppler-utils are not installed";
    // No display and no platform named: the tool must still draw.
    const std::string noDisplay = "env -u DISPLAY -u WAYLAND_DISPLAY -u QT_QPA_PLATFORM ";
    test::CliRun run;
    run.Status = test::RunCommand(
        noDisplay + "TINTARA_HOME=" + test::Quote(dir) + " " + test::Quote(test::CliPath()) +
            " compare --master " + In("master-fandeck.wsv") + " --target " +
            In("target-fandeck.wsv") + " --ccf " + In("demo.ccf") + " --certificate " +
            In("c.pdf") +
            " --paper a4 --company 'Farbwerk M\xC3\xBC"
            "nchen GmbH' --operator "
            "'\xCE\x9D. \xCE\xA0\xCE\xB1\xCF\x80\xCE\xAC\xCF\x82' --tileset 'BCRA II 0932'",
        &run.Out, &run.Err);
    ASSERT_EQ(run.Status, 0) << run.Err;
    // The SCI-only coefficient file's warning, and no toolkit chatter.
    std::istringstream errLines(run.Err);
    for (std::string line; std::getline(errLines, line);)
        EXPECT_TRUE(line.starts_with("WARNING: The coefficient file")) << line;
    std::string info, text;
    ASSERT_EQ(test::RunCommand("pdfinfo " + In("c.pdf"), &info), 0);
    EXPECT_NE(info.find("(A4)"), std::string::npos) << info;
    ASSERT_EQ(test::RunCommand("pdftotext -layout -f 1 -l 1 " + In("c.pdf") + " -", &text), 0);
    // Instruments from the catalogue, the status resolved to the SCI printed (demo "RCBIXX"), the
    // calibration tile serials of the records, the texts given, the files' dates.
    for (const std::string expected :
         {"Master Instrument: X-Rite Ci7800", "Status: RCIIXX", "CalTile # CI7800-100234",
          "Target Instrument: X-Rite Ci64uv", "CalTile # CI64UV-200871",
          "Company: Farbwerk M\xC3\xBCnchen GmbH", "Operator: \xCE\x9D. \xCE\xA0\xCE\xB1",
          "Tile Set: BCRA II 0932", "Tile Data for the X-Rite Ci7800 was last updated on ",
          "SCI Data"}) {
        EXPECT_NE(text.find(expected), std::string::npos) << expected << "\n" << text;
    }
    EXPECT_EQ(text.find("updated on \n"), std::string::npos) << "a date follows";
    // Letter by name; a paper we do not know is a usage error.
    ASSERT_EQ(Run("compare --master " + In("master-fandeck.wsv") + " --target " +
                  In("target-fandeck.wsv") + " --certificate " + In("c.pdf") + " --paper Letter")
                  .Status,
              0);
    ASSERT_EQ(test::RunCommand("pdfinfo " + In("c.pdf"), &info), 0);
    EXPECT_NE(info.find("(letter)"), std::string::npos) << info;
    test::ExpectFailure(dir,
                        "compare --master " + In("master-fandeck.wsv") + " --target " +
                            In("target-fandeck.wsv") + " --certificate " + In("c.pdf") +
                            " --paper b5",
                        2);
#endif
}

TEST_F(DemoRoad, MismatchedFandecksAreRefusedWithTitleAndText) {
    test::ExpectFailure(dir, convert + In("master-fandeck.wsv") + " --out " + In("x.wsv"), 1,
                        "Instuments do NOT Match: Profile Master - X-Rite Ci7800\nProfile Target"
                        " - X-Rite Ci64uv\nSaveSet Instrument - X-Rite Ci7800\n");
    EXPECT_FALSE(fs::exists(dir / "x.wsv"));
    SaveSetData shorter = LoadSaveSet(dir / "target-fandeck.wsv");
    shorter.Records.pop_back();
    StoreSaveSet(shorter, dir / "short.wsv");
    // Without a coefficient file the comparison is the Performance wizard's, with its words.
    test::ExpectFailure(
        dir, "compare --master " + In("master-fandeck.wsv") + " --target " + In("short.wsv"), 1,
        "Error: Record count does not match \n");
    test::ExpectFailure(dir,
                        "compare --master " + In("master-fandeck.wsv") + " --target " +
                            In("short.wsv") + " --ccf " + In("demo.ccf"),
                        1,
                        "Save Set Mis-Match: Number of records in Files do NOT match - unable "
                        "to proceed\n");
    test::ExpectFailure(dir, convert + In("x.wsv"), 2);
    test::ExpectFailure(dir, "compare --master " + In("master-fandeck.wsv"), 2);
    // Hunter Lab takes the captions without asterisks.
    WriteTolerances(dir / "Profiler.ini", ToleranceSettings{0.5, 0.5, 2});
    EXPECT_EQ(Compare("target-fandeck.wsv").at(0),
              (std::vector<std::string>{"Sample Name", "DL", "Da", "Db", "DE"}));
}

TEST(PerformanceVerdict, AnAverageEqualToTheLimitPasses) {
    GlobalVariables ws;
    ws.SampleCount = 2;
    ws.SampleDeltas.Resize(3, kSampleDeltaColumns);
    ws.AverageTolerance = 0.75;
    for (Geometry g : {Geometry::SCI, Geometry::SCE}) {
        const int de = CorrectedColumn(g) + 3;
        ws.SampleDeltas(2, de) = 0.75;  // the average row
        ws.SampleDeltas(0, de) = 3.0;   // a failed sample does not decide
        EXPECT_TRUE(PerformancePassed(ws, g));
        ws.SampleDeltas(2, de) = std::nextafter(0.75, 1.0);
        EXPECT_FALSE(PerformancePassed(ws, g));
    }
}

TEST_F(DemoRoad, AReadingNoInstrumentGivesLeavesNoVerdictGridOrLabLine) {
    SaveSetData deck = LoadSaveSet(dir / "target-fandeck.wsv");
    deck.Records[6].Curves[0][20] = 1e250;  // finite, yet the colour difference would be NaN
    StoreSaveSet(deck, dir / "absurd.wsv");
    const std::string name = "sample 7 (\"" + deck.Records[6].Name + "\")";
    test::ExpectFailure(dir,
                        "compare --master " + In("master-fandeck.wsv") + " --target " +
                            In("absurd.wsv") + " --certificate " + In("c.pdf"),
                        1, name);
    EXPECT_FALSE(fs::exists(dir / "c.pdf"));
    test::ExpectFailure(dir, "lab " + In("absurd.wsv"), 1, "record 7");
}

TEST_F(DemoRoad, AConversionKilledAtTheWriteLeavesTheEarlierFileAndNoLitter) {
    // 100,000 records: the demo fandeck over and over.
    const SaveSetData demo = LoadSaveSet(dir / "target-fandeck.wsv");
    SaveSetData big = demo;
    big.Records.clear();
    for (std::size_t r = 0; r < 100000; ++r)
        big.Records.push_back(demo.Records[r % demo.Records.size()]);
    StoreSaveSet(big, dir / "big.wsv");
    ASSERT_EQ(Run(convert + In("target-fandeck.wsv") + " --out " + In("out.wsv")).Status, 0);
    const auto earlier = LoadSaveSet(dir / "out.wsv");

    auto temporaries = [&] {
        int n = 0;
        for (const auto& entry : fs::directory_iterator(dir))
            n += IsWriteTemporaryName(entry.path().filename().string()) ? 1 : 0;
        return n;
    };
    const pid_t pid = ::fork();
    if (pid == 0) {
        ::setenv("TINTARA_HOME", dir.c_str(), 1);
        const std::string in = (dir / "big.wsv").string(), out = (dir / "out.wsv").string(),
                          ccf = (dir / "demo.ccf").string();
        ::execl(test::CliPath().c_str(), "tintara", "convert", "--ccf", ccf.c_str(), "--in",
                in.c_str(), "--out", out.c_str(), static_cast<char*>(nullptr));
        ::_exit(127);
    }
    // Kill it while it writes: as soon as its temporary file shows.
    bool seen = false;
    int status = 0;
    for (int i = 0; i < 120000 && !seen; ++i) {
        if (::waitpid(pid, &status, WNOHANG) == pid)
            break;
        seen = temporaries() > 0;
        if (!seen)
            ::usleep(500);
    }
    if (seen) {
        ::kill(pid, SIGKILL);
        ::waitpid(pid, &status, 0);
    }
    ASSERT_TRUE(seen) << "the conversion ended before its temporary file was seen";
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
    EXPECT_EQ(LoadSaveSet(dir / "out.wsv"), earlier);

    // The next write into the folder removes what the killed process left.
    ASSERT_EQ(Run(convert + In("target-fandeck.wsv") + " --out " + In("again.wsv")).Status, 0);
    EXPECT_EQ(temporaries(), 0);
}

}  // namespace
}  // namespace tintara
