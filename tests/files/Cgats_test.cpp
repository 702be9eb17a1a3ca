#include "files/Cgats.h"

#include <gtest/gtest.h>
#include <lcms2.h>

#include <chrono>
#include <cmath>
#include <fstream>
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

// A CGATS text with the given spectral field names and wavelengths, one row per sample.
std::string MakeCgats(const std::string& prefix, int first, int step, int last, int samples,
                      double scale = 1.0, const std::string& extraHeader = "") {
    std::ostringstream os;
    int fields = 2;
    std::string format = "SAMPLE_ID SAMPLE_NAME";
    for (int nm = first; nm <= last; nm += step) {
        format += " " + prefix + std::to_string(nm);
        ++fields;
    }
    os << "CGATS.17\n" << extraHeader << "NUMBER_OF_FIELDS " << fields << "\n";
    os << "BEGIN_DATA_FORMAT\n" << format << "\nEND_DATA_FORMAT\n";
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

// The line and reason of the ParseError an import throws; fails the test if none is thrown.
ParseError ImportError(const std::string& text) {
    try {
        Import(text);
    } catch (const ParseError& e) {
        return e;
    }
    ADD_FAILURE() << "no ParseError for:\n" << text.substr(0, 400);
    return ParseError("", 0, "");
}

double Nm(int i) {
    return 360.0 + 10.0 * i;
}

// The values of one data row of a fixture, by field name.
std::vector<std::string> FixtureRow(const std::string& file, int row,
                                    std::vector<std::string>* format) {
    std::ifstream in(test::DataPath("cgats/" + file), std::ios::binary);
    std::string line;
    bool inFormat = false, inData = false;
    int r = 0;
    auto split = [](const std::string& l) {
        std::istringstream s(l);
        std::vector<std::string> t;
        std::string w;
        while (s >> w)
            t.push_back(w);
        return t;
    };
    while (std::getline(in, line)) {
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        if (line == "BEGIN_DATA_FORMAT") {
            inFormat = true;
        } else if (line == "END_DATA_FORMAT") {
            inFormat = false;
        } else if (inFormat) {
            *format = split(line);
        } else if (line == "BEGIN_DATA") {
            inData = true;
        } else if (inData && r++ == row) {
            return split(line);
        }
    }
    return {};
}

double FixtureValue(const std::string& file, int row, const std::string& field) {
    std::vector<std::string> format;
    const auto values = FixtureRow(file, row, &format);
    for (std::size_t i = 0; i < format.size(); ++i) {
        if (format[i] == field)
            return std::stod(values.at(i));
    }
    ADD_FAILURE() << field << " not in " << file;
    return NAN;
}

TEST(CgatsImport, ArgyllTi3TakesSpecFieldsInPercentAndSkipsTheCalibrationTable) {
    ImportReport report;
    const SaveSetData data = ImportCgats(test::DataPath("cgats/argyll-chart.ti3"), {}, &report);
    ASSERT_EQ(data.Records.size(), 6u);
    EXPECT_EQ(report.SheetType, "CTI3");
    EXPECT_EQ(report.NameField, "SAMPLE_ID");
    EXPECT_EQ(data.Records[3].Name, "4");
    EXPECT_TRUE(report.Percent);
    EXPECT_NE(report.ScaleReason.find("SPECTRAL_NORM"), std::string::npos);
    EXPECT_EQ(report.FirstNm, 380);
    EXPECT_EQ(report.LastNm, 730);
    EXPECT_EQ(report.StepNm, 10);
    EXPECT_TRUE(report.Resampled && report.ExtendedBelow && report.ExtendedAbove);
    ASSERT_EQ(report.Notes.size(), 1u);  // the CAL table
    for (int s : {0, 1, 5}) {
        const Curve& c = data.Records[s].Curves[0];
        EXPECT_DOUBLE_EQ(c[4], FixtureValue("argyll-chart.ti3", s, "SPEC_400"));
        EXPECT_DOUBLE_EQ(c[0], FixtureValue("argyll-chart.ti3", s, "SPEC_380"));  // 360 repeats 380
        EXPECT_DOUBLE_EQ(c[1], c[2]);
        EXPECT_DOUBLE_EQ(c[39], FixtureValue("argyll-chart.ti3", s, "SPEC_730"));
        EXPECT_DOUBLE_EQ(c[38], c[37]);
    }
    EXPECT_EQ(data.NumAngles, 1);
    EXPECT_EQ(data.Status, "XXXXXX");
}

TEST(CgatsImport, ArgyllSpectrumOfFractionsAt5nmIsScaledByItsNorm) {
    ImportReport report;
    const SaveSetData data = ImportCgats(test::DataPath("cgats/argyll-spectrum.sp"), {}, &report);
    ASSERT_EQ(data.Records.size(), 1u);
    EXPECT_FALSE(report.Percent);
    EXPECT_EQ(report.Factor, 100.0);
    EXPECT_EQ(report.StepNm, 5);
    EXPECT_TRUE(report.ExtendedBelow);
    EXPECT_FALSE(report.ExtendedAbove);  // measured to 780 nm
    EXPECT_EQ(report.NameField, "");
    EXPECT_EQ(data.Records[0].Name, "Sample 1");
    for (int i = 2; i < 40; ++i) {
        const std::string field = "SPEC_" + std::to_string(static_cast<int>(Nm(i)));
        EXPECT_NEAR(data.Records[0].Curves[0][i],
                    100 * FixtureValue("argyll-spectrum.sp", 0, field), 1e-12);
    }
}

TEST(CgatsImport, InstrumentSoftwareExportWithTabsCrLfAndNmFieldsIsJudgedAFraction) {
    ImportReport report;
    const SaveSetData data =
        ImportCgats(test::DataPath("cgats/i1profiler-export.txt"), {}, &report);
    ASSERT_EQ(data.Records.size(), 5u);
    EXPECT_EQ(report.NameField, "SAMPLE_NAME");
    EXPECT_EQ(data.Records[4].Name, "B2");
    EXPECT_FALSE(report.Percent);
    EXPECT_NE(report.ScaleReason.find("judged"), std::string::npos);
    EXPECT_NEAR(data.Records[2].Curves[0][20],
                100 * FixtureValue("i1profiler-export.txt", 2, "nm560"), 1e-12);
}

TEST(CgatsImport, RecognisesTheUsualSpectralSpellingsAndNothingElse) {
    for (const std::string name : {"SPECTRAL_NM380", "spectral_nm_380", "SPECTRAL_380", "SPEC_380",
                                   "nm380", "NM_380", "R_380"}) {
        const auto nm = SpectralFieldWavelength(name);
        ASSERT_TRUE(nm.has_value()) << name;
        EXPECT_EQ(*nm, 380.0) << name;
    }
    EXPECT_EQ(SpectralFieldWavelength("SPEC_383.5").value_or(0), 383.5);
    for (const std::string name : {"RGB_R", "SAMPLE_ID", "XYZ_X", "NM", "SPECTRAL_PCT", "SPEC_",
                                   "SPEC_38O", "nm380x", "SPEC_5", "LAB_L"}) {
        EXPECT_FALSE(SpectralFieldWavelength(name).has_value()) << name;
    }
    // Each spelling imports the same curves.
    const SaveSetData reference = Import(MakeCgats("SPECTRAL_NM", 360, 10, 750, 3));
    for (const std::string prefix : {"SPEC_", "nm", "SPECTRAL_", "R_"}) {
        EXPECT_EQ(Import(MakeCgats(prefix, 360, 10, 750, 3)).Records, reference.Records) << prefix;
    }
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
    EXPECT_DOUBLE_EQ(curve[0], 10);  // 360 nm
    EXPECT_DOUBLE_EQ(curve[3], 20);  // 390 nm
    EXPECT_DOUBLE_EQ(curve[5], 60);  // 410 nm
    EXPECT_DOUBLE_EQ(curve[39], 90);
}

TEST(CgatsImport, ScaleComesFromTheValuesOrTheOptionWhenTheFileIsSilent) {
    ImportReport report;
    const SaveSetData fraction = Import(MakeCgats("nm", 360, 10, 750, 3, 0.01), &report);
    EXPECT_FALSE(report.Percent);
    EXPECT_NEAR(fraction.Records[2].Curves[0][7], Reflectance(2, Nm(7)), 1e-9);

    ImportOptions percent;
    percent.Scale = ReflectanceScale::Percent;
    const SaveSetData forced = Import(MakeCgats("nm", 360, 10, 750, 3, 0.01), &report, percent);
    EXPECT_NEAR(forced.Records[2].Curves[0][7], Reflectance(2, Nm(7)) * 0.01, 1e-12);

    const SaveSetData normed = Import(
        MakeCgats("nm", 360, 10, 750, 3, 0.5, "KEYWORD \"SPECTRAL_NORM\"\nSPECTRAL_NORM \"50\"\n"),
        &report);
    EXPECT_NEAR(normed.Records[1].Curves[0][3], Reflectance(1, Nm(3)), 1e-9);
}

TEST(CgatsImport, HeaderFieldsComeFromTheOptionsFirst) {
    ImportOptions options;
    options.Instrument = 186;
    options.Status = "RCIIXX";
    options.Company = "Acme Tiles";
    const SaveSetData data = Import(MakeCgats("nm", 360, 10, 750, 2), nullptr, options);
    EXPECT_EQ(data.Instrument, 186);
    EXPECT_EQ(data.Status, "RCIIXX");
    EXPECT_EQ(data.Company, "Acme Tiles");
    for (const SaveSetRecord& r : data.Records) {
        EXPECT_EQ(r.Instrument, 186);
        EXPECT_EQ(r.Status, "RCIIXX");
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
    };
    for (const Case& c : cases) {
        const ParseError e = ImportError(c.text);
        EXPECT_EQ(e.Source(), "test.cgats");
        EXPECT_EQ(e.Line(), c.line) << e.what();
        EXPECT_NE(e.Reason().find(c.reasonPart), std::string::npos) << e.what();
    }
}

TEST(CgatsImport, SpectralContentProblemsAreRefused) {
    {
        std::string text = MakeCgats("SPECTRAL_NM", 360, 10, 750, 3);
        const auto at = text.find("\n2 \"Sample 2\" ") + 14;
        text.replace(at, text.find(' ', at) - at, "n/a");
        const ParseError e = ImportError(text);
        EXPECT_EQ(e.Line(), 9);
        EXPECT_NE(e.Reason().find("SPECTRAL_NM360 is \"n/a\""), std::string::npos) << e.what();
    }
    EXPECT_NE(ImportError(MakeCgats("LAB_", 360, 10, 750, 3)).Reason().find("no spectral fields"),
              std::string::npos);
    EXPECT_NE(ImportError(MakeCgats("nm", 360, 15, 750, 3)).Reason().find("15 nm"),
              std::string::npos);
    EXPECT_NE(ImportError(MakeCgats("nm", 380, 3, 730, 3)).Reason().find("step"),
              std::string::npos);
    EXPECT_EQ(ImportError(MakeCgats("nm", 380, 3, 730, 3)).Line(), 3);
    EXPECT_NE(ImportError(MakeCgats("nm", 400, 10, 400, 3)).Reason().find("one spectral"),
              std::string::npos);
    // A non-number in a field that is not spectral is the sample's business, not an error.
    std::string text = MakeCgats("nm", 360, 10, 750, 2);
    text.replace(text.find("\n1 \"") + 1, 1, "A-1");
    EXPECT_EQ(Import(text).Records.size(), 2u);
}

TEST(CgatsImport, ManyThousandRowsAreParsedInPiecesAndStillReportTheirLines) {
    constexpr int kRows = 100000;
    const std::string text = MakeCgats("SPECTRAL_NM", 360, 10, 750, kRows);
    ImportReport report;
    const auto start = std::chrono::steady_clock::now();
    const SaveSetData data = Import(text, &report);
    const double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    std::printf("imported %d samples in %.3f s\n", kRows, seconds);
    ASSERT_EQ(data.Records.size(), static_cast<std::size_t>(kRows));
    EXPECT_EQ(report.Chunks, (kRows + kCgatsRowsPerChunk - 1) / kCgatsRowsPerChunk);
    for (int s :
         {0, kCgatsRowsPerChunk - 1, kCgatsRowsPerChunk, 2 * kCgatsRowsPerChunk + 7, kRows - 1}) {
        EXPECT_EQ(data.Records[s].Name, "Sample " + std::to_string(s + 1));
        for (int i : {0, 17, 39}) {
            EXPECT_EQ(data.Records[s].Curves[0][i], Reflectance(s, Nm(i)));
        }
    }

    // A stray control character that littleCMS refuses, deep in the third piece: the line named
    // is the file's, not the piece's.
    const int bad = 2 * kCgatsRowsPerChunk + 1234;
    std::string broken = MakeCgats("SPECTRAL_NM", 360, 10, 750, bad + 100);
    const std::string row = "\n" + std::to_string(bad + 1) + " \"Sample";
    broken.replace(broken.find(row) + 1, std::to_string(bad + 1).size(), "\x01");
    const ParseError e = ImportError(broken);
    EXPECT_EQ(e.Line(), 7 + bad + 1) << e.what();
}

TEST(CgatsImport, APieceBoundaryLosesNoRow) {
    for (int rows : {kCgatsRowsPerChunk, kCgatsRowsPerChunk + 1}) {
        ImportReport report;
        const SaveSetData data = Import(MakeCgats("nm", 360, 10, 750, rows), &report);
        ASSERT_EQ(data.Records.size(), static_cast<std::size_t>(rows));
        EXPECT_EQ(report.Chunks, rows == kCgatsRowsPerChunk ? 1 : 2);
        EXPECT_EQ(data.Records.back().Curves[0][5], Reflectance(rows - 1, Nm(5)));
    }
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
            for (int i = 0; i < 40; ++i) {
                // Values with all 17 significant digits in use.
                rec.Curves[a][i] =
                    100.0 * std::fabs(std::sin(1.0 + r * 0.731 + i * 0.1371 + a)) / 1.07;
            }
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
        ImportReport report;
        const SaveSetData back = Import(out.str(), &report);
        EXPECT_TRUE(report.Percent);
        EXPECT_FALSE(report.Resampled);
        ASSERT_EQ(back.Records.size(), original.Records.size());
        EXPECT_EQ(back.NumAngles, angles);
        EXPECT_EQ(back.Company, original.Company);
        EXPECT_EQ(back.Status, original.Status);
        EXPECT_EQ(back.Instrument, original.Instrument);
        for (std::size_t r = 0; r < back.Records.size(); ++r) {
            if (r != 3) {
                EXPECT_EQ(back.Records[r].Name, original.Records[r].Name);
            }
            for (int a = 0; a < angles; ++a) {
                for (int i = 0; i < 40; ++i) {
                    EXPECT_NEAR(back.Records[r].Curves[a][i], original.Records[r].Curves[a][i],
                                1e-9);
                }
            }
        }
        EXPECT_EQ(back.Records[3].Name, "Say 'hi'");
    }
}

TEST(CgatsExport, IsCgats17ThatLittleCmsReadsWithCrLfLines) {
    const SaveSetData data = SampleSet(2);
    ExportOptions options;
    options.Decimals = 4;
    options.Created = "2024-03-04T10:00:00";
    std::ostringstream out;
    ExportCgats(data, out, options);
    const std::string text = out.str();
    for (std::size_t at = text.find('\n'); at != std::string::npos; at = text.find('\n', at + 1)) {
        ASSERT_TRUE(at > 0 && text[at - 1] == '\r') << "bare LF at " << at;
    }
    cmsHANDLE h =
        cmsIT8LoadFromMem(nullptr, text.data(), static_cast<cmsUInt32Number>(text.size()));
    ASSERT_NE(h, nullptr);
    EXPECT_EQ(cmsIT8TableCount(h), 2u);
    EXPECT_STREQ(cmsIT8GetSheetType(h), "CGATS.17");
    EXPECT_STREQ(cmsIT8GetProperty(h, "CREATED"), "2024-03-04T10:00:00");
    EXPECT_EQ(cmsIT8GetPropertyDbl(h, "NUMBER_OF_SETS"), 25);
    char** names = nullptr;
    ASSERT_EQ(cmsIT8EnumDataFormat(h, &names), 42);
    EXPECT_STREQ(names[0], "SAMPLE_ID");
    EXPECT_STREQ(names[1], "SAMPLE_NAME");
    EXPECT_STREQ(names[2], "SPECTRAL_NM360");
    EXPECT_STREQ(names[41], "SPECTRAL_NM750");
    EXPECT_NEAR(cmsIT8GetDataRowColDbl(h, 7, 12), data.Records[7].Curves[0][10], 0.5e-4 + 1e-12);
    ASSERT_TRUE(cmsIT8SetTable(h, 1) >= 0);
    EXPECT_STREQ(cmsIT8GetProperty(h, "TINTARA_ANGLE"), "1");
    EXPECT_NEAR(cmsIT8GetDataRowColDbl(h, 7, 12), data.Records[7].Curves[1][10], 0.5e-4 + 1e-12);
    cmsIT8Free(h);
}

TEST(CgatsExport, AFailedExportLeavesTheEarlierFileAlone) {
    const auto dir = test::ScratchDir("CgatsExport");
    const auto file = dir / "set.txt";
    ExportCgats(SampleSet(1), file);
    std::ifstream first(file, std::ios::binary);
    const std::string before{std::istreambuf_iterator<char>(first), {}};
    SaveSetData bad = SampleSet(1);
    bad.Records[20].Curves[0][5] = NAN;
    EXPECT_THROW(ExportCgats(bad, file), ComputeError);
    std::ifstream second(file, std::ios::binary);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(second), {}), before);
    EXPECT_THROW(ExportCgats(SampleSet(1), dir / "missing" / "set.txt"), IoError);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir), {}), 1);
}

}  // namespace
}  // namespace tintara
