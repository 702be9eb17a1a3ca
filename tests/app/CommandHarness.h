// A started main window without a window (workspace, scripted interface, commands) and the save
// sets the command tests feed it: small hand-made tile sets and fandecks, and the demo data.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

#include "app/ProfilerCommands.h"
#include "app/ScriptedUi.h"
#include "engine/Tolerances.h"
#include "files/DemoData.h"
#include "files/SaveSetLibrary.h"
#include "support/TestPaths.h"

namespace tintara::test {

// Each harness gets a scratch folder that is also the program's folder (TINTARA_HOME points
// there, so Profiler.ini is read and written in it). A Profiler.ini with the defaults is written
// first unless `withIni` is false. Messages and status texts of the start-up are kept.
struct CommandHarness {
    explicit CommandHarness(const std::string& name, bool withIni = true,
                            const std::string& commandLine = "")
        : folder(ScratchDir("app-" + name)) {
        ::setenv("TINTARA_HOME", folder.c_str(), 1);
        if (withIni)
            WriteTolerances(folder / "Profiler.ini", ToleranceSettings{});
        for (const char* picture : {"Watermark.jpg", "Profiler_Background.jpg"}) {
            const auto built = std::filesystem::path(TINTARA_BINARY_DIR) / picture;
            if (std::filesystem::exists(built))
                std::filesystem::copy_file(built, folder / picture);
        }
        commands = std::make_unique<ProfilerCommands>(ws, ui, folder);
        commands->Clock = [] {
            return std::chrono::system_clock::time_point(std::chrono::hours(24 * 19800));
        };
        commands->Form_Load(commandLine);
    }

    std::string Panel(StatusBarId bar, int panel) const {
        return ui.Status.contains({bar, panel}) ? ui.Status.at({bar, panel}) : "";
    }
    bool Enabled(CommandId id) const { return commands->Menu().Enabled(id); }
    // Every message shown since the last call, as "Title: Text" lines.
    std::string Messages() {
        std::string text;
        for (const auto& m : ui.Messages)
            text += (text.empty() ? "" : "\n") + m.Title + ": " + m.Text;
        ui.Messages.clear();
        return text;
    }

    std::filesystem::path folder;
    GlobalVariables ws;
    ScriptedUi ui;
    std::unique_ptr<ProfilerCommands> commands;
};

// ---- hand-made save sets ------------------------------------------------------------------------

struct SetOptions {
    int records = 32;               // at most 32
    std::string status = "PBII01";  // 3rd character geometry, 4th UV
    int16_t instrument = 177;       // Macbeth Color i7
    bool target = false;            // the demo Target's readings, else the demo Master's
};

// The demo tile set (both geometries, SCI at angle position 0) under other headers: company
// "Fixture Lab", tile-set serial "AV\t2024\r" (with control characters), serial "SN-42",
// operator "Pat".
inline const DemoSaveSets& DemoSets() {
    static const DemoSaveSets demo = MakeDemoData(DemoParameters{.FandeckSamples = 1});
    return demo;
}
inline std::filesystem::path WriteSet(const std::filesystem::path& folder, const std::string& name,
                                      const SetOptions& options) {
    SaveSetData data = options.target ? DemoSets().TargetTiles : DemoSets().MasterTiles;
    data.Records.resize(options.records);
    data.Company = "Fixture Lab";
    data.Status = options.status;
    data.Instrument = options.instrument;
    for (int k = 0; k < options.records; ++k) {
        SaveSetRecord& record = data.Records[k];
        record.Name = "Tile " + std::to_string(k + 1);
        record.Name2 = "AV\t2024\r";
        record.System = "SN-42";
        record.Notes = "Pat";
        record.Status = options.status;
        record.Instrument = options.instrument;
    }
    StoreSaveSet(data, folder / name);
    return folder / name;
}

// ---- the demo data ------------------------------------------------------------------------------

struct DemoFiles {
    std::filesystem::path masterTiles, targetTiles, masterFandeck, targetFandeck;
};

// The demo data with a short fandeck, so that the tests stay quick.
inline DemoFiles WriteSmallDemo(const std::filesystem::path& dir, int fandeckSamples = 40) {
    const auto files = WriteDemoData(dir, {.FandeckSamples = fandeckSamples});
    return {files.at(0), files.at(1), files.at(2), files.at(3)};
}

// File > Open both demo tile sets in one geometry, Generate > Correlation Coefficients and File >
// Save the coefficient file, with OK everywhere.
inline void ProfileIntoCcf(CommandHarness& h, const DemoFiles& demo,
                           const std::filesystem::path& ccf, bool sci) {
    h.ui.Files.insert(h.ui.Files.end(),
                      {demo.masterTiles.string(), demo.targetTiles.string(), ccf.string()});
    h.ui.GeometryAnswers.push_back(sci);
    h.ui.HeaderAnswers.push_back(true);
    h.commands->MasterInstrumentTileSet_Click();
    h.commands->TargetInstrumentTileSet_Click();
    h.commands->GenerateCCF_Click();
    h.commands->SaveCoefficients_Click();
}

// The demo pair with a 12-sample fandeck and its SCI coefficient file, made once per test
// program (before any other harness: each harness points TINTARA_HOME at its own folder).
inline const std::pair<DemoFiles, std::filesystem::path>& SharedDemo() {
    static const auto demo = [] {
        CommandHarness h("shared-demo");
        const auto files = WriteSmallDemo(h.folder, 12);
        ProfileIntoCcf(h, files, h.folder / "sci.ccf", true);
        EXPECT_EQ(h.Messages(), "");
        return std::pair(files, h.folder / "sci.ccf");
    }();
    return demo;
}

}  // namespace tintara::test
