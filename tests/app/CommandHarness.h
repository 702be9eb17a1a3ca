// A started main window without a window (workspace, scripted interface, commands) and the save
// sets the command tests feed it: small hand-made tile sets and fandecks, and the demo data.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
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
        const auto it = ui.Status.find({bar, panel});
        return it == ui.Status.end() ? std::string() : it->second;
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

// A smooth reflectance curve (percent) for sample k, every sample differing in lightness and hue;
// tile 0 is the lightest and tile 1 the darkest, as the reference-tile table expects. A Target
// reads it with a photometric offset and gain and a mild nonlinearity; SCE reads 3 % lower.
inline Curve SampleCurve(int k, bool target = false) {
    Curve curve{};
    const double level = k == 0 ? 86.0 : k == 1 ? 2.0 : 8.0 + 2.2 * k;
    for (int p = 0; p < kPointCount; ++p) {
        const double nm = 360.0 + 10.0 * p;
        const double bump =
            0.25 * level * std::exp(-std::pow((nm - 400.0 - 11.0 * (k % 31)) / 60.0, 2.0));
        const double x = std::min(98.0, level * (0.85 + 0.15 * (nm - 360.0) / 390.0) + bump);
        curve[p] = target ? 0.4 + 1.015 * x - 0.0002 * x * x : x;
    }
    return curve;
}

struct SetOptions {
    int records = 32;
    std::string status = "PBII01";  // 3rd character geometry, 4th UV
    int16_t instrument = 177;       // Macbeth Color i7
    bool target = false;            // readings through the Target's response
    std::string company = "Fixture Lab";
    std::string namePrefix = "Tile ";
};

// Two geometries per record; tile-set serial "AV\t2024\r" (with control characters), instrument
// serial "SN-42", operator "Pat".
inline std::filesystem::path WriteSet(const std::filesystem::path& folder, const std::string& name,
                                      const SetOptions& options) {
    SaveSetData data;
    data.NumAngles = 2;
    data.Company = options.company;
    data.Status = options.status;
    data.Instrument = options.instrument;
    for (int k = 0; k < options.records; ++k) {
        SaveSetRecord record;
        record.Name = options.namePrefix + std::to_string(k + 1);
        record.Name2 = "AV\t2024\r";
        record.System = "SN-42";
        record.Notes = "Pat";
        record.Status = options.status;
        record.Instrument = options.instrument;
        record.Curves[0] = SampleCurve(k, options.target);
        for (int p = 0; p < kPointCount; ++p)
            record.Curves[1][p] = record.Curves[0][p] * 0.97;
        data.Records.push_back(record);
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
    DemoParameters parameters;
    parameters.FandeckSamples = fandeckSamples;
    const auto files = WriteDemoData(dir, parameters);
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

}  // namespace tintara::test
