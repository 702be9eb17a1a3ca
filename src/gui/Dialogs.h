// The modal dialogs on screen: wizard step, profile header, geometry selector, tolerances.
#pragma once

#include <QDialog>
#include <array>
#include <exception>
#include <functional>

#include "app/HeaderDialogs.h"
#include "app/ToleranceDialog.h"

class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QPushButton;
class QRadioButton;
class QScrollBar;

namespace tintara::gui {

// Each dialog presents the fields of its command-layer model and forwards every user action to
// the model's handler; none of them decides anything itself. Enter presses the default button
// (OK / Accept), Escape and the close box act as Cancel / Quit. Child widgets carry the control
// names as object names, so tests and accessibility tools find them.

// One wizard step: the step text (read-only, scrollable), OK, Cancel and the wizard picture.
class WizardForm : public QDialog {
    Q_OBJECT
  public:
    // `picture` may be empty or unreadable; the dialog then goes without it.
    WizardForm(::tintara::WizardForm& model, const QString& picture, QWidget* parent = nullptr);
    // Takes the caption from the model; call after the model's Form_Activate.
    void Load();

    void accept() override;  // OKButton_Click
    void reject() override;  // CancelButton_Click

  private:
    ::tintara::WizardForm& m_model;
    QPlainTextEdit* m_text;
};

// Master (column 0) and Target (column 1) identification with three editable fields each.
class ProfileHeader : public QDialog {
    Q_OBJECT
  public:
    ProfileHeader(ProfileHeaderDialog& model, QWidget* parent = nullptr);
    // Fills labels and boxes from the model; call after the model's Form_Activate.
    void Load();

    void accept() override;  // OKButton_Click, after the boxes are copied into the model
    void reject() override;  // QuitButton_Click

    // What the Print button does with the dialog (the window prints its picture).
    std::function<void(QWidget&)> PrintRequested;

  private:
    void CopyBoxesToModel();
    void UpdateOkButton();

    ProfileHeaderDialog& m_model;
    std::array<QLabel*, 2> m_type{}, m_status{}, m_company{}, m_date{};
    std::array<QLineEdit*, 2> m_avian{}, m_serial{}, m_operator{};
    QPushButton* m_ok;
};

// SCI (Option1) or SCE (Option2), and OK.
class SelectGeometry : public QDialog {
    Q_OBJECT
  public:
    SelectGeometry(SelectGeometryDialog& model, QWidget* parent = nullptr);
    void Load();

    void accept() override;  // OKButton_Click
    void reject() override;  // the close box: nothing stored

  private:
    SelectGeometryDialog& m_model;
    QRadioButton* m_sci;
    QRadioButton* m_sce;
    QPushButton* m_ok;
};

// "Tolerances": two limits on vertical scroll bars (1..100; the top is the widest limit) shown in
// read-only boxes, the colour space, Accept (disabled until something changes) and Cancel.
class GetTolerances : public QDialog {
    Q_OBJECT
  public:
    GetTolerances(GetTolerancesDialog& model, QWidget* parent = nullptr);
    // Mirrors the model (positions, texts, options, Accept) without firing change handlers.
    void Load();

    void accept() override;  // AcceptButton_Click; a failure is kept for Failure()
    void reject() override;  // CancelButton_Click

    // What AcceptButton_Click threw, if anything (rethrown by the caller once the dialog closed,
    // never through the event loop).
    std::exception_ptr Failure() const { return m_failure; }

  private:
    GetTolerancesDialog& m_model;
    std::array<QScrollBar*, 2> m_scroll{};
    std::array<QLineEdit*, 2> m_text{};
    QRadioButton* m_option1;
    QRadioButton* m_option2;
    QPushButton* m_accept;
    std::exception_ptr m_failure;
};

}  // namespace tintara::gui
