// CGATS.17 / ISO 28178 interchange: spectral CGATS text files to and from in-memory save sets.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "files/SaveSetData.h"
#include "files/SaveSetFile.h"

namespace tintara {

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
    std::string Format = "CGATS";             // "CGATS" or "CxF3"
    std::string SheetType;                    // first table's sheet type, e.g. "CGATS.17", "CTI3"
    int Records = 0;                          // samples imported
    int Angles = 1;                           // 1, or 2 when a second geometry was found
    std::vector<std::string> SpectralFields;  // field names in wavelength order
    std::string Layout;                       // how the spectral values are laid out in a row
    std::string WavelengthSource;             // where the wavelengths came from
    std::string NameField;                    // "SAMPLE_NAME", "SAMPLE_ID" or "" (numbered)
    double FirstNm = 0.0, LastNm = 0.0, StepNm = 0.0;  // measured range and step
    bool Percent = true;                               // the file was in percent (factor 1)
    double Factor = 1.0;             // what the values were multiplied by (100 for 0..1)
    std::string ScaleReason;         // how the scale was decided
    bool DecimalComma = false;       // numbers were written with a decimal comma
    bool Resampled = false;          // the measured points are not 360..750 nm by 10 nm
    std::string Interpolation;       // how points between measured ones were found
    bool ExtendedBelow = false;      // 360 nm lies below the range: first value repeated
    bool ExtendedAbove = false;      // 750 nm lies above the range: last value repeated
    std::vector<std::string> Notes;  // tables and header lines skipped and the like

    // The report as lines of text for the command line.
    std::vector<std::string> Lines() const;
};

// Reads a CGATS file (CGATS.17, Argyll .ti3 / .sp, instrument-software and spreadsheet exports)
// into a save set of one record per sample, curves brought to 360..750 nm by 10 nm in percent.
// Spectral values are found as one field per wavelength, recognised by name (SPECTRAL_NMnnn,
// SPECTRAL_NM_nnn, SPECTRAL_nnn, SPEC_nnn, NMnnn, NM_nnn, R_nnn, any case; Argyll's
// SPECTRAL_BANDS / SPECTRAL_START_NM / SPECTRAL_END_NM keywords give the exact wavelengths of
// rounded names), or as SPECTRAL_NM / SPECTRAL_DEC (or SPECTRAL_PCT) column pairs. The measured
// points must lie on a regular grid no coarser than 20 nm; see ResampleCurve for the rest.
// Numbers may use a decimal comma throughout. Header lines the import does not use never stop it.
// Throws ParseError naming sourceName, the line and the reason in plain words for any file it
// cannot take; nothing is returned half-read.
SaveSetData ImportCgats(std::istream& in, const std::string& sourceName,
                        const ImportOptions& options = {}, ImportReport* report = nullptr);
SaveSetData ImportCgats(const std::filesystem::path& file, const ImportOptions& options = {},
                        ImportReport* report = nullptr);

// Receives what an import read: the save set's header fields (Records empty) and its records, one
// per call of `next`, in file order. Called once, when everything before the values has been
// checked; a fault in a row throws from `next`.
using ImportSink = std::function<void(const SaveSetData& header, const SaveSetRecordSource& next)>;

// The whole save set a streaming import reads: `read` is run with a sink that keeps every record.
SaveSetData KeepAll(const std::function<void(const ImportSink& sink)>& read);

// ImportCgats for a file of any size: the text is read from `in` piece by piece (the structure
// first, then the rows; twice when the scale must be judged from the values), never held whole,
// and the records go to `sink` one by one. `in` must be able to seek (a stream that cannot is
// read into memory first). Same results, refusals and messages as the whole-file ImportCgats,
// which is this with a sink that keeps every record; `report` is filled once `sink` returns.
void ImportCgats(std::istream& in, const std::string& sourceName, const ImportSink& sink,
                 const ImportOptions& options = {}, ImportReport* report = nullptr);

// The wavelength a spectral field name stands for, or nothing when the name is not spectral.
std::optional<double> SpectralFieldWavelength(std::string_view field);

// A curve measured at evenly spaced wavelengths (nm ascending, same count as values), brought to
// 360..750 nm by 10 nm. A 10 nm point that was measured is taken as it is; one between measured
// points is interpolated by Sprague's fifth-order formula on the measured grid (CIE 15:2004,
// 7.2.1.1; linear when fewer than six points were measured); outside the measured range the
// nearest measured value is repeated (CIE 15). Finer data is thus sampled at every 10 nm, as the
// colorimetry reads 40 points as samples of the curve, not band averages.
Curve ResampleCurve(const std::vector<double>& nm, const std::vector<double>& values);

// In words, what ResampleCurve does between the measured points of this grid (for the report).
std::string DescribeResampling(const std::vector<double>& nm);

// Reads a decimal number with its point moved by exponent10 places: with 2, "0.077741" gives the
// double nearest 7.7741 (multiplying by 100 would give 7.774100000000001). The whole text must be
// one finite number.
bool ParseDecimal(std::string_view text, int exponent10, double& value);
// ParseDecimal with 0 and with exponent10 at once (the common short decimal in one pass): true
// when the text is a number as written (`value`); `shifted` then holds what ParseDecimal with
// exponent10 leaves in it.
bool ParseDecimal(std::string_view text, int exponent10, double& value, double& shifted);

// The shortest decimal text that reads back to v, its point moved by exponent10 places, in plain
// notation and always with a decimal point ("20.0", "0.00001"): ParseDecimal(FormatDecimal(v, e),
// -e) gives v back bit for bit for every finite v.
std::string FormatDecimal(double v, int exponent10 = 0);

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

// Hands the records of a save set to `visit` one by one in file order; an export calls it once for
// every pass over the records it makes (a CGATS export of two angle positions makes two).
using SaveSetWalk = std::function<void(const std::function<void(const SaveSetRecord&)>& visit)>;
// The walk over a save set in memory.
SaveSetWalk WalkOf(const SaveSetData& data);

// ExportCgats for a save set of any size: the header fields of `header` (its Records are ignored),
// `recordCount` records, which `walk` supplies as the tables are written.
void ExportCgats(const SaveSetData& header, int64_t recordCount, const SaveSetWalk& walk,
                 std::ostream& out, const ExportOptions& options = {});
// Writes through a temporary file in the same folder renamed over the target, so a failed export
// never destroys an earlier file. Throws IoError.
void ExportCgats(const SaveSetData& data, const std::filesystem::path& file,
                 const ExportOptions& options = {});

}  // namespace tintara
