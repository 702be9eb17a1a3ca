#include <gtest/gtest.h>

#include <algorithm>

#include "app/CommandHarness.h"
#include "files/CCFReadWrite.h"
#include "workspace/NumberFormat.h"

namespace tintara {
namespace {

using C = CommandId;
using test::CommandHarness;
using Titles = std::vector<std::string>;

const Titles kProfileSteps = {"Profile Wizard",
                              "Profile Wizard - Enter Master Instrument Data",
                              "Profile Geometry Selector Wizard",
                              "Profile Wizard - Enter Target Instrument Data",
                              "Profile Header Wizard",
                              "Profile Wizard - Save Coefficients",
                              "Profile Wizard - Print Certificate"};

TEST(ProfileWizard, RunsToTheEndOrStopsWhereCancelled) {
    // Cancel at each step in turn, then OK everywhere (cancel == 7). Cancelling the geometry or
    // the header step does not end the wizard; cancelling the print step only skips printing.
    for (int cancel = 0; cancel <= 7; ++cancel) {
        SCOPED_TRACE(cancel < 7 ? kProfileSteps[cancel] : "OK everywhere");
        CommandHarness h("wizard-profile");
        const test::DemoFiles demo = test::WriteSmallDemo(h.folder / "demo");
        const auto ccf = h.folder / "pair.ccf";
        const int last = cancel == 2 || cancel == 4 ? 7 : cancel;  // the last step reached
        for (int i = 0; i <= std::min(last, 6); ++i)
            h.ui.WizardAnswers.push_back(i != cancel);
        if (last > 1)
            h.ui.Files.push_back(demo.masterTiles.string());
        if (last > 1 && cancel != 2)
            h.ui.GeometryAnswers.push_back(true);
        if (last > 3) {
            h.ui.Files.push_back(demo.targetTiles.string());
            h.ui.HeaderAnswers.push_back(true);
        }
        if (last > 5)
            h.ui.Files.push_back(ccf.string());
        if (last > 6)
            h.ui.PrintAnswers.push_back(true);
        if (cancel == 7)
            std::filesystem::remove(h.folder / "Watermark.jpg");
        h.commands->Execute(C::WizardProfile);

        EXPECT_TRUE(h.ui.AllAnswersUsed());
        EXPECT_EQ(h.ui.WizardTitles,
                  Titles(kProfileSteps.begin(), kProfileSteps.begin() + std::min(last, 6) + 1));
        EXPECT_FALSE(h.ws.WizardRunning);
        EXPECT_EQ(h.ws.MasterTilesSelected, last > 1);
        if (last > 1) {
            EXPECT_EQ(h.ws.MasterStatus.substr(0, 3), "RCI");  // SCI, chosen or the last choice
        }
        EXPECT_EQ(h.ws.TargetTilesSelected, last > 3);
        EXPECT_EQ(h.ws.CoefficientsCalculated, last > 4);
        EXPECT_EQ(std::filesystem::exists(ccf), last > 5);
        EXPECT_EQ(h.ui.Printed.size(), last > 6 ? 1u : 0u);
        const std::string success = "SUCCESS: The Profile Wizard was successfully completed!";
        if (cancel == 7) {
            // No watermark beside the program: reported, the certificate printed without it.
            const std::string shown = h.Messages();
            EXPECT_TRUE(shown.starts_with("File Read Error: ") && shown.ends_with("\n" + success) &&
                        shown.find("Watermark.jpg") != std::string::npos)
                << shown;
            EXPECT_TRUE(h.ui.Printed.at(0).Pages.at(0).Pictures.empty());
            EXPECT_EQ(h.ws.LastResult, kResultOk);
            // Each step's text on its second line, then a few blanks.
            const std::string& intro = h.ui.WizardTexts[0];
            EXPECT_TRUE(intro.starts_with("\r\nYou have selected the Profile Wizard.") &&
                        intro.ends_with(" "));
            // The header and geometry steps come from their dialogs, with their own texts.
            EXPECT_NE(h.ui.WizardTexts[2].find("twice\u2014once for each status"),
                      std::string::npos);
            EXPECT_TRUE(
                h.ui.WizardTexts[4].starts_with("\r\nIn the next window, input the information"));
            EXPECT_NE(h.ui.WizardTexts[4].find("printed on all certificates."), std::string::npos);
            const CoefficientFileContents contents = ParseCoefficientFile(ccf);  // SCI only
            EXPECT_TRUE(contents.SCIPresent && !contents.SCEPresent &&
                        contents.Master.InstrumentID == 186 && contents.Target.InstrumentID == 179);
            const ResultGridModel& grid = h.commands->Grid();
            EXPECT_LT(Val(grid.TextMatrix(1, 6)), Val(grid.TextMatrix(1, 1)));  // final < raw
        } else {
            EXPECT_EQ(h.Messages(), last >= 6 ? success : "");
        }
        EXPECT_EQ(h.ui.FileRequests.empty(), cancel < 2);
    }
}

TEST(ProfileWizard, MasterWithoutUvStopsWithTheWizardStillRunning) {
    CommandHarness h("wizard-uv");
    h.ui.WizardAnswers = {true, true};
    h.ui.Files = {test::WriteSet(h.folder, "master.wsv", {.status = "PBIE01"}).string()};
    h.commands->WizardProfile_Click();
    EXPECT_TRUE(h.ui.AllAnswersUsed());
    EXPECT_EQ(h.Messages(),
              "Instrument Status Error: The UV Component must be INCLUDED for Profiling");
    EXPECT_TRUE(h.ws.WizardRunning);
    EXPECT_EQ(h.ui.WizardTitles.size(), 2u);
}

TEST(LegacyWizard, ConvertsAndSavesTheTargetFandeck) {
    CommandHarness h("wizard-legacy");
    const test::DemoFiles demo = test::WriteSmallDemo(h.folder, 25);
    const auto ccf = h.folder / "both.ccf", out = h.folder / "converted.wsv";
    test::ProfileIntoCcf(h, demo, ccf, true);
    test::ProfileIntoCcf(h, demo, ccf, false);
    ASSERT_EQ(h.Messages(), "");
    h.ui.WizardAnswers = {true, true, true, true};
    h.ui.Files = {demo.targetFandeck.string(), ccf.string(), out.string()};
    h.commands->Execute(C::WizardLegacy);
    EXPECT_TRUE(h.ui.AllAnswersUsed());
    EXPECT_EQ(h.ui.WizardTitles,
              (Titles{"Legacy Wizard", "Profile Wizard - Enter Target Instrument Data",
                      "Profile Wizard - Enter Coefficients File", "Profile Wizard - Save Data"}));
    EXPECT_EQ(h.Messages(), "");  // both geometries in the file: no warning
    EXPECT_TRUE(!h.ws.WizardRunning && !h.commands->ConversionFailed() &&
                h.ws.CorrelatedSaveSetLoaded);
    const SaveSetData converted = LoadSaveSet(out);
    ASSERT_EQ(converted.Records.size(), 25u);
    EXPECT_EQ(converted.Status.substr(1, 1), "P");
    EXPECT_TRUE(converted.Records[0].Notes.starts_with("This Data has been profiled to a "));
    EXPECT_NE(converted.Records[3].Curves[0], LoadSaveSet(demo.targetFandeck).Records[3].Curves[0]);
}

TEST(PerformanceWizard, ComparesTheFandecksAllowsPrintingAndReportsDifferentLengths) {
    CommandHarness h("wizard-performance");
    const test::DemoFiles demo = test::WriteSmallDemo(h.folder, 30);
    h.ui.WizardAnswers = {true, true, true};
    h.ui.Files = {demo.masterFandeck.string(), demo.targetFandeck.string()};
    h.commands->Execute(C::WizardPerformance);
    EXPECT_TRUE(h.ui.AllAnswersUsed());
    EXPECT_EQ(h.ui.WizardTitles,
              (Titles{"Performance Wizard", "Profile Wizard - Enter Master Instrument Data",
                      "Profile Wizard - Enter Target Data"}));
    EXPECT_NE(h.ui.WizardTexts[2].find("The nest step is to select"), std::string::npos);
    EXPECT_TRUE(h.ui.Messages.empty() && !h.ws.WizardRunning && h.ws.PerformanceDataReady);
    // The demo status holds both geometries ("B"), which is not "I": the SCE view, no report.
    const ResultGridModel& grid = h.commands->Grid();
    EXPECT_EQ(grid.Rows(), 33);
    EXPECT_EQ(grid.TextMatrix(32, 0), "Average");
    EXPECT_FALSE(h.ws.PerformanceShowsSCI);
    EXPECT_EQ(h.commands->Menu().Caption(C::DisplayCommand), "Show SCI Data");
    EXPECT_FALSE(std::filesystem::exists(h.folder / "CompareReport.txt"));
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

    h.ui.WizardAnswers = {true, true, true};  // again, with a Target fandeck of other length
    h.ui.Files = {demo.masterFandeck.string(),
                  test::WriteSet(h.folder, "short.wsv", {.records = 12}).string()};
    h.commands->WizardPerformance_Click();
    EXPECT_EQ(h.Messages(), "Error: Record count does not match ");
    EXPECT_FALSE(h.ws.WizardRunning);
}

}  // namespace
}  // namespace tintara
