// Converting a Target fandeck with the coefficient file in use, and saving new coefficients.
#include <exception>

#include "app/ProfilerCommands.h"
#include "files/CCFReadWrite.h"
#include "workspace/Error.h"

namespace tintara {

static_assert(ProfilerCommands::kConversionDone == RWSaveSet::kCorrelationDone);
static_assert(ProfilerCommands::kRecordCountMismatch == RWSaveSet::kCorrelationRecordMismatch);
static_assert(ProfilerCommands::kInstrumentMismatch == RWSaveSet::kCorrelationInstrumentMismatch);
static_assert(ProfilerCommands::kFandeckUnreadable == RWSaveSet::kCorrelationUnreadable);

int16_t ProfilerCommands::BuildCorrelatedData() {
    // The save-set object hands CoefficientFile to its correction object first.
    const int16_t result =
        m_saveSets.ReadFandeckandBuildCorrelatedData(m_ws.TargetSaveSetFile, m_ui);
    if (result == kConversionDone && !m_saveSets.CorrelationWarning().empty()) {
        Message("WARNING", m_saveSets.CorrelationWarning());
    }
    return result;
}

std::string ProfilerCommands::ConversionProblem() const {
    return kReadProblem + std::string("\r\n\r\n") + m_saveSets.LastError();
}

ProfilerCommands::ProfileInstruments ProfilerCommands::ProfileInstrumentTypes() const {
    ProfileInstruments names;
    const ProfileCorrector& corrector = m_saveSets.Corrector();
    if (corrector.Loaded()) {
        names.Master = m_sensors.FindInstrument(corrector.Contents().Master.InstrumentID);
        names.Target = m_sensors.FindInstrument(corrector.Contents().Target.InstrumentID);
    }
    return names;
}

void ProfilerCommands::SaveCoefficients_Click() {
    Guarded([&] {
        if (!m_ws.CoefficientsCalculated) {
            Message("Warning", "Coefficients have not been calculated");
            return;
        }
        const std::string file =
            ChooseFile(FileDialogMode::Save, "Correlation Coefficient File | *.ccf");
        if (file.empty())
            return;
        // A file of another instrument pair is refused ("ERROR", "Incorrect Instruments from
        // file") and left as it was; the coefficient file in use stays the one it was then.
        m_ccf.WriteCoeficcients(file);
        m_ws.CoefficientFile = file;
        m_saveSets.SetOutputFolder(m_currentFolder);
        m_saveSets.WriteSaveSetResults();
        m_saveSets.ReadProfileCoefficients();
        m_ws.CoefficientsLoaded = true;
    });
}

}  // namespace tintara
