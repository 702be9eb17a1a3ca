#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <set>

#include "app/AppFixtures.h"
#include "app/DemoRoad.h"
#include "files/CCFReadWrite.h"
#include "files/SaveSetLibrary.h"
#include "workspace/NumberFormat.h"

namespace tintara {
namespace {

using C = CommandId;
using test::CommandHarness;
using test::DemoFiles;
using test::HeaderAnswer;

const std::vector<std::string> kProfileSteps = {
    "Profile Wizard",
    "Profile Wizard - Enter Master Instrument Data",
    "Profile Geometry Selector Wizard",
    "Profile Wizard - Enter Target Instrument Data",
    "Profile Header Wizard",
    "Profile Wizard - Save Coefficients",
    "Profile Wizard - Print Certificate",
};

// Scripts the Profile wizard with OK everywhere, except Cancel at the step titled `cancelAt`;
// only the dialogs that the cancelled run still reaches are scripted.
void ScriptProfileWizard(CommandHarness& h, const DemoFiles& demo, const std::filesystem::path& ccf,
                         const std::string& cancelAt = "") {
    const auto stepIndex = [&](const std::string& title) {
        return std::find(kProfileSteps.begin(), kProfileSteps.end(), title) - kProfileSteps.begin();
    };
    const auto cancel = cancelAt.empty() ? kProfileSteps.size() : stepIndex(cancelAt);
    for (std::size_t i = 0; i < kProfileSteps.size(); ++i) {
        h.ui.WizardAnswers.push_back(i != cancel);
        // The geometry and header steps do not end the wizard.
        if (i == cancel && i != 2 && i != 4)
            break;
    }
    if (cancel > 1) {
        h.ui.Files.push_back(demo.masterTiles.string());
        if (cancel != 2)
            h.ui.GeometryAnswers.push_back(true);
    }
    if (cancel > 3) {
        h.ui.Files.push_back(demo.targetTiles.string());
        h.ui.HeaderAnswers.push_back(HeaderAnswer{});
    }
    if (cancel > 5)
        h.ui.Files.push_back(ccf.string());
    if (cancel > 6)
        h.ui.PrintAnswers.push_back(true);
}

TEST(ProfileWizard, RunsFromTheTileSetsToThePrintedCertificate) {
    CommandHarness h("wizard-profile");
    const DemoFiles demo = test::WriteSmallDemo(h.folder / "demo");
    const auto out = h.folder / "out";
    std::filesystem::create_directories(out);
    ScriptProfileWizard(h, demo, out / "pair.ccf");
    h.commands->Execute(C::WizardProfile);

    EXPECT_TRUE(h.ui.AllAnswersUsed());
    EXPECT_EQ(h.ui.WizardTitles(), kProfileSteps);
    EXPECT_EQ(h.OnlyMessage(), "SUCCESS: The Profile Wizard was successfully completed!");
    EXPECT_EQ(h.ws.LastResult, kResultOk);
    EXPECT_FALSE(h.ws.WizardRunning);
    EXPECT_TRUE(h.ws.CoefficientsCalculated);
    EXPECT_TRUE(h.ws.CoefficientsLoaded);
    EXPECT_EQ(h.ws.CoefficientFile, (out / "pair.ccf").string());
    EXPECT_TRUE(h.ws.SCIProfileDate.has_value());
    EXPECT_FALSE(h.ws.SCEProfileDate.has_value());

    // The coefficient file holds the SCI block; the result save sets went beside it.
    const CoefficientFileContents ccf = ParseCoefficientFile(out / "pair.ccf");
    EXPECT_TRUE(ccf.SCIPresent);
    EXPECT_FALSE(ccf.SCEPresent);
    EXPECT_EQ(ccf.Master.InstrumentID, 186);
    EXPECT_EQ(ccf.Target.InstrumentID, 179);
    const auto results = out / (DemoTileNames().at(0) + "Results.wsv");
    ASSERT_TRUE(std::filesystem::exists(results));
    EXPECT_EQ(LoadSaveSet(results).Records.size(), 6u);

    // The grid shows the run: the final average below the raw one.
    const ResultGridModel& grid = h.commands->Grid();
    EXPECT_TRUE(grid.Visible());
    EXPECT_EQ(grid.TextMatrix(0, 6), "Final DE");
    EXPECT_LT(Val(grid.TextMatrix(1, 6)), Val(grid.TextMatrix(1, 1)));

    ASSERT_EQ(h.ui.Printed.size(), 1u);
    const auto lines = h.ui.Printed[0].TextLines();
    EXPECT_NE(std::find_if(lines.begin(), lines.end(),
                           [](const std::string& line) {
                               return line.find("Certificate of Instrument Performance") !=
                                      std::string::npos;
                           }),
              lines.end());
}

TEST(ProfileWizard, CancelAtEachStepEndsWithTheWizardOff) {
    struct Expect {
        std::string cancelAt;
        bool masterRead, targetRead, calculated, saved, printed;
    };
    const std::vector<Expect> cases = {
        {"Profile Wizard", false, false, false, false, false},
        {"Profile Wizard - Enter Master Instrument Data", false, false, false, false, false},
        {"Profile Wizard - Enter Target Instrument Data", true, false, false, false, false},
        {"Profile Wizard - Save Coefficients", true, true, true, false, false},
        {"Profile Wizard - Print Certificate", true, true, true, true, false},
    };
    for (const Expect& e : cases) {
        SCOPED_TRACE(e.cancelAt);
        CommandHarness h("wizard-cancel");
        const DemoFiles demo = test::WriteSmallDemo(h.folder);
        ScriptProfileWizard(h, demo, h.folder / "pair.ccf", e.cancelAt);
        const GlobalVariables before = h.ws;
        h.commands->WizardProfile_Click();

        EXPECT_TRUE(h.ui.AllAnswersUsed());
        EXPECT_EQ(h.ui.WizardTitles().back(), e.cancelAt);
        EXPECT_FALSE(h.ws.WizardRunning);
        EXPECT_EQ(h.ws.MasterTilesSelected, e.masterRead);
        EXPECT_EQ(h.ws.TargetTilesSelected, e.targetRead);
        EXPECT_EQ(h.ws.CoefficientsCalculated, e.calculated);
        EXPECT_EQ(std::filesystem::exists(h.folder / "pair.ccf"), e.saved);
        EXPECT_EQ(h.ui.Printed.size(), e.printed ? 1u : 0u);
        // Only a run that reached the print step succeeds.
        const bool success = e.cancelAt == "Profile Wizard - Print Certificate";
        EXPECT_EQ(h.ui.MessageTitles(),
                  success ? std::vector<std::string>{"SUCCESS"} : std::vector<std::string>{});
        if (e.cancelAt == "Profile Wizard") {
            EXPECT_EQ(h.ws.LastResult, before.LastResult);
            EXPECT_EQ(h.ws.MasterTileSetLoaded, before.MasterTileSetLoaded);
            EXPECT_TRUE(h.ui.FileRequests.empty());
        }
    }
}

TEST(ProfileWizard, CancelledGeometryAndHeaderStepsDoNotEndTheWizard) {
    for (const std::string step : {"Profile Geometry Selector Wizard", "Profile Header Wizard"}) {
        SCOPED_TRACE(step);
        CommandHarness h("wizard-inner-cancel");
        const DemoFiles demo = test::WriteSmallDemo(h.folder);
        ScriptProfileWizard(h, demo, h.folder / "pair.ccf", step);
        h.ui.Files.push_back((h.folder / "pair.ccf").string());
        h.ui.PrintAnswers.push_back(true);
        if (step == "Profile Geometry Selector Wizard") {
            h.ui.Files.insert(h.ui.Files.begin() + 1, demo.targetTiles.string());
            h.ui.HeaderAnswers.push_back(HeaderAnswer{});
        }
        h.commands->WizardProfile_Click();
        EXPECT_TRUE(h.ui.AllAnswersUsed());
        EXPECT_EQ(h.ui.MessageTitles(), std::vector<std::string>{"SUCCESS"});
        // Without an answer from the geometry dialog the set is read in the geometry chosen last.
        EXPECT_EQ(h.ws.MasterStatus.substr(2, 1), "I");
    }
}

TEST(ProfileWizard, MasterWithoutUvStopsWithTheWizardStillRunning) {
    CommandHarness h("wizard-uv");
    test::SetOptions options;
    options.status = "PBIE01";
    const auto master = test::WriteSet(h.folder, "master.wsv", options);
    h.ui.WizardAnswers = {true, true};
    h.ui.Files = {master.string()};
    h.commands->WizardProfile_Click();
    EXPECT_TRUE(h.ui.AllAnswersUsed());
    EXPECT_EQ(h.OnlyMessage(),
              "Instrument Status Error: The UV Component must be INCLUDED for Profiling");
    EXPECT_TRUE(h.ws.WizardRunning);
    EXPECT_EQ(h.ui.WizardTitles().size(), 2u);
}

TEST(ProfileWizard, MissingWatermarkIsReportedAndTheCertificateStillPrinted) {
    CommandHarness h("wizard-no-watermark");
    std::filesystem::remove(h.folder / "Watermark.jpg");
    const DemoFiles demo = test::WriteSmallDemo(h.folder);
    ScriptProfileWizard(h, demo, h.folder / "pair.ccf");
    h.commands->WizardProfile_Click();
    EXPECT_EQ(h.ui.MessageTitles(), (std::vector<std::string>{"File Read Error", "SUCCESS"}));
    EXPECT_NE(h.ui.Messages[0].Text.find("Watermark.jpg"), std::string::npos);
    ASSERT_EQ(h.ui.Printed.size(), 1u);
    EXPECT_TRUE(h.ui.Printed[0].Pages.at(0).Pictures.empty());
}

TEST(ProfileWizard, PrintDialogCancelStillSucceeds) {
    CommandHarness h("wizard-print-cancel");
    const DemoFiles demo = test::WriteSmallDemo(h.folder);
    ScriptProfileWizard(h, demo, h.folder / "pair.ccf");
    h.ui.PrintAnswers = {false};
    h.commands->WizardProfile_Click();
    EXPECT_TRUE(h.ui.Printed.empty());
    EXPECT_EQ(h.ui.MessageTitles(), std::vector<std::string>{"SUCCESS"});
    EXPECT_FALSE(h.ws.WizardRunning);
}

// A coefficient file with both geometries of the demo pair, made through the menu commands.
std::filesystem::path BothGeometriesCcf(CommandHarness& h, const DemoFiles& demo) {
    const auto ccf = h.folder / "both.ccf";
    test::ProfileIntoCcf(h, demo, ccf, true);
    test::ProfileIntoCcf(h, demo, ccf, false);
    EXPECT_TRUE(h.ui.Messages.empty());
    const CoefficientFileContents contents = ParseCoefficientFile(ccf);
    EXPECT_TRUE(contents.SCIPresent && contents.SCEPresent);
    return ccf;
}

TEST(LegacyWizard, ConvertsAndSavesTheTargetFandeck) {
    CommandHarness h("wizard-legacy");
    const DemoFiles demo = test::WriteSmallDemo(h.folder, 25);
    const auto ccf = BothGeometriesCcf(h, demo);

    CommandHarness legacy("wizard-legacy-run");
    const auto out = legacy.folder / "converted.wsv";
    legacy.ui.WizardAnswers = {true, true, true, true};
    legacy.ui.Files = {demo.targetFandeck.string(), ccf.string(), out.string()};
    legacy.commands->Execute(C::WizardLegacy);
    EXPECT_TRUE(legacy.ui.AllAnswersUsed());
    EXPECT_EQ(legacy.ui.WizardTitles(),
              (std::vector<std::string>{
                  "Legacy Wizard", "Profile Wizard - Enter Target Instrument Data",
                  "Profile Wizard - Enter Coefficients File", "Profile Wizard - Save Data"}));
    EXPECT_TRUE(legacy.ui.Messages.empty());
    EXPECT_FALSE(legacy.ws.WizardRunning);
    EXPECT_FALSE(legacy.commands->ConversionFailed());
    EXPECT_TRUE(legacy.ws.CorrelatedSaveSetLoaded);
    const SaveSetData converted = LoadSaveSet(out);
    ASSERT_EQ(converted.Records.size(), 25u);
    EXPECT_EQ(converted.Status.substr(1, 1), "P");
    EXPECT_EQ(converted.Records[0].Notes.rfind("This Data has been profiled to a ", 0), 0u);
    // Corrected, so no longer the Target's own reading.
    const SaveSetData original = LoadSaveSet(demo.targetFandeck);
    EXPECT_NE(converted.Records[3].Curves[0], original.Records[3].Curves[0]);
}

TEST(LegacyWizard, FandeckOfAnotherInstrumentIsRefusedAndNotSaved) {
    CommandHarness h("wizard-legacy-mismatch");
    const DemoFiles demo = test::WriteSmallDemo(h.folder, 20);
    const auto ccf = BothGeometriesCcf(h, demo);
    test::SetOptions other;
    other.records = 20;
    other.namePrefix = "Sample ";
    const auto fandeck = test::WriteSet(h.folder, "other.wsv", other);

    CommandHarness legacy("wizard-legacy-mismatch-run");
    legacy.ui.WizardAnswers = {true, true, true};
    legacy.ui.Files = {fandeck.string(), ccf.string()};
    legacy.commands->WizardLegacy_Click();
    EXPECT_TRUE(legacy.ui.AllAnswersUsed());
    ASSERT_EQ(legacy.ui.Messages.size(), 1u);
    EXPECT_EQ(legacy.ui.Messages[0].Title, "Instuments do NOT Match");
    EXPECT_EQ(legacy.ui.Messages[0].Text,
              "Profile Master - X-Rite Ci7800\r\nProfile Target - X-Rite Ci64uv\r\n"
              "SaveSet Instrument - Macbeth Color i7");
    EXPECT_EQ(legacy.ui.Messages[0].Icon, MessageIcon::Exclamation);
    EXPECT_TRUE(legacy.commands->ConversionFailed());
    EXPECT_FALSE(legacy.ws.WizardRunning);
}

TEST(LegacyWizard, CancelOnTheFirstStepChangesNothingElse) {
    CommandHarness h("wizard-legacy-cancel");
    h.ui.WizardAnswers = {false};
    h.commands->WizardLegacy_Click();
    EXPECT_FALSE(h.ws.WizardRunning);
    EXPECT_FALSE(h.ws.TargetSaveSetLoaded);
    EXPECT_TRUE(h.ui.FileRequests.empty());
    EXPECT_TRUE(h.ui.Messages.empty());
}

TEST(PerformanceWizard, ComparesTheFandecksAndAllowsPrinting) {
    CommandHarness h("wizard-performance");
    const DemoFiles demo = test::WriteSmallDemo(h.folder, 30);
    h.ui.WizardAnswers = {true, true, true};
    h.ui.Files = {demo.masterFandeck.string(), demo.targetFandeck.string()};
    h.commands->Execute(C::WizardPerformance);
    EXPECT_TRUE(h.ui.AllAnswersUsed());
    EXPECT_EQ(h.ui.WizardTitles(),
              (std::vector<std::string>{"Performance Wizard",
                                        "Profile Wizard - Enter Master Instrument Data",
                                        "Profile Wizard - Enter Target Data"}));
    EXPECT_NE(h.ui.WizardSteps[2].second.find("The nest step is to select"), std::string::npos);
    EXPECT_TRUE(h.ui.Messages.empty());
    EXPECT_FALSE(h.ws.WizardRunning);
    EXPECT_TRUE(h.ws.PerformanceDataReady);
    EXPECT_EQ(h.ws.SampleCount, 30);
    // The demo status holds both geometries ("B"), which is not "I": the SCE view, no report.
    const ResultGridModel& grid = h.commands->Grid();
    EXPECT_EQ(grid.Rows(), 33);
    EXPECT_EQ(grid.TextMatrix(32, 0), "Average");
    EXPECT_FALSE(h.ws.PerformanceShowsSCI);
    EXPECT_EQ(h.commands->Menu().Caption(C::DisplayCommand), "Show SCI Data");
    EXPECT_FALSE(std::filesystem::exists(h.commands->CurrentFolder() / "CompareReport.txt"));
    EXPECT_TRUE(h.commands->Menu().Available(C::InstrumentPerformance));

    // The view switch shows SCI and writes the compare report into the current folder.
    h.commands->Execute(C::DisplayCommand);
    EXPECT_TRUE(h.ws.PerformanceShowsSCI);
    EXPECT_EQ(h.commands->Menu().Caption(C::DisplayCommand), "Show SCE Data");
    EXPECT_TRUE(std::filesystem::exists(h.folder / "CompareReport.txt"));

    h.ui.PrintAnswers = {true};
    h.commands->Execute(C::InstrumentPerformance);
    ASSERT_EQ(h.ui.Printed.size(), 1u);
    const auto lines = h.ui.Printed[0].TextLines();
    EXPECT_NE(std::find(lines.begin(), lines.end(), "                      SCI Data"), lines.end());
}

TEST(PerformanceWizard, DifferentRecordCountsAreReported) {
    CommandHarness h("wizard-performance-count");
    const DemoFiles demo = test::WriteSmallDemo(h.folder, 30);
    test::SetOptions shorter;
    shorter.records = 12;
    const auto target = test::WriteSet(h.folder, "short.wsv", shorter);
    h.ui.WizardAnswers = {true, true, true};
    h.ui.Files = {demo.masterFandeck.string(), target.string()};
    h.ws.LastResult = 0;
    h.commands->WizardPerformance_Click();
    ASSERT_EQ(h.ui.Messages.size(), 1u);
    EXPECT_EQ(h.ui.Messages[0].Title, "Error");
    EXPECT_EQ(h.ui.Messages[0].Text, "Record count does not match ");
    EXPECT_EQ(h.ws.LastResult, kResultOk);
    EXPECT_FALSE(h.ws.PerformanceDataReady);
    EXPECT_FALSE(h.ws.WizardRunning);
}

TEST(PerformanceWizard, CancelledMasterDialogEndsTheWizard) {
    CommandHarness h("wizard-performance-cancel");
    h.ui.WizardAnswers = {true, true};
    h.ui.Files = {""};
    h.commands->WizardPerformance_Click();
    EXPECT_TRUE(h.ui.AllAnswersUsed());
    EXPECT_FALSE(h.ws.WizardRunning);
    EXPECT_TRUE(h.ui.Messages.empty());
    EXPECT_EQ(h.ui.WizardSteps.size(), 2u);
}

}  // namespace
}  // namespace tintara
