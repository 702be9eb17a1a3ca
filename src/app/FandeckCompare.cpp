#include "app/FandeckCompare.h"

#include <optional>
#include <ostream>

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

void WritePerformanceGrid(const GlobalVariables& ws, Geometry geometry, std::ostream& out) {
    out << (ws.ColorSpace == 0 ? "Sample Name\tDL*\tDa*\tDb*\tDE\n"
                               : "Sample Name\tDL\tDa\tDb\tDE\n");
    const int first = CorrectedColumn(geometry);
    const auto samples = static_cast<std::size_t>(ws.SampleCount);
    // One line at a time: a million samples never become a million rows of texts.
    std::string line;
    for (std::size_t s = 0; s < samples; ++s) {
        line.assign(s < ws.SampleNames.size() ? ws.SampleNames[s] : std::string());
        for (int k = 0; k < 4; ++k) {
            line += '\t';
            line += Format(ws.SampleDeltas(s, first + k), kDePattern);
        }
        line += '\n';
        out << line;
    }
    out << "Average\t\t\t\t" << Format(ws.SampleDeltas(samples, first + 3), kDePattern) << "\n";
}

bool PerformancePassed(const GlobalVariables& ws, Geometry geometry) {
    const auto samples = static_cast<std::size_t>(ws.SampleCount);
    return !(ws.SampleDeltas(samples, CorrectedColumn(geometry) + 3) > ws.AverageTolerance);
}

std::string VerdictLine(bool passed) {
    return std::string("The Target Instrument has") + (passed ? " PASSED" : " FAILED");
}

}  // namespace tintara
