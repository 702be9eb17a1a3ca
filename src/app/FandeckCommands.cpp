// Fandecks: choosing them, converting a Target fandeck with a coefficient file, comparing it with
// the Master's, saving the converted copy and printing the comparison.
#include <exception>
#include <filesystem>

#include "app/FileChecks.h"
#include "app/ProfilerCommands.h"
#include "report/PrintPerformance.h"
#include "report/ReportText.h"
#include "workspace/Error.h"

namespace tintara {

namespace {

constexpr const char* kCorrelatedFilter = "Correlated Fandeck File | *.wsv";

}  // namespace

void ProfilerCommands::MasterInstrumentSaveSet_Click() {
    Guarded([&] {
        const std::string file = ChooseFile(FileDialogMode::Open, "Master Fandeck File | *.wsv");
        if (file.empty())
            return;
        ClearScreenControls();
        const std::string previous = m_ws.MasterSaveSetFile;
        try {
            RequireReachable(file);
            m_ws.MasterSaveSetFile = file;
            if (!m_saveSets.ReadMasterFandeck())
                throw IoError(m_saveSets.LastError());
            SetStatus(StatusBarId::InstrumentBar, 1,
                      "Master : " + m_ws.MasterType + "   /   " + m_ws.MasterStatus);
            SetStatus(StatusBarId::FileStatusBar, 1, "Master SaveSet is " + FileTitle(file));
            m_ws.MasterSaveSetLoaded = true;
        } catch (const std::exception&) {
            m_ws.MasterSaveSetFile = previous;
            FileNotAccessible();
        }
    });
}

void ProfilerCommands::TargetInstrumentSaveSet_Click() {
    Guarded([&] {
        const std::string file = ChooseFile(FileDialogMode::Open, "Target Fandeck File | *.wsv");
        if (file.empty())
            return;
        ClearScreenControls();
        try {
            RequireReachable(file);
            // Only chosen here; the conversion or the comparison reads it.
            m_ws.TargetSaveSetFile = file;
            m_ws.TargetSaveSetLoaded = true;
            UpdateCommandState(m_ws, m_menu);
            m_menu.SetEnabled(CommandId::CorrelatedTargetInstrumentSaveSet, true);
            SetStatus(StatusBarId::FileStatusBar, 2, "Target SaveSet is " + FileTitle(file));
        } catch (const std::exception&) {
            FileNotAccessible();
        }
    });
}

void ProfilerCommands::CorrelatedTargetInstrumentSaveSet_Click() {
    Guarded([&] {
        const std::string file = ChooseFile(FileDialogMode::Open, kCorrelatedFilter);
        if (!file.empty()) {
            try {
                RequireReachable(file);
                m_ws.CorrelatedSaveSetFile = file;
                m_ws.CorrelatedSaveSetLoaded = true;
            } catch (const std::exception&) {
                FileNotAccessible();
                return;
            }
        }
        UpdateCommandState(m_ws, m_menu);
        m_ui.LetEventsRun();
    });
}

void ProfilerCommands::SaveCorrelatedFandeck_Click() {
    Guarded([&] {
        const std::string file = ChooseFile(FileDialogMode::Save, kCorrelatedFilter);
        if (!file.empty()) {
            m_ws.CorrelatedSaveSetFile = file;
            m_ws.CorrelatedSaveSetLoaded = true;
        }
        // Also after a cancel the correlated results are written, to the file chosen last.
        UpdateCommandState(m_ws, m_menu);
        m_ui.LetEventsRun();
        if (m_ws.CorrelatedSaveSetFile.empty()) {
            Message("File I/O Error",
                    "No file has been chosen for the Correlated Fandeck - nothing was saved");
            return;
        }
        if (!m_ws.CorrelatedFandeckReady || m_ws.CorrelatedFandeckReflectance.Records() == 0) {
            Message("Data Error",
                    "There is no Correlated Fandeck data to save - convert a fandeck first");
            return;
        }
        m_saveSets.SetOutputFolder(m_currentFolder);
        m_saveSets.WriteCorrelatedResults();
    });
}

void ProfilerCommands::GenerateConvData_Click() {
    Guarded([&] {
        if (m_ws.TargetSaveSetLoaded)
            m_ws.CorrelatedFandeckReady = false;
        m_conversionFailed = true;
        if (m_ws.CoefficientsLoaded) {
            const int16_t result = BuildCorrelatedData();
            if (result == kConversionDone) {
                m_conversionFailed = false;
            } else if (result == kInstrumentMismatch) {
                const ProfileInstruments profile = ProfileInstrumentTypes();
                Message("Instuments do NOT Match",
                        "Profile Master - " + profile.Master + "\r\nProfile Target - " +
                            profile.Target + "\r\nSaveSet Instrument - " + m_ws.TargetType);
            } else if (result == kFandeckUnreadable) {
                m_ws.LastResult = Message("File Read Error", ConversionProblem());
            }
        }
        UpdateCommandState(m_ws, m_menu);
    });
}

void ProfilerCommands::GenerateCSS_Click() {
    Guarded([&] {
        m_ws.CorrelatedFandeckReady = false;
        int16_t result = -1;
        if (m_ws.MasterSaveSetLoaded && m_ws.TargetSaveSetLoaded && m_ws.CoefficientsLoaded) {
            result = BuildCorrelatedData();
        }
        if (result == kRecordCountMismatch) {
            Message("Save Set Mis-Match",
                    "Number of records in Files do NOT match - unable to proceed");
            return;
        }
        if (result == kInstrumentMismatch) {
            Message("Instrument Mis-Match", "Instrument types do NOT match - unable to proceed");
            return;
        }
        if (result == kFandeckUnreadable) {
            m_ws.LastResult = Message("File Read Error", ConversionProblem());
            return;
        }
        if (result == kConversionDone && m_ws.MasterSaveSetLoaded && m_ws.CorrelatedFandeckReady) {
            m_utility.ProcessCorrelatedDeltas();
            m_ws.PerformanceDataReady = true;
            m_paint.Window = m_ui.WindowArea();
            m_paint.BuildEmptyCompareGrid(m_ws.SampleCount + 2);
            m_ui.LetEventsRun();
            const bool sce = m_ws.MasterStatus.size() >= 3 && m_ws.MasterStatus[2] == 'E';
            ShowCompareView(!sce);
            UpdateCommandState(m_ws, m_menu);
        }
    });
}

void ProfilerCommands::ShowCompareView(bool sci) {
    if (sci) {
        m_paint.ShowSCIGridData();
    } else {
        m_paint.ShowSCEGridData();
    }
    m_menu.SetCaption(CommandId::DisplayCommand, m_paint.ViewSwitchCaption);
    ShowInstrumentPanels();
    ShowGridButtons();
}

void ProfilerCommands::InstrumentPerformance_Click() {
    Guarded([&] {
        if (!m_ui.ShowPrintDialog())
            return;
        m_ui.LetEventsRun();
        PrintPerformance certificate(m_ws);
        certificate.ProgramDirectory = m_programFolder;
        certificate.DateText = ShortDate(Clock());
        certificate.Paper = m_ui.PrintPaper();
        const PageDescription document = m_ws.PerformanceShowsSCI
                                             ? certificate.PrintSCIPerformanceData()
                                             : certificate.PrintSCEPerformanceData();
        for (const std::string& warning : document.Warnings)
            Message("File Read Error", warning);
        m_ui.PrintDocument(document);
    });
}

}  // namespace tintara
