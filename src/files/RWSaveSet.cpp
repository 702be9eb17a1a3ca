#include "files/RWSaveSet.h"

#include <unistd.h>

#include <cstdio>
#include <ctime>
#include <system_error>

#include "workspace/Error.h"
#include "workspace/StatusCode.h"
#include "workspace/WriteFile.h"

namespace tintara {

namespace fs = std::filesystem;

namespace {

constexpr const char* kResultCompany = "Pellucidane,Inc";
constexpr const char* kResultStatus = "CRE";

bool IsTileSetSize(int32_t count) {
    return count == 32 || count == 48 || count == 28 || count == 16;
}

}  // namespace

RWSaveSet::RWSaveSet(GlobalVariables& ws) : m_ws(ws), m_sensors(ws) {}

void RWSaveSet::RemoveNull(std::string& text) {
    const auto nul = text.find('\0');
    if (nul != std::string::npos)
        text.resize(nul);
}

std::string RWSaveSet::ResultFileName(const std::string& tileName) {
    std::string name = tileName;
    for (char& c : name) {
        if (c == '/' || c == '\\' || static_cast<unsigned char>(c) < 32)
            c = '_';
    }
    return name + "Results.wsv";
}

fs::path RWSaveSet::OutputPath(const std::string& name) const {
    if (name.empty() || m_outputFolder.empty())
        return fs::path(name);
    return m_outputFolder / name;  // an absolute name stays as it is
}

// ---- tile sets ----------------------------------------------------------------------------------

RWSaveSet::SetHeader RWSaveSet::ReadSetHeader() {
    SetHeader header;
    header.Angles = m_library.SS_GetNumAngles();
    m_library.SS_GetAngleTypes(header.AngleTypes);
    std::string setStatus;
    m_library.SS_GetStatus(setStatus);
    m_library.SS_GetCompany(header.Company);
    RemoveNull(header.Company);
    return header;
}

bool RWSaveSet::OpenWithRecords(const std::string& file) {
    m_lastError.clear();
    const int16_t opened = m_library.SS_Open(file);
    const std::string openError = m_library.SS_GetIOError();  // before the next call replaces it
    m_ws.LastResult = Result(opened);
    m_recordCount = m_library.SS_GetNumRecords();
    if (opened != 0 && m_recordCount != 0)
        return true;
    m_lastError = opened == 0 ? openError : file + ": the save set holds no records";
    m_library.SS_Close();
    return false;
}

void RWSaveSet::ReadWSVRecord(const std::string& file, bool IsMaster, bool& Failed) {
    Failed = !OpenWithRecords(file);
    if (Failed)
        return;

    if (IsMaster) {
        if (IsTileSetSize(m_recordCount)) {
            const auto tiles = static_cast<int16_t>(m_recordCount);
            m_ws.DimensionTileArrays(tiles);
            m_ws.SetReferenceTiles(tiles);
        } else {
            m_ws.TileCount = 0;
        }
    }
    if (m_recordCount != m_ws.TileCount) {
        if (IsMaster) {
            m_lastError = file + ": the save set holds " + std::to_string(m_recordCount) +
                          " records; a tile set holds 16, 28, 32 or 48 tiles";
        } else {
            m_lastError = file + ": the save set holds " + std::to_string(m_recordCount) +
                          " records; the Master tile set holds " + std::to_string(m_ws.TileCount) +
                          " tiles";
        }
        Failed = true;
        m_ws.LastResult = Result(m_library.SS_Close());
        return;
    }

    const SetHeader header = ReadSetHeader();
    const int16_t angles = header.Angles;
    m_ws.RecordCompany = header.Company;

    Matrix& reflectance = IsMaster ? m_ws.MasterReflectance : m_ws.TargetReflectance;
    std::string name2, system, notes, status, name, type;
    std::array<double, kPointCount> curve{};
    for (int32_t tile = 0; tile < m_recordCount; ++tile) {
        m_library.SS_RecallRecord(tile);
        m_library.SS_GetName2(name2);
        m_library.SS_GetSystem(system);
        m_library.SS_GetNotes(notes);
        RemoveNull(name2);
        RemoveNull(system);
        RemoveNull(notes);
        m_ws.RecordTileSetSerial = name2;
        m_ws.RecordSerial = system;
        m_ws.RecordOperator = notes;

        const int16_t id = m_library.SS_GetInstrument();
        m_sensors.FindInstrument(id, type);
        (IsMaster ? m_ws.MasterInstrumentID : m_ws.TargetInstrumentID) = id;
        (IsMaster ? m_ws.MasterType : m_ws.TargetType) = type;

        m_ws.LastResult = Result(m_library.SS_GetStatus(status));
        RemoveNull(status);
        // This instrument's sets always hold both geometries, so its status is read as "B"
        // whatever was stored.
        if (id == kBothGeometriesInstrument)
            StatusCode::SetBoth(status);
        int16_t angle = 0;
        if (StatusCode(status).HoldsBoth()) {
            StatusCode::SetGeometry(
                status, m_ws.GeometryChoice ? StatusCode::kIncluded : StatusCode::kExcluded);
            if (!m_ws.GeometryChoice)
                angle = 1;
        }
        (IsMaster ? m_ws.MasterStatus : m_ws.TargetStatus) = status;

        m_library.SS_GetName(name);
        RemoveNull(name);
        m_ws.TileNames[static_cast<std::size_t>(tile)] = name;

        if (angle >= angles) {
            // Asked for the SCE half of a set that holds one geometry: refuse rather than profile
            // against a curve of zeros.
            m_lastError = file + ": record " + std::to_string(tile) + " (\"" + name +
                          "\") is marked as holding both geometries, but the save set holds " +
                          "only one angle position";
            Failed = true;
            m_ws.LastResult = Result(m_library.SS_Close());
            return;
        }
        m_library.SS_GetReflectance(angle, curve.data(), kPointCount);
        double* row = reflectance.Row(static_cast<std::size_t>(tile));
        for (int p = 0; p < kPointCount; ++p)
            row[p] = curve[p];
        if (!IsMaster) {
            double* spare = m_ws.TargetSpareReflectance.Row(static_cast<std::size_t>(tile));
            for (int p = 0; p < kPointCount; ++p)
                spare[p] = curve[p];
        }
    }
    m_ws.LastResult = Result(m_library.SS_Close());
}

// ---- file dates ---------------------------------------------------------------------------------

SystemTime RWSaveSet::ToSystemTime(std::chrono::system_clock::time_point time) {
    using namespace std::chrono;
    const auto day = floor<days>(time);
    const year_month_day ymd{day};
    const hh_mm_ss<milliseconds> hms{floor<milliseconds>(time - day)};
    SystemTime st;
    st.wYear = static_cast<int16_t>(static_cast<int>(ymd.year()));
    st.wMonth = static_cast<int16_t>(static_cast<unsigned>(ymd.month()));
    st.wDayOfWeek = static_cast<int16_t>(weekday{day}.c_encoding());  // Sunday = 0
    st.wDay = static_cast<int16_t>(static_cast<unsigned>(ymd.day()));
    st.wHour = static_cast<int16_t>(hms.hours().count());
    st.wMinute = static_cast<int16_t>(hms.minutes().count());
    st.wSecond = static_cast<int16_t>(hms.seconds().count());
    st.wMilliseconds = static_cast<int16_t>(hms.subseconds().count());
    return st;
}

std::string RWSaveSet::HostDateText(std::chrono::system_clock::time_point time) {
    const std::time_t seconds =
        std::chrono::system_clock::to_time_t(std::chrono::floor<std::chrono::seconds>(time));
    std::tm local{};
    localtime_r(&seconds, &local);
    std::string text = std::to_string(local.tm_mon + 1) + "/" + std::to_string(local.tm_mday) +
                       "/" + std::to_string(local.tm_year + 1900);
    if (local.tm_hour == 0 && local.tm_min == 0 && local.tm_sec == 0)
        return text;
    const int hour12 = local.tm_hour % 12 == 0 ? 12 : local.tm_hour % 12;
    char clock[32];
    std::snprintf(clock, sizeof clock, " %d:%02d:%02d %s", hour12, local.tm_min, local.tm_sec,
                  local.tm_hour < 12 ? "AM" : "PM");
    return text + clock;
}

void RWSaveSet::GetLastModifiedDate(const std::string& file, bool IsMaster) {
    std::error_code ec;
    const auto written = fs::last_write_time(file, ec);
    if (ec)
        throw IoError(file + ": the file's date cannot be read (" + ec.message() + ")");
    const auto time = std::chrono::file_clock::to_sys(written);
    const std::string text = m_dateFormatter(time);
    // The Target's date is stamped first for either side; a Master's reading overwrites it until
    // the Target's own reading sets it again.
    m_ws.TargetDate = text;
    if (IsMaster) {
        m_ws.MasterFileTime = ToSystemTime(time);
        m_ws.MasterDate = text;
    } else {
        m_ws.TargetFileTime = ToSystemTime(time);
        m_ws.TargetDate = text;
    }
}

// ---- fandecks -----------------------------------------------------------------------------------

bool RWSaveSet::ReadMasterFandeck() {
    return ReadFandeck(m_ws.MasterSaveSetFile, true);
}

bool RWSaveSet::ReadTargetFandeck() {
    return ReadFandeck(m_ws.TargetSaveSetFile, false);
}

void RWSaveSet::ReadFandeckIdentity(GlobalVariables::FandeckIdentity& identity,
                                    FandeckRecords& records) {
    const SaveSetData& header = records.Header();
    identity.AngleCount = header.NumAngles;
    identity.RecordCount = static_cast<int32_t>(records.RecordCount());
    identity.Company = header.Company;
    RemoveNull(identity.Company);
    identity.AngleTypes = header.AngleTypes;
    identity.Illuminants = header.Illuminants;
    identity.CMCFactors = header.CMCFactors;
    // The instrument, status and texts are the last record's, as for tile sets.
    SaveSetRecord last;
    records.Read(records.RecordCount() - 1, last);
    identity.InstrumentID = last.Instrument;
    identity.Status = last.Status.empty() ? header.Status : last.Status;
    RemoveNull(identity.Status);
    m_sensors.FindInstrument(identity.InstrumentID, identity.Type);
    identity.Serial = last.System;
    identity.Operator = last.Notes;
    identity.TileSet = last.Name2;
    RemoveNull(identity.Serial);
    RemoveNull(identity.Operator);
    RemoveNull(identity.TileSet);
}

void RWSaveSet::KeepFandeck(GlobalVariables::FandeckIdentity identity, bool IsMaster) {
    m_ws.RecordCompany = identity.Company;
    m_ws.RecordTileSetSerial = identity.TileSet;
    m_ws.RecordSerial = identity.Serial;
    m_ws.RecordOperator = identity.Operator;
    m_ws.FandeckRecordCount = identity.RecordCount;
    m_ws.FandeckAngleCount = identity.AngleCount;
    m_ws.SampleCount = identity.RecordCount;
    (IsMaster ? m_masterFandeckAngles : m_targetFandeckAngles) = identity.AngleCount;
    // The fandeck's identity is its own: the tile sets' instrument and status stay as they are.
    (IsMaster ? m_ws.MasterFandeck : m_ws.TargetFandeck) = std::move(identity);
}

bool RWSaveSet::ReadFandeck(const std::string& file, bool IsMaster) {
    m_lastError.clear();
    try {
        GlobalVariables::FandeckIdentity identity;
        identity.File = file;
        StampFandeck(identity);
        FandeckRecords records{std::filesystem::path(file)};
        m_recordCount = static_cast<int32_t>(records.RecordCount());
        if (m_recordCount == 0) {
            m_lastError = file + ": the save set holds no records";
            m_ws.LastResult = kFalse;
            return false;
        }
        ReadFandeckIdentity(identity, records);
        // Every record once: a damaged one is refused now, as when the curves were held, and the
        // comparison learns whether the second angle position is in use.
        ReadThrough(identity, records);
        KeepFandeck(std::move(identity), IsMaster);
    } catch (const std::exception& error) {
        m_lastError = error.what();
        m_ws.LastResult = kFalse;
        return false;
    }
    m_ws.LastResult = kTrue;
    return true;
}

// ---- writers ------------------------------------------------------------------------------------

void RWSaveSet::WriteSaveSetResults() {
    m_lastError.clear();
    const std::array<int16_t, 3> angleTypes{m_ws.GeometryChoice ? kAngleTypeSCI : kAngleTypeSCE,
                                            kAngleTypeNone, kAngleTypeNone};
    const std::array<int16_t, 3> illuminants{kIlluminantD65, kIlluminantA, kIlluminantF11};
    const std::array<double, 4> cmcFactors{1.0, 1.0, 1.0, 1.0};
    struct Row {
        const char* name;
        const Matrix* curves;
    };
    const std::array<Row, 6> rows{{{"Master", &m_ws.MasterReflectance},
                                   {"Target", &m_ws.TargetReflectance},
                                   {"Offset", &m_ws.TargetAfterOffset},
                                   {"Gain", &m_ws.TargetAfterGain},
                                   {"Linearity", &m_ws.TargetAfterLinearity},
                                   {"Wavelength", &m_ws.TargetAfterWavelength}}};
    std::array<double, kPointCount> curve{};
    for (int tile = 0; tile < m_ws.TileCount; ++tile) {
        const auto t = static_cast<std::size_t>(tile);
        m_library.SS_SetVersion(5);
        m_library.SS_SetFileType(0);
        m_library.SS_New(1, ".WSV");
        m_library.SS_SetAngleTypes(angleTypes);
        m_library.SS_SetIlluminants(illuminants);
        m_library.SS_SetCMCFactors(cmcFactors);
        m_library.SS_SetColorSpace(1);
        m_library.SS_SetObserver(1);
        m_library.SS_SetWarningLevel(0.75);
        m_library.SS_SetCompany(kResultCompany);
        m_library.SS_SetStatus(kResultStatus);
        m_library.SS_SetInstrument(0);
        for (const Row& row : rows) {
            m_library.SS_SetName(row.name);
            const double* source = row.curves->Row(t);
            for (int p = 0; p < kPointCount; ++p)
                curve[p] = source[p];
            m_library.SS_SetName2("");
            m_library.SS_SetSystem("");
            m_library.SS_SetTime(0);
            m_library.SS_SetNotes("");
            m_library.SS_SetReflectance(0, curve.data(), kPointCount);
            m_library.SS_AddRecord();
        }
        const fs::path file = OutputPath(ResultFileName(m_ws.TileNames[t]));
        const bool saved = m_library.SS_Save(file.string()) != 0;
        const std::string reason = m_library.SS_GetIOError();
        m_library.SS_Close();
        if (!saved) {
            m_lastError = reason;
            throw IoError(reason);
        }
    }
}

void RWSaveSet::WriteCorrelatedResults() {
    m_lastError.clear();
    const fs::path target = OutputPath(m_ws.CorrelatedSaveSetFile);
    const std::string name = m_ws.CorrelatedSaveSetFile.empty()
                                 ? std::string("the correlated fandeck")
                                 : m_ws.CorrelatedSaveSetFile;
    if (m_ws.ConvertedCurvesFile.empty()) {
        m_lastError = name + ": cannot be written: no fandeck has been converted";
        throw IoError(m_lastError);
    }
    try {
        // The conversion is the correlated fandeck already: copied as it stands.
        if (::access(m_ws.ConvertedCurvesFile.c_str(), R_OK) != 0)
            throw IoError(name +
                          ": cannot be written: the converted fandeck in the temporary "
                          "folder is gone; convert the fandeck again");
        if (m_conversionKeptAfterSave) {
            CopyFileAtomically(m_ws.ConvertedCurvesFile, target);
        } else {
            MoveFileAtomically(m_ws.ConvertedCurvesFile, target);
            m_converted.Forget();
            m_ws.ConvertedCurvesFile.clear();
            m_ws.ConversionDone = false;
            m_ws.CorrelatedFandeckReady = false;
        }
    } catch (const std::exception& error) {
        m_lastError = error.what();
        throw;
    }
}

}  // namespace tintara
