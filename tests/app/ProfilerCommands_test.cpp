#include "app/ProfilerCommands.h"

#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <sstream>

#include "app/CommandHarness.h"
#include "workspace/NumberFormat.h"

namespace tintara {
namespace {

using C = CommandId;
using test::CommandHarness;
using test::SetOptions;
using test::WriteSet;

std::string Text(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

TEST(FormLoad, StartsWithNothingLoadedAndTheStartupMenus) {
    CommandHarness h("startup");
    EXPECT_TRUE(h.ui.Messages.empty());
    EXPECT_FALSE(h.ws.MasterTileSetLoaded || h.ws.TargetTileSetLoaded || h.ws.MasterSaveSetLoaded ||
                 h.ws.TargetSaveSetLoaded || h.ws.CorrelatedSaveSetLoaded ||
                 h.ws.CoefficientsLoaded || h.ws.CoefficientsCalculated || h.ws.ConversionDone);
    std::string enabled;
    for (C id : {C::MasterInstrumentTileSet, C::MasterInstrumentSaveSet, C::TargetInstrumentSaveSet,
                 C::TargetInstrumentTileSet, C::CorrelatedTargetInstrumentSaveSet, C::SaveFile,
                 C::PrintReport, C::GenerateFunction})
        enabled += h.Enabled(id) ? "1" : "0";
    EXPECT_EQ(enabled, "11100000");
    for (C button : {C::RawDataCommand, C::DisplayCommand, C::CorrectedDataCommand})
        EXPECT_FALSE(h.commands->Menu().Visible(button));
    EXPECT_FALSE(h.commands->Grid().Visible());
    std::string panels;
    for (const auto& [panel, text] : h.ui.Status)
        panels += text + "|";
    EXPECT_EQ(panels,
              "Master File - Not Assigned|Target File - Not Assigned|Coefficient File - Not "
              "Assigned|Master Instrument - Not Assigned|Target Instrument - Not Assigned|");
    EXPECT_GT(h.ui.CommandChanges, 0) << "the window mirrors the menu state";

    // Only the first activation sets up the window; a missing picture is reported.
    h.ui.PictureLoads = false;
    h.commands->Form_Activate();
    h.commands->Form_Activate();
    EXPECT_TRUE(h.ui.WindowInitialisations == 1 && h.ws.WindowInitialised);
    EXPECT_NE(h.Messages().find("Profiler_Background.jpg"), std::string::npos);

    CommandHarness noIni("no-ini", false);
    EXPECT_EQ(noIni.Messages(), "File Read Error: Error reading Tolerance defaults");
    EXPECT_EQ(noIni.ws.SingleSampleTolerance, 0.5);
}

TEST(FormLoad, OnlyTheWholeCommandLineNocentroidInAnyCaseSwitchesTheSearchOff) {
    for (const std::string line : {"NOCENTROID", "nocentroid", "NoCentroid"})
        EXPECT_FALSE(CommandHarness("nocentroid", true, line).ws.UseCentroid) << line;
    for (const std::string line : {"NOCENTROID X", " NOCENTROID", "CENTROID", "-nocentroid"})
        EXPECT_TRUE(CommandHarness("nocentroid", true, line).ws.UseCentroid) << line;
}

TEST(SmallCommands, RawDataWidensByOnePixelProfileXxxIsNotImplementedAndExitEnds) {
    CommandHarness h("small");
    h.ws.TwipsPerPixel = 12;
    h.commands->Grid().Width = 9000;
    h.commands->Execute(C::RawDataCommand);
    h.commands->Execute(C::RawDataCommand);
    EXPECT_EQ(h.commands->Grid().Width, 9024);
    h.commands->Execute(C::ToFile);
    EXPECT_EQ(h.Messages(), "WARNING: This function has not been implemented");
    h.commands->Execute(C::ToPrinter);  // nothing calculated: no print dialog
    EXPECT_EQ(h.Messages(), "Warning: Coefficients have not been calculated");
    EXPECT_TRUE(h.ui.Printed.empty());
    h.commands->Execute(C::ProgramExit);
    EXPECT_TRUE(h.ui.Ended);
}

TEST(SetTolerances, AcceptWritesProfilerIniAndAColourSpaceChangeAsksForAReload) {
    CommandHarness h("tolerances");
    h.ui.ToleranceAnswers.push_back([](GetTolerancesDialog& dialog) {
        EXPECT_EQ(dialog.TolText[0], "0.50");  // position 91
        EXPECT_FALSE(dialog.AcceptButtonEnabled);
        dialog.VScroll1_Change(0, 81);  // 1.00
        dialog.Option2_Click();
        dialog.AcceptButton_Click();
    });
    h.commands->SetTolerances_Click();
    EXPECT_TRUE(h.ws.ColorSpace == 2 && h.commands->Engine().PLM.ColorSpace() == 2);
    EXPECT_EQ(h.Messages(),
              "Color Space has changed: SaveSet Data must be reloaded using the new Color Space");
    EXPECT_EQ(ReadTolerances(h.folder / "Profiler.ini").Settings, (ToleranceSettings{1.0, 0.5, 2}));

    h.ui.ToleranceAnswers.push_back(nullptr);  // closed with Cancel: nothing stored
    h.ws.SingleSampleTolerance = 0.3;
    h.commands->SetTolerances_Click();
    EXPECT_EQ(ReadTolerances(h.folder / "Profiler.ini").Settings.SingleSampleTolerance, 1.0);
}

// ---- tile sets ----------------------------------------------------------------------------------

TEST(TileSets, TheMasterLoadsAndACancelledDialogStillMarksItLoadedAndEnablesTheTarget) {
    CommandHarness h("master-tiles");
    h.ui.Files = {WriteSet(h.folder, "master.wsv", SetOptions{}).string(), ""};
    h.commands->Execute(C::MasterInstrumentTileSet);
    EXPECT_TRUE(h.ui.Messages.empty());
    EXPECT_EQ(h.ui.FileRequests[0].Filter, "Master Reflectance Save Sets | *.wsv");
    EXPECT_EQ(h.ui.GeometryDialogs, 0) << "a set of one geometry asks no question";
    EXPECT_EQ(h.ws.TileCount, 32);
    EXPECT_TRUE(h.ws.MasterTilesSelected && h.ws.MasterTileSetLoaded && !h.ws.TargetTilesSelected);
    EXPECT_EQ(h.ws.MasterCompany + "|" + h.ws.MasterSerial + "|" + h.ws.MasterOperator + "|" +
                  h.ws.MasterTileSetSerial,
              "Fixture Lab|SN-42|Pat|AV2024");  // tab and carriage return dropped
    EXPECT_EQ(h.Panel(StatusBarId::FileStatusBar, 1), "Master Tiles file is master.wsv");
    EXPECT_EQ(h.Panel(StatusBarId::InstrumentBar, 1), "Master : Macbeth Color i7   /   PBII01");

    h.commands->Menu().SetEnabled(C::TargetInstrumentTileSet, false);
    const Matrix before = h.ws.MasterReflectance;
    h.ws.MasterTileSetLoaded = false;
    h.ui.Status.clear();
    h.commands->MasterInstrumentTileSet_Click();  // cancelled
    EXPECT_TRUE(h.ui.Messages.empty());
    EXPECT_EQ(h.ws.MasterReflectance, before);
    EXPECT_TRUE(h.ws.MasterTileSetLoaded && h.Enabled(C::TargetInstrumentTileSet));
    EXPECT_EQ(h.Panel(StatusBarId::InstrumentBar, 1), "Master : Macbeth Color i7   /   PBII01");
    EXPECT_EQ(h.Panel(StatusBarId::FileStatusBar, 1), "");  // only the instrument bar is rewritten

    h.ui.Files = {WriteSet(h.folder, "both.wsv", {.status = "PBBI01"}).string()};
    h.ui.GeometryAnswers = {false};
    h.commands->MasterInstrumentTileSet_Click();  // a set of both geometries asks which to read
    EXPECT_EQ(h.ui.GeometryDialogs, 1);
    EXPECT_FALSE(h.ws.GeometryChoice);
    EXPECT_EQ(h.ws.MasterStatus, "PBEI01");
    EXPECT_DOUBLE_EQ(h.ws.MasterReflectance(5, 20),
                     test::DemoSets().MasterTiles.Records[5].Curves[1][20]);  // SCE
}

TEST(TileSets, TheTargetDrawsTheRawDifferencesAndANewMasterInvalidatesIt) {
    CommandHarness h("target-tiles");
    const auto master = WriteSet(h.folder, "master.wsv", SetOptions{});
    const auto target = WriteSet(h.folder, "target.wsv", {.instrument = 186, .target = true});
    h.ui.Files = {master.string(), target.string(), master.string()};
    h.commands->MasterInstrumentTileSet_Click();
    h.commands->TargetInstrumentTileSet_Click();
    EXPECT_TRUE(h.ui.Messages.empty());
    EXPECT_EQ(h.ui.FileRequests[1].Filter, "Target Reflectance Save Sets | *.wsv");
    EXPECT_TRUE(h.ws.TargetTilesSelected && h.ws.TargetTileSetLoaded);
    EXPECT_EQ(h.ws.TargetTileSetSerial, "AV2024");
    EXPECT_EQ(h.Panel(StatusBarId::FileStatusBar, 2), "Target Tiles file is target.wsv");
    EXPECT_EQ(h.Panel(StatusBarId::InstrumentBar, 2), "Target : X-Rite Ci7800   /   PBII01");
    const ResultGridModel& grid = h.commands->Grid();  // 35 rows, tile 1 in row 3
    EXPECT_TRUE(grid.Visible() && h.commands->Menu().Visible(C::DisplayCommand));
    ASSERT_EQ(grid.Rows(), 35);
    EXPECT_EQ(grid.TextMatrix(3, 0), "Tile 1");
    EXPECT_GT(h.ws.RawDE(0, 3), 0.0);
    EXPECT_EQ(grid.TextMatrix(3, 1), Format(h.ws.RawDE(0, 3), "##0.00"));
    EXPECT_TRUE(h.Enabled(C::GenerateFunction) && h.Enabled(C::GenerateCCF));
    h.commands->MasterInstrumentTileSet_Click();
    EXPECT_FALSE(h.ws.TargetTilesSelected || h.ws.CoefficientsCalculated);

    CommandHarness cancelled("target-cancel");
    cancelled.ui.Files = {""};
    cancelled.commands->TargetInstrumentTileSet_Click();
    EXPECT_TRUE(cancelled.ws.TargetTileSetLoaded && !cancelled.ws.TargetTilesSelected);
}

// ---- the menu road: profile, save, report, compare, save the corrected fandeck ------------------

TEST(MenuRoad, EachCommandsFilesGoWhereChosenAndCancelsChangeNothing) {
    CommandHarness h("menu-road");
    const test::DemoFiles demo = test::WriteSmallDemo(h.folder, 20);
    const auto ccf = h.folder / "profiles" / "pair.ccf", report = h.folder / "Run1.txt",
               out = h.folder / "correlated.wsv";
    std::filesystem::create_directories(ccf.parent_path());
    h.ui.Files = {demo.masterTiles.string(),
                  demo.targetTiles.string(),
                  "",
                  ccf.string(),
                  "",
                  report.string()};  // two cancels
    h.ui.GeometryAnswers = {true};
    h.ui.HeaderAnswers = {false};  // quitting the header dialog still profiles
    h.commands->MasterInstrumentTileSet_Click();
    h.commands->TargetInstrumentTileSet_Click();
    h.commands->Execute(C::GenerateCCF);
    EXPECT_TRUE(h.ws.CoefficientsCalculated && h.Enabled(C::SaveCoefficients) &&
                h.Enabled(C::ToPrinter));
    EXPECT_TRUE(h.ws.SCIProfileDate == h.commands->Clock() && !h.ws.SCEProfileDate);

    const auto status = h.ui.Status;
    h.commands->SaveCoefficients_Click();  // cancelled
    EXPECT_FALSE(h.ws.CoefficientsLoaded);
    EXPECT_EQ(h.ui.Status, status);
    EXPECT_EQ(h.ui.FileRequests.back().Mode, FileDialogMode::Save);
    h.commands->SaveCoefficients_Click();
    EXPECT_TRUE(h.ws.CoefficientsLoaded && std::filesystem::exists(ccf));
    EXPECT_EQ(h.ws.CoefficientFile, ccf.string());
    int results = 0;  // one result save set per tile, beside the coefficient file
    for (const auto& entry : std::filesystem::directory_iterator(ccf.parent_path()))
        results += entry.path().filename().string().ends_with("Results.wsv");
    EXPECT_EQ(results, h.ws.TileCount);
    h.commands->Execute(C::SaveProCompRep);  // cancelled
    EXPECT_EQ(h.ui.FileRequests.back().Filter, "Profile Report | *.txt");
    EXPECT_EQ(h.ui.FileRequests.back().FileName, "ProfileReport.txt");
    EXPECT_FALSE(std::filesystem::exists(report));
    h.commands->Execute(C::SaveProCompRep);
    EXPECT_TRUE(Text(report).starts_with("Master Instrument: X-Rite Ci7800"));
    EXPECT_EQ(h.Panel(StatusBarId::FileStatusBar, 3), "Full File Path is " + report.string());
    EXPECT_TRUE(h.ui.Messages.empty());

    h.ui.Files = {demo.masterFandeck.string(), demo.targetFandeck.string(), ccf.string(),
                  out.string(), ""};
    h.commands->MasterInstrumentSaveSet_Click();
    EXPECT_EQ(h.ws.MasterFandeck.RecordCount, 20);
    h.commands->TargetInstrumentSaveSet_Click();
    h.commands->CorrelationFileMenu_Click();
    EXPECT_EQ(h.Panel(StatusBarId::FileStatusBar, 1) + "|" +
                  h.Panel(StatusBarId::FileStatusBar, 2) + "|" +
                  h.Panel(StatusBarId::FileStatusBar, 3),
              "Master SaveSet is master-fandeck.wsv|Target SaveSet is target-fandeck.wsv|"
              "Coefficients File is pair.ccf");
    ASSERT_TRUE(h.commands->Menu().Available(C::GenerateCSS));
    h.commands->Execute(C::GenerateCSS);
    // The file has no SCE block: the SCE curves are copied and the user is told.
    ASSERT_EQ(h.ui.Messages.size(), 1u);
    const std::string warning = h.Messages();
    EXPECT_TRUE(warning.starts_with("WARNING: ") && warning.find("SCE") != std::string::npos);
    EXPECT_TRUE(h.ws.PerformanceDataReady && h.ws.CorrelatedFandeckReady);
    const ResultGridModel& grid = h.commands->Grid();
    EXPECT_EQ(std::pair(grid.Rows(), grid.Cols()), std::pair(23, 9));
    EXPECT_EQ(grid.TextMatrix(22, 0), "Average");
    // Corrected SCI differences (columns 5..8) are smaller than the raw ones (1..4).
    EXPECT_LT(Val(grid.TextMatrix(22, 8)), Val(grid.TextMatrix(22, 4)));

    h.commands->Execute(C::SaveCorrelatedFandeck);
    EXPECT_EQ(h.ui.FileRequests.back().Filter, "Correlated Fandeck File | *.wsv");
    EXPECT_EQ(LoadSaveSet(out).Records.size(), 20u);
    std::filesystem::remove(out);
    h.ws.CorrelatedSaveSetLoaded = false;
    h.commands->SaveCorrelatedFandeck_Click();  // cancelled: nothing is written
    EXPECT_TRUE(h.ui.Messages.empty());
    EXPECT_FALSE(h.ws.CorrelatedSaveSetLoaded);
    EXPECT_FALSE(std::filesystem::exists(out));
}

// ---- every refusal of the file, coefficient and fandeck commands --------------------------------

// `pattern` is the text, or the text's start, "...", and something the rest holds.
bool Matches(const std::string& pattern, const std::string& text) {
    const auto dots = pattern.find("...");
    return dots == std::string::npos
               ? text == pattern
               : text.starts_with(pattern.substr(0, dots)) &&
                     text.find(pattern.substr(dots + 3), dots) != std::string::npos;
}

// The file a file dialog answers with, by name: save sets written into the harness's folder,
// the shared demo files, or files that are damaged or missing ("cancel" cancels the dialog).
std::string File(CommandHarness& h, const std::string& name) {
    const auto set = [&](SetOptions options) { return WriteSet(h.folder, name + ".wsv", options); };
    const auto write = [&](const char* file, const char* text) {
        std::ofstream(h.folder / file) << text;
        return h.folder / file;
    };
    const std::map<std::string, std::function<std::filesystem::path()>> files = {
        {"master", [&] { return set({}); }},
        {"master of 30", [&] { return set({.records = 30}); }},
        {"master without UV", [&] { return set({.status = "PBIE01"}); }},
        {"master, UV letter X", [&] { return set({.status = "PBIX01"}); }},
        {"master, status PBI", [&] { return set({.status = "PBI"}); }},
        {"CM-700 without UV", [&] { return set({.status = "PBIE01", .instrument = 208}); }},
        {"CM-2002 without UV", [&] { return set({.status = "PBIE01", .instrument = 2}); }},
        {"target", [&] { return set({.instrument = 186, .target = true}); }},
        {"target without UV", [&] { return set({.status = "PBIE01", .target = true}); }},
        {"target of 16", [&] { return set({.records = 16, .target = true}); }},
        {"target in SCE", [&] { return set({.status = "PBEI01", .instrument = 186}); }},
        {"8 of the demo Target", [&] { return set({.records = 8, .instrument = 179}); }},
        {"12 of a Color i7", [&] { return set({.records = 12}); }},
        {"demo Master fandeck", [] { return test::SharedDemo().first.masterFandeck; }},
        {"demo Target fandeck", [] { return test::SharedDemo().first.targetFandeck; }},
        {"demo coefficients", [] { return test::SharedDemo().second; }},
        {"demo coefficients copy",
         [&] { return write("pair.ccf", Text(test::SharedDemo().second).c_str()); }},
        {"damaged coefficients", [&] { return write("bad.ccf", "186\r\nshort\r\n"); }},
        {"no save set", [&] { return write("junk.wsv", "junk"); }},
        {"missing", [&] { return h.folder / "gone.wsv"; }},
        {"new", [&] { return h.folder / "new.wsv"; }},
        {"cancel", [] { return std::filesystem::path(); }},
    };
    return files.at(name)().string();
}

// What a refusal must leave alone: the load flags, files, panels, grid, and the folder's files.
std::string State(CommandHarness& h) {
    const GlobalVariables& w = h.ws;
    std::string state;
    for (bool flag : {w.MasterTileSetLoaded, w.MasterTilesSelected, w.TargetTileSetLoaded,
                      w.TargetTilesSelected, w.CoefficientsCalculated, w.CoefficientsLoaded,
                      w.MasterSaveSetLoaded, w.PerformanceDataReady, w.CorrelatedFandeckReady,
                      h.Enabled(C::TargetInstrumentTileSet), h.commands->Grid().Visible()})
        state += flag ? "1" : "0";
    state +=
        "|" + std::to_string(w.TileCount) + "|" + w.CoefficientFile + "|" + w.MasterSaveSetFile;
    for (const auto& [panel, text] : h.ui.Status)
        state += "|" + text;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(h.folder))
        state += "|" + entry.path().filename().string() + "#" +
                 std::to_string(std::hash<std::string>()(Text(entry.path())));
    return state;
}

const std::string kUvNeeded =
    "Instrument Status Error: The UV Component must be INCLUDED for Profiling";
const std::string kNotAccessible = "File I/O Error: File is NOT accessable";
const std::string kReadProblem =
    "File Read Error: There is a problem with the Save_Set File \r\n\r\n"
    "It may be Corrupt, Empty or on a Mapped Drive\r\nThis may also be a Windows Permission "
    "error\r\nPlease contact your IT administrator to resolve these issues";
const std::string kStatusMismatch = "Data Error: The Master and Target status do NOT Match";

TEST(Refusals, EveryRefusalShowsItsTitleAndTextAndChangesNothingElse) {
    struct Row {
        const char* files;  // the file dialogs' answers by File's names, "|" between them
        const std::vector<C>& before;  // commands run first
        C command;
        std::string message;  // "Title: Text" (see Matches); "" for none
        bool loads = false;   // a warning only: the Master tile set is read
    };
    const std::vector<C> none,
        master = {C::MasterInstrumentTileSet},
        both = {C::MasterInstrumentTileSet, C::TargetInstrumentTileSet},
        profiled = {C::MasterInstrumentTileSet, C::TargetInstrumentTileSet, C::GenerateCCF},
        fandecks = {C::MasterInstrumentSaveSet, C::TargetInstrumentSaveSet, C::CorrelationFileMenu},
        conversion = {C::TargetInstrumentSaveSet, C::CorrelationFileMenu};
    const Row rows[] = {
        // File > Open > Tile Set
        {"missing", none, C::MasterInstrumentTileSet, kNotAccessible},
        {"master of 30", none, C::MasterInstrumentTileSet, kReadProblem},
        {"no save set", none, C::MasterInstrumentTileSet, kReadProblem},
        {"master without UV", none, C::MasterInstrumentTileSet, kUvNeeded, true},  // a warning
        {"master, status PBI", none, C::MasterInstrumentTileSet, kUvNeeded, true},
        {"CM-700 without UV", none, C::MasterInstrumentTileSet, "", true},  // a Minolta: exempt
        {"master|target without UV", master, C::TargetInstrumentTileSet, kUvNeeded},
        {"master|target of 16", master, C::TargetInstrumentTileSet,
         "File Read Error: There is a problem with the Save_Set File "},
        // Generate > Correlation Coefficients, File > Save > Correlated Coefficient File
        {"master", master, C::GenerateCCF,
         "Data Error: Master and Target Instrument data has NOT been selected"},
        {"master without UV|target", both, C::GenerateCCF,
         "Status Error: The Master and Target instruments must be set to UV Component Included"},
        // Past the UV check (a Minolta CM-2002 is exempt, only "E" is refused): the geometries.
        {"CM-2002 without UV|target in SCE", both, C::GenerateCCF, kStatusMismatch},
        {"master, UV letter X|target in SCE", both, C::GenerateCCF, kStatusMismatch},
        {"", none, C::SaveCoefficients, "Warning: Coefficients have not been calculated"},
        {"master|target|demo coefficients copy", profiled, C::SaveCoefficients,
         "ERROR: Incorrect Instruments from file"},
        // fandecks
        {"no save set", none, C::MasterInstrumentSaveSet, kNotAccessible},
        {"missing", none, C::MasterInstrumentSaveSet, kNotAccessible},
        {"demo Master fandeck|8 of the demo Target|demo coefficients", fandecks, C::GenerateCSS,
         "Save Set Mis-Match: Number of records in Files do NOT match - unable to proceed"},
        {"demo Master fandeck|12 of a Color i7|demo coefficients", fandecks, C::GenerateCSS,
         "Instrument Mis-Match: Instrument types do NOT match - unable to proceed"},
        {"demo Target fandeck|damaged coefficients", conversion, C::GenerateConvData,
         "File Read Error: There is a problem with the Save_Set File "},
        {"12 of a Color i7|demo coefficients", conversion, C::GenerateConvData,
         "Instuments do NOT Match: Profile Master - X-Rite Ci7800\r\nProfile Target - X-Rite "
         "Ci64uv\r\nSaveSet Instrument - Macbeth Color i7"},
        {"cancel", none, C::SaveCorrelatedFandeck, ""},
        {"new", none, C::SaveCorrelatedFandeck,
         "Data Error: There is no Correlated Fandeck data to save - convert a fandeck first"},
    };
    test::SharedDemo();  // made first: every harness points TINTARA_HOME at its own folder
    for (const Row& row : rows) {
        CommandHarness h("refusal");
        SCOPED_TRACE(std::string(row.files) + " -> " +
                     std::string(h.commands->Menu().Item(row.command).Name));
        std::istringstream names(row.files);
        for (std::string name; std::getline(names, name, '|');)
            h.ui.Files.push_back(File(h, name));
        h.ui.HeaderAnswers = {true};
        for (C id : row.before)
            h.commands->Execute(id);
        h.ui.Messages.clear();
        const std::string before = State(h);
        h.commands->Execute(row.command);
        EXPECT_TRUE(h.ui.Files.empty());
        // Only an instrument pair that passed the UV check reaches the header dialog.
        EXPECT_EQ(h.ui.HeaderDialogs, row.message == kStatusMismatch || &row.before == &profiled);
        if (!row.message.empty()) {
            ASSERT_EQ(h.ui.Messages.size(), 1u);
            EXPECT_EQ(h.ui.Messages[0].Icon, h.ui.Messages[0].Title == "Status Error"
                                                 ? MessageIcon::None
                                                 : MessageIcon::Exclamation);
        }
        const std::string shown = h.Messages();
        EXPECT_TRUE(Matches(row.message, shown)) << shown;
        if (row.loads) {
            EXPECT_TRUE(h.ws.MasterTilesSelected && h.ws.MasterTileSetLoaded);
        } else {
            EXPECT_EQ(State(h), before);
        }
    }
}

}  // namespace
}  // namespace tintara
