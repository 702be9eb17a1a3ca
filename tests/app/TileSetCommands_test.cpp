#include <gtest/gtest.h>
#include <fstream>

#include "app/AppFixtures.h"
#include "app/CommandHarness.h"
#include "workspace/NumberFormat.h"

namespace tintara {
namespace {

using C = CommandId;
using test::CommandHarness;
using test::SetOptions;
using test::WriteSet;

constexpr const char* kFourLineReadError =
    "There is a problem with the Save_Set File \r\n\r\n"
    "It may be Corrupt, Empty or on a Mapped Drive\r\n"
    "This may also be a Windows Permission error\r\n"
    "Please contact your IT administrator to resolve these issues";

TEST(StripControlCharacters, DropsCodesBelow32Only) {
    std::string text = "AB\tC\r";
    ProfilerCommands::StripControlCharacters(text);
    EXPECT_EQ(text, "ABC");
    text.clear();
    ProfilerCommands::StripControlCharacters(text);
    EXPECT_EQ(text, "");
    text = std::string("\x01 a\x1f~\x7f") + "Caf\xc3\xa9";
    ProfilerCommands::StripControlCharacters(text);
    EXPECT_EQ(text, std::string(" a~\x7f") + "Caf\xc3\xa9");
}

TEST(MasterTileSet, LoadsTheSetAndEnablesTheTarget) {
    CommandHarness h("master-load");
    const auto file = WriteSet(h.folder, "master.wsv", SetOptions{});
    h.ui.Files = {file.string()};
    h.commands->Execute(C::MasterInstrumentTileSet);
    EXPECT_TRUE(h.ui.Messages.empty());
    EXPECT_EQ(h.ui.FileRequests[0].Filter, "Master Reflectance Save Sets | *.wsv");
    EXPECT_EQ(h.ui.FileRequests[0].FileName, "");
    EXPECT_EQ(h.ws.TileCount, 32);
    EXPECT_TRUE(h.ws.MasterTilesSelected);
    EXPECT_FALSE(h.ws.TargetTilesSelected);
    EXPECT_TRUE(h.ws.MasterTileSetLoaded);
    EXPECT_TRUE(h.Enabled(C::TargetInstrumentTileSet));
    EXPECT_EQ(h.ws.MasterCompany, "Fixture Lab");
    EXPECT_EQ(h.ws.MasterSerial, "SN-42");
    EXPECT_EQ(h.ws.MasterOperator, "Pat");
    EXPECT_EQ(h.ws.MasterTileSetSerial, "AV2024");  // tab and carriage return dropped
    EXPECT_EQ(h.Panel(StatusBarId::FileStatusBar, 1), "Master Tiles file is master.wsv");
    EXPECT_EQ(h.Panel(StatusBarId::InstrumentBar, 1), "Master : Macbeth Color i7   /   PBII01");
    EXPECT_EQ(h.commands->CurrentFolder(), h.folder);
    // A set holding one geometry asks no geometry question.
    EXPECT_EQ(h.ui.GeometryDialogs, 0);
}

TEST(MasterTileSet, CancelStillMarksTheMasterLoadedAndEnablesTheTarget) {
    CommandHarness h("master-cancel");
    const auto file = WriteSet(h.folder, "master.wsv", SetOptions{});
    h.ui.Files = {file.string(), ""};
    h.commands->MasterInstrumentTileSet_Click();
    h.commands->Menu().SetEnabled(C::TargetInstrumentTileSet, false);
    const Matrix before = h.ws.MasterReflectance;
    h.ws.MasterTileSetLoaded = false;
    h.ui.Status.clear();

    h.commands->MasterInstrumentTileSet_Click();
    EXPECT_TRUE(h.ui.Messages.empty());
    EXPECT_EQ(h.ws.MasterReflectance, before);
    EXPECT_TRUE(h.ws.MasterTileSetLoaded);
    EXPECT_TRUE(h.Enabled(C::TargetInstrumentTileSet));
    EXPECT_EQ(h.Panel(StatusBarId::InstrumentBar, 1), "Master : Macbeth Color i7   /   PBII01");
    EXPECT_EQ(h.Panel(StatusBarId::FileStatusBar, 1), "");  // only the instrument bar is rewritten
}

TEST(MasterTileSet, UnreachableFileIsReportedAndNothingElseHappens) {
    CommandHarness h("master-missing");
    h.ui.Files = {(h.folder / "gone.wsv").string()};
    h.ws.LastResult = 0;
    h.commands->MasterInstrumentTileSet_Click();
    ASSERT_EQ(h.ui.Messages.size(), 1u);
    EXPECT_EQ(h.ui.Messages[0].Title, "File I/O Error");
    EXPECT_EQ(h.ui.Messages[0].Text, "File is NOT accessable");
    EXPECT_EQ(h.ui.Messages[0].Icon, MessageIcon::Exclamation);
    EXPECT_EQ(h.ws.LastResult, kResultOk);
    EXPECT_FALSE(h.ws.MasterTileSetLoaded);
    EXPECT_FALSE(h.Enabled(C::TargetInstrumentTileSet));
    EXPECT_EQ(h.Panel(StatusBarId::InstrumentBar, 1), "Master Instrument - Not Assigned");
}

TEST(MasterTileSet, ASetOfAnotherSizeIsNotRead) {
    CommandHarness h("master-30");
    SetOptions options;
    options.records = 30;
    h.ui.Files = {WriteSet(h.folder, "thirty.wsv", options).string()};
    h.commands->MasterInstrumentTileSet_Click();
    EXPECT_EQ(h.OnlyMessage(), std::string("File Read Error: ") + kFourLineReadError);
    EXPECT_EQ(h.ws.TileCount, 0);
    EXPECT_FALSE(h.ws.MasterTilesSelected);
    EXPECT_FALSE(h.ws.MasterTileSetLoaded);

    // Not a save set at all: the same message, nothing crashes.
    const auto junk = h.folder / "junk.wsv";
    std::ofstream(junk) << "not a save set";
    h.ui.Files = {junk.string()};
    h.commands->MasterInstrumentTileSet_Click();
    const std::string message = h.OnlyMessage();
    EXPECT_TRUE(message == std::string("File Read Error: ") + kFourLineReadError ||
                message == "File I/O Error: File is NOT accessable")
        << message;
}

TEST(MasterTileSet, UvExcludedIsOnlyAWarning) {
    CommandHarness h("master-uv");
    SetOptions options;
    options.status = "PBIE01";
    h.ui.Files = {WriteSet(h.folder, "master.wsv", options).string()};
    h.commands->MasterInstrumentTileSet_Click();
    ASSERT_EQ(h.ui.Messages.size(), 1u);
    EXPECT_EQ(h.ui.Messages[0].Title, "Instrument Status Error");
    EXPECT_EQ(h.ui.Messages[0].Text, "The UV Component must be INCLUDED for Profiling");
    EXPECT_EQ(h.ui.Messages[0].Icon, MessageIcon::Exclamation);
    EXPECT_TRUE(h.ws.MasterTilesSelected);
    EXPECT_TRUE(h.ws.MasterTileSetLoaded);
    EXPECT_EQ(h.Panel(StatusBarId::FileStatusBar, 1), "Master Tiles file is master.wsv");
}

TEST(MasterTileSet, ExemptInstrumentAndShortStatusFollowTheUvRule) {
    // A Minolta CM-700 is never warned; a status too short to have a 4th character always is.
    struct Case {
        int16_t instrument;
        const char* status;
        bool warned;
    };
    for (const Case c : {Case{208, "PBIE01", false}, Case{177, "PBI", true}}) {
        CommandHarness h("master-uv-rule");
        SetOptions options;
        options.instrument = c.instrument;
        options.status = c.status;
        h.ui.Files = {WriteSet(h.folder, "master.wsv", options).string()};
        h.commands->MasterInstrumentTileSet_Click();
        EXPECT_EQ(h.ui.Messages.size(), c.warned ? 1u : 0u) << c.status;
        EXPECT_TRUE(h.ws.MasterTilesSelected);
    }
}

TEST(MasterTileSet, BothGeometriesAskWhichOneToRead) {
    CommandHarness h("master-both");
    SetOptions options;
    options.status = "PBBI01";
    h.ui.Files = {WriteSet(h.folder, "master.wsv", options).string()};
    h.ui.GeometryAnswers = {false};
    h.commands->MasterInstrumentTileSet_Click();
    EXPECT_EQ(h.ui.GeometryDialogs, 1);
    EXPECT_FALSE(h.ws.GeometryChoice);
    EXPECT_EQ(h.ws.MasterStatus, "PBEI01");
    // The SCE position (0.97 of SCI in the fixture) was read.
    EXPECT_DOUBLE_EQ(h.ws.MasterReflectance(5, 20), test::SampleCurve(5)[20] * 0.97);
}

struct Loaded {
    explicit Loaded(
        const std::string& name, SetOptions target =
                                     [] {
                                         SetOptions o;
                                         o.target = true;
                                         o.instrument = 186;
                                         o.company = "Target Lab";
                                         return o;
                                     }())
        : h(name) {
        master = WriteSet(h.folder, "master.wsv", SetOptions{});
        targetFile = WriteSet(h.folder, "target.wsv", target);
        h.ui.Files = {master.string(), targetFile.string()};
        h.commands->MasterInstrumentTileSet_Click();
        h.commands->TargetInstrumentTileSet_Click();
    }
    CommandHarness h;
    std::filesystem::path master, targetFile;
};

TEST(TargetTileSet, ReadingBothShowsTheRawDifferences) {
    Loaded l("target-load");
    CommandHarness& h = l.h;
    EXPECT_TRUE(h.ui.Messages.empty());
    EXPECT_EQ(h.ui.FileRequests[1].Filter, "Target Reflectance Save Sets | *.wsv");
    EXPECT_TRUE(h.ws.TargetTilesSelected);
    EXPECT_TRUE(h.ws.TargetTileSetLoaded);
    EXPECT_FALSE(h.ws.CoefficientsCalculated);
    EXPECT_EQ(h.ws.TargetCompany, "Target Lab");
    EXPECT_EQ(h.ws.TargetTileSetSerial, "AV2024");
    EXPECT_EQ(h.Panel(StatusBarId::FileStatusBar, 2), "Target Tiles file is target.wsv");
    EXPECT_EQ(h.Panel(StatusBarId::InstrumentBar, 2), "Target : X-Rite Ci7800   /   PBII01");
    // Raw DE computed and drawn: a correlation grid of 35 rows, tile 1 in row 3.
    EXPECT_GT(h.ws.RawDE(3, 3), 0.0);
    ResultGridModel& grid = h.commands->Grid();
    EXPECT_TRUE(grid.Visible());
    EXPECT_EQ(grid.Rows(), 35);
    EXPECT_EQ(grid.TextMatrix(3, 0), "Tile 1");
    EXPECT_EQ(grid.TextMatrix(1, 0), "Average DE");
    EXPECT_EQ(grid.TextMatrix(3, 1), Format(h.ws.RawDE(0, 3), "##0.00"));
    EXPECT_TRUE(h.commands->Menu().Visible(C::DisplayCommand));
    // The menus now allow profiling.
    EXPECT_TRUE(h.Enabled(C::GenerateFunction));
    EXPECT_TRUE(h.Enabled(C::GenerateCCF));
    EXPECT_FALSE(h.Enabled(C::GenerateCSS));
}

TEST(TargetTileSet, UvExcludedIsRefused) {
    SetOptions target;
    target.target = true;
    target.status = "PBIE01";
    Loaded l("target-uv", target);
    CommandHarness& h = l.h;
    EXPECT_EQ(h.OnlyMessage(),
              "Instrument Status Error: The UV Component must be INCLUDED for Profiling");
    EXPECT_FALSE(h.ws.TargetTilesSelected);
    EXPECT_FALSE(h.ws.TargetTileSetLoaded);
    EXPECT_EQ(h.Panel(StatusBarId::FileStatusBar, 2), "Target File - Not Assigned");
    EXPECT_FALSE(h.commands->Grid().Visible());
}

TEST(TargetTileSet, ReadFailureShowsTheShortText) {
    SetOptions target;
    target.target = true;
    target.records = 16;  // the Master has 32
    Loaded l("target-size", target);
    EXPECT_EQ(l.h.OnlyMessage(), "File Read Error: There is a problem with the Save_Set File ");
    EXPECT_FALSE(l.h.ws.TargetTilesSelected);
    EXPECT_FALSE(l.h.ws.TargetTileSetLoaded);
}

TEST(TargetTileSet, CancelStillCountsForTheMenus) {
    CommandHarness h("target-cancel");
    h.ui.Files = {""};
    h.commands->TargetInstrumentTileSet_Click();
    EXPECT_TRUE(h.ui.Messages.empty());
    EXPECT_TRUE(h.ws.TargetTileSetLoaded);
    EXPECT_FALSE(h.ws.TargetTilesSelected);
}

TEST(TargetTileSet, ANewMasterInvalidatesTheTarget) {
    Loaded l("target-invalidated");
    CommandHarness& h = l.h;
    h.ui.Files = {l.master.string()};
    h.commands->MasterInstrumentTileSet_Click();
    EXPECT_FALSE(h.ws.TargetTilesSelected);
    EXPECT_FALSE(h.ws.CoefficientsCalculated);
    h.commands->GenerateCCF_Click();
    EXPECT_EQ(h.OnlyMessage(),
              "Data Error: Master and Target Instrument data has NOT been selected");
}

}  // namespace
}  // namespace tintara
