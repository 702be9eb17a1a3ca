#include "engine/WavelengthSearch.h"

#include <vector>

namespace tintara {

const std::array<WavelengthCandidate, kCandidateCount>& WavelengthCandidates() {
    static const auto candidates = [] {
        std::array<WavelengthCandidate, kCandidateCount> list{};
        int n = 0;
        for (int centre = 100; centre >= 80; --centre) {
            for (int left = 0; left <= 20; ++left) {
                const int right = 100 - centre - left;
                if (right < 0)
                    continue;
                list[n++] = {left, centre, right};
            }
        }
        return list;
    }();
    return candidates;
}

WavelengthWeights FastWavelengthSearch(const Matrix& linearity, const Matrix& master, int tileCount,
                                       int w) {
    const auto& candidates = WavelengthCandidates();
    // Candidates' weights, by component, so that the inner loop runs over candidates.
    std::array<WavelengthWeights, kCandidateCount> weights;
    for (int k = 0; k < kCandidateCount; ++k)
        weights[k] = candidates[k].Weights();

    // Each candidate's sum still accumulates tile by tile in tile order, exactly as the
    // call-by-call search adds them; only the interleaving of independent sums differs.
    std::array<double, kCandidateCount> sums{};
    double baseline = 0.0;
    for (int t = 0; t <= tileCount; ++t) {
        const double* row = linearity.Row(t);
        const double m = master(t, w);
        baseline += LeastDifference(ThreePointValue(row, kIdentityWeights, w), m);
        for (int k = 0; k < kCandidateCount; ++k) {
            sums[k] += LeastDifference(ThreePointValue(row, weights[k], w), m);
        }
    }

    double best = baseline;
    WavelengthWeights bestWeights = kIdentityWeights;
    for (int k = 0; k < kCandidateCount; ++k) {
        if (sums[k] < best) {
            best = sums[k];
            bestWeights = weights[k];
        }
    }
    return bestWeights;
}

}  // namespace tintara
