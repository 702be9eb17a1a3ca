#include "files/SaveSetLibrary.h"

#include <algorithm>
#include <cmath>

namespace tintara {

// ---- SaveSetLibrary ---------------------------------------------------------------------------

void SaveSetLibrary::Log(const char* operation) {
    if (m_callLog)
        m_callLog->emplace_back(operation);
}

int16_t SaveSetLibrary::Fail(std::string reason) {
    m_ioError = std::move(reason);
    return 0;
}

int16_t SaveSetLibrary::Succeed() {
    return 1;
}

bool SaveSetLibrary::RequireOpen(const char* operation) {
    if (m_open)
        return true;
    Fail(std::string(operation) + ": no save set is open");
    return false;
}

bool SaveSetLibrary::RequireRecord(const char* operation) {
    if (!RequireOpen(operation))
        return false;
    if (m_current >= 0)
        return true;
    Fail(std::string(operation) + ": no record is current (SS_RecallRecord comes first)");
    return false;
}

const SaveSetRecord* SaveSetLibrary::Current() const {
    return m_current >= 0 ? &m_data.Records[static_cast<std::size_t>(m_current)] : nullptr;
}

// ---- reading ----

int16_t SaveSetLibrary::SS_Open(const std::string& fileName) {
    Log("SS_Open");
    m_open = false;
    m_data = SaveSetData{};
    m_current = -1;
    m_fileName.clear();
    if (fileName.empty())
        return Fail("SS_Open: no file name given");
    try {
        m_data = LoadSaveSet(fileName);
    } catch (const std::exception& e) {
        m_data = SaveSetData{};
        return Fail(e.what());
    }
    m_open = true;
    m_fileName = fileName;
    m_ioError.clear();
    return Succeed();
}

int32_t SaveSetLibrary::SS_GetNumRecords() {
    Log("SS_GetNumRecords");
    if (!RequireOpen("SS_GetNumRecords"))
        return 0;
    return static_cast<int32_t>(m_data.Records.size());
}

int16_t SaveSetLibrary::SS_GetNumAngles() {
    Log("SS_GetNumAngles");
    if (!RequireOpen("SS_GetNumAngles"))
        return 0;
    return m_data.NumAngles;
}

int16_t SaveSetLibrary::SS_GetAngleTypes(std::array<int16_t, 3>& angleTypes) {
    Log("SS_GetAngleTypes");
    if (!RequireOpen("SS_GetAngleTypes"))
        return 0;
    angleTypes = m_data.AngleTypes;
    return Succeed();
}

int16_t SaveSetLibrary::SS_GetStatus(std::string& status) {
    Log("SS_GetStatus");
    status.clear();
    if (!RequireOpen("SS_GetStatus"))
        return 0;
    const SaveSetRecord* rec = Current();
    status = (rec && !rec->Status.empty()) ? rec->Status : m_data.Status;
    return Succeed();
}

int16_t SaveSetLibrary::SS_GetCompany(std::string& company) {
    Log("SS_GetCompany");
    company.clear();
    if (!RequireOpen("SS_GetCompany"))
        return 0;
    company = m_data.Company;
    return Succeed();
}

int16_t SaveSetLibrary::SS_RecallRecord(int32_t record) {
    Log("SS_RecallRecord");
    if (!RequireOpen("SS_RecallRecord"))
        return 0;
    const auto count = static_cast<int64_t>(m_data.Records.size());
    if (record < 0 || record >= count) {
        return Fail("SS_RecallRecord: record " + std::to_string(record) +
                    " does not exist (the save set holds " + std::to_string(count) +
                    " records, numbered from 0)");
    }
    m_current = record;
    return Succeed();
}

int16_t SaveSetLibrary::SS_GetName(std::string& name) {
    Log("SS_GetName");
    name.clear();
    if (!RequireRecord("SS_GetName"))
        return 0;
    name = Current()->Name;
    return Succeed();
}

int16_t SaveSetLibrary::SS_GetName2(std::string& name2) {
    Log("SS_GetName2");
    name2.clear();
    if (!RequireRecord("SS_GetName2"))
        return 0;
    name2 = Current()->Name2;
    return Succeed();
}

int16_t SaveSetLibrary::SS_GetSystem(std::string& system) {
    Log("SS_GetSystem");
    system.clear();
    if (!RequireRecord("SS_GetSystem"))
        return 0;
    system = Current()->System;
    return Succeed();
}

int16_t SaveSetLibrary::SS_GetNotes(std::string& notes) {
    Log("SS_GetNotes");
    notes.clear();
    if (!RequireRecord("SS_GetNotes"))
        return 0;
    notes = Current()->Notes;
    return Succeed();
}

int16_t SaveSetLibrary::SS_GetInstrument() {
    Log("SS_GetInstrument");
    if (!RequireOpen("SS_GetInstrument"))
        return 0;
    const SaveSetRecord* rec = Current();
    return rec ? rec->Instrument : m_data.Instrument;
}

int16_t SaveSetLibrary::SS_GetReflectance(int16_t angle, double* values, int16_t count) {
    Log("SS_GetReflectance");
    if (!RequireRecord("SS_GetReflectance"))
        return 0;
    if (angle < 0 || angle >= kMaxAngles) {
        return Fail("SS_GetReflectance: angle position " + std::to_string(angle) +
                    " does not exist (0 or 1)");
    }
    if (!values || count < 1 || count > kPointCount) {
        return Fail("SS_GetReflectance: a curve has 1 to 40 points, not " + std::to_string(count));
    }
    const Curve& curve = Current()->Curves[static_cast<std::size_t>(angle)];
    std::copy_n(curve.begin(), count, values);
    return Succeed();
}

int16_t SaveSetLibrary::SS_Close() {
    Log("SS_Close");
    if (!m_open)
        return 0;
    m_open = false;
    m_data = SaveSetData{};
    m_current = -1;
    m_building = SaveSetRecord{};
    m_fileName.clear();
    return Succeed();
}

// ---- writing ----

int16_t SaveSetLibrary::SS_SetVersion(int16_t version) {
    Log("SS_SetVersion");
    m_nextVersion = version;
    return Succeed();
}

int16_t SaveSetLibrary::SS_SetFileType(int16_t fileType) {
    Log("SS_SetFileType");
    m_nextFileType = fileType;
    return Succeed();
}

int16_t SaveSetLibrary::SS_New(int16_t numAngles, const std::string& extension) {
    Log("SS_New");
    if (numAngles < 1 || numAngles > kMaxAngles) {
        return Fail("SS_New: a record holds 1 or 2 angle positions, not " +
                    std::to_string(numAngles));
    }
    m_data = SaveSetData{};
    m_data.Version = m_nextVersion;
    m_data.FileType = m_nextFileType;
    m_data.NumAngles = numAngles;
    m_extension = extension;
    m_building = SaveSetRecord{};
    m_current = -1;
    m_fileName.clear();
    m_open = true;
    m_ioError.clear();
    return Succeed();
}

int16_t SaveSetLibrary::SS_SetAngleTypes(const std::array<int16_t, 3>& angleTypes) {
    Log("SS_SetAngleTypes");
    if (!RequireOpen("SS_SetAngleTypes"))
        return 0;
    m_data.AngleTypes = angleTypes;
    return Succeed();
}

int16_t SaveSetLibrary::SS_SetIlluminants(const std::array<int16_t, 3>& illuminants) {
    Log("SS_SetIlluminants");
    if (!RequireOpen("SS_SetIlluminants"))
        return 0;
    m_data.Illuminants = illuminants;
    return Succeed();
}

int16_t SaveSetLibrary::SS_SetCMCFactors(const std::array<double, 4>& factors) {
    Log("SS_SetCMCFactors");
    if (!RequireOpen("SS_SetCMCFactors"))
        return 0;
    for (double f : factors) {
        if (!std::isfinite(f))
            return Fail("SS_SetCMCFactors: a factor is not a number");
    }
    m_data.CMCFactors = factors;
    return Succeed();
}

int16_t SaveSetLibrary::SS_SetColorSpace(int16_t colorSpace) {
    Log("SS_SetColorSpace");
    if (!RequireOpen("SS_SetColorSpace"))
        return 0;
    m_data.ColorSpace = colorSpace;
    return Succeed();
}

int16_t SaveSetLibrary::SS_SetObserver(int16_t observer) {
    Log("SS_SetObserver");
    if (!RequireOpen("SS_SetObserver"))
        return 0;
    m_data.Observer = observer;
    return Succeed();
}

int16_t SaveSetLibrary::SS_SetWarningLevel(double level) {
    Log("SS_SetWarningLevel");
    if (!RequireOpen("SS_SetWarningLevel"))
        return 0;
    if (!std::isfinite(level))
        return Fail("SS_SetWarningLevel: the level is not a number");
    m_data.WarningLevel = level;
    return Succeed();
}

int16_t SaveSetLibrary::SS_SetCompany(const std::string& company) {
    Log("SS_SetCompany");
    if (!RequireOpen("SS_SetCompany"))
        return 0;
    m_data.Company = company;
    return Succeed();
}

int16_t SaveSetLibrary::SS_SetStatus(const std::string& status) {
    Log("SS_SetStatus");
    if (!RequireOpen("SS_SetStatus"))
        return 0;
    m_data.Status = status;
    return Succeed();
}

int16_t SaveSetLibrary::SS_SetInstrument(int16_t instrument) {
    Log("SS_SetInstrument");
    if (!RequireOpen("SS_SetInstrument"))
        return 0;
    m_data.Instrument = instrument;
    return Succeed();
}

int16_t SaveSetLibrary::SS_SetName(const std::string& name) {
    Log("SS_SetName");
    if (!RequireOpen("SS_SetName"))
        return 0;
    m_building.Name = name;
    return Succeed();
}

int16_t SaveSetLibrary::SS_SetName2(const std::string& name2) {
    Log("SS_SetName2");
    if (!RequireOpen("SS_SetName2"))
        return 0;
    m_building.Name2 = name2;
    return Succeed();
}

int16_t SaveSetLibrary::SS_SetSystem(const std::string& system) {
    Log("SS_SetSystem");
    if (!RequireOpen("SS_SetSystem"))
        return 0;
    m_building.System = system;
    return Succeed();
}

int16_t SaveSetLibrary::SS_SetTime(int32_t time) {
    Log("SS_SetTime");
    if (!RequireOpen("SS_SetTime"))
        return 0;
    m_building.Time = time;
    return Succeed();
}

int16_t SaveSetLibrary::SS_SetNotes(const std::string& notes) {
    Log("SS_SetNotes");
    if (!RequireOpen("SS_SetNotes"))
        return 0;
    m_building.Notes = notes;
    return Succeed();
}

int16_t SaveSetLibrary::SS_SetReflectance(int16_t angle, const double* values, int16_t count) {
    Log("SS_SetReflectance");
    if (!RequireOpen("SS_SetReflectance"))
        return 0;
    if (angle < 0 || angle >= kMaxAngles) {
        return Fail("SS_SetReflectance: angle position " + std::to_string(angle) +
                    " does not exist (0 or 1)");
    }
    if (!values || count < 1 || count > kPointCount) {
        return Fail("SS_SetReflectance: a curve has 1 to 40 points, not " + std::to_string(count));
    }
    for (int i = 0; i < count; ++i) {
        if (!std::isfinite(values[i])) {
            return Fail("SS_SetReflectance: point " + std::to_string(i) +
                        " is not a finite number");
        }
    }
    Curve& curve = m_building.Curves[static_cast<std::size_t>(angle)];
    std::copy_n(values, count, curve.begin());
    return Succeed();
}

int16_t SaveSetLibrary::SS_AddRecord() {
    Log("SS_AddRecord");
    if (!RequireOpen("SS_AddRecord"))
        return 0;
    m_building.Instrument = m_data.Instrument;
    m_building.Status = m_data.Status;
    m_data.Records.push_back(std::move(m_building));
    m_building = SaveSetRecord{};
    return Succeed();
}

int16_t SaveSetLibrary::SS_Save(const std::string& fileName) {
    Log("SS_Save");
    if (!RequireOpen("SS_Save"))
        return 0;
    if (fileName.empty())
        return Fail("SS_Save: no file name given");
    try {
        StoreSaveSet(m_data, fileName);
    } catch (const std::exception& e) {
        return Fail(e.what());
    }
    return Succeed();
}

// ---- the rest of the library's fields ----

int16_t SaveSetLibrary::SS_SetTempPath(const std::string& path) {
    Log("SS_SetTempPath");
    m_tempPath = path;
    return Succeed();
}

int16_t SaveSetLibrary::SS_GetColorSpace() {
    Log("SS_GetColorSpace");
    return m_open ? m_data.ColorSpace : 0;
}

int16_t SaveSetLibrary::SS_GetObserver() {
    Log("SS_GetObserver");
    return m_open ? m_data.Observer : 0;
}

double SaveSetLibrary::SS_GetWarningLevel() {
    Log("SS_GetWarningLevel");
    return m_open ? m_data.WarningLevel : 0.0;
}

int16_t SaveSetLibrary::SS_SetAddress(const std::string& address) {
    Log("SS_SetAddress");
    m_address = address;
    return Succeed();
}

int16_t SaveSetLibrary::SS_GetIlluminants(std::array<int16_t, 3>& illuminants) {
    Log("SS_GetIlluminants");
    if (!RequireOpen("SS_GetIlluminants"))
        return 0;
    illuminants = m_data.Illuminants;
    return Succeed();
}

int16_t SaveSetLibrary::SS_SetEllipseType(int16_t ellipseType) {
    Log("SS_SetEllipseType");
    m_ellipseType = ellipseType;
    return Succeed();
}

int16_t SaveSetLibrary::SS_SetPFCriteria(int16_t criteria) {
    Log("SS_SetPFCriteria");
    m_pfCriteria = criteria;
    return Succeed();
}

int16_t SaveSetLibrary::SS_GetCMCFactors(std::array<double, 4>& factors) {
    Log("SS_GetCMCFactors");
    if (!RequireOpen("SS_GetCMCFactors"))
        return 0;
    factors = m_data.CMCFactors;
    return Succeed();
}

int16_t SaveSetLibrary::SS_SetBoxToler(const std::array<double, 3>& tolerances) {
    Log("SS_SetBoxToler");
    m_boxToler = tolerances;
    return Succeed();
}

int16_t SaveSetLibrary::SS_SetEllipseToler(const std::array<double, 3>& tolerances) {
    Log("SS_SetEllipseToler");
    m_ellipseToler = tolerances;
    return Succeed();
}

int16_t SaveSetLibrary::SS_SetPercentUV(double percent) {
    Log("SS_SetPercentUV");
    m_percentUV = percent;
    return Succeed();
}

int16_t SaveSetLibrary::SS_SetTemperature(double temperature) {
    Log("SS_SetTemperature");
    m_temperature = temperature;
    return Succeed();
}

int16_t SaveSetLibrary::SS_SetPercentGloss(double percent) {
    Log("SS_SetPercentGloss");
    m_percentGloss = percent;
    return Succeed();
}

int16_t SaveSetLibrary::SS_SetYardage(double yardage) {
    Log("SS_SetYardage");
    m_yardage = yardage;
    return Succeed();
}

int16_t SaveSetLibrary::SS_SetJobNote(const std::string& note) {
    Log("SS_SetJobNote");
    m_jobNote = note;
    return Succeed();
}

int16_t SaveSetLibrary::SS_SetXYZlib(const std::string& library) {
    Log("SS_SetXYZlib");
    m_xyzLib = library;
    return Succeed();
}

int16_t SaveSetLibrary::SS_EnableDebugMessages(bool enable) {
    Log("SS_EnableDebugMessages");
    m_debugMessages = enable;
    return Succeed();
}

}  // namespace tintara
