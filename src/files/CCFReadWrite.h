// The coefficient file (*.ccf): its writer with the merge rule of the two geometries, and its
// reader.
#pragma once

#include <filesystem>
#include <iosfwd>
#include <string>

#include "workspace/GlobalVariables.h"

namespace tintara {

// Points of a coefficient block: spectral points 1..39 (point 0, 360 nm, is never stored).
inline constexpr int kFirstStoredPoint = 1;
// Lines per point of a block with real coefficients and of a placeholder ("bogus") block.
inline constexpr int kRealGroupLines = 20;
inline constexpr int kPlaceholderGroupLines = 21;
inline constexpr int kHeaderLines = 32;
inline constexpr int kRealBlockLines = (kPointCount - 1) * kRealGroupLines;                // 780
inline constexpr int kPlaceholderBlockLines = (kPointCount - 1) * kPlaceholderGroupLines;  // 819

// Everything a coefficient file holds, exactly as read from it.
struct CoefficientFileContents {
    InstrumentHeader Master;
    InstrumentHeader Target;
    bool SCIPresent = false;  // line 31
    bool SCEPresent = false;  // line 32
    CoefficientBank SCI;      // first block
    CoefficientBank SCE;      // second block
    bool operator==(const CoefficientFileContents&) const = default;
};

// Parses a whole coefficient file. A block whose flag says "False" is a placeholder of 21 lines per
// point (read in step, values kept in the bank; they amount to the identity correction). Header
// texts are taken as whole lines, commas included, so that what was written reads back unchanged.
// A short file, a non-number where a number belongs, a flag other than "True"/"False" or text
// after the second block throws ParseError naming the 1-based line; nothing partial is returned.
// Lines may end in CR LF or LF.
CoefficientFileContents ParseCoefficientFile(std::istream& in, const std::string& source);
// Throws IoError when the file cannot be opened.
CoefficientFileContents ParseCoefficientFile(const std::filesystem::path& file);

// Writes and reads the coefficient file for the workspace it holds. Text layout, one value a line,
// every line ended by CR LF: 32 header lines (Master then Target: instrument ID, status, tile-set
// serial, date, the last-write time as SYSTEMTIME words in the order day of week, month, day, year,
// hour, minute, second, milliseconds, company, serial, operator; then the SCI and SCE flags), the
// SCI block, the SCE block. A real block has 20 lines per point 1..39 (offset "##.000", gain
// "###.000000", gain-tile reflectance "###.000", five slope/intercept pairs "###.000000", four
// break levels "###.000", three wavelength weights "0.000"); a placeholder block 21.
//
// The stream writers append to what they are given; the path forms keep the file discipline of the
// original (WriteHeader truncates, the block writers append). WriteCoeficcients builds the whole
// new file in memory and replaces the old one by renaming a finished temporary file, so a failed
// write leaves the earlier file as it was.
class CCFReadWrite {
  public:
    explicit CCFReadWrite(GlobalVariables& ws) : m_ws(ws) {}

    // Writes the current run's coefficients for the geometry of MasterStatus (3rd character "I":
    // SCI, anything else SCE) and keeps the other geometry's block of an existing file.
    // Refusal("ERROR", "Incorrect Instruments from file") when the existing file belongs to another
    // instrument pair; ParseError when the existing file cannot be understood (it is left alone);
    // ComputeError when a coefficient is not a finite number; IoError when writing fails. In every
    // failure the file on disk is untouched.
    void WriteCoeficcients(const std::filesystem::path& file);

    void WriteHeader(std::ostream& out) const;
    void WriteCCFBank1Data(std::ostream& out) const;  // stored SCI bank as a real block
    void WriteCCFBank2Data(std::ostream& out) const;  // stored SCE bank as a real block
    void WriteCCFActualData(std::ostream& out) const;
    void WriteCCFBogusData(std::ostream& out) const;

    void WriteHeader(const std::filesystem::path& file) const;        // creates or truncates
    void WriteCCFBank1Data(const std::filesystem::path& file) const;  // appends
    void WriteCCFBank2Data(const std::filesystem::path& file) const;
    void WriteCCFActualData(const std::filesystem::path& file) const;
    void WriteCCFBogusData(const std::filesystem::path& file) const;

    // Fills FileMasterHeader, FileTargetHeader, SCICoefficientsPresent, SCECoefficientsPresent,
    // Bank1Data and Bank2Data; on any ParseError the workspace is left as it was.
    void ReadCoefficientsIntoMemory(std::istream& in, const std::string& source);
    void ReadCoefficientsIntoMemory(const std::filesystem::path& file);

    // Puts parsed contents into the workspace (the step ReadCoefficientsIntoMemory ends with).
    void StoreInWorkspace(const CoefficientFileContents& contents);

  private:
    GlobalVariables& m_ws;
};

}  // namespace tintara
