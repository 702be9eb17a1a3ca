// The four correction phases: Offset, Gain, Linearity and Wavelength, applied in that order to the
// Target tile reflectances so that they read like the Master's.
#include <cmath>
#include <string>

#include "engine/CorrectionFormulas.h"
#include "engine/Utility.h"
#include "engine/WavelengthSearch.h"
#include "workspace/Error.h"

namespace tintara {

namespace {

constexpr int kProgressPerTile = 3 * kPointCount;                  // three phases
constexpr int kProgressSearch = kCentreWeightSteps * kPointCount;  // the weight search
constexpr double kMinimumMasterSpan = 1e-6;                        // linearity guard

int Nanometres(int point) {
    return 360 + 10 * point;
}

[[noreturn]] void Fault(const char* phase, int tile, int point, const std::string& what) {
    throw ComputeError(std::string(phase) + " phase: " + what + " (tile " + std::to_string(tile) +
                       ", point " + std::to_string(point) + ", " +
                       std::to_string(Nanometres(point)) + " nm)");
}

// Every stored value must be a number: an overflow or an invalid operation is reported where it
// happens instead of travelling on as NaN or infinity.
inline void CheckFinite(double value, const char* phase, int tile, int point, const char* what) {
    if (!std::isfinite(value))
        Fault(phase, tile, point, std::string(what) + " is not finite");
}

// Fills tiles 0..tiles of `output` with corrected(t, w), one progress step per value; a value that
// is not a number stops the phase there.
template <typename Corrected>
void CorrectTiles(Matrix& output, int tiles, const char* phase, const char* what,
                  ProgressSink& progress, Corrected corrected) {
    for (int t = 0; t <= tiles; ++t) {
        for (int w = 0; w < kPointCount; ++w) {
            const double value = corrected(t, w);
            CheckFinite(value, phase, t, w, what);
            output(t, w) = value;
            progress.AdvanceProgress(1);
        }
    }
}

}  // namespace

double Utility::EvaluateTile(const Matrix& output, int tile, const char* phase) {
    const double* master = m_ws.MasterReflectance.Row(tile);
    const double* sample = output.Row(tile);
    for (int w = 0; w < kPointCount; ++w) {
        m_ws.MasterWorkSpectrum[w] = master[w];
        m_ws.SampleWorkSpectrum[w] = sample[w];
    }
    ReCalcDE();
    if (m_ws.DEResult.size() < 7 || !std::isfinite(m_ws.DEResult[6])) {
        throw ComputeError(std::string(phase) + " phase: the colour difference of tile " +
                           std::to_string(tile) + " is not a finite number (all points)");
    }
    return m_ws.DEResult[6];
}

void Utility::CalculateOffset() {
    GlobalVariables& ws = m_ws;
    const int tiles = ws.TileCount;
    m_progress.SetProgressMaximum(static_cast<long>(tiles + 1) * kProgressPerTile +
                                  kProgressSearch);
    m_progress.SetProgressValue(0);

    for (int w = 0; w < kPointCount; ++w) {
        ws.OffsetCoefficients[w] =
            ws.MasterReflectance(ws.OffsetTile, w) - ws.TargetReflectance(ws.OffsetTile, w);
        CheckFinite(ws.OffsetCoefficients[w], "Offset", ws.OffsetTile, w, "the offset");
    }
    CorrectTiles(ws.TargetAfterOffset, tiles, "Offset", "the offset-corrected reflectance",
                 m_progress, [&](int t, int w) {
                     return OffsetCorrected(ws.TargetReflectance(t, w), ws.OffsetCoefficients[w]);
                 });
    for (int t = 0; t <= tiles; ++t)
        ws.OffsetDE[t] = EvaluateTile(ws.TargetAfterOffset, t, "Offset");
}

void Utility::CalculateGain() {
    GlobalVariables& ws = m_ws;
    const int tiles = ws.TileCount;
    const int gainTile = ws.GainTile;

    for (int w = 0; w < kPointCount; ++w) {
        const double corrected = ws.TargetAfterOffset(gainTile, w);
        if (corrected == 0.0) {
            Fault("Gain", gainTile, w,
                  "the offset-corrected gain tile reads zero, so no gain can be taken from it");
        }
        ws.GainCoefficients[w] = ws.MasterReflectance(gainTile, w) / corrected;
        CheckFinite(ws.GainCoefficients[w], "Gain", gainTile, w, "the gain");
    }
    for (int w = 0; w < kPointCount; ++w) {
        if (ws.TargetReflectance(gainTile, w) == 0.0) {
            Fault("Gain", gainTile, w,
                  "the gain tile's raw Target reflectance is zero, so the gain taper cannot be "
                  "computed");
        }
    }
    CorrectTiles(ws.TargetAfterGain, tiles, "Gain", "the gain-corrected reflectance", m_progress,
                 [&](int t, int w) {
                     return GainCorrected(ws.TargetAfterOffset(t, w), ws.GainCoefficients[w],
                                          ws.TargetReflectance(gainTile, w));
                 });
    for (int t = 0; t <= tiles; ++t)
        ws.GainDE[t] = EvaluateTile(ws.TargetAfterGain, t, "Gain");
}

void Utility::BuildLinearityPoints() {
    GlobalVariables& ws = m_ws;
    const int16_t order[5] = {ws.OffsetTile, ws.LinearityTileA, ws.LinearityTileB,
                              ws.LinearityTileC, ws.GainTile};
    for (int w = 0; w < kPointCount; ++w) {
        for (int k = 0; k < 5; ++k) {
            ws.LinearityPoints[w][2 * k] = ws.MasterReflectance(order[k], w);
            ws.LinearityPoints[w][2 * k + 1] = ws.TargetAfterGain(order[k], w);
        }
    }
}

void Utility::FitLinearitySegments() {
    GlobalVariables& ws = m_ws;
    const int16_t order[5] = {ws.OffsetTile, ws.LinearityTileA, ws.LinearityTileB,
                              ws.LinearityTileC, ws.GainTile};
    for (int w = 0; w < kPointCount; ++w) {
        const auto& p = ws.LinearityPoints[w];
        auto& slopes = ws.LinearitySlopes[w];
        auto& intercepts = ws.LinearityIntercepts[w];
        // Below the first and above the last reference point the map is the identity.
        slopes[0] = 1.0;
        intercepts[0] = 0.0;
        slopes[5] = 1.0;
        intercepts[5] = 0.0;
        for (int k = 1; k <= 4; ++k) {
            const double mk = p[2 * k], tk = p[2 * k + 1];
            const double mPrev = p[2 * k - 2], tPrev = p[2 * k - 1];
            double slope = 0.0;
            // A segment whose Master span is too small (or not rising) is left uncorrected
            // rather than divided by; the negated test also catches a NaN span.
            if (mk - mPrev >= kMinimumMasterSpan)
                slope = (tk - tPrev) / (mk - mPrev);
            slopes[k] = slope;
            intercepts[k] = tk - mk * slope;
            CheckFinite(slopes[k], "Linearity", order[k], w, "the segment slope");
            CheckFinite(intercepts[k], "Linearity", order[k], w, "the segment intercept");
        }
    }
}

void Utility::ApplyLinearity() {
    GlobalVariables& ws = m_ws;
    for (int w = 0; w < kPointCount; ++w) {
        const auto& p = ws.LinearityPoints[w];
        const double s = ws.SampleWorkSpectrum[w];
        // Segments by the Target break levels T0..T4, held at the odd places of the points.
        const int segment = LinearitySegment(s, &p[1], 5, 2);
        ws.SampleWorkSpectrum[w] = LinearityCorrected(s, ws.LinearitySlopes[w][segment],
                                                      ws.LinearityIntercepts[w][segment]);
        m_progress.AdvanceProgress(1);
    }
}

void Utility::CalculateLinearity() {
    GlobalVariables& ws = m_ws;
    const int tiles = ws.TileCount;
    ws.LinearityCoefficients.fill(1.0);
    BuildLinearityPoints();
    FitLinearitySegments();
    for (int t = 0; t <= tiles; ++t) {
        double* row = ws.TargetAfterLinearity.Row(t);
        const double* gained = ws.TargetAfterGain.Row(t);
        for (int w = 0; w < kPointCount; ++w) {
            row[w] = gained[w];
            ws.SampleWorkSpectrum[w] = gained[w];
        }
        ApplyLinearity();
        for (int w = 0; w < kPointCount; ++w) {
            CheckFinite(ws.SampleWorkSpectrum[w], "Linearity", t, w,
                        "the linearity-corrected reflectance");
            row[w] = ws.SampleWorkSpectrum[w];
        }
        const double de = EvaluateTile(ws.TargetAfterLinearity, t, "Linearity");
        // The Wavelength column shows the Linearity result until that phase overwrites it.
        ws.LinearityDE[t] = de;
        ws.WavelengthDE[t] = de;
    }
}

void Utility::SingleTileCentroid(int16_t tile) {
    GlobalVariables& ws = m_ws;
    const double* linearity = ws.TargetAfterLinearity.Row(tile);
    double* row = ws.TargetAfterWavelength.Row(tile);
    for (int w = 0; w < kPointCount; ++w) {
        row[w] = ThreePointValue(linearity, ws.WavelengthCoefficients[w], w);
    }
    for (int w = 0; w < kPointCount; ++w) {
        ws.SampleWorkSpectrum[w] = row[w];
        ws.MasterWorkSpectrum[w] = ws.MasterReflectance(tile, w);
    }
    ReCalcDE();
    ws.WavelengthDE[tile] = ws.DEResult.at(6);
}

void Utility::SingleTileLeastDiff(int16_t tile, int16_t wavelength, double& difference) {
    GlobalVariables& ws = m_ws;
    for (int w = 0; w < kPointCount; ++w)
        ws.MasterWorkSpectrum[w] = ws.MasterReflectance(tile, w);
    const double value = ThreePointValue(ws.TargetAfterLinearity.Row(tile),
                                         ws.WavelengthCoefficients[wavelength], wavelength);
    ws.TargetAfterWavelength(tile, wavelength) = value;
    ws.SampleWorkSpectrum[wavelength] = value;
    difference =
        LeastDifference(ws.SampleWorkSpectrum[wavelength], ws.MasterWorkSpectrum[wavelength]);
    ReCalcDE();
    ws.WavelengthDE[tile] = ws.DEResult.at(6);
}

void Utility::SearchWeightsReference(int16_t wavelength) {
    GlobalVariables& ws = m_ws;
    const int16_t tiles = ws.TileCount;
    double best = 0.0;
    for (int16_t t = 0; t <= tiles; ++t) {
        double difference = 0.0;
        SingleTileLeastDiff(t, wavelength, difference);
        best += difference;
    }
    WavelengthWeights bestWeights = kIdentityWeights;
    for (int centre = 100; centre >= 80; --centre) {
        for (int left = 0; left <= 20; ++left) {
            const int right = 100 - centre - left;
            if (right < 0)
                continue;
            ws.WavelengthCoefficients[wavelength] =
                WavelengthCandidate{left, centre, right}.Weights();
            double sum = 0.0;
            for (int16_t t = 0; t <= tiles; ++t) {
                SingleTileCentroid(t);
                double difference = 0.0;
                SingleTileLeastDiff(t, wavelength, difference);
                sum += difference;
            }
            // Strictly lower only: on a tie the earlier candidate (higher centre, then lower
            // left weight) stays.
            if (sum < best) {
                best = sum;
                bestWeights = ws.WavelengthCoefficients[wavelength];
            }
        }
        m_progress.AdvanceProgress(1);
    }
    ws.WavelengthCoefficients[wavelength] = bestWeights;
}

void Utility::SearchWeightsFast(int16_t wavelength) {
    GlobalVariables& ws = m_ws;
    ws.WavelengthCoefficients[wavelength] = FastWavelengthSearch(
        ws.TargetAfterLinearity, ws.MasterReflectance, ws.TileCount, wavelength);
    for (int c = 0; c < kCentreWeightSteps; ++c)
        m_progress.AdvanceProgress(1);
}

void Utility::CalculateWavelength() {
    GlobalVariables& ws = m_ws;
    const int tiles = ws.TileCount;
    for (int16_t w = 0; w < kPointCount; ++w) {
        ws.WavelengthCoefficients[w] = kIdentityWeights;
        if (!ws.UseCentroid)
            continue;
        if (m_searchMode == WavelengthSearchMode::Reference) {
            SearchWeightsReference(w);
        } else {
            SearchWeightsFast(w);
        }
        m_progress.LetEventsRun();
    }
    for (int t = 0; t <= tiles; ++t) {
        const double* linearity = ws.TargetAfterLinearity.Row(t);
        double* row = ws.TargetAfterWavelength.Row(t);
        for (int w = 0; w < kPointCount; ++w) {
            row[w] = ThreePointValue(linearity, ws.WavelengthCoefficients[w], w);
            CheckFinite(row[w], "Wavelength", t, w, "the wavelength-corrected reflectance");
        }
    }
    for (int t = 0; t <= tiles; ++t) {
        ws.WavelengthDE[t] = EvaluateTile(ws.TargetAfterWavelength, t, "Wavelength");
        for (int c = 0; c < 3; ++c)
            ws.FinalDE(t, c) = ws.DEResult[c];
        ws.FinalDE(t, 3) = ws.DEResult[6];
    }
}

}  // namespace tintara
