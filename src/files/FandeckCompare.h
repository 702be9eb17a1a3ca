// The performance comparison as text: the grid rows and the verdict the command line prints.
#pragma once

#include <string>
#include <vector>

#include "engine/Utility.h"
#include "files/ProfileCorrector.h"
#include "files/RWSaveSet.h"
#include "workspace/GlobalVariables.h"
#include "workspace/Progress.h"

namespace tintara {

// The performance grid of the corrected group of a geometry as text rows: the header
// ("Sample Name", "DL*", "Da*", "Db*", "DE"; Hunter Lab captions without the asterisks), one row
// per sample (name and Format(x, "##0.00") of DL, Da, Db, DE) and the "Average" row, whose DL, Da
// and Db cells are empty and whose DE is the average held at row SampleCount.
std::vector<std::vector<std::string>> PerformanceGridRows(const GlobalVariables& ws,
                                                          Geometry geometry);

// The certificate's verdict: passed exactly when the average corrected DE is not greater than
// AverageTolerance (single samples above their limit are counted, not decisive).
bool PerformancePassed(const GlobalVariables& ws, Geometry geometry);
// "The Target Instrument has PASSED" or "... FAILED".
std::string VerdictLine(bool passed);

// SampleDeltas column of the first value (DL) of a geometry's group.
int UncorrectedColumn(Geometry geometry);
int CorrectedColumn(Geometry geometry);

}  // namespace tintara
