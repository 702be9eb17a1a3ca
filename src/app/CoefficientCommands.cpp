// Coefficient generation, the coefficient file commands and the profile's printed outputs.
#include <exception>

#include "app/HeaderDialogs.h"
#include "app/ProfilerCommands.h"
#include "engine/ProfileSequence.h"
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
