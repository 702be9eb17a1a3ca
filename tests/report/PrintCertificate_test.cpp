// The two certificates as page descriptions: every line's text, fonts, watermark, verdict rules.
#include "report/PrintCertificate.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "report/PrintPerformance.h"
#include "report/ReportFixtures.h"
#include "support/TestPaths.h"
#include "workspace/Error.h"

namespace tintara {
namespace {

std::string Blanks(int n) {
    return std::string(n, ' ');
}

// Two tiles with hand-checked values; the unused slot 2 holds large DEs that must not count.
GlobalVariables TwoTiles(int16_t colorSpace) {
    GlobalVariables ws;
    ws.DimensionTileArrays(2);
    test::FillHeaders(ws);
    ws.ColorSpace = colorSpace;
    ws.TileNames = {"White", "Deep Blue", ""};
    const double raw[3][4] = {{0.5, -0.5, 1.25, 1.5}, {-2.0, 3.456, 10.0, 12.0}, {0, 0, 0, 99}};
    const double fin[3][4] = {{-0.05, 0.1, 0.0, 0.2}, {0.25, -0.75, 1.0, 1.3}, {0, 0, 0, 99}};
    for (int i = 0; i < 3; ++i) {
        for (int k = 0; k < 4; ++k) {
            ws.RawDE(i, k) = raw[i][k];
            ws.FinalDE(i, k) = fin[i][k];
        }
    }
    return ws;
}

std::vector<std::string> HeaderLines() {
    return {
        " ",
        "               Certificate of Instrument Performance",
        " ",
        " ",
        "Master Instrument: Datacolor SF600 Plus   Status: LAIIUX    CalTile # M-4471",
        "Company: Harbour Paints  / Operator: J. Okafor  / Tile Set: BCRA-0932",
        "Tile Data for the Datacolor SF600 Plus-CT was last updated on 03/14/2024",
        " ",
        "Target Instrument: Color-Eye 7000A        Status: LAIIUX    CalTile # T-1185",
        "Company: Harbour Paints  / Operator: M. Lind  / Tile Set: BCRA-0932",
        "Tile Data for the Color-Eye 7000A was last updated on 03/15/2024",
        " ",
    };
}

const std::string kValidity =
    "********** Only when used in conjunction with Tintara software do these results have "
    "validity. **********";

TEST(PrintCertificate, EveryLineOfTheCieLabPageIsAsSpecified) {
    GlobalVariables ws = TwoTiles(0);
    PrintCertificate certificate(ws);
    certificate.ProgramDirectory = test::DataPath("report");
    certificate.DateText = "04/02/2024";
    const PageDescription page = certificate.PrintDocument();

    std::vector<std::string> expected = HeaderLines();
    const std::vector<std::string> rest = {
        "The referenced target instrument has been checked and profiled to the master instrument "
        "listed below. The test results below show the conformance of the target",
        "instrument to the master on a special set of 32 ceramic tiles designed for this purpose.  "
        "The reported data is shown for CIE (1976) L*a*b*, Ill D65, 10\xC2\xBA observer.",
        "This profile in no way changes the response characteristics of the instrument and "
        "therefore does not change the raw data coming from the instrument.",
        kValidity,
        " ",
        "                     Actual Data             Correlated Data",
        "Tilename         DL*   Da*  Db*  DE         DL*   Da*  Db*  DE",
        "-----------      ---   ---  ---  ---        ---   ---  ---  ---",
        "White" + Blanks(30) + " 0.50" + Blanks(6) + "-0.50" + Blanks(6) + " 1.25" + Blanks(5) +
            " 1.50" + Blanks(17) + "-0.05" + Blanks(6) + " 0.10" + Blanks(6) + " 0.00" + Blanks(5) +
            " 0.20",
        "Deep Blue" + Blanks(26) + "-2.00" + Blanks(6) + " 3.46" + Blanks(6) + " 10.00" +
            Blanks(5) + " 12.00" + Blanks(17) + " 0.25" + Blanks(6) + "-0.75" + Blanks(6) +
            " 1.00" + Blanks(5) + " 1.30",
        "-----------                      ---                        ---",
        "Average DE            Actual -> 6.75         Correlated -> 0.75",
        " ",
        " ",
        "Certified by : ___________________________ Name : ___________________________",
        " ",
        "                                           Date : 04/02/2024",
    };
    expected.insert(expected.end(), rest.begin(), rest.end());
    EXPECT_EQ(page.TextLines(), expected);
    EXPECT_DOUBLE_EQ(certificate.AverageRawDE, 6.75);
    EXPECT_DOUBLE_EQ(certificate.AverageFinalDE, 0.75);
    EXPECT_EQ(page.Pages.size(), 1u);
    EXPECT_TRUE(page.Warnings.empty());
}

TEST(PrintCertificate, FontsSizesAndPositionsFollowThePrintPosition) {
    GlobalVariables ws = TwoTiles(0);
    PrintCertificate certificate(ws);
    certificate.ProgramDirectory = test::DataPath("report");
    const PageDescription page = certificate.PrintDocument();
    const auto& texts = page.Pages.at(0).Texts;
    auto find = [&](const std::string& prefix) -> const PageText& {
        const auto it = std::find_if(texts.begin(), texts.end(), [&](const PageText& t) {
            return t.Text.rfind(prefix, 0) == 0;
        });
        EXPECT_NE(it, texts.end()) << prefix;
        return *it;
    };
    EXPECT_EQ(find("               Certificate").Font,
              (PageFont{"Times New Roman", 24, false, false}));
    EXPECT_EQ(find("Master Instrument").Font.Size, 12);
    EXPECT_EQ(find("Company: Harbour Paints  / Operator: J.").Font.Size, 10);
    EXPECT_EQ(find("The referenced").Font.Size, 8);
    EXPECT_TRUE(find("**********").Font.Italic);
    EXPECT_EQ(find("Tilename").Font, (PageFont{"Courier New", 12, false, false}));
    EXPECT_EQ(find("Deep Blue").Font, (PageFont{"Courier New", 6, false, false}));
    EXPECT_EQ(find("Average DE").Font.Size, 12);
    EXPECT_EQ(texts.back().Font.Family, "Courier New");
    // Lines run down the page without overlapping, inside the margins.
    for (std::size_t i = 1; i < texts.size(); ++i) {
        EXPECT_EQ(texts[i].Y, texts[i - 1].Y + LineHeight(texts[i - 1].Font)) << i;
        EXPECT_EQ(texts[i].X, kPageMargin);
    }
    EXPECT_LE(texts.back().Y + LineHeight(texts.back().Font), page.PageHeight - kPageMargin);
    // The line after the italic validity line is upright again.
    const auto validity = std::find_if(texts.begin(), texts.end(),
                                       [](const PageText& t) { return t.Text == kValidity; });
    ASSERT_NE(validity + 1, texts.end());
    EXPECT_FALSE((validity + 1)->Font.Italic);

    ASSERT_EQ(page.Pages[0].Pictures.size(), 1u);
    const PagePicture& watermark = page.Pages[0].Pictures[0];
    EXPECT_EQ(watermark.Y, 3000);
    EXPECT_EQ(watermark.File, test::DataPath("report") / "Watermark.jpg");
    EXPECT_EQ(watermark.X * 2 + watermark.Width, page.PageWidth);  // centred
    EXPECT_EQ(watermark.Height * 240, watermark.Width * 200);      // the picture's aspect
}

TEST(PrintCertificate, HunterPageNamesHunterLabWithoutAsterisks) {
    GlobalVariables ws = TwoTiles(2);
    PrintCertificate certificate(ws);
    certificate.ProgramDirectory = test::DataPath("report");
    const auto lines = certificate.PrintDocument().TextLines();
    EXPECT_EQ(lines[13],
              "instrument to the master on a special set of 32 ceramic tiles designed for this "
              "purpose.  The reported data is shown for Hunter Lab, Ill D65, 10\xC2\xBA observer.");
    EXPECT_EQ(lines[18], "Tilename         DL    Da   Db   DE         DL    Da   Db   DE");
    for (const auto& line : lines) {
        if (line.rfind("Master Instrument", 0) == 0 || line.rfind("Target Instrument", 0) == 0 ||
            line.rfind("**", 0) == 0) {
            continue;
        }
        EXPECT_EQ(line.find('*'), std::string::npos) << line;
    }
}

TEST(PrintCertificate, MissingWatermarkIsReportedAndThePageStillBuilt) {
    GlobalVariables ws = TwoTiles(0);
    PrintCertificate certificate(ws);
    certificate.ProgramDirectory = test::ScratchDir("NoWatermark");
    const PageDescription page = certificate.PrintDocument();
    EXPECT_TRUE(page.Pages.at(0).Pictures.empty());
    ASSERT_EQ(page.Warnings.size(), 1u);
    EXPECT_NE(page.Warnings[0].find("Watermark.jpg"), std::string::npos);
    EXPECT_EQ(page.TextLines().size(), 12u + 5u + 3u + 2u + 7u);

    // A file that is not a JPEG is treated the same way.
    std::ofstream(certificate.ProgramDirectory / "Watermark.jpg") << "not a picture";
    EXPECT_EQ(certificate.PrintDocument().Warnings.size(), 1u);
}

TEST(PrintCertificate, IncompleteTablesAreRefused) {
    GlobalVariables ws = TwoTiles(0);
    ws.TileCount = 5;
    PrintCertificate certificate(ws);
    EXPECT_THROW(certificate.PrintDocument(), Error);
}

TEST(JpegInfo, FrameHeaderGivesSizeAndDamagedFilesAreRefused) {
    const JpegInfo info = ReadJpegInfo(test::DataPath("report/Watermark.jpg"));
    EXPECT_EQ(info.Width, 240);
    EXPECT_EQ(info.Height, 200);
    EXPECT_EQ(info.Components, 3);
    EXPECT_THROW(ReadJpegInfo(std::string("\xFF\xD8\xFF\xE0\x00\x10JFIF", 10), "cut.jpg"),
                 ParseError);
    EXPECT_THROW(ReadJpegInfo(std::string("GIF89a"), "x.gif"), ParseError);
    EXPECT_THROW(ReadJpegInfo(test::DataPath("report/none.jpg")), IoError);
}

// ---- performance certificate --------------------------------------------------------------------

struct PerformanceCertificate : ::testing::Test {
    GlobalVariables ws;
    PrintPerformance printer{ws};
    void SetUp() override {
        printer.ProgramDirectory = test::DataPath("report");
        printer.DateText = "04/02/2024";
    }
    // The page's lines after the common header block and paragraph.
    static std::vector<std::string> Table(const PageDescription& page) {
        const auto lines = page.TextLines();
        const auto validity = std::find(lines.begin(), lines.end(), kValidity);
        return {validity + 2, lines.end()};
    }
};

TEST_F(PerformanceCertificate, EveryLineOfTheSciPageIsAsSpecified) {
    // Corrected SCI DE 0.4, 0.5 (at the 0.5 limit: passes on paper), 0.9 (fails).
    test::FillSamples(ws, 3, [](int s) { return s == 0 ? 0.4 : s == 1 ? 0.5 : 0.9; });
    ws.SampleNames = {"Ivory", "A sample name that is far longer than thirty-five", "Slate"};
    ws.SingleSampleTolerance = 0.5;
    ws.AverageTolerance = 0.7;
    const PageDescription page = printer.PrintSCIPerformanceData();
    const auto lines = page.TextLines();

    std::vector<std::string> expected = HeaderLines();
    const std::vector<std::string> rest = {
        "The referenced Target Instrument has been compared to the master instrument listed below. "
        "The test results below show the conformance of the",
        "Target Instrument to the Master, based on the set of samples listed below. The reported "
        "data is shown for CIE(1976) L*a*b*, Ill D65 10 Observer.",
        kValidity,
        " ",
        "                      SCI Data",
        "Sample Name       DL*   Da*  Db*  DE",
        "-----------      ---   ---  ---  ---",
        "Ivory" + Blanks(30) + "-0.24" + Blanks(6) + " 0.19" + Blanks(6) + " 0.26" + Blanks(5) +
            " 0.40 ",
        "A sample name that is far longer th" + std::string("-0.30") + Blanks(6) + " 0.24" +
            Blanks(6) + "-0.32" + Blanks(5) + " 0.50 ",
        "Slate" + Blanks(30) + "-0.54" + Blanks(6) + " 0.43" + Blanks(6) + " 0.58" + Blanks(5) +
            " 0.90 <FAIL",
        "-----------                      ---",
        "Average DE" + Blanks(22) + "0.60 ",
        "Total Number of Samples  :  3 ",
        "Number of Samples PASSED :  2 ",
        "Number of Samples FAILED :  1 ",
        "",
        "",
        "Single Sample DE Limit   : 0.50",
        "Average Sample DE Limit  : 0.70",
        "The Target Instrument has PASSED",
        " ",
        " ",
        "Certified by : ___________________________ Name : ___________________________",
        " ",
        "                                           Date : 04/02/2024",
    };
    expected.insert(expected.end(), rest.begin(), rest.end());
    EXPECT_EQ(lines, expected);
    EXPECT_EQ(printer.Passed, 2);
    EXPECT_EQ(printer.Failed, 1);
}

TEST_F(PerformanceCertificate, FailedSamplesAreCountedButOnlyTheAverageDecides) {
    // Three samples above a 1.0 single limit, average 0.58 below the 0.9 average limit.
    const double de[] = {1.2, 0.1, 1.5, 0.2, 1.1, 0.3, 0.2, 0.2, 0.45};
    test::FillSamples(ws, 9, [&](int s) { return de[s]; });
    ws.SingleSampleTolerance = 1.0;
    ws.AverageTolerance = 0.9;
    const auto table = Table(printer.PrintSCIPerformanceData());
    EXPECT_EQ(std::count_if(table.begin(), table.end(),
                            [](const std::string& l) {
                                return l.size() > 6 && l.substr(l.size() - 6) == " <FAIL";
                            }),
              3);
    EXPECT_NE(std::find(table.begin(), table.end(), "Number of Samples FAILED :  3 "), table.end());
    EXPECT_NE(std::find(table.begin(), table.end(), "Total Number of Samples  :  9 "), table.end());
    EXPECT_NE(std::find(table.begin(), table.end(), "The Target Instrument has PASSED"),
              table.end());

    // An average above its limit fails the instrument even with no sample failing.
    ws.SingleSampleTolerance = 5.0;
    ws.AverageTolerance = 0.5;
    const auto failed = Table(printer.PrintSCIPerformanceData());
    EXPECT_NE(std::find(failed.begin(), failed.end(), "Number of Samples FAILED :  0 "),
              failed.end());
    EXPECT_NE(std::find(failed.begin(), failed.end(), "The Target Instrument has FAILED"),
              failed.end());
    EXPECT_NE(std::find_if(failed.begin(), failed.end(),
                           [](const std::string& l) {
                               return l.rfind("Average DE", 0) == 0 &&
                                      l.substr(l.size() - 6) == " <FAIL";
                           }),
              failed.end());
}

TEST_F(PerformanceCertificate, AnAverageEqualToItsLimitPasses) {
    test::FillSamples(ws, 2, [](int s) { return s == 0 ? 0.25 : 0.75; });
    ws.AverageTolerance = 0.5;
    ws.SingleSampleTolerance = 0.5;
    const auto table = Table(printer.PrintSCIPerformanceData());
    EXPECT_DOUBLE_EQ(printer.AverageDE, 0.5);
    EXPECT_NE(std::find(table.begin(), table.end(), "Average DE" + Blanks(22) + "0.50 "),
              table.end());
    EXPECT_NE(std::find(table.begin(), table.end(), "The Target Instrument has PASSED"),
              table.end());
    EXPECT_NE(std::find(table.begin(), table.end(), "Average Sample DE Limit  : 0.50"),
              table.end());
}

TEST_F(PerformanceCertificate, SceAndHunterPagesUseTheirOwnDataAndTexts) {
    test::FillSamples(ws, 2, [](int) { return 0.4; });  // SCE corrected DE is 1.0 (x2.5)
    ws.ColorSpace = 2;
    ws.SingleSampleTolerance = 0.8;
    const PageDescription page = printer.PrintSCEPerformanceData();
    const auto lines = page.TextLines();
    EXPECT_EQ(lines[13],
              "Target Instrument to the Master, based on the set of samples listed below. The "
              "reported data is shown for Hunter Lab, Ill D65 10 Observer.");
    const auto table = Table(page);
    EXPECT_EQ(table[0], "                      SCE Data");
    EXPECT_EQ(table[1], "Sample Name       DL    Da   Db   DE");
    EXPECT_EQ(table[3].substr(table[3].size() - 11), " 1.00 <FAIL");
    EXPECT_DOUBLE_EQ(printer.AverageDE, 1.0);
}

TEST_F(PerformanceCertificate, ALongFandeckContinuesOnFurtherPagesInOrder) {
    test::FillSamples(ws, 400, [](int s) { return 0.01 * (s % 150); });
    const PageDescription page = printer.PrintSCIPerformanceData();
    EXPECT_GE(page.Pages.size(), 3u);
    EXPECT_EQ(page.Pages[0].Pictures.size(), 1u);
    EXPECT_TRUE(page.Pages[1].Pictures.empty());
    const auto lines = page.TextLines();
    int next = 1;
    for (const auto& line : lines) {
        if (line.rfind("Sample ", 0) == 0 && line.rfind("Sample Name", 0) != 0) {
            EXPECT_EQ(line.substr(0, 35),
                      ("Sample " + std::to_string(next) + Blanks(35)).substr(0, 35));
            ++next;
        }
    }
    EXPECT_EQ(next, 401);
    for (const auto& p : page.Pages) {
        for (const auto& t : p.Texts) {
            EXPECT_LE(t.Y + LineHeight(t.Font), page.PageHeight - kPageMargin);
        }
    }
    EXPECT_EQ(lines.back(), "                                           Date : 04/02/2024");
}

}  // namespace
}  // namespace tintara
