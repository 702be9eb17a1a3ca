// The main window's commands and wizards over the workspace and an abstract user interface.
#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "app/MenuState.h"
#include "app/UserInterface.h"
#include "engine/Tolerances.h"
#include "engine/Utility.h"
#include "files/CCFReadWrite.h"
#include "files/RWSaveSet.h"
#include "report/CompareReport.h"
#include "report/Paint.h"
#include "report/ReportText.h"
#include "report/ResultGridModel.h"
#include "workspace/GlobalVariables.h"
#include "workspace/MakeSensorList.h"

namespace tintara {

// Everything the main window does, without the window. Each handler is named after the control
// and event it answers (MasterInstrumentTileSet_Click is File > Open > Tile Set > "from Master
// Instrument"); the window calls Execute(id) for a picked menu item or pressed button.
//
// Contracts shared by all handlers:
//  - No handler throws. A refusal shows its titled message box and returns; the file commands
//    report any failure inside their trapped stretch as "File is NOT accessable" ("File I/O
//    Error"); any other failure is shown with its own text and the title "Tintara Profiler".
//  - Handlers leave the workspace as it was on a refusal, except where noted.
//  - The current folder is the folder of the file last chosen in a file dialog; result save sets
//    and CompareReport.txt are written there.
class ProfilerCommands {
  public:
    // Results of converting a Target fandeck with the coefficient file.
    static constexpr int16_t kConversionDone = 0;
    static constexpr int16_t kRecordCountMismatch = 1;  // Master and Target fandecks differ
    static constexpr int16_t kInstrumentMismatch = 2;   // fandeck is not the profile's Target
    static constexpr int16_t kFandeckUnreadable = 3;
    // First line of every save-set read problem.
    static constexpr const char* kReadProblem = "There is a problem with the Save_Set File ";

    // `programFolder` is the executable's folder: Profiler.ini (unless TINTARA_HOME names another)
    // and the pictures (ProgramFile: beside it, or installed in ../share/tintara) are found from
    // it.
    ProfilerCommands(GlobalVariables& ws, UserInterface& ui, std::filesystem::path programFolder);
    ~ProfilerCommands();
    ProfilerCommands(const ProfilerCommands&) = delete;
    ProfilerCommands& operator=(const ProfilerCommands&) = delete;

    // Runs the handler of a menu item or button; the heads of submenus do nothing.
    void Execute(CommandId id);

    // ---- main window: start-up, display and small commands ----
    // `commandLine` is the program's whole argument text; "NOCENTROID" in any case, and nothing
    // else, turns the wavelength-weight search off.
    void Form_Load(const std::string& commandLine);
    void Form_Activate();
    void ClearScreenControls();
    void RawDataCommand_Click();
    void DisplayCommand_Click();
    void SetTolerances_Click();
    void ToFile_Click();
    void ToPrinter_Click();
    void ProgramExit_Click();
    void Form_Unload();

    // ---- tile sets ----
    void MasterInstrumentTileSet_Click();
    void TargetInstrumentTileSet_Click();
    // Drops every character whose code is below 32.
    static void StripControlCharacters(std::string& text);

    // ---- coefficients ----
    void GenerateCCF_Click();
    void SaveCoefficients_Click();
    void CorrelationFileMenu_Click();
    // Save > "Profile Component Report (*.txt)".
    void SaveProCompRep_Click();

    // ---- fandecks ----
    void MasterInstrumentSaveSet_Click();
    void TargetInstrumentSaveSet_Click();
    void CorrelatedTargetInstrumentSaveSet_Click();
    void SaveCorrelatedFandeck_Click();
    void GenerateConvData_Click();
    void GenerateCSS_Click();
    void InstrumentPerformance_Click();

    // ---- wizards ----
    void WizardProfile_Click();
    void WizardLegacy_Click();
    void WizardPerformance_Click();

    // ---- the header and geometry dialogs, modally ----
    void ProfileHeader();
    void SelectGeometry();

    // ---- state the window shows or the tests read ----
    MenuState& Menu() { return m_menu; }
    ResultGridModel& Grid() { return m_grid; }
    Paint& GridPainter() { return m_paint; }
    Utility& Engine() { return m_utility; }
    RWSaveSet& SaveSets() { return m_saveSets; }
    GlobalVariables& Workspace() { return m_ws; }
    const std::filesystem::path& CurrentFolder() const { return m_currentFolder; }
    // Set by the conversion command: true unless the last conversion succeeded.
    bool ConversionFailed() const { return m_conversionFailed; }
    // Set by the coefficient save: true when the last one wrote the coefficient file.
    bool CoefficientsSaved() const { return m_coefficientsSaved; }

    // The clock for the profile dates (tests fix it).
    std::function<std::chrono::system_clock::time_point()> Clock = [] {
        return std::chrono::system_clock::now();
    };
    // The one rendering of a date on reports and certificates: the user's short date format,
    // which the window takes from its locale; by default the C library's locale ("%x").
    std::function<std::string(std::chrono::system_clock::time_point)> DateText = [](auto when) {
        return ShortDate(when);
    };
    // Today, as every report and certificate prints it.
    std::string Today() const { return DateText(Clock()); }
    // What the performance certificate prints for company, operator and tile set in place of
    // what the fandecks hold (the command line's --company, --operator, --tileset); empty: theirs.
    CertificateHeader PerformanceHeader;

    // The command line's current folder: fixed (result save sets are written there), however
    // file dialogs are answered.
    void FixCurrentFolder(std::filesystem::path folder);
    // Where the SCI performance view writes the compare report; by default CompareReport.txt in
    // the current folder. Empty optional with WriteCompareReport false: no report.
    std::optional<std::filesystem::path> CompareReportFile;
    bool WriteCompareReport = true;
    // The command line runs on the defaults without a word when there is no Profiler.ini at all
    // (a damaged one is still reported); the window always says so.
    bool QuietWithoutProfilerIni = false;

  private:
    int16_t Message(const std::string& title, const std::string& text,
                    MessageIcon icon = MessageIcon::Exclamation, const std::string& detail = "");
    std::string ChooseFile(FileDialogMode mode, const std::string& filter,
                           const std::string& fileName = "");
    std::string ChooseFile(const FileDialogRequest& request);
    // The question asked before coefficients are saved into an existing coefficient file of
    // these instruments (what the merge will keep and replace); empty when there is none to ask.
    std::string MergeQuestion(const std::string& file) const;
    void SetStatus(StatusBarId bar, int panel, const std::string& text);
    void ShowInstrumentPanels();
    void ShowGridButtons();
    // "File is NOT accessable", with the reason as the detail text.
    bool FileNotAccessible(const std::string& detail = "");
    // The certificate and the component report belong to coefficients calculated for the tile
    // sets now loaded; otherwise the user is told and false comes back.
    bool CoefficientsOnShow();
    // Runs `body`, showing any failure that escapes it (see the class comment).
    void Guarded(const std::function<void()>& body);
    bool GeometryChoiceNeeded(const std::filesystem::path& file) const;
    void ShowPerformanceView(bool sci);
    void ShowCompareView(bool sci);
    void LoadToleranceDefaults();
    // Hands the coefficient file to the correction object and converts the Target fandeck;
    // returns one of the conversion results. On success the correlated fandeck is ready.
    int16_t BuildCorrelatedData();
    struct ProfileInstruments {
        std::string Master, Target;
    };
    // The instrument names the coefficient file in use was made for.
    ProfileInstruments ProfileInstrumentTypes() const;

    GlobalVariables& m_ws;
    UserInterface& m_ui;
    std::filesystem::path m_programFolder;
    std::filesystem::path m_currentFolder;
    MenuState m_menu;
    ResultGridModel m_grid;
    Paint m_paint;
    PerformanceView m_performance;
    MakeSensorList m_sensors;
    Utility m_utility;
    CCFReadWrite m_ccf;
    RWSaveSet m_saveSets;
    ProfilerIniLocation m_iniLocation;
    bool m_currentFolderFixed = false;
    bool m_conversionFailed = false;
    bool m_coefficientsSaved = false;
};

}  // namespace tintara
