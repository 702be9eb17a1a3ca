#include "files/Cgats.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <sstream>

#include "support/TestPaths.h"
#include "workspace/Error.h"

namespace tintara {
namespace {

// A smooth reflectance in percent for sample s at wavelength nm, the same formula the generated
// files use, so expectations are computed rather than typed in.
double Reflectance(int s, double nm) {
    return 5.0 + 0.1 * (nm - 350.0) + 0.37 * (s % 97);
}

double Nm(int i) {
    return 360.0 + 10.0 * i;
}

// A CGATS text with the given spectral field names and wavelengths, one row per sample.
std::string MakeCgats(const std::string& prefix, int first, int step, int last, int samples,
                      double scale = 1.0, const std::string& extraHeader = "") {
    std::ostringstream os;
    std::string format = "SAMPLE_ID SAMPLE_NAME";
    for (int nm = first; nm <= last; nm += step)
        format += " " + prefix + std::to_string(nm);
    os << "CGATS.17\n" << extraHeader << "NUMBER_OF_FIELDS " << 2 + (last - first) / step + 1;
    os << "\nBEGIN_DATA_FORMAT\n" << format << "\nEND_DATA_FORMAT\n";
    os << "NUMBER_OF_SETS " << samples << "\nBEGIN_DATA\n";
    char buf[64];
    for (int s = 0; s < samples; ++s) {
        os << s + 1 << " \"Sample " << s + 1 << "\"";
        for (int nm = first; nm <= last; nm += step) {
            std::snprintf(buf, sizeof buf, " %.17g", Reflectance(s, nm) * scale);
            os << buf;
        }
        os << "\n";
    }
    os << "END_DATA\n";
    return os.str();
}

SaveSetData Import(const std::string& text, ImportReport* report = nullptr,
                   const ImportOptions& options = {}) {
    std::istringstream in(text);
    return ImportCgats(in, "test.cgats", options, report);
}

// The ParseError an import throws; fails the test if none is thrown.
ParseError ImportError(const std::string& text) {
    try {
        Import(text);
    } catch (const ParseError& e) {
        return e;
    }
    ADD_FAILURE() << "no ParseError for:\n" << text.substr(0, 400);
    return ParseError("", 0, "");
}

// Expected values below are typed in from the fixture files themselves.
TEST(CgatsImport, ReadsTheThreeFixtureStyles) {
    ImportReport ti3;
    const SaveSetData chart = ImportCgats(test::DataPath("cgats/argyll-chart.ti3"), {}, &ti3);
    ASSERT_EQ(chart.Records.size(), 6u);
    EXPECT_EQ(ti3.SheetType, "CTI3");
    EXPECT_EQ(chart.Records[3].Name, "4");  // SAMPLE_ID names the samples
    EXPECT_TRUE(ti3.Percent);
    EXPECT_NE(ti3.ScaleReason.find("SPECTRAL_NORM"), std::string::npos);
    EXPECT_TRUE(ti3.ExtendedBelow && ti3.ExtendedAbove);  // measured 380..730 nm
    EXPECT_EQ(ti3.Notes.size(), 1u);                      // the CAL table is skipped
    // Sample 5 rises by 0.2 % every 10 nm from 20 % at 380 nm to 27 % at 730 nm.
    const Curve& ramp = chart.Records[4].Curves[0];
    EXPECT_EQ((std::array{ramp[0], ramp[2], ramp[4], ramp[36], ramp[37], ramp[39]}),
              (std::array{20.0, 20.0, 20.4, 26.8, 27.0, 27.0}));
    EXPECT_EQ(chart.Status, "XXXXXX");

    ImportReport sp;  // fractions at 5 nm, 380..780 nm, SPECTRAL_NORM 1
    const SaveSetData spectrum = ImportCgats(test::DataPath("cgats/argyll-spectrum.sp"), {}, &sp);
    ASSERT_EQ(spectrum.Records.size(), 1u);
    EXPECT_EQ(sp.Factor, 100.0);
    EXPECT_EQ(sp.StepNm, 5);
    EXPECT_TRUE(sp.ExtendedBelow && !sp.ExtendedAbove);
    EXPECT_EQ(spectrum.Records[0].Name, "Sample 1");  // no name field: numbered
    const Curve& c = spectrum.Records[0].Curves[0];
    EXPECT_NEAR(c[0], 5.0001, 1e-9);    // SPEC_380, repeated at 360 nm
    EXPECT_NEAR(c[9], 5.0071, 1e-9);    // SPEC_450, not SPEC_455
    EXPECT_NEAR(c[20], 14.5362, 1e-9);  // SPEC_560, not SPEC_555
    EXPECT_NEAR(c[39], 84.9981, 1e-9);  // SPEC_750

    ImportReport i1;  // tabs, CR LF, nmNNN fields, no SPECTRAL_NORM
    const SaveSetData exported =
        ImportCgats(test::DataPath("cgats/i1profiler-export.txt"), {}, &i1);
    ASSERT_EQ(exported.Records.size(), 5u);
    EXPECT_EQ(exported.Records[4].Name, "B2");
    EXPECT_FALSE(i1.Percent);
    EXPECT_NE(i1.ScaleReason.find("judged"), std::string::npos);
    EXPECT_NEAR(exported.Records[2].Curves[0][20], 32.49, 1e-9);  // nm560 of A3
}

TEST(CgatsImport, UsualSpectralSpellingsImportTheSameCurves) {
    const SaveSetData reference = Import(MakeCgats("SPECTRAL_NM", 360, 10, 750, 3));
    for (const std::string prefix : {"SPEC_", "nm", "SPECTRAL_", "R_", "NM_", "spectral_nm_"})
        EXPECT_EQ(Import(MakeCgats(prefix, 360, 10, 750, 3)).Records, reference.Records) << prefix;
    for (const std::string name : {"RGB_R", "XYZ_X", "NM", "SPEC_", "SPEC_38O", "nm380x", "LAB_L"})
        EXPECT_FALSE(SpectralFieldWavelength(name).has_value()) << name;
}

TEST(CgatsImport, ResamplesOtherRangesAndStepsLinearlyAndRepeatsTheEnds) {
    // Reflectance() is linear in wavelength, so linear interpolation must reproduce it exactly
    // inside the measured range and the end values outside it.
    struct Case {
        int first, step, last;
    };
    for (const Case c : {Case{380, 20, 720}, Case{365, 10, 745}, Case{400, 5, 700},
                         Case{340, 1, 800}, Case{360, 10, 750}}) {
        ImportReport report;
        const SaveSetData data = Import(MakeCgats("nm", c.first, c.step, c.last, 4), &report);
        EXPECT_EQ(report.Resampled, !(c.first == 360 && c.step == 10 && c.last == 750));
        EXPECT_EQ(report.ExtendedBelow, c.first > 360);
        EXPECT_EQ(report.ExtendedAbove, c.last < 750);
        for (int s = 0; s < 4; ++s) {
            for (int i = 0; i < 40; ++i) {
                const double at = std::clamp(Nm(i), double(c.first), double(c.last));
                EXPECT_NEAR(data.Records[s].Curves[0][i], Reflectance(s, at), 1e-9)
                    << c.first << "/" << c.step << " at " << Nm(i);
            }
        }
    }
    // A curve that is not linear: halfway points are the mean of their neighbours.
    const Curve curve = ResampleCurve({380, 400, 420}, {10, 30, 90});
    EXPECT_EQ((std::array{curve[0], curve[3], curve[5], curve[39]}),
              (std::array<double, 4>{10, 20, 60, 90}));
}

TEST(CgatsImport, ScaleComesFromTheNormTheValuesOrTheOption) {
    ImportOptions percent;
    percent.Scale = ReflectanceScale::Percent;
    const std::string norm50 = "KEYWORD \"SPECTRAL_NORM\"\nSPECTRAL_NORM \"50\"\n";
    struct Case {
        double scale;  // of the values written
        std::string header;
        ImportOptions options;
        double factor;  // the import must multiply by
    };
    for (const Case& c : {Case{0.01, "", {}, 100}, Case{1, "", {}, 1}, Case{0.01, "", percent, 1},
                          Case{0.5, norm50, {}, 2}}) {
        ImportReport report;
        const SaveSetData d =
            Import(MakeCgats("nm", 360, 10, 750, 3, c.scale, c.header), &report, c.options);
        EXPECT_EQ(report.Factor, c.factor) << c.scale << c.header;
        EXPECT_EQ(report.Percent, c.factor == 1) << c.scale << c.header;
        EXPECT_NEAR(d.Records[2].Curves[0][7], Reflectance(2, Nm(7)) * c.scale * c.factor, 1e-9);
    }
}

TEST(CgatsImport, MalformedFilesAreRefusedWithTheLineAndReason) {
    const std::string good = MakeCgats("SPECTRAL_NM", 360, 10, 750, 3);
    // Lines of `good`: 1 CGATS.17, 2 NUMBER_OF_FIELDS, 3 BEGIN_DATA_FORMAT, 4 format,
    // 5 END_DATA_FORMAT, 6 NUMBER_OF_SETS, 7 BEGIN_DATA, 8-10 rows, 11 END_DATA.
    auto replaceLine = [&](int line, const std::string& with) {
        std::istringstream in(good);
        std::string out, l;
        for (int n = 1; std::getline(in, l); ++n)
            out += (n == line ? with : l) + "\n";
        return out;
    };
    std::string row9 = good.substr(good.find("\n2 \"") + 1);
    row9 = row9.substr(0, row9.find('\n'));
    row9.replace(13, row9.find(' ', 13) - 13, "n/a");  // the first value after `2 "Sample 2" `
    struct Case {
        std::string text;
        int line;
        std::string reasonPart;
    };
    const Case cases[] = {
        {replaceLine(7, ""), 11, "BEGIN_DATA"},
        {good.substr(0, good.find("BEGIN_DATA\n")), 6, "BEGIN_DATA"},
        {replaceLine(9, "2 \"Sample 2\" 1 2 3"), 9, "the row has 5 values"},
        {replaceLine(4, "SAMPLE_ID SAMPLE_NAME"), 2, "NUMBER_OF_FIELDS is 42"},
        {replaceLine(11, ""), 7, "END_DATA"},
        {replaceLine(6, "NUMBER_OF_SETS 4"), 11, "NUMBER_OF_SETS is 4"},
        {replaceLine(2, "NUMBER_OF_FIELDS 42\n12 34"), 3, "keyword"},
        {replaceLine(9, row9), 9, "SPECTRAL_NM360 is \"n/a\""},
        {MakeCgats("LAB_", 360, 10, 750, 3), 3, "no spectral fields"},
        {MakeCgats("nm", 360, 15, 750, 3), 3, "15 nm"},
        {MakeCgats("nm", 380, 3, 730, 3), 3, "step"},
        {MakeCgats("nm", 400, 10, 400, 3), 3, "one spectral"},
    };
    for (const Case& c : cases) {
        const ParseError e = ImportError(c.text);
        EXPECT_EQ(e.Source(), "test.cgats");
        EXPECT_EQ(e.Line(), c.line) << e.what();
        EXPECT_NE(e.Reason().find(c.reasonPart), std::string::npos) << e.what();
    }
}

TEST(CgatsImport, TablesBeyondLittleCmsRowLimitAreParsedInPiecesAndReportTheirLines) {
    constexpr int kRows = 2 * kCgatsRowsPerChunk + 1300;
    static_assert(kRows > 32766);
    std::string text = MakeCgats("SPECTRAL_NM", 360, 10, 750, kRows);
    ImportReport report;
    const SaveSetData data = Import(text, &report);
    ASSERT_EQ(data.Records.size(), static_cast<std::size_t>(kRows));
    EXPECT_EQ(report.Chunks, 3);
    for (int s :
         {0, kCgatsRowsPerChunk - 1, kCgatsRowsPerChunk, 2 * kCgatsRowsPerChunk, kRows - 1}) {
        EXPECT_EQ(data.Records[s].Name, "Sample " + std::to_string(s + 1));
        for (int i : {0, 17, 39})
            EXPECT_EQ(data.Records[s].Curves[0][i], Reflectance(s, Nm(i)));
    }
    // A stray control character that littleCMS refuses, in the last row of the second piece: the
    // piece must reach it, and the line named is the file's, not the piece's.
    const int bad = 2 * kCgatsRowsPerChunk - 1;
    const std::string row = "\n" + std::to_string(bad + 1) + " \"Sample";
    text.replace(text.find(row) + 1, std::to_string(bad + 1).size(), "\x01");
    EXPECT_EQ(ImportError(text).Line(), 7 + bad + 1);
}

// ---- export -------------------------------------------------------------------------------------

SaveSetData SampleSet(int angles) {
    SaveSetData data;
    data.NumAngles = static_cast<int16_t>(angles);
    data.Company = "Ceramic Colour Lab";
    data.Status = angles == 2 ? "RCBIXX" : "RCIIXX";
    data.Instrument = 179;
    for (int r = 0; r < 25; ++r) {
        SaveSetRecord rec;
        rec.Name = r == 3 ? "Say \"hi\"" : "Tile " + std::to_string(r);
        rec.Status = data.Status;
        rec.Instrument = data.Instrument;
        for (int a = 0; a < angles; ++a) {
            for (int i = 0; i < 40; ++i)  // values with all 17 significant digits in use
                rec.Curves[a][i] = 100.0 * std::fabs(std::sin(1.0 + r * 0.731 + i * 0.1371 + a));
        }
        data.Records.push_back(rec);
    }
    return data;
}

TEST(CgatsExport, ImportGivesBackTheSameCurvesAndHeader) {
    for (int angles : {1, 2}) {
        const SaveSetData original = SampleSet(angles);
        std::ostringstream out;
        ExportCgats(original, out);
        const std::string text = out.str();
        for (std::size_t at = text.find('\n'); at != std::string::npos;
             at = text.find('\n', at + 1))
            ASSERT_EQ(text[at - 1], '\r') << "bare LF at " << at;
        SaveSetData back = Import(out.str());
        EXPECT_EQ(back.Records[3].Name, "Say 'hi'");
        back.Records[3].Name = original.Records[3].Name;
        EXPECT_EQ(back, original) << angles << " angles";
    }
}

TEST(CgatsExport, AFailedExportLeavesTheEarlierFileAlone) {
    const auto dir = test::ScratchDir("CgatsExport");
    const auto file = dir / "set.txt";
    ExportCgats(SampleSet(1), file);
    SaveSetData bad = SampleSet(1);
    bad.Records[20].Curves[0][5] = NAN;
    EXPECT_THROW(ExportCgats(bad, file), ComputeError);
    EXPECT_EQ(ImportCgats(file).Records[20].Curves[0][5], SampleSet(1).Records[20].Curves[0][5]);
    EXPECT_THROW(ExportCgats(SampleSet(1), dir / "missing" / "set.txt"), IoError);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir), {}), 1);
}

}  // namespace
}  // namespace tintara
