// Coefficient generation, the coefficient file commands and the profile's printed outputs.
#include <exception>
#include <filesystem>
#include <system_error>

#include "app/FileChecks.h"
#include "app/HeaderDialogs.h"
#include "app/ProfilerCommands.h"
#include "engine/ProfileSequence.h"
#include "files/CCFReadWrite.h"
#include "report/PrintCertificate.h"
#include "report/ProfileReport.h"
#include "report/ReportText.h"
#include "workspace/Error.h"
#include "workspace/StatusText.h"

namespace tintara {

namespace {

// Between the phases the grid follows the run only when ShowPhaseProgress is set.
class PaintPhaseDisplay : public PhaseDisplay {
  public:
    explicit PaintPhaseDisplay(Paint& paint) : m_paint(paint) {}
    void RefreshDisplay() override { m_paint.RefreshDisplay(); }
    void IndicateCell(int16_t column) override { m_paint.IndicateCell(column); }

  private:
    Paint& m_paint;
};

}  // namespace

void ProfilerCommands::ProfileHeader() {
    ProfileHeaderDialog dialog(m_ws, m_ui);
    m_ui.ShowProfileHeader(dialog);
}

void ProfilerCommands::SelectGeometry() {
    SelectGeometryDialog dialog(m_ws, m_ui);
    m_ui.ShowSelectGeometry(dialog);
}

void ProfilerCommands::GenerateCCF_Click() {
    Guarded([&] {
        // Only "E" (excluded) is refused; a status too short to say, or any other letter, passes.
        if (!UvExempt(m_ws.MasterInstrumentID) && !UvExempt(m_ws.TargetInstrumentID) &&
            m_ws.MasterTilesSelected && m_ws.TargetTilesSelected &&
            (StatusCode(m_ws.MasterStatus).UvExcluded() ||
             StatusCode(m_ws.TargetStatus).UvExcluded())) {
            Message("Status Error",
                    "The Master and Target instruments must be set to UV Component Included",
                    MessageIcon::None);
            m_ws.ProfileStatusError = true;
            return;
        }
        m_ws.ProfileStatusError = false;

        if (!m_ws.MasterTilesSelected || !m_ws.TargetTilesSelected) {
            Message("Data Error", "Master and Target Instrument data has NOT been selected");
            return;
        }

        m_ui.LetEventsRun();
        // Quitting the header dialog keeps the old header texts; the run goes on either way.
        ProfileHeader();
        m_ui.LetEventsRun();

        if (StatusCode(m_ws.MasterStatus).GeometryLetter() !=
            StatusCode(m_ws.TargetStatus).GeometryLetter()) {
            Message("Data Error", "The Master and Target status do NOT Match");
            return;
        }

        m_paint.Window = m_ui.WindowArea();
        PaintPhaseDisplay display(m_paint);
        ProfileSequence(m_utility, &display);

        m_ws.CoefficientsCalculated = true;
        m_menu.SetEnabled(CommandId::ToPrinter, true);
        m_menu.SetEnabled(CommandId::SaveCoefficients, true);
        if (m_ws.CoefficientsGenerated)
            m_menu.SetEnabled(CommandId::SaveCoefficients, false);
        UpdateCommandState(m_ws, m_menu);

        if (m_ws.GeometryChoice) {
            m_ws.SCIProfileDate = Clock();
        } else {
            m_ws.SCEProfileDate = Clock();
        }

        if (!m_ws.ShowPhaseProgress) {
            m_paint.RefreshAvianDisplay();
            ShowInstrumentPanels();
            ShowGridButtons();
        }
    });
}

std::string ProfilerCommands::MergeQuestion(const std::string& file) const {
    std::error_code error;
    if (!std::filesystem::exists(file, error))
        return "";
    CoefficientFileContents old;
    try {
        old = ParseCoefficientFile(std::filesystem::path(file));
    } catch (const std::exception&) {
        return "";  // the writer refuses it with the reason
    }
    if (old.Master.InstrumentID != m_ws.MasterInstrumentID ||
        old.Target.InstrumentID != m_ws.TargetInstrumentID) {
        return "";  // refused by the writer: another instrument pair
    }
    const bool sci = m_ws.GeometryChoice;
    const std::string mine = sci ? "SCI" : "SCE", other = sci ? "SCE" : "SCI";
    const bool minePresent = sci ? old.SCIPresent : old.SCEPresent;
    const bool otherPresent = sci ? old.SCEPresent : old.SCIPresent;
    const std::string title = FileTitle(file);
    std::string text;
    if (minePresent) {
        text = title + " already holds " + mine +
               " coefficients for these instruments. They will "
               "be replaced by the " +
               mine + " coefficients calculated now";
        text += otherPresent ? "; its " + other + " coefficients stay as they are." : ".";
    } else if (otherPresent) {
        text = title + " holds " + other + " coefficients for these instruments. The " + mine +
               " coefficients calculated now will be added beside them; the " + other +
               " coefficients stay as they are.";
    } else {
        text = title + " holds no coefficients yet. The " + mine +
               " coefficients calculated now will be written into it.";
    }
    return text + "\r\n\r\nSave the coefficients into this file?";
}

void ProfilerCommands::SaveCoefficients_Click() {
    m_coefficientsSaved = false;
    Guarded([&] {
        if (!m_ws.CoefficientsCalculated) {
            Message("Warning", "Coefficients have not been calculated");
            return;
        }
        FileDialogRequest request{FileDialogMode::Save, "Correlation Coefficient File | *.ccf", ""};
        request.CommandAsksBeforeOverwrite = true;
        const std::string file = ChooseFile(request);
        if (file.empty())
            return;
        // An existing file of the same instruments is merged into, not replaced: say how.
        if (const std::string question = MergeQuestion(file); !question.empty()) {
            const int16_t answer = m_ui.ShowMessage(
                MessageBoxRequest{"Correlated Coefficient File", question, MessageIcon::Question,
                                  MessageButtons::YesNo, ""});
            if (answer != kResultYes)
                return;
        }
        // A file of another instrument pair is refused ("ERROR", "Incorrect Instruments from
        // file") and left as it was; the coefficient file in use stays the one it was then.
        m_ccf.WriteCoeficcients(file);
        m_ws.CoefficientFile = file;
        m_saveSets.SetOutputFolder(m_currentFolder);
        m_saveSets.WriteSaveSetResults();
        m_saveSets.ReadProfileCoefficients();
        m_ws.CoefficientsLoaded = true;
        m_coefficientsSaved = true;
        SetStatus(StatusBarId::FileStatusBar, 3, "Coefficients File is " + FileTitle(file));
    });
}

void ProfilerCommands::CorrelationFileMenu_Click() {
    Guarded([&] {
        const std::string file =
            ChooseFile(FileDialogMode::Open, "Instrument Correlation Files | *.ccf");
        if (file.empty())
            return;
        ClearScreenControls();
        m_ws.CoefficientFile = file;
        m_ws.CoefficientsLoaded = true;
        SetStatus(StatusBarId::FileStatusBar, 3,
                  "Coefficients File is " + std::filesystem::path(file).filename().string());
        // Read when applied, not here; Generate becomes usable in whatever order files came.
        UpdateCommandState(m_ws, m_menu);
        m_ui.LetEventsRun();
    });
}

bool ProfilerCommands::CoefficientsOnShow() {
    if (m_ws.CoefficientsCalculated)
        return true;
    Message("Warning", "Coefficients have not been calculated");
    return false;
}

void ProfilerCommands::SaveProCompRep_Click() {
    Guarded([&] {
        if (!CoefficientsOnShow())
            return;
        const std::string file =
            ChooseFile(FileDialogMode::Save, "Profile Report | *.txt", kProfileReportName);
        if (file.empty())
            return;
        WriteProfileReport(m_ws, std::filesystem::path(file), Today());
        // Where the report went, in the panel of the file status bar that names files.
        SetStatus(StatusBarId::FileStatusBar, 3, FullFilePathText(file));
    });
}

void ProfilerCommands::ToPrinter_Click() {
    Guarded([&] {
        if (!CoefficientsOnShow())
            return;
        if (!m_ui.ShowPrintDialog())
            return;
        PrintCertificate certificate(m_ws);
        certificate.ProgramDirectory = m_programFolder;
        certificate.DateText = Today();
        certificate.Paper = m_ui.PrintPaper();
        const PageDescription document = certificate.PrintDocument();
        m_ui.LetEventsRun();
        for (const std::string& warning : document.Warnings) {
            Message("File Read Error", warning);
        }
        m_ui.PrintDocument(document);
        m_ui.LetEventsRun();
    });
}

}  // namespace tintara
