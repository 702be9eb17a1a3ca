// Orders of use other than the demo road: each drives the window's commands as a user would and
// checks that the result belongs to the files now loaded.
#include <gtest/gtest.h>

#include <fstream>
#include <functional>

#include "app/CommandHarness.h"
#include "app/FandeckCompare.h"
#include "files/CCFReadWrite.h"
#include "files/SaveSetLibrary.h"
#include "workspace/NumberFormat.h"

namespace tintara {
namespace {

using C = CommandId;
using test::CommandHarness;

const std::string kNotCalculated = "Warning: Coefficients have not been calculated";

std::string Bytes(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

// The Performance wizard with OK everywhere on the two fandecks.
void PerformanceWizard(CommandHarness& h, const std::filesystem::path& master,
                       const std::filesystem::path& target) {
    h.ui.WizardAnswers.insert(h.ui.WizardAnswers.end(), {true, true, true});
    h.ui.Files.insert(h.ui.Files.end(), {master.string(), target.string()});
    h.commands->Execute(C::WizardPerformance);
}

// Generate > Converted Data of a Target fandeck with the shared SCI coefficient file.
void Convert(CommandHarness& h, const std::filesystem::path& fandeck) {
    h.ui.Files.insert(h.ui.Files.end(), {fandeck.string(), test::SharedDemo().second.string()});
    h.commands->Execute(C::TargetInstrumentSaveSet);
    h.commands->Execute(C::CorrelationFileMenu);
    h.commands->Execute(C::GenerateConvData);
}

TEST(OrdersOfUse, AComparisonAfterAConversionJudgesTheFandecksNowLoaded) {
    const auto& [demo, ccf] = test::SharedDemo();
    CommandHarness h("order-compare-after-convert");
    Convert(h, demo.targetFandeck);
    ASSERT_TRUE(h.ws.CorrelatedFandeckReady);
    h.Messages();  // the coefficient file lacks SCE: a warning

    // Master = Target: every difference, corrected or not, is zero.
    PerformanceWizard(h, demo.masterFandeck, demo.masterFandeck);
    EXPECT_EQ(h.Messages(), "");
    ASSERT_TRUE(h.ws.PerformanceDataReady);
    for (const Geometry g : {Geometry::SCI, Geometry::SCE}) {
        EXPECT_EQ(h.ws.SampleDeltas(h.ws.SampleCount, CorrectedColumn(g) + 3), 0.0);
        EXPECT_EQ(h.ws.SampleDeltas(h.ws.SampleCount, UncorrectedColumn(g) + 3), 0.0);
    }
    const ResultGridModel& grid = h.commands->Grid();
    EXPECT_EQ(grid.TextMatrix(grid.Rows() - 1, grid.Cols() - 1), "0.00");

    // The Target fandeck that was converted, loaded again: its conversion counts once more.
    PerformanceWizard(h, demo.masterFandeck, demo.targetFandeck);
    const auto n = static_cast<std::size_t>(h.ws.SampleCount);
    EXPECT_LT(h.ws.SampleDeltas(n, CorrectedColumn(Geometry::SCI) + 3),
              h.ws.SampleDeltas(n, UncorrectedColumn(Geometry::SCI) + 3));
}

// Fandecks read by the Performance wizard never stand in for the tile sets: an SCE pair profiles
// however its loading interleaves with the comparison, and the coefficient file names the tile
// sets' instruments and status.
TEST(OrdersOfUse, ASceTilePairProfilesAfterTheFandecksOfAPerformanceRun) {
    const auto& [demo, ccf] = test::SharedDemo();
    const SaveSetData masterTiles = LoadSaveSet(demo.masterTiles);
    const SaveSetData targetTiles = LoadSaveSet(demo.targetTiles);
    std::string sce = masterTiles.Status;
    sce[2] = 'E';
    // A one-angle SCI Master fandeck from another instrument; the Target fandeck holds both
    // geometries. Neither status is the SCE pair's.
    SaveSetData fandeck = LoadSaveSet(demo.masterFandeck);
    fandeck.NumAngles = 1;
    fandeck.Status = "RCIIXX";
    fandeck.Instrument = 177;
    for (SaveSetRecord& record : fandeck.Records) {
        record.Status = fandeck.Status;
        record.Instrument = fandeck.Instrument;
        record.Curves[1] = {};
    }
    const auto masterFandeck = test::ScratchDir("order-sce-fandecks") / "sci-master-fandeck.wsv";
    StoreSaveSet(fandeck, masterFandeck);

    const auto loadMaster = [&](CommandHarness& h) {
        h.ui.Files.push_back(demo.masterTiles.string());
        h.ui.GeometryAnswers.push_back(false);
        h.commands->Execute(C::MasterInstrumentTileSet);
    };
    const auto loadTarget = [&](CommandHarness& h) {
        h.ui.Files.push_back(demo.targetTiles.string());
        h.commands->Execute(C::TargetInstrumentTileSet);
    };
    const auto compare = [&](CommandHarness& h) {
        PerformanceWizard(h, masterFandeck, demo.targetFandeck);
        EXPECT_EQ(h.Messages(), "");
        EXPECT_TRUE(h.ws.PerformanceDataReady);
    };
    const auto noop = [](CommandHarness&) {};
    struct Order {
        const char* name;
        bool sciRunFirst;  // the profile run before the comparison
        std::function<void(CommandHarness&)> before, after;
    };
    const Order orders[] = {
        {"the whole SCE pair after the comparison", true, noop,
         [&](CommandHarness& h) {
             loadMaster(h);
             loadTarget(h);
         }},
        {"the SCE Master before the comparison, its Target after", true, loadMaster, loadTarget},
        {"the SCE pair generated again after the comparison", false, noop, noop},
        {"a new Target after the comparison", false, noop, loadTarget},
    };
    for (const Order& order : orders) {
        SCOPED_TRACE(order.name);
        CommandHarness h("order-sce-after-fandecks");
        test::ProfileIntoCcf(h, demo, h.folder / "first.ccf", order.sciRunFirst);
        ASSERT_EQ(h.Messages(), "");
        order.before(h);
        compare(h);
        order.after(h);
        h.ui.HeaderAnswers.push_back(true);
        h.commands->Execute(C::GenerateCCF);
        EXPECT_EQ(h.Messages(), "");
        EXPECT_TRUE(h.ws.CoefficientsCalculated);
        EXPECT_TRUE(h.ws.SCEProfileDate.has_value());

        const auto file = h.folder / "sce.ccf";
        h.ui.Files.push_back(file.string());
        h.commands->Execute(C::SaveCoefficients);
        EXPECT_EQ(h.Messages(), "");
        if (!std::filesystem::exists(file)) {
            ADD_FAILURE() << "no coefficient file written";
            continue;
        }
        const CoefficientFileContents saved = ParseCoefficientFile(file);
        EXPECT_TRUE(saved.SCEPresent);
        EXPECT_EQ(saved.Master.InstrumentID, masterTiles.Instrument);
        EXPECT_EQ(saved.Target.InstrumentID, targetTiles.Instrument);
        EXPECT_EQ(saved.Master.Status, sce);
        EXPECT_EQ(saved.Target.Status, sce);
    }
}

TEST(OrdersOfUse, TheCorrelatedFandeckKeepsTheTargetsNamesAndAnglesWhateverIsOpenedLater) {
    const auto& [demo, ccf] = test::SharedDemo();
    CommandHarness h("order-correlated-identity");
    // A one-angle SCI copy of the Target fandeck under names of its own.
    SaveSetData target = LoadSaveSet(demo.targetFandeck);
    target.NumAngles = 1;
    target.Status = "RCII01";
    for (std::size_t r = 0; r < target.Records.size(); ++r) {
        target.Records[r].Name = "Legacy " + std::to_string(r);
        target.Records[r].Status = target.Status;
        target.Records[r].Curves[1] = {};
    }
    const auto oneAngle = h.folder / "legacy.wsv", out = h.folder / "converted.wsv";
    StoreSaveSet(target, oneAngle);

    Convert(h, oneAngle);
    ASSERT_TRUE(h.ws.CorrelatedFandeckReady) << h.Messages();
    h.ui.Files = {demo.masterFandeck.string(), out.string()};
    h.commands->Execute(C::MasterInstrumentSaveSet);
    h.commands->Execute(C::SaveCorrelatedFandeck);
    const SaveSetData saved = LoadSaveSet(out);
    EXPECT_EQ(saved.NumAngles, 1);
    ASSERT_EQ(saved.Records.size(), target.Records.size());
    EXPECT_EQ(saved.Records.back().Name, target.Records.back().Name);
    EXPECT_EQ(saved.Instrument, target.Instrument);
}

TEST(OrdersOfUse, ThePrintedAndReportedProfileNeedsCoefficientsOfTheTileSetsNowLoaded) {
    const auto& [demo, ccf] = test::SharedDemo();
    CommandHarness h("order-certificate");
    test::ProfileIntoCcf(h, demo, h.folder / "sci.ccf", true);
    ASSERT_EQ(h.Messages(), "");

    // A new Target: the profile on show no longer belongs to the tile sets.
    h.ui.Files = {demo.targetTiles.string()};
    h.commands->Execute(C::TargetInstrumentTileSet);
    h.commands->ToPrinter_Click();
    h.commands->SaveProCompRep_Click();
    EXPECT_EQ(h.Messages(), kNotCalculated + "\n" + kNotCalculated);

    // A Target of the other geometry: Generate refuses, and so do the certificate and report.
    auto sce = LoadSaveSet(demo.targetTiles);
    sce.Status = "RCEI01";
    for (auto& record : sce.Records)
        record.Status = sce.Status;
    StoreSaveSet(sce, h.folder / "sce-target.wsv");
    h.ui.Files = {(h.folder / "sce-target.wsv").string()};
    h.ui.HeaderAnswers = {true};
    h.commands->Execute(C::TargetInstrumentTileSet);
    h.commands->Execute(C::GenerateCCF);
    EXPECT_EQ(h.Messages(), "Data Error: The Master and Target status do NOT Match");
    h.commands->ToPrinter_Click();
    h.commands->SaveProCompRep_Click();
    EXPECT_EQ(h.Messages(), kNotCalculated + "\n" + kNotCalculated);
    EXPECT_TRUE(h.ui.Printed.empty() && h.ui.AllAnswersUsed());
}

TEST(OrdersOfUse, ARefusedMasterAfterAGoodPairLeavesNothingToGenerateOrSave) {
    const auto& [demo, ccf] = test::SharedDemo();
    CommandHarness h("order-refused-master");
    test::ProfileIntoCcf(h, demo, h.folder / "sci.ccf", true);
    const std::string saved = Bytes(h.folder / "sci.ccf");
    SaveSetData thirty = LoadSaveSet(demo.masterTiles);
    thirty.Records.resize(30);
    StoreSaveSet(thirty, h.folder / "thirty.wsv");

    h.ui.Files = {(h.folder / "thirty.wsv").string()};
    h.ui.GeometryAnswers = {true};
    h.commands->Execute(C::MasterInstrumentTileSet);
    // The read-failure text, with the reader's reason as the detail text.
    ASSERT_EQ(h.ui.Messages.size(), 1u);
    EXPECT_NE(h.ui.Messages[0].DetailText.find("thirty.wsv: the save set holds 30 records"),
              std::string::npos)
        << h.ui.Messages[0].DetailText;
    EXPECT_TRUE(h.Messages().starts_with("File Read Error: There is a problem"));
    EXPECT_FALSE(h.ws.MasterTilesSelected || h.ws.TargetTilesSelected ||
                 h.ws.CoefficientsCalculated);
    h.commands->GenerateCCF_Click();
    EXPECT_EQ(h.Messages(), "Data Error: Master and Target Instrument data has NOT been selected");
    h.commands->SaveCoefficients_Click();
    EXPECT_EQ(h.Messages(), kNotCalculated);
    EXPECT_EQ(Bytes(h.folder / "sci.ccf"), saved);
}

TEST(OrdersOfUse, ACancelledCorrelatedFandeckSaveWritesNothing) {
    const auto& [demo, ccf] = test::SharedDemo();
    CommandHarness h("order-cancelled-save");
    Convert(h, demo.targetFandeck);
    const auto out = h.folder / "converted.wsv";
    h.ui.Files = {out.string(), ""};
    h.commands->Execute(C::SaveCorrelatedFandeck);
    ASSERT_TRUE(std::filesystem::exists(out));
    std::ofstream(out, std::ios::trunc) << "kept";
    h.commands->Execute(C::SaveCorrelatedFandeck);
    EXPECT_EQ(Bytes(out), "kept");
}

TEST(OrdersOfUse, TheProfileWizardSucceedsOnlyWhenTheCoefficientsWereSaved) {
    const auto& [demo, ccf] = test::SharedDemo();
    // Cancelled, then refused (the shared file profiles the same instruments, so a copy whose
    // Target line names another instrument is refused).
    std::string other = Bytes(ccf);
    other.replace(0, other.find('\r'), "999");
    for (const bool cancel : {true, false}) {
        CommandHarness h("order-wizard-save");
        const auto foreign = h.folder / "foreign.ccf";
        std::ofstream(foreign, std::ios::binary) << other;
        h.ui.WizardAnswers = {true, true, true, true, true, true};
        h.ui.GeometryAnswers = {true};
        h.ui.HeaderAnswers = {true};
        h.ui.Files = {demo.masterTiles.string(), demo.targetTiles.string(),
                      cancel ? std::string() : foreign.string()};
        h.commands->Execute(C::WizardProfile);
        const std::string shown = h.Messages();
        EXPECT_EQ(shown.find("SUCCESS"), std::string::npos) << shown;
        EXPECT_FALSE(h.ws.WizardRunning);
        EXPECT_TRUE(h.ui.Printed.empty());
        EXPECT_EQ(h.ui.WizardTitles.back(), "Profile Wizard - Save Coefficients");
    }
}

TEST(OrdersOfUse, FandecksFirstThenTheCoefficientFileMakesGenerateUsable) {
    const auto& [demo, ccf] = test::SharedDemo();
    CommandHarness h("order-ccf-last");
    h.ui.Files = {demo.masterFandeck.string(), demo.targetFandeck.string(), ccf.string()};
    h.commands->Execute(C::MasterInstrumentSaveSet);
    h.commands->Execute(C::TargetInstrumentSaveSet);
    EXPECT_FALSE(h.commands->Menu().Available(C::GenerateCSS));
    h.commands->Execute(C::CorrelationFileMenu);
    EXPECT_TRUE(h.commands->Menu().Available(C::GenerateCSS));
    EXPECT_TRUE(h.commands->Menu().Available(C::GenerateConvData));
    h.commands->Execute(C::GenerateCSS);
    EXPECT_TRUE(h.ws.PerformanceDataReady);
}

TEST(WindowTexts, DisplaySavesAndConversionsSayWhatHappened) {
    const auto& [demo, ccf] = test::SharedDemo();
    CommandHarness h("window-texts");
    h.ui.Files = {demo.masterTiles.string(), demo.targetTiles.string()};
    h.ui.GeometryAnswers = {true};
    h.ui.HeaderAnswers = {true};
    h.commands->Execute(C::MasterInstrumentTileSet);
    h.commands->Execute(C::TargetInstrumentTileSet);
    // "Display" under the tile grid: the compare grid of the samples there are, no complaint.
    h.commands->Execute(C::DisplayCommand);
    EXPECT_EQ(h.Messages(), "");
    EXPECT_EQ(h.commands->Grid().Cols(), 9);
    EXPECT_EQ(h.commands->Menu().Caption(C::DisplayCommand), "Show SCE Data");

    // Saving names the file in panel 3; saving into it again says what the merge will do.
    const auto pair = h.folder / "pair.ccf";
    h.ui.Files = {pair.string()};
    h.commands->Execute(C::GenerateCCF);
    h.commands->Execute(C::SaveCoefficients);
    EXPECT_EQ(h.Panel(StatusBarId::FileStatusBar, 3), "Coefficients File is pair.ccf");
    EXPECT_TRUE(h.ui.Questions.empty());
    ASSERT_TRUE(h.ui.FileRequests.back().CommandAsksBeforeOverwrite);
    const std::string before = Bytes(pair);
    h.ui.Files = {pair.string()};
    h.ui.QuestionAnswers = {false};
    h.commands->Execute(C::SaveCoefficients);
    ASSERT_EQ(h.ui.Questions.size(), 1u);
    EXPECT_EQ(h.ui.Questions[0].Text,
              "pair.ccf already holds SCI coefficients for these instruments. They will be "
              "replaced by the SCI coefficients calculated now.\r\n\r\nSave the coefficients "
              "into this file?");
    EXPECT_EQ(Bytes(pair), before);  // "No" writes nothing
    EXPECT_FALSE(h.commands->CoefficientsSaved());

    h.ui.Files = {demo.masterTiles.string(), demo.targetTiles.string(), pair.string()};
    h.ui.GeometryAnswers = {false};
    h.ui.HeaderAnswers = {true};
    for (C id : {C::MasterInstrumentTileSet, C::TargetInstrumentTileSet, C::GenerateCCF,
                 C::SaveCoefficients})
        h.commands->Execute(id);
    ASSERT_EQ(h.ui.Questions.size(), 2u);
    EXPECT_TRUE(h.ui.Questions[1].Text.starts_with(
        "pair.ccf holds SCI coefficients for these instruments. The SCE coefficients calculated "
        "now will be added beside them"));
    EXPECT_TRUE(h.commands->CoefficientsSaved());

    // Converted Data: the status bar says so.
    h.ui.Files = {demo.targetFandeck.string(), pair.string()};
    h.commands->Execute(C::TargetInstrumentSaveSet);
    h.commands->Execute(C::CorrelationFileMenu);
    h.commands->Execute(C::GenerateConvData);
    EXPECT_EQ(h.Panel(StatusBarId::FileStatusBar, 2),
              "Target SaveSet is target-fandeck.wsv - Converted with pair.ccf (12 records)");
    EXPECT_EQ(h.Messages(), "");
}

}  // namespace
}  // namespace tintara
