// The two plain-text reports, byte for byte: CompareReport.txt and the profile component report.
#include "report/ReportText.h"

#include <gtest/gtest.h>

#include "report/CompareReport.h"
#include "report/ProfileReport.h"
#include "report/ReportFixtures.h"
#include "workspace/Error.h"
#include "workspace/NumberFormat.h"
#include "workspace/Utf8Text.h"

namespace tintara {
namespace {

// Compares with tests/data/report/<name> byte for byte; a difference leaves the text in scratch.
void ExpectGolden(const std::string& text, const std::string& name) {
    if (text == test::ReadFile(test::DataPath("report/" + name)))
        return;
    const auto actual = test::ScratchDir("ReportGolden") / name;
    std::ofstream(actual, std::ios::binary) << text;
    ADD_FAILURE() << name << " differs from the golden file; actual text in " << actual;
}

// The lines of a CR LF text; an unended last line shows as "<EOF>", a bare LF stays in its line.
std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    std::size_t start = 0;
    for (std::size_t end; (end = text.find("\r\n", start)) != std::string::npos; start = end + 2)
        lines.push_back(text.substr(start, end - start));
    if (start < text.size())
        lines.push_back(text.substr(start) + "<EOF>");
    return lines;
}

// ---- CompareReport.txt --------------------------------------------------------------------------

// Samples chosen for the edges: a name longer than 25 characters, a 3-character name, a DE at the
// single-sample limit (0.75), the band borders 1.0 and 2.0, a three-digit DE and negative values.
struct Sample {
    const char* name;
    double values[4];  // dL, da, db, dE
};
const Sample kSamples[] = {
    {"Ivory White 0001", {0.12, -0.05, 0.30, 0.33}},
    {"Harbour Blue Deep Extra Long Name", {-1.234, 0.5, -0.004, 1.5}},
    {"Red", {0.0, 0.0, -0.75, 0.75}},
    {"Sage 14", {-0.5, -0.25, 0.866, 1.0}},
    {"Charcoal", {1.2, -1.6, 0.0, 2.0}},
    {"Signal Yellow", {-80.0, 95.25, 20.0, 123.456}},
    {"Mist", {0.01, 0.01, -0.01, 0.017}},
    {"Slate 7", {0.9, 0.9, 0.9, 1.999}},
};

GlobalVariables FixedSamples() {
    GlobalVariables ws;
    test::FillSamples(ws, 8, [](int) { return 0.0; });
    ws.SingleSampleTolerance = 0.75;
    for (int s = 0; s < 8; ++s) {
        ws.SampleNames[s] = kSamples[s].name;
        for (int k = 0; k < 4; ++k) {
            ws.SampleDeltas(s, 4 + k) = kSamples[s].values[k];  // corrected SCI: what is shown
            ws.SampleDeltas(s, k) = 9.99;                       // uncorrected SCI: never shown
            ws.SampleDeltas(s, 12 + k) = 8.88;                  // corrected SCE: never shown
        }
    }
    return ws;
}

std::string CompareReport(const GlobalVariables& ws) {
    std::ostringstream out;
    WriteCompareReport(ws, out);
    return out.str();
}

TEST(CompareReport, MatchesTheGoldenReportFollowsTheFieldRulesAndReplacesFilesWhole) {
    GlobalVariables ws = FixedSamples();
    const std::string text = CompareReport(ws);
    ExpectGolden(text, "CompareReport.txt");

    const auto lines = Lines(text);
    ASSERT_EQ(lines.size(), 16u);
    EXPECT_EQ(lines[0], "Sample Name                   dL      da      db      dE");
    // Name cut to 25 characters; a 3-character name followed by 22 blanks.
    EXPECT_EQ(lines[2].substr(0, 25), "Harbour Blue Deep Extra L");
    EXPECT_EQ(lines[3].substr(0, 25), "Red" + std::string(22, ' '));
    // Every sample line is 25 + 4 x 8 characters and a marker; equal to the limit fails.
    for (int s = 0; s < 8; ++s) {
        const bool fails = kSamples[s].values[3] >= 0.75;
        EXPECT_EQ(lines[1 + s].substr(57), fails ? "  <---" : " ") << lines[1 + s];
    }
    EXPECT_EQ(lines[6].substr(25, 8) + lines[6].substr(49, 8), "  -80.00  123.46");
    EXPECT_EQ(lines[3].substr(49), "    0.75  <---");
    EXPECT_EQ(lines[9] + lines[10] + lines[12], "");
    EXPECT_EQ(lines[11], "Total Number of Samples is  8 ");
    // Bands fixed at 1.0 and 2.0: 2.0 and 123.456 above; 1.5, 1.0 and 1.999 between.
    EXPECT_EQ(lines[13], "Number of Samples Gretaer than 2.0 DE is  2 ");
    EXPECT_EQ(lines[14], "Number of Samples Between 1.0 and 2.0 DE is  3 ");
    EXPECT_EQ(lines[15], "Number of Samples Less than 1.0 DE is  3 ");

    ws.SingleSampleTolerance = 1000.0;  // the bands ignore the tolerance; the markers follow it
    const auto lenient = Lines(CompareReport(ws));
    EXPECT_EQ(lenient[13], lines[13]);
    for (int s = 0; s < 8; ++s)
        EXPECT_EQ(lenient[1 + s].substr(57), " ") << "no sample fails a limit of 1000";

    GlobalVariables empty;  // an empty fandeck still has its counts
    test::FillSamples(empty, 0, [](int) { return 0.0; });
    const auto none = Lines(CompareReport(empty));
    ASSERT_EQ(none.size(), 8u);
    EXPECT_EQ(none[3], "Total Number of Samples is  0 ");

    // Files are replaced whole; incomplete data write nothing.
    ws = FixedSamples();
    const auto dir = test::ScratchDir("CompareReportFile");
    const auto file = dir / kCompareReportName;
    std::ofstream(file, std::ios::binary) << std::string(5000, 'x');  // older and longer
    WriteCompareReport(ws, file);
    EXPECT_EQ(test::ReadFile(file), CompareReport(ws));
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir), {}), 1)
        << "no temporary file left behind";
    EXPECT_THROW(WriteCompareReport(ws, dir / "no-such-folder" / kCompareReportName), IoError);
    ws.SampleNames.resize(3);
    EXPECT_THROW(WriteCompareReport(ws, file), Error);
    EXPECT_EQ(test::ReadFile(file), CompareReport(FixedSamples()));
}

// ---- the profile component report ---------------------------------------------------------------

std::string ProfileReport(const GlobalVariables& ws) {
    std::ostringstream out;
    WriteProfileReport(ws, out, "04/02/2024");
    return out.str();
}

// Both golden files hold a name with text after a NUL (not shown), a name beyond the 30-character
// field and signed values of every magnitude.
GlobalVariables ProfiledWorkspace(int16_t colorSpace = 0) {
    GlobalVariables ws;
    test::FillTiles(ws, 32);
    ws.ColorSpace = colorSpace;
    ws.TileNames[4] = std::string("Green Tile\0garbage", 18);
    ws.TileNames[5] = "A very long ceramic tile name beyond thirty characters";
    ws.RawDE(1, 0) = -0.5;
    ws.RawDE(1, 1) = 0.5;
    return ws;
}

TEST(ProfileReport, MatchesTheGoldenReportsAndAveragesOverTheListedTiles) {
    ExpectGolden(ProfileReport(ProfiledWorkspace(0)), "ProfileReport.txt");
    ExpectGolden(ProfileReport(ProfiledWorkspace(2)), "ProfileReportHunter.txt");

    GlobalVariables ws = ProfiledWorkspace();
    double raw = 0.0, final = 0.0;
    for (int i = 0; i < 32; ++i) {
        raw += ws.RawDE(i, 3);
        final += ws.FinalDE(i, 3);
    }
    const auto lines = Lines(ProfileReport(ws));
    ASSERT_EQ(lines.size(), 50u);
    EXPECT_EQ(lines[44], "Average DE" + std::string(38, ' ') + "Actual ->" +
                             Format(raw / 32, " ##0.00") + std::string(22, ' ') + "Correlated ->" +
                             Format(final / 32, " ##0.00"));
    GlobalVariables empty;
    test::FillHeaders(empty);
    EXPECT_EQ(Lines(ProfileReport(empty))[12],
              "Average DE                                      Actual -> 0.00"
              "                      Correlated -> 0.00");

    ws.TileNames.resize(10);
    std::ostringstream out;
    EXPECT_THROW(WriteProfileReport(ws, out, ""), Error);
    EXPECT_TRUE(out.str().empty());
}

TEST(ProfileReport, NamesInAnyScriptKeepTheirColumnsAndNoCharacterIsCutInHalf) {
    GlobalVariables ws = ProfiledWorkspace();
    const std::vector<std::string> names = {
        "Wei\xC3\x9F",
        "Gr\xC3\xBCn gl\xC3\xA4nzend Fliese Nr. 10 \xC3\xA4\xC3\xB6\xC3\xBC",
        "Rouge fonc\xC3\xA9",
        "\xC5\xBB\xC3\xB3\xC5\x82ta p\xC5\x82ytka",  // Żółta płytka
        "\xCE\x9B\xCE\xB5\xCF\x85\xCE\xBA\xCF\x8C",
        "\xD0\x91\xD0\xB5\xD0\xBB\xD1\x8B\xD0\xB9",
        "\xE7\x99\xBD\xE8\x89\xB2\xE3\x82\xBF\xE3\x82\xA4\xE3\x83\xAB",
        "Bad byte \xC3"};
    for (std::size_t i = 0; i < names.size(); ++i)
        ws.TileNames[i] = names[i];
    // 29 ASCII characters and a two-byte one: cut by bytes, the 30th column was half of "ü".
    ws.TileNames[8] = "Fliese mit sehr langem Namen \xC3\xBC und mehr";
    ws.MasterType = "Spektralfotometer M\xC3\xBCnchen Gr\xC3\xB6\xC3\x9Fe 2";
    const std::string text = ProfileReport(ws);
    EXPECT_EQ(ValidUtf8(text), text) << "the report is well-formed UTF-8";
    const auto lines = Lines(text);
    // Master line: the name cut to 20 columns, then "   Status: ".
    EXPECT_EQ(lines[0].substr(0, lines[0].find("   Status")),
              "Master Instrument: Spektralfotometer M\xC3\xBC");
    for (int i = 0; i < 9; ++i) {
        const std::string& line = lines[11 + i];
        // Every value column starts 30 columns in, whatever the name's script.
        EXPECT_EQ(TextColumns(line.substr(0, line.find(SignedValue(ws.RawDE(i, 0))))), 30u) << line;
        EXPECT_EQ(TextColumns(line), TextColumns(lines[11 + 9])) << line;
    }
    EXPECT_TRUE(lines[11 + 8].starts_with("Fliese mit sehr langem Namen \xC3\xBC ")) << lines[19];
    EXPECT_TRUE(lines[11 + 7].starts_with("Bad byte \xEF\xBF\xBD ")) << lines[18];
}

}  // namespace
}  // namespace tintara
