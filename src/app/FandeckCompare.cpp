#include "app/FandeckCompare.h"

#include <optional>

#include "files/FandeckFile.h"

#include "workspace/Error.h"
#include "workspace/MakeSensorList.h"
#include "workspace/NumberFormat.h"

namespace tintara {

namespace {

constexpr const char* kDePattern = "##0.00";

}  // namespace

void CompareFandecks(GlobalVariables& ws, Utility& utility) {
    const FandeckPairing pairing = PairFandeckCurves(ws);
    // Opened by the first sample asked for, so that a file that cannot be opened fails the
    // comparison as a damaged record does.
    std::optional<ComparisonReader> reader;
    utility.ProcessCorrelatedDeltas([&](FandeckSample& sample) {
        if (!reader)
            reader.emplace(ws, pairing);
        return reader->Next(sample);
    });
}

int UncorrectedColumn(Geometry geometry) {
    return static_cast<int>(geometry) * kDeltasPerGeometry;
}

int CorrectedColumn(Geometry geometry) {
    return UncorrectedColumn(geometry) + 4;
}

std::vector<std::vector<std::string>> PerformanceGridRows(const GlobalVariables& ws,
                                                          Geometry geometry) {
    std::vector<std::vector<std::string>> rows;
    if (ws.ColorSpace == 0) {
        rows.push_back({"Sample Name", "DL*", "Da*", "Db*", "DE"});
    } else {
        rows.push_back({"Sample Name", "DL", "Da", "Db", "DE"});
    }
    const int first = CorrectedColumn(geometry);
    const auto samples = static_cast<std::size_t>(ws.SampleCount);
    for (std::size_t s = 0; s < samples; ++s) {
        std::vector<std::string> row{s < ws.SampleNames.size() ? ws.SampleNames[s] : ""};
        for (int k = 0; k < 4; ++k)
            row.push_back(Format(ws.SampleDeltas(s, first + k), kDePattern));
        rows.push_back(std::move(row));
    }
    rows.push_back(
        {"Average", "", "", "", Format(ws.SampleDeltas(samples, first + 3), kDePattern)});
    return rows;
}

bool PerformancePassed(const GlobalVariables& ws, Geometry geometry) {
    const auto samples = static_cast<std::size_t>(ws.SampleCount);
    return !(ws.SampleDeltas(samples, CorrectedColumn(geometry) + 3) > ws.AverageTolerance);
}

std::string VerdictLine(bool passed) {
    return std::string("The Target Instrument has") + (passed ? " PASSED" : " FAILED");
}

}  // namespace tintara
