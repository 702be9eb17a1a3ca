// Validation of a coefficient file on verification samples measured on both instruments, and the
// leave-one-out check of a profile's wavelength phase: the one road for the window and the tool.
#pragma once

#include <filesystem>
#include <string>

#include "engine/Utility.h"
#include "engine/Validation.h"
#include "files/ProfileCorrector.h"
#include "files/RWSaveSet.h"
#include "report/PageDescription.h"
#include "workspace/GlobalVariables.h"
#include "workspace/Progress.h"

namespace tintara {

// The validation of the fandeck comparison in the workspace (after CompareFandecks or the compare
// command) for one geometry: Master against Target as measured (before) and as corrected (after;
// the same as before when no coefficient file was applied), in the workspace's colour space with
// its single-sample limit. Throws Error when the comparison does not hold that geometry.
ValidationResult ValidateComparison(const GlobalVariables& ws, Geometry geometry);

struct ValidationRequest {
    std::string CoefficientFile, MasterFile, TargetFile;
    bool SCE = false;  // else the geometry the Master's status names, SCI for two angles
};
struct ValidationRun {
    Geometry Shown = Geometry::SCI;
    ValidationResult Result;
    std::string Warning;  // the conversion's, e.g. the geometry the coefficient file lacks
};

// Reads both verification save sets, corrects the Target with the coefficient file (refusals as
// CompareFandecks) and validates the geometry asked for. A geometry the coefficient file does not
// hold is refused, since its "after" would be the Target as measured.
ValidationRun ValidateFandecks(GlobalVariables& ws, RWSaveSet& saveSets, Utility& utility,
                               const ValidationRequest& request,
                               ProgressSink& progress = NullProgress());

// The report of a run as pages, dated dateText.
PageDescription ValidationReport(const ValidationRun& run, const ValidationRequest& request,
                                 const std::string& dateText);

}  // namespace tintara
