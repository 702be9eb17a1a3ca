#include "cli/PdfOutput.h"

#include "report/Paper.h"
#include "workspace/Error.h"

#if TINTARA_HAS_RENDERER
#include "render/PageRenderer.h"
#endif

namespace tintara::cli {

PageSetup PaperOption(const Args& args) {
    if (!args.Has("--paper"))
        return LocalePaper();
    const auto paper = PaperByName(args.Value("--paper"));
    if (!paper)
        throw UsageError("--paper must be a4 or letter, not '" + args.Value("--paper") + "'");
    return *paper;
}

bool CanDrawCertificates() {
#if TINTARA_HAS_RENDERER
    return true;
#else
    return false;
#endif
}

void WriteCertificate(const PageDescription& page, const std::filesystem::path& file) {
    WholeDocument whole(page);
    WriteCertificate(whole, file);
}

void WriteCertificate(PagedDocument& document, const std::filesystem::path& file) {
#if TINTARA_HAS_RENDERER
    render::EnsureGuiApplication();
    render::WritePdf(document, file);
#else
    (void)document;
    throw Error("Cannot write " + file.string() +
                ": this tintara was built without Qt (TINTARA_GUI=OFF) and cannot draw "
                "certificates");
#endif
}

}  // namespace tintara::cli
