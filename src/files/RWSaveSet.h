// The save-set readers and writers: tile sets and fandecks into the workspace, result save sets
// out.
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>

#include "files/FandeckFile.h"
#include "files/ProfileCorrector.h"
#include "files/SaveSetLibrary.h"
#include "workspace/GlobalVariables.h"
#include "workspace/MakeSensorList.h"
#include "workspace/Progress.h"

namespace tintara {

// Angle-type codes written to save-set headers: the geometry of each angle position.
inline constexpr int16_t kAngleTypeNone = 0;
inline constexpr int16_t kAngleTypeSCI = 1;  // d/8, specular component included
inline constexpr int16_t kAngleTypeSCE = 2;  // d/8, specular component excluded
// Illuminant codes written to save-set headers (primary, secondary, tertiary).
inline constexpr int16_t kIlluminantD65 = 1;
inline constexpr int16_t kIlluminantA = 2;
inline constexpr int16_t kIlluminantF11 = 3;

// Reads tile sets and fandecks through the save-set library into the workspace and writes the
// result and correlated save sets. Holds a reference to the workspace, which must outlive it.
//
// Tile numbering: record k of a tile set (0-based, file order) is tile k; per-tile arrays run
// 0..TileCount, so tile TileCount is the one extra slot that no record fills.
//
// Every library result the readers see is kept in LastResult (kTrue / kFalse). When a reader
// fails, LastError() says why, naming the file.
class RWSaveSet {
  public:
    // Renders a file's last-modified time as the date text of the header (MasterDate/TargetDate).
    using DateFormatter = std::function<std::string(std::chrono::system_clock::time_point)>;

    explicit RWSaveSet(GlobalVariables& ws);

    // Reads a tile set: the Master side (IsMaster) re-dimensions the tile arrays when the record
    // count is 16, 28, 32 or 48 (otherwise TileCount becomes 0 and the set is refused); a Target
    // must hold exactly TileCount records. Fills the tile names, the reflectances of the chosen
    // geometry (angle position 1 when the status says both geometries and GeometryChoice is SCE),
    // instrument ID and type, status and RecordCompany .. RecordOperator (the last record wins).
    // Failed comes back true when the set was not read. The Target's raw curves are copied into
    // TargetSpareReflectance as well, which the correction phases never touch.
    void ReadWSVRecord(const std::string& file, bool IsMaster, bool& Failed);

    // Stamps MasterDate/MasterFileTime or TargetDate/TargetFileTime with the file's last-write
    // time: the text through the date formatter (local time), the SYSTEMTIME words in UTC.
    // TargetDate is set for either side first. Throws IoError when the file cannot be reached.
    void GetLastModifiedDate(const std::string& file, bool IsMaster);

    // Cuts a text at its first character of code 0.
    static void RemoveNull(std::string& text);

    // Read the fandeck named by MasterSaveSetFile / TargetSaveSetFile into that side's identity
    // (MasterFandeck / TargetFandeck): file, stamp, record and angle counts, header, and the
    // instrument ID, type and status of its last record (as stored: a fandeck keeps both
    // geometries, so "B" is not resolved). Every record is read once, so a damaged file is refused
    // now, but no curve is kept: they are read from the file again when used. The fandeck read
    // last sets FandeckRecordCount, FandeckAngleCount and SampleCount. Return false, with
    // LastResult kFalse and the reason in LastError(), when the file cannot be read or holds no
    // records; the workspace is then unchanged.
    bool ReadMasterFandeck();
    bool ReadTargetFandeck();

    // Writes one result save set per tile (tiles 0..TileCount-1, the TileCount tiles read) into
    // the output folder, named by the tile name followed by "Results.wsv": six records Master,
    // Target, Offset, Gain, Linearity, Wavelength. Throws IoError when a file cannot be written
    // (files already written stay; the failed one keeps any earlier version).
    void WriteSaveSetResults();

    // Writes the conversion in hand (ConvertedCurvesFile) as the correlated fandeck
    // CorrelatedSaveSetFile (a relative name is taken in the output folder), byte for byte as the
    // conversion made it: both angle positions of every record, the Target fandeck's names,
    // status TargetStatus with "P" as second character. Throws IoError when there is no
    // conversion or the file cannot be written (an earlier file of that name is then kept).
    void WriteCorrelatedResults();
    // Whether the conversion stays in hand after WriteCorrelatedResults (the window shows and
    // saves it again) or is given up to it (a command line that ends there): the file then
    // becomes the correlated fandeck itself where the file systems allow, instead of being
    // copied, and ConvertedCurvesFile, ConversionDone and CorrelatedFandeckReady are cleared.
    void SetConversionKeptAfterSave(bool kept) { m_conversionKeptAfterSave = kept; }

    // Folder for files named without one (the result save sets, a relative correlated file name);
    // empty = the current folder.
    void SetOutputFolder(std::filesystem::path folder) { m_outputFolder = std::move(folder); }
    const std::filesystem::path& OutputFolder() const { return m_outputFolder; }

    void SetDateFormatter(DateFormatter formatter) { m_dateFormatter = std::move(formatter); }
    // The default date text: local time as "M/D/YYYY h:mm:ss AM" ("M/D/YYYY" alone at midnight).
    static std::string HostDateText(std::chrono::system_clock::time_point time);
    // A time point as the eight SYSTEMTIME words, in UTC (milliseconds truncated).
    static SystemTime ToSystemTime(std::chrono::system_clock::time_point time);

    // The result save set's file name for a tile name; path separators and control characters,
    // which cannot stand in a file name, become "_".
    static std::string ResultFileName(const std::string& tileName);

    // Why the last read or write failed (empty when it did not).
    const std::string& LastError() const { return m_lastError; }
    // Record count of the save set last opened by a reader.
    int32_t RecordCount() const { return m_recordCount; }

    SaveSetLibrary& Library() { return m_library; }
    const MakeSensorList& Sensors() const { return m_sensors; }

  protected:
    bool ReadFandeck(const std::string& file, bool IsMaster);
    // Fills the identity of an open fandeck (File and stamp already set) from its header and last
    // record; the second angle position is not looked at yet.
    void ReadFandeckIdentity(GlobalVariables::FandeckIdentity& identity, FandeckRecords& records);
    // Makes `identity` that side's fandeck: the workspace fields a fandeck read sets.
    void KeepFandeck(GlobalVariables::FandeckIdentity identity, bool IsMaster);
    // Opens the save set and takes its record count; false, with the reason in LastError() and
    // the save set closed, when it cannot be opened or holds no records.
    bool OpenWithRecords(const std::string& file);
    // The open save set's header, asked in the library's reading order: angle count, angle
    // types, status, company (cut at its first NUL).
    struct SetHeader {
        int16_t Angles = 0;
        std::array<int16_t, 3> AngleTypes{};
        std::string Company;
    };
    SetHeader ReadSetHeader();
    std::filesystem::path OutputPath(const std::string& name) const;
    static int16_t Result(int16_t libraryResult) { return libraryResult != 0 ? kTrue : kFalse; }

    GlobalVariables& m_ws;
    MakeSensorList m_sensors;
    SaveSetLibrary m_library;
    std::filesystem::path m_outputFolder;
    DateFormatter m_dateFormatter = &RWSaveSet::HostDateText;
    std::string m_lastError;
    int32_t m_recordCount = 0;
    // Angle positions of the Master and Target fandecks last read (0 before any).
    int16_t m_masterFandeckAngles = 0;
    int16_t m_targetFandeckAngles = 0;

  public:
    int16_t MasterFandeckAngleCount() const { return m_masterFandeckAngles; }
    int16_t TargetFandeckAngleCount() const { return m_targetFandeckAngles; }

    // ---- fandeck conversion (RWSaveSetCorrelate.cpp) ----
    // Result codes of ReadFandeckandBuildCorrelatedData.
    static constexpr int16_t kCorrelationDone = 0;
    static constexpr int16_t kCorrelationRecordMismatch = 1;      // Master and Target fandecks
    static constexpr int16_t kCorrelationInstrumentMismatch = 2;  // fandeck vs file's Target
    static constexpr int16_t kCorrelationUnreadable = 3;          // reason in LastError()

    // Hands CoefficientFile to the correction object, which reads it. Throws ParseError or
    // IoError when the file cannot be read; the object keeps the file it had.
    void ReadProfileCoefficients();

    // Reads the Target fandeck `file` (its identity as ReadTargetFandeck) and corrects every
    // record with the coefficient file CoefficientFile, streaming them into a save set in the
    // temporary folder (ConvertedCurvesFile, ConvertedRecordCount; removed with this object or
    // the next conversion), which is the correlated fandeck as WriteCorrelatedResults saves it:
    // angle position 0 corrected with the SCI block and 1 with the SCE block (a one-angle
    // fandeck: position 0 with the geometry of its status, third character "I" or "B" SCI, else
    // SCE; the position it does not hold stays zero). A block flagged "False" is not applied:
    // those curves are copied unchanged and CorrelationWarning() names the geometry the file
    // lacks. Returns kCorrelationDone and sets ConversionDone and CorrelatedFandeckReady;
    // kCorrelationRecordMismatch when a Master fandeck is loaded (MasterSaveSetLoaded) with
    // another record count; kCorrelationInstrumentMismatch when the fandeck's instrument is not
    // the file's Target instrument (the fandeck is then the Target fandeck, the earlier
    // conversion stays); kCorrelationUnreadable when the coefficient file or the fandeck cannot
    // be read, or a record cannot be corrected (the workspace is then as it was). Reports
    // progress per batch of records; allocates nothing per record.
    int16_t ReadFandeckandBuildCorrelatedData(const std::string& file,
                                              ProgressSink& progress = NullProgress());
    // What the last conversion could not do (empty when it applied every geometry it met).
    const std::string& CorrelationWarning() const { return m_correlationWarning; }
    const ProfileCorrector& Corrector() const { return m_corrector; }

  private:
    ProfileCorrector m_corrector;
    std::string m_correlationWarning;
    TemporaryFile m_converted;
    bool m_conversionKeptAfterSave = true;
};

}  // namespace tintara
