// The fandeck roads of the command line and the demo: convert a Target fandeck with a coefficient
// file, compare a Master fandeck with a Target fandeck before and after correction.
#pragma once

#include <string>
#include <vector>

#include "engine/Utility.h"
#include "files/ProfileCorrector.h"
#include "files/RWSaveSet.h"
#include "workspace/GlobalVariables.h"
#include "workspace/Progress.h"

namespace tintara {

// Reads the Target fandeck `targetFile`, corrects it with the coefficient file `coefficientFile`
// (stored as CoefficientFile) and writes the correlated fandeck to `outputFile` (stored as
// CorrelatedSaveSetFile). Refusals, with the system's titles and texts:
//   "Instuments do NOT Match" - the fandeck's instrument is not the file's Target; the text is
//     "Profile Master - <type>", "Profile Target - <type>", "SaveSet Instrument - <type>" on three
//     lines joined by `lineBreak`;
//   "File Read Error" - the coefficient file or the fandeck cannot be read (the reason).
// IoError when the output cannot be written. Returns the conversion's warning (empty, or which
// geometry the coefficient file lacks and was copied unchanged).
std::string ConvertFandeck(GlobalVariables& ws, RWSaveSet& saveSets,
                           const std::string& coefficientFile, const std::string& targetFile,
                           const std::string& outputFile, ProgressSink& progress = NullProgress(),
                           const std::string& lineBreak = "\n");

// Reads the Master fandeck, reads the Target fandeck (corrected with `coefficientFile` when it is
// not empty, as ReadFandeckandBuildCorrelatedData does; otherwise as measured) and fills
// SampleDeltas through ProcessCorrelatedDeltas. Sets MasterSaveSetLoaded, TargetSaveSetLoaded,
// CoefficientsLoaded, CorrelatedFandeckReady and PerformanceDataReady as the commands would.
// Refusals: "Save Set Mis-Match" / "Number of records in Files do NOT match - unable to proceed";
// "Instrument Mis-Match" / "Instrument types do NOT match - unable to proceed"; "File Read Error"
// with the reason for a file that cannot be read. Returns the conversion's warning.
std::string CompareFandecks(GlobalVariables& ws, RWSaveSet& saveSets, Utility& utility,
                            const std::string& masterFile, const std::string& targetFile,
                            const std::string& coefficientFile,
                            ProgressSink& progress = NullProgress());

// What the header dialog asks for a certificate; an empty text keeps what the fandecks hold.
struct CertificateHeader {
    std::string Company;
    std::string Operator;
    std::string TileSet;
};

// After CompareFandecks (which keeps each fandeck's company, serial, operator and second name as
// the Master/Target header texts, as a tile set's reading does): completes the identification
// the performance certificate prints for the geometry `printed`. A status holding both geometries
// ("B") is resolved to the one printed ("I" SCI, "E" SCE); the files' last-modified dates are
// stamped; the header's non-empty texts replace company, operator and tile set on both sides.
// Throws IoError when a file's date cannot be read.
void IdentifyComparison(GlobalVariables& ws, RWSaveSet& saveSets, Geometry printed,
                        const CertificateHeader& header);

// Whether the comparison in SampleDeltas holds the geometry's group: both for a two-angle Master
// fandeck, else the one its status names (third character "I": SCI, else SCE).
bool ComparisonHolds(const GlobalVariables& ws, const RWSaveSet& saveSets, Geometry geometry);

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
