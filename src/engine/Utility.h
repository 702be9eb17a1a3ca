// The profiling engine: colour differences per tile, the four correction phases, fine spectra.
#pragma once

#include <cstdint>
#include <string>

#include "engine/ColorMatch.h"
#include "workspace/GlobalVariables.h"
#include "workspace/Progress.h"

namespace tintara {

// Works in place on the workspace it is given; procedures take no arguments beyond the tile or
// wavelength of the single-tile steps and communicate only through the workspace. Every loop over
// tiles runs 0..TileCount inclusive. Arithmetic faults (division by zero, non-finite results)
// throw ComputeError naming the phase, tile and wavelength.
class Utility {
public:
    explicit Utility(GlobalVariables& ws, ProgressSink& progress = NullProgress());

    ColorMatch PLM;  // the colour-matching component; its colour space follows ws.ColorSpace

    // ---- colour difference (UtilityColour.cpp) ----
    void ResetArrays();
    void FillDeltaArray();
    void ReCalcDE();

    // ---- spectral preparation and reset (Utility.cpp) ----
    void GetRawDE();
    void GenerateSpectralData();
    void InitializeVariables();
    void CheckMetamerism() {}
    static std::string ConvertBytetoString(const std::vector<uint8_t>& bytes);

    // ---- correction phases (UtilityPhases.cpp) ----
    void CalculateOffset();
    void CalculateGain();
    void CalculateLinearity();
    void CalculateWavelength();
    void SingleTileCentroid(int16_t tile);
    void SingleTileLeastDiff(int16_t tile, int16_t wavelength, double& difference);

    // ---- fandeck comparison (UtilityFandeck.cpp) ----
    void AllocateFandeckArrays();
    void ProcessCorrelatedDeltas();

private:
    void BuildLinearityPoints();
    void FitLinearitySegments();
    void ApplyLinearity();

    GlobalVariables& m_ws;
    ProgressSink& m_progress;
};

}  // namespace tintara
