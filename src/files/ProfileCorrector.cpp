#include "files/ProfileCorrector.h"

#include <bit>
#include <cstdint>
#include <cstring>

#include "engine/CorrectionFormulas.h"

namespace tintara {

namespace {

// The most points Correct takes at a time on this processor (see ProfileCorrector::Width).
int WidestWidth() {
#if defined(__x86_64__)
    static const int width = [] {
        if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512dq"))
            return 8;
        return __builtin_cpu_supports("avx2") ? 4 : 2;
    }();
    return width;
#else
    return 2;
#endif
}

}  // namespace

void ProfileCorrector::ReadCoefficientFile(const std::filesystem::path& file) {
    Load(ParseCoefficientFile(file));
}

void ProfileCorrector::Load(const CoefficientFileContents& contents) {
    m_width = WidestWidth();
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

// The vector types are GCC's generic vectors: each operation on them is the IEEE operation on
// each lane, so a vector of points gives exactly what the points one by one give. Nothing here is
// passed between functions that are not inlined into one another, so the calling convention of
// the wider vectors on processors without them (-Wpsabi) does not arise. (The compiler gives that
// warning at the end of the file, so it stays off to the end.)
#pragma GCC diagnostic ignored "-Wpsabi"

namespace {

template <int Lanes>
struct Lane;
template <>
struct Lane<2> {
    typedef double Vector __attribute__((vector_size(16)));
    typedef int64_t Mask __attribute__((vector_size(16)));
};
template <>
struct Lane<4> {
    typedef double Vector __attribute__((vector_size(32)));
    typedef int64_t Mask __attribute__((vector_size(32)));
};
template <>
struct Lane<8> {
    typedef double Vector __attribute__((vector_size(64)));
    typedef int64_t Mask __attribute__((vector_size(64)));
};

template <int Lanes>
struct CorrectionKernel {
    using Vector = typename Lane<Lanes>::Vector;
    using Mask = typename Lane<Lanes>::Mask;
    static_assert(kPointCount % Lanes == 0);

    [[gnu::always_inline]] static Vector At(const double* p) noexcept {
        Vector v;
        std::memcpy(&v, p, sizeof v);
        return v;
    }
    [[gnu::always_inline]] static void Put(double* p, Vector v) noexcept {
        std::memcpy(p, &v, sizeof v);
    }
    // `whenSet` where the mask (a comparison's result) is set, `otherwise` elsewhere.
    template <class Comparison>
    [[gnu::always_inline]] static Vector Select(Comparison mask, Vector whenSet,
                                                Vector otherwise) noexcept {
        const auto m = std::bit_cast<Mask>(mask);
        return std::bit_cast<Vector>((m & std::bit_cast<Mask>(whenSet)) |
                                     (~m & std::bit_cast<Mask>(otherwise)));
    }

    [[gnu::always_inline]] static void Run(const ProfileCorrector::Plan& plan, const double* in,
                                           double* out) noexcept {
        // The points after the linearity step at [1..40], with zero guards at [0] and [41].
        double linear[kPointCount + 2];
        linear[0] = 0.0;
        linear[kPointCount + 1] = 0.0;
        const Vector zero{};
        const Vector one = zero + 1.0;
        for (int p = 0; p < kPointCount; p += Lanes) {
            // OffsetCorrected, then GainCorrected.
            const Vector x = At(in + p) + At(plan.offset + p);
            const Vector s =
                (one + At(plan.oneMinusGain + p) * (one - x / At(plan.reflectance + p))) *
                At(plan.gain + p) * x;
            // LinearitySegment: the first level above the value wins, so the levels are tried
            // from the top down and each one below overrides; a NaN stays in the top segment.
            Vector slope = At(plan.slope[4] + p);
            Vector intercept = At(plan.intercept[4] + p);
            for (int k = 3; k >= 0; --k) {
                const auto below = s < At(plan.level[k] + p);
                slope = Select(below, At(plan.slope[k] + p), slope);
                intercept = Select(below, At(plan.intercept[k] + p), intercept);
            }
            // LinearityCorrected; the quotient of a zero slope is computed and thrown away.
            const Vector line = (s - intercept) / slope;
            Put(linear + 1 + p, Select(slope != zero, line, s));
        }
        // ThreePointInterior everywhere, the missing neighbours weighted -0 (see Plan).
        for (int p = 0; p < kPointCount; p += Lanes) {
            const Vector y = At(plan.weight[0] + p) * At(linear + p) +
                             At(plan.weight[1] + p) * At(linear + 1 + p) +
                             At(plan.weight[2] + p) * At(linear + 2 + p);
            Put(out + p, y);
        }
    }
};

void CorrectTwoAtATime(const ProfileCorrector::Plan& plan, const double* in, double* out) noexcept {
    CorrectionKernel<2>::Run(plan, in, out);
}

#if defined(__x86_64__)
// AVX2 without FMA: the target attribute does not bring fused multiply-adds, and the build turns
// contraction off besides.
[[gnu::target("avx2")]] void CorrectFourAtATime(const ProfileCorrector::Plan& plan,
                                                const double* in, double* out) noexcept {
    CorrectionKernel<4>::Run(plan, in, out);
}

// AVX-512 (foundation and the doubleword/quadword masks), likewise without FMA.
[[gnu::target("avx512f,avx512dq")]] void CorrectEightAtATime(const ProfileCorrector::Plan& plan,
                                                             const double* in,
                                                             double* out) noexcept {
    CorrectionKernel<8>::Run(plan, in, out);
}
#endif

}  // namespace

void ProfileCorrector::SetWidth(int width) {
    if (width == 2 || ((width == 4 || width == 8) && width <= WidestWidth()))
        m_width = width;
}

void ProfileCorrector::Correct(Geometry geometry, const double* in, double* out) const noexcept {
    const Plan& plan = m_plans[static_cast<int>(geometry)];
#if defined(__x86_64__)
    if (m_width == 8) {
        CorrectEightAtATime(plan, in, out);
        return;
    }
    if (m_width == 4) {
        CorrectFourAtATime(plan, in, out);
        return;
    }
#endif
    CorrectTwoAtATime(plan, in, out);
}

}  // namespace tintara
