#include "gui/PageRenderer.h"

#include <QBuffer>
#include <QFontMetricsF>
#include <QImage>
#include <QPageLayout>
#include <QPageSize>
#include <QPainter>
#include <QPdfWriter>
#include <QPen>
#include <QPolygonF>
#include <QPrinter>

#include "workspace/Error.h"
#include "workspace/WriteFile.h"

namespace tintara::gui {

QFont PageQFont(const PageFont& font) {
    const QString family = QString::fromStdString(font.Family);
    const QString lower = family.toLower();
    QString face = family;
    QFont::StyleHint hint = QFont::AnyStyle;
    if (lower.contains(QLatin1String("courier")) || lower.contains(QLatin1String("mono"))) {
        face = QStringLiteral("Liberation Mono");
        hint = QFont::Monospace;
    } else if (lower.contains(QLatin1String("times"))) {
        face = QStringLiteral("Liberation Serif");
        hint = QFont::Serif;
    } else if (lower == QLatin1String("arial") || lower.contains(QLatin1String("helvetica"))) {
        face = QStringLiteral("Liberation Sans");
        hint = QFont::SansSerif;
    }
    QFont qfont(face);
    qfont.setStyleHint(hint);
    qfont.setPointSizeF(font.Size);
    qfont.setBold(font.Bold);
    qfont.setItalic(font.Italic);
    // Fixed columns need exact advances, not ones rounded to whole device pixels.
    qfont.setHintingPreference(QFont::PreferNoHinting);
    qfont.setKerning(false);
    return qfont;
}

void RenderPage(const Page& page, QPainter& painter, double devicePerTwip) {
    auto rect = [devicePerTwip](int32_t x, int32_t y, int32_t w, int32_t h) {
        return QRectF(x * devicePerTwip, y * devicePerTwip, w * devicePerTwip, h * devicePerTwip);
    };
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    for (const PagePicture& picture : page.Pictures) {
        const QImage image(QString::fromStdString(picture.File.string()));
        if (image.isNull())
            continue;
        // A plain copy of the picture, as printed under the text.
        painter.setCompositionMode(QPainter::CompositionMode_Source);
        painter.drawImage(rect(picture.X, picture.Y, picture.Width, picture.Height), image);
        painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
    }
    for (const PageRule& rule : page.Rules) {
        painter.setPen(QPen(Qt::black, rule.Thickness * devicePerTwip));
        painter.setBrush(Qt::NoBrush);
        if (rule.IsBox) {
            painter.drawRect(rect(rule.X1, rule.Y1, rule.X2 - rule.X1, rule.Y2 - rule.Y1));
        } else {
            painter.drawLine(QPointF(rule.X1 * devicePerTwip, rule.Y1 * devicePerTwip),
                             QPointF(rule.X2 * devicePerTwip, rule.Y2 * devicePerTwip));
        }
    }
    for (const PagePolyline& line : page.Polylines) {
        QPolygonF points;
        for (const PagePoint& p : line.Points)
            points << QPointF(p.X * devicePerTwip, p.Y * devicePerTwip);
        painter.setPen(QPen(QColor(line.Red, line.Green, line.Blue), line.Thickness * devicePerTwip,
                            Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        painter.drawPolyline(points);
    }
    painter.setPen(Qt::black);
    for (const PageText& text : page.Texts) {
        if (text.Text.find_first_not_of(' ') == std::string::npos)
            continue;
        const QFont font = PageQFont(text.Font);
        painter.setFont(font);
        const QFontMetricsF metrics(painter.font(), painter.device());
        painter.drawText(QPointF(text.X * devicePerTwip, text.Y * devicePerTwip + metrics.ascent()),
                         QString::fromStdString(text.Text));
    }
    painter.restore();
}

void RenderDocument(const PageDescription& document, QPagedPaintDevice& device) {
    QPainter painter;
    if (!painter.begin(&device))
        throw Error("The page could not be started on the output device.");
    const double devicePerTwip = device.logicalDpiX() / static_cast<double>(kTwipsPerInch);
    bool first = true;
    for (const Page& page : document.Pages) {
        if (!first)
            device.newPage();
        first = false;
        RenderPage(page, painter, devicePerTwip);
    }
    if (!painter.end())
        throw Error("The printed page could not be finished.");
}

namespace {
QPageSize PaperOf(const PageDescription& document) {
    return QPageSize(QSizeF(document.PageWidth / 20.0, document.PageHeight / 20.0),
                     QPageSize::Point, QString(), QPageSize::ExactMatch);
}
}  // namespace

void PrintDocument(const PageDescription& document, QPrinter& printer) {
    printer.setFullPage(true);
    RenderDocument(document, printer);
}

void WritePdf(const PageDescription& document, const QString& file) {
    // Rendered in memory, then written through the routine every file goes through.
    QByteArray bytes;
    QBuffer out(&bytes);
    out.open(QIODevice::WriteOnly);
    {
        QPdfWriter writer(&out);
        writer.setResolution(1200);
        writer.setCreator(QStringLiteral("Tintara Profiler"));
        writer.setPageLayout(QPageLayout(PaperOf(document), QPageLayout::Portrait, QMarginsF()));
        RenderDocument(document, writer);
    }
    out.close();
    WriteFileAtomically(
        file.toStdString(),
        std::string_view(bytes.constData(), static_cast<std::size_t>(bytes.size())));
}

}  // namespace tintara::gui
