#include "app/HeaderDialogs.h"

#include <gtest/gtest.h>

#include "app/ScriptedUi.h"

namespace tintara {
namespace {

using test::ScriptedUi;

GlobalVariables HeaderWorkspace() {
    GlobalVariables ws;
    ws.MasterType = "Datacolor 600";
    ws.MasterStatus = "PBII01";
    ws.MasterCompany = "Lab North";
    ws.MasterDate = "3/14/2024 9:26:53 AM";
    ws.MasterTileSetSerial = "AV-100";
    ws.MasterSerial = "M-1";
    ws.MasterOperator = "Ann";
    ws.TargetType = "X-Rite Color i7";
    ws.TargetStatus = "PBII02";
    ws.TargetCompany = "Lab South";
    ws.TargetDate = "3/15/2024";
    ws.TargetTileSetSerial = "AV-200";
    ws.TargetSerial = "T-2";
    ws.TargetOperator = "Bob";
    return ws;
}

TEST(ProfileHeaderDialog, ShowsBothColumnsWithTheirLabels) {
    GlobalVariables ws = HeaderWorkspace();
    ScriptedUi ui;
    ProfileHeaderDialog dialog(ws, ui);
    dialog.Form_Activate();
    EXPECT_EQ(dialog.TypeLabel[0], "Type:  Datacolor 600");
    EXPECT_EQ(dialog.StatusLabel[0], "Status:  PBII01");
    EXPECT_EQ(dialog.CompanyLabel[0], "Company: Lab North");
    EXPECT_EQ(dialog.DateLabel[0], "Date:  3/14/2024 9:26:53 AM");
    EXPECT_EQ(dialog.TypeLabel[1], "Type:  X-Rite Color i7");
    EXPECT_EQ(dialog.DateLabel[1], "Date:  3/15/2024");
    EXPECT_EQ(dialog.AvianText, (std::array<std::string, 2>{"AV-100", "AV-200"}));
    EXPECT_EQ(dialog.SerialText, (std::array<std::string, 2>{"M-1", "T-2"}));
    EXPECT_EQ(dialog.OperatorText, (std::array<std::string, 2>{"Ann", "Bob"}));
    // No wizard running: no wizard step.
    EXPECT_TRUE(ui.WizardSteps.empty());
}

TEST(ProfileHeaderDialog, OkCopiesTheEditsOfBothColumnsBack) {
    GlobalVariables ws = HeaderWorkspace();
    ScriptedUi ui;
    ProfileHeaderDialog dialog(ws, ui);
    dialog.Form_Activate();
    dialog.AvianText = {"AV-101", ""};
    dialog.SerialText = {"M-9", "T-9"};
    dialog.OperatorText = {"Cy", "Di, Jr."};
    dialog.OKButton_Click();
    EXPECT_TRUE(dialog.Closed());
    EXPECT_TRUE(dialog.Accepted());
    EXPECT_EQ(ws.MasterTileSetSerial, "AV-101");
    EXPECT_EQ(ws.TargetTileSetSerial, "");  // an empty field stays empty
    EXPECT_EQ(ws.MasterSerial, "M-9");
    EXPECT_EQ(ws.TargetSerial, "T-9");
    EXPECT_EQ(ws.MasterOperator, "Cy");
    EXPECT_EQ(ws.TargetOperator, "Di, Jr.");
    // The read-only fields are not touched.
    EXPECT_EQ(ws.MasterCompany, "Lab North");
    EXPECT_EQ(ws.TargetType, "X-Rite Color i7");
}

TEST(ProfileHeaderDialog, QuitKeepsTheWorkspaceAsItWas) {
    GlobalVariables ws = HeaderWorkspace();
    ScriptedUi ui;
    ProfileHeaderDialog dialog(ws, ui);
    dialog.Form_Activate();
    dialog.AvianText = {"X", "Y"};
    dialog.SerialText = {"X", "Y"};
    dialog.OperatorText = {"X", "Y"};
    dialog.QuitButton_Click();
    EXPECT_TRUE(dialog.Closed());
    EXPECT_FALSE(dialog.Accepted());
    EXPECT_EQ(ws.MasterTileSetSerial, "AV-100");
    EXPECT_EQ(ws.TargetSerial, "T-2");
    EXPECT_EQ(ws.TargetOperator, "Bob");
}

TEST(ProfileHeaderDialog, WizardStepComesOnceAndItsCancelKeepsTheDialogOpen) {
    GlobalVariables ws = HeaderWorkspace();
    ws.WizardRunning = true;
    ScriptedUi ui;
    ui.WizardAnswers = {false};
    ProfileHeaderDialog dialog(ws, ui);
    dialog.Form_Activate();
    dialog.Form_Activate();  // reactivated when the step closes
    ASSERT_EQ(ui.WizardSteps.size(), 1u);
    EXPECT_EQ(ui.WizardSteps[0].first, "Profile Header Wizard");
    EXPECT_EQ(ui.WizardSteps[0].second.rfind("\r\nIn the next window, input the information", 0),
              0u);
    EXPECT_NE(ui.WizardSteps[0].second.find("printed on all certificates."), std::string::npos);
    EXPECT_FALSE(ws.WizardProceed);
    EXPECT_FALSE(dialog.Closed());
    dialog.OKButton_Click();
    EXPECT_EQ(ws.MasterSerial, "M-1");
}

TEST(SelectGeometryDialog, OkStoresTheSelectedOption) {
    GlobalVariables ws;
    ScriptedUi ui;
    ws.GeometryChoice = true;
    SelectGeometryDialog sce(ws, ui);
    sce.Form_Activate();
    EXPECT_TRUE(sce.Option1);  // opens on the current choice
    sce.Option2_Click();
    sce.OKButton_Click();
    EXPECT_FALSE(ws.GeometryChoice);

    SelectGeometryDialog sci(ws, ui);
    sci.Form_Activate();
    EXPECT_TRUE(sci.Option2);
    sci.Option1_Click();
    EXPECT_TRUE(sci.OKButtonEnabled);
    sci.OKButton_Click();
    EXPECT_TRUE(ws.GeometryChoice);
}

TEST(SelectGeometryDialog, ClosingWithoutOkKeepsTheChoice) {
    GlobalVariables ws;
    ScriptedUi ui;
    ws.GeometryChoice = false;
    SelectGeometryDialog dialog(ws, ui);
    dialog.Form_Activate();
    dialog.Option1_Click();
    dialog.Close();
    EXPECT_TRUE(dialog.Closed());
    EXPECT_FALSE(ws.GeometryChoice);
}

TEST(SelectGeometryDialog, CancelledWizardStepClosesTheDialogAtOnce) {
    GlobalVariables ws;
    ws.WizardRunning = true;
    ws.GeometryChoice = true;
    ScriptedUi ui;
    ui.WizardAnswers = {false};
    SelectGeometryDialog dialog(ws, ui);
    dialog.Form_Activate();
    EXPECT_TRUE(dialog.Closed());
    ASSERT_EQ(ui.WizardTitles(), (std::vector<std::string>{"Profile Geometry Selector Wizard"}));
    EXPECT_NE(ui.WizardSteps[0].second.find("twice\u2014once for each status"), std::string::npos);
    EXPECT_TRUE(ws.GeometryChoice);

    // Through the window: a closed dialog is not shown.
    ScriptedUi window;
    window.WizardAnswers = {false};
    SelectGeometryDialog again(ws, window);
    window.ShowSelectGeometry(again);
    EXPECT_TRUE(window.AllAnswersUsed());
    EXPECT_TRUE(ws.GeometryChoice);
}

TEST(WizardForm, OpeningClearsProceedAndOnlyOkSetsIt) {
    GlobalVariables ws;
    ws.WizardTitle = "Some Wizard";
    ws.WizardProceed = true;
    WizardForm form(ws, "Step text.");
    form.Form_Activate();
    EXPECT_EQ(form.Caption(), "Some Wizard");
    EXPECT_FALSE(ws.WizardProceed);
    // The text starts on the second line and ends with blanks.
    EXPECT_EQ(form.WizardText().rfind("\r\nStep text.", 0), 0u);
    EXPECT_EQ(form.WizardText().back(), ' ');
    form.OKButton_Click();
    EXPECT_TRUE(ws.WizardProceed);
    EXPECT_TRUE(form.Closed());
    form.CancelButton_Click();
    EXPECT_FALSE(ws.WizardProceed);
}

TEST(WizardForm, RunWizardStepTakesTheTitleAndReturnsTheAnswer) {
    GlobalVariables ws;
    ScriptedUi ui;
    ui.WizardAnswers = {true, false};
    EXPECT_TRUE(RunWizardStep(ws, ui, "First", "one"));
    EXPECT_EQ(ws.WizardTitle, "First");
    EXPECT_FALSE(RunWizardStep(ws, ui, "Second", "two"));
    EXPECT_FALSE(ws.WizardProceed);
    EXPECT_EQ(ui.WizardTitles(), (std::vector<std::string>{"First", "Second"}));
}

}  // namespace
}  // namespace tintara
