// The colour-matching component: spectra in, CIE colorimetry and colour differences out.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <vector>

namespace tintara {

inline constexpr int16_t kCieLab = 0;
inline constexpr int16_t kHunterLab = 2;

// The largest reflectance (percent, either sign) a colour computation rests on: ten times a
// perfect white. Far beyond it the tristimulus sums lose all meaning long before they overflow to
// an infinity or NaN (1e250 % already gives a NaN difference), so such a reading is refused.
inline constexpr double kMaximumReflectance = 1000.0;
// Whether every value is a finite number within +-kMaximumReflectance; `bad` gets the first value
// that is not.
bool UsableReflectance(std::span<const double> curve, double* bad = nullptr);

// The colorimetric building blocks behind ColorMatch, usable on their own (reports, the command
// line, tests). All of it is CIE 1964 10-degree observer with CIE illuminant D65 (CIE 15:2004).
namespace colorimetry {

inline constexpr int kCurvePoints = 40;  // 360..750 nm by 10 nm
inline constexpr int kFinePoints = 391;  // 360..750 nm by 1 nm
inline constexpr int kFirstNm = 360;
inline constexpr int kLastNm = 750;

struct Xyz {
    double X = 0, Y = 0, Z = 0;
};
// A point in CIELAB or Hunter Lab (which one is the caller's business).
struct Lab {
    double L = 0, a = 0, b = 0;
};

// Sprague (1880) fifth-order interpolation as recommended by CIE 15:2004 (7.2.1.1): every interval
// of `coarse` is divided into `steps` equal parts, the ends are extended by two points each with
// the CIE end coefficients. The result holds (coarse.size() - 1) * steps + 1 values, equal to the
// coarse values at every `steps`-th position. Polynomials up to degree 4 are reproduced exactly in
// every interval whose six neighbours are all tabulated; in the first two and the last two
// intervals, which lean on the extended points, straight lines only. coarse needs at least 6
// values.
std::vector<double> SpragueInterpolate(std::span<const double> coarse, int steps);

// The 391-point 1 nm curve of a 40-point curve (Sprague). Writes fine[0..390].
void FineSpectrum(std::span<const double> curve, std::span<double> fine);

// Tristimulus values of a 40-point reflectance curve in percent by the plain CIE 15 method:
// Sprague to 1 nm, then X = k * sum over 360..750 nm of R/100 * S * xbar (likewise Y, Z), with
// k = 100 / sum(S * ybar) so that a 100 % reflector has Y = 100. This is the reference that the
// folded weights of Tristimulus() are tested against.
Xyz TristimulusBySummation(std::span<const double> curve);

// Tristimulus values of a 391-point 1 nm reflectance curve in percent (360..750 nm), summed as
// above with no interpolation; how the curve was made is the caller's business.
Xyz TristimulusOfFineSpectrum(std::span<const double> fine);

// The same numbers through 40x3 weights that fold Sprague, illuminant, observer and k together
// (every step is linear). Agrees with TristimulusBySummation to about 1e-12; no validation.
Xyz Tristimulus(const double* curve);

// XYZ of the 100 % reflector under this method (Tristimulus of a flat 100 % curve).
const Xyz& WhitePoint();

// The real cube root, within one unit in the last place of the exact root for positive normal
// numbers (exact on perfect cubes such as 27 and 0.125, where glibc's cbrt is one unit off) and
// about twice as fast as std::cbrt; other arguments go to std::cbrt.
double CubeRoot(double x);

// CIE 1976 L*a*b* (CIE 15:2004, 8.2.1), relative to `white`.
Lab XyzToCieLab(const Xyz& xyz, const Xyz& white);

// Hunter Lab (Hunter Associates Laboratory) with Ka = 175/198.04 (Xn + Yn) and
// Kb = 70/218.11 (Yn + Zn) from `white`. For Y <= 0, where the formula has no real value, L
// keeps the sign of Y (L = -100 sqrt(-Y/Yn)) and a, b use |Y|; at Y = 0 a = b = 0.
Lab XyzToHunterLab(const Xyz& xyz, const Xyz& white);

// CIEDE2000 colour difference (CIE 142-2001; implementation notes of Sharma, Wu and Dalal, 2005),
// kL = kC = kH = 1. Symmetric in its arguments.
double Ciede2000(const Lab& standard, const Lab& trial);

// Hue angle in degrees, 0 <= h < 360; 0 for a = b = 0.
double HueDegrees(double a, double b);

// Throws Error unless `curve` holds exactly 40 finite numbers; `role` names it in the message.
void CheckCurve(std::span<const double> curve, const char* role);

}  // namespace colorimetry

// Holds a standard and a trial 40-point reflectance curve (percent, 360..750 nm by 10 nm) and
// answers the colorimetric questions about them: CIE 1964 10-degree observer, illuminant D65,
// 1 nm summation of the Sprague-interpolated curve (CIE 15). See ColorMatch.cpp for the formulas.
//
// Difference vector (7 elements, trial minus standard): 0 DL, 1 Da, 2 Db, 3 DC, 4 DH (signed,
// CIE 15), 5 CIEDE2000 (always on CIELAB), 6 DE in the selected colour space.
// Delta arrays (8 elements): L, a, b, C, h, X, Y, Z of the standard (array 1) or trial (array 2)
// in the selected colour space; h in degrees 0..360.
// Curves must be 40 finite numbers (negative values are allowed); anything else throws Error and
// leaves the previous curve in place. The only valid result index is 0. Before any curve is set,
// both curves are all zero.
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

    // Allocation-free forms of the three getters above, same numbers.
    void DifferenceVector(std::span<double, 7> result) const;
    void StandardCoordinates(std::span<double, 8> result) const;
    void TrialCoordinates(std::span<double, 8> result) const;

  private:
    // Everything ColorMatch reports about one curve, computed when the curve is set.
    struct Colour {
        colorimetry::Xyz xyz;
        colorimetry::Lab cieLab;  // always kept, for CIEDE2000
        colorimetry::Lab lab;     // in the selected colour space
        double chroma = 0;
        double hue = 0;  // degrees
    };
    void SetCurve(std::span<const double> spectrum, const char* role, double* curve,
                  Colour& colour) const;
    static void CheckFinite(std::span<const double> spectrum, const char* role,
                            const colorimetry::Xyz& xyz);
    void Describe(const double* curve, Colour& colour) const;
    void Recolour(Colour& colour) const;
    static void Coordinates(const Colour& colour, std::span<double, 8> result);
    static void CheckIndex(int index);

    int16_t m_colorSpace = kCieLab;
    double m_standard[40] = {};
    double m_trial[40] = {};
    Colour m_standardColour;
    Colour m_trialColour;
};

}  // namespace tintara
