// The Qt page renderer: a certificate rendered to PDF carries its text and its watermark.
#include "gui/PageRenderer.h"

#include <gtest/gtest.h>

#include <QFontInfo>
#include <QGuiApplication>
#include <QImage>

#include <filesystem>

#include "report/PrintCertificate.h"
#include "support/TestPaths.h"
#include "workspace/Error.h"

namespace tintara {
namespace {

class PageRendererTest : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        static int argc = 1;
        static char name[] = "gui_PageRenderer_test";
        static char* argv[] = {name, nullptr};
        if (!QGuiApplication::instance())
            app = new QGuiApplication(argc, argv);
    }
    static QGuiApplication* app;

    static bool HasPoppler() { return test::RunCommand("pdftoppm -v") == 0; }

    static GlobalVariables ProfiledTiles() {
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
        return ws;
    }

    // Renders page 1 of `pdf` at `dpi` with pdftoppm and loads it.
    static QImage Rasterise(const std::filesystem::path& pdf, int dpi) {
        const auto stem = pdf.parent_path() / "page";
        const std::string cmd = "pdftoppm -r " + std::to_string(dpi) +
                                " -png -singlefile -f 1 -l 1 '" + pdf.string() + "' '" +
                                stem.string() + "'";
        std::string err;
        EXPECT_EQ(test::RunCommand(cmd, nullptr, &err), 0) << err;
        return QImage(QString::fromStdString(stem.string() + ".png"));
    }
};
QGuiApplication* PageRendererTest::app = nullptr;

TEST_F(PageRendererTest, PageFontsMapToTheMetricCompatibleFaces) {
    EXPECT_EQ(gui::PageQFont({"Times New Roman", 12}).family(), "Liberation Serif");
    EXPECT_EQ(gui::PageQFont({"Courier New", 6}).family(), "Liberation Mono");
    EXPECT_EQ(gui::PageQFont({"Arial", 10}).family(), "Liberation Sans");
    const QFont italic = gui::PageQFont({"Times New Roman", 10, false, true});
    EXPECT_TRUE(italic.italic());
    EXPECT_DOUBLE_EQ(italic.pointSizeF(), 10.0);
    // The face really resolves to an installed font, not to a substitute.
    EXPECT_EQ(QFontInfo(gui::PageQFont({"Courier New", 12})).family(), "Liberation Mono");
}

TEST_F(PageRendererTest, CertificateRendersToANonBlankLetterPageWithWatermark) {
    if (!HasPoppler())
        GTEST_SKIP() << "pdftoppm (poppler-utils) is not installed";
    const GlobalVariables ws = ProfiledTiles();
    PrintCertificate certificate(ws);
    certificate.ProgramDirectory = test::DataPath("report");
    certificate.DateText = "04/02/2024";
    const PageDescription page = certificate.PrintDocument();
    ASSERT_TRUE(page.Warnings.empty());

    const auto dir = test::ScratchDir("PageRendererCertificate");
    const auto pdf = dir / "certificate.pdf";
    gui::WritePdf(page, QString::fromStdString(pdf.string()));
    ASSERT_TRUE(std::filesystem::exists(pdf));

    const int dpi = 72;
    const QImage image = Rasterise(pdf, dpi);
    ASSERT_FALSE(image.isNull());
    EXPECT_EQ(image.width(), 612);   // 8.5 in
    EXPECT_EQ(image.height(), 792);  // 11 in

    long dark = 0, tinted = 0;
    const int watermarkTop = 3000 * dpi / 1440;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const QColor c = image.pixelColor(x, y);
            if (qGray(c.rgb()) < 128)
                ++dark;
            // The watermark's pale tints: neither white nor text grey.
            if (y >= watermarkTop && qGray(c.rgb()) > 200 && qGray(c.rgb()) < 250 &&
                std::max({c.red(), c.green(), c.blue()}) -
                        std::min({c.red(), c.green(), c.blue()}) >
                    8) {
                ++tinted;
            }
        }
    }
    EXPECT_GT(dark, 2000) << "the text is missing";
    EXPECT_GT(tinted, 500) << "the watermark is missing";
    // Nothing above the watermark's top is tinted, and the margins stay white.
    for (int y = 0; y < 36; ++y) {
        for (int x = 0; x < image.width(); ++x)
            ASSERT_EQ(image.pixelColor(x, y), QColor(Qt::white));
    }
    image.save(QString::fromStdString((dir / "certificate.png").string()));
}

TEST_F(PageRendererTest, RenderedTextReadsBackFromThePdf) {
    if (test::RunCommand("pdftotext -v") != 0)
        GTEST_SKIP() << "pdftotext is not installed";
    const GlobalVariables ws = ProfiledTiles();
    PrintCertificate certificate(ws);
    certificate.ProgramDirectory = test::DataPath("report");
    const auto dir = test::ScratchDir("PageRendererText");
    const auto pdf = dir / "certificate.pdf";
    gui::WritePdf(certificate.PrintDocument(), QString::fromStdString(pdf.string()));
    std::string text;
    ASSERT_EQ(test::RunCommand("pdftotext -layout '" + pdf.string() + "' -", &text), 0);
    EXPECT_NE(text.find("Certificate of Instrument Performance"), std::string::npos);
    EXPECT_NE(text.find("10\xC2\xBA observer"), std::string::npos);
    EXPECT_NE(text.find("Tile 32"), std::string::npos);
    EXPECT_NE(text.find("Certified by :"), std::string::npos);
}

TEST_F(PageRendererTest, AnUnwritableFolderIsAnIoError) {
    PageDescription page;
    page.Pages.emplace_back();
    EXPECT_THROW(gui::WritePdf(page, QStringLiteral("/nonexistent-folder/x.pdf")), IoError);
}

}  // namespace
}  // namespace tintara
