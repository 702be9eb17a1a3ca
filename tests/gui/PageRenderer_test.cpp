// The Qt page renderer: a certificate rendered to PDF carries its text and its watermark.
#include "gui/PageRenderer.h"

#include <gtest/gtest.h>

#include <QFontInfo>
#include <QImage>

#include "gui/GuiHarness.h"
#include "report/PrintCertificate.h"
#include "workspace/Error.h"

namespace tintara {
namespace {

TEST(PageRenderer, PageFontsResolveToTheInstalledMetricCompatibleFaces) {
    test::GuiApp();
    EXPECT_EQ(QFontInfo(gui::PageQFont({"Times New Roman", 12})).family(), "Liberation Serif");
    EXPECT_EQ(QFontInfo(gui::PageQFont({"Courier New", 6})).family(), "Liberation Mono");
    EXPECT_EQ(QFontInfo(gui::PageQFont({"Arial", 10})).family(), "Liberation Sans");
}

TEST(PageRenderer, CertificateIsANonBlankLetterPageWithWatermarkAndReadableText) {
    if (test::RunCommand("pdftoppm -v") != 0 || test::RunCommand("pdftotext -v") != 0)
        GTEST_SKIP() << "pdftoppm and pdftotext (poppler-utils) are not installed";
    test::GuiApp();
    GlobalVariables ws;
    ws.DimensionTileArrays(32);
    ws.MasterType = "Datacolor SF600";
    ws.TargetType = "Color-Eye 7000A";
    ws.MasterStatus = ws.TargetStatus = "LAIIUX";
    for (int i = 0; i < 32; ++i) {
        ws.TileNames[i] = "Tile " + std::to_string(i + 1);
        for (int k = 0; k < 4; ++k) {
            ws.RawDE(i, k) = (k == 3 ? 1.0 : -0.5) + 0.05 * i;
            ws.FinalDE(i, k) = 0.2 * ws.RawDE(i, k);
        }
    }
    PrintCertificate certificate(ws);
    certificate.ProgramDirectory = test::DataPath("report");
    const PageDescription page = certificate.PrintDocument();
    ASSERT_TRUE(page.Warnings.empty());
    const auto dir = test::ScratchDir("PageRendererCertificate");
    const std::string pdf = (dir / "certificate.pdf").string();
    gui::WritePdf(page, QString::fromStdString(pdf));

    std::string text;
    ASSERT_EQ(test::RunCommand("pdftotext -layout '" + pdf + "' -", &text), 0);
    for (const char* line : {"Certificate of Instrument Performance", "10\xC2\xBA observer",
                             "Tile 32", "Certified by :"})
        EXPECT_NE(text.find(line), std::string::npos) << line;

    // At 72 dpi a letter page is 612 x 792 pixels.
    const std::string png = (dir / "page").string();
    ASSERT_EQ(test::RunCommand("pdftoppm -r 72 -png -singlefile '" + pdf + "' '" + png + "'"), 0);
    const QImage image(QString::fromStdString(png + ".png"));
    ASSERT_EQ(image.size(), QSize(612, 792));
    long dark = 0, tinted = 0, topMarginInk = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const QColor c = image.pixelColor(x, y);
            const int gray = qGray(c.rgb());
            const int spread =
                std::max({c.red(), c.green(), c.blue()}) - std::min({c.red(), c.green(), c.blue()});
            dark += gray < 128;
            tinted += gray > 200 && gray < 250 && spread > 8;  // the watermark's pale tints
            topMarginInk += y < 36 && c != QColor(Qt::white);
        }
    }
    EXPECT_GT(dark, 2000) << "the text is missing";
    EXPECT_GT(tinted, 500) << "the watermark is missing";
    EXPECT_EQ(topMarginInk, 0) << "the half inch above everything is not white";
}

TEST(PageRenderer, AnUnwritableFolderIsAnIoError) {
    PageDescription page;
    page.Pages.emplace_back();
    EXPECT_THROW(gui::WritePdf(page, QStringLiteral("/nonexistent-folder/x.pdf")), IoError);
}

}  // namespace
}  // namespace tintara
