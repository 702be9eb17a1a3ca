// The profiling run of the coefficient command (raw DE, the four phases, fine spectra) and the
// correlation grid's rows, shared by the command line and the desktop application.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "engine/Utility.h"
#include "workspace/GlobalVariables.h"

namespace tintara {

// What the run shows between phases when the workspace's ShowPhaseProgress is set (it never is
// by default, so the default does nothing). Column is the grid column 1..6 of the phase.
class PhaseDisplay {
  public:
    virtual ~PhaseDisplay() = default;
    virtual void RefreshDisplay() {}
    virtual void IndicateCell(int16_t /*column*/) {}
};

// Runs, on utility's workspace: GetRawDE; the DE columns seeded from the raw DE; CalculateOffset,
// CalculateGain, CalculateLinearity, CalculateWavelength, each followed by copying its DE forward
// into the later columns; GenerateSpectralData. The copies between phases run over tiles
// 1..TileCount, as the command always has (tile 0 and the extra slot are filled by the phases
// themselves). Lets events run between the steps through utility's ProgressSink. Expects both
// tile sets in the workspace with the reference tiles set; throws ComputeError from the phases.
// Sets no flags: CoefficientsCalculated, the dates and the menus are the command's business.
void ProfileSequence(Utility& utility, PhaseDisplay* display = nullptr);

// The correlation grid as the screen shows it, as plain text rows: the header "Tile Name",
// "Raw DE", "Phase #1" .. "Phase #4", "Final DE"; the "Average DE" row (each column the sum of
// tiles 0..TileCount inclusive divided by TileCount + 1); then one row per tile 0..TileCount-1.
// Every DE is Format(x, "##0.00").
std::vector<std::vector<std::string>> CorrelationGridRows(const GlobalVariables& ws);

}  // namespace tintara
