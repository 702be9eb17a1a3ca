#include "files/ProfileCorrector.h"

#include <bit>
#include <cstdint>
#include <cstring>

#include "engine/CorrectionFormulas.h"

namespace tintara {

void ProfileCorrector::ReadCoefficientFile(const std::filesystem::path& file) {
    Load(ParseCoefficientFile(file));
}

void ProfileCorrector::Load(const CoefficientFileContents& contents) {
    m_contents = contents;
    BuildPlan(m_contents.SCI, m_plans[0]);
    BuildPlan(m_contents.SCE, m_plans[1]);
    m_loaded = true;
}

void ProfileCorrector::BuildPlan(const CoefficientBank& bank, Plan& plan) {
    for (int p = 0; p < kPointCount; ++p) {
        const int q = p == 0 ? 1 : p;  // 360 nm borrows the coefficients of 370 nm
        plan.offset[p] = bank.Offset[q];
        plan.gain[p] = bank.Gain[q];
        plan.oneMinusGain[p] = 1 - bank.Gain[q];
        plan.reflectance[p] = bank.GainTileReflectance[q];
        for (int j = 0; j < 4; ++j)
            plan.level[j][p] = bank.Levels[q][j + 1];
        for (int j = 0; j < 5; ++j) {
            plan.slope[j][p] = bank.Slopes[q][j + 1];
            plan.intercept[j][p] = bank.Intercepts[q][j + 1];
        }
        for (int j = 0; j < 3; ++j)
            plan.weight[j][p] = bank.Wavelength[q][j];
    }
    plan.weight[0][0] = -0.0;
    plan.weight[2][kPointCount - 1] = -0.0;
}

namespace {

// Two doubles side by side: each operation on them is the IEEE operation on each, so a pair gives
// exactly what two single evaluations give.
using Pair = double __attribute__((vector_size(16)));
using PairMask = int64_t __attribute__((vector_size(16)));

Pair LoadPair(const double* p) noexcept {
    Pair v;
    std::memcpy(&v, p, sizeof v);
    return v;
}

void StorePair(double* p, Pair v) noexcept {
    std::memcpy(p, &v, sizeof v);
}

// `whenSet` where the mask (a comparison's result) is set, `otherwise` elsewhere.
template <class Mask>
Pair Select(Mask mask, Pair whenSet, Pair otherwise) noexcept {
    const auto m = std::bit_cast<PairMask>(mask);
    return std::bit_cast<Pair>((m & std::bit_cast<PairMask>(whenSet)) |
                               (~m & std::bit_cast<PairMask>(otherwise)));
}

}  // namespace

void ProfileCorrector::Correct(Geometry geometry, const double* in, double* out) const noexcept {
    static_assert(kPointCount % 2 == 0);
    const Plan& plan = m_plans[static_cast<int>(geometry)];
    // The points after the linearity step at [1..40], with zero guards at [0] and [41].
    double linear[kPointCount + 2];
    linear[0] = 0.0;
    linear[kPointCount + 1] = 0.0;
    const Pair one = {1.0, 1.0};
    const Pair zero = {0.0, 0.0};
    for (int p = 0; p < kPointCount; p += 2) {
        // OffsetCorrected, then GainCorrected.
        const Pair x = LoadPair(in + p) + LoadPair(plan.offset + p);
        const Pair s =
            (one + LoadPair(plan.oneMinusGain + p) * (one - x / LoadPair(plan.reflectance + p))) *
            LoadPair(plan.gain + p) * x;
        // LinearitySegment: the first level above the value wins, so the levels are tried from
        // the top down and each one below overrides; a NaN stays in the top segment.
        Pair slope = LoadPair(plan.slope[4] + p);
        Pair intercept = LoadPair(plan.intercept[4] + p);
        for (int k = 3; k >= 0; --k) {
            const auto below = s < LoadPair(plan.level[k] + p);
            slope = Select(below, LoadPair(plan.slope[k] + p), slope);
            intercept = Select(below, LoadPair(plan.intercept[k] + p), intercept);
        }
        // LinearityCorrected; the quotient of a zero slope is computed and thrown away.
        const Pair line = (s - intercept) / slope;
        StorePair(linear + 1 + p, Select(slope != zero, line, s));
    }
    // ThreePointInterior everywhere, the missing neighbours weighted -0 (see Plan).
    for (int p = 0; p < kPointCount; p += 2) {
        const Pair y = LoadPair(plan.weight[0] + p) * LoadPair(linear + p) +
                       LoadPair(plan.weight[1] + p) * LoadPair(linear + 1 + p) +
                       LoadPair(plan.weight[2] + p) * LoadPair(linear + 2 + p);
        StorePair(out + p, y);
    }
}

}  // namespace tintara
