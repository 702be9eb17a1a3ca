// A printed document as data: pages of text runs, pictures and rules, positioned in twips.
#pragma once

#include <cmath>
#include <cstdint>
#include <filesystem>
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

// One printed line of text. X, Y are the top-left of the line box in twips from the paper's
// top-left corner; renderers put the baseline at Y + the font's ascent. Text is UTF-8.
struct PageText {
    int32_t X = 0;
    int32_t Y = 0;
    PageFont Font;
    std::string Text;
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

// A whole document. The paper is US Letter unless the builder says otherwise.
struct PageDescription {
    int32_t PageWidth = 17 * kTwipsPerInch / 2;  // 8.5 in
    int32_t PageHeight = 11 * kTwipsPerInch;     // 11 in
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

// Height of one printed line of a font, twips: the font size plus the usual 15 % leading.
inline int32_t LineHeight(const PageFont& font) {
    return static_cast<int32_t>(std::lround(font.Size * kTwipsPerPoint * 1.15));
}

// The printer's print position: each Print puts one line at the current position, then moves to
// the start of the next line in the current font's line height. A line that would cross the
// bottom margin starts a new page first, as a printer does.
class PagePrinter {
  public:
    PagePrinter(PageDescription& document, int32_t margin)
        : m_doc(document), m_margin(margin), CurrentY(margin) {
        if (m_doc.Pages.empty())
            m_doc.Pages.emplace_back();
    }

    PageFont Font;

    void Print(const std::string& text) {
        const int32_t height = LineHeight(Font);
        if (CurrentY + height > m_doc.PageHeight - m_margin && CurrentY > m_margin) {
            m_doc.Pages.emplace_back();
            CurrentY = m_margin;
        }
        m_doc.Pages.back().Texts.push_back(PageText{m_margin, CurrentY, Font, text});
        CurrentY += height;
    }

    Page& CurrentPage() { return m_doc.Pages.back(); }
    int32_t Margin() const { return m_margin; }

  private:
    PageDescription& m_doc;
    int32_t m_margin;

  public:
    int32_t CurrentY;
};

}  // namespace tintara
