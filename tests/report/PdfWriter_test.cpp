// The toolkit-free PDF writer: structure, text encoding, and what a PDF reader makes of it.
#include "report/PdfWriter.h"

#include <gtest/gtest.h>

#include <sstream>

#include "report/PrintCertificate.h"
#include "report/PrintPerformance.h"
#include "report/ReportFixtures.h"
#include "support/TestPaths.h"
#include "workspace/Error.h"

namespace tintara {
namespace {

PageDescription Certificate() {
    GlobalVariables ws;
    test::FillTiles(ws, 32);
    PrintCertificate certificate(ws);
    certificate.ProgramDirectory = test::DataPath("report");
    certificate.DateText = "04/02/2024";
    return certificate.PrintDocument();
}

std::string Pdf(const PageDescription& page) {
    std::ostringstream out;
    WritePdf(page, out);
    return out.str();
}

TEST(PdfWriter, WinAnsiHoldsLatinOneAndTheWindowsPunctuation) {
    EXPECT_EQ(Utf8ToWinAnsi("10\xC2\xBA observer"), "10\xBA observer");
    EXPECT_EQ(Utf8ToWinAnsi("\xE2\x82\xAC 5 \xE2\x80\x93 6"), "\x80 5 \x96 6");  // euro, en dash
    EXPECT_EQ(Utf8ToWinAnsi("\xC3\xA9t\xC3\xA9"), "\xE9t\xE9");
    EXPECT_EQ(Utf8ToWinAnsi("\xE6\x97\xA5"), "?");        // not in the code page
    EXPECT_EQ(Utf8ToWinAnsi("a\xC3"), "a?");              // cut sequence
    EXPECT_EQ(Utf8ToWinAnsi("\xBA"), "?");                // stray continuation byte
    EXPECT_EQ(Utf8ToWinAnsi("\xF0\x9F\x98\x80!"), "?!");  // four-byte character
}

TEST(PdfWriter, CrossReferenceOffsetsPointAtTheirObjects) {
    const std::string pdf = Pdf(Certificate());
    ASSERT_EQ(pdf.rfind("%PDF-1.4", 0), 0u);
    const auto startxref = pdf.rfind("startxref\n");
    ASSERT_NE(startxref, std::string::npos);
    const std::size_t xref = std::stoul(pdf.substr(startxref + 10));
    ASSERT_EQ(pdf.compare(xref, 5, "xref\n"), 0);
    std::istringstream table(pdf.substr(xref + 5));
    int first = 0, count = 0;
    table >> first >> count;
    ASSERT_GT(count, 5);
    std::string offset, generation, kind;
    table >> offset >> generation >> kind;  // the free entry
    for (int id = 1; id < count; ++id) {
        table >> offset >> generation >> kind;
        ASSERT_EQ(kind, "n");
        EXPECT_EQ(pdf.compare(std::stoul(offset), std::to_string(id).size() + 6,
                              std::to_string(id) + " 0 obj"),
                  0)
            << "object " << id;
    }
    // Stream lengths match their data.
    std::size_t at = 0;
    while ((at = pdf.find("/Length ", at)) != std::string::npos) {
        const std::size_t length = std::stoul(pdf.substr(at + 8));
        const auto data = pdf.find("stream\n", at) + 7;
        EXPECT_EQ(pdf.compare(data + length, 10, "\nendstream"), 0);
        at = data + length;
    }
    EXPECT_NE(pdf.find("/BaseFont /Times-Roman"), std::string::npos);
    EXPECT_NE(pdf.find("/BaseFont /Times-Italic"), std::string::npos);
    EXPECT_NE(pdf.find("/BaseFont /Courier"), std::string::npos);
    EXPECT_NE(pdf.find("/Filter /DCTDecode"), std::string::npos);
}

TEST(PdfWriter, SpecialCharactersAreEscapedInsideTextStrings) {
    PageDescription page;
    page.Pages.emplace_back();
    page.Pages[0].Texts.push_back({720, 720, PageFont{"Arial", 10}, "a (b) \\ c 10\xC2\xBA"});
    page.Pages[0].Rules.push_back({720, 2000, 5000, 2000, 20, false});
    page.Pages[0].Rules.push_back({720, 3000, 5000, 4000, 20, true});
    const std::string pdf = Pdf(page);
    EXPECT_NE(pdf.find("(a \\(b\\) \\\\ c 10\\272) Tj"), std::string::npos);
    EXPECT_NE(pdf.find("/BaseFont /Helvetica "), std::string::npos);
    EXPECT_NE(pdf.find(" re S"), std::string::npos);
    EXPECT_NE(pdf.find(" l S"), std::string::npos);
}

TEST(PdfWriter, AReaderFindsEveryLineOfTheCertificate) {
    if (test::RunCommand("pdftotext -v") != 0)
        GTEST_SKIP() << "pdftotext is not installed";
    const PageDescription page = Certificate();
    const auto file = test::ScratchDir("PdfWriterText") / "certificate.pdf";
    WritePdf(page, file);
    std::string text, err;
    ASSERT_EQ(test::RunCommand("pdftotext -raw '" + file.string() + "' -", &text, &err), 0) << err;
    EXPECT_TRUE(err.empty()) << err;
    // pdftotext collapses runs of blanks; compare word sequences.
    auto words = [](const std::string& s) {
        std::istringstream in(s);
        std::string w, all;
        while (in >> w)
            all += w + " ";
        return all;
    };
    const std::string all = words(text);
    for (const auto& line : page.TextLines()) {
        if (words(line).empty())
            continue;
        EXPECT_NE(all.find(words(line)), std::string::npos) << line;
    }
}

TEST(PdfWriter, RenderedPageShowsTextAndWatermark) {
    if (test::RunCommand("pdftoppm -v") != 0)
        GTEST_SKIP() << "pdftoppm is not installed";
    const auto dir = test::ScratchDir("PdfWriterImage");
    WritePdf(Certificate(), dir / "certificate.pdf");
    std::string err;
    ASSERT_EQ(test::RunCommand("pdftoppm -r 36 -singlefile '" + (dir / "certificate.pdf").string() +
                                   "' '" + (dir / "page").string() + "'",
                               nullptr, &err),
              0)
        << err;
    // A binary PPM: "P6 w h 255" then RGB bytes.
    const std::string ppm = test::ReadFile(dir / "page.ppm");
    std::istringstream header(ppm);
    std::string magic;
    int width = 0, height = 0, maxval = 0;
    header >> magic >> width >> height >> maxval;
    ASSERT_EQ(magic, "P6");
    EXPECT_EQ(width, 306);   // 8.5 in at 36 dpi
    EXPECT_EQ(height, 396);  // 11 in
    const std::size_t data = static_cast<std::size_t>(header.tellg()) + 1;
    ASSERT_EQ(ppm.size(), data + 3u * width * height);
    long dark = 0, tinted = 0;
    for (int i = 0; i < width * height; ++i) {
        const auto r = static_cast<unsigned char>(ppm[data + 3 * i]);
        const auto g = static_cast<unsigned char>(ppm[data + 3 * i + 1]);
        const auto b = static_cast<unsigned char>(ppm[data + 3 * i + 2]);
        if (r + g + b < 3 * 128)
            ++dark;
        if (std::max({r, g, b}) - std::min({r, g, b}) > 8)
            ++tinted;
    }
    EXPECT_GT(dark, 300) << "no text on the page";
    EXPECT_GT(tinted, 100) << "no watermark on the page";
}

TEST(PdfWriter, AnUnreadablePictureIsLeftOutAndAMissingFolderIsAnIoError) {
    PageDescription page;
    page.Pages.emplace_back();
    page.Pages[0].Pictures.push_back({test::DataPath("report/none.jpg"), 0, 0, 100, 100});
    const std::string pdf = Pdf(page);
    EXPECT_EQ(pdf.find("/XObject"), std::string::npos);
    EXPECT_NE(pdf.find("/Count 1"), std::string::npos);
    EXPECT_THROW(WritePdf(page, test::ScratchDir("PdfWriterIo") / "missing" / "x.pdf"), IoError);
}

}  // namespace
}  // namespace tintara
