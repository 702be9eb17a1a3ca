// Certificates from the command line: the paper asked for, and the one page renderer.
#pragma once

#include <filesystem>

#include "cli/Args.h"
#include "report/PageDescription.h"

namespace tintara::cli {

// The paper of --paper a4|letter, else of the user's locale (LC_PAPER). Throws UsageError for
// another name.
PageSetup PaperOption(const Args& args);

// Whether this tintara can draw certificates (it was built with the Qt page renderer).
bool CanDrawCertificates();

// Draws `page` into the PDF `file`, replacing an earlier one only once the new one is complete.
// Without a display the renderer runs on Qt's offscreen platform. A tintara built without Qt
// (TINTARA_GUI=OFF) has no renderer: it throws Error saying so.
void WriteCertificate(const PageDescription& page, const std::filesystem::path& file);
// The same for a document made page by page: pages go into the file as they are drawn.
void WriteCertificate(PagedDocument& document, const std::filesystem::path& file);

}  // namespace tintara::cli
