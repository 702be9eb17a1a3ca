#include "app/Validation.h"

#include <vector>

#include "engine/Utility.h"
#include "files/FandeckFile.h"
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
    if (!pairing.Compared[g])
        throw Error(std::string("The comparison holds no ") + GeometryName(geometry) + " data");
    ComparisonReader reader(ws, pairing);
    const auto& masterAt = pairing.MasterPosition;
    const auto& targetAt = pairing.TargetPosition;
    std::size_t s = 0;
    FandeckSample sample;
    return Validate(
        [&](ValidationPair& pair) {
            if (s == pairing.Samples || !reader.Next(sample))
                return false;
            pair = {s < ws.SampleNames.size() ? ws.SampleNames[s] : std::to_string(s + 1),
                    sample.Master[masterAt[g]], sample.Target[targetAt[g]],
                    sample.Corrected[targetAt[g]]};
            ++s;
            return true;
        },
        ws.ColorSpace, ws.SingleSampleTolerance);
}

void RequireCoefficients(const std::string& coefficientFile, Geometry geometry) {
    ProfileCorrector corrector;
    corrector.ReadCoefficientFile(coefficientFile);
    if (!corrector.HasGeometry(geometry)) {
        throw Error(coefficientFile + " holds no " + GeometryName(geometry) +
                    " coefficients to validate");
    }
}

PageDescription ValidationReport(const ValidationResult& result, Geometry geometry,
                                 const std::string& coefficientFile, const std::string& masterFile,
                                 const std::string& targetFile, const std::string& dateText) {
    return ValidationReportDocument(
        result, {coefficientFile, masterFile, targetFile, GeometryName(geometry), dateText});
}

}  // namespace tintara
