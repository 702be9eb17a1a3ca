// The profiling engine: colour differences per tile, the four correction phases, fine spectra.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "engine/ColorMatch.h"
#include "workspace/GlobalVariables.h"
#include "workspace/Progress.h"

namespace tintara {

// How CalculateWavelength finds the weights of each point. Both give bit-identical coefficients,
// corrected curves and DE tables; they differ only in the work done on the way.
enum class WavelengthSearchMode {
    // Every candidate is judged call by call through SingleTileCentroid and SingleTileLeastDiff,
    // with all their side effects (a full colour difference per tile and candidate). Kept as the
    // reference the fast path is tested against.
    Reference,
    // Only what decides the choice: the per-tile |difference| at the point being tuned, summed in
    // the same tile order with the same floating-point expression (WavelengthSearch.h).
    Fast,
};

// Which fandeck curves a comparison sets side by side: records 0..Samples-1 (the smaller of the
// fandecks and FandeckRecordCount); per geometry (0 SCI, 1 SCE) whether it is compared and at which
// angle position each fandeck holds it. Both geometries for a two-angle Master, else the one its
// status names (third character "I": SCI), read from position 0 of the Master and from the
// Target's matching position when it has a second one. Converted: the corrected Target is the
// conversion in the workspace (made from this Target fandeck, for at least as many records);
// otherwise it is the Target itself.
struct FandeckPairing {
    std::size_t Samples = 0;
    std::array<bool, 2> Compared{};
    std::array<std::size_t, 2> MasterPosition{0, 1};
    std::array<std::size_t, 2> TargetPosition{0, 1};
    bool Converted = false;
};
FandeckPairing PairFandeckCurves(const GlobalVariables& ws);

// One sample of a comparison as it is read: the Master's name and, per angle position (0, 1), the
// Master curve, the Target curve and the corrected Target curve (40 points each; a position the
// fandeck does not hold is all zero). Borrowed until the next call of the source.
struct FandeckSample {
    const std::string* Name = nullptr;
    std::array<const double*, 2> Master{}, Target{}, Corrected{};
};
// Supplies the samples of a comparison one per call: fills `sample` and returns true, or false
// after the last. May throw (a file that cannot be read).
using FandeckSampleSource = std::function<bool(FandeckSample& sample)>;

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
    // Progress: CalculateOffset sets the maximum to (TileCount + 1) x 120 + 840 and the value to
    // 0; the first three phases advance 1 per tile and point, the weight search 1 per centre
    // weight and point.
    void CalculateOffset();
    void CalculateGain();
    void CalculateLinearity();
    void CalculateWavelength();
    void SingleTileCentroid(int16_t tile);
    void SingleTileLeastDiff(int16_t tile, int16_t wavelength, double& difference);

    void SetWavelengthSearchMode(WavelengthSearchMode mode) { m_searchMode = mode; }
    WavelengthSearchMode GetWavelengthSearchMode() const { return m_searchMode; }

    // ---- fandeck comparison (UtilityFandeck.cpp) ----
    void AllocateFandeckArrays();
    // Fills SampleNames, SampleDeltas and SampleCount from the samples `next` supplies in file
    // order (as PairFandeckCurves pairs them). On any failure the comparison is emptied
    // (SampleCount 0, PerformanceDataReady false) and the exception passes on.
    void ProcessCorrelatedDeltas(const FandeckSampleSource& next);

    GlobalVariables& Workspace() { return m_ws; }
    ProgressSink& Progress() { return m_progress; }

  private:
    void BuildLinearityPoints();
    void FitLinearitySegments();
    void ApplyLinearity();

    // Compares MasterReflectance(tile) with row `tile` of `output` through ReCalcDE and returns
    // DE (DEResult element 6); a missing or non-finite DE throws ComputeError naming `phase`.
    double EvaluateTile(const Matrix& output, int tile, const char* phase);
    void SearchWeightsReference(int16_t wavelength);
    void SearchWeightsFast(int16_t wavelength);

    GlobalVariables& m_ws;
    ProgressSink& m_progress;
    WavelengthSearchMode m_searchMode = WavelengthSearchMode::Fast;
};

}  // namespace tintara
