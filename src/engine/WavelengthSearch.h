// The three-point wavelength-scale weighting and the fast search for its weights.
#pragma once

#include <array>
#include <cmath>

#include "engine/CorrectionFormulas.h"
#include "workspace/GlobalVariables.h"
#include "workspace/Matrix.h"

namespace tintara {

// The search criterion of one tile: the absolute sample - master difference, written as the
// square root of the square (which is what the reference computes; it equals |d| bit for bit).
inline double LeastDifference(double sample, double master) {
    const double d = sample - master;
    return std::sqrt(d * d);
}

// One candidate of the weight search, in hundredths: left + centre + right = 100.
struct WavelengthCandidate {
    int Left, Centre, Right;
    WavelengthWeights Weights() const { return {Left / 100.0, Centre / 100.0, Right / 100.0}; }
};

// Search order: centre 100 down to 80, inside it left 0 up to 20, skipping negative right
// weights. 231 candidates; the first is the identity.
inline constexpr int kCandidateCount = 231;
inline constexpr int kCentreWeightSteps = 21;  // progress steps per point
const std::array<WavelengthCandidate, kCandidateCount>& WavelengthCandidates();

// The weights the search keeps for point w: the first candidate, in search order, whose sum over
// tiles 0..tileCount of LeastDifference(ThreePointValue(linearity row, weights, w), master(t, w))
// is strictly below the best sum so far, starting from the identity weights' sum; the identity
// when none beats it. Needs linearity and master of at least tileCount + 1 rows of 40 points.
// A tile `heldOut` in 0..tileCount is left out of every sum (cross-validation); -1 leaves none.
WavelengthWeights FastWavelengthSearch(const Matrix& linearity, const Matrix& master, int tileCount,
                                       int w, int heldOut = -1);

}  // namespace tintara
