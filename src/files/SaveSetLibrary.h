// The one-open-file-at-a-time save-set library (the SS_* operations) over save sets on disk.
#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "files/SaveSetData.h"
#include "files/SaveSetFile.h"

namespace tintara {

// The SS_* operations the readers and writers use, over one current save set and one current
// record. A save set is either opened from a file (SS_Open) or created in memory (SS_New, then the
// header setters and SS_AddRecord per record) and written with SS_Save; SS_Close forgets it.
//
// Result convention: the int16_t operations return non-zero (1) on success and 0 on failure; the
// reason of the last failure is SS_GetIOError(). Operations that need an open save set or a current
// record fail when there is none; they never throw.
//
// Records are numbered from 0 in file order. The status of a record is the save set's status unless
// the record carries its own; SS_GetStatus answers for the current record once one is recalled and
// for the save set before. A record built with SS_AddRecord takes the save set's instrument and
// status as they stand at that moment, since the library has no per-record setters for them.
//
// The setters and getters that the readers and writers do not call (address, ellipse and box
// tolerances, temperature, ...) are plain fields of the library object, kept for the session only;
// of those, the colour space, observer, warning level, illuminants and CMC factors are the save
// set's own header fields and are stored.
class SaveSetLibrary {
  public:
    // ---- reading ----
    int16_t SS_Open(const std::string& fileName);
    int32_t SS_GetNumRecords();  // 0 when no save set is open
    int16_t SS_GetNumAngles();   // 0 when no save set is open
    int16_t SS_GetAngleTypes(std::array<int16_t, 3>& angleTypes);
    int16_t SS_GetStatus(std::string& status);
    int16_t SS_GetCompany(std::string& company);
    int16_t SS_RecallRecord(int32_t record);
    int16_t SS_GetName(std::string& name);
    int16_t SS_GetName2(std::string& name2);
    int16_t SS_GetSystem(std::string& system);
    int16_t SS_GetNotes(std::string& notes);
    // Instrument ID of the current record (of the save set when no record is current; 0 when no
    // save set is open).
    int16_t SS_GetInstrument();
    // Copies `count` (1..40) points of the current record's curve at angle position `angle`
    // (0 or 1) into `values`. A position the record does not hold reads as zeros.
    int16_t SS_GetReflectance(int16_t angle, double* values, int16_t count);
    int16_t SS_Close();

    // ---- writing ----
    int16_t SS_SetVersion(int16_t version);    // taken by the next SS_New
    int16_t SS_SetFileType(int16_t fileType);  // taken by the next SS_New
    // Creates an empty save set in memory with `numAngles` (1 or 2) angle positions per record;
    // `extension` is the kind of file (".WSV"). The file name is given to SS_Save.
    int16_t SS_New(int16_t numAngles, const std::string& extension);
    int16_t SS_SetAngleTypes(const std::array<int16_t, 3>& angleTypes);
    int16_t SS_SetIlluminants(const std::array<int16_t, 3>& illuminants);
    int16_t SS_SetCMCFactors(const std::array<double, 4>& factors);
    int16_t SS_SetColorSpace(int16_t colorSpace);
    int16_t SS_SetObserver(int16_t observer);
    int16_t SS_SetWarningLevel(double level);
    int16_t SS_SetCompany(const std::string& company);
    int16_t SS_SetStatus(const std::string& status);
    int16_t SS_SetInstrument(int16_t instrument);
    // Fields of the record being built.
    int16_t SS_SetName(const std::string& name);
    int16_t SS_SetName2(const std::string& name2);
    int16_t SS_SetSystem(const std::string& system);
    int16_t SS_SetTime(int32_t time);
    int16_t SS_SetNotes(const std::string& notes);
    // Sets `count` (1..40) points of the curve at angle position `angle` (0 or 1); a position
    // beyond the save set's angle count is kept as well (a correlated fandeck writes both).
    int16_t SS_SetReflectance(int16_t angle, const double* values, int16_t count);
    // Appends the record being built and starts the next one empty.
    int16_t SS_AddRecord();
    // Writes the save set in hand to `fileName` (atomically, see StoreSaveSet).
    int16_t SS_Save(const std::string& fileName);
    // The reason of the last failure, naming the file where there is one; empty after none.
    std::string SS_GetIOError() const { return m_ioError; }

    // ---- declared by the library's users but not called on the reading and writing paths ----
    // Saves are always staged beside the target (so the rename is atomic); the path is only kept.
    int16_t SS_SetTempPath(const std::string& path);
    int16_t SS_GetColorSpace();
    int16_t SS_GetObserver();
    double SS_GetWarningLevel();
    int16_t SS_SetAddress(const std::string& address);
    int16_t SS_GetIlluminants(std::array<int16_t, 3>& illuminants);
    int16_t SS_SetEllipseType(int16_t ellipseType);
    int16_t SS_SetPFCriteria(int16_t criteria);
    int16_t SS_GetCMCFactors(std::array<double, 4>& factors);
    int16_t SS_SetBoxToler(const std::array<double, 3>& tolerances);      // DL, Da, Db
    int16_t SS_SetEllipseToler(const std::array<double, 3>& tolerances);  // DL, DC, DH
    int16_t SS_SetPercentUV(double percent);
    int16_t SS_SetTemperature(double temperature);
    int16_t SS_SetPercentGloss(double percent);
    int16_t SS_SetYardage(double yardage);
    int16_t SS_SetJobNote(const std::string& note);
    int16_t SS_SetXYZlib(const std::string& library);
    int16_t SS_EnableDebugMessages(bool enable);

    // ---- outside the library's own operations ----
    // When set, every SS_* call appends its name (e.g. "SS_Open") to *log; nullptr stops logging.
    void SetCallLog(std::vector<std::string>* log) { m_callLog = log; }
    // The save set in hand (empty when none is open).
    bool IsOpen() const { return m_open; }
    const SaveSetData& Data() const { return m_data; }

  private:
    void Log(const char* operation);
    int16_t Fail(std::string reason);
    int16_t Succeed();
    bool RequireOpen(const char* operation);
    bool RequireRecord(const char* operation);
    const SaveSetRecord* Current() const;

    std::vector<std::string>* m_callLog = nullptr;
    std::string m_ioError;

    bool m_open = false;
    std::string m_fileName;  // of the opened save set; empty for one made by SS_New
    SaveSetData m_data;
    int32_t m_current = -1;    // current record, -1 before SS_RecallRecord
    SaveSetRecord m_building;  // the record SS_AddRecord appends next
    std::string m_extension;

    int16_t m_nextVersion = 5;
    int16_t m_nextFileType = 0;

    // Session-only fields.
    std::string m_tempPath, m_address, m_jobNote, m_xyzLib;
    int16_t m_ellipseType = 0, m_pfCriteria = 0;
    std::array<double, 3> m_boxToler{}, m_ellipseToler{};
    double m_percentUV = 0.0, m_temperature = 0.0, m_percentGloss = 0.0, m_yardage = 0.0;
    bool m_debugMessages = false;
};

}  // namespace tintara
