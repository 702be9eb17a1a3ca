// tintara lab: coordinates of every record, from save sets and CGATS files.
#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "engine/ColorMatch.h"
#include "files/SaveSetLibrary.h"
#include "support/TestPaths.h"

namespace tintara {
namespace {

struct Row {
    std::string name;
    double L = 0, a = 0, b = 0;
};

// Parses the tool's output, checking the line shape: name and three 6-decimal numbers, tabs.
std::vector<Row> ParseRows(const std::string& out) {
    static const std::regex shape(R"(^([^\t]*)\t(-?\d+\.\d{6})\t(-?\d+\.\d{6})\t(-?\d+\.\d{6})$)");
    std::vector<Row> rows;
    std::istringstream lines(out);
    std::string line;
    while (std::getline(lines, line)) {
        std::smatch m;
        if (!std::regex_match(line, m, shape)) {
            ADD_FAILURE() << "malformed line: " << line;
            continue;
        }
        rows.push_back({m[1], std::stod(m[2]), std::stod(m[3]), std::stod(m[4])});
    }
    return rows;
}

std::string Quote(const std::filesystem::path& p) {
    return "'" + p.string() + "'";
}

TEST(Lab, CgatsCurvesAgreeWithArgyllReference) {
    std::string out, err;
    const int status =
        test::RunCommand(Quote(test::CliPath()) + " lab " +
                             Quote(test::DataPath("colorimetry/reference_spectra.ti3")),
                         &out, &err);
    ASSERT_EQ(status, 0) << err;
    const std::vector<Row> rows = ParseRows(out);

    // argyll_lab.txt: name, L a b from 10 nm data, L a b from the same curve at 1 nm, curve.
    std::ifstream in(test::DataPath("colorimetry/argyll_lab.txt"));
    std::string line;
    std::size_t i = 0;
    while (std::getline(in, line)) {
        std::istringstream fields(line);
        std::string name;
        double l10, a10, b10, l1, a1, b1;
        fields >> name >> l10 >> a10 >> b10 >> l1 >> a1 >> b1;
        ASSERT_LT(i, rows.size());
        EXPECT_EQ(rows[i].name, name);
        const double de =
            std::sqrt((rows[i].L - l1) * (rows[i].L - l1) + (rows[i].a - a1) * (rows[i].a - a1) +
                      (rows[i].b - b1) * (rows[i].b - b1));
        EXPECT_LE(de, 0.01) << name;
        ++i;
    }
    EXPECT_GE(i, 20u);
    EXPECT_EQ(rows.size(), i);
}

TEST(Lab, SaveSetChoosesAngleAndSpace) {
    SaveSetData data;
    data.NumAngles = 2;
    data.Company = "Test";
    for (int r = 0; r < 3; ++r) {
        SaveSetRecord record;
        record.Name = "Tile " + std::to_string(r + 1);
        for (int i = 0; i < kPointCount; ++i) {
            const double nm = 360.0 + 10.0 * i;
            record.Curves[0][static_cast<std::size_t>(i)] = 10.0 + 20.0 * r + 0.5 * i;
            record.Curves[1][static_cast<std::size_t>(i)] =
                5.0 + 70.0 * std::exp(-std::pow((nm - 450.0 - 100.0 * r) / 40.0, 2.0));
        }
        data.Records.push_back(record);
    }
    const auto dir = test::ScratchDir("LabSaveSet");
    const auto file = dir / "tiles.wsv";
    StoreSaveSet(data, file);

    for (const int angle : {0, 1}) {
        for (const int16_t space : {kCieLab, kHunterLab}) {
            SCOPED_TRACE("angle " + std::to_string(angle) + " space " + std::to_string(space));
            std::string out, err;
            const std::string options = std::string(" --angle ") + std::to_string(angle) +
                                        (space == kHunterLab ? " --space hunter" : "");
            ASSERT_EQ(test::RunCommand(Quote(test::CliPath()) + " lab " + Quote(file) + options,
                                       &out, &err),
                      0)
                << err;
            const std::vector<Row> rows = ParseRows(out);
            ASSERT_EQ(rows.size(), data.Records.size());
            ColorMatch plm;
            plm.SetColorSpace(space);
            for (std::size_t r = 0; r < rows.size(); ++r) {
                plm.SetTrialSpectrum(data.Records[r].Curves[static_cast<std::size_t>(angle)]);
                std::vector<double> expected(1);
                plm.GetDeltaArray2(0, expected);
                EXPECT_EQ(rows[r].name, data.Records[r].Name);
                EXPECT_NEAR(rows[r].L, expected[0], 5.1e-7);
                EXPECT_NEAR(rows[r].a, expected[1], 5.1e-7);
                EXPECT_NEAR(rows[r].b, expected[2], 5.1e-7);
            }
        }
    }
}

TEST(Lab, BadInputIsRefusedWithAReason) {
    const auto dir = test::ScratchDir("LabRefusals");
    const std::string cli = Quote(test::CliPath()) + " lab ";
    std::string out, err;

    EXPECT_EQ(test::RunCommand(cli + Quote(dir / "missing.wsv"), &out, &err), 1);
    EXPECT_NE(err.find("missing.wsv"), std::string::npos) << err;

    const auto junk = dir / "junk.txt";
    std::ofstream(junk) << "this is not a colour file\n";
    EXPECT_EQ(test::RunCommand(cli + Quote(junk), &out, &err), 1);
    EXPECT_FALSE(err.empty());

    const std::string single = Quote(test::DataPath("colorimetry/reference_spectra.ti3"));
    EXPECT_EQ(test::RunCommand(cli + single + " --angle 1", &out, &err), 1);
    EXPECT_NE(err.find("angle"), std::string::npos) << err;
    EXPECT_TRUE(out.empty());

    EXPECT_EQ(test::RunCommand(cli + single + " --space lch", &out, &err), 2);
    EXPECT_EQ(test::RunCommand(cli + single + " --angle 2", &out, &err), 2);
    EXPECT_EQ(test::RunCommand(cli, &out, &err), 2);
}

}  // namespace
}  // namespace tintara
