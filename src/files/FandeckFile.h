// Fandeck files read again whenever their curves are used: the check that a file is still the one
// that was read, its records as the readers take them, a comparison read in step, one sample's
// curves, and the temporary save set a conversion is kept in.
#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "engine/Utility.h"
#include "files/SaveSetFile.h"
#include "workspace/GlobalVariables.h"

namespace tintara {

// Notes the size and last-write time of identity.File in the identity. Throws IoError naming the
// file when it cannot be reached.
void StampFandeck(GlobalVariables::FandeckIdentity& identity);
// Throws Error naming the file, in words a user can act on, when identity.File is gone or is no
// longer the size or age it had when it was read: its curves would not be the ones judged so far.
void RequireAsRead(const GlobalVariables::FandeckIdentity& identity);

// A save set's records as the fandeck readers take them: the name cut at its first NUL, the angle
// positions beyond the save set's angle count zero (a correlated copy may keep values there).
class FandeckRecords {
  public:
    explicit FandeckRecords(const std::filesystem::path& file);
    // The fandeck of an identity, refused (RequireAsRead) when the file has changed since.
    explicit FandeckRecords(const GlobalVariables::FandeckIdentity& identity);

    const SaveSetData& Header() const { return m_reader.Header(); }
    int64_t RecordCount() const { return m_reader.RecordCount(); }
    int16_t Angles() const { return m_angles; }
    // As SaveSetReader::Next and Read; the same exceptions.
    bool Next(SaveSetRecord& record);
    void Read(int64_t ordinal, SaveSetRecord& record);

  private:
    void Trim(SaveSetRecord& record) const;
    SaveSetReader m_reader;
    int16_t m_angles = 1;
};

// Notes in the identity that record `ordinal` (as FandeckRecords reads it) uses the second angle
// position, when it is the first to.
void NoteSecondPosition(GlobalVariables::FandeckIdentity& identity, const SaveSetRecord& record,
                        int64_t ordinal);
// Reads every record of `records` from where it stands, noting the second position's first use;
// a damaged record throws as Next does.
void ReadThrough(GlobalVariables::FandeckIdentity& identity, FandeckRecords& records);

// The samples of the comparison in the workspace read in step from the Master fandeck, the Target
// fandeck and, when the pairing says the conversion belongs to them, the converted save set; the
// corrected curves are the Target's otherwise. The files are refused when they have changed
// since they were read. Source() is what Utility::ProcessCorrelatedDeltas and the validation take.
class ComparisonReader {
  public:
    ComparisonReader(const GlobalVariables& ws, const FandeckPairing& pairing);
    bool Next(FandeckSample& sample);
    FandeckSampleSource Source() {
        return [this](FandeckSample& sample) { return Next(sample); };
    }

  private:
    FandeckRecords m_master, m_target;
    std::optional<FandeckRecords> m_corrected;
    SaveSetRecord m_masterRecord, m_targetRecord, m_correctedRecord;
};

// One sample's curves (record `sample`, angle position `angle`) for the plot: the Master's and
// the Target's when their fandecks are read and hold the record, the corrected one when a
// conversion was made; an empty vector for a curve that is not there. Throws Error naming the
// file when a file cannot be read or has changed since it was read.
struct SampleCurveSet {
    std::vector<double> Master, Target, Corrected;
};
SampleCurveSet ReadSampleCurves(const GlobalVariables& ws, int64_t sample, int angle);

// A file name in the temporary folder that this process owns: the file (if one was written
// there) is removed with the object. Movable, not copyable.
class TemporaryFile {
  public:
    TemporaryFile() = default;
    // A new name "tintara-<pid>-<n>-<purpose>" in the temporary folder; nothing is created yet.
    explicit TemporaryFile(const std::string& purpose);
    ~TemporaryFile();
    TemporaryFile(TemporaryFile&& other) noexcept;
    TemporaryFile& operator=(TemporaryFile&& other) noexcept;
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    const std::filesystem::path& Path() const { return m_path; }
    // Removes the file now and forgets the name.
    void Remove();
    // Forgets the name, leaving the file (which someone has moved away).
    void Forget() { m_path.clear(); }

  private:
    std::filesystem::path m_path;
};

}  // namespace tintara
