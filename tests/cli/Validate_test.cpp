// tintara validate and tintara profile --cross-validate on the demo pair (a short fandeck).
#include <gtest/gtest.h>

#include <fstream>

#include "app/ProfileRun.h"
#include "app/Validation.h"
#include "cli/CliTest.h"
#include "engine/ProfileSequence.h"
#include "files/DemoData.h"
#include "report/ReportText.h"
#include "report/ValidationReport.h"

namespace tintara {
namespace {

namespace fs = std::filesystem;
using test::Quote;

std::string ReadAll(const fs::path& file) {
    std::ifstream in(file, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

std::string Tiles(const fs::path& dir) {
    return "profile --master " + Quote(dir / "master-tiles.wsv") + " --target " +
           Quote(dir / "target-tiles.wsv");
}

std::string Validate(const fs::path& dir, const fs::path& ccf) {
    return "validate --ccf " + Quote(ccf) + " --master " + Quote(dir / "master-fandeck.wsv") +
           " --target " + Quote(dir / "target-fandeck.wsv");
}

TEST(ValidateCommand, ReportsTheCorrectedFandeckThroughTheSharedRoad) {
    const auto dir = test::ScratchDir("ValidateCommand");
    WriteDemoData(dir, {.FandeckSamples = 60});
    const fs::path ccf = dir / "sci.ccf";
    ASSERT_EQ(test::Tintara(dir, Tiles(dir) + " --ccf " + Quote(ccf)).Status, 0);

    const test::CliRun run =
        test::Tintara(dir, Validate(dir, ccf) + " --csv " + Quote(dir / "v.csv") + " --report " +
                               Quote(dir / "v.pdf"));
    ASSERT_EQ(run.Status, 0) << run.Err;
    // The demo profile is SCI only; the conversion says so, and SCI is what is validated.
    EXPECT_EQ(run.Err,
              "Warning: The coefficient file holds no SCE coefficients: the SCE curves "
              "of the fandeck were copied unchanged\n");
    const auto rows = test::Rows(run.Out);

    // The same files validated in process give the same table, cell for cell.
    GlobalVariables ws;
    RWSaveSet saveSets(ws);
    Utility utility(ws);
    const ValidationRun inProcess =
        ValidateFandecks(ws, saveSets, utility,
                         {ccf.string(), (dir / "master-fandeck.wsv").string(),
                          (dir / "target-fandeck.wsv").string()});
    ASSERT_EQ(inProcess.Result.Samples.size(), 60u);
    EXPECT_EQ(rows.at(0), (std::vector<std::string>{"SCI, 60 samples"}));
    const TextRows statistics = ValidationStatisticsRows(inProcess.Result);
    EXPECT_EQ(std::vector(rows.begin() + 1, rows.begin() + 1 + statistics.size()), statistics);
    // The tool reports what the compare command reports: its averages are the same means.
    EXPECT_NEAR(inProcess.Result.Before.DE.Mean, ws.SampleDeltas(60, 3), 1e-12);
    EXPECT_NEAR(inProcess.Result.After.DE.Mean, ws.SampleDeltas(60, 7), 1e-12);
    EXPECT_LT(inProcess.Result.After.DE.Mean, inProcess.Result.Before.DE.Mean);
    // Then bias (4 rows), worst five (6) and the 40 points (41), each after a blank line.
    ASSERT_EQ(rows.size(), 1 + statistics.size() + 1 + 4 + 1 + 6 + 1 + 41);
    EXPECT_EQ(rows[statistics.size() + 8][0],
              inProcess.Result.Samples[inProcess.Result.Worst[0]].Name);
    EXPECT_EQ(rows.back()[0], "750");

    const std::string csv = ReadAll(dir / "v.csv");
    EXPECT_TRUE(csv.starts_with("name,DE before,DE after,DE2000 before,DE2000 after,")) << csv;
    EXPECT_EQ(std::count(csv.begin(), csv.end(), '\n'), 61);
    EXPECT_NE(csv.find("\r\n" + inProcess.Result.Samples[1].Name + ","), std::string::npos);
    const std::string pdf = ReadAll(dir / "v.pdf");
    EXPECT_TRUE(pdf.starts_with("%PDF-"));
    EXPECT_NE(pdf.find(" RG "), std::string::npos);  // the plots' coloured lines

    // SCE: the coefficient file holds only SCI, so there is nothing to validate.
    test::ExpectFailure(dir, Validate(dir, ccf) + " --sce", 1, "holds no SCE coefficients");
    test::ExpectFailure(dir, Validate(dir, dir / "missing.ccf"), 1, "File Read Error");
    test::ExpectFailure(dir, "validate --master a.wsv --target b.wsv", 2);
    // A failed report write leaves nothing half-written and says which file.
    test::ExpectFailure(dir, Validate(dir, ccf) + " --csv " + Quote(dir / "no" / "such" / "v.csv"),
                        1, "v.csv");
}

TEST(ValidateCommand, CrossValidationFollowsTheGridAndChangesNothingElse) {
    const auto dir = test::ScratchDir("CrossValidateCommand");
    WriteDemoData(dir, {.FandeckSamples = 10});
    const test::CliRun plain = test::Tintara(dir, Tiles(dir) + " --ccf " + Quote(dir / "a.ccf"));
    const test::CliRun cross =
        test::Tintara(dir, Tiles(dir) + " --cross-validate --ccf " + Quote(dir / "b.ccf"));
    ASSERT_EQ(cross.Status, 0) << cross.Err;
    ASSERT_TRUE(cross.Out.starts_with(plain.Out));
    EXPECT_EQ(ReadAll(dir / "a.ccf"), ReadAll(dir / "b.ccf"));

    const auto rows = test::Rows(cross.Out.substr(plain.Out.size()));
    ASSERT_EQ(rows.size(), 1 + 1 + 1 + 27 + 2);  // blank, title, header, 27 tiles, mean, gap
    EXPECT_EQ(rows[1][0], "Cross-validation of the wavelength phase");
    EXPECT_EQ(rows[2], (std::vector<std::string>{"Tile", "Name", "Fitted DE", "Predicted DE"}));
    GlobalVariables ws;
    RWSaveSet reader(ws);
    ProfileTilePair(ws, reader, {dir / "master-tiles.wsv", dir / "target-tiles.wsv"});
    EXPECT_EQ(std::vector(rows.begin() + 2, rows.end()),
              CrossValidationRows(CrossValidateWavelength(ws)));
}

}  // namespace
}  // namespace tintara
