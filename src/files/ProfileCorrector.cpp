#include "files/ProfileCorrector.h"

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
        const double x = OffsetCorrected(in[p], plan.offset[p]);
        const double s = GainCorrected(x, plan.gain[p], plan.reflectance[p]);
        const int segment = LinearitySegment(s, plan.level[p].data(), 4);
        linear[p] = LinearityCorrected(s, plan.slope[p][segment], plan.intercept[p][segment]);
    }
    out[0] = ThreePointValue(linear, plan.weight[0], 0);
    for (int p = 1; p < kPointCount - 1; ++p)
        out[p] = ThreePointInterior(linear, plan.weight[p], p);
    out[kPointCount - 1] = ThreePointValue(linear, plan.weight[kPointCount - 1], kPointCount - 1);
}

}  // namespace tintara
