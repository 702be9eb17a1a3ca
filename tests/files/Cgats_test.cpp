#include "files/Cgats.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <regex>
#include <sstream>

#include "engine/ColorMatch.h"
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
    ASSERT_EQ(ti3.Notes.size(), 1u);                      // the CAL table is skipped
    EXPECT_NE(ti3.Notes[0].find("table 2"), std::string::npos);
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
    EXPECT_NE(sp.Interpolation.find("least squares"), std::string::npos);
    EXPECT_TRUE(sp.ExtendedBelow && !sp.ExtendedAbove);
    EXPECT_EQ(spectrum.Records[0].Name, "Sample 1");  // no name field: numbered
    const Curve& c = spectrum.Records[0].Curves[0];
    EXPECT_EQ(c[0], c[2]);              // 380 nm repeated at 360 and 370 nm
    EXPECT_NEAR(c[9], 5.0071, 0.002);   // SPEC_450: the fit stays on the measured curve
    EXPECT_NEAR(c[20], 14.5362, 0.05);  // SPEC_560, on a steep edge
    EXPECT_NEAR(c[39], 84.9981, 0.002);

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

// A polynomial of the fifth degree in wavelength, which Sprague interpolation reproduces exactly
// between its third and third-last points (nearer the ends the CIE end points are estimates).
double Quintic(double nm) {
    const double x = (nm - 555.0) / 195.0;
    return 40.0 + 20.0 * x - 15.0 * x * x + 8.0 * x * x * x + 5.0 * std::pow(x, 4) -
           3.0 * std::pow(x, 5);
}

TEST(CgatsImport, ResamplesAnyRegularGridAndRepeatsTheEnds) {
    // Reflectance() is linear in wavelength, which every method reproduces exactly inside the
    // measured range; outside it the end values are repeated.
    struct Case {
        int first, step, last;
        const char* method;
    };
    for (const Case c : {Case{380, 20, 720, "Sprague"}, Case{365, 10, 745, "Sprague"},
                         Case{360, 5, 750, "least squares"}, Case{340, 1, 800, "least squares"},
                         Case{360, 10, 750, ""}}) {
        ImportReport report;
        const SaveSetData data = Import(MakeCgats("nm", c.first, c.step, c.last, 4), &report);
        EXPECT_EQ(report.Resampled, !(c.first == 360 && c.step == 10 && c.last == 750));
        EXPECT_EQ(report.ExtendedBelow, c.first > 360);
        EXPECT_EQ(report.ExtendedAbove, c.last < 750);
        EXPECT_NE(report.Interpolation.find(c.method), std::string::npos) << report.Interpolation;
        for (int s = 0; s < 4; ++s) {
            for (int i = 0; i < 40; ++i) {
                const double at = std::clamp(Nm(i), double(c.first), double(c.last));
                EXPECT_NEAR(data.Records[s].Curves[0][i], Reflectance(s, at), 1e-9)
                    << c.first << "/" << c.step << " at " << Nm(i);
            }
        }
    }
    // 20 nm: the points between are Sprague's, the very values the colorimetry's own Sprague
    // code gives for halving the step, and exact on a quintic where straight lines are not.
    std::vector<double> nm, values;
    for (int w = 360; w <= 740; w += 20) {
        nm.push_back(w);
        values.push_back(Quintic(w));
    }
    const Curve twenty = ResampleCurve(nm, values);
    const std::vector<double> halved = colorimetry::SpragueInterpolate(values, 2);
    double linearWorst = 0;
    for (int i = 0; i < 39; ++i) {
        EXPECT_NEAR(twenty[i], halved[i], 1e-12) << Nm(i);
        if (Nm(i) > 400 && Nm(i) < 700) {
            EXPECT_NEAR(twenty[i], Quintic(Nm(i)), 1e-9) << Nm(i);
            linearWorst = std::max(
                linearWorst,
                std::fabs((Quintic(Nm(i) - 10) + Quintic(Nm(i) + 10)) / 2 - Quintic(Nm(i))));
        }
    }
    EXPECT_GT(linearWorst, 0.01);
    EXPECT_EQ(twenty[39], values.back());  // 750 nm lies beyond 740 nm
    // A fine grid that does not reach 360 and 750 nm: the fit stays on the measured points, and
    // the ends repeat.
    const Curve partial = Import(MakeCgats("nm", 400, 5, 700, 1)).Records[0].Curves[0];
    for (int i = 4; i <= 34; ++i)
        EXPECT_NEAR(partial[i], Reflectance(0, Nm(i)), 0.03) << Nm(i);
    EXPECT_EQ(partial[0], partial[4]);
    EXPECT_EQ(partial[39], partial[34]);
    // Finer data: the fit gives back the 10 nm curve whose Sprague interpolation was measured.
    Curve ten;
    for (int i = 0; i < 40; ++i)
        ten[i] = 30 + 25 * std::sin(i * 0.7) + (i % 3);
    std::vector<double> fine(391), fineNm(391);
    colorimetry::FineSpectrum(ten, fine);
    for (int k = 0; k < 391; ++k)
        fineNm[k] = 360 + k;
    const Curve back = ResampleCurve(fineNm, fine);
    for (int i = 0; i < 40; ++i)
        EXPECT_NEAR(back[i], ten[i], 1e-9) << Nm(i);
    // Fewer than six points: straight lines.
    const Curve curve = ResampleCurve({380, 400, 420}, {10, 30, 90});
    EXPECT_EQ((std::array{curve[0], curve[3], curve[5], curve[39]}),
              (std::array<double, 4>{10, 20, 60, 90}));
}

// Argyll's high-resolution mode: 3.33 nm bands named by the rounded wavelength.
std::string HighResolution(bool keywords, int bands = 118) {
    std::ostringstream os;
    os.precision(17);
    os << "CTI3\n\nDESCRIPTOR \"Argyll Calibration Target chart information 3\"\n";
    if (keywords) {
        os << "KEYWORD \"SPECTRAL_BANDS\"\nSPECTRAL_BANDS \"" << bands << "\"\n"
           << "KEYWORD \"SPECTRAL_START_NM\"\nSPECTRAL_START_NM \"360.000000\"\n"
           << "KEYWORD \"SPECTRAL_END_NM\"\nSPECTRAL_END_NM \"750.000000\"\n";
    }
    os << "SPECTRAL_NORM \"100.000000\"\n\nNUMBER_OF_FIELDS 119\nBEGIN_DATA_FORMAT\nSAMPLE_ID";
    for (int j = 0; j < 118; ++j)
        os << " SPEC_" << std::lround(360 + j * 390.0 / 117);
    os << "\nEND_DATA_FORMAT\n\nNUMBER_OF_SETS 2\nBEGIN_DATA\n";
    for (int s = 0; s < 2; ++s) {
        os << s + 1;
        for (int j = 0; j < 118; ++j)
            os << " " << Reflectance(s, 360 + j * 390.0 / 117);
        os << "\n";
    }
    os << "END_DATA\n";
    return os.str();
}

TEST(CgatsImport, ArgyllHighResolutionFilesTakeTheirWavelengthsFromTheBandKeywords) {
    ImportReport withKeywords, byNames, wrongCount;
    const SaveSetData a = Import(HighResolution(true), &withKeywords);
    EXPECT_EQ(withKeywords.WavelengthSource,
              "SPECTRAL_BANDS, SPECTRAL_START_NM and SPECTRAL_END_NM");
    EXPECT_NEAR(withKeywords.StepNm, 10.0 / 3, 1e-12);
    EXPECT_TRUE(withKeywords.Notes.empty());
    for (int i = 0; i < 40; ++i) {
        EXPECT_NEAR(a.Records[0].Curves[0][i], Reflectance(0, Nm(i)), 1e-6) << Nm(i);
        EXPECT_NEAR(a.Records[1].Curves[0][i], Reflectance(1, Nm(i)), 1e-6) << Nm(i);
    }
    // Without the keywords the rounded names still define the grid, and the import says so.
    const SaveSetData b = Import(HighResolution(false), &byNames);
    EXPECT_EQ(byNames.WavelengthSource, "the field names");
    ASSERT_EQ(byNames.Notes.size(), 1u);
    EXPECT_NE(byNames.Notes[0].find("rounded"), std::string::npos);
    for (int i = 0; i < 40; ++i)
        EXPECT_NEAR(b.Records[0].Curves[0][i], a.Records[0].Curves[0][i], 1e-9);
    // Keywords that do not fit the fields are noted and the names used.
    Import(HighResolution(true, 117), &wrongCount);
    ASSERT_EQ(wrongCount.Notes.size(), 2u);
    EXPECT_NE(wrongCount.Notes[0].find("SPECTRAL_BANDS says 117"), std::string::npos);
}

// Sample rows of 0..1 values at 380..730 nm by 10 nm, four decimals, as instruments write them.
std::string Fraction(int s, int i) {
    char text[16];
    std::snprintf(text, sizeof text, "%.4f", 0.03 + 0.9 * std::fabs(std::sin(0.3 * i + s)));
    return text;
}

// A CGATS file of samples "Patch n" with nm380 .. nm730 fields: `sep` between cells, `pad` at
// the end of every line, header values quoted or not, values through `number`.
std::string Instrument(const std::string& sep, const std::string& pad, bool quoted,
                       const std::function<std::string(std::string)>& number = {}) {
    const std::string q = quoted ? "\"" : "";
    std::ostringstream os;
    auto line = [&](const std::string& text) { os << text << pad << "\r\n"; };
    line("CGATS.17");
    line("ORIGINATOR" + sep + q + "i1Profiler" + q);
    line("CREATED" + sep + q + "March 04, 2024" + q);
    line("TINTARA_COMPANY" + sep + q + "Ceramic Colour Lab" + q);
    line("NUMBER_OF_FIELDS" + sep + "38");
    line("BEGIN_DATA_FORMAT");
    std::string fields = "SAMPLE_ID" + sep + "SAMPLE_NAME";
    for (int i = 0; i < 36; ++i)
        fields += sep + "nm" + std::to_string(380 + 10 * i);
    line(fields);
    line("END_DATA_FORMAT");
    line("NUMBER_OF_SETS" + sep + "3");
    line("BEGIN_DATA");
    for (int s = 0; s < 3; ++s) {
        std::string row = std::to_string(s + 1) + sep + q + "Patch " + std::to_string(s + 1) + q;
        for (int i = 0; i < 36; ++i)
            row += sep + (number ? number(Fraction(s, i)) : Fraction(s, i));
        line(row);
    }
    line("END_DATA");
    return os.str();
}

TEST(CgatsImport, InstrumentAndSpreadsheetDialectsImportTheSameCurves) {
    ImportReport plainReport;
    const SaveSetData plain = Import(Instrument("\t", "", true), &plainReport);
    ASSERT_EQ(plain.Records.size(), 3u);
    EXPECT_EQ(plain.Company, "Ceramic Colour Lab");
    EXPECT_EQ(plain.Records[2].Name, "Patch 3");
    EXPECT_TRUE(plainReport.Notes.empty());
    // No floating-point noise from the scaling: "0.0300" is exactly 3.0, whatever the value.
    for (int s = 0; s < 3; ++s) {
        for (int i = 0; i < 36; ++i)
            EXPECT_EQ(plain.Records[s].Curves[0][i + 2], std::stod(Fraction(s, i) + "e2"));
    }

    // i1Profiler: a second END_DATA after the table.
    ImportReport i1;
    EXPECT_EQ(Import(Instrument("\t", "", true) + "END_DATA\r\n", &i1), plain);
    ASSERT_EQ(i1.Notes.size(), 1u);
    EXPECT_NE(i1.Notes[0].find("END_DATA"), std::string::npos);

    // Re-saved from a spreadsheet: values unquoted, every line padded with tabs, a quoted line
    // wrapped the spreadsheet's way, a line of free text.
    std::string sheet = Instrument("\t", "\t\t\t", false);
    sheet.insert(sheet.find("CREATED"),
                 "\"DESCRIPTOR \"\"Tile set\"\"\"\t\t\r\n"
                 "04/03/2024 measured by J. Smith\t\t\r\n");
    ImportReport sheetReport;
    EXPECT_EQ(Import(sheet, &sheetReport), plain);
    ASSERT_EQ(sheetReport.Notes.size(), 1u);
    EXPECT_NE(sheetReport.Notes[0].find("\"04/03/2024 measured by J. Smith\" is not a header"),
              std::string::npos);

    // Blank-separated with quotes, as CGATS.17 writes it.
    EXPECT_EQ(Import(Instrument(" ", "", true)), plain);

    // A decimal comma throughout, tab-separated: read, and said.
    auto comma = [](std::string v) {
        std::replace(v.begin(), v.end(), '.', ',');
        return v;
    };
    ImportReport commaReport;
    EXPECT_EQ(Import(Instrument("\t", "", false, comma), &commaReport), plain);
    EXPECT_TRUE(commaReport.DecimalComma);
    const auto lines = commaReport.Lines();
    EXPECT_TRUE(std::any_of(lines.begin(), lines.end(), [](const std::string& l) {
        return l.find("decimal comma") != std::string::npos;
    }));
    // ... but not mixed with decimal points.
    std::string mixed = Instrument("\t", "", false, comma);
    const std::size_t at = mixed.rfind("0,");
    mixed[at + 1] = '.';
    EXPECT_NE(ImportError(mixed).Reason().find("is not a number"), std::string::npos);
}

// The CGATS.17 pair layout: SPECTRAL_NM, SPECTRAL_DEC (or SPECTRAL_PCT) for every wavelength.
std::string Pairs(const std::string& valueField, double scale, int oddRow = -1) {
    std::ostringstream os;
    os << "CGATS.17\nNUMBER_OF_FIELDS 74\nBEGIN_DATA_FORMAT\nSAMPLE_ID SAMPLE_NAME";
    for (int i = 0; i < 36; ++i)
        os << " SPECTRAL_NM " << valueField;
    os << "\nEND_DATA_FORMAT\nNUMBER_OF_SETS 3\nBEGIN_DATA\n";
    for (int s = 0; s < 3; ++s) {
        os << s + 1 << " \"Patch " << s + 1 << "\"";
        for (int i = 0; i < 36; ++i) {
            const int nm = 380 + 10 * i + (s == oddRow && i == 5 ? 10 : 0);
            os << " " << nm << " " << (scale == 1 ? Fraction(s, i) : Fraction(s, i) + "e2");
        }
        os << "\n";
    }
    os << "END_DATA\n";
    return os.str();
}

TEST(CgatsImport, ThePairLayoutReadsWavelengthsFromTheRows) {
    const SaveSetData plain = Import(Instrument("\t", "", true));
    ImportReport dec, pct;
    SaveSetData fromDec = Import(Pairs("SPECTRAL_DEC", 1), &dec);
    SaveSetData fromPct = Import(Pairs("SPECTRAL_PCT", 100), &pct);
    for (SaveSetData* d : {&fromDec, &fromPct}) {
        d->Company = plain.Company;
        EXPECT_EQ(*d, plain);
    }
    EXPECT_EQ(dec.Factor, 100.0);
    EXPECT_EQ(pct.Factor, 1.0);
    EXPECT_NE(dec.Layout.find("pairs"), std::string::npos);
    EXPECT_EQ(dec.FirstNm, 380);
    EXPECT_EQ(dec.StepNm, 10);
    // Every row must be measured at the same wavelengths.
    const ParseError e = ImportError(Pairs("SPECTRAL_DEC", 1, 2));
    EXPECT_EQ(e.Line(), 10);
    EXPECT_NE(e.Reason().find("every row must be measured at the same wavelengths"),
              std::string::npos);
}

TEST(CgatsImport, FilesWithoutSpectraAreRefusedInPlainWords) {
    struct Case {
        std::string text;
        std::vector<std::string> said;
    };
    const Case cases[] = {
        {"IT8.7/2\nORIGINATOR \"Chart maker\"\nNUMBER_OF_FIELDS 4\nBEGIN_DATA_FORMAT\n"
         "SAMPLE_ID LAB_L LAB_A LAB_B\nEND_DATA_FORMAT\nNUMBER_OF_SETS 1\nBEGIN_DATA\n"
         "A1 50.1 2.0 -3.1\nEND_DATA\n",
         {"no spectral data", "LAB_L", "SPECTRAL_NM380"}},
        {"Sample,380,390,400\nA1,0.1,0.2,0.3\nA2,0.2,0.3,0.4\n", {"CSV", "CGATS"}},
        {"Sample;380;390;400\nA1;0,1;0,2;0,3\n", {"CSV"}},
        {"", {"no table of measurements"}},
        {"just some notes\nabout a chart\n", {"no table of measurements"}},
    };
    for (const Case& c : cases) {
        const std::string reason = ImportError(c.text).Reason();
        for (const std::string& part : c.said)
            EXPECT_NE(reason.find(part), std::string::npos) << reason;
        for (const char* jargon : {"expected", "identifier", "littleCMS", "token", "syntax"})
            EXPECT_EQ(reason.find(jargon), std::string::npos) << reason;
    }
    EXPECT_NE(ImportError(std::string("CGATS.17\n\0\0", 11)).Reason().find("binary"),
              std::string::npos);
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
    const std::string line9 = row9;
    row9.replace(13, row9.find(' ', 13) - 13, "n/a");  // the first value after `2 "Sample 2" `
    struct Case {
        std::string text;
        int line;
        std::string reasonPart;
    };
    const Case cases[] = {
        {replaceLine(7, ""), 11, "END_DATA without BEGIN_DATA"},
        {good.substr(0, good.find("BEGIN_DATA\n")), 3, "not followed by a table of values"},
        {replaceLine(9, "2 \"Sample 2\" 1 2 3"), 9, "the row has 5 values"},
        {replaceLine(4, "SAMPLE_ID SAMPLE_NAME"), 2, "NUMBER_OF_FIELDS is 42"},
        {replaceLine(11, ""), 7, "has no END_DATA"},
        {replaceLine(6, "NUMBER_OF_SETS 4"), 11, "NUMBER_OF_SETS is 4"},
        {replaceLine(6, "NUMBER_OF_SETS 1e19"), 6, "whole number"},
        {replaceLine(6, "NUMBER_OF_SETS 99999999999999999999"), 6, "whole number"},
        {replaceLine(2, "NUMBER_OF_FIELDS -42"), 2, "whole number"},
        {replaceLine(9, row9), 9, "SPECTRAL_NM360 is \"n/a\""},
        {replaceLine(9, line9.substr(0, 9) + "\x01" + line9.substr(9)), 9, "control character"},
        {MakeCgats("nm", 360, 30, 750, 3), 3, "30 nm apart"},
        {MakeCgats("nm", 400, 10, 400, 3), 3, "only one spectral"},
    };
    for (const Case& c : cases) {
        const ParseError e = ImportError(c.text);
        EXPECT_EQ(e.Source(), "test.cgats");
        EXPECT_EQ(e.Line(), c.line) << e.what();
        EXPECT_NE(e.Reason().find(c.reasonPart), std::string::npos) << e.what();
    }
    // Uneven wavelengths are refused; a header line that is not understood is only noted.
    const ParseError uneven = ImportError(
        "CGATS.17\nBEGIN_DATA_FORMAT\nSAMPLE_ID nm380 nm390 nm405\nEND_DATA_FORMAT\nBEGIN_DATA\n"
        "1 1 2 3\nEND_DATA\n");
    EXPECT_NE(uneven.Reason().find("not evenly spaced (nm380, nm390, nm405)"), std::string::npos);
    ImportReport report;
    Import(replaceLine(2, "NUMBER_OF_FIELDS 42\n12 34"), &report);
    ASSERT_EQ(report.Notes.size(), 1u);
    EXPECT_NE(report.Notes[0].find("line 3: \"12 34\""), std::string::npos);
}

// ---- export -------------------------------------------------------------------------------------

SaveSetData SampleSet(int angles, int records = 25) {
    SaveSetData data;
    data.NumAngles = static_cast<int16_t>(angles);
    data.Company = "Ceramic \"Colour\" Lab";
    data.Status = angles == 2 ? "RCBIXX" : "RCIIXX";
    data.Instrument = 179;
    for (int r = 0; r < records; ++r) {
        SaveSetRecord rec;
        rec.Name = r == 3   ? "Say \"hi\""
                   : r == 4 ? "It's  two spaces "
                            : "Tile " + std::to_string(r);
        rec.Status = data.Status;
        rec.Instrument = data.Instrument;
        for (int a = 0; a < angles; ++a) {
            for (int i = 0; i < 40; ++i)  // values with all 17 significant digits in use
                rec.Curves[a][i] = 100.0 * std::fabs(std::sin(1.0 + r * 0.731 + i * 0.1371 + a));
        }
        data.Records.push_back(rec);
    }
    data.Records[5].Curves[0].fill(20.0);     // whole numbers
    data.Records[6].Curves[0].fill(0.00001);  // small enough for an exponent
    return data;
}

TEST(CgatsExport, ImportGivesBackTheSameCurvesAndHeaderTexts) {
    for (int angles : {1, 2}) {
        SaveSetData original = SampleSet(angles);
        if (angles == 2)
            original.Company = "";  // an empty company stays empty
        std::ostringstream out;
        ExportCgats(original, out);
        const std::string text = out.str();
        for (std::size_t at = text.find('\n'); at != std::string::npos;
             at = text.find('\n', at + 1))
            ASSERT_EQ(text[at - 1], '\r') << "bare LF at " << at;
        EXPECT_EQ(Import(text), original) << angles << " angles";
        // Every value has a decimal point and no exponent (Argyll types a column of whole
        // numbers as integers and then refuses it).
        std::istringstream rows(text.substr(text.find("BEGIN_DATA\r\n") + 12));
        std::string row;
        std::getline(rows, row);
        std::vector<std::string_view> cells;
        std::istringstream cellStream(row);
        int checked = 0;
        for (std::string cell; cellStream >> cell;) {
            if (++checked > 3) {  // after SAMPLE_ID and the two words of "Tile 0"
                EXPECT_NE(cell.find('.'), std::string::npos) << cell;
                EXPECT_EQ(cell.find('e'), std::string::npos) << cell;
            }
        }
        EXPECT_NE(text.find(" 20.0 20.0 "), std::string::npos);
        EXPECT_NE(text.find(" 0.00001 0.00001 "), std::string::npos);
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

// A stream buffer that cannot seek, as a pipe's.
class PipeBuffer : public std::stringbuf {
  public:
    using std::stringbuf::stringbuf;

  protected:
    pos_type seekoff(off_type, std::ios_base::seekdir, std::ios_base::openmode) override {
        return pos_type(off_type(-1));
    }
    pos_type seekpos(pos_type, std::ios_base::openmode) override { return pos_type(off_type(-1)); }
};

TEST(CgatsImport, ALargeFileReadInPiecesGivesTheSameRecordsWhateverItsLineEndings) {
    // Two tables of 4000 rows, well over one piece of the reader, so lines and CR LF pairs fall
    // across the pieces' edges.
    const SaveSetData original = SampleSet(2, 4000);
    std::ostringstream out;
    ExportCgats(original, out);
    const std::string crlf = out.str();
    ASSERT_GT(crlf.size(), 2u << 20);
    const std::string lf = std::regex_replace(crlf, std::regex("\r\n"), "\n");
    const std::string cr = std::regex_replace(crlf, std::regex("\r\n"), "\r");
    for (const std::string* text : {&crlf, &lf, &cr}) {
        SCOPED_TRACE(text == &crlf ? "CR LF" : text == &lf ? "LF" : "CR");
        EXPECT_EQ(Import(*text), original);
    }
    // A file whose last line has no ending at all (an editor that adds none).
    const std::string unended = lf.substr(0, lf.find_last_not_of('\n') + 1);
    ASSERT_NE(unended.back(), '\n');
    EXPECT_EQ(Import(unended), original);
    // A stream that cannot seek is read whole first; the records come through the sink one by
    // one all the same.
    PipeBuffer pipe(crlf);
    std::istream in(&pipe);
    SaveSetData header;
    std::size_t count = 0;
    bool same = true;
    ImportCgats(in, "pipe", [&](const SaveSetData& h, const SaveSetRecordSource& next) {
        header = h;
        SaveSetRecord rec;
        while (next(rec))
            same = same && rec == original.Records[count++];
    });
    EXPECT_EQ(count, original.Records.size());
    EXPECT_TRUE(same);
    EXPECT_EQ(header.Company, original.Company);
    EXPECT_EQ(header.NumAngles, 2);
}

TEST(CgatsImport, OfTwoFaultyTablesTheFirstFaultInTheFileIsTold) {
    std::ostringstream out;
    ExportCgats(SampleSet(2, 12), out);
    const std::string text = out.str();
    // Row 6 of the first table and row 3 of the second, each given a cell that is no number.
    const std::size_t firstTable = text.find("BEGIN_DATA\r\n");
    const std::size_t secondTable = text.find("BEGIN_DATA\r\n", firstTable + 1);
    auto spoil = [](std::string t, std::size_t table, int row) {
        std::size_t at = t.find("\r\n", table) + 2;
        for (int r = 1; r < row; ++r)
            at = t.find("\r\n", at) + 2;
        t.insert(t.find(' ', t.find('"', t.find('"', at) + 1)) + 1, "x");
        return t;
    };
    auto lineOf = [&](std::size_t table, int row) {
        return static_cast<int>(std::count(text.begin(), text.begin() + table, '\n')) + 1 + row;
    };
    const std::string both = spoil(spoil(text, secondTable, 3), firstTable, 6);
    EXPECT_EQ(ImportError(both).Line(), lineOf(firstTable, 6));
    EXPECT_EQ(ImportError(spoil(text, secondTable, 3)).Line(), lineOf(secondTable, 3));
}

}  // namespace
}  // namespace tintara
