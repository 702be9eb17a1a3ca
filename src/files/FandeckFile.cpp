#include "files/FandeckFile.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <system_error>

#include "workspace/Error.h"

namespace tintara {

namespace fs = std::filesystem;

namespace {

struct Stamp {
    std::uintmax_t size = 0;
    int64_t writeTime = 0;
};

Stamp StampOf(const std::string& file, std::error_code& error) {
    Stamp stamp;
    stamp.size = fs::file_size(file, error);
    if (error)
        return stamp;
    stamp.writeTime =
        static_cast<int64_t>(fs::last_write_time(file, error).time_since_epoch().count());
    return stamp;
}

// A one-angle fandeck shows its one curve whichever geometry is asked for.
std::vector<double> CurveOf(const SaveSetRecord& record, int angle, int16_t angles) {
    const auto& curve = record.Curves[static_cast<std::size_t>(std::clamp(angle, 0, angles - 1))];
    return std::vector<double>(curve.begin(), curve.end());
}

}  // namespace

void StampFandeck(GlobalVariables::FandeckIdentity& identity) {
    std::error_code error;
    const Stamp stamp = StampOf(identity.File, error);
    if (error)
        throw IoError(identity.File + ": the file cannot be reached (" + error.message() + ")");
    identity.FileSize = stamp.size;
    identity.FileWriteTime = stamp.writeTime;
}

void RequireAsRead(const GlobalVariables::FandeckIdentity& identity) {
    std::error_code error;
    const Stamp stamp = StampOf(identity.File, error);
    if (error) {
        throw IoError(identity.File + " cannot be read again (" + error.message() +
                      "); open the fandeck again");
    }
    if (stamp.size != identity.FileSize || stamp.writeTime != identity.FileWriteTime) {
        throw Error(identity.File +
                    " has changed since it was read; open the fandeck again to use the file as "
                    "it is now");
    }
}

// ---- records ------------------------------------------------------------------------------------

FandeckRecords::FandeckRecords(const fs::path& file) : m_reader(file) {
    m_angles = std::clamp<int16_t>(m_reader.Header().NumAngles, 1, kMaxAngles);
}

FandeckRecords::FandeckRecords(const GlobalVariables::FandeckIdentity& identity)
    : FandeckRecords((RequireAsRead(identity), fs::path(identity.File))) {}

void FandeckRecords::Trim(SaveSetRecord& record) const {
    const auto nul = record.Name.find('\0');
    if (nul != std::string::npos)
        record.Name.resize(nul);
    for (int a = m_angles; a < kMaxAngles; ++a)
        record.Curves[static_cast<std::size_t>(a)].fill(0.0);
}

bool FandeckRecords::Next(SaveSetRecord& record) {
    if (!m_reader.Next(record))
        return false;
    Trim(record);
    return true;
}

void FandeckRecords::Read(int64_t ordinal, SaveSetRecord& record) {
    m_reader.Read(ordinal, record);
    Trim(record);
}

void NoteSecondPosition(GlobalVariables::FandeckIdentity& identity, const SaveSetRecord& record,
                        int64_t ordinal) {
    if (identity.FirstSecondPositionRecord < 0 &&
        std::any_of(record.Curves[1].begin(), record.Curves[1].end(),
                    [](double v) { return v != 0.0; })) {
        identity.FirstSecondPositionRecord = ordinal;
    }
}

void ReadThrough(GlobalVariables::FandeckIdentity& identity, FandeckRecords& records) {
    SaveSetRecord record;
    for (int64_t r = 0; records.Next(record); ++r)
        NoteSecondPosition(identity, record, r);
}

// ---- a comparison in step -----------------------------------------------------------------------

ComparisonReader::ComparisonReader(const GlobalVariables& ws, const FandeckPairing& pairing)
    : m_master(ws.MasterFandeck), m_target(ws.TargetFandeck) {
    if (pairing.Converted)
        m_corrected.emplace(fs::path(ws.ConvertedCurvesFile));
}

bool ComparisonReader::Next(FandeckSample& sample) {
    if (!m_master.Next(m_masterRecord) || !m_target.Next(m_targetRecord))
        return false;
    const SaveSetRecord* corrected = &m_targetRecord;
    if (m_corrected) {
        if (!m_corrected->Next(m_correctedRecord))
            return false;
        corrected = &m_correctedRecord;
    }
    sample.Name = &m_masterRecord.Name;
    for (std::size_t a = 0; a < kMaxAngles; ++a) {
        sample.Master[a] = m_masterRecord.Curves[a].data();
        sample.Target[a] = m_targetRecord.Curves[a].data();
        sample.Corrected[a] = corrected->Curves[a].data();
    }
    return true;
}

SampleCurveSet ReadSampleCurves(const GlobalVariables& ws, int64_t sample, int angle) {
    SampleCurveSet curves;
    if (sample < 0)
        return curves;
    SaveSetRecord record;
    const auto read = [&](const GlobalVariables::FandeckIdentity& fandeck) {
        std::vector<double> curve;
        if (!fandeck.File.empty() && sample < fandeck.RecordCount) {
            FandeckRecords records(fandeck);
            records.Read(sample, record);
            curve = CurveOf(record, angle, records.Angles());
        }
        return curve;
    };
    curves.Master = read(ws.MasterFandeck);
    curves.Target = read(ws.TargetFandeck);
    if (ws.ConversionDone && !ws.ConvertedCurvesFile.empty() && sample < ws.ConvertedRecordCount) {
        FandeckRecords records{fs::path(ws.ConvertedCurvesFile)};
        records.Read(sample, record);
        curves.Corrected = CurveOf(record, angle, records.Angles());
    }
    return curves;
}

// ---- the temporary file -------------------------------------------------------------------------

TemporaryFile::TemporaryFile(const std::string& purpose) {
    static std::atomic<unsigned> counter{0};
    std::error_code error;
    fs::path folder = fs::temp_directory_path(error);
    if (error)
        folder = "/tmp";
    m_path = folder / ("tintara-" + std::to_string(::getpid()) + "-" + std::to_string(++counter) +
                       "-" + purpose);
}

TemporaryFile::~TemporaryFile() {
    Remove();
}

TemporaryFile::TemporaryFile(TemporaryFile&& other) noexcept : m_path(std::move(other.m_path)) {
    other.m_path.clear();
}

TemporaryFile& TemporaryFile::operator=(TemporaryFile&& other) noexcept {
    if (this != &other) {
        Remove();
        m_path = std::move(other.m_path);
        other.m_path.clear();
    }
    return *this;
}

void TemporaryFile::Remove() {
    if (m_path.empty())
        return;
    std::error_code ignored;  // nothing to do about a temporary that cannot be removed
    fs::remove(m_path, ignored);
    m_path.clear();
}

}  // namespace tintara
