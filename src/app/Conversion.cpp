// Converting a Target fandeck with the coefficient file in use.
#include <exception>

#include "app/ProfilerCommands.h"
#include "files/CCFReadWrite.h"
#include "workspace/Error.h"

namespace tintara {

int16_t ProfilerCommands::BuildCorrelatedData() {
    // Unfinished: waits for the fandeck conversion of the save-set object.
    throw Error("Fandeck conversion is not available in this build");
}

std::string ProfilerCommands::ConversionProblem() const {
    return m_saveSets.LastError();
}

ProfilerCommands::ProfileInstruments ProfilerCommands::ProfileInstrumentTypes() const {
    ProfileInstruments names;
    try {
        const CoefficientFileContents contents =
            ParseCoefficientFile(std::filesystem::path(m_ws.CoefficientFile));
        names.Master = m_sensors.FindInstrument(contents.Master.InstrumentID);
        names.Target = m_sensors.FindInstrument(contents.Target.InstrumentID);
    } catch (const std::exception&) {
        // The message then names the fandeck's instrument only.
    }
    return names;
}

void ProfilerCommands::SaveCoefficients_Click() {
    // Unfinished: waits for the correction object's ReadProfileCoefficients.
    Guarded([&] { throw Error("Saving coefficients is not available in this build"); });
}

void ProfilerCommands::SetTolerances_Click() {
    // Unfinished: waits for the tolerance dialog model.
    Guarded([&] { throw Error("The tolerance dialog is not available in this build"); });
}

void ProfilerCommands::LoadToleranceDefaults() {}

}  // namespace tintara
