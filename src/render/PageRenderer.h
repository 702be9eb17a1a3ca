// The one renderer of printed pages: draws page descriptions with QPainter for the screen, the
// printer and PDF files, in the desktop application and the command-line tool alike.
#pragma once

#include <QFont>
#include <QImage>

#include <filesystem>
#include <string>

#include "report/PageDescription.h"

class QPainter;
class QPagedPaintDevice;

namespace tintara::render {

// Makes sure a QGuiApplication exists, as fonts and painting need one. A program without a window
// (the command-line tool) gets one on the "offscreen" platform unless QT_QPA_PLATFORM names
// another, so it runs without a display. Call on the main thread; later calls do nothing.
void EnsureGuiApplication();

// The installed face for a page font: the metric-compatible Liberation faces stand in for
// "Times New Roman" (Liberation Serif), "Courier New" (Liberation Mono) and "Arial" (Liberation
// Sans), so the printed columns fall where the layout put them. Other families are asked for by
// name with a matching style hint. Characters the face lacks (CJK) come from the system's
// fallback faces (DejaVu, Droid Sans Fallback).
QFont PageQFont(const PageFont& font);

// Paints one page. `devicePerTwip` converts twips to the painter's device units (a device's
// logical dpi / 1440); the painter's origin is the paper's top-left corner. The paper's printable
// area is `document.Paper`. Guarantees:
//  - a line never runs past the right margin: one that would is set in a smaller size;
//  - lines in "Courier New" keep their columns whatever the characters: a character the fixed
//    face lacks is drawn from a fallback face into its own cell (two for a wide character),
//    squeezed to the cell's width when it is wider;
//  - pictures that cannot be loaded are skipped (the page builders report them).
// Each primitive is drawn by one routine, pictures first, then rules, then polylines, then text.
void RenderPage(const PageDescription& document, const Page& page, QPainter& painter,
                double devicePerTwip);

// Paints every page of `document` on `device` (a QPdfWriter, or a QPrinter set to full page),
// starting a new device page between pages. Throws tintara::Error when painting cannot start.
void RenderDocument(const PageDescription& document, QPagedPaintDevice& device);
// The same for a document made page by page: each page is drawn as it is produced, then dropped.
void RenderDocument(PagedDocument& document, QPagedPaintDevice& device);

// One page as a white picture at `dpi`, for previews and tests.
QImage RenderPageImage(const PageDescription& document, std::size_t pageIndex, double dpi);

// The document as PDF bytes, 1200 dpi, on the document's own paper, every font embedded.
std::string PdfBytes(const PageDescription& document);

// Writes PdfBytes to `file` through the project's one file-writing routine (a temporary file
// beside the target, renamed over it once complete). Throws tintara::IoError naming the file.
void WritePdf(const PageDescription& document, const std::filesystem::path& file);
// The same for a document made page by page, written into the file as the pages are drawn.
void WritePdf(PagedDocument& document, const std::filesystem::path& file);

}  // namespace tintara::render
