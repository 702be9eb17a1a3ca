#include "files/Cxf.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <sstream>
#include <streambuf>

#include "support/ExpectThrow.h"
#include "workspace/Error.h"

namespace tintara {
namespace {

// A reflectance factor of object o at point k, four decimals, as instruments write them.
std::string Factor(int o, int k, double less = 0) {
    char text[16];
    std::snprintf(text, sizeof text, "%.4f", 0.05 + 0.8 * std::fabs(std::sin(0.2 * k + o)) - less);
    return text;
}

// A CxF3 file as instrument software writes it: namespace prefix `p` ("cc:" or "" for the default
// namespace), file information, per object a creation date, L*a*b* and both geometries with the
// specular-excluded one first, a start wavelength on each spectrum, a Lab-only object, a vendor's
// own resources. Spectra: `count` values from `start` nm by 10 nm, SCE 0.01 below SCI.
std::string InstrumentCxf(const std::string& p, int start = 380, int count = 36) {
    std::ostringstream os;
    const std::string ns = p.empty() ? "xmlns" : "xmlns:" + p.substr(0, p.size() - 1);
    os << "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?>\n"
       << "<" << p << "CxF " << ns << "=\"http://colorexchangeformat.com/CxF3-core\" "
       << "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\">\n"
       << "<" << p << "FileInformation><" << p << "Creator>i1Profiler</" << p << "Creator>"
       << "<" << p << "CreationDate>2024-03-04T10:12:55Z</" << p << "CreationDate></" << p
       << "FileInformation>\n<" << p << "Resources><" << p << "ObjectCollection>\n";
    for (int o = 0; o < 3; ++o) {
        os << "<" << p << "Object ObjectType=\"Target\" Name=\"Tile &amp; " << o + 1 << "\" Id=\""
           << o + 1 << "\"><" << p << "CreationDate>2024-03-04T10:12:55Z</" << p << "CreationDate><"
           << p << "ColorValues>\n";
        for (const char* geometry : {"SCE", "SCI"}) {
            os << "<" << p << "ReflectanceSpectrum ColorSpecification=\"M0_" << geometry
               << "\" StartWL=\"" << start << "\">";
            for (int k = 0; k < count; ++k)
                os << (k ? " " : "") << Factor(o, k, geometry[2] == 'E' ? 0.01 : 0);
            os << "</" << p << "ReflectanceSpectrum>\n";
        }
        os << "<" << p << "ColorCIELab ColorSpecification=\"D50_2\"><" << p << "L>50</" << p
           << "L><" << p << "A>1</" << p << "A><" << p << "B>2</" << p << "B></" << p
           << "ColorCIELab></" << p << "ColorValues></" << p << "Object>\n";
    }
    os << "<" << p << "Object ObjectType=\"Standard\" Name=\"Lab only\" Id=\"9\"><" << p
       << "ColorValues><" << p << "ColorCIELab ColorSpecification=\"D50_2\"><" << p << "L>50</" << p
       << "L></" << p << "ColorCIELab></" << p << "ColorValues></" << p << "Object>\n</" << p
       << "ObjectCollection><" << p << "ColorSpecificationCollection>\n";
    for (const char* geometry : {"Excluded", "Included"}) {
        os << "<" << p << "ColorSpecification Id=\"M0_SC" << geometry[0] << "\"><" << p
           << "MeasurementSpec><" << p << "MeasurementType>Spectrum_Reflectance</" << p
           << "MeasurementType><" << p << "GeometryChoice><" << p << "SphereGeometry><" << p
           << "SphereGeometryConfiguration>Specular_" << geometry << "</" << p
           << "SphereGeometryConfiguration></" << p << "SphereGeometry></" << p
           << "GeometryChoice><" << p << "WavelengthRange StartWL=\"380\" Increment=\"10\"/></" << p
           << "MeasurementSpec></" << p << "ColorSpecification>\n";
    }
    os << "</" << p << "ColorSpecificationCollection><" << p << "CustomResources>"
       << "<v:Job xmlns:v=\"urn:example\" Number=\"17\"/></" << p << "CustomResources></" << p
       << "Resources></" << p << "CxF>\n";
    return os.str();
}

SaveSetData Import(const std::string& text, ImportReport* report = nullptr) {
    std::istringstream in(text);
    return ImportCxf(in, "test.cxf", {}, report);
}

std::string Export(const SaveSetData& data) {
    std::ostringstream out;
    ExportCxf(data, out);
    return out.str();
}

// A two-angle save set of `records` records whose values use every bit.
SaveSetData RandomSaveSet(int records) {
    std::mt19937_64 rng(records);
    std::uniform_real_distribution<double> value(-2.0, 130.0);
    SaveSetData data;
    data.NumAngles = 2;
    data.Status = "RCBIXX";
    data.Company = "Tiles & Co";
    data.Instrument = 12;
    data.Records.resize(records);
    for (int r = 0; r < records; ++r) {
        SaveSetRecord& rec = data.Records[r];
        rec.Name = "Tile " + std::to_string(r + 1);
        rec.Status = data.Status;
        rec.Instrument = data.Instrument;
        for (int a = 0; a < 2; ++a)
            std::generate(rec.Curves[a].begin(), rec.Curves[a].end(), [&] { return value(rng); });
    }
    return data;
}

// The 1-based line of a byte offset.
int LineAt(const std::string& text, std::size_t offset) {
    return 1 + static_cast<int>(std::count(text.begin(), text.begin() + offset, '\n'));
}

// A stream that cannot seek, as a pipe.
struct OneWay : std::streambuf {
    explicit OneWay(std::string text) : text(std::move(text)) {
        setg(this->text.data(), this->text.data(), this->text.data() + this->text.size());
    }
    std::string text;
};

TEST(CxfImport, InstrumentFilesGiveBothGeometriesWithExactPercentages) {
    ImportReport report;
    const SaveSetData data = Import(InstrumentCxf("cc:"), &report);
    ASSERT_EQ(data.Records.size(), 3u);
    EXPECT_EQ(data.NumAngles, 2);
    EXPECT_EQ(data.Records[1].Name, "Tile & 2");
    EXPECT_EQ(report.Format, "CxF3");
    EXPECT_TRUE(report.ExtendedBelow && report.ExtendedAbove);
    ASSERT_EQ(report.Notes.size(), 1u);  // the Lab-only object
    EXPECT_NE(report.Notes[0].find("1 object without a reflectance spectrum"), std::string::npos);
    for (int o = 0; o < 3; ++o) {
        const SaveSetRecord& rec = data.Records[o];
        for (int k = 0; k < 36; ++k) {
            // SCI at angle position 0 though the file lists SCE first; "0.1234" is 12.34 exactly.
            EXPECT_EQ(rec.Curves[0][k + 2], std::stod(Factor(o, k) + "e2")) << o << " " << k;
            EXPECT_EQ(rec.Curves[1][k + 2], std::stod(Factor(o, k, 0.01) + "e2"));
        }
        EXPECT_EQ(rec.Curves[0][0], rec.Curves[0][2]);
        EXPECT_EQ(rec.Curves[0][39], rec.Curves[0][37]);
    }
    // The default namespace instead of a prefix reads the same.
    EXPECT_EQ(Import(InstrumentCxf("")), data);
    // CxF -> save set -> CxF -> save set.
    EXPECT_EQ(Import(Export(data)), data);
}

TEST(CxfExport, SaveSetToCxfAndBackIsBitForBit) {
    std::mt19937_64 rng(15);
    std::uniform_real_distribution<double> value(-2.0, 130.0);
    for (const char* status : {"RCBIXX", "RCEIXX", "RCXIXX"}) {
        SaveSetData data;
        data.NumAngles = status[2] == 'B' ? 2 : 1;
        data.Status = status;
        data.Company = status[2] == 'E' ? "" : "Ceramic \"Colour\" <Lab> & Co";
        data.Instrument = 179;
        for (int r = 0; r < 30; ++r) {
            SaveSetRecord rec;
            rec.Name = r == 0   ? "Say \"hi\" & <bye>"
                       : r == 1 ? "  spaced  "
                                : "Tile " + std::to_string(r);
            rec.Status = data.Status;
            rec.Instrument = data.Instrument;
            for (int a = 0; a < data.NumAngles; ++a) {
                for (double& v : rec.Curves[a])
                    v = value(rng);  // every bit in use
            }
            data.Records.push_back(rec);
        }
        data.Records[2].Curves[0].fill(20.0);
        const std::string text = Export(data);
        EXPECT_EQ(Import(text), data) << status;
        EXPECT_NE(text.find(status[2] == 'E'   ? "Specular_Excluded"
                            : status[2] == 'B' ? "Specular_Included"
                                               : "WavelengthRange"),
                  std::string::npos);
        EXPECT_NE(text.find(">0.2 0.2 0.2 "), std::string::npos);  // 20 % as a factor, exactly
    }
    // An instrument's CxF at 360..750 nm by 10 nm: through a save set, the same numbers come out.
    const std::string exported = Export(Import(InstrumentCxf("cc:", 360, 40)));
    for (int o = 0; o < 3; ++o) {
        const std::size_t at =
            exported.find("ColorSpecification=\"SCI\">",
                          exported.find("Name=\"Tile &amp; " + std::to_string(o + 1)));
        std::istringstream values(exported.substr(exported.find('>', at) + 1));
        for (int k = 0; k < 40; ++k) {
            double v = 0;
            values >> v;
            EXPECT_EQ(v, std::stod(Factor(o, k))) << o << " " << k;
        }
    }
}

TEST(CxfImport, DamagedOrForeignFilesAreRefusedInPlainWords) {
    const std::string good = InstrumentCxf("cc:");
    struct Case {
        std::string text;
        std::string said;
    };
    std::string notNumber = good;
    notNumber.replace(notNumber.find("0.", notNumber.find("ReflectanceSpectrum")), 6, "0.1x");
    std::string noStart = good;
    for (std::size_t at; (at = noStart.find(" StartWL=\"380\"")) != std::string::npos;)
        noStart.erase(at, 14);
    const Case cases[] = {
        {good.substr(0, good.size() / 2), "not readable XML"},
        {"<?xml version=\"1.0\"?><Palette><Colour/></Palette>", "not a CxF3 colour file"},
        {"<CxF><Resources><ObjectCollection><Object Name=\"A\"><ColorValues><ColorCIELab>"
         "<L>5</L></ColorCIELab></ColorValues></Object></ObjectCollection></Resources></CxF>",
         "no reflectance spectra"},
        {notNumber, "which is not a number"},
        {noStart, "does not say at which wavelength it starts"},
    };
    for (const Case& c : cases) {
        const auto what = test::ThrownWhat<ParseError>([&] { Import(c.text); });
        ASSERT_TRUE(what.has_value()) << "no error for " << c.said;
        EXPECT_EQ(what->rfind("test.cxf: ", 0), 0u) << *what;
        EXPECT_NE(what->find(c.said), std::string::npos) << *what;
    }
}

TEST(CxfImport, ObjectsAreFoundWhereverTheMarkupPutsThem) {
    ImportReport plainReport;
    const SaveSetData plain = Import(InstrumentCxf("cc:"), &plainReport);
    // Markup that holds "</cc:Object>" or '>' without ending anything, under another prefix too.
    for (const std::string p : {"cc:", "x:"}) {
        std::string text = InstrumentCxf(p);
        auto insertAfter = [&](const std::string& where, const std::string& what, int nth) {
            std::size_t at = 0;
            for (int k = 0; k <= nth; ++k)
                at = text.find(where, at) + where.size();
            text.insert(at, what);
        };
        const std::string end = "</" + p + "Object>";
        insertAfter("<" + p + "ColorValues>", "<!-- " + end + " -->", 0);
        insertAfter("<" + p + "CreationDate>", "<![CDATA[" + end + "]]>", 2);
        insertAfter("<" + p + "ColorValues>", "<?note " + end + " ?>", 1);
        insertAfter("ObjectType=\"Target\"", " Note=\"a > b\" Tag='" + end + "'", 2);
        insertAfter("<" + p + "ObjectCollection>", "<" + p + "Object Name=\"empty\"/>", 0);
        text.insert(0, "<!-- " + end + " -->\n");
        ImportReport report;
        const SaveSetData data = Import(text, &report);
        EXPECT_EQ(data.Records, plain.Records) << p;
        EXPECT_EQ(data.NumAngles, 2);
        ASSERT_EQ(report.Notes.size(), 1u);
        EXPECT_EQ(report.Notes[0], "2 objects without a reflectance spectrum were skipped");
        // One line more at the top: a spectrum's fault is reported one line further down.
        std::string bad = text;
        bad.replace(bad.find(">0.", bad.find("Tile &amp; 3")) + 1, 4, "zero");
        const auto what = test::ThrownWhat<ParseError>([&] { Import(bad); });
        ASSERT_TRUE(what.has_value());
        EXPECT_NE(what->find("line 15: the reflectance spectrum of \"Tile & 3\" holds \"zero"),
                  std::string::npos)
            << *what;
    }
    // The same file from a stream that cannot seek back, in Latin-1 and in UTF-16.
    const std::string text = InstrumentCxf("cc:");
    // Objects after the root element are not the file's; an object inside a measurement
    // condition still lends it its wavelength range (the first one inside the condition).
    const std::string late =
        "<Extra><cc:Object Name=\"late\"><cc:ReflectanceSpectrum "
        "ColorSpecification=\"M0_SCI\">0.5 0.5</cc:ReflectanceSpectrum>"
        "</cc:Object></Extra>\n";
    EXPECT_EQ(Import(text + late), plain);
    std::string inCondition = text;
    inCondition.insert(inCondition.find("<cc:MeasurementSpec>", inCondition.find("M0_SCI\">")),
                       "<cc:Object><cc:WavelengthRange Increment=\"5\"/></cc:Object>");
    ImportReport finer;
    Import(inCondition, &finer);
    EXPECT_EQ(finer.StepNm, 5.0);
    EXPECT_EQ(finer.LastNm, 380.0 + 35 * 5);
    OneWay pipe(text);
    std::istream piped(&pipe);
    EXPECT_EQ(ImportCxf(piped, "test.cxf"), plain);
    std::string latin1 = text;
    latin1.replace(latin1.find("UTF-8"), 5, "ISO-8859-1");
    latin1.replace(latin1.find("Tile &amp; 2"), 4, "T\xE9le");
    const SaveSetData fromLatin1 = Import(latin1);
    EXPECT_EQ(fromLatin1.Records[1].Name, "T\xC3\xA9le & 2");
    EXPECT_EQ(fromLatin1.Records[1].Curves, plain.Records[1].Curves);
    std::string utf16 = "\xFF\xFE";
    for (const char c : text)
        utf16 += std::string{c, '\0'};
    EXPECT_EQ(Import(utf16), plain);
}

TEST(CxfImport, LargeFilesReadBackExactlyAndFaultsNameTheirLine) {
    // 20,000 objects: about 27 MB, so objects straddle the pieces the file is read in.
    const SaveSetData data = RandomSaveSet(20000);
    ImportReport report;
    EXPECT_EQ(Import(Export(data), &report), data);
    EXPECT_EQ(report.Records, 20000);
    EXPECT_TRUE(report.Notes.empty());

    // Faults in a file of 3,000 objects (4 MB, read in several pieces).
    const std::string text = Export(RandomSaveSet(3000));
    struct Case {
        std::string text;
        int line;
        std::string said;
    };
    std::vector<Case> cases;
    // An end tag that does not match, far into the file.
    const std::size_t tag = text.find("</cc:ReflectanceSpectrum>", text.find("Name=\"Tile 2500\""));
    cases.push_back({text.substr(0, tag) + "</cc:Spectrum>" + text.substr(tag + 25),
                     LineAt(text, tag), "not readable XML"});
    // A value that is no number: the line of its spectrum.
    const std::size_t spectrum = text.find("<cc:ReflectanceSpectrum", text.find("\"Tile 1234\""));
    std::string noNumber = text;
    noNumber.replace(text.find('>', spectrum) + 1, 3, "0,5");
    cases.push_back({noNumber, LineAt(text, spectrum), "\"Tile 1234\" holds \"0,5"});
    // Cut short inside an object, and just after one.
    const std::size_t middle = text.find("0.", text.find("\"Tile 2900\""));
    cases.push_back({text.substr(0, middle), LineAt(text, middle), "not readable XML"});
    const std::size_t after = text.find("</cc:Object>", middle) + 12;
    cases.push_back({text.substr(0, after), LineAt(text, after), "not readable XML"});
    // The text after the objects damaged: the fault is reported there, not at an object.
    std::string badTail = text;
    const std::size_t tail = badTail.find("<cc:ColorSpecificationCollection>");
    badTail.insert(tail, "<");
    cases.push_back({badTail, LineAt(text, tail), "not readable XML"});
    for (const Case& c : cases) {
        const auto what = test::ThrownWhat<ParseError>([&] { Import(c.text); });
        ASSERT_TRUE(what.has_value()) << c.said;
        EXPECT_NE(what->find("test.cxf: line " + std::to_string(c.line) + ": "), std::string::npos)
            << *what;
        EXPECT_NE(what->find(c.said), std::string::npos) << *what;
    }
}

}  // namespace
}  // namespace tintara
