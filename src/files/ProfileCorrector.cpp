#include "files/ProfileCorrector.h"

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
        plan.oneMinusGain[p] = 1.0 - bank.Gain[q];
        plan.reflectance[p] = bank.GainTileReflectance[q];
        for (int j = 0; j < 4; ++j)
            plan.level[p][j] = bank.Levels[q][j + 1];
        for (int j = 0; j < 5; ++j) {
            plan.slope[p][j] = bank.Slopes[q][j + 1];
            plan.intercept[p][j] = bank.Intercepts[q][j + 1];
        }
        plan.weight[p] = bank.Wavelength[q];
    }
}

void ProfileCorrector::Correct(Geometry geometry, const double* in, double* out) const noexcept {
    const Plan& plan = m_plans[static_cast<int>(geometry)];
    double linear[kPointCount];
    for (int p = 0; p < kPointCount; ++p) {
        const double x = in[p] + plan.offset[p];
        const double g = plan.gain[p];
        const double s = (1.0 + plan.oneMinusGain[p] * (1.0 - x / plan.reflectance[p])) * g * x;
        const auto& t = plan.level[p];
        int segment;
        if (s < t[0]) {
            segment = 0;
        } else if (s < t[1]) {
            segment = 1;
        } else if (s < t[2]) {
            segment = 2;
        } else if (s < t[3]) {
            segment = 3;
        } else {
            segment = 4;
        }
        const double slope = plan.slope[p][segment];
        linear[p] = slope != 0.0 ? (s - plan.intercept[p][segment]) / slope : s;
    }
    const auto& w = plan.weight;
    out[0] = w[0][1] * linear[0] + w[0][2] * linear[1];
    for (int p = 1; p < kPointCount - 1; ++p) {
        out[p] = w[p][0] * linear[p - 1] + w[p][1] * linear[p] + w[p][2] * linear[p + 1];
    }
    out[kPointCount - 1] = w[kPointCount - 1][0] * linear[kPointCount - 2] +
                           w[kPointCount - 1][1] * linear[kPointCount - 1];
}

}  // namespace tintara
