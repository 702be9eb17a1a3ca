// CompareReport.txt: fixed text, fields, markers, bands and counts, byte for byte.
#include "report/CompareReport.h"

#include <gtest/gtest.h>

#include <sstream>

#include "report/ReportFixtures.h"
#include "support/TestPaths.h"
#include "workspace/Error.h"

namespace tintara {
namespace {

struct Sample {
    const char* name;
    double dl, da, db, de;
};

// Samples chosen for the edges: a name longer than 25 characters, a 3-character name, a DE at the
// single-sample limit (0.75), the band borders 1.0 and 2.0, a three-digit DE and negative values.
const Sample kSamples[] = {
    {"Ivory White 0001", 0.12, -0.05, 0.30, 0.33},
    {"Harbour Blue Deep Extra Long Name", -1.234, 0.5, -0.004, 1.5},
    {"Red", 0.0, 0.0, -0.75, 0.75},
    {"Sage 14", -0.5, -0.25, 0.866, 1.0},
    {"Charcoal", 1.2, -1.6, 0.0, 2.0},
    {"Signal Yellow", -80.0, 95.25, 20.0, 123.456},
    {"Mist", 0.01, 0.01, -0.01, 0.017},
    {"Slate 7", 0.9, 0.9, 0.9, 1.999},
};
constexpr int kCount = 8;

void FillFixedSamples(GlobalVariables& ws) {
    test::FillSamples(ws, kCount, [](int) { return 0.0; });
    ws.SingleSampleTolerance = 0.75;
    for (int s = 0; s < kCount; ++s) {
        ws.SampleNames[s] = kSamples[s].name;
        const double v[4] = {kSamples[s].dl, kSamples[s].da, kSamples[s].db, kSamples[s].de};
        for (int k = 0; k < 4; ++k) {
            ws.SampleDeltas(s, 4 + k) = v[k];   // corrected SCI: what the report shows
            ws.SampleDeltas(s, k) = 9.99;       // uncorrected SCI: never in the report
            ws.SampleDeltas(s, 12 + k) = 8.88;  // corrected SCE: never in the report
        }
    }
}

std::string Report(const GlobalVariables& ws) {
    std::ostringstream out;
    WriteCompareReport(ws, out);
    return out.str();
}

TEST(CompareReport, MatchesTheGoldenReportByteForByte) {
    GlobalVariables ws;
    FillFixedSamples(ws);
    const std::string text = Report(ws);
    const std::string golden = test::ReadFile(test::DataPath("report/CompareReport.txt"));
    if (text != golden) {
        const auto actual = test::ScratchDir("CompareReportGolden") / "CompareReport.txt";
        std::ofstream(actual, std::ios::binary) << text;
        ADD_FAILURE() << "report differs from the golden file; actual text in " << actual;
    }
}

TEST(CompareReport, FieldsMarkersAndCountsFollowTheirRules) {
    GlobalVariables ws;
    FillFixedSamples(ws);
    const auto lines = test::CrLfLines(Report(ws));
    ASSERT_EQ(lines.size(), 1u + kCount + 2u + 1u + 1u + 3u);
    EXPECT_EQ(lines[0], "Sample Name                   dL      da      db      dE");
    // Name cut to 25 characters; a 3-character name followed by 22 blanks.
    EXPECT_EQ(lines[2].substr(0, 25), "Harbour Blue Deep Extra L");
    EXPECT_EQ(lines[3].substr(0, 25), "Red" + std::string(22, ' '));
    // Every sample line is 25 + 4 x 8 characters and a marker.
    for (int s = 0; s < kCount; ++s) {
        const std::string& line = lines[1 + s];
        const bool fails = kSamples[s].de >= 0.75;
        EXPECT_EQ(line.size(), 57u + (fails ? 6u : 1u)) << line;
        EXPECT_EQ(line.substr(57), fails ? "  <---" : " ") << line;
    }
    EXPECT_EQ(lines[6].substr(49, 8), "  123.46");  // three-digit DE
    EXPECT_EQ(lines[2].substr(49, 8), "    1.50");
    EXPECT_EQ(lines[6].substr(25, 8), "  -80.00");
    EXPECT_EQ(lines[3].substr(49), "    0.75  <---");  // equal to the limit fails
    EXPECT_EQ(lines[9], "");
    EXPECT_EQ(lines[10], "");
    EXPECT_EQ(lines[11], "Total Number of Samples is  8 ");
    EXPECT_EQ(lines[12], "");
    // Bands fixed at 1.0 and 2.0: 2.0 and 123.456 above; 1.5, 1.0 and 1.999 between.
    EXPECT_EQ(lines[13], "Number of Samples Gretaer than 2.0 DE is  2 ");
    EXPECT_EQ(lines[14], "Number of Samples Between 1.0 and 2.0 DE is  3 ");
    EXPECT_EQ(lines[15], "Number of Samples Less than 1.0 DE is  3 ");
}

TEST(CompareReport, BandsIgnoreTheTolerancesAndAnEmptyFandeckStillReports) {
    GlobalVariables ws;
    FillFixedSamples(ws);
    ws.SingleSampleTolerance = 1000.0;
    const auto lines = test::CrLfLines(Report(ws));
    EXPECT_EQ(lines[13], "Number of Samples Gretaer than 2.0 DE is  2 ");
    for (int s = 0; s < kCount; ++s) {
        EXPECT_EQ(lines[1 + s].back(), ' ') << "no sample fails a limit of 1000";
        EXPECT_EQ(lines[1 + s].find("<---"), std::string::npos);
    }

    GlobalVariables empty;
    test::FillSamples(empty, 0, [](int) { return 0.0; });
    const auto none = test::CrLfLines(Report(empty));
    ASSERT_EQ(none.size(), 8u);
    EXPECT_EQ(none[3], "Total Number of Samples is  0 ");
}

TEST(CompareReport, IncompleteDataIsRefusedBeforeAnythingIsWritten) {
    GlobalVariables ws;
    FillFixedSamples(ws);
    ws.SampleNames.resize(3);
    std::ostringstream out;
    EXPECT_THROW(WriteCompareReport(ws, out), Error);
    EXPECT_TRUE(out.str().empty());
}

TEST(CompareReport, FileIsReplacedWholeAndAMissingFolderIsAClearError) {
    GlobalVariables ws;
    FillFixedSamples(ws);
    const auto dir = test::ScratchDir("CompareReportFile");
    const auto file = dir / kCompareReportName;
    std::ofstream(file, std::ios::binary)
        << "an older, longer report text that must go away entirely";
    WriteCompareReport(ws, file);
    EXPECT_EQ(test::ReadFile(file), Report(ws));
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir),
                            std::filesystem::directory_iterator()),
              1);  // no temporary file left behind

    EXPECT_THROW(WriteCompareReport(ws, dir / "no-such-folder" / kCompareReportName), IoError);
}

}  // namespace
}  // namespace tintara
