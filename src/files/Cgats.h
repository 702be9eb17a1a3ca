// CGATS.17 / ISO 28178 interchange: spectral CGATS text files to and from in-memory save sets.
#pragma once

#include <cstdint>
#include <filesystem>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "files/SaveSetData.h"

namespace tintara {

// littleCMS refuses a table of more than 32,766 rows (its AllocateDataSet limit, 0x7ffe). Larger
// data sections are handed to it in pieces of at most this many rows, each with the table's header.
inline constexpr int kCgatsRowsPerChunk = 30000;

// How the numbers of the spectral fields are scaled.
enum class ReflectanceScale {
    Auto,      // SPECTRAL_NORM when the file declares it, else judged from the values
    Fraction,  // 0..1 reflectance factor
    Percent,   // 0..100 percent
};

// Header fields an import gives the save set. Unset fields are taken from the file's own
// TINTARA_INSTRUMENT / TINTARA_STATUS / TINTARA_COMPANY keywords (as ExportCgats writes them),
// else instrument 0, status "XXXXXX" and an empty company.
struct ImportOptions {
    std::optional<int16_t> Instrument;
    std::optional<std::string> Status;
    std::optional<std::string> Company;
    ReflectanceScale Scale = ReflectanceScale::Auto;
};

// What an import found and did, for the user to check.
struct ImportReport {
    std::string SheetType;                    // first table's sheet type, e.g. "CGATS.17", "CTI3"
    int Records = 0;                          // samples imported
    int Angles = 1;                           // 1, or 2 when a second table holds angle position 1
    std::vector<std::string> SpectralFields;  // field names in wavelength order
    std::string NameField;                    // "SAMPLE_NAME", "SAMPLE_ID" or "" (numbered)
    double FirstNm = 0.0, LastNm = 0.0, StepNm = 0.0;  // measured range and step
    bool Percent = true;                               // the file was in percent (factor 1)
    double Factor = 1.0;             // what the values were multiplied by (100 for 0..1)
    std::string ScaleReason;         // how the scale was decided
    bool Resampled = false;          // the measured points are not 360..750 nm by 10 nm
    bool ExtendedBelow = false;      // 360 nm lies below the range: first value repeated
    bool ExtendedAbove = false;      // 750 nm lies above the range: last value repeated
    int Chunks = 0;                  // littleCMS loads used (more than one per big table)
    std::vector<std::string> Notes;  // tables skipped and the like

    // The report as lines of text for the command line.
    std::vector<std::string> Lines() const;
};

// Reads a CGATS file (CGATS.17, Argyll .ti3 / .sp, instrument-software exports) into a save set of
// one record per sample, curves resampled to 360..750 nm by 10 nm in percent. Spectral fields are
// recognised by name: SPECTRAL_NMnnn, SPECTRAL_NM_nnn, SPECTRAL_nnn, SPEC_nnn, NMnnn, NM_nnn,
// R_nnn (any case). The measured points must be evenly spaced by 1, 5, 10 or 20 nm. Between them
// the curve is interpolated linearly; outside them the nearest measured value is repeated
// (CIE 15). Data rows are one per line. Throws ParseError naming sourceName, the line and the
// reason for any malformed input; nothing is returned half-read.
SaveSetData ImportCgats(std::istream& in, const std::string& sourceName,
                        const ImportOptions& options = {}, ImportReport* report = nullptr);
SaveSetData ImportCgats(const std::filesystem::path& file, const ImportOptions& options = {},
                        ImportReport* report = nullptr);

// The wavelength a spectral field name stands for, or nothing when the name is not spectral.
std::optional<double> SpectralFieldWavelength(std::string_view field);

// A curve measured at evenly spaced wavelengths (nm ascending, same count as values), brought to
// 360..750 nm by 10 nm: linear interpolation inside the measured range, the nearest measured value
// outside it.
Curve ResampleCurve(const std::vector<double>& nm, const std::vector<double>& values);

struct ExportOptions {
    // Decimals of the spectral values; negative writes the shortest text that reads back to the
    // very same double, so an export loses nothing.
    int Decimals = -1;
    std::string Created;  // CREATED keyword (the caller's clock); left out when empty
    std::string Originator = "Tintara Profiler";
};

// Writes the save set as CGATS.17: SAMPLE_ID (1-based), SAMPLE_NAME and SPECTRAL_NM360 ..
// SPECTRAL_NM750 in percent (SPECTRAL_NORM "100"), lines ending CR LF. Angle position 0 is the
// first table; a save set of two angle positions gets a second table for angle position 1
// (TINTARA_ANGLE "1"), which ImportCgats reads back as that position and readers of one table
// ignore. Company, status and instrument travel as TINTARA_* keywords.
void ExportCgats(const SaveSetData& data, std::ostream& out, const ExportOptions& options = {});
// Writes through a temporary file in the same folder renamed over the target, so a failed export
// never destroys an earlier file. Throws IoError.
void ExportCgats(const SaveSetData& data, const std::filesystem::path& file,
                 const ExportOptions& options = {});

}  // namespace tintara
