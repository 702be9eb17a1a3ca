// A small PDF writer for page descriptions, so that the command line prints without a GUI toolkit.
//
// Why our own writer rather than linking the tool with Qt Gui: the core and `tintara` stay free of
// any toolkit (they build and run on a headless machine with -DTINTARA_GUI=OFF), and a page of
// left-aligned text lines, one JPEG and a few rules needs nothing beyond the PDF standard fonts.
// The desktop application prints and writes PDFs through Qt (gui/PageRenderer) from the same page
// description, so both outputs carry the same lines at the same positions.
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
