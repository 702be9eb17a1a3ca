// The colour-matching component against CIE properties, published CIEDE2000 data and ArgyllCMS.
#include "engine/ColorMatch.h"

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <limits>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "support/TestPaths.h"
#include "workspace/Error.h"

namespace tintara {
namespace {

using colorimetry::Lab;
using colorimetry::Xyz;
using Curve40 = std::vector<double>;

// tests/data/colorimetry/argyll_lab.txt (written by make_reference.sh in the same folder): name,
// spec2cie's L a b of the 40-point curve, the same for the curve taken to 1 nm by Sprague, curve.
struct ArgyllCase {
    std::string name;
    Lab fromTenNm, fromOneNm;
    Curve40 curve = Curve40(40);
};

std::vector<ArgyllCase> LoadArgyllCases() {
    std::ifstream in(test::DataPath("colorimetry/argyll_lab.txt"));
    std::vector<ArgyllCase> cases;
    for (ArgyllCase c; in >> c.name >> c.fromTenNm.L >> c.fromTenNm.a >> c.fromTenNm.b >>
                       c.fromOneNm.L >> c.fromOneNm.a >> c.fromOneNm.b;) {
        for (double& v : c.curve)
            in >> v;
        cases.push_back(c);
    }
    EXPECT_GE(cases.size(), 20u);
    return cases;
}

double DeltaEab(const Lab& p, const Lab& q) {
    return std::hypot(p.L - q.L, p.a - q.a, p.b - q.b);
}

Lab OurCieLab(const Curve40& curve) {
    return colorimetry::XyzToCieLab(colorimetry::TristimulusBySummation(curve),
                                    colorimetry::WhitePoint());
}

// Random curves in the range a spectrophotometer reports, negative readings included.
std::vector<Curve40> RandomCurves(int count, unsigned seed) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<double> value(-2.0, 105.0);
    std::vector<Curve40> curves(static_cast<std::size_t>(count), Curve40(40));
    for (Curve40& c : curves) {
        for (double& v : c)
            v = value(rng);
    }
    return curves;
}

std::vector<double> Difference(ColorMatch& plm, const Curve40& standard, const Curve40& trial) {
    plm.SetStandardSpectrum(standard);
    plm.SetTrialSpectrum(trial);
    std::vector<double> result(1);
    plm.GetDifferenceVector(0, result);
    return result;
}

TEST(Colorimetry, FlatCurvesAreNeutralWithLightnessFromY) {
    ColorMatch plm;
    std::vector<double> c(1);
    for (const double level : {100.0, 50.0, 18.0, 0.5}) {
        // CIE 15 L* (linear below (6/29)^3) and Hunter L = 10 sqrt(Y); a, b and chroma zero.
        const double y = level / 100.0;
        const double cieL = y > 216.0 / 24389.0 ? 116.0 * std::cbrt(y) - 16.0 : 24389.0 / 27 * y;
        for (const auto& [space, lightness] :
             {std::pair<int16_t, double>{kCieLab, cieL}, {kHunterLab, 10.0 * std::sqrt(level)}}) {
            SCOPED_TRACE(std::to_string(level) + " % in space " + std::to_string(space));
            plm.SetColorSpace(space);
            plm.SetStandardSpectrum(Curve40(40, level));
            plm.GetDeltaArray1(0, c);
            ASSERT_EQ(c.size(), 8u);
            EXPECT_NEAR(c[0], lightness, 1e-9);
            for (int k : {1, 2, 3})
                EXPECT_NEAR(c[k], 0.0, 1e-9) << k;
            EXPECT_NEAR(c[6], level, 1e-9);  // Y
        }
    }
}

TEST(Colorimetry, FoldedWeightsAgreeWithOneNanometreSummation) {
    std::vector<Curve40> curves = RandomCurves(200, 7);
    for (const ArgyllCase& c : LoadArgyllCases())
        curves.push_back(c.curve);
    curves.push_back(Curve40(40, -1.0));
    for (const Curve40& curve : curves) {
        const Xyz plain = colorimetry::TristimulusBySummation(curve);
        const Xyz folded = colorimetry::Tristimulus(curve.data());
        ASSERT_NEAR(plain.X, folded.X, 1e-9);
        ASSERT_NEAR(plain.Y, folded.Y, 1e-9);
        ASSERT_NEAR(plain.Z, folded.Z, 1e-9);
    }
}

TEST(Colorimetry, SpragueKeepsTheTenNanometrePointsAndReproducesPolynomials) {
    std::vector<double> fine(391);
    for (const Curve40& curve : RandomCurves(20, 11)) {
        colorimetry::FineSpectrum(curve, fine);
        for (int i = 0; i < 40; ++i)
            ASSERT_EQ(fine[10 * i], curve[i]);
    }
    // A straight line stays straight over the whole range, end intervals included.
    Curve40 line(40);
    for (int i = 0; i < 40; ++i)
        line[i] = 12.5 + 1.75 * i;
    colorimetry::FineSpectrum(line, fine);
    for (int l = 0; l < 391; ++l)
        ASSERT_NEAR(fine[l], 12.5 + 0.175 * l, 1e-12) << l << " nm";
    // Away from the ends Sprague's quintic reproduces every polynomial up to degree four.
    const auto quartic = [](double x) {
        return 3 - 2 * x + 0.5 * x * x - 0.25 * x * x * x + 0.1 * x * x * x * x;
    };
    std::vector<double> coarse(20);
    for (int i = 0; i < 20; ++i)
        coarse[i] = quartic(i);
    const std::vector<double> dense = colorimetry::SpragueInterpolate(coarse, 5);
    ASSERT_EQ(dense.size(), 96u);
    for (int j = 10; j <= 85; ++j)
        ASSERT_NEAR(dense[j], quartic(j / 5.0), 1e-9) << j;
}

TEST(Colorimetry, AgreesWithArgyllOnTheReferenceCurves) {
    // On the same 1 nm curves only observer, illuminant and summation are compared. From the
    // 10 nm curves spec2cie interpolates with its own scheme rather than Sprague; the two differ
    // on narrow bands (0.05 on the 25 nm wide blue band, all other curves within 0.02).
    const std::vector<ArgyllCase> cases = LoadArgyllCases();
    double sumTen = 0;
    for (const ArgyllCase& c : cases) {
        const Lab ours = OurCieLab(c.curve);
        EXPECT_LE(DeltaEab(ours, c.fromOneNm), 0.01) << c.name;
        EXPECT_LE(DeltaEab(ours, c.fromTenNm), 0.06) << c.name;
        sumTen += DeltaEab(ours, c.fromTenNm);
    }
    EXPECT_LE(sumTen / static_cast<double>(cases.size()), 0.01);
}

TEST(Colorimetry, Ciede2000MatchesSharmaWuDalalPairs) {
    std::ifstream in(test::DataPath("colorimetry/ciede2000_sharma.txt"));
    int pairs = 0;
    for (std::string line; std::getline(in, line);) {
        if (line.empty() || line[0] == '#')
            continue;
        std::istringstream fields(line);
        int pair = 0;
        Lab first, second;
        double expected = 0;
        fields >> pair >> first.L >> first.a >> first.b >> second.L >> second.a >> second.b >>
            expected;
        ASSERT_TRUE(fields) << line;
        EXPECT_NEAR(colorimetry::Ciede2000(first, second), expected, 1e-4) << "pair " << pair;
        EXPECT_NEAR(colorimetry::Ciede2000(second, first), expected, 1e-4) << "pair " << pair;
        ++pairs;
    }
    EXPECT_EQ(pairs, 34);
}

TEST(ColorMatch, DifferencesAreTrialMinusStandardInEitherSpaceAndZeroForEqualCurves) {
    const std::vector<ArgyllCase> cases = LoadArgyllCases();
    const Xyz& n = colorimetry::WhitePoint();
    for (const int16_t space : {kCieLab, kHunterLab}) {
        ColorMatch plm;
        plm.SetColorSpace(space);
        std::vector<double> standard(1), trial(1);
        for (std::size_t i = 0; i + 1 < cases.size(); ++i) {
            const Curve40& s = cases[i].curve;
            const Curve40& t = cases[i + 1].curve;
            SCOPED_TRACE(cases[i + 1].name + " space " + std::to_string(space));
            EXPECT_EQ(Difference(plm, s, s), std::vector<double>(7, 0.0));
            const std::vector<double> d = Difference(plm, s, t);
            plm.GetDeltaArray1(0, standard);
            plm.GetDeltaArray2(0, trial);
            // Hunter Lab: L = 100 sqrt(Y/Yn), Ka = 175/198.04 (Xn + Yn) = 172.15 and
            // Kb = 70/218.11 (Yn + Zn) = 66.53 for D65 and the 10-degree observer.
            const Xyz xyz = colorimetry::TristimulusBySummation(t);
            const double xr = xyz.X / n.X, yr = xyz.Y / n.Y, zr = xyz.Z / n.Z, q = std::sqrt(yr);
            const Lab lab = space == kCieLab
                                ? OurCieLab(t)
                                : Lab{100 * q, 172.15 * (xr - yr) / q, 66.53 * (yr - zr) / q};
            EXPECT_NEAR(trial[0], lab.L, 1e-9);
            EXPECT_NEAR(trial[1], lab.a, 1e-3 * (1 + std::fabs(lab.a)));
            EXPECT_NEAR(trial[2], lab.b, 1e-3 * (1 + std::fabs(lab.b)));
            for (int k = 0; k < 4; ++k)
                EXPECT_NEAR(d[k], trial[k] - standard[k], 1e-9);
            // CIE 15: DE^2 = DL^2 + DC^2 + DH^2.
            EXPECT_NEAR(d[6] * d[6], d[0] * d[0] + d[3] * d[3] + d[4] * d[4],
                        1e-7 * (1 + d[6] * d[6]));
            // CIEDE2000 is on CIELAB whatever the selected space.
            EXPECT_NEAR(d[5], colorimetry::Ciede2000(OurCieLab(s), OurCieLab(t)), 1e-9);
            // Swapping the curves negates the signed components and keeps the totals.
            const std::vector<double> back = Difference(plm, t, s);
            for (int k = 0; k < 7; ++k)
                EXPECT_NEAR(back[k], k < 5 ? -d[k] : d[k], 1e-9) << k;
        }
    }
}

TEST(ColorMatch, RefusesBadCurvesKeepingThePreviousOneAndAcceptsNegativeReadings) {
    ColorMatch plm;
    const std::vector<double> before = Difference(plm, Curve40(40, 40.0), Curve40(40, 60.0));
    Curve40 withNan(40, 50.0), withInf(40, 50.0);
    withNan[1] = std::numeric_limits<double>::quiet_NaN();
    withInf[39] = -std::numeric_limits<double>::infinity();
    for (const auto& [curve, words] :
         {std::pair<Curve40, const char*>{Curve40(39, 50.0), "40 values"},
          {Curve40(41, 50.0), "40 values"},
          {Curve40(), "40 values"},
          {withNan, "370 nm"},
          {withInf, "750 nm"}}) {
        try {
            plm.SetTrialSpectrum(curve);
            ADD_FAILURE() << "accepted a bad curve: " << words;
        } catch (const Error& e) {
            EXPECT_NE(std::string(e.what()).find(words), std::string::npos) << e.what();
        }
    }
    EXPECT_THROW(plm.SetStandardSpectrum(withNan), Error);
    EXPECT_THROW(colorimetry::TristimulusBySummation(withNan), Error);
    EXPECT_THROW(plm.SetColorSpace(1), Error);
    EXPECT_EQ(plm.ColorSpace(), kCieLab);
    std::vector<double> after(1);
    EXPECT_THROW(plm.GetDifferenceVector(1, after), Error);
    plm.GetDifferenceVector(0, after);
    EXPECT_EQ(after, before);
    // Negative readings are real data (a black tile after offset correction).
    for (const int16_t space : {kCieLab, kHunterLab}) {
        plm.SetColorSpace(space);
        EXPECT_NO_THROW(plm.SetTrialSpectrum(Curve40(40, -0.5)));
        plm.GetDifferenceVector(0, after);
        for (double v : after)
            EXPECT_TRUE(std::isfinite(v));
    }
}

}  // namespace
}  // namespace tintara
