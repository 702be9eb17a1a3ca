#include "cli/CliUserInterface.h"

#include <chrono>
#include <cstdlib>
#include <ostream>

#include "app/HeaderDialogs.h"
#include "app/ToleranceDialog.h"
#include "cli/PdfOutput.h"
#include "engine/Tolerances.h"

namespace tintara::cli {

namespace {

std::string Lines(std::string text) {
    for (std::size_t at = text.find("\r\n"); at != std::string::npos; at = text.find("\r\n", at))
        text.erase(at, 1);
    return text;
}

}  // namespace

void CliUserInterface::Answer(const std::string& filterDescription,
                              const std::filesystem::path& file) {
    m_answers[filterDescription] = file.empty() ? file : std::filesystem::absolute(file);
}

int16_t CliUserInterface::ShowMessage(const MessageBoxRequest& request) {
    if (request.Buttons == MessageButtons::YesNo)
        return kResultYes;
    ++MessagesShown;
    m_err << request.Title << ": " << Lines(request.Text) << "\n";
    if (!request.DetailText.empty())
        m_err << Lines(request.DetailText) << "\n";
    return kResultOk;
}

std::string CliUserInterface::ChooseFile(const FileDialogRequest& request) {
    const auto answer = m_answers.find(FilterDescription(request.Filter));
    return answer == m_answers.end() ? std::string() : answer->second.string();
}

void CliUserInterface::ShowWizardForm(WizardForm& form) {
    form.Form_Activate();
    form.OKButton_Click();
}

void CliUserInterface::ShowProfileHeader(ProfileHeaderDialog& dialog) {
    dialog.Form_Activate();
    dialog.OKButton_Click();
}

void CliUserInterface::ShowSelectGeometry(SelectGeometryDialog& dialog) {
    dialog.Form_Activate();
    if (dialog.Closed())
        return;
    GeometrySCI ? dialog.Option1_Click() : dialog.Option2_Click();
    dialog.OKButton_Click();
}

void CliUserInterface::ShowTolerances(GetTolerancesDialog& dialog) {
    dialog.Form_Activate();
    dialog.CancelButton_Click();
}

void CliUserInterface::PrintDocument(const PageDescription& document) {
    WholeDocument whole(document);
    PrintDocument(whole);
}

void CliUserInterface::PrintDocument(PagedDocument& document) {
    WriteCertificate(document, PdfFile);
    Printed = true;
}

CommandSession::CommandSession(std::ostream& err, const std::string& commandLine)
    : ui(err), commands(ws, ui, ProgramDirectory()) {
    // SOURCE_DATE_EPOCH (seconds), the reproducible-builds convention, fixes "today" on reports
    // and certificates.
    if (const char* epoch = std::getenv("SOURCE_DATE_EPOCH"); epoch && *epoch) {
        char* end = nullptr;
        const long long seconds = std::strtoll(epoch, &end, 10);
        if (end && *end == '\0') {
            commands.Clock = [seconds] {
                return std::chrono::system_clock::time_point(std::chrono::seconds(seconds));
            };
        }
    }
    commands.QuietWithoutProfilerIni = true;
    commands.FixCurrentFolder(std::filesystem::current_path());
    commands.Form_Load(commandLine);
}

void CommandSession::Run(CommandId id, bool (*done)(const CommandSession&)) {
    commands.Execute(id);
    if (!done(*this))
        throw RefusalShown();
}

void CommandSession::CompareCorrected(const std::filesystem::path& master,
                                      const std::filesystem::path& target,
                                      const std::filesystem::path& coefficientFile) {
    ui.Answer("Master Fandeck File", master);
    ui.Answer("Target Fandeck File", target);
    ui.Answer("Instrument Correlation Files", coefficientFile);
    using C = CommandId;
    Run(C::MasterInstrumentSaveSet, [](auto& s) { return s.ws.MasterSaveSetLoaded; });
    Run(C::TargetInstrumentSaveSet, [](auto& s) { return s.ws.TargetSaveSetLoaded; });
    Run(C::CorrelationFileMenu, [](auto& s) { return s.ws.CoefficientsLoaded; });
    Run(C::GenerateCSS, [](auto& s) { return s.ws.PerformanceDataReady; });
}

}  // namespace tintara::cli
