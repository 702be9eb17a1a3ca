#include "engine/WavelengthSearch.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

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

namespace {

// Which neighbours a point has: the first point has no left one, the last no right one.
enum class Edge { First, Inner, Last };

// Candidates padded to an even count for the two-lane loop; the pad's sum is never looked at.
constexpr int kPadded = kCandidateCount + 1;

struct CandidateWeights {
    alignas(16) double Left[kPadded];
    alignas(16) double Centre[kPadded];
    alignas(16) double Right[kPadded];
};

const CandidateWeights& Weights() {
    static const CandidateWeights weights = [] {
        CandidateWeights w{};
        const auto& candidates = WavelengthCandidates();
        for (int k = 0; k < kCandidateCount; ++k) {
            const WavelengthWeights x = candidates[k].Weights();
            w.Left[k] = x[0];
            w.Centre[k] = x[1];
            w.Right[k] = x[2];
        }
        return w;
    }();
    return weights;
}

// Adds every candidate's |difference| for one tile to its sum. The arithmetic is ThreePointValue
// and LeastDifference operation for operation (products summed left to right, then sqrt(d * d)),
// only two candidates at a time; IEEE operations give the same bits in either lane width.
template <Edge edge>
void AddTile(const CandidateWeights& cw, double a, double b, double c, double m, double* sums) {
#if defined(__SSE2__)
    const __m128d va = _mm_set1_pd(a), vb = _mm_set1_pd(b), vc = _mm_set1_pd(c);
    const __m128d vm = _mm_set1_pd(m);
    for (int k = 0; k < kPadded; k += 2) {
        __m128d s;
        if constexpr (edge == Edge::First) {
            s = _mm_add_pd(_mm_mul_pd(_mm_load_pd(cw.Centre + k), vb),
                           _mm_mul_pd(_mm_load_pd(cw.Right + k), vc));
        } else if constexpr (edge == Edge::Last) {
            s = _mm_add_pd(_mm_mul_pd(_mm_load_pd(cw.Left + k), va),
                           _mm_mul_pd(_mm_load_pd(cw.Centre + k), vb));
        } else {
            s = _mm_add_pd(_mm_add_pd(_mm_mul_pd(_mm_load_pd(cw.Left + k), va),
                                      _mm_mul_pd(_mm_load_pd(cw.Centre + k), vb)),
                           _mm_mul_pd(_mm_load_pd(cw.Right + k), vc));
        }
        const __m128d d = _mm_sub_pd(s, vm);
        _mm_store_pd(sums + k, _mm_add_pd(_mm_load_pd(sums + k), _mm_sqrt_pd(_mm_mul_pd(d, d))));
    }
#else
    for (int k = 0; k < kPadded; ++k) {
        double s;
        if constexpr (edge == Edge::First) {
            s = cw.Centre[k] * b + cw.Right[k] * c;
        } else if constexpr (edge == Edge::Last) {
            s = cw.Left[k] * a + cw.Centre[k] * b;
        } else {
            s = cw.Left[k] * a + cw.Centre[k] * b + cw.Right[k] * c;
        }
        sums[k] += LeastDifference(s, m);
    }
#endif
}

}  // namespace

WavelengthWeights FastWavelengthSearch(const Matrix& linearity, const Matrix& master, int tileCount,
                                       int w, int heldOut) {
    const CandidateWeights& cw = Weights();
    // Each candidate's sum still accumulates tile by tile in tile order, exactly as the
    // call-by-call search adds them; only independent sums are interleaved.
    alignas(16) double sums[kPadded] = {};
    double baseline = 0.0;
    for (int t = 0; t <= tileCount; ++t) {
        if (t == heldOut)
            continue;
        const double* row = linearity.Row(t);
        const double m = master(t, w);
        baseline += LeastDifference(ThreePointValue(row, kIdentityWeights, w), m);
        if (w == 0) {
            AddTile<Edge::First>(cw, 0.0, row[0], row[1], m, sums);
        } else if (w == kPointCount - 1) {
            AddTile<Edge::Last>(cw, row[w - 1], row[w], 0.0, m, sums);
        } else {
            AddTile<Edge::Inner>(cw, row[w - 1], row[w], row[w + 1], m, sums);
        }
    }

    double best = baseline;
    int bestIndex = -1;
    for (int k = 0; k < kCandidateCount; ++k) {
        if (sums[k] < best) {
            best = sums[k];
            bestIndex = k;
        }
    }
    return bestIndex < 0 ? kIdentityWeights : WavelengthCandidates()[bestIndex].Weights();
}

}  // namespace tintara
