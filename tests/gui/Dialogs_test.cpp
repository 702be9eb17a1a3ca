// The modal dialogs as the user drives them: scroll bars, option buttons, Enter, Escape, the
// buttons, and what reaches the workspace and Profiler.ini.
#include <gtest/gtest.h>

#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QRadioButton>
#include <QScrollBar>
#include <fstream>
#include <iterator>

#include "app/HeaderDialogs.h"
#include "gui/GridView.h"
#include "gui/GuiHarness.h"

namespace tintara {
namespace {

using test::Press;
using test::WindowHarness;

void Key(QWidget& widget, int key) {
    QKeyEvent press(QEvent::KeyPress, key, Qt::NoModifier);
    QApplication::sendEvent(&widget, &press);
}

template <typename T>
T* Child(QWidget& parent, const char* name) {
    T* child = parent.findChild<T*>(QString::fromLatin1(name));
    EXPECT_NE(child, nullptr) << name;
    return child;
}

QString TolText(QWidget& d, int index) {
    return Child<QLineEdit>(d, index == 0 ? "TolText_0" : "TolText_1")->text();
}

QScrollBar* Scroll(QWidget& d, int index) {
    return Child<QScrollBar>(d, index == 0 ? "VScroll1_0" : "VScroll1_1");
}

bool AcceptEnabled(QWidget& d) {
    return Child<QPushButton>(d, "AcceptButton")->isEnabled();
}

std::string FileText(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

// ---- Tolerances ----

TEST(TolerancesDialog, ScrollBarsSetTheLimitsAndEnterAcceptsOnlyAfterAChange) {
    WindowHarness h("tol-scroll");
    h.Dialogs.push_back([](QDialog& d) {
        EXPECT_EQ(d.windowTitle(), "Tolerances");
        EXPECT_EQ(Child<QLabel>(d, "Label1_0")->text(), "Single Tile DE Limit is -->");
        EXPECT_EQ(Child<QLabel>(d, "Label1_1")->text(), "Average Tile DE Limit -->");
        // 0.5 DE sits at position 101 - 20 * 0.5 = 91.
        EXPECT_EQ(Scroll(d, 0)->value(), 91);
        EXPECT_EQ(Scroll(d, 0)->minimum(), 1);
        EXPECT_EQ(Scroll(d, 0)->maximum(), 100);
        EXPECT_EQ(TolText(d, 0), "0.50");
        EXPECT_EQ(TolText(d, 1), "0.50");
        EXPECT_TRUE(Child<QLineEdit>(d, "TolText_0")->isReadOnly());
        EXPECT_TRUE(Child<QRadioButton>(d, "Option1")->isChecked());
        EXPECT_FALSE(AcceptEnabled(d));
        Key(d, Qt::Key_Return);  // nothing to accept yet
        EXPECT_TRUE(d.isVisible());

        Scroll(d, 0)->setValue(1);  // the top of the bar is the widest limit
        EXPECT_EQ(TolText(d, 0), "5.00");
        EXPECT_EQ(TolText(d, 1), "0.50");
        EXPECT_TRUE(AcceptEnabled(d));
        Scroll(d, 1)->triggerAction(QAbstractSlider::SliderSingleStepAdd);  // one step down
        EXPECT_EQ(TolText(d, 1), "0.45");
        Scroll(d, 1)->setValue(100);
        EXPECT_EQ(TolText(d, 1), "0.05");
        Key(d, Qt::Key_Return);
    });
    // The Generate menu is still disabled with nothing loaded; the command itself is the subject.
    h.window->Dispatch(CommandId::SetTolerances);
    EXPECT_TRUE(h.Dialogs.empty());
    EXPECT_DOUBLE_EQ(h.ws.SingleSampleTolerance, 5.0);
    EXPECT_DOUBLE_EQ(h.ws.AverageTolerance, 0.05);
    const ToleranceReadResult stored = ReadTolerances(h.folder / "Profiler.ini");
    EXPECT_FALSE(stored.ErrorNoted) << stored.Detail;
    EXPECT_DOUBLE_EQ(stored.Settings.SingleSampleTolerance, 5.0);
    EXPECT_DOUBLE_EQ(stored.Settings.AverageTolerance, 0.05);
    EXPECT_EQ(stored.Settings.ColorSpace, 0);
    EXPECT_TRUE(h.Messages.empty());  // the colour space did not change
}

TEST(TolerancesDialog, EscapeAndCancelStoreNothing) {
    WindowHarness h("tol-cancel");
    const std::string before = FileText(h.folder / "Profiler.ini");
    h.Dialogs.push_back([](QDialog& d) {
        Scroll(d, 0)->setValue(10);
        Child<QRadioButton>(d, "Option2")->click();
        Key(d, Qt::Key_Escape);
    });
    h.Dialogs.push_back([](QDialog& d) {
        Scroll(d, 1)->setValue(20);
        Press(d, "CancelButton");
    });
    h.window->Dispatch(CommandId::SetTolerances);
    h.window->Dispatch(CommandId::SetTolerances);
    EXPECT_TRUE(h.Dialogs.empty());
    EXPECT_DOUBLE_EQ(h.ws.SingleSampleTolerance, 0.5);
    EXPECT_DOUBLE_EQ(h.ws.AverageTolerance, 0.5);
    EXPECT_EQ(h.ws.ColorSpace, 0);
    EXPECT_EQ(FileText(h.folder / "Profiler.ini"), before);
}

TEST(TolerancesDialog, ColourSpaceChangeClearsTheGridAndAsksForAReload) {
    WindowHarness h("tol-space");
    h.LoadTileSets(test::WriteDemo(h.folder));
    ASSERT_TRUE(h.window->Grid()->isVisible());

    h.Dialogs.push_back([](QDialog& d) {
        Child<QRadioButton>(d, "Option2")->click();
        EXPECT_TRUE(AcceptEnabled(d));
        EXPECT_EQ(TolText(d, 0), "0.50");  // the limits stay as they were
        Press(d, "AcceptButton");
    });
    h.Pick(CommandId::SetTolerances);
    ASSERT_EQ(h.Messages.size(), 1u);
    EXPECT_EQ(h.Messages[0].Title, "Color Space has changed");
    EXPECT_EQ(h.Messages[0].Text, "SaveSet Data must be reloaded using the new Color Space");
    EXPECT_EQ(h.ws.ColorSpace, 2);
    EXPECT_EQ(ReadTolerances(h.folder / "Profiler.ini").Settings.ColorSpace, 2);
    EXPECT_FALSE(h.window->Grid()->isVisible());
    EXPECT_FALSE(h.window->Button(CommandId::DisplayCommand)->isVisible());

    // Accepting the same colour space again says nothing.
    h.Dialogs.push_back([](QDialog& d) {
        EXPECT_TRUE(Child<QRadioButton>(d, "Option2")->isChecked());
        Child<QRadioButton>(d, "Option2")->click();
        Press(d, "AcceptButton");
    });
    h.Pick(CommandId::SetTolerances);
    EXPECT_EQ(h.Messages.size(), 1u);
}

TEST(TolerancesDialog, SmallestStoredLimitOpensAtTheEndOfTheBar) {
    WindowHarness h("tol-small", false);
    WriteTolerances(h.folder / "Profiler.ini", ToleranceSettings{0.01, 5.0, 2});
    // Re-read through a fresh start, as the program would on its next run.
    GlobalVariables ws;
    gui::Profiler w(ws, QString::fromStdString(h.folder.string()));
    w.Ui().MessagePresenter = [](const MessageBoxRequest& r) -> int16_t {
        ADD_FAILURE() << r.Title << ": " << r.Text;
        return kResultOk;
    };
    bool seen = false;
    w.Ui().DialogObserver = [&](QDialog& d) {
        seen = true;
        EXPECT_EQ(Scroll(d, 0)->value(), 100);
        EXPECT_EQ(TolText(d, 0), "0.05");
        EXPECT_EQ(Scroll(d, 1)->value(), 1);
        EXPECT_EQ(TolText(d, 1), "5.00");
        EXPECT_TRUE(Child<QRadioButton>(d, "Option2")->isChecked());
        EXPECT_FALSE(AcceptEnabled(d));
        d.reject();
    };
    w.Start("");
    w.Dispatch(CommandId::SetTolerances);
    EXPECT_TRUE(seen);
    EXPECT_DOUBLE_EQ(ws.SingleSampleTolerance, 0.01);
}

// ---- Profile header ----

void FillHeaderFields(GlobalVariables& ws) {
    ws.MasterType = "X-Rite Ci7800";
    ws.TargetType = "X-Rite Ci64uv";
    ws.MasterStatus = "RCIIXX";
    ws.TargetStatus = "RCIIXX";
    ws.MasterCompany = "Lab A";
    ws.TargetCompany = "Lab B";
    ws.MasterSerial = "M-1";
    ws.TargetSerial = "T-1";
    ws.MasterOperator = "Ann";
    ws.TargetOperator = "Bo";
    ws.MasterTileSetSerial = "CTS-1";
    ws.TargetTileSetSerial = "CTS-2";
}

TEST(ProfileHeaderDialog, ShowsBothColumnsAndOnlyOkCopiesTheEdits) {
    WindowHarness h("header");
    FillHeaderFields(h.ws);
    gui::QtUserInterface& ui = h.window->Ui();

    // Quit (here by Escape) keeps the workspace as it was.
    h.Dialogs.push_back([](QDialog& d) {
        EXPECT_EQ(d.objectName(), "ProfileHeader");
        EXPECT_EQ(Child<QLabel>(d, "TypeLabel_0")->text(), "Type:  X-Rite Ci7800");
        EXPECT_EQ(Child<QLabel>(d, "StatusLabel_1")->text(), "Status:  RCIIXX");
        EXPECT_EQ(Child<QLabel>(d, "CompanyLabel_1")->text(), "Company: Lab B");
        EXPECT_EQ(Child<QLineEdit>(d, "AvianText_0")->text(), "CTS-1");
        EXPECT_EQ(Child<QLineEdit>(d, "SerialText_1")->text(), "T-1");
        Child<QLineEdit>(d, "OperatorText_0")->setText("Changed");
        Key(d, Qt::Key_Escape);
    });
    {
        ProfileHeaderDialog model(h.ws, ui);
        ui.ShowProfileHeader(model);
        EXPECT_TRUE(model.Closed());
        EXPECT_FALSE(model.Accepted());
    }
    EXPECT_EQ(h.ws.MasterOperator, "Ann");

    // Edits in both columns, an emptied field, then Enter for OK.
    h.Dialogs.push_back([](QDialog& d) {
        Child<QLineEdit>(d, "AvianText_1")->setText("CTS-9");
        Child<QLineEdit>(d, "SerialText_0")->setText("");
        Child<QLineEdit>(d, "OperatorText_1")->setText("Cy");
        Key(d, Qt::Key_Return);
    });
    {
        ProfileHeaderDialog model(h.ws, ui);
        ui.ShowProfileHeader(model);
        EXPECT_TRUE(model.Accepted());
    }
    EXPECT_EQ(h.ws.TargetTileSetSerial, "CTS-9");
    EXPECT_EQ(h.ws.MasterSerial, "");
    EXPECT_EQ(h.ws.TargetOperator, "Cy");
    EXPECT_EQ(h.ws.MasterOperator, "Ann");
}

TEST(ProfileHeaderDialog, PrintButtonPrintsTheDialogAndLeavesItOpen) {
    WindowHarness h("header-print");
    FillHeaderFields(h.ws);
    h.PrintFile = "header.pdf";
    h.Dialogs.push_back([](QDialog& d) {
        Press(d, "PrintButton");
        EXPECT_TRUE(d.isVisible());
        Press(d, "OKButton");
    });
    ProfileHeaderDialog model(h.ws, h.window->Ui());
    h.window->Ui().ShowProfileHeader(model);
    EXPECT_TRUE(model.Accepted());
    EXPECT_EQ(h.PrintDialogs, 1);
    const std::string pdf = FileText(h.folder / "header.pdf");
    ASSERT_GT(pdf.size(), 1000u);
    EXPECT_EQ(pdf.substr(0, 5), "%PDF-");
}

// ---- Geometry and wizard step ----

TEST(SelectGeometryDialog, SceWithEnterStoresFalseAndTheCloseBoxStoresNothing) {
    WindowHarness h("geometry");
    gui::QtUserInterface& ui = h.window->Ui();
    h.ws.GeometryChoice = true;
    h.Dialogs.push_back([](QDialog& d) {
        EXPECT_TRUE(Child<QRadioButton>(d, "Option1")->isChecked());
        Child<QRadioButton>(d, "Option2")->click();
        Key(d, Qt::Key_Return);
    });
    {
        SelectGeometryDialog model(h.ws, ui);
        ui.ShowSelectGeometry(model);
    }
    EXPECT_FALSE(h.ws.GeometryChoice);

    h.Dialogs.push_back([](QDialog& d) {
        Child<QRadioButton>(d, "Option1")->click();
        d.close();
    });
    {
        SelectGeometryDialog model(h.ws, ui);
        ui.ShowSelectGeometry(model);
        EXPECT_TRUE(model.Closed());
    }
    EXPECT_FALSE(h.ws.GeometryChoice);
}

TEST(SelectGeometryDialog, CancelledWizardStepNeverShowsTheSelector) {
    WindowHarness h("geometry-wizard");
    h.ws.WizardRunning = true;
    h.Dialogs.push_back([](QDialog& d) {
        EXPECT_EQ(d.objectName(), "WizardForm");
        EXPECT_EQ(d.windowTitle(), "Profile Geometry Selector Wizard");
        Press(d, "CancelButton");
    });
    SelectGeometryDialog model(h.ws, h.window->Ui());
    h.window->Ui().ShowSelectGeometry(model);
    EXPECT_TRUE(model.Closed());
    EXPECT_EQ(h.DialogNames, std::vector<std::string>{"WizardForm"});
}

TEST(WizardFormDialog, ShowsTitleAndTextAndAnswersWithEnterOrEscape) {
    WindowHarness h("wizard");
    gui::QtUserInterface& ui = h.window->Ui();
    h.Dialogs.push_back([](QDialog& d) {
        EXPECT_EQ(d.windowTitle(), "Step One");
        const QString text = Child<QPlainTextEdit>(d, "WizardText")->toPlainText();
        EXPECT_TRUE(text.startsWith("\nPress OK to go on."));
        EXPECT_TRUE(Child<QPlainTextEdit>(d, "WizardText")->isReadOnly());
        Key(d, Qt::Key_Return);
    });
    EXPECT_TRUE(RunWizardStep(h.ws, ui, "Step One", "Press OK to go on."));
    h.Dialogs.push_back([](QDialog& d) { Key(d, Qt::Key_Escape); });
    EXPECT_FALSE(RunWizardStep(h.ws, ui, "Step Two", "Or not."));
    h.Dialogs.push_back([](QDialog& d) { d.close(); });
    EXPECT_FALSE(RunWizardStep(h.ws, ui, "Step Three", "Close box."));
    EXPECT_TRUE(h.Dialogs.empty());
}

TEST(WizardFormDialog, CancellingTheFirstProfileStepChangesNothingButTheRunningFlag) {
    WindowHarness h("wizard-cancel");
    h.Dialogs.push_back([](QDialog& d) {
        EXPECT_EQ(d.windowTitle(), "Profile Wizard");
        Press(d, "CancelButton");
    });
    h.Pick(CommandId::WizardProfile);
    EXPECT_FALSE(h.ws.WizardRunning);
    EXPECT_FALSE(h.ws.MasterTileSetLoaded);
    EXPECT_TRUE(h.FileRequests.empty());
    EXPECT_TRUE(h.Messages.empty());
}

}  // namespace
}  // namespace tintara
