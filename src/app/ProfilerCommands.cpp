// The main window's start-up, display commands and the plumbing every command shares.
#include "app/ProfilerCommands.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <exception>
#include <optional>

#include "app/HeaderDialogs.h"
#include "app/ToleranceDialog.h"
#include "engine/Tolerances.h"
#include "workspace/Error.h"
#include "workspace/ProgramFiles.h"

namespace tintara {

namespace {
constexpr const char* kRunTimeErrorTitle = "Tintara Profiler";

std::optional<std::string> Environment(const char* name) {
    const char* value = std::getenv(name);
    if (value == nullptr)
        return std::nullopt;
    return std::string(value);
}
}  // namespace

std::string FilterDescription(const std::string& filter) {
    const auto bar = filter.find('|');
    std::string text = bar == std::string::npos ? filter : filter.substr(0, bar);
    while (!text.empty() && text.back() == ' ')
        text.pop_back();
    return text;
}

std::string FilterPattern(const std::string& filter) {
    const auto bar = filter.find('|');
    if (bar == std::string::npos)
        return "*.*";
    std::string text = filter.substr(bar + 1);
    const auto first = text.find_first_not_of(' ');
    return first == std::string::npos ? "*.*" : text.substr(first);
}

ProfilerCommands::ProfilerCommands(GlobalVariables& ws, UserInterface& ui,
                                   std::filesystem::path programFolder)
    : m_ws(ws),
      m_ui(ui),
      m_programFolder(std::move(programFolder)),
      m_paint(ws, m_grid, ui),
      m_performance(m_paint),
      m_sensors(ws),
      m_utility(ws, ui),
      m_ccf(ws),
      m_saveSets(ws) {
    m_menu.SetListener(&m_ui);
}

ProfilerCommands::~ProfilerCommands() = default;

// ---- shared plumbing ----

int16_t ProfilerCommands::Message(const std::string& title, const std::string& text,
                                  MessageIcon icon, const std::string& detail) {
    return m_ui.ShowMessage(MessageBoxRequest{title, text, icon, MessageButtons::Ok, detail});
}

std::string ProfilerCommands::ChooseFile(FileDialogMode mode, const std::string& filter,
                                         const std::string& fileName) {
    return ChooseFile(FileDialogRequest{mode, filter, fileName});
}

std::string ProfilerCommands::ChooseFile(const FileDialogRequest& request) {
    std::string chosen = m_ui.ChooseFile(request);
    if (!chosen.empty() && !m_currentFolderFixed) {
        // The host's file dialog moved the current folder to where the user went.
        const auto folder = std::filesystem::path(chosen).parent_path();
        if (!folder.empty())
            m_currentFolder = folder;
    }
    return chosen;
}

void ProfilerCommands::FixCurrentFolder(std::filesystem::path folder) {
    m_currentFolder = std::move(folder);
    m_currentFolderFixed = true;
}

void ProfilerCommands::SetStatus(StatusBarId bar, int panel, const std::string& text) {
    m_ui.SetStatusText(bar, panel, text);
}

void ProfilerCommands::ShowInstrumentPanels() {
    // Paint keeps the two panel texts it last wrote; the window shows them.
    SetStatus(StatusBarId::InstrumentBar, 1, m_paint.InstrumentPanel1);
    SetStatus(StatusBarId::InstrumentBar, 2, m_paint.InstrumentPanel2);
}

void ProfilerCommands::ShowGridButtons() {
    for (CommandId id :
         {CommandId::DisplayCommand, CommandId::RawDataCommand, CommandId::CorrectedDataCommand}) {
        m_menu.SetVisible(id, true);
    }
    m_ui.Redraw();
}

bool ProfilerCommands::FileNotAccessible(const std::string& detail) {
    m_ws.LastResult =
        Message("File I/O Error", "File is NOT accessable", MessageIcon::Exclamation, detail);
    return false;
}

void ProfilerCommands::Guarded(const std::function<void()>& body) {
    try {
        body();
    } catch (const Refusal& refusal) {
        m_ws.LastResult = Message(refusal.Title(), refusal.Text());
    } catch (const std::exception& error) {
        m_ws.LastResult = Message(kRunTimeErrorTitle, error.what(), MessageIcon::Critical);
    }
}

void ProfilerCommands::Execute(CommandId id) {
    using C = CommandId;
    switch (id) {
        case C::MasterInstrumentTileSet:
            return MasterInstrumentTileSet_Click();
        case C::TargetInstrumentTileSet:
            return TargetInstrumentTileSet_Click();
        case C::MasterInstrumentSaveSet:
            return MasterInstrumentSaveSet_Click();
        case C::TargetInstrumentSaveSet:
            return TargetInstrumentSaveSet_Click();
        case C::CorrelatedTargetInstrumentSaveSet:
            return CorrelatedTargetInstrumentSaveSet_Click();
        case C::CorrelationFileMenu:
            return CorrelationFileMenu_Click();
        case C::SaveCorrelatedFandeck:
            return SaveCorrelatedFandeck_Click();
        case C::SaveCoefficients:
            return SaveCoefficients_Click();
        case C::SaveProCompRep:
            return SaveProCompRep_Click();
        case C::ToFile:
            return ToFile_Click();
        case C::ToPrinter:
            return ToPrinter_Click();
        case C::InstrumentPerformance:
            return InstrumentPerformance_Click();
        case C::ProgramExit:
            return ProgramExit_Click();
        case C::GenerateCCF:
            return GenerateCCF_Click();
        case C::GenerateCSS:
            return GenerateCSS_Click();
        case C::GenerateConvData:
            return GenerateConvData_Click();
        case C::SetTolerances:
            return SetTolerances_Click();
        case C::WizardProfile:
            return WizardProfile_Click();
        case C::WizardLegacy:
            return WizardLegacy_Click();
        case C::WizardPerformance:
            return WizardPerformance_Click();
        case C::RawDataCommand:
            return RawDataCommand_Click();
        case C::DisplayCommand:
            return DisplayCommand_Click();
        // Submenu heads and "Corrected Data" have no action of their own.
        default:
            return;
    }
}

// ---- start-up and shutdown ----

void ProfilerCommands::Form_Load(const std::string& commandLine) {
    m_ws.ShowPhaseProgress = false;
    m_ws.WindowInitialised = false;

    m_ws.TwipsPerPixel = m_ui.ScreenTwipsPerPixel();
    m_ui.MaximiseWindow();
    m_ui.LetEventsRun();

    // The whole command line must be the switch; anything else is ignored.
    std::string upper = commandLine;
    std::transform(upper.begin(), upper.end(), upper.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    m_ws.UseCentroid = upper != "NOCENTROID";

    m_ws.CoefficientsGenerated = false;

    m_ws.MasterTileSetLoaded = false;
    m_ws.TargetTileSetLoaded = false;
    m_ws.MasterSaveSetLoaded = false;
    m_ws.TargetSaveSetLoaded = false;
    m_ws.CorrelatedSaveSetLoaded = false;
    m_ws.CoefficientsLoaded = false;
    m_menu.SetEnabled(CommandId::TargetInstrumentTileSet, false);
    m_menu.SetEnabled(CommandId::MasterInstrumentSaveSet, true);
    m_menu.SetEnabled(CommandId::TargetInstrumentSaveSet, true);
    m_menu.SetEnabled(CommandId::PrintReport, false);
    m_menu.SetEnabled(CommandId::CorrelatedTargetInstrumentSaveSet, false);
    m_menu.SetEnabled(CommandId::SaveFile, false);

    m_ws.CoefficientsCalculated = false;
    m_ws.ConversionDone = false;

    m_grid.SetVisible(false);
    for (CommandId id :
         {CommandId::RawDataCommand, CommandId::DisplayCommand, CommandId::CorrectedDataCommand}) {
        m_menu.SetVisible(id, false);
    }

    // The catalogue was filled when this object was made; the tolerances come from Profiler.ini.
    LoadToleranceDefaults();

    SetStatus(StatusBarId::FileStatusBar, 1, "Master File - Not Assigned");
    SetStatus(StatusBarId::FileStatusBar, 2, "Target File - Not Assigned");
    SetStatus(StatusBarId::FileStatusBar, 3, "Coefficient File - Not Assigned");
    SetStatus(StatusBarId::InstrumentBar, 1, "Master Instrument - Not Assigned");
    SetStatus(StatusBarId::InstrumentBar, 2, "Target Instrument - Not Assigned");

    UpdateCommandState(m_ws, m_menu);
}

void ProfilerCommands::Form_Activate() {
    if (m_ws.WindowInitialised)
        return;
    if (!m_ui.InitialiseWindow()) {
        Message("File Read Error",
                "The picture " + ProgramFile(m_programFolder, "Profiler_Background.jpg").string() +
                    " could not be loaded");
    }
    m_ui.LetEventsRun();
    m_ws.WindowInitialised = true;
}

void ProfilerCommands::ClearScreenControls() {
    m_grid.SetVisible(false);
    for (CommandId id :
         {CommandId::DisplayCommand, CommandId::RawDataCommand, CommandId::CorrectedDataCommand}) {
        m_menu.SetVisible(id, false);
    }
    m_ui.Redraw();
}

void ProfilerCommands::ProgramExit_Click() {
    m_ui.EndProgram();
}

void ProfilerCommands::Form_Unload() {
    ProgramExit_Click();
}

// ---- display commands ----

void ProfilerCommands::RawDataCommand_Click() {
    // All the button has ever done: the grid grows by one pixel.
    m_grid.Width += m_ws.TwipsPerPixel;
    m_ui.Redraw();
}

void ProfilerCommands::ShowPerformanceView(bool sci) {
    Guarded([&] {
        m_paint.ViewSwitchEnabled = m_menu.Enabled(CommandId::DisplayCommand);
        m_performance.CompareReportFile =
            CompareReportFile.value_or(m_currentFolder / kCompareReportName);
        m_performance.WriteReport = WriteCompareReport;
        if (sci) {
            m_performance.ShowSCIPerformanceData();
        } else {
            m_performance.ShowSCEPerformanceData();
        }
    });
    m_menu.SetCaption(CommandId::DisplayCommand, m_paint.ViewSwitchCaption);
    m_menu.SetBackColor(CommandId::DisplayCommand, m_paint.ViewSwitchBackColor);
    ShowInstrumentPanels();
    ShowGridButtons();
}

void ProfilerCommands::DisplayCommand_Click() {
    Guarded([&] {
        m_paint.Window = m_ui.WindowArea();
        m_paint.ViewSwitchEnabled = m_menu.Enabled(CommandId::DisplayCommand);
        if (m_ws.PerformanceDataReady) {
            m_paint.BuildEmptyPerformanceGrid(m_ws.SampleCount + 2);
            ShowPerformanceView(!m_ws.PerformanceShowsSCI);
            return;
        }
        ShowCompareView(!m_ws.GridShowsSCI);
    });
}

void ProfilerCommands::LoadToleranceDefaults() {
    m_iniLocation = LocateProfilerIni(m_programFolder, Environment("TINTARA_HOME"),
                                      Environment("XDG_CONFIG_HOME"), Environment("HOME"));
    const ToleranceReadResult result = LoadTolerances(m_ws, m_iniLocation);
    m_utility.PLM.SetColorSpace(m_ws.ColorSpace);
    if (!result.ErrorNoted)
        return;
    if (QuietWithoutProfilerIni) {
        bool exists = false;
        for (const auto& path : m_iniLocation.ReadPaths)
            exists = exists || std::filesystem::exists(path);
        if (!exists)
            return;
    }
    Message(kToleranceReadTitle, kToleranceReadText, MessageIcon::None, result.Detail);
}

void ProfilerCommands::SetTolerances_Click() {
    Guarded([&] {
        if (m_iniLocation.WritePath.empty()) {
            m_iniLocation = LocateProfilerIni(m_programFolder, Environment("TINTARA_HOME"),
                                              Environment("XDG_CONFIG_HOME"), Environment("HOME"));
        }
        GetTolerancesDialog dialog(m_ws, m_ui, m_utility.PLM, m_iniLocation.WritePath,
                                   [this] { ClearScreenControls(); });
        m_ui.ShowTolerances(dialog);
        if (m_grid.Visible() && m_ws.PerformanceDataReady) {
            m_paint.Window = m_ui.WindowArea();
            m_paint.BuildEmptyPerformanceGrid(m_ws.SampleCount + 2);
            ShowPerformanceView(m_ws.PerformanceShowsSCI);
        }
    });
}

void ProfilerCommands::ToFile_Click() {
    Message("WARNING", "This function has not been implemented", MessageIcon::None);
}

}  // namespace tintara
