// Converting a Target fandeck with the coefficient file in use.
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

ProfilerCommands::ProfileInstruments ProfilerCommands::ProfileInstrumentTypes() const {
    ProfileInstruments names;
    const ProfileCorrector& corrector = m_saveSets.Corrector();
    if (corrector.Loaded()) {
        names.Master = m_sensors.FindInstrument(corrector.Contents().Master.InstrumentID);
        names.Target = m_sensors.FindInstrument(corrector.Contents().Target.InstrumentID);
    }
    return names;
}

}  // namespace tintara
