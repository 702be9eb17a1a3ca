// Converting a Target fandeck with the coefficient file in use, and saving new coefficients.
#include <exception>

#include "app/FileChecks.h"
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

std::string ProfilerCommands::MergeQuestion(const std::string& file) const {
    std::error_code error;
    if (!std::filesystem::exists(file, error))
        return "";
    CoefficientFileContents old;
    try {
        old = ParseCoefficientFile(std::filesystem::path(file));
    } catch (const std::exception&) {
        return "";  // the writer refuses it with the reason
    }
    if (old.Master.InstrumentID != m_ws.MasterInstrumentID ||
        old.Target.InstrumentID != m_ws.TargetInstrumentID) {
        return "";  // refused by the writer: another instrument pair
    }
    const bool sci = m_ws.GeometryChoice;
    const std::string mine = sci ? "SCI" : "SCE", other = sci ? "SCE" : "SCI";
    const bool minePresent = sci ? old.SCIPresent : old.SCEPresent;
    const bool otherPresent = sci ? old.SCEPresent : old.SCIPresent;
    const std::string title = FileTitle(file);
    std::string text;
    if (minePresent) {
        text = title + " already holds " + mine +
               " coefficients for these instruments. They will "
               "be replaced by the " +
               mine + " coefficients calculated now";
        text += otherPresent ? "; its " + other + " coefficients stay as they are." : ".";
    } else if (otherPresent) {
        text = title + " holds " + other + " coefficients for these instruments. The " + mine +
               " coefficients calculated now will be added beside them; the " + other +
               " coefficients stay as they are.";
    } else {
        text = title + " holds no coefficients yet. The " + mine +
               " coefficients calculated now will be written into it.";
    }
    return text + "\r\n\r\nSave the coefficients into this file?";
}

void ProfilerCommands::SaveCoefficients_Click() {
    m_coefficientsSaved = false;
    Guarded([&] {
        if (!m_ws.CoefficientsCalculated) {
            Message("Warning", "Coefficients have not been calculated");
            return;
        }
        FileDialogRequest request{FileDialogMode::Save, "Correlation Coefficient File | *.ccf", ""};
        request.CommandAsksBeforeOverwrite = true;
        const std::string file = ChooseFile(request);
        if (file.empty())
            return;
        // An existing file of the same instruments is merged into, not replaced: say how.
        if (const std::string question = MergeQuestion(file); !question.empty()) {
            const int16_t answer = m_ui.ShowMessage(
                MessageBoxRequest{"Correlated Coefficient File", question, MessageIcon::Question,
                                  MessageButtons::YesNo, ""});
            if (answer != kResultYes)
                return;
        }
        // A file of another instrument pair is refused ("ERROR", "Incorrect Instruments from
        // file") and left as it was; the coefficient file in use stays the one it was then.
        m_ccf.WriteCoeficcients(file);
        m_ws.CoefficientFile = file;
        m_saveSets.SetOutputFolder(m_currentFolder);
        m_saveSets.WriteSaveSetResults();
        m_saveSets.ReadProfileCoefficients();
        m_ws.CoefficientsLoaded = true;
        m_coefficientsSaved = true;
        SetStatus(StatusBarId::FileStatusBar, 3, "Coefficients File is " + FileTitle(file));
    });
}

}  // namespace tintara
