// The per-point correction formulas, shared by the profiling run and the coefficient-file
// corrector.
#pragma once

#include <array>

#include "workspace/GlobalVariables.h"

namespace tintara {

// Reflectances in percent, one spectral point at a time. The four steps correct the systematic
// errors of a spectrophotometer in the order of the model of R. S. Berns and K. H. Petersen,
// "Empirical modeling of systematic spectrophotometric errors", Color Res. Appl. 13 (1988)
// 243-256: photometric zero (offset), photometric scale (gain), non-linearity, wavelength scale.
// The tapered gain and the segmented linearity are this program's own forms of the middle two.
// The profiling run and the file corrector both evaluate exactly these expressions, so that a
// fandeck corrected from a coefficient file agrees to the bit with the run's own tile readings.

// Offset: x1 = x + O.
inline double OffsetCorrected(double x, double offset) noexcept {
    return x + offset;
}

// Gain: full gain G at the gain tile's raw Target reading r, tapered by (1 - G)(1 - x1 / r)
// elsewhere: x2 = (1 + (1 - G)(1 - x1 / r)) G x1. The caller keeps r non-zero.
inline double GainCorrected(double x, double gain, double gainTileReading) noexcept {
    return (1 + (1 - gain) * (1 - x / gainTileReading)) * gain * x;
}

// Linearity segment of a value among `count` break levels read at levels[0], levels[stride], ...:
// the first k whose level lies above the value, so a value on a level takes the upper segment;
// `count` when none does (a NaN too).
inline int LinearitySegment(double value, const double* levels, int count,
                            int stride = 1) noexcept {
    for (int k = 0; k < count; ++k) {
        if (value < levels[k * stride])
            return k;
    }
    return count;
}

// Linearity: the value taken back through its segment's line (Target = slope * Master +
// intercept). A segment of slope zero, which the fit leaves for a flat or falling Master span,
// passes the value unchanged.
inline double LinearityCorrected(double value, double slope, double intercept) noexcept {
    return slope != 0.0 ? (value - intercept) / slope : value;
}

// Weights of the neighbours w-1, w, w+1 of one spectral point.
using WavelengthWeights = std::array<double, 3>;

inline constexpr WavelengthWeights kIdentityWeights{0.0, 1.0, 0.0};

// Wavelength scale: the corrected value at point w of a 40-point row,
// y(w) = W0 x(w-1) + W1 x(w) + W2 x(w+1). At the two ends the weight of the missing neighbour is
// dropped, not redistributed. ThreePointInterior is the same for 0 < w < 39, without the tests,
// for loops over the interior points.
inline double ThreePointInterior(const double* row, const WavelengthWeights& weights,
                                 int w) noexcept {
    return weights[0] * row[w - 1] + weights[1] * row[w] + weights[2] * row[w + 1];
}
inline double ThreePointValue(const double* row, const WavelengthWeights& weights, int w) noexcept {
    if (w == 0)
        return weights[1] * row[0] + weights[2] * row[1];
    if (w == kPointCount - 1)
        return weights[0] * row[w - 1] + weights[1] * row[w];
    return ThreePointInterior(row, weights, w);
}

}  // namespace tintara
