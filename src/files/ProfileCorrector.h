// Applies a coefficient file's correction to 40-point Target curves (fandecks, legacy data).
#pragma once

#include <array>
#include <filesystem>
#include <span>

#include "engine/CorrectionFormulas.h"
#include "files/CCFReadWrite.h"
#include "workspace/GlobalVariables.h"

namespace tintara {

// Measuring geometry of a coefficient bank and of a fandeck angle position.
enum class Geometry { SCI = 0, SCE = 1 };

// Corrects a Target reading toward the Master with one geometry's stored block, in the order the
// profile run found the coefficients: per point p, with x the curve value in percent,
//   offset      x1 = x + O(p)
//   gain        x2 = (1 + (1 - G(p)) (1 - x1 / r(p))) G(p) x1      (r: stored gain-tile reading)
//   linearity   segment 1 below T1, j+1 for Tj <= x2 < Tj+1, 5 at or above T4;
//               x3 = (x2 - intercept) / slope, or x2 unchanged when the slope is zero
//   wavelength  y(p) = W0(p) x3(p-1) + W1(p) x3(p) + W2(p) x3(p+1), the missing neighbour's term
//               dropped at points 0 and 39.
// Point 0 (360 nm), which the file does not hold, uses the coefficients of point 1. The file holds
// no segment below the offset tile's level, so values there follow segment 1 where the profile run
// itself left them unchanged; elsewhere the result equals the run's corrected tile readings to the
// precision the file prints (3 decimals for offsets and levels, 6 for gains and segments).
//
// Correct() does no allocation and no validation; per-point constants are laid out once by Load.
// It evaluates the shared formulas several points at a time (two on any x86-64, four where the
// processor has AVX2, eight with AVX-512), operation for operation in the same order and with no
// fused multiply-add, so its results are bit for bit those of the one-point-at-a-time formulas
// (the tests keep that version as the reference, and run every width the processor has against
// it).
class ProfileCorrector {
  public:
    ProfileCorrector() = default;

    // Reads a coefficient file (ParseError / IoError as ParseCoefficientFile; nothing changes
    // then).
    void ReadCoefficientFile(const std::filesystem::path& file);
    void Load(const CoefficientFileContents& contents);

    bool Loaded() const { return m_loaded; }
    // The file's flag for the geometry: false means its block is a placeholder.
    bool HasGeometry(Geometry geometry) const {
        return geometry == Geometry::SCI ? m_contents.SCIPresent : m_contents.SCEPresent;
    }
    const CoefficientFileContents& Contents() const { return m_contents; }

    // Corrects one curve of 40 values; `in` and `out` may be the same array.
    void Correct(Geometry geometry, const double* in, double* out) const noexcept;
    void Correct(Geometry geometry, std::span<const double, kPointCount> in,
                 std::span<double, kPointCount> out) const noexcept {
        Correct(geometry, in.data(), out.data());
    }

    // How many points Correct takes at a time: 8 where the processor has AVX-512 (F and DQ), 4
    // where it has AVX2, else 2. The tests and the benchmark set narrower widths to run the code
    // other processors run; a width this processor lacks, or any other, is ignored.
    int Width() const { return m_width; }
    void SetWidth(int width);

    // One bank laid out per point (0..39, point 0 a copy of point 1), one array per constant, so
    // that Correct takes several points at a time. The wavelength step's missing neighbours (before
    // point 0, after point 39) are given the weight -0, whose product with the zero guard value is
    // -0 and leaves any sum exactly as it was.
    struct alignas(32) Plan {
        double offset[kPointCount], oneMinusGain[kPointCount], gain[kPointCount];
        double reflectance[kPointCount];
        double level[4][kPointCount];      // T1..T4
        double slope[5][kPointCount];      // segments 1..5
        double intercept[5][kPointCount];  // segments 1..5
        double weight[3][kPointCount];     // W0, W1, W2
    };

  private:
    static void BuildPlan(const CoefficientBank& bank, Plan& plan);

    CoefficientFileContents m_contents;
    std::array<Plan, 2> m_plans{};
    bool m_loaded = false;
    int m_width = 2;
};

}  // namespace tintara
