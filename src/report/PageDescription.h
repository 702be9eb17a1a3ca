// A printed document as data: pages of text runs, pictures and rules, positioned in twips.
#pragma once

#include <cmath>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace tintara {

// Twips per inch and per point.
inline constexpr int32_t kTwipsPerInch = 1440;
inline constexpr int32_t kTwipsPerPoint = 20;

// A font as the page asks for it. Family names are the classic printer faces ("Times New Roman",
// "Courier New", "Arial"); renderers map them to metric-compatible faces they have. Size in points.
struct PageFont {
    std::string Family = "Times New Roman";
    double Size = 12.0;
    bool Bold = false;
    bool Italic = false;
    bool operator==(const PageFont&) const = default;
};

// Where X of a text line is: its left end, its right end or its middle.
enum class TextAlign { Left, Right, Centre };

// One printed line of text. X, Y are the top of the line box in twips from the paper's top-left
// corner (X as Align says); renderers put the baseline at Y + the font's ascent. Text is UTF-8.
struct PageText {
    int32_t X = 0;
    int32_t Y = 0;
    PageFont Font;
    std::string Text;
    TextAlign Align = TextAlign::Left;
};

// A picture file drawn opaquely (plain source copy) into the given box, twips.
struct PagePicture {
    std::filesystem::path File;
    int32_t X = 0;
    int32_t Y = 0;
    int32_t Width = 0;
    int32_t Height = 0;
};

// A straight line, or a rectangle outline when IsBox is set (X2, Y2 the opposite corner), twips.
struct PageRule {
    int32_t X1 = 0;
    int32_t Y1 = 0;
    int32_t X2 = 0;
    int32_t Y2 = 0;
    int32_t Thickness = kTwipsPerPoint / 2;
    bool IsBox = false;
};

// A point on the page, twips from the paper's top-left corner.
struct PagePoint {
    int32_t X = 0;
    int32_t Y = 0;
    bool operator==(const PagePoint&) const = default;
};

// An open line through its points in a colour (8-bit sRGB), for plots; round joins and caps.
struct PagePolyline {
    std::vector<PagePoint> Points;
    int32_t Thickness = kTwipsPerPoint;
    uint8_t Red = 0;
    uint8_t Green = 0;
    uint8_t Blue = 0;
};

// One page; renderers paint pictures first, then rules, then polylines, then text, each in list
// order.
struct Page {
    std::vector<PagePicture> Pictures;
    std::vector<PageRule> Rules;
    std::vector<PagePolyline> Polylines;
    std::vector<PageText> Texts;
};

// The paper and the margins that keep everything inside what a printer can reach, twips.
struct PageSetup {
    int32_t Width = 17 * kTwipsPerInch / 2;  // US Letter, 8.5 x 11 in
    int32_t Height = 11 * kTwipsPerInch;
    int32_t MarginLeft = kTwipsPerInch / 2;
    int32_t MarginTop = kTwipsPerInch / 2;
    int32_t MarginRight = kTwipsPerInch / 2;
    int32_t MarginBottom = kTwipsPerInch / 2;

    static PageSetup Letter() { return PageSetup{}; }
    // ISO 216 A4, 210 x 297 mm.
    static PageSetup A4() {
        PageSetup a4;
        a4.Width = 11906;
        a4.Height = 16838;
        return a4;
    }
    int32_t PrintableWidth() const { return Width - MarginLeft - MarginRight; }
    int32_t PrintableBottom() const { return Height - MarginBottom; }
    bool operator==(const PageSetup&) const = default;
};

// A whole document on one paper size.
struct PageDescription {
    PageDescription() = default;
    explicit PageDescription(const PageSetup& paper)
        : PageWidth(paper.Width), PageHeight(paper.Height), Paper(paper) {}

    int32_t PageWidth = 17 * kTwipsPerInch / 2;
    int32_t PageHeight = 11 * kTwipsPerInch;
    // The paper and margins the builder laid the pages out for; renderers keep every line inside
    // its printable area.
    PageSetup Paper;
    std::vector<Page> Pages;
    // Things the builder could not do (a missing picture); the page is still complete otherwise.
    std::vector<std::string> Warnings;

    // The texts of every line, in print order over all pages.
    std::vector<std::string> TextLines() const {
        std::vector<std::string> lines;
        for (const auto& page : Pages) {
            for (const auto& t : page.Texts)
                lines.push_back(t.Text);
        }
        return lines;
    }
};

// Receives the pages of a document one at a time, in print order, each complete; it may move
// from the page it is given.
using PageSink = std::function<void(Page& page)>;

// A document produced page by page, so that a certificate of twenty thousand pages is drawn
// without being held: Outline() gives the paper and the warnings (no pages), Produce() hands
// every page to the sink in order and keeps none. Produce may be called more than once and gives
// the same pages each time.
class PagedDocument {
  public:
    virtual ~PagedDocument() = default;
    virtual const PageDescription& Outline() const = 0;
    virtual void Produce(const PageSink& sink) = 0;
};

// A document already held whole, as a paged one.
class WholeDocument : public PagedDocument {
  public:
    explicit WholeDocument(const PageDescription& document) : m_document(document) {
        m_outline.PageWidth = document.PageWidth;
        m_outline.PageHeight = document.PageHeight;
        m_outline.Paper = document.Paper;
        m_outline.Warnings = document.Warnings;
    }
    const PageDescription& Outline() const override { return m_outline; }
    void Produce(const PageSink& sink) override {
        for (const Page& page : m_document.Pages) {
            Page copy = page;
            sink(copy);
        }
    }

  private:
    const PageDescription& m_document;
    PageDescription m_outline;
};

// Every page of a paged document, gathered into one description (for tests and small documents).
inline PageDescription CollectPages(PagedDocument& document) {
    PageDescription whole = document.Outline();
    whole.Pages.clear();
    document.Produce([&](Page& page) { whole.Pages.push_back(std::move(page)); });
    return whole;
}

// Height of one printed line of a font, twips: the font size plus the usual 15 % leading.
inline int32_t LineHeight(const PageFont& font) {
    return static_cast<int32_t>(std::lround(font.Size * kTwipsPerPoint * 1.15));
}

// Width in twips of `columns` columns of a fixed-pitch face at `size` points: the Courier faces
// advance 0.6 em per character (Liberation Mono, metric-compatible with Courier New: 1229/2048).
inline int32_t FixedPitchWidth(std::size_t columns, double size) {
    return static_cast<int32_t>(std::ceil(columns * size * kTwipsPerPoint * 1229.0 / 2048.0));
}

// The largest size up to `size` at which `columns` fixed-pitch columns fit in `width` twips, in
// steps of a quarter point so that lines set at the same size stay on one grid.
inline double FitFixedPitch(double size, std::size_t columns, int32_t width) {
    while (size > 4.0 && FixedPitchWidth(columns, size) > width)
        size -= 0.25;
    return size;
}

// The printer's print position: each Print puts one line at the current position, then moves to
// the start of the next line in the current font's line height. A line that would cross the
// bottom of the printable area (less the footer kept free) starts a new page first, as a printer
// does, and the new page begins with whatever PageHeader prints.
//
// Given a sink, the printer hands each page to it as the page is finished, and the document holds
// only the page being printed; Finish() hands over the last one.
class PagePrinter {
  public:
    explicit PagePrinter(PageDescription& document, PageSink sink = nullptr)
        : m_doc(document), m_sink(std::move(sink)), CurrentY(document.Paper.MarginTop) {
        if (m_doc.Pages.empty())
            m_doc.Pages.emplace_back();
    }

    PageFont Font;
    // Printed at the top of every page after the first (title, identification, captions).
    std::function<void(PagePrinter&)> PageHeader;
    // Height kept free above the bottom margin on every page (for the page number).
    int32_t FooterHeight = 0;

    void Print(const std::string& text) {
        const int32_t height = LineHeight(Font);
        if (CurrentY + height > Bottom() && CurrentY > m_doc.Paper.MarginTop)
            NewPage();
        m_doc.Pages.back().Texts.push_back(PageText{Margin(), CurrentY, Font, text});
        CurrentY += height;
    }

    // Ends the page; the next begins with the page header, in the font that was current.
    void NewPage() {
        if (m_sink) {
            m_sink(m_doc.Pages.back());
            m_doc.Pages.clear();
        }
        m_doc.Pages.emplace_back();
        CurrentY = m_doc.Paper.MarginTop;
        if (PageHeader && !m_inHeader) {
            const PageFont font = Font;
            m_inHeader = true;
            PageHeader(*this);
            m_inHeader = false;
            Font = font;
        }
    }

    // Starts a new page unless `height` twips still fit on this one, so a block stays together.
    void KeepTogether(int32_t height) {
        if (CurrentY + height > Bottom() && CurrentY > m_doc.Paper.MarginTop)
            NewPage();
    }

    // Hands the page being printed to the sink (nothing without one); printing has ended.
    void Finish() {
        if (m_sink && !m_doc.Pages.empty()) {
            m_sink(m_doc.Pages.back());
            m_doc.Pages.clear();
        }
    }

    Page& CurrentPage() { return m_doc.Pages.back(); }
    int32_t Margin() const { return m_doc.Paper.MarginLeft; }
    int32_t Bottom() const { return m_doc.Paper.PrintableBottom() - FooterHeight; }

  private:
    PageDescription& m_doc;
    PageSink m_sink;
    bool m_inHeader = false;

  public:
    int32_t CurrentY;
};

// "Page n of count" (n from 1) at the foot of a page of `document`, right-aligned on the
// printable area.
inline PageText PageNumberText(const PageDescription& document, const PageFont& font, std::size_t n,
                               std::size_t count) {
    const int32_t y = document.Paper.PrintableBottom() - LineHeight(font);
    const int32_t right = document.PageWidth - document.Paper.MarginRight;
    return PageText{right, y, font, "Page " + std::to_string(n) + " of " + std::to_string(count),
                    TextAlign::Right};
}

// Puts "Page n of m" at the foot of every page when the document has more than one page.
inline void NumberPages(PageDescription& document, const PageFont& font) {
    const auto count = document.Pages.size();
    if (count < 2)
        return;
    for (std::size_t n = 0; n < count; ++n)
        document.Pages[n].Texts.push_back(PageNumberText(document, font, n + 1, count));
}

}  // namespace tintara
