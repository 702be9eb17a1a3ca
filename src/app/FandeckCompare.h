// The fandeck comparison: run on the fandecks in the workspace, and as text (the grid rows and the
// verdict the command line prints).
#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "engine/Utility.h"
#include "files/ProfileCorrector.h"
#include "workspace/GlobalVariables.h"
#include "workspace/Progress.h"

namespace tintara {

// Compares the Master fandeck with the Target fandeck (and with the conversion made from it, when
// there is one) as PairFandeckCurves pairs them, reading the three files again record by record in
// step: fills SampleNames, SampleDeltas and SampleCount through the utility. Throws Error naming
// the file when one cannot be read or has changed since it was read; the comparison is then empty.
void CompareFandecks(GlobalVariables& ws, Utility& utility);

// Writes the performance grid of the corrected group of a geometry as tab-separated lines: the
// header ("Sample Name", "DL*", "Da*", "Db*", "DE"; Hunter Lab captions without the asterisks),
// one line per sample (name and Format(x, "##0.00") of DL, Da, Db, DE) and the "Average" line,
// whose DL, Da and Db cells are empty and whose DE is the average held at row SampleCount.
void WritePerformanceGrid(const GlobalVariables& ws, Geometry geometry, std::ostream& out);

// The certificate's verdict: passed exactly when the average corrected DE is not greater than
// AverageTolerance (single samples above their limit are counted, not decisive).
bool PerformancePassed(const GlobalVariables& ws, Geometry geometry);
// "The Target Instrument has PASSED" or "... FAILED".
std::string VerdictLine(bool passed);

// SampleDeltas column of the first value (DL) of a geometry's group.
int UncorrectedColumn(Geometry geometry);
int CorrectedColumn(Geometry geometry);

}  // namespace tintara
