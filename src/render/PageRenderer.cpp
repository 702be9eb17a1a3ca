#include "render/PageRenderer.h"

#include <QBuffer>
#include <QByteArray>
#include <QCoreApplication>
#include <QFontMetricsF>
#include <QGuiApplication>
#include <QPageLayout>
#include <QPageSize>
#include <QPainter>
#include <QPdfWriter>
#include <QPen>

#include <algorithm>
#include <cstdio>
#include <map>
#include <ostream>

#include "report/ReportText.h"
#include "workspace/Error.h"
#include "workspace/Utf8Text.h"
#include "workspace/WriteFile.h"

namespace tintara::render {

namespace {

bool IsFixedPitch(const PageFont& font) {
    const QString lower = QString::fromStdString(font.Family).toLower();
    return lower.contains(QLatin1String("courier")) || lower.contains(QLatin1String("mono"));
}

// Room for a line to the paper's printable edge in the direction it runs, twips.
int32_t AvailableWidth(const PageDescription& document, const PageText& text) {
    const int32_t left = document.Paper.MarginLeft;
    const int32_t right = document.PageWidth - document.Paper.MarginRight;
    switch (text.Align) {
        case TextAlign::Right:
            return text.X - left;
        case TextAlign::Centre:
            return 2 * std::min(text.X - left, right - text.X);
        case TextAlign::Left:
            break;
    }
    return right - text.X;
}

// Pictures by file, loaded once per document: the PDF then holds one copy of a picture that
// every page shows (the watermark), not one per page.
using PictureCache = std::map<std::filesystem::path, QImage>;

void DrawPicture(const PagePicture& picture, QPainter& painter, double devicePerTwip,
                 PictureCache& pictures) {
    auto found = pictures.find(picture.File);
    if (found == pictures.end()) {
        found =
            pictures.emplace(picture.File, QImage(QString::fromStdString(picture.File.string())))
                .first;
    }
    const QImage& image = found->second;
    if (image.isNull())
        return;
    // A plain copy of the picture, as printed under the text.
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    painter.drawImage(QRectF(picture.X * devicePerTwip, picture.Y * devicePerTwip,
                             picture.Width * devicePerTwip, picture.Height * devicePerTwip),
                      image);
    painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
}

void DrawRule(const PageRule& rule, QPainter& painter, double devicePerTwip) {
    painter.setPen(QPen(Qt::black, rule.Thickness * devicePerTwip));
    painter.setBrush(Qt::NoBrush);
    const QPointF from(rule.X1 * devicePerTwip, rule.Y1 * devicePerTwip);
    const QPointF to(rule.X2 * devicePerTwip, rule.Y2 * devicePerTwip);
    if (rule.IsBox) {
        painter.drawRect(QRectF(from, to));
    } else {
        painter.drawLine(from, to);
    }
}

// A plot line through its points, in its own colour, round joins and caps.
void DrawPolyline(const PagePolyline& line, QPainter& painter, double devicePerTwip) {
    QPolygonF points;
    for (const PagePoint& p : line.Points)
        points << QPointF(p.X * devicePerTwip, p.Y * devicePerTwip);
    painter.setPen(QPen(QColor(line.Red, line.Green, line.Blue), line.Thickness * devicePerTwip,
                        Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.setBrush(Qt::NoBrush);
    painter.drawPolyline(points);
}

// A fixed-pitch line, column by column: runs of characters the face holds are drawn as they are;
// every other character gets its own cell(s) at its column, so the columns after it stay put.
void DrawFixedPitch(const std::string& text, const QPointF& origin, QPainter& painter,
                    const QFontMetricsF& metrics) {
    const double advance = metrics.horizontalAdvance(QLatin1Char('0'));
    std::size_t column = 0;
    std::size_t runColumn = 0;
    QString run;
    auto flush = [&] {
        if (!run.isEmpty())
            painter.drawText(QPointF(origin.x() + runColumn * advance, origin.y()), run);
        run.clear();
    };
    for (std::size_t at = 0; at < text.size();) {
        const Utf8Char ch = DecodeUtf8(text, at);
        at += ch.Bytes;
        const QString glyph = QString::fromUcs4(&ch.CodePoint, 1);
        const int columns = CharColumns(ch.CodePoint);
        if (columns == 0) {  // a combining mark goes with the character before it
            run += glyph;
            continue;
        }
        if (columns == 1 && metrics.inFontUcs4(ch.CodePoint)) {
            if (run.isEmpty())
                runColumn = column;
            run += glyph;
            ++column;
            continue;
        }
        flush();
        const double cell = columns * advance;
        const double natural = metrics.horizontalAdvance(glyph);
        const double x = origin.x() + column * advance;
        if (natural > cell && natural > 0) {
            painter.save();
            painter.translate(x, origin.y());
            painter.scale(cell / natural, 1.0);
            painter.drawText(QPointF(0, 0), glyph);
            painter.restore();
        } else {
            painter.drawText(QPointF(x + (cell - natural) / 2, origin.y()), glyph);
        }
        column += static_cast<std::size_t>(columns);
        runColumn = column;
    }
    flush();
}

void DrawText(const PageDescription& document, const PageText& text, QPainter& painter,
              double devicePerTwip) {
    if (text.Text.find_first_not_of(' ') == std::string::npos)
        return;
    const bool fixed = IsFixedPitch(text.Font);
    QFont font = PageQFont(text.Font);
    const QString string = QString::fromUtf8(text.Text.data(), static_cast<int>(text.Text.size()));
    auto width = [&](const QFontMetricsF& metrics) {
        return fixed ? TextColumns(text.Text) * metrics.horizontalAdvance(QLatin1Char('0'))
                     : metrics.horizontalAdvance(string);
    };
    QFontMetricsF metrics(font, painter.device());
    double natural = width(metrics);
    const double available = std::max(0, AvailableWidth(document, text)) * devicePerTwip;
    if (natural > available && natural > 0) {
        // Smaller rather than cut or over the edge.
        font.setPointSizeF(font.pointSizeF() * available / natural * 0.995);
        metrics = QFontMetricsF(font, painter.device());
        natural = width(metrics);
    }
    // A device that rounds sizes to whole pixels may still leave it too wide: condense the rest.
    const double condense = natural > available && natural > 0 ? available / natural : 1.0;
    natural *= condense;
    double x = text.X * devicePerTwip;
    if (text.Align == TextAlign::Right)
        x -= natural;
    else if (text.Align == TextAlign::Centre)
        x -= natural / 2;
    painter.save();
    painter.setFont(font);
    painter.translate(x, text.Y * devicePerTwip + metrics.ascent());
    painter.scale(condense, 1.0);
    if (fixed) {
        DrawFixedPitch(text.Text, QPointF(0, 0), painter, metrics);
    } else {
        painter.drawText(QPointF(0, 0), string);
    }
    painter.restore();
}

QPageSize PaperOf(const PageDescription& document) {
    // Within a point of A4 or Letter the named size is used, so printers and viewers know it.
    return QPageSize(QSizeF(document.PageWidth / 20.0, document.PageHeight / 20.0),
                     QPageSize::Point, QString(), QPageSize::FuzzyMatch);
}

}  // namespace

void EnsureGuiApplication() {
    if (QCoreApplication::instance())
        return;
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    // The toolkit's own notes (a missing runtime folder and the like) are not the user's business
    // on the command line; its errors still are.
    qInstallMessageHandler([](QtMsgType type, const QMessageLogContext&, const QString& message) {
        if (type == QtCriticalMsg || type == QtFatalMsg)
            std::fprintf(stderr, "%s\n", message.toLocal8Bit().constData());
    });
    static int argc = 1;
    static char name[] = "tintara";
    static char* argv[] = {name, nullptr};
    // Lives until the program ends.
    static QGuiApplication* application = new QGuiApplication(argc, argv);
    (void)application;
}

QFont PageQFont(const PageFont& font) {
    const QString family = QString::fromStdString(font.Family);
    const QString lower = family.toLower();
    QString face = family;
    QFont::StyleHint hint = QFont::AnyStyle;
    if (IsFixedPitch(font)) {
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

namespace {

void PaintPage(const PageDescription& document, const Page& page, QPainter& painter,
               double devicePerTwip, PictureCache& pictures) {
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    for (const PagePicture& picture : page.Pictures)
        DrawPicture(picture, painter, devicePerTwip, pictures);
    for (const PageRule& rule : page.Rules)
        DrawRule(rule, painter, devicePerTwip);
    for (const PagePolyline& line : page.Polylines)
        DrawPolyline(line, painter, devicePerTwip);
    painter.setPen(Qt::black);
    for (const PageText& text : page.Texts)
        DrawText(document, text, painter, devicePerTwip);
    painter.restore();
}

}  // namespace

void RenderPage(const PageDescription& document, const Page& page, QPainter& painter,
                double devicePerTwip) {
    PictureCache pictures;
    PaintPage(document, page, painter, devicePerTwip, pictures);
}

void RenderDocument(PagedDocument& document, QPagedPaintDevice& device) {
    QPainter painter;
    if (!painter.begin(&device))
        throw Error("The page could not be started on the output device.");
    const double devicePerTwip = device.logicalDpiX() / static_cast<double>(kTwipsPerInch);
    const PageDescription& outline = document.Outline();
    PictureCache pictures;
    bool first = true;
    document.Produce([&](Page& page) {
        if (!first)
            device.newPage();
        first = false;
        PaintPage(outline, page, painter, devicePerTwip, pictures);
    });
    if (!painter.end())
        throw Error("The printed page could not be finished.");
}

void RenderDocument(const PageDescription& document, QPagedPaintDevice& device) {
    WholeDocument whole(document);
    RenderDocument(whole, device);
}

QImage RenderPageImage(const PageDescription& document, std::size_t pageIndex, double dpi) {
    const double devicePerTwip = dpi / kTwipsPerInch;
    QImage image(static_cast<int>(document.PageWidth * devicePerTwip + 0.5),
                 static_cast<int>(document.PageHeight * devicePerTwip + 0.5), QImage::Format_RGB32);
    const int dotsPerMetre = static_cast<int>(dpi / 0.0254 + 0.5);
    image.setDotsPerMeterX(dotsPerMetre);
    image.setDotsPerMeterY(dotsPerMetre);
    image.fill(Qt::white);
    if (pageIndex < document.Pages.size()) {
        QPainter painter(&image);
        RenderPage(document, document.Pages[pageIndex], painter, devicePerTwip);
    }
    return image;
}

namespace {

// A QIODevice over a std::ostream, so that the PDF writer writes straight into the file being
// replaced instead of a buffer of the whole document.
class OstreamDevice : public QIODevice {
  public:
    explicit OstreamDevice(std::ostream& out) : m_out(out) { open(QIODevice::WriteOnly); }

  protected:
    qint64 readData(char*, qint64) override { return -1; }
    qint64 writeData(const char* data, qint64 size) override {
        m_out.write(data, static_cast<std::streamsize>(size));
        return m_out ? size : -1;
    }

  private:
    std::ostream& m_out;
};

void WritePdfTo(PagedDocument& document, QIODevice& device) {
    QPdfWriter writer(&device);
    writer.setResolution(1200);
    writer.setCreator(QStringLiteral("Tintara Profiler"));
    writer.setTitle(QStringLiteral("Certificate of Instrument Performance"));
    writer.setPageLayout(
        QPageLayout(PaperOf(document.Outline()), QPageLayout::Portrait, QMarginsF()));
    RenderDocument(document, writer);
}

}  // namespace

std::string PdfBytes(const PageDescription& document) {
    QByteArray bytes;
    {
        QBuffer buffer(&bytes);
        buffer.open(QIODevice::WriteOnly);
        WholeDocument whole(document);
        WritePdfTo(whole, buffer);
    }
    return std::string(bytes.constData(), static_cast<std::size_t>(bytes.size()));
}

void WritePdf(PagedDocument& document, const std::filesystem::path& file) {
    // Drawn into a temporary file beside the target, renamed over it once complete, so a failure
    // leaves an earlier file; the pages go out as they are drawn.
    WriteFileAtomically(file, [&](std::ostream& out) {
        OstreamDevice device(out);
        WritePdfTo(document, device);
    });
}

void WritePdf(const PageDescription& document, const std::filesystem::path& file) {
    WholeDocument whole(document);
    WritePdf(whole, file);
}

}  // namespace tintara::render
