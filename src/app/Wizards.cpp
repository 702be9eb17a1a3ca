// The three wizards: guided sequences of the menu commands, one explanatory step before each.
#include "app/FandeckCompare.h"
#include "app/HeaderDialogs.h"
#include "app/ProfilerCommands.h"
#include "workspace/Error.h"
#include "workspace/StatusCode.h"
#include "workspace/StatusText.h"

namespace tintara {

namespace {

constexpr const char* kProfileIntro =
    "You have selected the Profile Wizard.  This Wizard will guide you through the process of "
    "profiling a Target spectrophotometer to a Master spectrophotometer.  To proceed, you will "
    "need to have already measured the set of 32 ceramic tiles in Tintara and saved the data into "
    "a save-set (WSV file) for both the Master and the Target instruments.   You also need to know "
    "the path or location on your computer for these 2 WSV files.";

constexpr const char* kProfileMaster =
    "The next step is to select the Save Set (WSV file) that contains the data on the tile set "
    "from the MASTER INSTRUMENT. The Master instrument is the spectrophotometer that will be used "
    "as the reference instrument and all other spectrophotometers will be profiled to read like "
    "the Master.   In the next window, browse to the location on your computer and select this "
    "Save Set.";

constexpr const char* kProfileTarget =
    "The next step is to select the Save Set (WSV file) that contains the data on the tile set "
    "from the TARGET  INSTRUMENT.  The Target instrument is the spectrophotometer that you want to "
    "profile to make it read like the Master.  In the next window, browse to the location on your "
    "computer and select this Save Set.";

constexpr const char* kProfileSave =
    "The profile coefficients have been calculated! The results are displayed in the window.  The "
    "next step is to Save the profile coefficients in a file to be used and applied in Tintara.  "
    "You will need to choose a name for this Instrument Profile and a location or folder on your "
    "computer to save it.  We recommend that you include the name and possibly S/N of the Master "
    "and Target instruments as part of the name.";

constexpr const char* kProfilePrint =
    "The final step in this Wizard is to print the Certificate of Instrument Performance.  Print "
    "as many copies as you need by selecting the number of copies in the Print dialog box.  If you "
    "do not want to print the results, click on Cancel.";

constexpr const char* kLegacyIntro =
    "You have selected the Legacy Data Wizard.  This Wizard will guide you through the process of "
    "applying an instrument profile to a database of Legacy Data to convert it to a new Master "
    "instrument.    To proceed you will need the legacy data in the form of a save-set (WSV file) "
    "from the Target instrument; and the Instrument Profile or CCF file that corrects the Target "
    "instrument to match the Master instrument.   You also need to know the path or location on "
    "your computer for these 2 files.";

constexpr const char* kLegacyTarget =
    "The first step is to select the Save Set that contains the Legacy Data from the Target "
    "instrument in Tintara WSV format.  This is the data file that will be converted.";

constexpr const char* kLegacyCoefficients =
    "The next step is to select the Instrument Profile or CCF file that contains the correction "
    "coefficients for the Target instrument to match the Master instrument.  Please be sure that "
    "the instrument profile for the Target instrument matches the data for the legacy data "
    "conversion.  It will be corrected to match whatever is designated as the Master instrument "
    "in the Profile or CCF file.";

constexpr const char* kLegacySave =
    "The File has been converted.  The next step is to Save the converted file and name it "
    "appropriately. ";

constexpr const char* kEnterMasterTitle = "Profile Wizard - Enter Master Instrument Data";
constexpr const char* kEnterTargetTitle = "Profile Wizard - Enter Target Instrument Data";

}  // namespace

void ProfilerCommands::WizardProfile_Click() {
    m_ws.WizardRunning = true;
    m_ws.WizardProceed = true;
    const auto end = [&] { m_ws.WizardRunning = false; };

    if (!RunWizardStep(m_ws, m_ui, "Profile Wizard", kProfileIntro))
        return end();

    if (!RunWizardStep(m_ws, m_ui, kEnterMasterTitle, kProfileMaster))
        return end();
    MasterInstrumentTileSet_Click();
    // A Master without UV stops the wizard where it stands: WizardRunning stays set, as it
    // always has after this stop.
    if (UvNotIncluded(m_ws.MasterInstrumentID, m_ws.MasterStatus))
        return;
    if (!m_ws.MasterTileSetLoaded)
        return end();

    if (!RunWizardStep(m_ws, m_ui, kEnterTargetTitle, kProfileTarget))
        return end();
    TargetInstrumentTileSet_Click();
    if (!m_ws.TargetTileSetLoaded)
        return end();

    GenerateCCF_Click();
    if (m_ws.ProfileStatusError)
        return end();

    if (!RunWizardStep(m_ws, m_ui, "Profile Wizard - Save Coefficients", kProfileSave)) {
        return end();
    }
    if (!m_ws.CoefficientsGenerated) {
        SaveCoefficients_Click();
        // A refused or cancelled save ends the wizard: nothing was profiled into a file.
        if (!m_coefficientsSaved)
            return end();
    }

    // Cancel here only skips printing; the wizard still succeeds.
    if (RunWizardStep(m_ws, m_ui, "Profile Wizard - Print Certificate", kProfilePrint)) {
        ToPrinter_Click();
    }

    m_ws.LastResult =
        Message("SUCCESS", "The Profile Wizard was successfully completed!", MessageIcon::None);
    end();
}

void ProfilerCommands::WizardLegacy_Click() {
    m_ws.WizardRunning = true;
    m_ws.WizardProceed = true;
    const auto end = [&] { m_ws.WizardRunning = false; };

    if (!RunWizardStep(m_ws, m_ui, "Legacy Wizard", kLegacyIntro))
        return end();

    if (!RunWizardStep(m_ws, m_ui, kEnterTargetTitle, kLegacyTarget))
        return end();
    m_ws.WizardRunning = false;
    TargetInstrumentSaveSet_Click();
    m_ws.WizardRunning = true;
    if (!m_ws.TargetSaveSetLoaded)
        return end();

    if (!RunWizardStep(m_ws, m_ui, "Profile Wizard - Enter Coefficients File",
                       kLegacyCoefficients)) {
        return end();
    }
    CorrelationFileMenu_Click();
    // Without a coefficient file there is nothing converted, and nothing to save.
    m_conversionFailed = true;
    if (m_ws.CoefficientsLoaded)
        GenerateConvData_Click();

    if (!m_conversionFailed) {
        if (RunWizardStep(m_ws, m_ui, "Profile Wizard - Save Data", kLegacySave)) {
            SaveCorrelatedFandeck_Click();
        }
    }
    end();
}

void ProfilerCommands::WizardPerformance_Click() {
    m_ws.WizardRunning = true;
    m_ws.WizardProceed = true;
    const auto end = [&] { m_ws.WizardRunning = false; };

    if (!RunWizardStep(m_ws, m_ui, "Performance Wizard",
                       "You have selected the Performance Wizard.")) {
        return end();
    }

    if (!RunWizardStep(m_ws, m_ui, kEnterMasterTitle,
                       "The first step is to select the Save Set that contains the MASTER Data")) {
        return end();
    }
    m_ws.WizardRunning = false;
    MasterInstrumentSaveSet_Click();
    if (!m_ws.MasterSaveSetLoaded)
        return end();
    m_ws.WizardRunning = true;
    Guarded([&] {
        if (!m_saveSets.ReadMasterFandeck())
            throw IoError(m_saveSets.LastError());
        m_saveSets.GetLastModifiedDate(m_ws.MasterSaveSetFile, true);
    });

    if (!RunWizardStep(m_ws, m_ui, "Profile Wizard - Enter Target Data",
                       "The nest step is to select the Save Set that contains the TARGET Data")) {
        return end();
    }
    TargetInstrumentSaveSet_Click();
    bool targetRead = false;
    if (m_ws.TargetSaveSetLoaded) {
        Guarded([&] {
            if (!m_saveSets.ReadTargetFandeck())
                throw IoError(m_saveSets.LastError());
            m_saveSets.GetLastModifiedDate(m_ws.TargetSaveSetFile, false);
            targetRead = true;
        });
    }

    // Both fandecks read, record for record.
    const int32_t masterRecords = m_ws.MasterFandeck.RecordCount;
    const int32_t targetRecords = m_ws.TargetFandeck.RecordCount;
    if (targetRead && masterRecords > 0 && masterRecords == targetRecords) {
        Guarded([&] {
            CompareFandecks(m_ws, m_utility);
            m_paint.Window = m_ui.WindowArea();
            m_paint.BuildEmptyPerformanceGrid(m_ws.SampleCount + 2);
            m_ws.PerformanceDataReady = true;
            ShowPerformanceView(StatusCode(m_ws.MasterFandeck.Status).Sci());
            // So that the comparison can be printed straight away.
            UpdateCommandState(m_ws, m_menu);
        });
    } else {
        m_ws.LastResult = Message("Error", "Record count does not match ", MessageIcon::None);
    }
    end();
}

}  // namespace tintara
