#include "files/CCFReadWrite.h"

#include <gtest/gtest.h>

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

std::string Slurp(const std::filesystem::path& p) {
    std::ifstream in(p, std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

void Spit(const std::filesystem::path& p, const std::string& text) {
    std::ofstream out(p, std::ios::binary | std::ios::trunc);
    out << text;
}

// Splits on CR LF; fails the test if any line ends otherwise.
std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    std::size_t start = 0;
    while (start < text.size()) {
        const auto end = text.find("\r\n", start);
        if (end == std::string::npos) {
            ADD_FAILURE() << "text after the last CR LF: " << text.substr(start, 40);
            break;
        }
        const std::string line = text.substr(start, end - start);
        EXPECT_EQ(line.find('\n'), std::string::npos) << "bare LF inside line " << lines.size() + 1;
        lines.push_back(line);
        start = end + 2;
    }
    return lines;
}

std::string Join(const std::vector<std::string>& lines) {
    std::string text;
    for (const auto& l : lines)
        text += l + "\r\n";
    return text;
}

// A fixed, small profile run: a 16-tile set, coefficients that vary by point and include negative
// values, values below 1 and values that round at the printed precision. `run` varies them so
// that two runs are told apart.
void FillRun(GlobalVariables& ws, bool sci, int run) {
    ws.DimensionTileArrays(16);
    ws.SetReferenceTiles(16);
    ws.MasterInstrumentID = 47;
    ws.TargetInstrumentID = 12;
    ws.MasterStatus = sci ? "RNIIXX" : "RNEIXX";
    ws.TargetStatus = sci ? "RNIIXX" : "RNEIXX";
    ws.MasterTileSetSerial = "TS-1001";
    ws.TargetTileSetSerial = "TS-1002";
    ws.MasterDate = "14/03/2024 09:26:53";
    ws.TargetDate = "15/03/2024 10:01:02";
    ws.MasterFileTime = SystemTime{2024, 3, 4, 14, 9, 26, 53, 589};
    ws.TargetFileTime = SystemTime{2024, 3, 5, 15, 10, 1, 2, 7};
    ws.MasterCompany = "Colour Lab, Inc";  // a comma: written and read as it stands
    ws.TargetCompany = "Colour Lab, Inc";
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

std::filesystem::path Scratch(const std::string& name) {
    return test::ScratchDir(name);
}

// ---- layout of one file -------------------------------------------------------------------------

TEST(CCFReadWrite, SciToNewFileIsHeaderRealBlockThenPlaceholder) {
    GlobalVariables ws;
    FillRun(ws, true, 0);
    const auto file = Scratch("SciNew") / "pair.ccf";
    CCFReadWrite(ws).WriteCoeficcients(file);

    const auto lines = Lines(Slurp(file));
    ASSERT_EQ(lines.size(), 32u + 780u + 819u);
    EXPECT_EQ(lines[30], "True");
    EXPECT_EQ(lines[31], "False");
    EXPECT_TRUE(ws.SCICoefficientsPresent);
    EXPECT_FALSE(ws.SCECoefficientsPresent);

    // Header: IDs by the print statement, texts as they stand, SYSTEMTIME words reordered.
    EXPECT_EQ(lines[0], PrintNumber(47));
    EXPECT_EQ(lines[1], "RNIIXX");
    EXPECT_EQ(lines[2], "TS-1001");
    EXPECT_EQ(lines[3], "14/03/2024 09:26:53");
    const std::vector<int> masterWords = {4, 3, 14, 2024, 9, 26, 53, 589};
    for (int i = 0; i < 8; ++i)
        EXPECT_EQ(lines[4 + i], PrintNumber(masterWords[i])) << i;
    EXPECT_EQ(lines[12], "Colour Lab, Inc");
    EXPECT_EQ(lines[13], "M-778");
    EXPECT_EQ(lines[14], "A. Smith");
    EXPECT_EQ(lines[15], PrintNumber(12));
    const std::vector<int> targetWords = {5, 3, 15, 2024, 10, 1, 2, 7};
    for (int i = 0; i < 8; ++i)
        EXPECT_EQ(lines[19 + i], PrintNumber(targetWords[i])) << i;
    EXPECT_EQ(lines[29], "B. Jones");

    // The first real group (the golden file pins every byte of a whole file).
    EXPECT_EQ(lines[32], Format(ws.OffsetCoefficients[1], "##.000"));
    EXPECT_EQ(lines[32 + 13], Format(ws.LinearityPoints[1][3], "###.000"));  // first break level
    EXPECT_EQ(lines[32 + 19], Format(ws.WavelengthCoefficients[1][2], "0.000"));
    // Placeholder groups of 21 lines, identical for every point.
    const std::vector<std::string> bogus = {
        "0.000",   "1.000",   "1.000",   "1.00000", "0.00000", "1.00000", "0.00000",
        "1.00000", "0.00000", "1.00000", "0.00000", "1.00000", "0.00000", "20.000",
        "30.000",  "40.000",  "50.000",  "60.000",  "0.000",   "1.000",   "0.000"};
    for (std::size_t i = 0; i < 819; ++i) {
        ASSERT_EQ(lines[32 + 780 + i], bogus[i % 21]) << "placeholder line " << i;
    }
}

TEST(CCFReadWrite, SceToNewFileIsTheMirror) {
    GlobalVariables ws;
    FillRun(ws, false, 0);
    const auto file = Scratch("SceNew") / "pair.ccf";
    CCFReadWrite(ws).WriteCoeficcients(file);

    const auto lines = Lines(Slurp(file));
    ASSERT_EQ(lines.size(), 32u + 819u + 780u);
    EXPECT_EQ(lines[30], "False");
    EXPECT_EQ(lines[31], "True");
    EXPECT_EQ(lines[32], "0.000");
    EXPECT_EQ(lines[32 + 17], "60.000");
    EXPECT_EQ(lines[32 + 819], Format(ws.OffsetCoefficients[1], "##.000"));
    EXPECT_EQ(lines.back(), Format(ws.WavelengthCoefficients[39][2], "0.000"));
}

TEST(CCFReadWrite, GoldenFileByteForByte) {
    GlobalVariables ws;
    FillRun(ws, true, 0);
    const auto file = Scratch("Golden") / "golden.ccf";
    CCFReadWrite(ws).WriteCoeficcients(file);
    const auto golden = test::DataPath("ccf/golden-sci.ccf");
    if (std::getenv("TINTARA_UPDATE_GOLDEN")) {
        std::filesystem::copy_file(file, golden, std::filesystem::copy_options::overwrite_existing);
    }
    EXPECT_EQ(Slurp(file), Slurp(golden));
}

TEST(CCFReadWrite, PathWritersFollowTheFileDiscipline) {
    // WriteHeader truncates, the block writers append: the path forms compose to what the merge
    // builds in memory.
    GlobalVariables ws;
    FillRun(ws, true, 0);
    const auto dir = Scratch("PathWriters");
    CCFReadWrite ccf(ws);
    ccf.WriteCoeficcients(dir / "merged.ccf");
    Spit(dir / "pieces.ccf", "stale content that must go\r\n");
    ccf.WriteHeader(dir / "pieces.ccf");
    ccf.WriteCCFActualData(dir / "pieces.ccf");
    ccf.WriteCCFBogusData(dir / "pieces.ccf");
    EXPECT_EQ(Slurp(dir / "pieces.ccf"), Slurp(dir / "merged.ccf"));
    EXPECT_THROW(ccf.WriteCCFBogusData(dir / "no-such-dir" / "x.ccf"), IoError);
}

// ---- the merge
// ------------------------------------------------------------------------------------

TEST(CCFReadWrite, SceAfterSciKeepsTheSciBlockLineForLine) {
    const auto file = Scratch("SceAfterSci") / "pair.ccf";
    GlobalVariables sciRun;
    FillRun(sciRun, true, 0);
    CCFReadWrite(sciRun).WriteCoeficcients(file);
    const auto first = Lines(Slurp(file));

    GlobalVariables sceRun;  // a later session: nothing in memory but the new run
    FillRun(sceRun, false, 3);
    CCFReadWrite(sceRun).WriteCoeficcients(file);
    const auto second = Lines(Slurp(file));

    ASSERT_EQ(second.size(), 32u + 780u + 780u);
    EXPECT_EQ(second[30], "True");
    EXPECT_EQ(second[31], "True");
    for (std::size_t i = 32; i < 32 + 780; ++i)
        ASSERT_EQ(second[i], first[i]) << "line " << i + 1;
    // The SCE block is the new run's, not a copy of the SCI one.
    EXPECT_EQ(second[32 + 780], Format(sceRun.OffsetCoefficients[1], "##.000"));
    EXPECT_NE(second[32 + 780], first[32]);
}

TEST(CCFReadWrite, SciAfterSceKeepsTheSceBlockLineForLine) {
    const auto file = Scratch("SciAfterSce") / "pair.ccf";
    GlobalVariables sceRun;
    FillRun(sceRun, false, 2);
    CCFReadWrite(sceRun).WriteCoeficcients(file);
    const auto first = Lines(Slurp(file));
    ASSERT_EQ(first.size(), 32u + 819u + 780u);

    GlobalVariables sciRun;
    FillRun(sciRun, true, 5);
    CCFReadWrite(sciRun).WriteCoeficcients(file);
    const auto second = Lines(Slurp(file));

    ASSERT_EQ(second.size(), 32u + 780u + 780u);
    EXPECT_EQ(second[30], "True");
    EXPECT_EQ(second[31], "True");
    for (std::size_t i = 0; i < 780; ++i) {
        ASSERT_EQ(second[32 + 780 + i], first[32 + 819 + i]) << "SCE line " << i;
    }
    EXPECT_EQ(second[32], Format(sciRun.OffsetCoefficients[1], "##.000"));
}

TEST(CCFReadWrite, RepeatedSciRunKeepsThePlaceholderReadable) {
    // The SCE block of a SCI-only file is a placeholder; writing SCI again must not turn it into a
    // 20-line block under a "False" flag, which could no longer be read in step.
    const auto file = Scratch("SciTwice") / "pair.ccf";
    GlobalVariables ws;
    FillRun(ws, true, 0);
    CCFReadWrite(ws).WriteCoeficcients(file);
    FillRun(ws, true, 4);
    CCFReadWrite(ws).WriteCoeficcients(file);
    const auto lines = Lines(Slurp(file));
    ASSERT_EQ(lines.size(), 32u + 780u + 819u);
    EXPECT_EQ(lines[31], "False");
    EXPECT_EQ(lines[32], Format(ws.OffsetCoefficients[1], "##.000"));
    EXPECT_NO_THROW(ParseCoefficientFile(file));
}

TEST(CCFReadWrite, NewFileDoesNotInheritTheOtherFlagFromAnEarlierFile) {
    const auto dir = Scratch("FlagCarry");
    GlobalVariables ws;
    FillRun(ws, true, 0);
    CCFReadWrite ccf(ws);
    ccf.WriteCoeficcients(dir / "a.ccf");
    FillRun(ws, false, 1);
    ccf.WriteCoeficcients(dir / "b.ccf");  // new file: its SCI block is a placeholder
    const auto lines = Lines(Slurp(dir / "b.ccf"));
    EXPECT_EQ(lines[30], "False");
    EXPECT_EQ(lines[31], "True");
    EXPECT_NO_THROW(ParseCoefficientFile(dir / "b.ccf"));
}

TEST(CCFReadWrite, AnotherInstrumentPairIsRefusedAndTheFileUntouched) {
    const auto file = Scratch("Mismatch") / "pair.ccf";
    GlobalVariables ws;
    FillRun(ws, true, 0);
    CCFReadWrite(ws).WriteCoeficcients(file);
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
        EXPECT_EQ(other.Bank1Data, bankBefore);  // the refused write changed nothing in memory
        EXPECT_FALSE(other.SCECoefficientsPresent);
    }
}

TEST(CCFReadWrite, FailuresLeaveTheEarlierFileIntact) {
    const auto dir = Scratch("WriteFailure");
    GlobalVariables ws;
    FillRun(ws, true, 0);
    CCFReadWrite(ws).WriteCoeficcients(dir / "pair.ccf");
    const std::string before = Slurp(dir / "pair.ccf");

    // A coefficient that is not a number is never written.
    ws.GainCoefficients[7] = std::nan("");
    EXPECT_THROW(CCFReadWrite(ws).WriteCoeficcients(dir / "pair.ccf"), ComputeError);
    EXPECT_EQ(Slurp(dir / "pair.ccf"), before);

    // An existing file we cannot understand is not replaced.
    FillRun(ws, true, 0);
    Spit(dir / "broken.ccf", "not a coefficient file\r\n");
    EXPECT_THROW(CCFReadWrite(ws).WriteCoeficcients(dir / "broken.ccf"), ParseError);
    EXPECT_EQ(Slurp(dir / "broken.ccf"), "not a coefficient file\r\n");

    // A folder that does not exist: an I/O error, and no stray temporary file anywhere.
    EXPECT_THROW(CCFReadWrite(ws).WriteCoeficcients(dir / "missing" / "x.ccf"), IoError);
    int entries = 0;
    for ([[maybe_unused]] const auto& e : std::filesystem::directory_iterator(dir))
        ++entries;
    EXPECT_EQ(entries, 2);
}

// ---- reading
// --------------------------------------------------------------------------------------

TEST(CCFReadWrite, ReadingBringsBackHeaderFlagsAndBothBanks) {
    const auto file = Scratch("RoundTrip") / "pair.ccf";
    GlobalVariables sciRun;
    FillRun(sciRun, true, 0);
    CCFReadWrite(sciRun).WriteCoeficcients(file);
    GlobalVariables sceRun;
    FillRun(sceRun, false, 6);
    CCFReadWrite(sceRun).WriteCoeficcients(file);

    GlobalVariables ws;
    CCFReadWrite(ws).ReadCoefficientsIntoMemory(file);
    EXPECT_TRUE(ws.SCICoefficientsPresent);
    EXPECT_TRUE(ws.SCECoefficientsPresent);
    // The header is the one last written (the SCE run's), commas and all.
    EXPECT_EQ(ws.FileMasterHeader.InstrumentID, 47);
    EXPECT_EQ(ws.FileTargetHeader.InstrumentID, 12);
    EXPECT_EQ(ws.FileMasterHeader.Status, "RNEIXX");
    EXPECT_EQ(ws.FileMasterHeader.Company, "Colour Lab, Inc");
    EXPECT_EQ(ws.FileMasterHeader.FileTime, sceRun.MasterFileTime);
    EXPECT_EQ(ws.FileTargetHeader.FileTime, sceRun.TargetFileTime);
    EXPECT_EQ(ws.FileTargetHeader.Operator, "B. Jones");

    // Banks hold each run's values to the printed precision.
    auto check = [](const CoefficientBank& bank, const GlobalVariables& run, const char* name) {
        for (int p = 1; p < kPointCount; ++p) {
            EXPECT_NEAR(bank.Offset[p], run.OffsetCoefficients[p], 5e-4 + 1e-12) << name << p;
            EXPECT_NEAR(bank.Gain[p], run.GainCoefficients[p], 5e-7 + 1e-12) << name << p;
            EXPECT_NEAR(bank.GainTileReflectance[p], run.TargetReflectance(0, p), 5e-4 + 1e-12);
            for (int j = 1; j <= 5; ++j) {
                EXPECT_NEAR(bank.Slopes[p][j], run.LinearitySlopes[p][j], 5e-7 + 1e-12);
                EXPECT_NEAR(bank.Intercepts[p][j], run.LinearityIntercepts[p][j], 5e-7 + 1e-12);
            }
            for (int j = 1; j <= 4; ++j) {
                EXPECT_NEAR(bank.Levels[p][j], run.LinearityPoints[p][2 * j + 1], 5e-4 + 1e-12);
            }
            for (int k = 0; k < 3; ++k) {
                EXPECT_NEAR(bank.Wavelength[p][k], run.WavelengthCoefficients[p][k], 5e-4);
            }
        }
    };
    check(ws.Bank1Data, sciRun, "SCI ");
    check(ws.Bank2Data, sceRun, "SCE ");
}

TEST(CCFReadWrite, PlaceholderBlockIsReadInStep) {
    // An SCE-only file: its SCI block is a placeholder; the SCE bank must come out exact, not 39
    // lines late.
    const auto file = Scratch("SceOnly") / "pair.ccf";
    GlobalVariables sceRun;
    FillRun(sceRun, false, 0);
    CCFReadWrite(sceRun).WriteCoeficcients(file);
    const auto c = ParseCoefficientFile(file);
    EXPECT_FALSE(c.SCIPresent);
    EXPECT_TRUE(c.SCEPresent);
    for (int p = 1; p < kPointCount; ++p) {
        EXPECT_EQ(c.SCI.Offset[p], 0.0);
        EXPECT_EQ(c.SCI.Gain[p], 1.0);
        EXPECT_EQ(c.SCI.Levels[p][4], 50.0);
        EXPECT_EQ(c.SCI.Wavelength[p][1], 1.0);
        EXPECT_NEAR(c.SCE.Offset[p], sceRun.OffsetCoefficients[p], 5e-4 + 1e-12);
        EXPECT_NEAR(c.SCE.Wavelength[p][2], sceRun.WavelengthCoefficients[p][2], 5e-4);
    }
}

TEST(CCFReadWrite, BrokenFilesAreRefusedNamingTheLineAndNothingIsStored) {
    GlobalVariables good;
    FillRun(good, true, 0);
    std::ostringstream text;
    CCFReadWrite writer(good);
    good.SCICoefficientsPresent = true;
    writer.WriteHeader(text);
    writer.WriteCCFActualData(text);
    writer.WriteCCFBogusData(text);
    const auto lines = Lines(text.str());
    ASSERT_EQ(lines.size(), 1631u);

    struct Case {
        const char* what;
        std::vector<std::string> lines;
        int line;
    };
    auto replaced = [&](std::size_t index, const std::string& value) {
        auto l = lines;
        l[index] = value;
        return l;
    };
    std::vector<Case> cases = {
        {"empty", {}, 1},
        {"short", std::vector<std::string>(lines.begin(), lines.begin() + 500), 501},
        {"one line short", std::vector<std::string>(lines.begin(), lines.end() - 1), 1631},
        {"non-number in a block", replaced(99, "1.2x"), 100},
        {"blank number", replaced(40, ""), 41},
        {"non-integer ID", replaced(15, "twelve"), 16},
        {"SYSTEMTIME word out of range", replaced(7, " 70000 "), 8},
        {"bad SCI flag", replaced(30, "Yes"), 31},
        {"bad SCE flag", replaced(31, "true"), 32},
        {"text after the last block",
         [&] {
             auto l = lines;
             l.push_back("");
             l.push_back("extra");
             return l;
         }(),
         1633},
    };
    for (const Case& c : cases) {
        GlobalVariables ws;
        ws.Bank1Data.Offset[5] = 42.0;  // must survive a refused read
        std::istringstream in(Join(c.lines));
        try {
            CCFReadWrite(ws).ReadCoefficientsIntoMemory(in, "broken.ccf");
            ADD_FAILURE() << c.what << ": accepted";
        } catch (const ParseError& e) {
            EXPECT_EQ(e.Line(), c.line) << c.what << ": " << e.what();
            EXPECT_NE(std::string(e.what()).find("line " + std::to_string(c.line)),
                      std::string::npos)
                << e.what();
        }
        EXPECT_EQ(ws.Bank1Data.Offset[5], 42.0) << c.what;
        EXPECT_FALSE(ws.SCICoefficientsPresent) << c.what;
    }

    // Blank lines after the end, LF-only line ends and blanks around numbers are all fine.
    std::string lf = Join(lines) + "\r\n\r\n";
    std::string unix;
    for (char ch : lf) {
        if (ch != '\r')
            unix += ch;
    }
    std::istringstream in(unix);
    const auto c = ParseCoefficientFile(in, "lf.ccf");
    EXPECT_TRUE(c.SCIPresent);
    EXPECT_EQ(c.Master.Company, "Colour Lab, Inc");
}

TEST(CCFReadWrite, MissingFileIsAnIoError) {
    GlobalVariables ws;
    EXPECT_THROW(CCFReadWrite(ws).ReadCoefficientsIntoMemory(Scratch("Missing") / "none.ccf"),
                 IoError);
}

}  // namespace
}  // namespace tintara
