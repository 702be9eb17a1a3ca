#include "files/Cxf.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <sstream>

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

}  // namespace
}  // namespace tintara
