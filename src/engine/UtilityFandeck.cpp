// Fandeck comparison: per-sample colour differences of a Master fandeck against the Target
// fandeck, before and after correction.
#include <algorithm>
#include <array>
#include <span>

#include "engine/Utility.h"

namespace tintara {

namespace {

constexpr std::size_t kAngles = 2;  // SCI at position 0, SCE at position 1

// Whether a fandeck holds a second angle position: the readers leave a position the save set does
// not hold at zero, and no measured curve is zero at every point of every record.
bool HoldsSecondPosition(const FandeckCurves& curves, std::size_t records) {
    if (curves.Angles() < kAngles)
        return false;
    for (std::size_t r = 0; r < records; ++r) {
        const double* c = curves.Curve(r, 1);
        for (int w = 0; w < kPointCount; ++w) {
            if (c[w] != 0.0)
                return true;
        }
    }
    return false;
}

}  // namespace

void Utility::AllocateFandeckArrays() {
    const auto samples = static_cast<std::size_t>(std::max<int32_t>(0, m_ws.SampleCount));
    m_ws.MasterFandeckReflectance.Resize(samples, kAngles);
    m_ws.TargetFandeckReflectance.Resize(samples, kAngles);
    m_ws.CorrelatedFandeckReflectance.Resize(samples, kAngles);
    m_ws.SampleNames.assign(samples, std::string());
    m_ws.SampleDeltas.Resize(samples + 1, kSampleDeltaColumns);
}

// For every sample and geometry processed, SampleDeltas holds DL, Da, Db, DE of the Master against
// the uncorrected Target (columns 0..3 of the geometry's group) and against the corrected Target
// (4..7); the SCI group is columns 0..7, the SCE group 8..15. Row SampleCount holds the averages:
// signed means of DL, Da, Db and the mean DE. The numbers are those ReCalcDE gives for the pair
// (the colour-matching component with the standard = Master, trial = Target), taken through its
// allocation-free getters because a fandeck may hold 100,000 samples.
void Utility::ProcessCorrelatedDeltas() {
    GlobalVariables& ws = m_ws;
    const FandeckCurves& master = ws.MasterFandeckReflectance;
    const FandeckCurves& target = ws.TargetFandeckReflectance;
    std::size_t samples = static_cast<std::size_t>(std::max<int32_t>(0, ws.FandeckRecordCount));
    samples = std::min({samples, master.Records(), target.Records()});
    // The corrected group is the uncorrected one again when no coefficient file was applied.
    // ... and when the conversion was made from another Target fandeck than the one now loaded.
    const bool converted = ws.ConversionDone && !ws.TargetFandeck.File.empty() &&
                           ws.ConvertedFandeckFile == ws.TargetFandeck.File &&
                           ws.CorrelatedFandeckReflectance.Records() >= samples;
    const FandeckCurves& corrected = converted ? ws.CorrelatedFandeckReflectance : target;

    // One geometry for a one-angle Master (its status says which, and its curves sit at position
    // 0), both for two angles.
    bool process[kAngles] = {false, false};
    std::size_t masterPosition[kAngles] = {0, 1};
    std::size_t targetPosition[kAngles] = {0, 1};
    if (HoldsSecondPosition(master, samples)) {
        process[0] = process[1] = true;
    } else {
        const std::string& status = ws.MasterFandeck.Status;
        const bool sci = status.size() >= 3 && status[2] == 'I';
        const std::size_t g = sci ? 0 : 1;
        process[g] = true;
        masterPosition[g] = 0;
        targetPosition[g] = HoldsSecondPosition(target, samples) ? g : 0;
    }

    ws.SampleCount = static_cast<int32_t>(samples);
    const std::vector<std::string>& names = ws.MasterFandeck.Names;
    ws.SampleNames.assign(names.begin(), names.begin() + static_cast<std::ptrdiff_t>(
                                                             std::min(samples, names.size())));
    ws.SampleNames.resize(samples);
    ws.SampleDeltas.Resize(samples + 1, kSampleDeltaColumns);

    PLM.SetColorSpace(ws.ColorSpace);
    std::array<double, 7> difference{};
    std::array<double, kSampleDeltaColumns> sums{};
    for (std::size_t s = 0; s < samples; ++s) {
        double* row = ws.SampleDeltas.Row(s);
        for (std::size_t g = 0; g < kAngles; ++g) {
            if (!process[g])
                continue;
            double* group = row + g * kDeltasPerGeometry;
            PLM.SetStandardSpectrum(
                std::span<const double>(master.Curve(s, masterPosition[g]), kPointCount));
            PLM.SetTrialSpectrum(
                std::span<const double>(target.Curve(s, targetPosition[g]), kPointCount));
            PLM.DifferenceVector(difference);
            group[0] = difference[0];
            group[1] = difference[1];
            group[2] = difference[2];
            group[3] = difference[6];
            if (converted) {
                PLM.SetTrialSpectrum(
                    std::span<const double>(corrected.Curve(s, targetPosition[g]), kPointCount));
                PLM.DifferenceVector(difference);
                group[4] = difference[0];
                group[5] = difference[1];
                group[6] = difference[2];
                group[7] = difference[6];
            } else {
                std::copy(group, group + 4, group + 4);
            }
            for (int c = 0; c < kDeltasPerGeometry; ++c)
                sums[g * kDeltasPerGeometry + c] += group[c];
        }
    }
    double* average = ws.SampleDeltas.Row(samples);
    for (int c = 0; c < kSampleDeltaColumns; ++c) {
        average[c] = samples == 0 ? 0.0 : sums[c] / static_cast<double>(samples);
    }
}

}  // namespace tintara
