// Synthetic Master/Target tile-set pairs for the engine tests: smooth, plausible reflectances and a
// Target that differs from the Master the way real instruments do.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "engine/ColorMatch.h"
#include "workspace/GlobalVariables.h"

namespace tintara::test {

// Systematic differences of the synthetic Target from the Master (percent reflectance, nm).
struct InstrumentModel {
    double Offset = 0.35;          // photometric zero error
    double Gain = 0.975;           // photometric scale error
    double Shift = 1.2;            // wavelength-scale error, nm
    double Nonlinearity = 0.0004;  // curvature of the photometric scale
    double Noise = 0.02;           // standard deviation of the reading noise
};

// The Master reflectance of one tile: the reference tiles form a grey ladder in linearity order
// (offset tile darkest, gain tile lightest); the others are smooth coloured curves.
inline void MasterCurve(const GlobalVariables& ws, int tile, std::mt19937& rng, double* curve) {
    std::uniform_real_distribution<double> u(0.0, 1.0);
    const std::pair<int, double> greys[] = {{ws.OffsetTile, 1.5},
                                            {ws.LinearityTileA, 12.0},
                                            {ws.LinearityTileB, 30.0},
                                            {ws.LinearityTileC, 55.0},
                                            {ws.GainTile, 88.0}};
    for (const auto& [greyTile, level] : greys) {
        if (tile != greyTile)
            continue;
        const double tilt = (u(rng) - 0.5) * 0.02 * level;
        for (int w = 0; w < kPointCount; ++w)
            curve[w] = level + tilt * (w - 19.5) / 19.5;
        return;
    }
    const double base = 2.0 + 20.0 * u(rng);
    const double c1 = 400.0 + 300.0 * u(rng), s1 = 25.0 + 60.0 * u(rng), a1 = 10.0 + 60.0 * u(rng);
    const double c2 = 400.0 + 300.0 * u(rng), s2 = 25.0 + 60.0 * u(rng), a2 = 30.0 * u(rng);
    for (int w = 0; w < kPointCount; ++w) {
        const double nm = 360.0 + 10.0 * w;
        curve[w] = std::clamp(base + a1 * std::exp(-0.5 * std::pow((nm - c1) / s1, 2)) +
                                  a2 * std::exp(-0.5 * std::pow((nm - c2) / s2, 2)),
                              0.5, 95.0);
    }
}

// The Target's reading of a Master curve under the model.
inline void TargetCurve(const double* master, const InstrumentModel& model, std::mt19937& rng,
                        double* curve) {
    std::normal_distribution<double> noise(0.0, model.Noise);
    for (int w = 0; w < kPointCount; ++w) {
        // Linear interpolation of the Master curve at the shifted wavelength, ends held.
        const double pos = std::clamp(w + model.Shift / 10.0, 0.0, kPointCount - 1.0);
        const int i = std::min(static_cast<int>(pos), kPointCount - 2);
        const double m = master[i] * (1 - (pos - i)) + master[i + 1] * (pos - i);
        curve[w] = model.Offset + model.Gain * m + model.Nonlinearity * m * (100.0 - m) +
                   (model.Noise > 0 ? noise(rng) : 0.0);
    }
}

// Dimensions the workspace for `tiles` tiles (16, 28, 32 or 48), sets the reference tiles, resets
// it and fills tiles 0..tiles-1 (the extra slot at index tiles stays zero). With identical set,
// the Target equals the Master.
inline void LoadSyntheticPair(GlobalVariables& ws, int tiles, unsigned seed,
                              const InstrumentModel& model = {}, bool identical = false) {
    ws.DimensionTileArrays(static_cast<int16_t>(tiles));
    ws.SetReferenceTiles(static_cast<int16_t>(tiles));
    ws.InitializeVariables();
    std::mt19937 rng(seed);
    for (int t = 0; t < tiles; ++t) {
        MasterCurve(ws, t, rng, ws.MasterReflectance.Row(t));
        if (identical)
            std::copy_n(ws.MasterReflectance.Row(t), kPointCount, ws.TargetReflectance.Row(t));
        else
            TargetCurve(ws.MasterReflectance.Row(t), model, rng, ws.TargetReflectance.Row(t));
        ws.TileNames[t] = "Tile " + std::to_string(t + 1);
    }
}

// Expects row t of a DE table (DL, Da, Db, DE) to be the colour component's own comparison of
// the two curves, bit for bit.
inline void ExpectComponentRow(const Matrix& table, int t, const double* master,
                               const double* target) {
    ColorMatch plm;
    plm.SetStandardSpectrum({master, kPointCount});
    plm.SetTrialSpectrum({target, kPointCount});
    std::vector<double> d;
    plm.GetDifferenceVector(0, d);
    EXPECT_EQ((std::vector<double>{table(t, 0), table(t, 1), table(t, 2), table(t, 3)}),
              (std::vector<double>{d[0], d[1], d[2], d[6]}))
        << "tile " << t;
}

}  // namespace tintara::test
