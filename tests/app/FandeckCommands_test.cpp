#include <gtest/gtest.h>

#include <fstream>

#include "app/CommandHarness.h"
#include "workspace/NumberFormat.h"

namespace tintara {
namespace {

using C = CommandId;
using test::CommandHarness;

// The demo data and a coefficient file of the demo pair holding the SCI block only.
struct Demo {
    explicit Demo(CommandHarness& h, int samples) : files(test::WriteSmallDemo(h.folder, samples)) {
        test::ProfileIntoCcf(h, files, ccf = h.folder / "sci.ccf", true);
        EXPECT_EQ(h.Messages(), "");
    }
    test::DemoFiles files;
    std::filesystem::path ccf;
};

TEST(FandeckFiles, TheTargetIsOnlyChosenAndTheMasterIsRead) {
    CommandHarness h("fandeck-files");
    const auto file = h.folder / "not-a-save-set.wsv";
    std::ofstream(file) << "anything";
    h.ui.Files = {file.string()};
    h.commands->Execute(C::TargetInstrumentSaveSet);
    EXPECT_TRUE(h.ui.Messages.empty());
    EXPECT_EQ(h.ui.FileRequests[0].Filter, "Target Fandeck File | *.wsv");
    EXPECT_TRUE(h.ws.TargetSaveSetLoaded);
    EXPECT_EQ(h.ws.TargetSaveSetFile, file.string());
    EXPECT_EQ(h.ws.TargetFandeckReflectance.Records(), 0u);
    EXPECT_TRUE(h.Enabled(C::CorrelatedTargetInstrumentSaveSet));
    EXPECT_EQ(h.Panel(StatusBarId::FileStatusBar, 2), "Target SaveSet is not-a-save-set.wsv");

    const test::DemoFiles demo = test::WriteSmallDemo(h.folder, 15);
    h.ui.Files = {demo.masterFandeck.string(), (h.folder / "gone.wsv").string()};
    h.commands->MasterInstrumentSaveSet_Click();
    EXPECT_TRUE(h.ui.Messages.empty());
    EXPECT_TRUE(h.ws.MasterSaveSetLoaded);
    EXPECT_EQ(h.ws.MasterFandeckReflectance.Records(), 15u);
    EXPECT_EQ(h.Panel(StatusBarId::FileStatusBar, 1), "Master SaveSet is master-fandeck.wsv");
    EXPECT_EQ(h.Panel(StatusBarId::InstrumentBar, 1), "Master : X-Rite Ci7800   /   RCBIXX");
    h.commands->MasterInstrumentSaveSet_Click();  // a failed choice keeps the earlier file
    EXPECT_EQ(h.Messages(), "File I/O Error: File is NOT accessable");
    EXPECT_EQ(h.ws.MasterSaveSetFile, demo.masterFandeck.string());
}

TEST(GenerateCSS, ComparesTheCorrectedFandeckWithTheMaster) {
    CommandHarness h("css");
    const Demo demo(h, 20);
    h.ui.Files = {demo.files.masterFandeck.string(), demo.files.targetFandeck.string(),
                  demo.ccf.string()};
    h.commands->MasterInstrumentSaveSet_Click();
    h.commands->TargetInstrumentSaveSet_Click();
    h.commands->CorrelationFileMenu_Click();
    UpdateCommandState(h.ws, h.commands->Menu());
    ASSERT_TRUE(h.commands->Menu().Available(C::GenerateCSS));
    h.commands->Execute(C::GenerateCSS);
    // The file has no SCE block: the SCE curves are copied and the user is told.
    ASSERT_EQ(h.ui.MessageTitles(), std::vector<std::string>{"WARNING"});
    EXPECT_NE(h.ui.Messages[0].Text.find("SCE"), std::string::npos);
    EXPECT_TRUE(h.ws.PerformanceDataReady && h.ws.CorrelatedFandeckReady);
    const ResultGridModel& grid = h.commands->Grid();
    EXPECT_EQ(std::pair(grid.Rows(), grid.Cols()), std::pair(23, 9));
    EXPECT_EQ(grid.TextMatrix(22, 0), "Average");
    // Corrected SCI differences (columns 5..8) are smaller than the raw ones (1..4).
    EXPECT_LT(Val(grid.TextMatrix(22, 8)), Val(grid.TextMatrix(22, 4)));
    EXPECT_TRUE(h.Enabled(C::SaveCorrelatedFandeck));
}

TEST(SaveCorrelatedFandeck, CancelStillWritesToTheFileChosenBefore) {
    CommandHarness h("save-correlated");
    const Demo demo(h, 10);
    const auto out = h.folder / "correlated.wsv";
    h.ui.Files = {demo.files.targetFandeck.string(), demo.ccf.string(), out.string(), ""};
    h.commands->TargetInstrumentSaveSet_Click();
    h.commands->CorrelationFileMenu_Click();
    h.commands->GenerateConvData_Click();
    EXPECT_FALSE(h.commands->ConversionFailed());
    EXPECT_EQ(h.ui.MessageTitles(), std::vector<std::string>{"WARNING"});  // no SCE block
    h.ui.Messages.clear();
    h.commands->Execute(C::SaveCorrelatedFandeck);
    EXPECT_EQ(h.ui.FileRequests.back().Filter, "Correlated Fandeck File | *.wsv");
    EXPECT_EQ(h.ui.FileRequests.back().Mode, FileDialogMode::Save);
    ASSERT_TRUE(std::filesystem::exists(out));
    EXPECT_EQ(LoadSaveSet(out).Records.size(), 10u);

    std::filesystem::remove(out);
    h.ws.CorrelatedSaveSetLoaded = false;
    h.commands->SaveCorrelatedFandeck_Click();  // cancelled
    EXPECT_TRUE(h.ui.Messages.empty());
    EXPECT_FALSE(h.ws.CorrelatedSaveSetLoaded);
    EXPECT_TRUE(std::filesystem::exists(out));
}

}  // namespace
}  // namespace tintara
