#include "engine/Validation.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "engine/ColorMatch.h"
#include "engine/WavelengthSearch.h"
#include "workspace/Error.h"

namespace tintara {

double Percentile(std::span<const double> sorted, double p) {
    if (sorted.empty())
        return 0.0;
    const double h = (static_cast<double>(sorted.size()) - 1.0) * std::clamp(p, 0.0, 1.0);
    const auto below = static_cast<std::size_t>(std::floor(h));
    if (below + 1 >= sorted.size())
        return sorted.back();
    return sorted[below] + (h - static_cast<double>(below)) * (sorted[below + 1] - sorted[below]);
}

DifferenceSummary SummariseDifferences(std::span<const double> values, double limit) {
    DifferenceSummary summary;
    summary.Count = values.size();
    if (values.empty())
        return summary;
    std::vector<double> sorted(values.begin(), values.end());
    std::sort(sorted.begin(), sorted.end());
    const double n = static_cast<double>(sorted.size());
    summary.Mean = std::accumulate(sorted.begin(), sorted.end(), 0.0) / n;
    summary.Median = Percentile(sorted, 0.5);
    summary.P90 = Percentile(sorted, 0.9);
    summary.P95 = Percentile(sorted, 0.95);
    summary.Max = sorted.back();
    const auto within =
        std::count_if(sorted.begin(), sorted.end(), [limit](double v) { return !(v > limit); });
    summary.ShareWithin = static_cast<double>(within) / n;
    return summary;
}

Agreement LimitsOfAgreement(std::span<const double> values) {
    Agreement agreement;
    if (values.empty())
        return agreement;
    const double n = static_cast<double>(values.size());
    agreement.Mean = std::accumulate(values.begin(), values.end(), 0.0) / n;
    if (values.size() > 1) {
        double squares = 0.0;
        for (double v : values)
            squares += (v - agreement.Mean) * (v - agreement.Mean);
        agreement.Sd = std::sqrt(squares / (n - 1.0));
    }
    agreement.Lower = agreement.Mean - 1.96 * agreement.Sd;
    agreement.Upper = agreement.Mean + 1.96 * agreement.Sd;
    return agreement;
}

std::vector<std::size_t> LargestIndices(std::span<const double> values, std::size_t count) {
    std::vector<std::size_t> order(values.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::stable_sort(order.begin(), order.end(),
                     [&values](std::size_t a, std::size_t b) { return values[a] > values[b]; });
    order.resize(std::min(count, order.size()));
    return order;
}

namespace {

ColourDifference Difference(ColorMatch& plm, const double* trial) {
    plm.SetTrialSpectrum(std::span<const double>(trial, kPointCount));
    std::array<double, 7> d{};
    plm.DifferenceVector(d);
    return {d[0], d[1], d[2], d[6], d[5]};
}

void Summarise(const std::vector<ValidationSample>& samples, bool after, double limit,
               ValidationSide& side) {
    const std::size_t n = samples.size();
    std::vector<double> de(n), de2000(n), dl(n), da(n), db(n);
    for (std::size_t s = 0; s < n; ++s) {
        const ColourDifference& d = after ? samples[s].After : samples[s].Before;
        de[s] = d.DE;
        de2000[s] = d.DE2000;
        dl[s] = d.DL;
        da[s] = d.Da;
        db[s] = d.Db;
    }
    side.DE = SummariseDifferences(de, limit);
    side.DE2000 = SummariseDifferences(de2000, limit);
    side.DL = LimitsOfAgreement(dl);
    side.Da = LimitsOfAgreement(da);
    side.Db = LimitsOfAgreement(db);
}

}  // namespace

ValidationResult Validate(std::span<const ValidationPair> pairs, int16_t colorSpace,
                          double singleSampleLimit) {
    std::size_t next = 0;
    return Validate(
        [&](ValidationPair& pair) {
            if (next == pairs.size())
                return false;
            pair = pairs[next++];
            return true;
        },
        colorSpace, singleSampleLimit);
}

ValidationResult Validate(const ValidationPairSource& next, int16_t colorSpace,
                          double singleSampleLimit) {
    ValidationResult result;
    result.ColorSpace = colorSpace;
    result.SingleSampleLimit = singleSampleLimit;
    ColorMatch plm;
    plm.SetColorSpace(colorSpace);
    std::array<double, kPointCount> sumBefore{}, sumAfter{}, squaresBefore{}, squaresAfter{};
    ValidationPair pair;
    while (next(pair)) {
        try {
            plm.SetStandardSpectrum(std::span<const double>(pair.Master, kPointCount));
            result.Samples.push_back(
                {pair.Name, Difference(plm, pair.Target), Difference(plm, pair.Corrected)});
        } catch (const Error& error) {
            throw Error("Sample " + pair.Name + ": " + error.what());
        }
        for (int w = 0; w < kPointCount; ++w) {
            const double before = pair.Master[w] - pair.Target[w];
            const double after = pair.Master[w] - pair.Corrected[w];
            sumBefore[w] += before;
            squaresBefore[w] += before * before;
            sumAfter[w] += after;
            squaresAfter[w] += after * after;
        }
    }
    Summarise(result.Samples, false, singleSampleLimit, result.Before);
    Summarise(result.Samples, true, singleSampleLimit, result.After);
    if (!result.Samples.empty()) {
        const double n = static_cast<double>(result.Samples.size());
        for (int w = 0; w < kPointCount; ++w) {
            result.Before.SpectralMean[w] = sumBefore[w] / n;
            result.Before.SpectralRms[w] = std::sqrt(squaresBefore[w] / n);
            result.After.SpectralMean[w] = sumAfter[w] / n;
            result.After.SpectralRms[w] = std::sqrt(squaresAfter[w] / n);
        }
    }
    std::vector<double> after(result.Samples.size());
    for (std::size_t s = 0; s < after.size(); ++s)
        after[s] = result.Samples[s].After.DE;
    result.Worst = LargestIndices(after, 5);
    return result;
}

CrossValidationResult CrossValidateWavelength(const GlobalVariables& ws) {
    CrossValidationResult result;
    const int tiles = ws.TileCount;
    if (tiles <= 0 || ws.TargetAfterLinearity.Rows() <= static_cast<std::size_t>(tiles) ||
        ws.MasterReflectance.Rows() <= static_cast<std::size_t>(tiles)) {
        return result;
    }
    const std::array<int, 5> reference{ws.OffsetTile, ws.GainTile, ws.LinearityTileA,
                                       ws.LinearityTileB, ws.LinearityTileC};
    ColorMatch plm;
    plm.SetColorSpace(ws.ColorSpace);
    std::array<WavelengthWeights, kPointCount> weights{};
    std::array<double, kPointCount> predicted{};
    for (int tile = 0; tile < tiles; ++tile) {
        if (std::find(reference.begin(), reference.end(), tile) != reference.end())
            continue;
        for (int w = 0; w < kPointCount; ++w) {
            weights[w] = ws.UseCentroid ? FastWavelengthSearch(ws.TargetAfterLinearity,
                                                               ws.MasterReflectance, tiles, w, tile)
                                        : kIdentityWeights;
        }
        const double* linearity = ws.TargetAfterLinearity.Row(tile);
        for (int w = 0; w < kPointCount; ++w)
            predicted[w] = ThreePointValue(linearity, weights[w], w);
        plm.SetStandardSpectrum(
            std::span<const double>(ws.MasterReflectance.Row(tile), kPointCount));
        plm.SetTrialSpectrum(predicted);
        std::array<double, 7> d{};
        plm.DifferenceVector(d);
        const std::string name = static_cast<std::size_t>(tile) < ws.TileNames.size()
                                     ? ws.TileNames[tile]
                                     : std::to_string(tile + 1);
        result.Tiles.push_back({tile, name, ws.WavelengthDE[tile], d[6]});
    }
    if (!result.Tiles.empty()) {
        for (const CrossValidationTile& t : result.Tiles) {
            result.MeanFitted += t.Fitted;
            result.MeanPredicted += t.Predicted;
        }
        result.MeanFitted /= static_cast<double>(result.Tiles.size());
        result.MeanPredicted /= static_cast<double>(result.Tiles.size());
    }
    return result;
}

}  // namespace tintara
