#include "app/Validation.h"

#include <vector>

#include "files/FandeckCompare.h"
#include "report/ValidationReport.h"
#include "workspace/Error.h"

namespace tintara {

namespace {

const char* GeometryName(Geometry geometry) {
    return geometry == Geometry::SCI ? "SCI" : "SCE";
}

}  // namespace

ValidationResult ValidateComparison(const GlobalVariables& ws, Geometry geometry) {
    const FandeckPairing pairing = PairFandeckCurves(ws);
    const auto g = static_cast<std::size_t>(geometry);
    if (!pairing.Compared[g]) {
        throw Error(std::string("The comparison holds no ") + GeometryName(geometry) + " data");
    }
    std::vector<ValidationPair> pairs;
    pairs.reserve(pairing.Samples);
    for (std::size_t s = 0; s < pairing.Samples; ++s) {
        pairs.push_back({s < ws.SampleNames.size() ? ws.SampleNames[s] : std::to_string(s + 1),
                         ws.MasterFandeckReflectance.Curve(s, pairing.MasterPosition[g]),
                         ws.TargetFandeckReflectance.Curve(s, pairing.TargetPosition[g]),
                         pairing.Corrected->Curve(s, pairing.TargetPosition[g])});
    }
    return Validate(pairs, ws.ColorSpace, ws.SingleSampleTolerance);
}

ValidationRun ValidateFandecks(GlobalVariables& ws, RWSaveSet& saveSets, Utility& utility,
                               const ValidationRequest& request, ProgressSink& progress) {
    ValidationRun run;
    run.Warning = CompareFandecks(ws, saveSets, utility, request.MasterFile, request.TargetFile,
                                  request.CoefficientFile, progress);
    const bool masterSce = ws.MasterStatus.size() >= 3 && ws.MasterStatus[2] == 'E';
    run.Shown = request.SCE || masterSce ? Geometry::SCE : Geometry::SCI;
    if (!ComparisonHolds(ws, saveSets, run.Shown)) {
        throw Error(request.MasterFile + " holds no " + GeometryName(run.Shown) +
                    " data to validate");
    }
    if (!saveSets.Corrector().HasGeometry(run.Shown)) {
        throw Error(request.CoefficientFile + " holds no " + GeometryName(run.Shown) +
                    " coefficients to validate");
    }
    run.Result = ValidateComparison(ws, run.Shown);
    return run;
}

PageDescription ValidationReport(const ValidationRun& run, const ValidationRequest& request,
                                 const std::string& dateText) {
    return ValidationReportDocument(
        run.Result, {request.CoefficientFile, request.MasterFile, request.TargetFile,
                     GeometryName(run.Shown), dateText});
}

}  // namespace tintara
