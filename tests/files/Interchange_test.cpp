#include "files/Interchange.h"

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <map>
#include <sstream>

#include "engine/ColorMatch.h"
#include "files/Cxf.h"
#include "files/SaveSetFile.h"
#include "support/ExpectThrow.h"
#include "support/TestPaths.h"
#include "workspace/Error.h"

namespace tintara {
namespace {

using colorimetry::Lab;

Lab CieLab(const Curve& curve) {
    return colorimetry::XyzToCieLab(colorimetry::Tristimulus(curve.data()),
                                    colorimetry::WhitePoint());
}

double DeltaEab(const Lab& p, const Lab& q) {
    return std::hypot(p.L - q.L, p.a - q.a, p.b - q.b);
}

// name -> L a b, from a file of lines "name L a b" (spec2cie's results, stored by the
// make_reference.sh scripts beside them).
std::map<std::string, Lab> ArgyllLab(const std::string& file) {
    std::ifstream in(test::DataPath(file));
    std::map<std::string, Lab> out;
    std::string name;
    Lab lab;
    while (in >> name >> lab.L >> lab.a >> lab.b)
        out[name] = lab;
    EXPECT_GE(out.size(), 15u) << file;
    return out;
}

struct Agreement {
    double worst = 0, mean = 0;
};

// Our CIELAB of every record against spec2cie's for the same sample.
Agreement Compare(const SaveSetData& data, const std::map<std::string, Lab>& argyll) {
    Agreement a;
    int n = 0;
    for (const SaveSetRecord& rec : data.Records) {
        const auto found = argyll.find(rec.Name);
        if (found == argyll.end())
            continue;
        const double de = DeltaEab(CieLab(rec.Curves[0]), found->second);
        a.worst = std::max(a.worst, de);
        a.mean += de;
        ++n;
    }
    EXPECT_EQ(n, static_cast<int>(argyll.size()));
    a.mean /= std::max(n, 1);
    return a;
}

TEST(Interchange, ImportsAgreeWithArgyllOnRealReflectancesInEveryShapeArgyllReads) {
    // CIE 13.3 test colour samples, made by tests/data/interchange/make_reference.sh.
    struct Case {
        const char* file;
        const char* argyll;
        double limit;  // worst ΔE*ab allowed
    };
    for (const Case& c :
         {Case{"interchange/tcs_hires.ti3", "interchange/tcs_hires_argyll.txt", 0.10},
          Case{"interchange/tcs_20nm.ti3", "interchange/tcs_20nm_argyll.txt", 0.25},
          Case{"interchange/tcs_instrument.cxf", "interchange/tcs_instrument_argyll.txt", 0.06}}) {
        ImportReport report;
        const SaveSetData data = ImportMeasurements(test::DataPath(c.file), {}, &report);
        const Agreement a = Compare(data, ArgyllLab(c.argyll));
        std::cout << c.file << ": ΔE*ab against spec2cie worst " << a.worst << ", mean " << a.mean
                  << "\n";
        EXPECT_LE(a.worst, c.limit) << c.file;
    }
    // The 10 nm reference curves of the colorimetry tests, read through the importer.
    std::map<std::string, Lab> tenNm;
    {
        std::ifstream in(test::DataPath("colorimetry/argyll_lab.txt"));
        std::string line;
        while (std::getline(in, line)) {
            std::istringstream fields(line);
            std::string name;
            Lab lab;
            if (fields >> name >> lab.L >> lab.a >> lab.b)
                tenNm[name] = lab;
        }
    }
    const Agreement ten =
        Compare(ImportCgats(test::DataPath("colorimetry/reference_spectra.ti3")), tenNm);
    std::cout << "10 nm reference curves: ΔE*ab against spec2cie worst " << ten.worst << ", mean "
              << ten.mean << "\n";
    EXPECT_LE(ten.worst, 0.06);
}

TEST(Interchange, TwentyNanometreDataBySpragueComeCloserToArgyllThanLinear) {
    const SaveSetData data = ImportCgats(test::DataPath("interchange/tcs_20nm.ti3"));
    SaveSetData linear = data;
    for (SaveSetRecord& rec : linear.Records) {
        Curve& c = rec.Curves[0];
        // Measured at 380, 400, .. 740 nm: indices 2, 4, .. 38; the points between are the mean.
        for (int i = 3; i < 38; i += 2)
            c[i] = (c[i - 1] + c[i + 1]) / 2;
    }
    const auto argyll = ArgyllLab("interchange/tcs_20nm_argyll.txt");
    const Agreement sprague = Compare(data, argyll), straight = Compare(linear, argyll);
    std::cout << "20 nm: Sprague worst " << sprague.worst << " mean " << sprague.mean
              << "; linear worst " << straight.worst << " mean " << straight.mean << "\n";
    EXPECT_LT(sprague.mean, straight.mean);
    EXPECT_LT(sprague.worst, straight.worst);
}

TEST(Interchange, FormatIsToldByContentOnImportAndByNameOnExport) {
    const auto dir = test::ScratchDir("Interchange");
    // CxF content under a .txt name still imports as CxF, and the reverse.
    std::filesystem::copy_file(test::DataPath("interchange/tcs_instrument.cxf"), dir / "cxf.txt");
    std::filesystem::copy_file(test::DataPath("interchange/tcs_20nm.ti3"), dir / "cgats.cxf");
    EXPECT_EQ(FormatOfMeasurementFile(dir / "cxf.txt"), MeasurementFormat::Cxf);
    EXPECT_EQ(FormatOfMeasurementFile(dir / "cgats.cxf"), MeasurementFormat::Cgats);
    ImportReport report;
    const SaveSetData fromCxf = ImportMeasurements(dir / "cxf.txt", {}, &report);
    EXPECT_EQ(report.Format, "CxF3");
    EXPECT_EQ(fromCxf.NumAngles, 2);
    EXPECT_EQ(ImportMeasurements(dir / "cgats.cxf").Records.size(), 15u);

    for (const char* name : {"out.CXF", "out.txt"}) {
        ExportMeasurements(fromCxf, dir / name);
        EXPECT_EQ(FormatOfMeasurementFile(dir / name),
                  name[4] == 'C' ? MeasurementFormat::Cxf : MeasurementFormat::Cgats);
        EXPECT_EQ(ImportMeasurements(dir / name), fromCxf) << name;
    }
    // A write that cannot be made leaves the earlier file and no temporary file behind.
    const std::filesystem::path blocked = dir / "blocked.cxf";
    std::ofstream(blocked) << "earlier";
    std::filesystem::permissions(blocked, std::filesystem::perms::owner_read);  // write-protected
    EXPECT_THROW(ExportMeasurements(fromCxf, blocked), IoError);
    std::ifstream earlier(blocked);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(earlier), {}), "earlier");
    EXPECT_THROW(ImportMeasurements(dir / "missing.txt"), IoError);
    EXPECT_THROW(ImportMeasurements(dir), IoError);  // a folder
}

TEST(Interchange, SaveSetFilesStreamToAndFromMeasurementFilesAsTheWholeSetWould) {
    const auto dir = test::ScratchDir("Interchange_Stream");
    SaveSetData data;
    data.NumAngles = 2;
    data.Company = "Stream Lab";
    data.Status = "RCBIXX";
    data.Instrument = 179;
    for (int r = 0; r < 300; ++r) {
        SaveSetRecord& rec = data.Records.emplace_back();
        rec.Name = "Tile " + std::to_string(r);
        rec.Status = data.Status;
        rec.Instrument = data.Instrument;
        for (int a = 0; a < 2; ++a) {
            for (int i = 0; i < kPointCount; ++i)
                rec.Curves[a][i] = 100.0 * std::fabs(std::sin(1.0 + r * 0.731 + i * 0.1371 + a));
        }
    }
    SaveSetData empty = data;
    empty.Records.clear();
    ExportOptions options;
    options.Created = "2026-01-02T03:04:05";
    for (const SaveSetData* set : {&data, &empty}) {
        const auto saveSet = dir / "set.wsv";
        StoreSaveSet(*set, saveSet);
        for (const char* name : {"set.txt", "set.cxf"}) {
            SCOPED_TRACE(std::string(name) + ", " + std::to_string(set->Records.size()));
            ExportMeasurements(*set, dir / ("whole" + std::string(name)), options);
            const SaveSetSummary written = ExportSaveSet(saveSet, dir / name, options);
            EXPECT_EQ(written.Records, static_cast<int64_t>(set->Records.size()));
            EXPECT_EQ(test::Slurp(dir / name), test::Slurp(dir / ("whole" + std::string(name))));
            if (set->Records.empty())
                continue;
            const SaveSetSummary read = ImportMeasurements(dir / name, dir / "back.wsv");
            EXPECT_EQ(read.Records, 300);
            EXPECT_EQ(LoadSaveSet(dir / "back.wsv"), *set);
        }
    }

    // A damaged save set is refused as a load refuses it, and a faulty measurement file writes
    // nothing: the earlier targets stay.
    const auto damaged = dir / "damaged.wsv";
    StoreSaveSet(data, damaged);
    {
        std::fstream f(damaged, std::ios::in | std::ios::out | std::ios::binary);
        f.seekp(static_cast<std::streamoff>(std::filesystem::file_size(damaged) - 700));
        f << std::string(300, 'Z');
    }
    const auto loadMessage = test::ThrownWhat<Error>([&] { LoadSaveSet(damaged); });
    ASSERT_TRUE(loadMessage);
    const std::string earlier = test::Slurp(dir / "set.txt");
    EXPECT_EQ(test::ThrownWhat<Error>([&] { ExportSaveSet(damaged, dir / "set.txt"); }),
              loadMessage);
    EXPECT_EQ(test::Slurp(dir / "set.txt"), earlier);
    std::ofstream(dir / "bad.txt") << "CGATS.17\nBEGIN_DATA_FORMAT\nSAMPLE_ID SPECTRAL_NM380 "
                                      "SPECTRAL_NM390\nEND_DATA_FORMAT\nBEGIN_DATA\n1 2 3\n2 x "
                                      "4\nEND_DATA\n";
    const std::string before = test::Slurp(dir / "back.wsv");
    EXPECT_THROW(ImportMeasurements(dir / "bad.txt", dir / "back.wsv"), ParseError);
    EXPECT_EQ(test::Slurp(dir / "back.wsv"), before);
    // A CxF3 file whose last object is faulty: 299 records were already on their way.
    ExportMeasurements(data, dir / "bad.cxf");
    std::string cxf = test::Slurp(dir / "bad.cxf");
    const std::size_t last = cxf.find("Name=\"Tile 299\"");
    ASSERT_NE(last, std::string::npos);
    cxf.replace(cxf.find(">0.", last) + 1, 2, "O.");
    std::ofstream(dir / "bad.cxf", std::ios::binary) << cxf;
    const auto what = test::ThrownWhat<ParseError>(
        [&] { ImportMeasurements(dir / "bad.cxf", dir / "back.wsv"); });
    ASSERT_TRUE(what);
    EXPECT_NE(what->find("\"Tile 299\" holds \"O."), std::string::npos) << *what;
    EXPECT_EQ(test::Slurp(dir / "back.wsv"), before);
}

}  // namespace
}  // namespace tintara
