// Text pieces shared by the reports and certificates: fields, value formats, dates, file output.
#pragma once

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

#include "workspace/GlobalVariables.h"

namespace tintara {

// The text followed by blanks and cut to exactly `width` columns of a fixed-pitch line: counted in
// characters, a wide (CJK) character taking two, never cutting a character in half (UTF-8 in and
// out; ill-formed bytes print as U+FFFD).
std::string PadCut(const std::string& text, std::size_t width);

// The text cut before its first NUL character, as texts handed back by the save-set library are.
std::string CutAtNull(const std::string& text);

// Format(value, " ##0.00;-#0.00"): a blank before a non-negative value, a minus before a negative
// one, so that both take the same width.
std::string SignedValue(double value);

// DL, Da, Db, DE (values[0..3]) as the certificates print them: SignedValue each, separated by
// six, six and five blanks.
std::string DeltaColumns(const double* values);

// Format(value, " ##0.00"), the averages' form.
std::string AverageValue(double value);

// The date in the user's short date format (the environment's LC_TIME locale, "%x"); the C
// locale's "MM/DD/YY" when the environment names no usable locale. The one rendering of every
// date a report or certificate prints: today's date (the reports take its text from their
// caller) and the files' last-update dates of the identification lines.
std::string ShortDate(std::chrono::system_clock::time_point when);
std::string ShortDate(int year, int month, int day);

// One instrument's identification as the reports and certificates print it. The calibration tile
// number printed after "CalTile # " is the instrument serial entered in the header dialog: it is
// the number the lab's calibration tile is registered under.
struct InstrumentIdentification {
    std::string Name;      // MasterType / TargetType
    std::string Status;    // MasterStatus / TargetStatus
    std::string CalTile;   // MasterSerial / TargetSerial
    std::string Company;   // MasterCompany / TargetCompany
    std::string Operator;  // MasterOperator / TargetOperator
    std::string TileSet;   // MasterTileSetSerial / TargetTileSetSerial
    std::string
        LastUpdated;  // ShortDate of MasterFileTime / TargetFileTime, else MasterDate / TargetDate
};
InstrumentIdentification MasterIdentification(const GlobalVariables& ws);
InstrumentIdentification TargetIdentification(const GlobalVariables& ws);

// A fandeck's identification for the performance certificate of the geometry printed (SCI when
// `sci`): its instrument, its status with a "B" (both geometries) resolved to the one printed,
// its last record's serial as calibration tile, company, operator, tile set (non-empty texts of
// `header` replace these three, as the header dialog's), and the file's last-modified date.
struct CertificateHeader {
    std::string Company;
    std::string Operator;
    std::string TileSet;
};
InstrumentIdentification FandeckIdentification(const GlobalVariables::FandeckIdentity& deck,
                                               bool sci, const CertificateHeader& header);

// The three identification lines: "<Master|Target> Instrument: " + name in 20 characters + status
// + calibration tile; "Company: ..."; "Tile Data for the ... was last updated on ...".
std::vector<std::string> IdentificationLines(const std::string& role,
                                             const InstrumentIdentification& id);

// Mean DE (component 3) of RawDE and of FinalDE over the TileCount tiles shown (indices
// 0..TileCount-1); both are 0 for an empty tile set.
struct AverageDE {
    double Raw = 0.0;
    double Final = 0.0;
};
AverageDE MeanTileDE(const GlobalVariables& ws);

// Throws Error unless RawDE, FinalDE and TileNames cover tiles 0..TileCount-1.
void RequireTileData(const GlobalVariables& ws);

// Writes `content` to `file` through a temporary file in the same folder renamed over it, so that
// a failed write never destroys an earlier file. Throws IoError naming the file.
void SaveTextFile(const std::filesystem::path& file, const std::string& content);

}  // namespace tintara
