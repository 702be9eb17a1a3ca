// Draws page descriptions with Qt: on a printer, into a PDF file, or onto any QPainter.
#pragma once

#include <QFont>
#include <QString>

#include "report/PageDescription.h"

class QPainter;
class QPagedPaintDevice;
class QPrinter;

namespace tintara::gui {

// The installed face for a page font: the metric-compatible Liberation faces stand in for
// "Times New Roman" (Liberation Serif), "Courier New" (Liberation Mono) and "Arial" (Liberation
// Sans), so the printed columns fall where the layout put them. Other families are asked for by
// name with a matching style hint.
QFont PageQFont(const PageFont& font);

// Paints one page. `devicePerTwip` converts twips to the painter's device units (a device's
// logical dpi / 1440); the painter's origin is the paper's top-left corner. Pictures that cannot
// be loaded are skipped.
void RenderPage(const Page& page, QPainter& painter, double devicePerTwip);

// Paints every page of `document` on `device` (a QPdfWriter or a QPrinter set to full page),
// starting a new device page between pages. Throws tintara::Error when painting cannot start.
void RenderDocument(const PageDescription& document, QPagedPaintDevice& device);

// Sends the document to a printer chosen in the print dialog (full-page coordinates).
void PrintDocument(const PageDescription& document, QPrinter& printer);

// Writes the document as a PDF at 1200 dpi on its own paper size, replacing `file` only once the
// new PDF is complete. Throws tintara::IoError.
void WritePdf(const PageDescription& document, const QString& file);

}  // namespace tintara::gui
