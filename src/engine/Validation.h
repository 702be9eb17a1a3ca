// How well a correction holds on samples it was not made from: statistics of paired readings.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "workspace/GlobalVariables.h"

namespace tintara {

// Percentile by linear interpolation between closest ranks (Hyndman and Fan 1996, definition 7;
// the rule of spreadsheet PERCENTILE.INC): for n sorted values x[0..n-1] and 0 <= p <= 1, h =
// (n - 1) p and the result is x[floor h] + (h - floor h) (x[floor h + 1] - x[floor h]). The median
// is the 0.5 percentile by the same rule. `sorted` must be in ascending order; 0 when empty.
double Percentile(std::span<const double> sorted, double p);

// Location and spread of a set of non-negative colour differences. ShareWithin is the fraction
// (0..1) of values not greater than the limit, the rule the performance verdict uses for an
// average.
struct DifferenceSummary {
    std::size_t Count = 0;
    double Mean = 0, Median = 0, P90 = 0, P95 = 0, Max = 0;
    double ShareWithin = 0;
};
DifferenceSummary SummariseDifferences(std::span<const double> values, double limit);

// Bias of signed differences with 95 % limits of agreement (Bland and Altman, Lancet 1986):
// Mean +- 1.96 SD, SD the sample standard deviation (n - 1 in the denominator; 0 for fewer than
// two values).
struct Agreement {
    double Mean = 0, Sd = 0, Lower = 0, Upper = 0;
};
Agreement LimitsOfAgreement(std::span<const double> values);

// One colour difference of a trial against a standard (trial minus standard): DL, Da, Db and DE
// in the selected colour space, and CIEDE2000 (always on CIELAB), as ColorMatch reports them.
struct ColourDifference {
    double DL = 0, Da = 0, Db = 0, DE = 0, DE2000 = 0;
};

// One verification sample: the Master reading, the Target reading as measured and the Target
// reading corrected, 40 points each (percent, 360..750 nm). The pointers are borrowed.
struct ValidationPair {
    std::string Name;
    const double* Master = nullptr;
    const double* Target = nullptr;
    const double* Corrected = nullptr;
};

struct ValidationSample {
    std::string Name;
    ColourDifference Before, After;
};

// Everything said about one side (before or after correction).
struct ValidationSide {
    DifferenceSummary DE, DE2000;
    Agreement DL, Da, Db;
    // Per point (360..750 nm by 10 nm), Master minus Target reflectance in percent: the mean over
    // samples and the root mean square.
    std::array<double, kPointCount> SpectralMean{}, SpectralRms{};
};

struct ValidationResult {
    int16_t ColorSpace = 0;
    double SingleSampleLimit = 0;
    std::vector<ValidationSample> Samples;  // in input order
    ValidationSide Before, After;
    std::vector<std::size_t> Worst;  // up to five sample indices, largest DE after first
};

// Compares every pair in the colour space given (kCieLab or kHunterLab) and summarises before and
// after correction; ShareWithin uses `singleSampleLimit` for both DE and CIEDE2000. Throws Error
// for a curve that is not finite, naming the sample.
ValidationResult Validate(std::span<const ValidationPair> pairs, int16_t colorSpace,
                          double singleSampleLimit);
// The same for pairs read one at a time: `next` fills the pair (its curves borrowed until the next
// call) and returns true, or false after the last. Only the per-sample differences are kept.
using ValidationPairSource = std::function<bool(ValidationPair& pair)>;
ValidationResult Validate(const ValidationPairSource& next, int16_t colorSpace,
                          double singleSampleLimit);

// The indices of the `count` largest values, largest first; equal values keep input order.
std::vector<std::size_t> LargestIndices(std::span<const double> values, std::size_t count);

// Leave-one-out check of the wavelength phase, the only phase fitted to every tile. Each tile
// that is not a reference tile (offset, gain, linearity A-C; their own readings define the other
// phases) is held out of the weight search's sums in turn; the weights found without it correct
// its linearity-phase reading, and that DE (predicted) is set beside the DE the full fit gives it
// (fitted, WavelengthDE). Needs a profile in the workspace; nothing in it changes. Without the
// weight search (UseCentroid false) both are the same.
struct CrossValidationTile {
    int Tile = 0;  // 0-based
    std::string Name;
    double Fitted = 0, Predicted = 0;
};
struct CrossValidationResult {
    std::vector<CrossValidationTile> Tiles;
    double MeanFitted = 0, MeanPredicted = 0;
    double Gap() const { return MeanPredicted - MeanFitted; }
};
CrossValidationResult CrossValidateWavelength(const GlobalVariables& ws);

}  // namespace tintara
