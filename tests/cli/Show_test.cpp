#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "files/SaveSetLibrary.h"
#include "support/TestPaths.h"

namespace tintara {
namespace {

namespace fs = std::filesystem;

std::string Show(const fs::path& file, std::string* err = nullptr, int* status = nullptr) {
    std::string out;
    const int rc =
        test::RunCommand(test::CliPath().string() + " show '" + file.string() + "'", &out, err);
    if (status)
        *status = rc;
    return out;
}

// The numbers after "  Angle <a>:" in the block of record `r`.
std::vector<double> CurveLine(const std::string& out, int r, int a) {
    const auto block = out.find("\nRecord " + std::to_string(r) + "\n");
    EXPECT_NE(block, std::string::npos);
    const std::string tag = "  Angle " + std::to_string(a) + ":";
    const auto at = out.find(tag, block);
    std::vector<double> values;
    if (at == std::string::npos)
        return values;
    std::istringstream line(out.substr(at + tag.size(), out.find('\n', at) - at - tag.size()));
    for (double v; line >> v;)
        values.push_back(v);
    return values;
}

TEST(ShowCommand, PrintsHeaderRecordsAndCurves) {
    const auto dir = test::ScratchDir("Show_Prints");
    SaveSetData d;
    d.NumAngles = 2;
    d.Company = "Lab One";
    d.Status = "XXBIXX";
    d.Instrument = 173;
    for (int r = 0; r < 3; ++r) {
        SaveSetRecord rec;
        rec.Name = "Tile " + std::to_string(r);
        rec.Name2 = "AV-12";
        rec.System = "SN 4471";
        rec.Notes = "J. Smith";
        rec.Instrument = r == 2 ? 999 : 173;
        for (int a = 0; a < 2; ++a) {
            for (int p = 0; p < kPointCount; ++p)
                rec.Curves[a][p] = 10.0 * r + p * 0.125 + a;
        }
        d.Records.push_back(rec);
    }
    d.Records[1].Name = std::string("Red\0tail", 8);
    d.Records[1].Status = "XXIIXX";
    StoreSaveSet(d, dir / "tiles.wsv");

    int status = -1;
    const std::string out = Show(dir / "tiles.wsv", nullptr, &status);
    EXPECT_EQ(status, 0);
    for (const char* line : {"Angle positions: 2\n", "Company: Lab One\n", "Status: XXBIXX\n",
                             "Instrument: 173 (Macbeth XTS)\n", "Records: 3\n", "  Name: Tile 0\n",
                             "  Second name: AV-12\n", "  System: SN 4471\n", "  Notes: J. Smith\n",
                             "  Name: Red\\x00tail\n", "  Status: XXIIXX\n",
                             "  Instrument: 999 (Unknown ID# 999)\n"}) {
        EXPECT_NE(out.find(line), std::string::npos) << line << "\n" << out;
    }
    for (int r = 0; r < 3; ++r) {
        for (int a = 0; a < 2; ++a) {
            const auto values = CurveLine(out, r, a);
            ASSERT_EQ(values.size(), 40u) << "record " << r << " angle " << a;
            for (int p = 0; p < kPointCount; ++p)
                EXPECT_EQ(values[p], d.Records[r].Curves[a][p]);
        }
    }
}

TEST(ShowCommand, BadFilesExitOneWithTheReason) {
    const auto dir = test::ScratchDir("Show_Bad");
    std::ofstream(dir / "notes.wsv") << "this is not a save set, just some notes\r\n"
                                     << std::string(2000, '-');
    std::string err;
    int status = -1;
    EXPECT_EQ(Show(dir / "notes.wsv", &err, &status), "");
    EXPECT_EQ(status, 1);
    EXPECT_NE(err.find("notes.wsv"), std::string::npos) << err;
    EXPECT_NE(err.find("not a save set"), std::string::npos) << err;

    Show(dir / "missing.wsv", &err, &status);
    EXPECT_EQ(status, 1);
    EXPECT_NE(err.find("does not exist"), std::string::npos) << err;

    std::string out;
    EXPECT_EQ(test::RunCommand(test::CliPath().string() + " show", &out, &err), 2);
}

}  // namespace
}  // namespace tintara
