#include "files/CCFReadWrite.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "support/ExpectThrow.h"
#include "support/TestPaths.h"
#include "workspace/Error.h"
#include "workspace/NumberFormat.h"

namespace tintara {
namespace {

namespace fs = std::filesystem;

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
    return Lines(test::Slurp(file));
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
    EXPECT_EQ(test::Slurp(file), test::Slurp(golden));

    const auto lines = Lines(test::Slurp(file));
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
    const auto lines = Lines(test::Slurp(dir / "b.ccf"));
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
    const std::string before = test::Slurp(file);

    for (int side = 0; side < 2; ++side) {
        GlobalVariables other;
        FillRun(other, false, 1);
        (side == 0 ? other.MasterInstrumentID : other.TargetInstrumentID) = 99;
        const CoefficientBank bankBefore = other.Bank1Data;
        EXPECT_THROW_WHAT(CCFReadWrite(other).WriteCoeficcients(file), Refusal,
                          "ERROR: Incorrect Instruments from file")
            << "side " << side;
        EXPECT_EQ(test::Slurp(file), before);
        EXPECT_EQ(other.Bank1Data, bankBefore);  // nothing changed in memory either
        EXPECT_FALSE(other.SCECoefficientsPresent);
    }

    GlobalVariables ws;
    FillRun(ws, true, 0);
    ws.GainCoefficients[7] = std::nan("");  // never written
    EXPECT_THROW(CCFReadWrite(ws).WriteCoeficcients(file), ComputeError);
    EXPECT_EQ(test::Slurp(file), before);

    FillRun(ws, true, 0);
    std::ofstream(dir / "broken.ccf", std::ios::binary) << "not a coefficient file\r\n";
    EXPECT_THROW(CCFReadWrite(ws).WriteCoeficcients(dir / "broken.ccf"), ParseError);
    EXPECT_EQ(test::Slurp(dir / "broken.ccf"), "not a coefficient file\r\n");
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
        const char* what;
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
        {"empty", {}, 1},
        {"short", std::vector<std::string>(lines.begin(), lines.begin() + 500), 501},
        {"one line short", std::vector<std::string>(lines.begin(), lines.end() - 1), 1631},
        {"non-number", replaced(99, "1.2x"), 100},
        {"blank number", replaced(40, ""), 41},
        {"non-integer ID", replaced(15, "twelve"), 16},
        {"SYSTEMTIME word out of range", replaced(7, " 70000 "), 8},
        {"bad SCI flag", replaced(30, "Yes"), 31},
        {"bad SCE flag", replaced(31, "true"), 32},
        {"text after the last block", extra, 1633},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        GlobalVariables ws;
        ws.Bank1Data.Offset[5] = 42.0;  // must survive a refused read
        std::string joined;
        for (const auto& l : c.lines)
            joined += l + "\r\n";
        std::istringstream in(joined);
        EXPECT_THROW_WHAT(CCFReadWrite(ws).ReadCoefficientsIntoMemory(in, "broken.ccf"), ParseError,
                          "broken.ccf: line " + std::to_string(c.line) + ": ");
        EXPECT_EQ(ws.Bank1Data.Offset[5], 42.0);
        EXPECT_FALSE(ws.SCICoefficientsPresent);
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

// ---- the layouts real files have ----

// The original program's reader: 20 values a point from both blocks whatever the flags say, so a
// placeholder block is read out of step. Fills what its writer writes back.
void OriginalRead(const fs::path& file, GlobalVariables& ws) {
    const auto lines = Lines(test::Slurp(file));
    ASSERT_GE(lines.size(), 32u + 2u * 780u);
    ws.FileMasterHeader.InstrumentID = static_cast<int16_t>(Val(lines[0]));
    ws.FileTargetHeader.InstrumentID = static_cast<int16_t>(Val(lines[15]));
    ws.SCICoefficientsPresent = lines[30] == "True";
    ws.SCECoefficientsPresent = lines[31] == "True";
    std::size_t i = 32;
    for (CoefficientBank* bank : {&ws.Bank1Data, &ws.Bank2Data}) {
        for (int p = 1; p < kPointCount; ++p) {
            bank->Offset[p] = Val(lines[i++]);
            bank->Gain[p] = Val(lines[i++]);
            bank->GainTileReflectance[p] = Val(lines[i++]);
            for (int j = 1; j <= 5; ++j) {
                bank->Slopes[p][j] = Val(lines[i++]);
                bank->Intercepts[p][j] = Val(lines[i++]);
            }
            for (int j = 1; j <= 4; ++j)
                bank->Levels[p][j] = Val(lines[i++]);
            for (int k = 0; k < 3; ++k)
                bank->Wavelength[p][k] = Val(lines[i++]);
        }
    }
}

// WriteCoeficcients step by step as the original ran it, through the path writers (WriteHeader
// truncates, the block writers append).
void OriginalWrite(const fs::path& file, bool sci, int run) {
    GlobalVariables ws;
    FillRun(ws, sci, run);
    CCFReadWrite ccf(ws);
    const bool existed = fs::exists(file);
    if (existed)
        OriginalRead(file, ws);
    (sci ? ws.SCICoefficientsPresent : ws.SCECoefficientsPresent) = true;
    ccf.WriteHeader(file);
    if (sci) {
        ccf.WriteCCFActualData(file);
        existed ? ccf.WriteCCFBank2Data(file) : ccf.WriteCCFBogusData(file);
    } else {
        existed ? ccf.WriteCCFBank1Data(file) : ccf.WriteCCFBogusData(file);
        ccf.WriteCCFActualData(file);
    }
}

TEST(CCFReadWrite, EveryLayoutTheWriterProducesReadsBackAndMergesKeepingTheOtherBlock) {
    const auto dir = test::ScratchDir("Layouts");
    int files = 0;
    // Every sequence of one to four runs of either geometry into one file.
    for (int length = 1; length <= 4; ++length) {
        for (int bits = 0; bits < (1 << length); ++bits) {
            const fs::path file =
                dir / ("seq" + std::to_string(length) + "-" + std::to_string(bits) + ".ccf");
            bool sciSeen = false, sceSeen = false, lastSci = false;
            for (int step = 0; step < length; ++step) {
                lastSci = (bits >> step & 1) != 0;
                (lastSci ? sciSeen : sceSeen) = true;
                OriginalWrite(file, lastSci, step);
            }
            ++files;
            SCOPED_TRACE(file.filename().string());
            const auto lines = Lines(test::Slurp(file));
            EXPECT_EQ(lines.size(), length == 1 ? 1631u : 1592u);  // SCI twice: 1592, True/False
            CoefficientFileContents c;
            ASSERT_NO_THROW(c = ParseCoefficientFile(file));
            EXPECT_EQ(c.SCIPresent, sciSeen);
            EXPECT_EQ(c.SCEPresent, sceSeen);
            // The block last written is read in step: its values are those of the last run.
            GlobalVariables last;
            FillRun(last, lastSci, length - 1);
            const CoefficientBank& bank = lastSci ? c.SCI : c.SCE;
            for (int p = 1; p < kPointCount; ++p) {
                ASSERT_EQ(Format(bank.Offset[p], "##.000"),
                          Format(last.OffsetCoefficients[p], "##.000"));
                ASSERT_EQ(Format(bank.Wavelength[p][2], "0.000"),
                          Format(last.WavelengthCoefficients[p][2], "0.000"));
            }

            // Our merge of either geometry keeps the other block's lines as they stand.
            for (const bool sci : {true, false}) {
                const fs::path merged = dir / "merged.ccf";
                fs::copy_file(file, merged, fs::copy_options::overwrite_existing);
                const auto after = WriteRun(merged, sci, 9);
                const std::size_t otherStart = sci ? lines.size() - c.SCE.Lines.size() : 32;
                const std::size_t mergedStart = sci ? after.size() - c.SCE.Lines.size() : 32;
                const std::size_t n = (sci ? c.SCE : c.SCI).Lines.size();
                EXPECT_TRUE(std::equal(lines.begin() + otherStart, lines.begin() + otherStart + n,
                                       after.begin() + mergedStart))
                    << (sci ? "SCE" : "SCI") << " block changed";
                EXPECT_NO_THROW(ParseCoefficientFile(merged));
            }
        }
    }
    EXPECT_EQ(files, 30);
}

TEST(CCFReadWrite, StoredTextAndHeaderTextsSurviveAMerge) {
    const auto dir = test::ScratchDir("StoredText");
    const fs::path file = dir / "pair.ccf";
    auto lines = WriteRun(file, true, 0);
    // Texts a hand-edited or older file may hold: "-.000", "0.500" where we would write ".500".
    lines[32] = "-.000";
    lines[33] = "01.000000";
    std::string joined;
    for (const auto& l : lines)
        joined += l + "\r\n";
    std::ofstream(file, std::ios::binary) << joined;

    GlobalVariables ws;
    FillRun(ws, false, 1);
    ws.MasterCompany = "Line\r\nBreak Ltd";
    ws.TargetSerial = "T-901\n";
    ws.TargetOperator = std::string("Tab\tand NUL") + '\0';
    CCFReadWrite(ws).WriteCoeficcients(file);
    const auto merged = Lines(test::Slurp(file));
    ASSERT_EQ(merged.size(), 1592u);
    EXPECT_TRUE(std::equal(lines.begin() + 32, lines.begin() + 32 + 780, merged.begin() + 32));

    const auto read = ParseCoefficientFile(file);
    EXPECT_EQ(read.Master.Company, "LineBreak Ltd");
    EXPECT_EQ(read.Target.Serial, "T-901");
    EXPECT_EQ(read.Target.Operator, "Taband NUL");
    EXPECT_TRUE(read.SCIPresent && read.SCEPresent);
}

TEST(CCFReadWrite, LayoutsNoWriterProducesAreRefusedNamingTheLine) {
    const auto lines = WriteRun(test::ScratchDir("NoLayout") / "good.ccf", true, 0);
    auto parse = [](std::vector<std::string> l) {
        std::string joined;
        for (const auto& x : l)
            joined += x + "\r\n";
        std::istringstream in(joined);
        return ParseCoefficientFile(in, "odd.ccf");
    };
    auto flags = [&](const char* sci, const char* sce) {
        auto l = lines;
        l[30] = sci;
        l[31] = sce;
        return l;
    };
    // Both real flags over a 20 + 21 layout: the SCE block ends 39 lines early.
    EXPECT_THROW_WHAT(parse(flags("True", "True")), ParseError, "odd.ccf: line 1593: ");
    EXPECT_THROW_WHAT(parse(flags("False", "False")), ParseError, "odd.ccf: line 32: ");
    // A bad line is shown short and printable, never as the bytes it holds.
    auto binary = lines;
    binary[100] = std::string(100000, '\x01') + "9";
    const auto what = test::ThrownWhat<ParseError>([&] { parse(binary); });
    ASSERT_TRUE(what.has_value()) << "binary accepted";
    EXPECT_NE(what->find("odd.ccf: line 101: "), std::string::npos) << *what;
    EXPECT_LT(what->size(), 200u) << *what;
    EXPECT_EQ(what->find('\x01'), std::string::npos);
    const auto dir = test::ScratchDir("NoLayoutFiles");
    fs::create_directory(dir / "folder.ccf");
    std::ofstream(dir / "empty.ccf");
    for (const auto& [name, fragment] :
         {std::pair<const char*, const char*>{"folder.ccf", "is a directory"},
          {"empty.ccf", "empty file"}}) {
        EXPECT_THROW_WHAT(ParseCoefficientFile(dir / name), Error, fragment);
        EXPECT_THROW_WHAT(ParseCoefficientFile(dir / name), Error, name);
    }
}

}  // namespace
}  // namespace tintara
