#include "app/ProfilerCommands.h"

#include <gtest/gtest.h>

#include <fstream>

#include "app/CommandHarness.h"
#include "app/ToleranceDialog.h"
#include "engine/Tolerances.h"

namespace tintara {
namespace {

using C = CommandId;
using test::CommandHarness;

TEST(FormLoad, StartsWithNothingLoadedAndTheStartupMenus) {
    CommandHarness h("startup");
    EXPECT_TRUE(h.ui.Messages.empty());
    EXPECT_FALSE(h.ws.MasterTileSetLoaded || h.ws.TargetTileSetLoaded || h.ws.MasterSaveSetLoaded ||
                 h.ws.TargetSaveSetLoaded || h.ws.CorrelatedSaveSetLoaded ||
                 h.ws.CoefficientsLoaded || h.ws.CoefficientsCalculated || h.ws.ConversionDone);
    EXPECT_TRUE(h.ws.UseCentroid);
    EXPECT_TRUE(h.Enabled(C::MasterInstrumentTileSet));
    EXPECT_FALSE(h.Enabled(C::TargetInstrumentTileSet));
    EXPECT_TRUE(h.Enabled(C::MasterInstrumentSaveSet));
    EXPECT_TRUE(h.Enabled(C::TargetInstrumentSaveSet));
    EXPECT_FALSE(h.Enabled(C::CorrelatedTargetInstrumentSaveSet));
    EXPECT_FALSE(h.Enabled(C::SaveFile));
    EXPECT_FALSE(h.Enabled(C::PrintReport));
    EXPECT_FALSE(h.Enabled(C::GenerateFunction));
    EXPECT_FALSE(h.commands->Grid().Visible());
    for (C button : {C::RawDataCommand, C::DisplayCommand, C::CorrectedDataCommand}) {
        EXPECT_FALSE(h.commands->Menu().Visible(button));
    }
    EXPECT_EQ(h.Panel(StatusBarId::FileStatusBar, 1), "Master File - Not Assigned");
    EXPECT_EQ(h.Panel(StatusBarId::FileStatusBar, 2), "Target File - Not Assigned");
    EXPECT_EQ(h.Panel(StatusBarId::FileStatusBar, 3), "Coefficient File - Not Assigned");
    EXPECT_EQ(h.Panel(StatusBarId::InstrumentBar, 1), "Master Instrument - Not Assigned");
    EXPECT_EQ(h.Panel(StatusBarId::InstrumentBar, 2), "Target Instrument - Not Assigned");
    // The window was told about the menu state it must mirror.
    EXPECT_FALSE(h.ui.CommandChanges.empty());
}

TEST(FormLoad, OnlyTheWholeWordNocentroidSwitchesTheSearchOff) {
    for (const std::string line : {"NOCENTROID", "nocentroid", "NoCentroid"}) {
        CommandHarness h("nocentroid-on", true, line);
        EXPECT_FALSE(h.ws.UseCentroid) << line;
    }
    for (const std::string line : {"NOCENTROID X", " NOCENTROID", "CENTROID", "-nocentroid"}) {
        CommandHarness h("nocentroid-off", true, line);
        EXPECT_TRUE(h.ws.UseCentroid) << line;
    }
}

TEST(FormLoad, MissingProfilerIniFallsBackWithOneMessage) {
    CommandHarness h("no-ini", false);
    // The harness clears messages after start-up; load again to see it.
    h.ws.SingleSampleTolerance = 3.0;
    h.commands->Form_Load("");
    ASSERT_EQ(h.ui.Messages.size(), 1u);
    EXPECT_EQ(h.ui.Messages[0].Title, "File Read Error");
    EXPECT_EQ(h.ui.Messages[0].Text, "Error reading Tolerance defaults");
    EXPECT_EQ(h.ui.Messages[0].Icon, MessageIcon::None);
    EXPECT_EQ(h.ws.SingleSampleTolerance, 0.5);
}

TEST(FormActivate, OnlyTheFirstActivationSetsUpTheWindow) {
    CommandHarness h("activate");
    h.commands->Form_Activate();
    h.commands->Form_Activate();
    EXPECT_EQ(h.ui.WindowInitialisations, 1);
    EXPECT_TRUE(h.ws.WindowInitialised);
    EXPECT_TRUE(h.ui.Messages.empty());

    CommandHarness missing("activate-missing");
    missing.ui.PictureLoads = false;
    missing.commands->Form_Activate();
    ASSERT_EQ(missing.ui.Messages.size(), 1u);
    EXPECT_NE(missing.ui.Messages[0].Text.find("Profiler_Background.jpg"), std::string::npos);
    EXPECT_TRUE(missing.ws.WindowInitialised);
}

TEST(DisplayButtons, RawDataWidensTheGridOnePixelPerClick) {
    CommandHarness h("rawdata");
    h.ws.TwipsPerPixel = 12;
    h.commands->Grid().Width = 9000;
    h.commands->Execute(C::RawDataCommand);
    h.commands->Execute(C::RawDataCommand);
    EXPECT_EQ(h.commands->Grid().Width, 9024);
}

TEST(DisplayButtons, ProfileXXXIsNotImplemented) {
    CommandHarness h("tofile");
    h.ws.LastResult = 0;
    h.commands->Execute(C::ToFile);
    ASSERT_EQ(h.ui.Messages.size(), 1u);
    EXPECT_EQ(h.ui.Messages[0].Title, "WARNING");
    EXPECT_EQ(h.ui.Messages[0].Text, "This function has not been implemented");
    EXPECT_EQ(h.ui.Messages[0].Buttons, MessageButtons::Ok);
    EXPECT_EQ(h.ws.LastResult, 0);
}

TEST(DisplayButtons, ExitEndsAtOnceAndSoDoesClosingTheWindow) {
    CommandHarness h("exit");
    h.commands->Execute(C::ProgramExit);
    EXPECT_TRUE(h.ui.Ended);
    CommandHarness closing("unload");
    closing.commands->Form_Unload();
    EXPECT_TRUE(closing.ui.Ended);
    EXPECT_TRUE(closing.ui.Messages.empty());
}

TEST(GenerateCCF, RefusesWithoutBothTileSets) {
    CommandHarness h("ccf-nodata");
    h.ws.MasterTilesSelected = true;
    h.ws.ProfileStatusError = true;
    h.commands->GenerateCCF_Click();
    EXPECT_EQ(h.OnlyMessage(),
              "Data Error: Master and Target Instrument data has NOT been selected");
    EXPECT_FALSE(h.ws.ProfileStatusError);
    EXPECT_EQ(h.ui.HeaderDialogs, 0);
    EXPECT_FALSE(h.ws.CoefficientsCalculated);
}

TEST(GenerateCCF, RefusesUvExcludedOnEitherInstrument) {
    for (const auto& [master, target] : {std::pair{"PBIE01", "PBII01"}, {"PBII01", "PBIE01"}}) {
        CommandHarness h("ccf-uv");
        h.ws.MasterTilesSelected = h.ws.TargetTilesSelected = true;
        h.ws.MasterInstrumentID = 177;
        h.ws.TargetInstrumentID = 186;
        h.ws.MasterStatus = master;
        h.ws.TargetStatus = target;
        h.commands->GenerateCCF_Click();
        ASSERT_EQ(h.ui.Messages.size(), 1u);
        EXPECT_EQ(h.ui.Messages[0].Title, "Status Error");
        EXPECT_EQ(h.ui.Messages[0].Text,
                  "The Master and Target instruments must be set to UV Component Included");
        EXPECT_EQ(h.ui.Messages[0].Icon, MessageIcon::None);
        EXPECT_TRUE(h.ws.ProfileStatusError);
        EXPECT_EQ(h.ui.HeaderDialogs, 0);
    }
}

TEST(GenerateCCF, ExemptInstrumentsAndOtherLettersPassTheUvCheck) {
    // Minolta CM-2002 with UV excluded, and a status whose 4th letter is neither "I" nor "E":
    // both reach the header dialog; a geometry mismatch then stops the run, keeping the header.
    struct Case {
        int16_t masterId;
        const char* masterStatus;
    };
    for (const Case c : {Case{2, "PBIE01"}, Case{177, "PBIX01"}}) {
        CommandHarness h("ccf-exempt");
        h.ws.MasterTilesSelected = h.ws.TargetTilesSelected = true;
        h.ws.MasterInstrumentID = c.masterId;
        h.ws.TargetInstrumentID = 186;
        h.ws.MasterStatus = c.masterStatus;
        h.ws.TargetStatus = "PBEI01";
        h.ui.HeaderAnswers.push_back(
            {true, std::array<std::string, 2>{"AV-1", "AV-2"}, std::nullopt, std::nullopt});
        h.commands->GenerateCCF_Click();
        EXPECT_EQ(h.ui.HeaderDialogs, 1);
        EXPECT_EQ(h.OnlyMessage(), "Data Error: The Master and Target status do NOT Match");
        EXPECT_FALSE(h.ws.ProfileStatusError);
        EXPECT_EQ(h.ws.MasterTileSetSerial, "AV-1");
        EXPECT_EQ(h.ws.TargetTileSetSerial, "AV-2");
        EXPECT_FALSE(h.ws.CoefficientsCalculated);
    }
}

TEST(SaveCoefficients, RefusesWhenNothingWasCalculated) {
    CommandHarness h("save-nothing");
    h.commands->SaveCoefficients_Click();
    ASSERT_EQ(h.ui.Messages.size(), 1u);
    EXPECT_EQ(h.ui.Messages[0].Title, "Warning");
    EXPECT_EQ(h.ui.Messages[0].Text, "Coefficients have not been calculated");
    EXPECT_EQ(h.ui.Messages[0].Icon, MessageIcon::Exclamation);
    EXPECT_TRUE(h.ui.FileRequests.empty());
}

TEST(CorrelationFileMenu, ChoosingSetsTheFileWithoutReadingIt) {
    CommandHarness h("open-ccf");
    const auto file = h.folder / "sub" / "pair.ccf";  // need not exist: it is read when applied
    h.ui.Files = {"", file.string()};
    h.commands->CorrelationFileMenu_Click();
    EXPECT_FALSE(h.ws.CoefficientsLoaded);
    EXPECT_EQ(h.Panel(StatusBarId::FileStatusBar, 3), "Coefficient File - Not Assigned");
    EXPECT_TRUE(h.commands->CurrentFolder().empty());

    h.commands->CorrelationFileMenu_Click();
    EXPECT_TRUE(h.ws.CoefficientsLoaded);
    EXPECT_EQ(h.ws.CoefficientFile, file.string());
    EXPECT_EQ(h.Panel(StatusBarId::FileStatusBar, 3), "Coefficients File is pair.ccf");
    EXPECT_EQ(h.commands->CurrentFolder(), file.parent_path());
    EXPECT_EQ(h.ui.FileRequests[0].Filter, "Instrument Correlation Files | *.ccf");
    EXPECT_EQ(h.ui.FileRequests[0].Mode, FileDialogMode::Open);
    EXPECT_TRUE(h.ui.Messages.empty());
}

TEST(SetTolerances, AcceptWritesProfilerIniAndAColourSpaceChangeAsksForAReload) {
    CommandHarness h("tolerances");
    h.ui.ToleranceAnswers.push_back([](GetTolerancesDialog& dialog) {
        EXPECT_EQ(dialog.TolText[0], "0.50");  // position 91
        EXPECT_FALSE(dialog.AcceptButtonEnabled);
        dialog.VScroll1_Change(0, 81);  // 1.00
        dialog.Option2_Click();
        dialog.AcceptButton_Click();
    });
    h.commands->SetTolerances_Click();
    EXPECT_EQ(h.ws.SingleSampleTolerance, 1.0);
    EXPECT_EQ(h.ws.AverageTolerance, 0.5);
    EXPECT_EQ(h.ws.ColorSpace, 2);
    EXPECT_EQ(h.commands->Engine().PLM.ColorSpace(), 2);
    EXPECT_EQ(h.OnlyMessage(),
              "Color Space has changed: SaveSet Data must be reloaded using the new Color Space");
    EXPECT_EQ(h.ws.LastResult, kTrue);
    const ToleranceReadResult stored = ReadTolerances(h.folder / "Profiler.ini");
    EXPECT_FALSE(stored.ErrorNoted);
    EXPECT_EQ(stored.Settings, (ToleranceSettings{1.0, 0.5, 2}));

    // Same colour space again: stored, no message.
    h.ui.ToleranceAnswers.push_back([](GetTolerancesDialog& dialog) {
        EXPECT_TRUE(dialog.Option2);
        dialog.VScroll1_Change(1, 100);  // 0.05
        dialog.AcceptButton_Click();
    });
    h.commands->SetTolerances_Click();
    EXPECT_TRUE(h.ui.Messages.empty());
    EXPECT_DOUBLE_EQ(h.ws.AverageTolerance, 0.05);

    // Cancel stores nothing.
    h.ui.ToleranceAnswers.push_back([](GetTolerancesDialog& dialog) {
        dialog.VScroll1_Change(0, 1);
        dialog.CancelButton_Click();
    });
    h.commands->SetTolerances_Click();
    EXPECT_EQ(h.ws.SingleSampleTolerance, 1.0);
    EXPECT_EQ(ReadTolerances(h.folder / "Profiler.ini").Settings.SingleSampleTolerance, 1.0);
}

TEST(SetTolerances, ScrollBarsStayInTheirRange) {
    CommandHarness h("tolerance-range");
    h.ws.SingleSampleTolerance = 0.01;  // maps to 101, one past the bar's end
    h.ws.AverageTolerance = 5.0;
    GetTolerancesDialog dialog(h.ws, h.ui, h.commands->Engine().PLM, h.folder / "x.ini", nullptr);
    dialog.Form_Activate();
    EXPECT_EQ(dialog.ScrollPosition, (std::array<int, 2>{100, 1}));
    EXPECT_EQ(dialog.TolText, (std::array<std::string, 2>{"0.05", "5.00"}));
}

}  // namespace
}  // namespace tintara
