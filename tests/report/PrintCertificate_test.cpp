// The two certificates as page descriptions: every line's text, fonts, watermark, verdict rules,
// paper and pages.
#include "report/PrintCertificate.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

#include "report/PrintPerformance.h"
#include "report/ReportFixtures.h"
#include "report/ReportText.h"
#include "workspace/Error.h"
#include "workspace/Utf8Text.h"

namespace tintara {
namespace {

std::string B(int n) {
    return std::string(n, ' ');
}

bool Has(const std::vector<std::string>& lines, const std::string& line) {
    return std::find(lines.begin(), lines.end(), line) != lines.end();
}

// Two tiles with hand-checked values; the unused slot 2 holds large DEs that must not count.
GlobalVariables TwoTilesWorkspace(int16_t colorSpace) {
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

const std::string kValidity =
    "********** Only when used in conjunction with Tintara software do these results have "
    "validity. **********";

// The title and both instruments' identification, common to both certificates, then `rest`.
std::vector<std::string> WithHeader(const std::vector<std::string>& rest) {
    std::vector<std::string> lines = {
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
        " "};
    lines.insert(lines.end(), rest.begin(), rest.end());
    for (const char* tail : {" ", " ",
                             "Certified by : ___________________________ Name : "
                             "___________________________",
                             " ", "                                           Date : 04/02/2024"})
        lines.push_back(tail);
    return lines;
}

PageDescription Certificate(GlobalVariables& ws, const std::filesystem::path& programDirectory) {
    PrintCertificate certificate(ws);
    certificate.ProgramDirectory = programDirectory;
    certificate.DateText = "04/02/2024";
    return certificate.PrintDocument();
}

TEST(PrintCertificate, EveryLineOfTheCieLabPageIsAsSpecified) {
    GlobalVariables ws = TwoTilesWorkspace(0);
    const PageDescription page = Certificate(ws, test::DataPath("report"));
    EXPECT_EQ(
        page.TextLines(),
        WithHeader(
            {"The referenced target instrument has been checked and profiled to the master "
             "instrument listed below. The test results below show the conformance of the "
             "target",
             "instrument to the master on a special set of 32 ceramic tiles designed for this "
             "purpose.  The reported data is shown for CIE (1976) L*a*b*, Ill D65, "
             "10\xC2\xBA observer.",
             "This profile in no way changes the response characteristics of the instrument "
             "and therefore does not change the raw data coming from the instrument.",
             kValidity, " ", "                     Actual Data             Correlated Data",
             "Tilename         DL*   Da*  Db*  DE         DL*   Da*  Db*  DE",
             "-----------      ---   ---  ---  ---        ---   ---  ---  ---",
             "White" + B(30) + " 0.50" + B(6) + "-0.50" + B(6) + " 1.25" + B(5) + " 1.50" + B(17) +
                 "-0.05" + B(6) + " 0.10" + B(6) + " 0.00" + B(5) + " 0.20",
             "Deep Blue" + B(26) + "-2.00" + B(6) + " 3.46" + B(6) + " 10.00" + B(5) + " 12.00" +
                 B(17) + " 0.25" + B(6) + "-0.75" + B(6) + " 1.00" + B(5) + " 1.30",
             "-----------                      ---                        ---",
             "Average DE            Actual -> 6.75         Correlated -> 0.75"}));
    EXPECT_EQ(page.Pages.size(), 1u);
    EXPECT_TRUE(page.Warnings.empty());

    ws = TwoTilesWorkspace(2);
    const auto lines = Certificate(ws, test::DataPath("report")).TextLines();
    EXPECT_TRUE(lines[13].ends_with("shown for Hunter Lab, Ill D65, 10\xC2\xBA observer."))
        << lines[13];
    EXPECT_EQ(lines[18], "Tilename         DL    Da   Db   DE         DL    Da   Db   DE");
    for (const auto& line : lines)
        EXPECT_TRUE(line == kValidity || line.find('*') == std::string::npos) << line;
}

TEST(PrintCertificate, FontsPositionsAndTheWatermarkFollowThePrintPosition) {
    GlobalVariables ws = TwoTilesWorkspace(0);
    PageDescription page = Certificate(ws, test::DataPath("report"));
    const auto& texts = page.Pages.at(0).Texts;
    ASSERT_EQ(texts.size(), 29u);
    EXPECT_EQ(texts[1].Font, (PageFont{"Times New Roman", 24}));  // the title
    EXPECT_EQ(texts[21].Font, (PageFont{"Courier New", 6}));      // a tile line
    // Lines run down the page without overlapping, inside the margins; italics end with the line.
    for (std::size_t i = 1; i < texts.size(); ++i) {
        EXPECT_EQ(texts[i].Y, texts[i - 1].Y + LineHeight(texts[i - 1].Font)) << i;
        EXPECT_EQ(texts[i].X, kPageMargin);
        EXPECT_EQ(texts[i].Font.Italic, i == 15) << texts[i].Text;
    }
    EXPECT_LE(texts.back().Y + LineHeight(texts.back().Font), page.PageHeight - kPageMargin);
    ASSERT_EQ(page.Pages[0].Pictures.size(), 1u);
    const PagePicture& watermark = page.Pages[0].Pictures[0];
    EXPECT_EQ(watermark.Y, 3000);
    EXPECT_EQ(watermark.File, test::DataPath("report") / "Watermark.jpg");
    EXPECT_EQ(watermark.X * 2 + watermark.Width, page.PageWidth);  // centred
    EXPECT_EQ(watermark.Height * 240, watermark.Width * 200);      // the picture's aspect

    // A missing or damaged watermark is left out with a warning; the text stays the same.
    const auto dir = test::ScratchDir("NoWatermark");
    const std::vector<std::string> lines = page.TextLines();
    page = Certificate(ws, dir);
    EXPECT_TRUE(page.Pages.at(0).Pictures.empty());
    ASSERT_EQ(page.Warnings.size(), 1u);
    EXPECT_NE(page.Warnings[0].find("Watermark.jpg"), std::string::npos);
    EXPECT_EQ(page.TextLines(), lines);
    std::ofstream(dir / "Watermark.jpg") << "\xFF\xD8\xFF\xE0 cut short";
    EXPECT_EQ(Certificate(ws, dir).Warnings.size(), 1u);
    EXPECT_THROW(ReadJpegInfo(std::string("GIF89a"), "x.gif"), ParseError);
    ws.TileCount = 5;
    EXPECT_THROW(Certificate(ws, dir), Error);
}

// ---- performance certificate --------------------------------------------------------------------

struct PerformanceCertificate : ::testing::Test {
    GlobalVariables ws;
    PrintPerformance printer{ws};
    void SetUp() override {
        printer.ProgramDirectory = test::DataPath("report");
        printer.DateText = "04/02/2024";
    }
    // The page's lines after the validity line and its blank.
    std::vector<std::string> Table(bool sci = true) {
        const auto lines =
            (sci ? printer.PrintSCIPerformanceData() : printer.PrintSCEPerformanceData())
                .TextLines();
        return {std::find(lines.begin(), lines.end(), kValidity) + 2, lines.end()};
    }
};

TEST_F(PerformanceCertificate, EveryLineOfTheSciPageIsAsSpecified) {
    // Corrected SCI DE 0.4, 0.5 (at the 0.5 limit: passes on paper), 0.9 (fails).
    test::FillSamples(ws, 3, [](int s) { return s == 0 ? 0.4 : s == 1 ? 0.5 : 0.9; });
    ws.SampleNames = {"Ivory", "A sample name that is far longer than thirty-five", "Slate"};
    ws.SingleSampleTolerance = 0.5;
    ws.AverageTolerance = 0.7;
    EXPECT_EQ(
        printer.PrintSCIPerformanceData().TextLines(),
        WithHeader(
            {"The referenced Target Instrument has been compared to the master instrument listed "
             "below. The test results below show the conformance of the",
             "Target Instrument to the Master, based on the set of samples listed below. The "
             "reported data is shown for CIE(1976) L*a*b*, Ill D65 10 Observer.",
             kValidity,
             " ",
             "                      SCI Data",
             "Sample Name       DL*   Da*  Db*  DE",
             "-----------      ---   ---  ---  ---",
             "Ivory" + B(30) + "-0.24" + B(6) + " 0.19" + B(6) + " 0.26" + B(5) + " 0.40 ",
             "A sample name that is far longer th-0.30" + B(6) + " 0.24" + B(6) + "-0.32" + B(5) +
                 " 0.50 ",
             "Slate" + B(30) + "-0.54" + B(6) + " 0.43" + B(6) + " 0.58" + B(5) + " 0.90 <FAIL",
             "-----------                      ---",
             "Average DE" + B(22) + "0.60 ",
             "Total Number of Samples  :  3 ",
             "Number of Samples PASSED :  2 ",
             "Number of Samples FAILED :  1 ",
             "",
             "",
             "Single Sample DE Limit   : 0.50",
             "Average Sample DE Limit  : 0.70",
             "The Target Instrument has PASSED"}));
    EXPECT_EQ(printer.Passed, 2);
    EXPECT_EQ(printer.Failed, 1);
}

TEST_F(PerformanceCertificate, OnlyTheAverageDecidesAndAnAverageAtItsLimitPasses) {
    // Three samples above a 1.0 single limit, average 0.58 below the 0.9 average limit.
    const double de[] = {1.2, 0.1, 1.5, 0.2, 1.1, 0.3, 0.2, 0.2, 0.45};
    test::FillSamples(ws, 9, [&](int s) { return de[s]; });
    ws.SingleSampleTolerance = 1.0;
    ws.AverageTolerance = 0.9;
    auto table = Table();
    EXPECT_EQ(std::count_if(table.begin(), table.end(),
                            [](const std::string& l) { return l.ends_with(" <FAIL"); }),
              3);
    EXPECT_TRUE(Has(table, "Number of Samples FAILED :  3 "));
    EXPECT_TRUE(Has(table, "The Target Instrument has PASSED"));
    // An average above its limit fails the instrument even with no sample failing.
    ws.SingleSampleTolerance = 5.0;
    ws.AverageTolerance = 0.5;
    table = Table();
    EXPECT_TRUE(Has(table, "Number of Samples FAILED :  0 "));
    EXPECT_TRUE(Has(table, "Average DE" + B(22) + "0.58 <FAIL"));
    EXPECT_TRUE(Has(table, "The Target Instrument has FAILED"));
    // Equal to its limit passes.
    test::FillSamples(ws, 2, [](int s) { return s == 0 ? 0.25 : 0.75; });
    table = Table();
    EXPECT_TRUE(Has(table, "Average DE" + B(22) + "0.50 "));
    EXPECT_TRUE(Has(table, "The Target Instrument has PASSED"));
}

TEST_F(PerformanceCertificate, SceAndHunterPagesUseTheirOwnDataAndTexts) {
    test::FillSamples(ws, 2, [](int) { return 0.4; });  // SCE corrected DE is 1.0
    ws.ColorSpace = 2;
    ws.SingleSampleTolerance = 0.8;
    const auto table = Table(false);
    EXPECT_EQ(table[0] + "|" + table[1],
              "                      SCE Data|Sample Name       DL    Da   Db   DE");
    EXPECT_TRUE(table[3].ends_with(" 1.00 <FAIL")) << table[3];
    EXPECT_TRUE(printer.PrintSCEPerformanceData().TextLines()[13].ends_with(
        "shown for Hunter Lab, Ill D65 10 Observer."));
}

// What every page of a long certificate must carry, and where its lines may go.
void ExpectEveryPageIdentifiedAndInside(const PageDescription& doc, const GlobalVariables& ws,
                                        const std::string& caption) {
    const std::size_t pages = doc.Pages.size();
    for (std::size_t n = 0; n < pages; ++n) {
        const auto& texts = doc.Pages[n].Texts;
        std::vector<std::string> lines;
        for (const auto& t : texts) {
            lines.push_back(t.Text);
            EXPECT_GE(t.Y, doc.Paper.MarginTop);
            EXPECT_LE(t.Y + LineHeight(t.Font), doc.Paper.PrintableBottom()) << t.Text;
            if (t.Font.Family == "Courier New") {  // its width is known exactly
                EXPECT_LE(t.X + FixedPitchWidth(TextColumns(t.Text), t.Font.Size),
                          doc.PageWidth - doc.Paper.MarginRight)
                    << t.Text;
            }
        }
        const std::string label = "page " + std::to_string(n + 1);
        EXPECT_EQ(doc.Pages[n].Pictures.size(), 1u) << label;
        EXPECT_TRUE(std::any_of(lines.begin(), lines.end(), [](const std::string& l) {
            return l.find("Certificate of Instrument Performance") != std::string::npos;
        })) << label;
        EXPECT_TRUE(n == 0 || Has(lines, IdentificationSummary(
                                             {MasterIdentification(ws), TargetIdentification(ws)})))
            << label;
        EXPECT_TRUE(Has(lines, caption)) << label;
        EXPECT_EQ(texts.back().Text,
                  "Page " + std::to_string(n + 1) + " of " + std::to_string(pages));
        EXPECT_EQ(texts.back().Align, TextAlign::Right);
        EXPECT_EQ(texts.back().X, doc.PageWidth - doc.Paper.MarginRight);
    }
}

TEST_F(PerformanceCertificate, ALongFandeckRepeatsItsHeaderOnNumberedPagesAndEndsTogether) {
    const auto de = [](int s) { return 0.01 * (s % 150); };
    test::FillSamples(ws, 1200, de);
    ws.SingleSampleTolerance = 1.0;
    int failed = 0;
    for (int s = 0; s < 1200; ++s)
        failed += de(s) > 1.0;
    for (const PageSetup& paper : {PageSetup::Letter(), PageSetup::A4()}) {
        printer.Paper = paper;
        const PageDescription doc = printer.PrintSCIPerformanceData();
        EXPECT_EQ(doc.PageWidth, paper.Width);
        EXPECT_EQ(doc.PageHeight, paper.Height);
        ASSERT_GE(doc.Pages.size(), 8u);
        ExpectEveryPageIdentifiedAndInside(doc, ws, "Sample Name       DL*   Da*  Db*  DE");
        int next = 1;
        for (const auto& p : doc.Pages) {
            for (const auto& t : p.Texts)
                next += t.Text.starts_with("Sample " + std::to_string(next) + " ");
        }
        EXPECT_EQ(next, 1201) << "every sample, in order";
        // The verdict, the limits and the signature lines share the last page.
        std::vector<std::string> last;
        for (const auto& t : doc.Pages.back().Texts)
            last.push_back(t.Text);
        for (const std::string& line :
             {std::string("Average DE") + B(22) + "0.75 <FAIL",
              "Number of Samples FAILED :  " + std::to_string(failed) + " ",
              std::string("Single Sample DE Limit   : 1.00"),
              std::string("The Target Instrument has FAILED"),
              std::string("                                           Date : 04/02/2024")})
            EXPECT_TRUE(Has(last, line)) << line;
    }
}

TEST_F(PerformanceCertificate, PagesComeOneAtATimeNumberedAndTheSameOnEveryPass) {
    // Names of wide characters cut by columns: the counting pass (which formats no sample line)
    // must still find the pages the drawing pass fills.
    test::FillSamples(ws, 700, [](int s) { return 0.01 * (s % 120); });
    for (auto& name : ws.SampleNames)
        name = "白色タイル " + name + " 白色タイル白色タイル白色タイル";
    printer.ProgramDirectory = "/nonexistent-folder";
    PerformanceDocument document = printer.SCIPerformanceDocument();
    ASSERT_EQ(document.Outline().Warnings.size(), 1u) << "known before the first page";
    EXPECT_TRUE(document.Outline().Pages.empty());
    std::vector<std::string> numbers;
    std::size_t samples = 0;
    document.Produce([&](Page& page) {
        EXPECT_TRUE(page.Pictures.empty());
        numbers.push_back(page.Texts.back().Text);
        for (const auto& t : page.Texts)
            samples += t.Text.starts_with("白色タイル Sample ");
    });
    ASSERT_GE(numbers.size(), 5u);
    const std::string count = std::to_string(numbers.size());
    for (std::size_t n = 0; n < numbers.size(); ++n)
        EXPECT_EQ(numbers[n], "Page " + std::to_string(n + 1) + " of " + count);
    EXPECT_EQ(samples, 700u);
    EXPECT_EQ(printer.Passed + printer.Failed, 700);
    // Produced again (a printer asking twice), the pages are the same.
    std::size_t again = 0;
    document.Produce([&](Page& page) { EXPECT_EQ(page.Texts.back().Text, numbers.at(again++)); });
    EXPECT_EQ(again, numbers.size());
    ws.SampleNames.resize(3);
    EXPECT_THROW(printer.SCEPerformanceDocument(), Error);
}

TEST(PrintCertificate, ALongTileSetContinuesOnNumberedPagesAndAWideNameKeepsTheColumns) {
    GlobalVariables ws = TwoTilesWorkspace(0);
    ws.DimensionTileArrays(300);
    ws.TileNames.assign(301, "Grün glänzend Fliese Nr. 10 äöü 白色タイル");
    PrintCertificate certificate(ws);
    certificate.ProgramDirectory = test::DataPath("report");
    certificate.DateText = "04/02/2024";
    for (const PageSetup& paper : {PageSetup::Letter(), PageSetup::A4()}) {
        certificate.Paper = paper;
        const PageDescription doc = certificate.PrintDocument();
        ASSERT_GE(doc.Pages.size(), 2u);
        ExpectEveryPageIdentifiedAndInside(
            doc, ws, "Tilename         DL*   Da*  Db*  DE         DL*   Da*  Db*  DE");
        // Cut by columns, a wide character counting two: "色" would straddle column 35, so a
        // blank takes its place.
        const auto lines = doc.TextLines();
        const auto tile = std::find_if(lines.begin(), lines.end(),
                                       [](const std::string& l) { return l.starts_with("Grün"); });
        ASSERT_NE(tile, lines.end());
        EXPECT_TRUE(tile->starts_with("Grün glänzend Fliese Nr. 10 äöü 白  0.00")) << *tile;
        EXPECT_EQ(TextColumns(*tile), 35u + TextColumns(DeltaColumns(ws.RawDE.Row(0))) * 2 + 17);
        // The signature lines are the widest; they are set small enough to fit.
        EXPECT_TRUE(lines[lines.size() - 2].ends_with("Date : 04/02/2024"));
    }
}

}  // namespace
}  // namespace tintara
