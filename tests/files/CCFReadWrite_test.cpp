#include "files/CCFReadWrite.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "support/TestPaths.h"
#include "workspace/Error.h"
#include "workspace/NumberFormat.h"

namespace tintara {
namespace {

namespace fs = std::filesystem;

std::string Slurp(const fs::path& p) {
    std::ifstream in(p, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

// Splits into lines; fails the test for a line that does not end in CR LF.
std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string l; std::getline(in, l); lines.push_back(l.substr(0, l.size() - 1)))
        EXPECT_TRUE(!l.empty() && l.back() == '\r') << "no CR LF ending line " << lines.size() + 1;
    EXPECT_TRUE(text.empty() || text.back() == '\n');
    return lines;
}

// A fixed, small profile run: a 16-tile set, coefficients that vary by point and include negative
// values, values below 1 and values that round at the printed precision. `run` varies them so
// that two runs are told apart.
void FillRun(GlobalVariables& ws, bool sci, int run) {
    ws.DimensionTileArrays(16);
    ws.SetReferenceTiles(16);
    ws.MasterInstrumentID = 47;
    ws.TargetInstrumentID = 12;
    ws.MasterStatus = ws.TargetStatus = sci ? "RNIIXX" : "RNEIXX";
    ws.MasterTileSetSerial = "TS-1001";
    ws.TargetTileSetSerial = "TS-1002";
    ws.MasterDate = "14/03/2024 09:26:53";
    ws.TargetDate = "15/03/2024 10:01:02";
    ws.MasterFileTime = SystemTime{2024, 3, 4, 14, 9, 26, 53, 589};
    ws.TargetFileTime = SystemTime{2024, 3, 5, 15, 10, 1, 2, 7};
    ws.MasterCompany = ws.TargetCompany = "Colour Lab, Inc";  // a comma: kept as it stands
    ws.MasterSerial = "M-778";
    ws.TargetSerial = "T-901";
    ws.MasterOperator = "A. Smith";
    ws.TargetOperator = "B. Jones";
    for (int p = 0; p < kPointCount; ++p) {
        const double k = p + 0.1 * run;
        ws.OffsetCoefficients[p] = -0.35 + 0.0127 * k;
        ws.GainCoefficients[p] = 0.985 + 0.00071 * k + 0.0000004;
        ws.TargetReflectance(ws.GainTile, p) = 85.0 + 0.25 * k + 0.00049;
        for (int j = 0; j < 6; ++j) {
            ws.LinearitySlopes[p][j] = j == 0 || j == 5 ? 1.0 : 0.97 + 0.01 * j + 0.0001 * k;
            ws.LinearityIntercepts[p][j] = j == 0 || j == 5 ? 0.0 : -0.2 + 0.05 * j - 0.001 * k;
        }
        for (int kk = 0; kk < 5; ++kk) {
            ws.LinearityPoints[p][2 * kk] = 3.0 + 20.0 * kk;
            ws.LinearityPoints[p][2 * kk + 1] = 3.5 + 20.0 * kk + 0.01 * k;
        }
        ws.WavelengthCoefficients[p] = {0.01 * (p % 3), 1.0 - 0.01 * (p % 3) - 0.01 * (p % 2),
                                        0.01 * (p % 2)};
    }
}

// Writes one run into `file` (merging with what is there) and returns the file's lines.
std::vector<std::string> WriteRun(const fs::path& file, bool sci, int run) {
    GlobalVariables ws;  // a fresh session: nothing in memory but the new run
    FillRun(ws, sci, run);
    CCFReadWrite(ws).WriteCoeficcients(file);
    return Lines(Slurp(file));
}

// The placeholder group of 21 lines, identical for every point.
const std::vector<std::string> kBogus = {
    "0.000",   "1.000",   "1.000",   "1.00000", "0.00000", "1.00000", "0.00000",
    "1.00000", "0.00000", "1.00000", "0.00000", "1.00000", "0.00000", "20.000",
    "30.000",  "40.000",  "50.000",  "60.000",  "0.000",   "1.000",   "0.000"};

TEST(CCFReadWrite, SciToNewFileIsHeaderRealBlockThenPlaceholderAndMatchesTheGoldenFile) {
    GlobalVariables ws;
    FillRun(ws, true, 0);
    const auto file = test::ScratchDir("SciNew") / "golden.ccf";
    CCFReadWrite(ws).WriteCoeficcients(file);
    const auto golden = test::DataPath("ccf/golden-sci.ccf");
    if (std::getenv("TINTARA_UPDATE_GOLDEN"))
        fs::copy_file(file, golden, fs::copy_options::overwrite_existing);
    EXPECT_EQ(Slurp(file), Slurp(golden));

    const auto lines = Lines(Slurp(file));
    ASSERT_EQ(lines.size(), 32u + 780u + 819u);
    EXPECT_EQ(lines[30] + "/" + lines[31], "True/False");
    EXPECT_TRUE(ws.SCICoefficientsPresent && !ws.SCECoefficientsPresent);
    // SYSTEMTIME words: day of week, month, day, year, hour, minute, second, milliseconds.
    const int words[] = {4, 3, 14, 2024, 9, 26, 53, 589};
    for (int i = 0; i < 8; ++i)
        EXPECT_EQ(lines[4 + i], PrintNumber(words[i])) << i;
    EXPECT_EQ(lines[32], Format(ws.OffsetCoefficients[1], "##.000"));
    for (std::size_t i = 0; i < 819; ++i)
        ASSERT_EQ(lines[32 + 780 + i], kBogus[i % 21]) << "placeholder line " << i;
}

TEST(CCFReadWrite, SceToNewFileIsTheMirrorAndInheritsNoFlagFromAnEarlierFile) {
    const auto dir = test::ScratchDir("SceNew");
    GlobalVariables ws;
    FillRun(ws, true, 0);
    CCFReadWrite ccf(ws);
    ccf.WriteCoeficcients(dir / "a.ccf");
    FillRun(ws, false, 1);
    ccf.WriteCoeficcients(dir / "b.ccf");  // a new file: its SCI block is a placeholder
    const auto lines = Lines(Slurp(dir / "b.ccf"));
    ASSERT_EQ(lines.size(), 32u + 819u + 780u);
    EXPECT_EQ(lines[30] + "/" + lines[31], "False/True");
    for (std::size_t i = 0; i < 819; ++i)
        ASSERT_EQ(lines[32 + i], kBogus[i % 21]) << "placeholder line " << i;
    EXPECT_EQ(lines[32 + 819], Format(ws.OffsetCoefficients[1], "##.000"));
    EXPECT_EQ(lines.back(), Format(ws.WavelengthCoefficients[39][2], "0.000"));
}

TEST(CCFReadWrite, EachGeometryKeepsTheOtherGeometrysBlockLineForLine) {
    const auto dir = test::ScratchDir("Merge");
    // SCE after SCI.
    const auto sci = WriteRun(dir / "a.ccf", true, 0);
    const auto both = WriteRun(dir / "a.ccf", false, 3);
    ASSERT_EQ(both.size(), 32u + 780u + 780u);
    EXPECT_EQ(both[30] + "/" + both[31], "True/True");
    EXPECT_TRUE(std::equal(sci.begin() + 32, sci.begin() + 32 + 780, both.begin() + 32));
    EXPECT_NE(both[32 + 780], sci[32]);  // the SCE block is the new run's

    // SCI after SCE.
    const auto sce = WriteRun(dir / "b.ccf", false, 2);
    const auto again = WriteRun(dir / "b.ccf", true, 5);
    ASSERT_EQ(again.size(), 32u + 780u + 780u);
    EXPECT_EQ(again[30] + "/" + again[31], "True/True");
    EXPECT_TRUE(std::equal(sce.begin() + 32 + 819, sce.end(), again.begin() + 32 + 780));

    // SCI twice: the placeholder must not turn into a 20-line block under a "False" flag.
    WriteRun(dir / "c.ccf", true, 0);
    const auto twice = WriteRun(dir / "c.ccf", true, 4);
    ASSERT_EQ(twice.size(), 32u + 780u + 819u);
    EXPECT_EQ(twice[31], "False");
    EXPECT_NE(twice[32], sci[32]);
    EXPECT_NO_THROW(ParseCoefficientFile(dir / "c.ccf"));
}

TEST(CCFReadWrite, RefusedOrFailedWritesLeaveTheFileUntouched) {
    const auto dir = test::ScratchDir("Refused");
    const auto file = dir / "pair.ccf";
    WriteRun(file, true, 0);
    const std::string before = Slurp(file);

    for (int side = 0; side < 2; ++side) {
        GlobalVariables other;
        FillRun(other, false, 1);
        (side == 0 ? other.MasterInstrumentID : other.TargetInstrumentID) = 99;
        const CoefficientBank bankBefore = other.Bank1Data;
        try {
            CCFReadWrite(other).WriteCoeficcients(file);
            ADD_FAILURE() << "no refusal for side " << side;
        } catch (const Refusal& r) {
            EXPECT_EQ(r.Title(), "ERROR");
            EXPECT_EQ(r.Text(), "Incorrect Instruments from file");
        }
        EXPECT_EQ(Slurp(file), before);
        EXPECT_EQ(other.Bank1Data, bankBefore);  // nothing changed in memory either
        EXPECT_FALSE(other.SCECoefficientsPresent);
    }

    GlobalVariables ws;
    FillRun(ws, true, 0);
    ws.GainCoefficients[7] = std::nan("");  // never written
    EXPECT_THROW(CCFReadWrite(ws).WriteCoeficcients(file), ComputeError);
    EXPECT_EQ(Slurp(file), before);

    FillRun(ws, true, 0);
    std::ofstream(dir / "broken.ccf", std::ios::binary) << "not a coefficient file\r\n";
    EXPECT_THROW(CCFReadWrite(ws).WriteCoeficcients(dir / "broken.ccf"), ParseError);
    EXPECT_EQ(Slurp(dir / "broken.ccf"), "not a coefficient file\r\n");
    EXPECT_THROW(CCFReadWrite(ws).WriteCoeficcients(dir / "missing" / "x.ccf"), IoError);
    EXPECT_EQ(std::distance(fs::directory_iterator(dir), {}), 2);  // no stray temporary file
}

TEST(CCFReadWrite, ReadingBringsBackHeaderFlagsAndBothBanks) {
    const auto file = test::ScratchDir("RoundTrip") / "pair.ccf";
    GlobalVariables sciRun, sceRun;
    FillRun(sceRun, false, 6);
    CCFReadWrite(sceRun).WriteCoeficcients(file);
    // An SCE-only file: the SCI placeholder is read in step and amounts to the identity.
    const auto sceOnly = ParseCoefficientFile(file);
    EXPECT_FALSE(sceOnly.SCIPresent);
    EXPECT_EQ(sceOnly.SCI.Gain[7], 1.0);
    EXPECT_EQ(sceOnly.SCI.Levels[7][4], 50.0);
    FillRun(sciRun, true, 0);
    CCFReadWrite(sciRun).WriteCoeficcients(file);

    GlobalVariables ws;
    CCFReadWrite(ws).ReadCoefficientsIntoMemory(file);
    EXPECT_TRUE(ws.SCICoefficientsPresent && ws.SCECoefficientsPresent);
    EXPECT_EQ(ws.FileMasterHeader.InstrumentID, 47);
    EXPECT_EQ(ws.FileTargetHeader.InstrumentID, 12);
    EXPECT_EQ(ws.FileMasterHeader.Status, "RNIIXX");  // the header last written
    EXPECT_EQ(ws.FileMasterHeader.Company, "Colour Lab, Inc");
    EXPECT_EQ(ws.FileMasterHeader.FileTime, sciRun.MasterFileTime);
    EXPECT_EQ(ws.FileTargetHeader.FileTime, sciRun.TargetFileTime);
    EXPECT_EQ(ws.FileTargetHeader.Operator, "B. Jones");

    // Banks hold each run's values to the printed precision.
    auto check = [](const CoefficientBank& bank, const GlobalVariables& run) {
        for (int p = 1; p < kPointCount; ++p) {
            EXPECT_NEAR(bank.Offset[p], run.OffsetCoefficients[p], 5e-4 + 1e-12) << p;
            EXPECT_NEAR(bank.Gain[p], run.GainCoefficients[p], 5e-7 + 1e-12) << p;
            EXPECT_NEAR(bank.GainTileReflectance[p], run.TargetReflectance(0, p), 5e-4 + 1e-12);
            for (int j = 1; j <= 5; ++j) {
                EXPECT_NEAR(bank.Slopes[p][j], run.LinearitySlopes[p][j], 5e-7 + 1e-12);
                EXPECT_NEAR(bank.Intercepts[p][j], run.LinearityIntercepts[p][j], 5e-7 + 1e-12);
            }
            for (int j = 1; j <= 4; ++j)
                EXPECT_NEAR(bank.Levels[p][j], run.LinearityPoints[p][2 * j + 1], 5e-4 + 1e-12);
            for (int k = 0; k < 3; ++k)
                EXPECT_NEAR(bank.Wavelength[p][k], run.WavelengthCoefficients[p][k], 5e-4);
        }
    };
    check(ws.Bank1Data, sciRun);
    check(ws.Bank2Data, sceRun);
    check(sceOnly.SCE, sceRun);
}

TEST(CCFReadWrite, BrokenFilesAreRefusedNamingTheLineAndNothingIsStored) {
    const auto lines = WriteRun(test::ScratchDir("Broken") / "good.ccf", true, 0);
    ASSERT_EQ(lines.size(), 1631u);

    struct Case {
        std::vector<std::string> lines;
        int line;
    };
    auto replaced = [&](std::size_t index, const std::string& value) {
        auto l = lines;
        l[index] = value;
        return l;
    };
    auto extra = lines;
    extra.insert(extra.end(), {"", "extra"});
    const Case cases[] = {
        {{}, 1},                                                              // empty
        {std::vector<std::string>(lines.begin(), lines.begin() + 500), 501},  // short
        {std::vector<std::string>(lines.begin(), lines.end() - 1), 1631},     // one line short
        {replaced(99, "1.2x"), 100},                                          // non-number
        {replaced(40, ""), 41},                                               // blank number
        {replaced(15, "twelve"), 16},                                         // non-integer ID
        {replaced(7, " 70000 "), 8},  // SYSTEMTIME word out of range
        {replaced(30, "Yes"), 31},    // bad SCI flag
        {replaced(31, "true"), 32},   // bad SCE flag
        {extra, 1633},                // text after the last block
    };
    for (const Case& c : cases) {
        GlobalVariables ws;
        ws.Bank1Data.Offset[5] = 42.0;  // must survive a refused read
        std::string joined;
        for (const auto& l : c.lines)
            joined += l + "\r\n";
        std::istringstream in(joined);
        try {
            CCFReadWrite(ws).ReadCoefficientsIntoMemory(in, "broken.ccf");
            ADD_FAILURE() << "line " << c.line << ": accepted";
        } catch (const ParseError& e) {
            EXPECT_EQ(e.Line(), c.line) << e.what();
            EXPECT_NE(std::string(e.what()).find("line " + std::to_string(c.line)),
                      std::string::npos)
                << e.what();
        }
        EXPECT_EQ(ws.Bank1Data.Offset[5], 42.0) << c.line;
        EXPECT_FALSE(ws.SCICoefficientsPresent) << c.line;
    }

    // Blank lines after the end, LF-only line ends and blanks around numbers are all fine.
    std::string unix;
    for (const auto& l : lines)
        unix += l + "\n";
    std::istringstream in(unix + "\n\n");
    EXPECT_TRUE(ParseCoefficientFile(in, "lf.ccf").SCIPresent);
    GlobalVariables ws;
    EXPECT_THROW(
        CCFReadWrite(ws).ReadCoefficientsIntoMemory(test::ScratchDir("Missing") / "none.ccf"),
        IoError);
}

}  // namespace
}  // namespace tintara
