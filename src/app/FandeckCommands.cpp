// Fandecks: choosing them, converting a Target fandeck with a coefficient file, comparing it with
// the Master's, saving the converted copy and printing the comparison.
#include <exception>
#include <filesystem>

#include "app/FandeckCompare.h"
#include "app/FileChecks.h"
#include "app/ProfilerCommands.h"
#include "report/PrintPerformance.h"
#include "report/ReportText.h"
#include "workspace/Error.h"
#include "workspace/StatusCode.h"

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
            SetStatus(
                StatusBarId::InstrumentBar, 1,
                "Master : " + m_ws.MasterFandeck.Type + "   /   " + m_ws.MasterFandeck.Status);
            SetStatus(StatusBarId::FileStatusBar, 1, "Master SaveSet is " + FileTitle(file));
            m_ws.MasterSaveSetLoaded = true;
        } catch (const std::exception& error) {
            m_ws.MasterSaveSetFile = previous;
            FileNotAccessible(error.what());
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
        } catch (const std::exception& error) {
            FileNotAccessible(error.what());
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
            } catch (const std::exception& error) {
                FileNotAccessible(error.what());
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
        UpdateCommandState(m_ws, m_menu);
        m_ui.LetEventsRun();
        // Only a file the user chose now is written; a cancelled dialog writes nothing.
        if (file.empty())
            return;
        if (!m_ws.CorrelatedFandeckReady || m_ws.ConvertedRecordCount == 0) {
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
                SetStatus(StatusBarId::FileStatusBar, 2,
                          "Target SaveSet is " + FileTitle(m_ws.TargetSaveSetFile) +
                              " - Converted with " + FileTitle(m_ws.CoefficientFile) + " (" +
                              std::to_string(m_ws.ConvertedRecordCount) + " records)");
            } else if (result == kInstrumentMismatch) {
                const ProfileInstruments profile = ProfileInstrumentTypes();
                Message("Instuments do NOT Match",
                        "Profile Master - " + profile.Master + "\r\nProfile Target - " +
                            profile.Target + "\r\nSaveSet Instrument - " + m_ws.TargetFandeck.Type);
            } else if (result == kFandeckUnreadable) {
                m_ws.LastResult = Message("File Read Error", kReadProblem, MessageIcon::Exclamation,
                                          m_saveSets.LastError());
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
            m_ws.LastResult = Message("File Read Error", kReadProblem, MessageIcon::Exclamation,
                                      m_saveSets.LastError());
            return;
        }
        if (result == kConversionDone && m_ws.MasterSaveSetLoaded && m_ws.CorrelatedFandeckReady) {
            CompareFandecks(m_ws, m_utility);
            m_ws.PerformanceDataReady = true;
            m_paint.Window = m_ui.WindowArea();
            m_paint.BuildEmptyCompareGrid(m_ws.SampleCount + 2);
            m_ui.LetEventsRun();
            ShowCompareView(!StatusCode(m_ws.MasterFandeck.Status).Sce());
            UpdateCommandState(m_ws, m_menu);
        }
    });
}

void ProfilerCommands::ShowCompareView(bool sci) {
    // The grid on show may be the tile sets' correlation grid: lay the compare grid out for the
    // samples there are before filling it.
    if (m_grid.Cols() != 9 || m_grid.Rows() != m_ws.SampleCount + 3) {
        m_paint.Window = m_ui.WindowArea();
        m_paint.BuildEmptyCompareGrid(m_ws.SampleCount + 2);
    }
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
        certificate.DateText = Today();
        certificate.Paper = m_ui.PrintPaper();
        // The instruments compared are the fandecks'.
        certificate.Master =
            FandeckIdentification(m_ws.MasterFandeck, m_ws.PerformanceShowsSCI, PerformanceHeader);
        certificate.Target =
            FandeckIdentification(m_ws.TargetFandeck, m_ws.PerformanceShowsSCI, PerformanceHeader);
        PerformanceDocument document = m_ws.PerformanceShowsSCI
                                           ? certificate.SCIPerformanceDocument()
                                           : certificate.SCEPerformanceDocument();
        for (const std::string& warning : document.Outline().Warnings)
            Message("File Read Error", warning);
        m_ui.PrintDocument(document);
    });
}

}  // namespace tintara
