// The modal dialogs as the user drives them: scroll bars, option buttons, Enter, Escape, the close
// box, and what reaches the workspace and Profiler.ini.
#include <gtest/gtest.h>

#include <QKeyEvent>
#include <QLineEdit>
#include <QRadioButton>
#include <QScrollBar>

#include "app/HeaderDialogs.h"
#include "gui/GuiHarness.h"

namespace tintara {
namespace {

using test::Child;
using test::Press;

void Key(QWidget& widget, int key) {
    QKeyEvent press(QEvent::KeyPress, key, Qt::NoModifier);
    QApplication::sendEvent(&widget, &press);
}

QScrollBar* Scroll(QWidget& d, int i) {
    return Child<QScrollBar>(d, i ? "VScroll1_1" : "VScroll1_0");
}
QString Limit(QWidget& d, int i) {
    return Child<QLineEdit>(d, i ? "TolText_1" : "TolText_0")->text();
}

TEST(TolerancesDialog, ScrollBarsSetTheLimitsAndOnlyAcceptStoresThem) {
    test::WindowHarness h("tolerances");
    const auto ini = h.folder / "Profiler.ini";
    h.Dialogs.push_back([](QDialog& d) {
        Scroll(d, 0)->setValue(10);
        Child<QRadioButton>(d, "Option2")->click();
        Press(d, "CancelButton");
    });
    h.Dialogs.push_back([](QDialog& d) {
        // 0.5 DE sits at position 101 - 20 * 0.5 = 91 of 1..100; the top is the widest limit.
        EXPECT_EQ(Scroll(d, 0)->value(), 91);
        EXPECT_EQ(std::pair(Scroll(d, 0)->minimum(), Scroll(d, 0)->maximum()), std::pair(1, 100));
        EXPECT_EQ(Limit(d, 0), "0.50");
        EXPECT_FALSE(Child<QPushButton>(d, "AcceptButton")->isEnabled());
        Key(d, Qt::Key_Return);  // nothing to accept yet
        EXPECT_TRUE(d.isVisible());

        Scroll(d, 0)->setValue(1);
        EXPECT_EQ(Limit(d, 0), "5.00");
        EXPECT_EQ(Limit(d, 1), "0.50");
        EXPECT_TRUE(Child<QPushButton>(d, "AcceptButton")->isEnabled());
        Scroll(d, 1)->triggerAction(QAbstractSlider::SliderSingleStepAdd);  // one step down
        EXPECT_EQ(Limit(d, 1), "0.45");
        Scroll(d, 1)->setValue(100);
        EXPECT_EQ(Limit(d, 1), "0.05");
        Key(d, Qt::Key_Return);
    });
    // The Generate menu is disabled with nothing loaded; the command itself is the subject.
    h.window->Dispatch(CommandId::SetTolerances);
    EXPECT_DOUBLE_EQ(h.ws.SingleSampleTolerance, 0.5);
    EXPECT_EQ(h.ws.ColorSpace, 0);
    EXPECT_EQ(ReadTolerances(ini).Settings, ToleranceSettings{});

    h.window->Dispatch(CommandId::SetTolerances);
    EXPECT_DOUBLE_EQ(h.ws.SingleSampleTolerance, 5.0);
    EXPECT_DOUBLE_EQ(h.ws.AverageTolerance, 0.05);
    EXPECT_EQ(ReadTolerances(ini).Settings, (ToleranceSettings{5.0, 0.05, 0}));
    EXPECT_TRUE(h.Messages.empty());  // the colour space did not change
}

TEST(ModalDialogs, EnterAnswersOkWhileEscapeAndTheCloseBoxChangeNothing) {
    test::WindowHarness h("modal");
    gui::QtUserInterface& ui = h.window->Ui();
    h.ws.MasterOperator = "Ann";
    h.Dialogs.push_back([](QDialog& d) {
        Child<QLineEdit>(d, "OperatorText_0")->setText("Changed");
        Key(d, Qt::Key_Escape);
    });
    h.Dialogs.push_back([](QDialog& d) {
        EXPECT_EQ(Child<QLineEdit>(d, "OperatorText_0")->text(), "Ann");
        Press(d, "PrintButton");  // prints the dialog and leaves it open
        Child<QLineEdit>(d, "OperatorText_0")->setText("Bo");
        Key(d, Qt::Key_Return);
    });
    for (const char* stored : {"Ann", "Bo"}) {
        ProfileHeaderDialog model(h.ws, ui);
        ui.ShowProfileHeader(model);
        EXPECT_EQ(h.ws.MasterOperator, stored);
    }
    EXPECT_GT(std::filesystem::file_size(h.folder / "printed.pdf"), 1000u);

    // Geometry: Enter stores SCE, the close box stores nothing.
    h.ws.GeometryChoice = true;
    h.Dialogs.push_back([](QDialog& d) {
        Child<QRadioButton>(d, "Option2")->click();
        Key(d, Qt::Key_Return);
    });
    h.Dialogs.push_back([](QDialog& d) {
        Child<QRadioButton>(d, "Option1")->click();
        d.close();
    });
    for (int round = 0; round < 2; ++round) {
        SelectGeometryDialog model(h.ws, ui);
        ui.ShowSelectGeometry(model);
        EXPECT_FALSE(h.ws.GeometryChoice);
    }
}

}  // namespace
}  // namespace tintara
