// The demo save sets on disk and the profiling road through the menu commands, for the tests.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>

#include "app/CommandHarness.h"
#include "files/DemoData.h"

namespace tintara::test {

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

// File > Open both tile sets in one geometry, Generate > Correlation Coefficients, File > Save
// the coefficient file, all with OK everywhere.
inline void ProfileIntoCcf(CommandHarness& h, const DemoFiles& demo,
                           const std::filesystem::path& ccf, bool sci) {
    h.ui.Files.insert(h.ui.Files.end(),
                      {demo.masterTiles.string(), demo.targetTiles.string(), ccf.string()});
    h.ui.GeometryAnswers.push_back(sci);
    h.ui.HeaderAnswers.push_back(HeaderAnswer{});
    h.commands->MasterInstrumentTileSet_Click();
    h.commands->TargetInstrumentTileSet_Click();
    h.commands->GenerateCCF_Click();
    h.commands->SaveCoefficients_Click();
}

}  // namespace tintara::test
