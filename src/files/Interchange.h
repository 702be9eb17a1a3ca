// Measurement files in and out of save sets: CGATS text or CxF3 XML, one road for every caller.
#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>

#include "files/Cgats.h"
#include "files/SaveSetData.h"

namespace tintara {

enum class MeasurementFormat { Cgats, Cxf };

// The format of a measurement file by its content: XML (its first character, after a byte-order
// mark and blanks, is '<') is CxF3, anything else is read as CGATS. Throws IoError when the file
// cannot be read.
MeasurementFormat FormatOfMeasurementFile(const std::filesystem::path& file);

// The format an export writes by the target's name: ".cxf" (any case) is CxF3, else CGATS.
MeasurementFormat FormatForExport(const std::filesystem::path& file);

// Reads a CGATS or CxF3 file (told apart by FormatOfMeasurementFile) into a save set.
SaveSetData ImportMeasurements(const std::filesystem::path& file, const ImportOptions& options = {},
                               ImportReport* report = nullptr);

// Writes the save set as CGATS or CxF3 (by FormatForExport) through WriteFileAtomically.
void ExportMeasurements(const SaveSetData& data, const std::filesystem::path& file,
                        const ExportOptions& options = {});

// A save set file's header fields (Records empty) and how many records went through.
struct SaveSetSummary {
    SaveSetData Header;
    int64_t Records = 0;
};

// Imports a measurement file straight into the save set `saveSet` (written atomically: nothing
// is written unless the whole file imports). Both formats stream through in bounded memory.
SaveSetSummary ImportMeasurements(const std::filesystem::path& file,
                                  const std::filesystem::path& saveSet,
                                  const ImportOptions& options = {},
                                  ImportReport* report = nullptr);

// Exports the save set file `saveSet` as ExportMeasurements does, reading it record by record
// (once per pass the format needs), so memory stays bounded whatever its size. A save set that
// cannot be read is refused with LoadSaveSet's message; the target is then left as it was.
SaveSetSummary ExportSaveSet(const std::filesystem::path& saveSet,
                             const std::filesystem::path& file, const ExportOptions& options = {});

// Opens a measurement file for reading. Throws IoError naming the file when it is a folder or
// cannot be opened.
std::ifstream OpenMeasurementFile(const std::filesystem::path& file);

// Appends up to `most` bytes of `in` (read from where it stands) to `buffer`, for readers that go
// through a file piece by piece; true when the file has no more. Throws IoError naming `source`
// when the stream fails.
bool ReadPiece(std::istream& in, std::string& buffer, std::size_t most, const std::string& source);

}  // namespace tintara
