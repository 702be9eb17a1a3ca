// The one page renderer: certificates drawn to PDF on A4 and Letter, read back with poppler's
// tools as a user's viewer would: fonts embedded, every script printed, columns aligned, every
// page identified and numbered, nothing outside the printable area.
#include "render/PageRenderer.h"

#include <gtest/gtest.h>

#include <QFontInfo>
#include <QImage>

#include <fstream>
#include <map>
#include <regex>
#include <sstream>

#include "render/PdfInspect.h"
#include "report/PrintCertificate.h"
#include "report/PrintPerformance.h"
#include "report/ReportFixtures.h"
#include "workspace/Error.h"

namespace tintara {
namespace {

// Tile and sample names in Latin (German, Polish, French), Greek, Cyrillic and CJK.
const std::vector<std::string> kNames = {
    "Wei\xC3\x9F",
    "Gr\xC3\xBCn gl\xC3\xA4nzend Fliese Nr. 10 \xC3\xA4\xC3\xB6\xC3\xBC",
    "Rouge fonc\xC3\xA9",
    "\xC5\xBB\xC3\xB3\xC5\x82ta p\xC5\x82ytka",  // Żółta płytka
    "\xCE\x9B\xCE\xB5\xCF\x85\xCE\xBA\xCF\x8C "
    "\xCF\x80\xCE\xBB\xCE\xB1\xCE\xBA\xCE\xAF\xCE\xB4\xCE\xB9\xCE\xBF",  // Λευκό πλακίδιο
    "\xD0\x91\xD0\xB5\xD0\xBB\xD0\xB0\xD1\x8F "
    "\xD0\xBF\xD0\xBB\xD0\xB8\xD1\x82\xD0\xBA\xD0\xB0",                // Белая плитка
    "\xE7\x99\xBD\xE8\x89\xB2\xE3\x82\xBF\xE3\x82\xA4\xE3\x83\xAB 7",  // 白色タイル 7
};

const char* const kLetter = "Letter";
const char* const kA4 = "A4";

PageSetup PaperNamed(const std::string& name) {
    return name == kA4 ? PageSetup::A4() : PageSetup::Letter();
}

std::filesystem::path WritePdfFile(const PageDescription& doc, const std::string& name) {
    const auto file = test::ScratchDir("Render" + name) / (name + ".pdf");
    render::WritePdf(doc, file);
    return file;
}

// Words ending in a value printed in the tables (" 0.50", "-1.25", "12.00"); a name that fills
// its field runs into a negative value ("Fliese 100-0.10"), which still ends the word.
bool IsValue(const std::string& word) {
    static const std::regex value(R"(\d\.\d\d$)");
    return std::regex_search(word, value);
}

// A text with every run of blanks made one: pdftotext -layout spaces words by their positions.
std::string Words(const std::string& text) {
    std::istringstream in(text);
    std::string word, all;
    while (in >> word)
        all += (all.empty() ? "" : " ") + word;
    return all;
}

// The right edges of the value columns of every table line with `values` values, by column;
// each column's edges must agree to a small fraction of a character.
void ExpectValueColumnsAligned(const test::PdfPage& page, std::size_t values, std::size_t& rows) {
    std::map<long, std::vector<const test::PdfWord*>> lines;
    for (const auto& w : page.Words)
        lines[std::lround(w.YMin * 4)].push_back(&w);
    std::vector<std::pair<double, double>> edges(values, {1e9, -1e9});
    for (const auto& [y, words] : lines) {
        std::vector<double> right;
        for (const auto* w : words) {
            if (IsValue(w->Text))
                right.push_back(w->XMax);
        }
        if (right.size() != values || words.size() < values + 1)
            continue;
        ++rows;
        for (std::size_t k = 0; k < values; ++k) {
            edges[k].first = std::min(edges[k].first, right[k]);
            edges[k].second = std::max(edges[k].second, right[k]);
        }
    }
    for (std::size_t k = 0; k < values && rows > 0; ++k)
        EXPECT_LT(edges[k].second - edges[k].first, 0.3) << "value column " << k + 1;
}

TEST(PageRenderer, PageFontsResolveToTheInstalledMetricCompatibleFaces) {
    render::EnsureGuiApplication();
    EXPECT_EQ(QFontInfo(render::PageQFont({"Times New Roman", 12})).family(), "Liberation Serif");
    EXPECT_EQ(QFontInfo(render::PageQFont({"Courier New", 6})).family(), "Liberation Mono");
    EXPECT_EQ(QFontInfo(render::PageQFont({"Arial", 10})).family(), "Liberation Sans");
}

TEST(PageRenderer, TileCertificatesOnBothPapersPrintEveryScriptInEmbeddedFontsAndAlignedColumns) {
    if (!test::HavePoppler())
        GTEST_SKIP() << "poppler-utils (pdftotext, pdffonts, pdftoppm) are not installed";
    render::EnsureGuiApplication();
    GlobalVariables ws;
    test::FillTiles(ws, 32);
    for (std::size_t i = 0; i < kNames.size(); ++i)
        ws.TileNames[i] = kNames[i];
    ws.MasterType = "Spektralfotometer M\xC3\xBCnchen";
    ws.TargetOperator = "\xD0\x98. \xD0\x9F\xD0\xB5\xD1\x82\xD1\x80\xD0\xBE\xD0\xB2";  // И. Петров
    for (const std::string paper : {kLetter, kA4}) {
        SCOPED_TRACE(paper);
        PrintCertificate certificate(ws);
        certificate.ProgramDirectory = test::DataPath("report");
        certificate.DateText = "14.03.2024";
        certificate.Paper = PaperNamed(paper);
        const auto file = WritePdfFile(certificate.PrintDocument(), "tiles-" + paper);
        const auto pages = test::ReadPdf(file);
        ASSERT_EQ(pages.size(), 1u);
        EXPECT_NEAR(pages[0].Width, paper == kA4 ? 595.28 : 612.0, 0.5);
        EXPECT_NEAR(pages[0].Height, paper == kA4 ? 841.89 : 792.0, 0.5);
        test::ExpectInside(pages, 36.0);
        // Every name reads back; CJK characters sit in their own cells, which a reader may space.
        const auto solid = [](std::string text) {
            std::erase_if(text, [](char c) { return c == ' ' || c == '\n'; });
            return text;
        };
        for (const auto& name : kNames)
            EXPECT_NE(solid(pages[0].Layout).find(solid(name)), std::string::npos) << name;
        for (const char* text : {"Spektralfotometer M\xC3\xBCnchen", "\xD0\x98. \xD0\x9F\xD0\xB5",
                                 "Certified by :", "Date : 14.03.2024", "10\xC2\xBA observer"})
            EXPECT_NE(Words(pages[0].Layout).find(text), std::string::npos) << text;
        std::size_t rows = 0;
        ExpectValueColumnsAligned(pages[0], 8, rows);
        EXPECT_EQ(rows, 32u);
        // Every face embedded; CJK comes from a fallback face, also embedded.
        const auto fonts = test::ReadFonts(file);
        ASSERT_GE(fonts.size(), 3u);
        bool serif = false, mono = false, other = false;
        for (const auto& font : fonts) {
            EXPECT_TRUE(font.Embedded) << font.Name;
            serif |= font.Name.find("LiberationSerif") != std::string::npos;
            mono |= font.Name.find("LiberationMono") != std::string::npos;
            other |= font.Name.find("Liberation") == std::string::npos;
        }
        EXPECT_TRUE(serif && mono && other);
        // A picture of the page for the eye (test-scratch/Render.../*.png).
        EXPECT_EQ(test::RunCommand("pdftoppm -r 60 -png '" + file.string() + "' '" +
                                   (file.parent_path() / "page").string() + "'"),
                  0);
    }
}

TEST(PageRenderer, ALongPerformanceCertificateIdentifiesAndNumbersEveryPage) {
    if (!test::HavePoppler())
        GTEST_SKIP() << "poppler-utils (pdftotext, pdffonts, pdftoppm) are not installed";
    render::EnsureGuiApplication();
    GlobalVariables ws;
    test::FillSamples(ws, 1200, [](int s) { return 0.004 * (s % 250); });
    test::FillHeaders(ws);
    for (int s = 0; s < 1200; ++s)
        ws.SampleNames[s] = kNames[s % kNames.size()] + " " + std::to_string(s + 1);
    ws.SingleSampleTolerance = 0.9;
    PrintPerformance certificate(ws);
    certificate.ProgramDirectory = test::DataPath("report");
    certificate.DateText = "2024-03-14";
    for (const std::string paper : {kA4, kLetter}) {
        SCOPED_TRACE(paper);
        certificate.Paper = PaperNamed(paper);
        const auto file = WritePdfFile(certificate.PrintSCIPerformanceData(), "samples-" + paper);
        const auto pages = test::ReadPdf(file);
        ASSERT_GE(pages.size(), 8u);
        test::ExpectInside(pages, 36.0);
        const std::string count = std::to_string(pages.size());
        // Every page names both instruments: the first in its identification block, the others
        // in the line under the title.
        std::size_t rows = 0;
        for (std::size_t n = 0; n < pages.size(); ++n) {
            const std::string text = Words(pages[n].Layout);
            for (const std::string& expected :
                 {std::string("Certificate of Instrument Performance"),
                  std::string("Master Instrument: Datacolor SF600 Plus"),
                  std::string("Target Instrument: Color-Eye 7000A"), std::string("Status: LAIIUX"),
                  std::string("CalTile # T-1185"), std::string("Sample Name DL* Da* Db* DE"),
                  "Page " + std::to_string(n + 1) + " of " + count})
                EXPECT_NE(text.find(expected), std::string::npos)
                    << "page " << n + 1 << ": " << expected;
            const bool last = n + 1 == pages.size();
            for (const char* closing : {"Single Sample DE Limit", "The Target Instrument has",
                                        "Certified by :", "Date : 2024-03-14"})
                EXPECT_EQ(text.find(closing) != std::string::npos, last)
                    << "page " << n + 1 << ": " << closing;
            ExpectValueColumnsAligned(pages[n], 4, rows);
        }
        EXPECT_EQ(rows, 1200u) << "every sample line, its columns aligned";
        for (const auto& font : test::ReadFonts(file))
            EXPECT_TRUE(font.Embedded) << font.Name;
        EXPECT_EQ(test::RunCommand("pdftoppm -r 50 -png -f 1 -l 2 '" + file.string() + "' '" +
                                   (file.parent_path() / "page").string() + "'"),
                  0);
        const auto lastPage = std::to_string(pages.size());
        EXPECT_EQ(
            test::RunCommand("pdftoppm -r 50 -png -f " + lastPage + " -l " + lastPage + " '" +
                             file.string() + "' '" + (file.parent_path() / "page").string() + "'"),
            0);
    }
}

TEST(PageRenderer, ALineTooWideIsSetSmallerAndAFallbackCharacterKeepsItsCells) {
    render::EnsureGuiApplication();
    PageDescription doc(PageSetup::A4());
    doc.Pages.emplace_back();
    const std::string longLine(200, 'W');
    doc.Pages[0].Texts.push_back({720, 1000, PageFont{"Times New Roman", 12}, longLine});
    // Two fixed-pitch lines of equal columns: one with a CJK name, one plain.
    doc.Pages[0].Texts.push_back(
        {720, 2000, PageFont{"Courier New", 10}, "\xE7\x99\xBD\xE8\x89\xB2   X end"});
    doc.Pages[0].Texts.push_back({720, 2400, PageFont{"Courier New", 10}, "abcdef X end"});
    const QImage image = render::RenderPageImage(doc, 0, 72);
    ASSERT_EQ(image.size(), QSize(595, 842));
    // Ink of the long line stops at the right margin (36 pt at 72 dpi).
    int rightmost = 0;
    for (int y = 50; y < 70; ++y) {
        for (int x = 0; x < image.width(); ++x) {
            if (qGray(image.pixel(x, y)) < 160)
                rightmost = std::max(rightmost, x);
        }
    }
    EXPECT_GT(rightmost, 500);
    EXPECT_LE(rightmost, 595 - 36);
    // "X end" starts at the same column on both fixed-pitch lines.
    auto firstInkAfter = [&](int top, int fromX) {
        for (int x = fromX; x < image.width(); ++x) {
            for (int y = top; y < top + 12; ++y) {
                if (qGray(image.pixel(x, y)) < 160)
                    return x;
            }
        }
        return -1;
    };
    const int column = 36 + 7 * 6;  // "X" is 7 columns of 6 pt in, after a margin of 36 pt
    EXPECT_NEAR(firstInkAfter(100, column - 2), column, 1);
    EXPECT_NEAR(firstInkAfter(120, column - 2), column, 1);
}

TEST(PageRenderer, APlotLineIsStrokedInItsOwnColour) {
    render::EnsureGuiApplication();
    PageDescription doc(PageSetup::A4());
    doc.Pages.emplace_back();
    PagePolyline line;
    line.Points = {{1440, 1440}, {4320, 1440}, {4320, 4320}};
    line.Thickness = 3 * kTwipsPerPoint;
    line.Red = 214;
    line.Green = 39;
    line.Blue = 40;
    doc.Pages[0].Polylines.push_back(line);
    const QImage image = render::RenderPageImage(doc, 0, 72);
    // On the horizontal leg (y = 72 pt), on the vertical leg (x = 216 pt), and nowhere else.
    for (const QPoint at : {QPoint(144, 72), QPoint(216, 144)}) {
        const QColor c = image.pixelColor(at);
        EXPECT_EQ(c.red(), 214) << at.x() << "," << at.y();
        EXPECT_EQ(c.green(), 39);
        EXPECT_EQ(c.blue(), 40);
    }
    EXPECT_EQ(image.pixelColor(QPoint(144, 144)), QColor(Qt::white));
}

// Pages produced by a generator that can fail part way.
class CountedPages : public PagedDocument {
  public:
    explicit CountedPages(int pages) : m_pages(pages) {}
    int FailAt = 0;  // page number that throws, 0 for none
    const PageDescription& Outline() const override { return m_outline; }
    void Produce(const PageSink& sink) override {
        for (int n = 1; n <= m_pages; ++n) {
            if (n == FailAt)
                throw Error("page " + std::to_string(n) + " could not be made");
            Page page;
            page.Texts.push_back({720, 720, PageFont{}, "Page body " + std::to_string(n)});
            sink(page);
        }
    }

  private:
    int m_pages;
    PageDescription m_outline;
};

TEST(PageRenderer, APagedDocumentIsDrawnAsTheWholeOneAndAFailurePartWayKeepsTheEarlierFile) {
    if (!test::HavePoppler())
        GTEST_SKIP() << "poppler-utils (pdftotext, pdffonts, pdftoppm) are not installed";
    render::EnsureGuiApplication();
    GlobalVariables ws;
    test::FillSamples(ws, 300, [](int s) { return 0.01 * (s % 90); });
    PrintPerformance certificate(ws);
    certificate.ProgramDirectory = test::DataPath("report");
    certificate.DateText = "2024-03-14";
    const auto dir = test::ScratchDir("RenderPaged");
    render::WritePdf(certificate.PrintSCEPerformanceData(), dir / "whole.pdf");
    PerformanceDocument paged = certificate.SCEPerformanceDocument();
    render::WritePdf(paged, dir / "paged.pdf");
    const auto whole = test::ReadPdf(dir / "whole.pdf");
    const auto pages = test::ReadPdf(dir / "paged.pdf");
    ASSERT_EQ(pages.size(), whole.size());
    ASSERT_GE(pages.size(), 2u);
    for (std::size_t n = 0; n < pages.size(); ++n)
        EXPECT_EQ(pages[n].Layout, whole[n].Layout) << "page " << n + 1;

    CountedPages three(3);
    const auto file = dir / "three.pdf";
    render::WritePdf(three, file);
    EXPECT_EQ(test::ReadPdf(file).size(), 3u);
    const std::string before = test::ReadFile(file);
    CountedPages failing(5);
    failing.FailAt = 4;
    EXPECT_THROW(render::WritePdf(failing, file), Error);
    EXPECT_EQ(test::ReadFile(file), before);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir), {}), 3)
        << "no temporary file left behind";
}

TEST(PageRenderer, APdfIsMadeInMemoryAndAFailedWriteIsAnIoError) {
    render::EnsureGuiApplication();
    PageDescription doc;
    doc.Pages.emplace_back();
    doc.Pages[0].Texts.push_back({720, 720, PageFont{}, "x"});
    EXPECT_EQ(render::PdfBytes(doc).rfind("%PDF-", 0), 0u);
    EXPECT_THROW(render::WritePdf(doc, "/nonexistent-folder/x.pdf"), IoError);
}

}  // namespace
}  // namespace tintara
