// Validation of a coefficient file on verification samples measured on both instruments: the
// statistics of the fandeck comparison on show, and its report, for the window and the tool.
#pragma once

#include <string>

#include "engine/Validation.h"
#include "files/ProfileCorrector.h"
#include "report/PageDescription.h"
#include "workspace/GlobalVariables.h"

namespace tintara {

// The validation of the fandeck comparison in the workspace (after the compare command) for one
// geometry: Master against Target as measured (before) and as corrected (after; the same as
// before when no coefficient file was applied to this Target fandeck), in the workspace's colour
// space with its single-sample limit. Throws Error when the comparison does not hold that
// geometry.
ValidationResult ValidateComparison(const GlobalVariables& ws, Geometry geometry);

// Throws Error naming the file unless the coefficient file holds coefficients for the geometry:
// without them the "after" figures would be the Target as measured.
void RequireCoefficients(const std::string& coefficientFile, Geometry geometry);

// The report of a validation, naming the files it came from, dated dateText.
PageDescription ValidationReport(const ValidationResult& result, Geometry geometry,
                                 const std::string& coefficientFile, const std::string& masterFile,
                                 const std::string& targetFile, const std::string& dateText);

}  // namespace tintara
