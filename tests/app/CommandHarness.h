// A started main window without a window: workspace, scripted interface and commands.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

#include "app/ProfilerCommands.h"
#include "app/ScriptedUi.h"
#include "engine/Tolerances.h"
#include "support/TestPaths.h"

namespace tintara::test {

// Each harness gets a scratch folder that is also the program's folder (TINTARA_HOME points
// there, so Profiler.ini is read and written in it). A Profiler.ini with the defaults is written
// first unless `withIni` is false.
struct CommandHarness {
    explicit CommandHarness(const std::string& name, bool withIni = true,
                            const std::string& commandLine = "")
        : folder(ScratchDir("app-" + name)) {
        ::setenv("TINTARA_HOME", folder.c_str(), 1);
        if (withIni)
            WriteTolerances(folder / "Profiler.ini", ToleranceSettings{});
        // The pictures live beside the program.
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
        ui.Messages.clear();
        ui.Log.clear();
    }

    std::string Panel(StatusBarId bar, int panel) const { return ui.StatusText(bar, panel); }
    bool Enabled(CommandId id) const { return commands->Menu().Enabled(id); }

    // The one message shown since the last call, as "Title: Text" (fails when not exactly one).
    std::string OnlyMessage() {
        EXPECT_EQ(ui.Messages.size(), 1u);
        std::string text = ui.Messages.empty()
                               ? std::string()
                               : ui.Messages.front().Title + ": " + ui.Messages.front().Text;
        ui.Messages.clear();
        return text;
    }

    std::filesystem::path folder;
    GlobalVariables ws;
    ScriptedUi ui;
    std::unique_ptr<ProfilerCommands> commands;
};

}  // namespace tintara::test
