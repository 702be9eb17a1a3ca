// The colour-matching component: spectra in, CIE colorimetry and colour differences out.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace tintara {

inline constexpr int16_t kCieLab = 0;
inline constexpr int16_t kHunterLab = 2;

// Holds a standard and a trial 40-point reflectance curve (percent, 360..750 nm by 10 nm) and
// answers the colorimetric questions about them: CIE 1964 10-degree observer, illuminant D65,
// 1 nm summation of the Sprague-interpolated curve (CIE 15). See ColorMatch.cpp for the formulas.
//
// Difference vector (7 elements, trial minus standard): 0 DL, 1 Da, 2 Db, 3 DC, 4 DH (signed,
// CIE 15), 5 CIEDE2000 (always on CIELAB), 6 DE in the selected colour space.
// Delta arrays (8 elements): L, a, b, C, h, X, Y, Z of the standard (array 1) or trial (array 2)
// in the selected colour space.
// Curves must be 40 finite numbers (negative values are allowed); anything else throws Error.
class ColorMatch {
public:
    ColorMatch();

    void SetColorSpace(int16_t space);  // kCieLab or kHunterLab; else throws Error
    int16_t ColorSpace() const { return m_colorSpace; }

    void SetStandardSpectrum(std::span<const double> spectrum);
    void SetTrialSpectrum(std::span<const double> spectrum);

    // 391 values, 360..750 nm at 1 nm, of the trial curve (Sprague; exact at every 10 nm).
    void GetFineSpectrum(std::vector<double>& fine) const;
    void GetDifferenceVector(int index, std::vector<double>& result) const;
    void GetDeltaArray2(int index, std::vector<double>& result) const;  // trial
    void GetDeltaArray1(int index, std::vector<double>& result) const;  // standard

private:
    int16_t m_colorSpace = kCieLab;
    double m_standard[40] = {};
    double m_trial[40] = {};
};

}  // namespace tintara
