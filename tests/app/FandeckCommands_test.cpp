#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

#include "app/AppFixtures.h"
#include "app/DemoRoad.h"
#include "files/SaveSetLibrary.h"
#include "workspace/NumberFormat.h"

namespace tintara {
namespace {

using C = CommandId;
using test::CommandHarness;
using test::DemoFiles;

// A coefficient file of the demo pair holding the SCI block only.
std::filesystem::path SciCcf(CommandHarness& h, const DemoFiles& demo) {
    const auto ccf = h.folder / "sci.ccf";
    test::ProfileIntoCcf(h, demo, ccf, true);
    EXPECT_TRUE(h.ui.Messages.empty());
    return ccf;
}

TEST(FandeckFiles, ChoosingTheTargetDoesNotReadIt) {
    CommandHarness h("fandeck-target");
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
}

TEST(FandeckFiles, MasterIsReadAndAnUnreadableOneIsNotAccessible) {
    CommandHarness h("fandeck-master");
    const DemoFiles demo = test::WriteSmallDemo(h.folder, 15);
    h.ui.Files = {demo.masterFandeck.string()};
    h.commands->MasterInstrumentSaveSet_Click();
    EXPECT_TRUE(h.ui.Messages.empty());
    EXPECT_TRUE(h.ws.MasterSaveSetLoaded);
    EXPECT_EQ(h.ws.MasterFandeckReflectance.Records(), 15u);
    EXPECT_EQ(h.Panel(StatusBarId::FileStatusBar, 1), "Master SaveSet is master-fandeck.wsv");
    EXPECT_EQ(h.Panel(StatusBarId::InstrumentBar, 1), "Master : X-Rite Ci7800   /   RCBIXX");
    // With only the Master fandeck the Generate menu stays off.
    UpdateCommandState(h.ws, h.commands->Menu());
    EXPECT_FALSE(h.Enabled(C::GenerateFunction));

    const auto junk = h.folder / "junk.wsv";
    std::ofstream(junk) << "junk";
    h.ui.Files = {junk.string(), (h.folder / "missing.wsv").string()};
    for (int i = 0; i < 2; ++i) {
        h.commands->MasterInstrumentSaveSet_Click();
        EXPECT_EQ(h.OnlyMessage(), "File I/O Error: File is NOT accessable");
        EXPECT_EQ(h.ws.MasterSaveSetFile, demo.masterFandeck.string());
    }
}

TEST(GenerateCSS, ComparesTheCorrectedFandeckWithTheMaster) {
    CommandHarness h("css");
    const DemoFiles demo = test::WriteSmallDemo(h.folder, 20);
    const auto ccf = SciCcf(h, demo);
    h.ui.Files = {demo.masterFandeck.string(), demo.targetFandeck.string(), ccf.string()};
    h.commands->MasterInstrumentSaveSet_Click();
    h.commands->TargetInstrumentSaveSet_Click();
    h.commands->CorrelationFileMenu_Click();
    UpdateCommandState(h.ws, h.commands->Menu());
    ASSERT_TRUE(h.commands->Menu().Available(C::GenerateCSS));
    h.commands->Execute(C::GenerateCSS);
    // The file has no SCE block: the SCE curves are copied and the user is told.
    ASSERT_EQ(h.ui.MessageTitles(), std::vector<std::string>{"WARNING"});
    EXPECT_NE(h.ui.Messages[0].Text.find("SCE"), std::string::npos);
    EXPECT_TRUE(h.ws.PerformanceDataReady);
    EXPECT_TRUE(h.ws.CorrelatedFandeckReady);
    const ResultGridModel& grid = h.commands->Grid();
    EXPECT_EQ(grid.Rows(), 23);
    EXPECT_EQ(grid.Cols(), 9);
    EXPECT_EQ(grid.TextMatrix(22, 0), "Average");
    // Corrected SCI differences (columns 5..8) are smaller than the raw ones (1..4).
    EXPECT_LT(Val(grid.TextMatrix(22, 8)), Val(grid.TextMatrix(22, 4)));
    EXPECT_TRUE(h.Enabled(C::SaveCorrelatedFandeck));
}

TEST(GenerateCSS, RefusesFandecksOfDifferentSizeOrInstrument) {
    CommandHarness h("css-refusals");
    const DemoFiles demo = test::WriteSmallDemo(h.folder, 20);
    const auto ccf = SciCcf(h, demo);
    test::SetOptions shorter;
    shorter.records = 12;
    shorter.instrument = 179;  // the profile's Target, so only the count differs
    const auto shortFile = test::WriteSet(h.folder, "short.wsv", shorter);
    test::SetOptions other;
    other.records = 20;
    const auto otherFile = test::WriteSet(h.folder, "other.wsv", other);

    h.ui.Files = {demo.masterFandeck.string(), shortFile.string(), ccf.string()};
    h.commands->MasterInstrumentSaveSet_Click();
    h.commands->TargetInstrumentSaveSet_Click();
    h.commands->CorrelationFileMenu_Click();
    h.commands->GenerateCSS_Click();
    ASSERT_EQ(h.ui.Messages.size(), 1u);
    EXPECT_EQ(h.ui.Messages[0].Title, "Save Set Mis-Match");
    EXPECT_EQ(h.ui.Messages[0].Text, "Number of records in Files do NOT match - unable to proceed");
    EXPECT_EQ(h.ui.Messages[0].Icon, MessageIcon::Exclamation);
    EXPECT_FALSE(h.ws.PerformanceDataReady);
    h.ui.Messages.clear();

    h.ui.Files = {otherFile.string()};
    h.commands->TargetInstrumentSaveSet_Click();
    h.commands->GenerateCSS_Click();
    EXPECT_EQ(h.OnlyMessage(),
              "Instrument Mis-Match: Instrument types do NOT match - unable to proceed");
    EXPECT_FALSE(h.ws.PerformanceDataReady);
}

TEST(GenerateConvData, UnreadableCoefficientFileIsReported) {
    CommandHarness h("conv-unreadable");
    const DemoFiles demo = test::WriteSmallDemo(h.folder, 10);
    const auto bad = h.folder / "bad.ccf";
    std::ofstream(bad) << "186\r\nshort\r\n";
    h.ui.Files = {demo.targetFandeck.string(), bad.string()};
    h.commands->TargetInstrumentSaveSet_Click();
    h.commands->CorrelationFileMenu_Click();
    h.commands->GenerateConvData_Click();
    ASSERT_EQ(h.ui.Messages.size(), 1u);
    EXPECT_EQ(h.ui.Messages[0].Title, "File Read Error");
    EXPECT_NE(h.ui.Messages[0].Text.find("bad.ccf"), std::string::npos);
    EXPECT_TRUE(h.commands->ConversionFailed());
    EXPECT_FALSE(h.ws.CorrelatedFandeckReady);
}

TEST(SaveCorrelatedFandeck, CancelStillWritesToTheFileChosenBefore) {
    CommandHarness h("save-correlated");
    const DemoFiles demo = test::WriteSmallDemo(h.folder, 10);
    const auto ccf = SciCcf(h, demo);
    const auto out = h.folder / "correlated.wsv";

    // Nothing converted yet, no file chosen: a cancelled save writes nothing and says why.
    h.ui.Files = {""};
    h.commands->SaveCorrelatedFandeck_Click();
    EXPECT_EQ(h.ui.MessageTitles(), std::vector<std::string>{"File I/O Error"});
    EXPECT_FALSE(h.ws.CorrelatedSaveSetLoaded);
    h.ui.Messages.clear();

    h.ui.Files = {demo.targetFandeck.string(), ccf.string(), out.string(), ""};
    h.commands->TargetInstrumentSaveSet_Click();
    h.commands->CorrelationFileMenu_Click();
    h.commands->GenerateConvData_Click();
    EXPECT_FALSE(h.commands->ConversionFailed());
    h.ui.Messages.clear();  // the SCE warning
    h.commands->Execute(C::SaveCorrelatedFandeck);
    EXPECT_TRUE(h.ui.Messages.empty());
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

TEST(SaveCoefficients, FileOfAnotherPairIsRefusedAndKept) {
    CommandHarness h("save-other-pair");
    const DemoFiles demo = test::WriteSmallDemo(h.folder, 10);
    const auto ccf = SciCcf(h, demo);
    const std::string earlier = h.ws.CoefficientFile;

    // Profile a different pair (the fixture sets) and try to save into the demo pair's file.
    const auto master = test::WriteSet(h.folder, "m.wsv", test::SetOptions{});
    test::SetOptions targetOptions;
    targetOptions.target = true;
    targetOptions.instrument = 177;
    const auto target = test::WriteSet(h.folder, "t.wsv", targetOptions);
    std::ifstream before(ccf, std::ios::binary);
    const std::string oldText((std::istreambuf_iterator<char>(before)), {});
    h.ui.Files = {master.string(), target.string(), ccf.string()};
    h.ui.HeaderAnswers = {test::HeaderAnswer{}};
    h.commands->MasterInstrumentTileSet_Click();
    h.commands->TargetInstrumentTileSet_Click();
    h.commands->GenerateCCF_Click();
    ASSERT_TRUE(h.ws.CoefficientsCalculated);
    h.commands->SaveCoefficients_Click();
    EXPECT_EQ(h.OnlyMessage(), "ERROR: Incorrect Instruments from file");
    std::ifstream after(ccf, std::ios::binary);
    EXPECT_EQ(std::string((std::istreambuf_iterator<char>(after)), {}), oldText);
    EXPECT_EQ(h.ws.CoefficientFile, earlier);
}

}  // namespace
}  // namespace tintara
