#include "app/HeaderDialogs.h"

#include <gtest/gtest.h>

#include "app/ScriptedUi.h"

namespace tintara {
namespace {

using test::ScriptedUi;
using Texts = std::array<std::string, 2>;

TEST(ProfileHeaderDialog, ShowsBothColumnsAndOnlyOkCopiesTheEditsBack) {
    for (const bool ok : {true, false}) {
        GlobalVariables ws;
        ws.MasterType = "Datacolor 600";
        ws.MasterStatus = "PBII01";
        ws.MasterCompany = "Lab North";
        ws.MasterDate = "3/14/2024 9:26:53 AM";
        ws.TargetType = "X-Rite Color i7";
        ws.MasterTileSetSerial = "AV-100";
        ws.TargetTileSetSerial = "AV-200";
        ws.MasterSerial = "M-1";
        ws.TargetSerial = "T-2";
        ws.MasterOperator = "Ann";
        ws.TargetOperator = "Bob";
        ScriptedUi ui;
        ProfileHeaderDialog dialog(ws, ui);
        dialog.Form_Activate();
        EXPECT_EQ(dialog.TypeLabel[0] + "|" + dialog.StatusLabel[0] + "|" + dialog.CompanyLabel[0] +
                      "|" + dialog.DateLabel[0] + "|" + dialog.TypeLabel[1],
                  "Type:  Datacolor 600|Status:  PBII01|Company: Lab North|"
                  "Date:  3/14/2024 9:26:53 AM|Type:  X-Rite Color i7");
        EXPECT_EQ(
            (std::array{dialog.AvianText, dialog.SerialText, dialog.OperatorText}),
            (std::array<Texts, 3>{Texts{"AV-100", "AV-200"}, {"M-1", "T-2"}, {"Ann", "Bob"}}));
        EXPECT_TRUE(ui.WizardTitles.empty());  // no wizard running: no wizard step

        dialog.AvianText = {"AV-101", ""};
        dialog.SerialText = {"M-9", "T-9"};
        dialog.OperatorText = {"Cy", "Di, Jr."};
        ok ? dialog.OKButton_Click() : dialog.QuitButton_Click();
        EXPECT_TRUE(dialog.Closed() && dialog.Accepted() == ok);
        EXPECT_EQ(ws.MasterTileSetSerial + "|" + ws.TargetTileSetSerial + "|" + ws.MasterSerial +
                      "|" + ws.TargetSerial + "|" + ws.MasterOperator + "|" + ws.TargetOperator,
                  ok ? "AV-101||M-9|T-9|Cy|Di, Jr." : "AV-100|AV-200|M-1|T-2|Ann|Bob");
    }
}

TEST(SelectGeometryDialog, OpensOnTheChoiceOkStoresTheOptionAndClosingKeepsIt) {
    GlobalVariables ws;
    ScriptedUi ui;
    for (const bool ok : {true, false}) {
        SelectGeometryDialog dialog(ws, ui);
        dialog.Form_Activate();
        EXPECT_EQ(dialog.Option1, ws.GeometryChoice);
        ws.GeometryChoice ? dialog.Option2_Click() : dialog.Option1_Click();
        ok ? dialog.OKButton_Click() : dialog.Close();
        EXPECT_FALSE(ws.GeometryChoice) << ok;  // SCI at first: SCE after OK, kept on close
    }
    ws.WizardRunning = true;  // a cancelled wizard step closes it at once
    ui.WizardAnswers = {false};
    SelectGeometryDialog inWizard(ws, ui);
    inWizard.Form_Activate();
    EXPECT_TRUE(inWizard.Closed() && !ws.GeometryChoice);
}

}  // namespace
}  // namespace tintara
