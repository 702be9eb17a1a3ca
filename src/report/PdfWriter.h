// A small PDF writer for page descriptions, so that the command line prints without a GUI toolkit.
#pragma once

#include <filesystem>
#include <iosfwd>
#include <string>

#include "report/PageDescription.h"

namespace tintara {

// Writes `document` as a PDF 1.4 file. Text is set in the PDF standard fonts, which every viewer
// has and which need no embedding: "Times New Roman" -> Times, "Courier New" -> Courier, "Arial"
// and anything else -> Helvetica, with their bold and italic faces; UTF-8 text is re-encoded to
// WinAnsi (characters outside it print as '?'). JPEG pictures are embedded as they are (DCT);
// a picture that cannot be read is left out. The baseline of a line sits at its Y plus the
// face's ascent, as in the Qt renderer.
void WritePdf(const PageDescription& document, std::ostream& out);

// The same into `file`, replacing an earlier one only once the new file is complete. Throws
// IoError.
void WritePdf(const PageDescription& document, const std::filesystem::path& file);

// WinAnsi (code page 1252) bytes of a UTF-8 text; '?' for anything it cannot hold.
std::string Utf8ToWinAnsi(const std::string& utf8);

}  // namespace tintara
