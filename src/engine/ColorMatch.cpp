// CIE colorimetry for 40-point reflectance curves: Sprague interpolation, D65 / 10-degree
// tristimulus values, CIELAB, Hunter Lab, CIEDE2000.
#include "engine/ColorMatch.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>

#include "engine/CieTables.h"
#include "workspace/Error.h"

namespace tintara {

bool UsableReflectance(std::span<const double> curve, double* bad) {
    // Every value first, with no early exit, so that the loop compares several at a time; the
    // culprit is looked for only in a curve that has one.
    bool usable = true;
    for (const double v : curve)
        usable &= std::fabs(v) <= kMaximumReflectance;  // false for NaN
    if (usable)
        return true;
    for (const double v : curve) {
        if (!(std::fabs(v) <= kMaximumReflectance)) {  // also false for NaN
            if (bad)
                *bad = v;
            return false;
        }
    }
    return true;
}
namespace colorimetry {
namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kDegrees = 180.0 / kPi;
constexpr double kRadians = kPi / 180.0;
// Cosines and sines of the fixed angles in the CIEDE2000 hue weighting.
constexpr double kCos30 = 0.86602540378443864676;  // sqrt(3) / 2
constexpr double kCos6 = 0.9945218953682733;
constexpr double kSin6 = 0.10452846326765347;
constexpr double kCos63 = 0.4539904997395468;
constexpr double kSin63 = 0.8910065241883678;

// CIE 15:2004, table 4 (Sprague end coefficients): the two extra points before the first and after
// the last value, each from the six values nearest that end, divided by 209.
constexpr double kSpragueEnd[4][6] = {
    {884, -1960, 3033, -2648, 1080, -180},  // F(-2) from F(0..5)
    {508, -540, 488, -367, 144, -24},       // F(-1) from F(0..5)
    {-24, 144, -367, 488, -540, 508},       // F(n) from F(n-6..n-1)
    {-180, 1080, -2648, 3033, -1960, 884},  // F(n+1) from F(n-6..n-1)
};

// Sprague core over raw storage: `padded` needs n + 4 doubles, `out` (n - 1) * steps + 1.
void SpragueCore(const double* coarse, int n, int steps, double* padded, double* out) {
    double ends[4] = {0, 0, 0, 0};
    for (int j = 0; j < 6; ++j) {
        ends[0] += kSpragueEnd[0][j] * coarse[j];
        ends[1] += kSpragueEnd[1][j] * coarse[j];
        ends[2] += kSpragueEnd[2][j] * coarse[n - 6 + j];
        ends[3] += kSpragueEnd[3][j] * coarse[n - 6 + j];
    }
    padded[0] = ends[0] / 209.0;
    padded[1] = ends[1] / 209.0;
    for (int i = 0; i < n; ++i)
        padded[i + 2] = coarse[i];
    padded[n + 2] = ends[2] / 209.0;
    padded[n + 3] = ends[3] / 209.0;

    for (int i = 0; i + 1 < n; ++i) {
        const double* p = padded + i;  // p[2] is coarse[i], p[3] is coarse[i + 1]
        const double a1 = (2 * p[0] - 16 * p[1] + 16 * p[3] - 2 * p[4]) / 24;
        const double a2 = (-p[0] + 16 * p[1] - 30 * p[2] + 16 * p[3] - p[4]) / 24;
        const double a3 =
            (-9 * p[0] + 39 * p[1] - 70 * p[2] + 66 * p[3] - 33 * p[4] + 7 * p[5]) / 24;
        const double a4 =
            (13 * p[0] - 64 * p[1] + 126 * p[2] - 124 * p[3] + 61 * p[4] - 12 * p[5]) / 24;
        const double a5 =
            (-5 * p[0] + 25 * p[1] - 50 * p[2] + 50 * p[3] - 25 * p[4] + 5 * p[5]) / 24;
        double* o = out + i * steps;
        o[0] = p[2];  // exact at the tabulated points
        for (int k = 1; k < steps; ++k) {
            const double x = static_cast<double>(k) / steps;
            o[k] = p[2] + x * (a1 + x * (a2 + x * (a3 + x * (a4 + x * a5))));
        }
    }
    out[(n - 1) * steps] = coarse[n - 1];
}

// Illuminant and observer at 1 nm over 360..750 nm, and k.
struct FineTables {
    double s[kFinePoints];
    double x[kFinePoints];
    double y[kFinePoints];
    double z[kFinePoints];
    double k;  // 100 / sum(S * ybar)
};

FineTables BuildFineTables() {
    FineTables t{};
    // Observer: Sprague from 5 nm to 1 nm (CIE 15:2004, 7.2.1.1).
    const int cmfCount = cie::kCmf1964Count;
    if (cmfCount < 6 || cie::kCmf1964[0].nm != kFirstNm ||
        cie::kCmf1964[cmfCount - 1].nm < kLastNm) {
        throw Error("The built-in CIE 1964 observer table does not cover 360-750 nm.");
    }
    std::vector<double> column(static_cast<std::size_t>(cmfCount));
    double* targets[3] = {t.x, t.y, t.z};
    for (int c = 0; c < 3; ++c) {
        for (int i = 0; i < cmfCount; ++i) {
            const cie::CmfRow& row = cie::kCmf1964[i];
            column[static_cast<std::size_t>(i)] = c == 0 ? row.x : (c == 1 ? row.y : row.z);
        }
        const std::vector<double> fine = SpragueInterpolate(column, 5);
        for (int l = 0; l < kFinePoints; ++l)
            targets[c][l] = fine[static_cast<std::size_t>(l)];
    }
    // Illuminant: linear from 5 nm to 1 nm (CIE 15:2004 recommends linear for D65).
    const int first = static_cast<int>(cie::kD65[0].nm);
    const int d65Count = cie::kD65Count;
    if (first > kFirstNm || cie::kD65[d65Count - 1].nm < kLastNm) {
        throw Error("The built-in CIE D65 table does not cover 360-750 nm.");
    }
    for (int l = 0; l < kFinePoints; ++l) {
        const int offset = kFirstNm + l - first;
        const int i = offset / 5;
        const int r = offset % 5;
        const double lo = cie::kD65[i].power;
        t.s[l] = r == 0 ? lo : lo + (cie::kD65[i + 1].power - lo) * r / 5.0;
    }
    double sum = 0;
    for (int l = 0; l < kFinePoints; ++l)
        sum += t.s[l] * t.y[l];
    t.k = 100.0 / sum;
    return t;
}

const FineTables& Tables() {
    static const FineTables tables = BuildFineTables();  // thread-safe initialisation
    return tables;
}

struct Folded {
    // The folded weights, one array per component for the summation loops.
    double wx[kCurvePoints];
    double wy[kCurvePoints];
    double wz[kCurvePoints];
    Xyz white;
};

Folded BuildFolded() {
    Folded f{};
    // Each weight is the reference method applied to a unit curve: the chain is linear, so the
    // weighted sum of a curve equals its 1 nm summation up to rounding.
    double unit[kCurvePoints] = {};
    for (int i = 0; i < kCurvePoints; ++i) {
        unit[i] = 1.0;
        const Xyz w = TristimulusBySummation(unit);
        unit[i] = 0.0;
        f.wx[i] = w.X;
        f.wy[i] = w.Y;
        f.wz[i] = w.Z;
    }
    return f;
}

const Folded& FoldedTables() {
    static const Folded folded = [] {
        Folded f = BuildFolded();
        double flat[kCurvePoints];
        for (double& v : flat)
            v = 100.0;
        double x = 0, y = 0, z = 0;
        for (int i = 0; i < kCurvePoints; ++i) {
            x += f.wx[i] * flat[i];
            y += f.wy[i] * flat[i];
            z += f.wz[i] * flat[i];
        }
        f.white = {x, y, z};
        return f;
    }();
    return folded;
}

double LabF(double t) {
    // CIE 15:2004, 8.2.1: cube root above (24/116)^3, the linear segment below.
    constexpr double kEpsilon = 216.0 / 24389.0;  // (6/29)^3
    return t > kEpsilon ? CubeRoot(t) : (841.0 / 108.0) * t + 4.0 / 29.0;
}

double Pow7(double v) {
    const double v2 = v * v;
    return v2 * v2 * v2 * v;
}

}  // namespace

std::vector<double> SpragueInterpolate(std::span<const double> coarse, int steps) {
    if (coarse.size() < 6 || steps < 1) {
        throw Error("Sprague interpolation needs at least 6 values and a positive step count.");
    }
    const int n = static_cast<int>(coarse.size());
    std::vector<double> padded(static_cast<std::size_t>(n) + 4);
    std::vector<double> out(static_cast<std::size_t>((n - 1) * steps + 1));
    SpragueCore(coarse.data(), n, steps, padded.data(), out.data());
    return out;
}

void FineSpectrum(std::span<const double> curve, std::span<double> fine) {
    CheckCurve(curve, "interpolated");
    if (fine.size() < static_cast<std::size_t>(kFinePoints)) {
        throw Error("A fine spectrum needs room for 391 values.");
    }
    double padded[kCurvePoints + 4];
    SpragueCore(curve.data(), kCurvePoints, 10, padded, fine.data());
}

double CubeRoot(double x) {
    if (!(x >= 0x1p-1000 && x <= 0x1p1000))
        return std::cbrt(x);  // zero, negatives, the extremes, infinities and NaN
    // Start from the exponent divided by three (the bit pattern over three, shifted so that the
    // estimate is within about 3 %), then two Halley steps, y <- y (y^3 + 2x) / (2y^3 + x), each
    // tripling the correct digits, and a Newton step that settles the last bit.
    std::uint64_t bits;
    std::memcpy(&bits, &x, sizeof bits);
    bits = bits / 3 + 0x2A9F7893782DA1CEULL;
    double y;
    std::memcpy(&y, &bits, sizeof y);
    double y3 = y * y * y;
    y = y * (y3 + 2.0 * x) / (2.0 * y3 + x);
    y3 = y * y * y;
    y = y * (y3 + 2.0 * x) / (2.0 * y3 + x);
    y3 = y * y * y;
    return y - (y3 - x) / (3.0 * y * y);
}

Xyz TristimulusBySummation(std::span<const double> curve) {
    double fine[kFinePoints];
    FineSpectrum(curve, fine);
    return TristimulusOfFineSpectrum(fine);
}

Xyz TristimulusOfFineSpectrum(std::span<const double> fine) {
    if (fine.size() != static_cast<std::size_t>(kFinePoints)) {
        throw Error("A 1 nm curve holds 391 values, 360 to 750 nm.");
    }
    const FineTables& t = Tables();
    double x = 0, y = 0, z = 0;
    for (int l = 0; l < kFinePoints; ++l) {
        const double w = fine[l] * t.s[l];
        x += w * t.x[l];
        y += w * t.y[l];
        z += w * t.z[l];
    }
    const double k = t.k / 100.0;  // the curve is in percent
    return {k * x, k * y, k * z};
}

Xyz Tristimulus(const double* curve) {
    const Folded& f = FoldedTables();
    double x = 0, y = 0, z = 0;
    for (int i = 0; i < kCurvePoints; ++i) {
        x += f.wx[i] * curve[i];
        y += f.wy[i] * curve[i];
        z += f.wz[i] * curve[i];
    }
    return {x, y, z};
}

const Xyz& WhitePoint() {
    return FoldedTables().white;
}

Lab XyzToCieLab(const Xyz& xyz, const Xyz& white) {
    const double fx = LabF(xyz.X / white.X);
    const double fy = LabF(xyz.Y / white.Y);
    const double fz = LabF(xyz.Z / white.Z);
    return {116.0 * fy - 16.0, 500.0 * (fx - fy), 200.0 * (fy - fz)};
}

Lab XyzToHunterLab(const Xyz& xyz, const Xyz& white) {
    const double ka = 175.0 / 198.04 * (white.X + white.Y);
    const double kb = 70.0 / 218.11 * (white.Y + white.Z);
    const double yr = xyz.Y / white.Y;
    if (yr == 0.0)
        return {0.0, 0.0, 0.0};
    const double root = std::sqrt(std::fabs(yr));
    const double l = yr > 0 ? 100.0 * root : -100.0 * root;
    return {l, ka * (xyz.X / white.X - yr) / root, kb * (yr - xyz.Z / white.Z) / root};
}

double HueDegrees(double a, double b) {
    if (a == 0.0 && b == 0.0)
        return 0.0;
    double h = std::atan2(b, a) * kDegrees;
    if (h < 0)
        h += 360.0;
    if (h >= 360.0)
        h -= 360.0;
    return h;
}

double Ciede2000(const Lab& standard, const Lab& trial) {
    constexpr double k25To7 = 6103515625.0;  // 25^7
    const double c1 = std::sqrt(standard.a * standard.a + standard.b * standard.b);
    const double c2 = std::sqrt(trial.a * trial.a + trial.b * trial.b);
    const double cBar7 = Pow7((c1 + c2) / 2.0);
    const double g = 0.5 * (1.0 - std::sqrt(cBar7 / (cBar7 + k25To7)));
    const double a1 = (1.0 + g) * standard.a;
    const double a2 = (1.0 + g) * trial.a;
    const double cp1 = std::sqrt(a1 * a1 + standard.b * standard.b);
    const double cp2 = std::sqrt(a2 * a2 + trial.b * trial.b);
    const double hp1 = HueDegrees(a1, standard.b);
    const double hp2 = HueDegrees(a2, trial.b);

    const double dL = trial.L - standard.L;
    const double dC = cp2 - cp1;
    const double cProduct = cp1 * cp2;
    double dh = 0.0;
    if (cProduct != 0.0) {
        dh = hp2 - hp1;
        if (dh > 180.0) {
            dh -= 360.0;
        } else if (dh < -180.0) {
            dh += 360.0;
        }
    }
    const double dH = 2.0 * std::sqrt(cProduct) * std::sin(dh * kRadians / 2.0);

    const double lBar = (standard.L + trial.L) / 2.0;
    const double cBar = (cp1 + cp2) / 2.0;
    double hBar = hp1 + hp2;
    if (cProduct != 0.0) {
        if (std::fabs(hp1 - hp2) <= 180.0) {
            hBar /= 2.0;
        } else if (hBar < 360.0) {
            hBar = (hBar + 360.0) / 2.0;
        } else {
            hBar = (hBar - 360.0) / 2.0;
        }
    }
    // T = 1 - 0.17 cos(h - 30) + 0.24 cos 2h + 0.32 cos(3h + 6) - 0.20 cos(4h - 63), taken from
    // one cosine and one sine of h: the multiple angles by the double- and triple-angle identities,
    // the offsets by the angle-sum identity. Agrees with four cosine calls to about 1e-15.
    const double cosH = std::cos(hBar * kRadians);
    const double sinH = std::sin(hBar * kRadians);
    const double cos2H = 2.0 * cosH * cosH - 1.0;
    const double sin2H = 2.0 * sinH * cosH;
    const double cos3H = cosH * (2.0 * cos2H - 1.0);
    const double sin3H = sinH * (2.0 * cos2H + 1.0);
    const double cos4H = 2.0 * cos2H * cos2H - 1.0;
    const double sin4H = 2.0 * sin2H * cos2H;
    const double t = 1.0 - 0.17 * (cosH * kCos30 + sinH * 0.5) + 0.24 * cos2H +
                     0.32 * (cos3H * kCos6 - sin3H * kSin6) -
                     0.20 * (cos4H * kCos63 + sin4H * kSin63);
    const double hTerm = (hBar - 275.0) / 25.0;
    const double dTheta = 30.0 * std::exp(-hTerm * hTerm);
    const double cBarP7 = Pow7(cBar);
    const double rC = 2.0 * std::sqrt(cBarP7 / (cBarP7 + k25To7));
    const double l50 = (lBar - 50.0) * (lBar - 50.0);
    const double sL = 1.0 + 0.015 * l50 / std::sqrt(20.0 + l50);
    const double sC = 1.0 + 0.045 * cBar;
    const double sH = 1.0 + 0.015 * cBar * t;
    const double rT = -std::sin(2.0 * dTheta * kRadians) * rC;

    const double l = dL / sL;
    const double c = dC / sC;
    const double h = dH / sH;
    return std::sqrt(l * l + c * c + h * h + rT * c * h);
}

void CheckCurve(std::span<const double> curve, const char* role) {
    if (curve.size() != static_cast<std::size_t>(kCurvePoints)) {
        throw Error(std::string("The ") + role +
                    " reflectance curve must hold 40 values (360-750 nm by 10 nm); it holds " +
                    std::to_string(curve.size()) + ".");
    }
    for (int i = 0; i < kCurvePoints; ++i) {
        if (!std::isfinite(curve[static_cast<std::size_t>(i)])) {
            throw Error(std::string("The ") + role +
                        " reflectance curve holds no valid number at " +
                        std::to_string(kFirstNm + 10 * i) + " nm.");
        }
    }
}

}  // namespace colorimetry

using namespace colorimetry;

ColorMatch::ColorMatch() {
    Describe(m_standard, m_standardColour);
    Describe(m_trial, m_trialColour);
}

void ColorMatch::SetColorSpace(int16_t space) {
    if (space != kCieLab && space != kHunterLab) {
        throw Error("Colour space " + std::to_string(space) +
                    " is not known; use 0 (CIE Lab) or 2 (Hunter Lab).");
    }
    m_colorSpace = space;
    Recolour(m_standardColour);
    Recolour(m_trialColour);
}

void ColorMatch::SetStandardSpectrum(std::span<const double> spectrum) {
    SetCurve(spectrum, "standard", m_standard, m_standardColour);
}

void ColorMatch::SetTrialSpectrum(std::span<const double> spectrum) {
    SetCurve(spectrum, "trial", m_trial, m_trialColour);
}

void ColorMatch::SetCurve(std::span<const double> spectrum, const char* role, double* curve,
                          Colour& colour) const {
    if (spectrum.size() != static_cast<std::size_t>(kCurvePoints))
        CheckCurve(spectrum, role);
    Colour described;
    Describe(spectrum.data(), described);
    CheckFinite(spectrum, role, described.xyz);
    std::copy(spectrum.begin(), spectrum.end(), curve);
    colour = described;
}

void ColorMatch::CheckFinite(std::span<const double> spectrum, const char* role, const Xyz& xyz) {
    // A NaN or an infinity anywhere in the curve makes X non-finite whatever the weight's sign
    // (inf * w is infinite or, for w = 0, NaN, and no finite sum brings it back), so finite
    // tristimulus values prove a finite curve and spare a separate pass. Only a suspect curve (or
    // a finite one that overflows) is scanned point by point.
    if (!std::isfinite(xyz.X) || !std::isfinite(xyz.Y) || !std::isfinite(xyz.Z))
        CheckCurve(spectrum, role);
}

void ColorMatch::GetFineSpectrum(std::vector<double>& fine) const {
    fine.resize(kFinePoints);
    FineSpectrum(m_trial, fine);
}

void ColorMatch::GetDifferenceVector(int index, std::vector<double>& result) const {
    CheckIndex(index);
    result.resize(7);
    DifferenceVector(std::span<double, 7>(result.data(), 7));
}

void ColorMatch::GetDeltaArray2(int index, std::vector<double>& result) const {
    CheckIndex(index);
    result.resize(8);
    TrialCoordinates(std::span<double, 8>(result.data(), 8));
}

void ColorMatch::GetDeltaArray1(int index, std::vector<double>& result) const {
    CheckIndex(index);
    result.resize(8);
    StandardCoordinates(std::span<double, 8>(result.data(), 8));
}

void ColorMatch::DifferenceVector(std::span<double, 7> result) const {
    const Colour& s = m_standardColour;
    const Colour& t = m_trialColour;
    const double dL = t.lab.L - s.lab.L;
    const double da = t.lab.a - s.lab.a;
    const double db = t.lab.b - s.lab.b;
    // CIE 15:2004, 8.2.3: signed hue difference 2 sqrt(C1 C2) sin(dh / 2), dh in (-180, 180].
    double dh = t.hue - s.hue;
    if (dh > 180.0) {
        dh -= 360.0;
    } else if (dh <= -180.0) {
        dh += 360.0;
    }
    result[0] = dL;
    result[1] = da;
    result[2] = db;
    result[3] = t.chroma - s.chroma;
    result[4] = 2.0 * std::sqrt(s.chroma * t.chroma) * std::sin(dh * kRadians / 2.0);
    result[5] = Ciede2000(s.cieLab, t.cieLab);
    result[6] = std::sqrt(dL * dL + da * da + db * db);
}

void ColorMatch::StandardCoordinates(std::span<double, 8> result) const {
    Coordinates(m_standardColour, result);
}

void ColorMatch::TrialCoordinates(std::span<double, 8> result) const {
    Coordinates(m_trialColour, result);
}

void ColorMatch::Describe(const double* curve, Colour& colour) const {
    colour.xyz = Tristimulus(curve);
    colour.cieLab = XyzToCieLab(colour.xyz, WhitePoint());
    Recolour(colour);
}

void ColorMatch::Recolour(Colour& colour) const {
    colour.lab =
        m_colorSpace == kHunterLab ? XyzToHunterLab(colour.xyz, WhitePoint()) : colour.cieLab;
    colour.chroma = std::sqrt(colour.lab.a * colour.lab.a + colour.lab.b * colour.lab.b);
    colour.hue = HueDegrees(colour.lab.a, colour.lab.b);
}

void ColorMatch::Coordinates(const Colour& colour, std::span<double, 8> result) {
    result[0] = colour.lab.L;
    result[1] = colour.lab.a;
    result[2] = colour.lab.b;
    result[3] = colour.chroma;
    result[4] = colour.hue;
    result[5] = colour.xyz.X;
    result[6] = colour.xyz.Y;
    result[7] = colour.xyz.Z;
}

void ColorMatch::CheckIndex(int index) {
    if (index != 0) {
        throw Error("The colour-matching component has no result set " + std::to_string(index) +
                    "; only set 0 exists.");
    }
}

}  // namespace tintara
