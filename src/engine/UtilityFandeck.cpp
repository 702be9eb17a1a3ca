// Fandeck comparison: per-sample colour differences of a Master fandeck against the Target
// fandeck, before and after correction.
#include <algorithm>
#include <array>
#include <cmath>
#include <span>
#include <string>

#include "engine/Utility.h"
#include "workspace/Error.h"
#include "workspace/NumberFormat.h"
#include "workspace/StatusCode.h"

namespace tintara {

namespace {

constexpr std::size_t kAngles = 2;  // SCI at position 0, SCE at position 1

// Whether a fandeck holds a second angle position within its first `records` records: a position
// the save set does not hold reads as zero, and no measured curve is zero at every point of every
// record.
bool HoldsSecondPosition(const GlobalVariables::FandeckIdentity& fandeck, std::size_t records) {
    return fandeck.FirstSecondPositionRecord >= 0 &&
           static_cast<std::size_t>(fandeck.FirstSecondPositionRecord) < records;
}

std::string SampleText(std::size_t s, const std::string* name) {
    std::string text = "sample " + std::to_string(s + 1);
    if (name)
        text += " (" + Excerpt(*name) + ")";
    return text;
}

// No average, grid or verdict may rest on a reading no instrument gives.
void RequireUsable(std::size_t s, const std::string* name, const double* curve,
                   const char* fandeck) {
    double bad = 0.0;
    if (!UsableReflectance(std::span<const double>(curve, kPointCount), &bad)) {
        throw ComputeError("Fandeck comparison: " + SampleText(s, name) + " of the " + fandeck +
                           " holds the reflectance " + NumberText(bad) +
                           ", which is not a usable reading (a number within +-1000 %); "
                           "nothing was compared");
    }
}

}  // namespace

void Utility::AllocateFandeckArrays() {
    const auto samples = static_cast<std::size_t>(std::max<int32_t>(0, m_ws.SampleCount));
    m_ws.SampleNames.assign(samples, std::string());
    m_ws.SampleDeltas.Resize(samples + 1, kSampleDeltaColumns);
}

FandeckPairing PairFandeckCurves(const GlobalVariables& ws) {
    FandeckPairing pairing;
    const GlobalVariables::FandeckIdentity& master = ws.MasterFandeck;
    const GlobalVariables::FandeckIdentity& target = ws.TargetFandeck;
    std::size_t samples = static_cast<std::size_t>(std::max<int32_t>(0, ws.FandeckRecordCount));
    samples = std::min({samples, static_cast<std::size_t>(std::max<int32_t>(0, master.RecordCount)),
                        static_cast<std::size_t>(std::max<int32_t>(0, target.RecordCount))});
    if (master.File.empty() || target.File.empty())
        samples = 0;
    pairing.Samples = samples;
    // The corrected group is the uncorrected one again when no coefficient file was applied,
    // and when the conversion was made from another Target fandeck than the one now loaded.
    pairing.Converted =
        ws.ConversionDone && !target.File.empty() && ws.ConvertedFandeckFile == target.File &&
        !ws.ConvertedCurvesFile.empty() &&
        static_cast<std::size_t>(std::max<int32_t>(0, ws.ConvertedRecordCount)) >= samples;

    // One geometry for a one-angle Master (its status says which, and its curves sit at position
    // 0), both for two angles.
    if (HoldsSecondPosition(master, samples)) {
        pairing.Compared = {true, true};
    } else {
        const std::size_t g = StatusCode(master.Status).Sci() ? 0 : 1;
        pairing.Compared[g] = true;
        pairing.MasterPosition[g] = 0;
        pairing.TargetPosition[g] = HoldsSecondPosition(target, samples) ? g : 0;
    }
    return pairing;
}

// For every sample and geometry processed, SampleDeltas holds DL, Da, Db, DE of the Master against
// the uncorrected Target (columns 0..3 of the geometry's group) and against the corrected Target
// (4..7); the SCI group is columns 0..7, the SCE group 8..15. Row SampleCount holds the averages:
// signed means of DL, Da, Db and the mean DE. The numbers are those ReCalcDE gives for the pair
// (the colour-matching component with the standard = Master, trial = Target), taken through its
// allocation-free getters because a fandeck may hold 100,000 samples.
void Utility::ProcessCorrelatedDeltas(const FandeckSampleSource& next) {
    GlobalVariables& ws = m_ws;
    const FandeckPairing pairing = PairFandeckCurves(ws);
    const std::size_t samples = pairing.Samples;
    const bool converted = pairing.Converted;
    const auto& process = pairing.Compared;
    const auto& masterPosition = pairing.MasterPosition;
    const auto& targetPosition = pairing.TargetPosition;

    ws.SampleCount = static_cast<int32_t>(samples);
    ws.SampleNames.assign(samples, std::string());
    ws.SampleDeltas.Resize(samples + 1, kSampleDeltaColumns);
    try {
        PLM.SetColorSpace(ws.ColorSpace);
        std::array<double, 7> difference{};
        std::array<double, kSampleDeltaColumns> sums{};
        FandeckSample sample;
        for (std::size_t s = 0; s < samples; ++s) {
            if (!next(sample)) {
                throw ComputeError("Fandeck comparison: the fandecks ended at " +
                                   SampleText(s, nullptr) + " of " + std::to_string(samples) +
                                   "; nothing was compared");
            }
            if (sample.Name)
                ws.SampleNames[s] = *sample.Name;
            double* row = ws.SampleDeltas.Row(s);
            for (std::size_t g = 0; g < kAngles; ++g) {
                if (!process[g])
                    continue;
                double* group = row + g * kDeltasPerGeometry;
                const double* master = sample.Master[masterPosition[g]];
                const double* target = sample.Target[targetPosition[g]];
                const double* corrected = sample.Corrected[targetPosition[g]];
                RequireUsable(s, sample.Name, master, "Master fandeck");
                RequireUsable(s, sample.Name, target, "Target fandeck");
                if (converted)
                    RequireUsable(s, sample.Name, corrected, "corrected fandeck");
                PLM.SetStandardSpectrum(std::span<const double>(master, kPointCount));
                // The trial's differences from the Master: elements 0..2 and the total, 6.
                const auto differences = [&](const double* trial, double* into) {
                    PLM.SetTrialSpectrum(std::span<const double>(trial, kPointCount));
                    PLM.DifferenceVector(difference);
                    into[0] = difference[0];
                    into[1] = difference[1];
                    into[2] = difference[2];
                    into[3] = difference[6];
                };
                differences(target, group);
                if (converted) {
                    differences(corrected, group + 4);
                } else {
                    std::copy(group, group + 4, group + 4);
                }
                for (int c = 0; c < kDeltasPerGeometry; ++c) {
                    if (!std::isfinite(group[c])) {
                        throw ComputeError("Fandeck comparison: the colour difference of " +
                                           SampleText(s, sample.Name) +
                                           " is not a finite number; nothing was compared");
                    }
                    sums[g * kDeltasPerGeometry + c] += group[c];
                }
            }
        }
        double* average = ws.SampleDeltas.Row(samples);
        for (int c = 0; c < kSampleDeltaColumns; ++c) {
            average[c] = samples == 0 ? 0.0 : sums[c] / static_cast<double>(samples);
        }
    } catch (...) {
        // Half a comparison is none: nothing of it may be shown, printed or validated.
        ws.SampleCount = 0;
        ws.SampleNames.clear();
        ws.SampleNames.shrink_to_fit();
        ws.SampleDeltas.Resize(1, kSampleDeltaColumns);
        ws.PerformanceDataReady = false;
        throw;
    }
}

}  // namespace tintara
