// CxF3 (ISO 17972-1) interchange: reflectance spectra of named objects to and from save sets.
#pragma once

#include <cstdint>
#include <filesystem>
#include <iosfwd>
#include <string>

#include "files/Cgats.h"
#include "files/SaveSetData.h"

namespace tintara {

// Reads a CxF3 file into a save set of one record per Object that holds a ReflectanceSpectrum,
// named by the object's Name. A spectrum's wavelengths are its StartWL (else the StartWL of its
// measurement condition's WavelengthRange) plus the WavelengthRange Increment (10 nm when none is
// given); the values are 0..1 reflectance factors, taken to percent exactly and brought to
// 360..750 nm by 10 nm as ResampleCurve says. Two measurement conditions whose geometry is
// specular included and excluded become angle positions 0 (SCI) and 1 (SCE), otherwise the first
// condition is read and the others are noted. Objects without a spectrum (colour values only) are
// skipped with a note. The XML is read by pugixml; element names are matched without their
// namespace prefix. Throws ParseError in plain words.
SaveSetData ImportCxf(std::istream& in, const std::string& sourceName,
                      const ImportOptions& options = {}, ImportReport* report = nullptr);
SaveSetData ImportCxf(const std::filesystem::path& file, const ImportOptions& options = {},
                      ImportReport* report = nullptr);
// ImportCxf for a file of any size: the file is read twice, piece by piece, never held whole (one
// object is parsed at a time); the records go to `sink` one by one in file order. `in` must be
// able to seek (a stream that cannot is read into memory first, as is a file in UTF-16 or
// UTF-32). Same results, refusals and messages as the whole-file ImportCxf, which is this with a
// sink that keeps every record; `report` is filled once `sink` returns.
void ImportCxf(std::istream& in, const std::string& sourceName, const ImportSink& sink,
               const ImportOptions& options = {}, ImportReport* report = nullptr);

// Writes the save set as CxF3: one Object per record (Name = record name, Id = 1-based number),
// one measurement condition per angle position (360 nm, 10 nm increment, specular included or
// excluded as the status says), spectra as 0..1 factors written exactly (the decimal point moved,
// the shortest text that reads back to the same double). Company, status and instrument travel in
// CustomResources, so ImportCxf gives back the very same save set.
void ExportCxf(const SaveSetData& data, std::ostream& out, const ExportOptions& options = {});
// ExportCxf for a save set of any size: the header fields of `header`, `recordCount` records that
// `walk` supplies; only one object is held at a time.
void ExportCxf(const SaveSetData& header, int64_t recordCount, const SaveSetWalk& walk,
               std::ostream& out, const ExportOptions& options = {});
// Writes through WriteFileAtomically (a failed export never destroys an earlier file).
void ExportCxf(const SaveSetData& data, const std::filesystem::path& file,
               const ExportOptions& options = {});

}  // namespace tintara
