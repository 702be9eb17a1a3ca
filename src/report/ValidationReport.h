// The validation report: statistics table, worst samples and plots as text rows, CSV and pages.
#pragma once

#include <filesystem>
#include <iosfwd>
#include <string>
#include <vector>

#include "engine/Validation.h"
#include "report/PageDescription.h"

namespace tintara {

using TextRows = std::vector<std::vector<std::string>>;

// The statistics table: a header row ("Statistic", "DE before", "DE after", "DE2000 before",
// "DE2000 after") and the rows "Mean", "Median", "90th percentile", "95th percentile", "Maximum"
// and "Within <limit> (%)"; values Format "##0.00". DE is Hunter Lab's when the result's colour
// space is Hunter Lab (the header then says "DE Hunter").
TextRows ValidationStatisticsRows(const ValidationResult& result);

// Bias with 95 % limits of agreement: header ("Bias", "Mean before", "Limits before", "Mean after",
// "Limits after") and rows DL, Da, Db (asterisked for CIELAB); limits as "lower .. upper".
TextRows ValidationBiasRows(const ValidationResult& result);

// The five worst samples after correction: header ("Sample", "DE before", "DE after", "DE2000
// before", "DE2000 after") and one row per sample, worst first.
TextRows ValidationWorstRows(const ValidationResult& result);

// Per point: header ("nm", "Mean before", "RMS before", "Mean after", "RMS after") and 40 rows of
// Master - Target reflectance differences in percent, Format "##0.000".
TextRows ValidationSpectralRows(const ValidationResult& result);

// Leave-one-out rows: header ("Tile", "Name", "Fitted DE", "Predicted DE"), one row per tile
// (1-based number), then "Mean" and "Gap" (predicted - fitted mean).
TextRows CrossValidationRows(const CrossValidationResult& result);

// One CSV row per sample, CR LF line ends, header row: name, DE before, DE after, DE2000 before,
// DE2000 after, DL before, Da before, Db before, DL after, Da after, Db after. Numbers with six
// decimals; a name holding a comma, quote or line break is quoted (RFC 4180).
void WriteValidationCsv(const ValidationResult& result, std::ostream& out);
void WriteValidationCsv(const ValidationResult& result, const std::filesystem::path& file);

// What the report says about where the numbers come from.
struct ValidationReportHeader {
    std::string CoefficientFile, MasterFile, TargetFile;
    std::string Geometry;  // "SCI" or "SCE"
    std::string DateText;
};

// Two US Letter pages: the header, the three tables of the first page (statistics, bias, worst
// samples), then three plots: the DE distribution before and after (histogram, share of samples
// per DE bin), DE per sample sorted, and the per-point Master - Target difference (mean and RMS,
// before and after).
PageDescription ValidationReportDocument(const ValidationResult& result,
                                         const ValidationReportHeader& header);

}  // namespace tintara
