#include "gui/Dialogs.h"

#include <QDialogButtonBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPixmap>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QScrollBar>
#include <QSignalBlocker>
#include <QVBoxLayout>

#include "engine/Tolerances.h"

namespace tintara::gui {

namespace {

QString FromModel(const std::string& text) {
    // The models keep the host's CR LF line breaks.
    return QString::fromStdString(text).replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
}

QPushButton* MakeButton(const QString& caption, const char* name, QWidget* parent) {
    auto* button = new QPushButton(caption, parent);
    button->setObjectName(QString::fromLatin1(name));
    button->setAutoDefault(false);
    return button;
}

}  // namespace

// ---- WizardForm ----

WizardForm::WizardForm(::tintara::WizardForm& model, const QString& picture, QWidget* parent)
    : QDialog(parent), m_model(model), m_text(new QPlainTextEdit(this)) {
    setObjectName(QStringLiteral("WizardForm"));
    setModal(true);
    m_text->setObjectName(QStringLiteral("WizardText"));
    m_text->setReadOnly(true);
    m_text->setPlainText(FromModel(model.WizardText()));
    m_text->setMinimumSize(420, 200);

    auto* image = new QLabel(this);
    image->setObjectName(QStringLiteral("Image1"));
    const QPixmap pixmap(picture);
    if (!pixmap.isNull()) {
        // The picture is wide; the wizard shows its colourful right-hand part.
        const QPixmap scaled =
            pixmap.scaled(160, 240, Qt::KeepAspectRatioByExpanding, Qt::SmoothTransformation);
        image->setPixmap(scaled.copy((scaled.width() - 160) * 3 / 4, 0, 160, 240));
    }
    image->setFixedSize(160, 240);
    image->setFrameShape(QFrame::StyledPanel);

    auto* ok = MakeButton(tr("OK"), "OKButton", this);
    auto* cancel = MakeButton(tr("Cancel"), "CancelButton", this);
    ok->setDefault(true);
    connect(ok, &QPushButton::clicked, this, &QDialog::accept);
    connect(cancel, &QPushButton::clicked, this, &QDialog::reject);

    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    buttons->addWidget(ok);
    buttons->addWidget(cancel);
    auto* right = new QVBoxLayout;
    right->addWidget(m_text, 1);
    right->addLayout(buttons);
    auto* layout = new QHBoxLayout(this);
    layout->addWidget(image, 0, Qt::AlignTop);
    layout->addLayout(right, 1);
    ok->setFocus();
}

void WizardForm::Load() {
    setWindowTitle(QString::fromStdString(m_model.Caption()));
}

void WizardForm::accept() {
    m_model.OKButton_Click();
    QDialog::accept();
}

void WizardForm::reject() {
    m_model.CancelButton_Click();
    QDialog::reject();
}

// ---- ProfileHeader ----

ProfileHeader::ProfileHeader(ProfileHeaderDialog& model, QWidget* parent)
    : QDialog(parent), m_model(model) {
    setObjectName(QStringLiteral("ProfileHeader"));
    setWindowTitle(tr("Profile Header"));
    setModal(true);

    auto* grid = new QGridLayout;
    const std::array<QString, 2> heads{tr("Master Instrument"), tr("Target Instrument")};
    const std::array<const char*, 2> suffix{"0", "1"};
    auto named = [](QWidget* w, const char* base, const char* index) {
        w->setObjectName(QString::fromLatin1(base) + QLatin1Char('_') + QLatin1String(index));
    };
    for (int i = 0; i < 2; ++i) {
        const int col = 1 + i;
        auto* head = new QLabel(QStringLiteral("<b>%1</b>").arg(heads[i]), this);
        grid->addWidget(head, 0, col);
        m_type[i] = new QLabel(this);
        m_status[i] = new QLabel(this);
        m_company[i] = new QLabel(this);
        m_date[i] = new QLabel(this);
        named(m_type[i], "TypeLabel", suffix[i]);
        named(m_status[i], "StatusLabel", suffix[i]);
        named(m_company[i], "CompanyLabel", suffix[i]);
        named(m_date[i], "DateLabel", suffix[i]);
        grid->addWidget(m_type[i], 1, col);
        grid->addWidget(m_status[i], 2, col);
        grid->addWidget(m_company[i], 3, col);
        grid->addWidget(m_date[i], 4, col);
        m_avian[i] = new QLineEdit(this);
        m_serial[i] = new QLineEdit(this);
        m_operator[i] = new QLineEdit(this);
        named(m_avian[i], "AvianText", suffix[i]);
        named(m_serial[i], "SerialText", suffix[i]);
        named(m_operator[i], "OperatorText", suffix[i]);
        for (QLineEdit* box : {m_avian[i], m_serial[i], m_operator[i]})
            box->setMinimumWidth(220);
        grid->addWidget(m_avian[i], 5, col);
        grid->addWidget(m_serial[i], 6, col);
        grid->addWidget(m_operator[i], 7, col);
        connect(m_serial[i], &QLineEdit::textEdited, this, [this, i](const QString& text) {
            m_model.SerialText[i] = text.toStdString();
            m_model.SerialText_Change(i);
            UpdateOkButton();
        });
        connect(m_operator[i], &QLineEdit::textEdited, this, [this, i](const QString& text) {
            m_model.OperatorText[i] = text.toStdString();
            m_model.OperatorText_Change(i);
            UpdateOkButton();
        });
        connect(m_avian[i], &QLineEdit::textEdited, this,
                [this, i](const QString& text) { m_model.AvianText[i] = text.toStdString(); });
    }
    grid->addWidget(new QLabel(tr("Tile Set Serial #"), this), 5, 0);
    grid->addWidget(new QLabel(tr("Instrument Serial #"), this), 6, 0);
    grid->addWidget(new QLabel(tr("Operator"), this), 7, 0);

    m_ok = MakeButton(tr("OK"), "OKButton", this);
    auto* print = MakeButton(tr("Print"), "PrintButton", this);
    auto* quit = MakeButton(tr("Quit"), "QuitButton", this);
    m_ok->setDefault(true);
    connect(m_ok, &QPushButton::clicked, this, &QDialog::accept);
    connect(quit, &QPushButton::clicked, this, &QDialog::reject);
    connect(print, &QPushButton::clicked, this, [this] {
        if (PrintRequested)
            PrintRequested(*this);
    });
    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    buttons->addWidget(m_ok);
    buttons->addWidget(print);
    buttons->addWidget(quit);

    auto* layout = new QVBoxLayout(this);
    layout->addLayout(grid);
    layout->addSpacing(8);
    layout->addLayout(buttons);
}

void ProfileHeader::Load() {
    for (int i = 0; i < 2; ++i) {
        m_type[i]->setText(QString::fromStdString(m_model.TypeLabel[i]));
        m_status[i]->setText(QString::fromStdString(m_model.StatusLabel[i]));
        m_company[i]->setText(QString::fromStdString(m_model.CompanyLabel[i]));
        m_date[i]->setText(QString::fromStdString(m_model.DateLabel[i]));
        m_avian[i]->setText(QString::fromStdString(m_model.AvianText[i]));
        m_serial[i]->setText(QString::fromStdString(m_model.SerialText[i]));
        m_operator[i]->setText(QString::fromStdString(m_model.OperatorText[i]));
    }
    UpdateOkButton();
}

void ProfileHeader::UpdateOkButton() {
    m_ok->setEnabled(m_model.OKButtonEnabled);
}

void ProfileHeader::CopyBoxesToModel() {
    for (int i = 0; i < 2; ++i) {
        m_model.AvianText[i] = m_avian[i]->text().toStdString();
        m_model.SerialText[i] = m_serial[i]->text().toStdString();
        m_model.OperatorText[i] = m_operator[i]->text().toStdString();
    }
}

void ProfileHeader::accept() {
    if (!m_ok->isEnabled())
        return;
    CopyBoxesToModel();
    m_model.OKButton_Click();
    QDialog::accept();
}

void ProfileHeader::reject() {
    m_model.QuitButton_Click();
    QDialog::reject();
}

// ---- SelectGeometry ----

SelectGeometry::SelectGeometry(SelectGeometryDialog& model, QWidget* parent)
    : QDialog(parent), m_model(model) {
    setObjectName(QStringLiteral("SelectGeometry"));
    setWindowTitle(tr("Select Geometry"));
    setModal(true);
    auto* frame = new QGroupBox(tr("Specular Component"), this);
    frame->setObjectName(QStringLiteral("Frame1"));
    m_sci = new QRadioButton(tr("SCI (specular included)"), frame);
    m_sce = new QRadioButton(tr("SCE (specular excluded)"), frame);
    m_sci->setObjectName(QStringLiteral("Option1"));
    m_sce->setObjectName(QStringLiteral("Option2"));
    auto* frameLayout = new QVBoxLayout(frame);
    frameLayout->addWidget(m_sci);
    frameLayout->addWidget(m_sce);
    connect(m_sci, &QRadioButton::clicked, this, [this] {
        m_model.Option1_Click();
        m_ok->setEnabled(m_model.OKButtonEnabled);
    });
    connect(m_sce, &QRadioButton::clicked, this, [this] {
        m_model.Option2_Click();
        m_ok->setEnabled(m_model.OKButtonEnabled);
    });
    m_ok = MakeButton(tr("OK"), "OKButton", this);
    m_ok->setDefault(true);
    connect(m_ok, &QPushButton::clicked, this, &QDialog::accept);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(frame);
    layout->addWidget(m_ok, 0, Qt::AlignRight);
}

void SelectGeometry::Load() {
    m_sci->setChecked(m_model.Option1);
    m_sce->setChecked(m_model.Option2);
    m_ok->setEnabled(m_model.OKButtonEnabled);
}

void SelectGeometry::accept() {
    if (!m_ok->isEnabled())
        return;
    m_model.OKButton_Click();
    QDialog::accept();
}

void SelectGeometry::reject() {
    m_model.Close();
    QDialog::reject();
}

// ---- GetTolerances ----

GetTolerances::GetTolerances(GetTolerancesDialog& model, QWidget* parent)
    : QDialog(parent), m_model(model) {
    setObjectName(QStringLiteral("GetTolerances"));
    setWindowTitle(QString::fromLatin1(GetTolerancesDialog::kCaption));
    setModal(true);

    auto* rows = new QGridLayout;
    for (int i = 0; i < 2; ++i) {
        const QString index = QString::number(i);
        auto* caption = new QLabel(QString::fromLatin1(GetTolerancesDialog::kRowCaptions[i]), this);
        caption->setObjectName(QStringLiteral("Label1_") + index);
        m_text[i] = new QLineEdit(this);
        m_text[i]->setObjectName(QStringLiteral("TolText_") + index);
        m_text[i]->setReadOnly(true);
        m_text[i]->setAlignment(Qt::AlignRight);
        m_text[i]->setFixedWidth(70);
        m_text[i]->setFocusPolicy(Qt::NoFocus);
        m_scroll[i] = new QScrollBar(Qt::Vertical, this);
        m_scroll[i]->setObjectName(QStringLiteral("VScroll1_") + index);
        m_scroll[i]->setRange(kScrollMinimum, kScrollMaximum);
        m_scroll[i]->setSingleStep(1);
        m_scroll[i]->setPageStep(10);
        m_scroll[i]->setFixedHeight(90);
        rows->addWidget(caption, i, 0);
        rows->addWidget(m_text[i], i, 1);
        rows->addWidget(m_scroll[i], i, 2);
        connect(m_scroll[i], &QScrollBar::valueChanged, this, [this, i](int position) {
            m_model.VScroll1_Change(i, position);
            Load();
        });
    }

    auto* frame = new QGroupBox(QStringLiteral("ColorSpace"), this);
    frame->setObjectName(QStringLiteral("Frame1"));
    m_option1 = new QRadioButton(QStringLiteral("CIE Lab"), frame);
    m_option2 = new QRadioButton(QStringLiteral("Hunter Lab"), frame);
    m_option1->setObjectName(QStringLiteral("Option1"));
    m_option2->setObjectName(QStringLiteral("Option2"));
    auto* frameLayout = new QHBoxLayout(frame);
    frameLayout->addWidget(m_option1);
    frameLayout->addWidget(m_option2);
    connect(m_option1, &QRadioButton::clicked, this, [this] {
        m_model.Option1_Click();
        Load();
    });
    connect(m_option2, &QRadioButton::clicked, this, [this] {
        m_model.Option2_Click();
        Load();
    });

    m_accept = MakeButton(QStringLiteral("Accept"), "AcceptButton", this);
    auto* cancel = MakeButton(QStringLiteral("Cancel"), "CancelButton", this);
    m_accept->setDefault(true);
    connect(m_accept, &QPushButton::clicked, this, &QDialog::accept);
    connect(cancel, &QPushButton::clicked, this, &QDialog::reject);
    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    buttons->addWidget(m_accept);
    buttons->addWidget(cancel);

    auto* layout = new QVBoxLayout(this);
    layout->addLayout(rows);
    layout->addWidget(frame);
    layout->addLayout(buttons);
}

void GetTolerances::Load() {
    for (int i = 0; i < 2; ++i) {
        const QSignalBlocker block(m_scroll[i]);
        m_scroll[i]->setValue(m_model.ScrollPosition[i]);
        m_text[i]->setText(QString::fromStdString(m_model.TolText[i]));
    }
    {
        const QSignalBlocker block1(m_option1);
        const QSignalBlocker block2(m_option2);
        m_option1->setChecked(m_model.Option1);
        m_option2->setChecked(m_model.Option2);
    }
    m_accept->setEnabled(m_model.AcceptButtonEnabled);
}

void GetTolerances::accept() {
    if (!m_accept->isEnabled())
        return;
    try {
        m_model.AcceptButton_Click();
    } catch (...) {
        // Never let an exception cross the event loop; the caller rethrows it after exec().
        m_failure = std::current_exception();
    }
    QDialog::accept();
}

void GetTolerances::reject() {
    m_model.CancelButton_Click();
    QDialog::reject();
}

}  // namespace tintara::gui
