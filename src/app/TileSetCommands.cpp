// File > Open > Tile Set: reading the Master's and the Target's measurement of the tile set.
#include <exception>
#include <filesystem>

#include "app/FileChecks.h"
#include "app/ProfilerCommands.h"
#include "files/RWSaveSet.h"
#include "files/SaveSetLibrary.h"
#include "workspace/Error.h"
#include "workspace/StatusText.h"

namespace tintara {

namespace {

constexpr const char* kUvText = "The UV Component must be INCLUDED for Profiling";
constexpr const char* kUvTitle = "Instrument Status Error";

}  // namespace

void ProfilerCommands::StripControlCharacters(std::string& text) {
    text = tintara::StripControlCharacters(text);
}

bool ProfilerCommands::GeometryChoiceNeeded(const std::filesystem::path& file) const {
    // The choice matters only for a set that holds both geometries.
    try {
        const SaveSetData data = LoadSaveSet(file);
        if (HoldsBothGeometries(data.Instrument, data.Status))
            return true;
        for (const SaveSetRecord& record : data.Records) {
            if (HoldsBothGeometries(record.Instrument,
                                    record.Status.empty() ? data.Status : record.Status)) {
                return true;
            }
        }
    } catch (const std::exception&) {
        // The reader reports an unreadable file.
    }
    return false;
}

void ProfilerCommands::MasterInstrumentTileSet_Click() {
    Guarded([&] {
        const std::string file =
            ChooseFile(FileDialogMode::Open, "Master Reflectance Save Sets | *.wsv");
        if (!file.empty()) {
            ClearScreenControls();
            const std::string title = FileTitle(file);
            try {
                RequireReachable(file);
                // A set holding both geometries is read in the one the user profiles.
                if (GeometryChoiceNeeded(file))
                    SelectGeometry();
                m_saveSets.GetLastModifiedDate(file, true);
                bool failed = false;
                m_saveSets.ReadWSVRecord(file, true, failed);
                if (failed) {
                    // The tile arrays may have been re-dimensioned: nothing is left to profile.
                    m_ws.MasterTilesSelected = false;
                    m_ws.TargetTilesSelected = false;
                    m_ws.CoefficientsCalculated = false;
                    m_ws.LastResult =
                        Message("File Read Error",
                                std::string(kReadProblem) +
                                    "\r\n\r\nIt may be Corrupt, Empty or on a Mapped Drive\r\n"
                                    "This may also be a Windows Permission error\r\n"
                                    "Please contact your IT administrator to resolve these issues",
                                MessageIcon::Exclamation, m_saveSets.LastError());
                    return;
                }
                // For the Master a warning only: profiling refuses it later.
                if (UvNotIncluded(m_ws.MasterInstrumentID, m_ws.MasterStatus)) {
                    m_ws.LastResult = Message(kUvTitle, kUvText);
                }
                SetStatus(StatusBarId::FileStatusBar, 1, "Master Tiles file is " + title);
                m_ws.MasterCompany = m_ws.RecordCompany;
                m_ws.MasterOperator = m_ws.RecordOperator;
                m_ws.MasterSerial = m_ws.RecordSerial;
                m_ws.MasterTileSetSerial = m_ws.RecordTileSetSerial;
                StripControlCharacters(m_ws.MasterTileSetSerial);
            } catch (const std::exception& error) {
                FileNotAccessible(error.what());
                return;
            }
            // A new Master always invalidates the Target.
            m_ws.MasterTilesSelected = true;
            m_ws.TargetTilesSelected = false;
            m_ws.CoefficientsCalculated = false;
        }
        // Also after a cancelled dialog: the Master counts as loaded for the menus.
        SetStatus(StatusBarId::InstrumentBar, 1,
                  "Master : " + m_ws.MasterType + "   /   " + m_ws.MasterStatus);
        m_ws.MasterTileSetLoaded = true;
        m_menu.SetEnabled(CommandId::TargetInstrumentTileSet, true);
    });
}

void ProfilerCommands::TargetInstrumentTileSet_Click() {
    Guarded([&] {
        const std::string file =
            ChooseFile(FileDialogMode::Open, "Target Reflectance Save Sets | *.wsv");
        if (!file.empty()) {
            ClearScreenControls();
            const std::string title = FileTitle(file);
            try {
                RequireReachable(file);
                m_saveSets.GetLastModifiedDate(file, false);
                bool failed = false;
                m_saveSets.ReadWSVRecord(file, false, failed);
                if (failed) {
                    m_ws.LastResult = Message("File Read Error", kReadProblem,
                                              MessageIcon::Exclamation, m_saveSets.LastError());
                    return;
                }
                // For the Target a refusal. The curves already read are not restored, so the
                // Target counts as not selected and no coefficients belong to the tile sets.
                if (UvNotIncluded(m_ws.TargetInstrumentID, m_ws.TargetStatus)) {
                    m_ws.TargetTilesSelected = false;
                    m_ws.CoefficientsCalculated = false;
                    m_ws.LastResult = Message(kUvTitle, kUvText);
                    return;
                }
                SetStatus(StatusBarId::FileStatusBar, 2, "Target Tiles file is " + title);
                m_ws.TargetCompany = m_ws.RecordCompany;
                m_ws.TargetOperator = m_ws.RecordOperator;
                m_ws.TargetSerial = m_ws.RecordSerial;
                m_ws.TargetTileSetSerial = m_ws.RecordTileSetSerial;
                StripControlCharacters(m_ws.TargetTileSetSerial);
                m_ws.TargetTilesSelected = true;
                m_ws.CoefficientsCalculated = false;
                SetStatus(StatusBarId::InstrumentBar, 2,
                          "Target : " + m_ws.TargetType + "   /   " + m_ws.TargetStatus);

                if (m_ws.MasterTilesSelected && m_ws.TargetTilesSelected) {
                    m_ui.LetEventsRun();
                    m_utility.GetRawDE();
                    m_paint.Window = m_ui.WindowArea();
                    if (!m_ws.ShowPhaseProgress) {
                        m_utility.AllocateFandeckArrays();
                        // That emptied the fandeck arrays: nothing converted or compared is left
                        // to save or show.
                        m_ws.ConversionDone = false;
                        m_ws.CorrelatedFandeckReady = false;
                        m_ws.PerformanceDataReady = false;
                        m_paint.BuildEmptyCompareGrid(m_ws.TileCount + 2);
                        m_paint.RefreshAvianDisplay();
                    } else {
                        m_paint.BuildEmptyCorrelationGrid();
                        m_paint.RefreshDisplay();
                        m_paint.IndicateCell(1);
                    }
                    ShowInstrumentPanels();
                    ShowGridButtons();
                    m_ui.LetEventsRun();
                }
            } catch (const std::exception& error) {
                FileNotAccessible(error.what());
                return;
            }
        }
        m_ws.TargetTileSetLoaded = true;
        UpdateCommandState(m_ws, m_menu);
    });
}

}  // namespace tintara
