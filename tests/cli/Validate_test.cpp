// tintara validate and tintara profile --cross-validate on the demo pair (a short fandeck).
#include <gtest/gtest.h>

#include <fstream>

#include "cli/CliTest.h"
#include "engine/ColorMatch.h"
#include "files/DemoData.h"
#include "files/ProfileCorrector.h"
#include "files/SaveSetLibrary.h"
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

#if TINTARA_HAS_RENDERER
    const std::string report = " --report " + Quote(dir / "v.pdf");
#else
    const std::string report;  // a tintara without Qt draws no PDF
#endif
    const test::CliRun run =
        test::Tintara(dir, Validate(dir, ccf) + " --csv " + Quote(dir / "v.csv") + report);
    ASSERT_EQ(run.Status, 0) << run.Err;
    // The demo profile is SCI only; the conversion warns about SCE, SCI is what is validated.
    EXPECT_NE(run.Err.find("SCE"), std::string::npos) << run.Err;
    const auto rows = test::Rows(run.Out);

    // The fandecks read, the Target corrected with the file and validated in process give the
    // same table, cell for cell.
    const SaveSetData masterDeck = LoadSaveSet(dir / "master-fandeck.wsv");
    const SaveSetData targetDeck = LoadSaveSet(dir / "target-fandeck.wsv");
    ProfileCorrector corrector;
    corrector.ReadCoefficientFile(ccf);
    std::vector<Curve> corrected(targetDeck.Records.size());
    std::vector<ValidationPair> pairs;
    for (std::size_t s = 0; s < corrected.size(); ++s) {
        corrector.Correct(Geometry::SCI, targetDeck.Records[s].Curves[0], corrected[s]);
        pairs.push_back({masterDeck.Records[s].Name, masterDeck.Records[s].Curves[0].data(),
                         targetDeck.Records[s].Curves[0].data(), corrected[s].data()});
    }
    const ValidationResult inProcess = Validate(pairs, kCieLab, 0.5);
    ASSERT_EQ(inProcess.Samples.size(), 60u);
    EXPECT_EQ(rows.at(0), (std::vector<std::string>{"SCI, 60 samples"}));
    const TextRows statistics = ValidationStatisticsRows(inProcess);
    EXPECT_EQ(std::vector(rows.begin() + 1, rows.begin() + 1 + statistics.size()), statistics);
    EXPECT_LT(inProcess.After.DE.Mean, inProcess.Before.DE.Mean);
    // Then bias (4 rows), worst five (6) and the 40 points (41), each after a blank line.
    ASSERT_EQ(rows.size(), 1 + statistics.size() + 1 + 4 + 1 + 6 + 1 + 41);
    EXPECT_EQ(rows[statistics.size() + 8][0], inProcess.Samples[inProcess.Worst[0]].Name);
    EXPECT_EQ(rows.back()[0], "750");

    const std::string csv = ReadAll(dir / "v.csv");
    EXPECT_TRUE(csv.starts_with("name,DE before,DE after,DE2000 before,DE2000 after,")) << csv;
    EXPECT_EQ(std::count(csv.begin(), csv.end(), '\n'), 61);
    EXPECT_NE(csv.find("\r\n" + inProcess.Samples[1].Name + ","), std::string::npos);
#if TINTARA_HAS_RENDERER
    const std::string pdf = ReadAll(dir / "v.pdf");
    EXPECT_TRUE(pdf.starts_with("%PDF-"));
    // Two pages: the tables, then the plots (their colours are the renderer's own test).
    std::size_t pages = 0;
    for (std::size_t at = pdf.find("/Type /Page"); at != std::string::npos;
         at = pdf.find("/Type /Page", at + 1))
        pages += pdf.compare(at, 12, "/Type /Pages") != 0;
    EXPECT_EQ(pages, 2u);
#endif

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
    // The means are those of the tile rows; the engine's own test checks each tile's figures.
    double fitted = 0, predicted = 0;
    for (std::size_t r = 3; r < 30; ++r) {
        fitted += std::stod(rows[r][2]) / 27;
        predicted += std::stod(rows[r][3]) / 27;
    }
    EXPECT_EQ(rows[30][0], "Mean");
    EXPECT_NEAR(std::stod(rows[30][2]), fitted, 0.006);
    EXPECT_NEAR(std::stod(rows[30][3]), predicted, 0.006);
}

}  // namespace
}  // namespace tintara
