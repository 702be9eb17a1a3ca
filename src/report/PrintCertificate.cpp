#include "report/PrintCertificate.h"

#include <algorithm>
#include <fstream>
#include <sstream>

#include "report/ReportText.h"
#include "workspace/Error.h"
#include "workspace/ProgramFiles.h"
#include "workspace/Utf8Text.h"

namespace tintara {

namespace {

constexpr int32_t kWatermarkWidth = 6 * kTwipsPerInch;

}  // namespace

JpegInfo ReadJpegInfo(const std::string& bytes, const std::string& sourceName) {
    auto byte = [&](std::size_t i) { return static_cast<unsigned char>(bytes[i]); };
    if (bytes.size() < 4 || byte(0) != 0xFF || byte(1) != 0xD8) {
        throw ParseError(sourceName, 0, "not a JPEG picture");
    }
    std::size_t pos = 2;
    while (pos + 4 <= bytes.size()) {
        if (byte(pos) != 0xFF)
            throw ParseError(sourceName, 0, "damaged JPEG marker sequence");
        const unsigned marker = byte(pos + 1);
        if (marker == 0xFF) {  // fill byte
            ++pos;
            continue;
        }
        if (marker == 0xD8 || marker == 0x01 || (marker >= 0xD0 && marker <= 0xD7)) {
            pos += 2;
            continue;
        }
        const std::size_t length = (byte(pos + 2) << 8) | byte(pos + 3);
        if (length < 2 || pos + 2 + length > bytes.size())
            break;
        // Start-of-frame markers C0..CF, except DHT (C4), JPG (C8) and DAC (CC).
        if (marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 &&
            marker != 0xCC) {
            if (length < 8)
                break;
            JpegInfo info;
            info.Height = (byte(pos + 5) << 8) | byte(pos + 6);
            info.Width = (byte(pos + 7) << 8) | byte(pos + 8);
            info.Components = byte(pos + 9);
            if (info.Width == 0 || info.Height == 0)
                break;
            return info;
        }
        if (marker == 0xD9 || marker == 0xDA)
            break;  // no frame header before the image data
        pos += 2 + length;
    }
    throw ParseError(sourceName, 0, "the JPEG picture has no readable frame header");
}

JpegInfo ReadJpegInfo(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    if (!in)
        throw IoError("Cannot open the picture " + file.string() + ".");
    std::ostringstream bytes;
    bytes << in.rdbuf();
    return ReadJpegInfo(bytes.str(), file.string());
}

std::optional<PagePicture> WatermarkPicture(PageDescription& page,
                                            const std::filesystem::path& programDirectory) {
    const auto file = ProgramFile(programDirectory, kWatermarkName);
    try {
        const JpegInfo info = ReadJpegInfo(file);
        PagePicture picture;
        picture.File = file;
        picture.Width = std::min(kWatermarkWidth, page.Paper.PrintableWidth());
        picture.Height =
            static_cast<int32_t>(static_cast<long long>(picture.Width) * info.Height / info.Width);
        picture.X = (page.PageWidth - picture.Width) / 2;
        picture.Y = kWatermarkTop;
        return picture;
    } catch (const Error& e) {
        page.Warnings.push_back(std::string("The watermark was left out: ") + e.what());
        return std::nullopt;
    }
}

void PlaceWatermark(PageDescription& page, const std::filesystem::path& programDirectory) {
    const auto picture = WatermarkPicture(page, programDirectory);
    if (!picture)
        return;
    if (page.Pages.empty())
        page.Pages.emplace_back();
    for (Page& each : page.Pages)
        each.Pictures.push_back(*picture);
}

void PrintHeaderBlock(PagePrinter& printer, const CertificateIdentity& id,
                      const std::vector<std::string>& paragraph) {
    printer.Font = PageFont{"Times New Roman", 24.0, false, false};
    printer.Print(" ");
    printer.Print("               Certificate of Instrument Performance");
    printer.Font.Size = 12.0;
    printer.Print(" ");
    printer.Print(" ");

    auto identification = [&](const std::string& role, const InstrumentIdentification& one) {
        const auto lines = IdentificationLines(role, one);
        printer.Font.Size = 12.0;
        printer.Print(lines[0]);
        printer.Font.Size = 10.0;
        printer.Print(lines[1]);
        printer.Print(lines[2]);
        printer.Print(" ");
    };
    identification("Master", id.Master);
    identification("Target", id.Target);

    printer.Font.Size = 8.0;
    for (const auto& line : paragraph)
        printer.Print(line);
    printer.Font.Size = 10.0;
    printer.Font.Italic = true;
    printer.Print(
        "********** Only when used in conjunction with Tintara software do these results "
        "have validity. **********");
    printer.Font.Italic = false;
    printer.Print(" ");
}

std::string IdentificationSummary(const CertificateIdentity& id) {
    return "Master Instrument: " + id.Master.Name + "   Status: " + id.Master.Status +
           "    CalTile # " + id.Master.CalTile + "      Target Instrument: " + id.Target.Name +
           "   Status: " + id.Target.Status + "    CalTile # " + id.Target.CalTile;
}

void PrintContinuationHeader(PagePrinter& printer, const CertificateIdentity& id,
                             const std::vector<PrintLine>& captions) {
    printer.Font = PageFont{"Times New Roman", 16.0, false, false};
    printer.Print("Certificate of Instrument Performance");
    printer.Font = PageFont{"Times New Roman", 9.0, false, false};
    printer.Print(IdentificationSummary(id));
    printer.Print(" ");
    for (const PrintLine& line : captions) {
        printer.Font = line.Font;
        printer.Print(line.Text);
    }
}

void StartTable(PagePrinter& printer, const CertificateIdentity& id,
                const std::vector<PrintLine>& captions) {
    for (const PrintLine& line : captions) {
        printer.Font = line.Font;
        printer.Print(line.Text);
    }
    printer.PageHeader = [id, captions](PagePrinter& p) {
        PrintContinuationHeader(p, id, captions);
    };
    printer.Font = PageFont{"Courier New", 6.0, false, false};
}

void PrintTogether(PagePrinter& printer, const std::vector<PrintLine>& lines) {
    int32_t height = 0;
    for (const PrintLine& line : lines)
        height += LineHeight(line.Font);
    printer.KeepTogether(height);
    for (const PrintLine& line : lines) {
        printer.Font = line.Font;
        printer.Print(line.Text);
    }
}

std::vector<PrintLine> SignatureLines(double size, const std::string& dateText,
                                      const PageSetup& paper) {
    const std::string certified =
        "Certified by : ___________________________ Name : ___________________________";
    const std::string date = "                                           Date : " + dateText;
    const std::size_t columns = std::max(TextColumns(certified), TextColumns(date));
    const PageFont font{"Courier New", FitFixedPitch(size, columns, paper.PrintableWidth()), false,
                        false};
    return {{font, " "}, {font, " "}, {font, certified}, {font, " "}, {font, date}};
}

void PrintCertificate::CalculateAverageDE() {
    const AverageDE average = MeanTileDE(m_ws);
    AverageRawDE = average.Raw;
    AverageFinalDE = average.Final;
}

PageDescription PrintCertificate::PrintDocument() {
    RequireTileData(m_ws);
    PageDescription page(Paper);
    page.Pages.emplace_back();

    PagePrinter printer(page);
    printer.FooterHeight = LineHeight(kPageNumberFont);
    const bool hunter = m_ws.ColorSpace != 0;
    const CertificateIdentity id{MasterIdentification(m_ws), TargetIdentification(m_ws)};
    PrintHeaderBlock(
        printer, id,
        {"The referenced target instrument has been checked and profiled to the master instrument "
         "listed below. The test results below show the conformance of the target",
         hunter ? "instrument to the master on a special set of 32 ceramic tiles designed for this "
                  "purpose.  The reported data is shown for Hunter Lab, Ill D65, 10\u00BA observer."
                : "instrument to the master on a special set of 32 ceramic tiles designed for this "
                  "purpose.  The reported data is shown for CIE (1976) L*a*b*, Ill D65, 10\u00BA "
                  "observer.",
         "This profile in no way changes the response characteristics of the instrument and "
         "therefore does not change the raw data coming from the instrument."});

    const PageFont courier12{"Courier New", 12.0, false, false};
    const std::vector<PrintLine> captions = {
        {courier12, "                     Actual Data             Correlated Data"},
        {courier12, hunter ? "Tilename         DL    Da   Db   DE         DL    Da   Db   DE"
                           : "Tilename         DL*   Da*  Db*  DE         DL*   Da*  Db*  DE"},
        {courier12, "-----------      ---   ---  ---  ---        ---   ---  ---  ---"}};
    StartTable(printer, id, captions);
    for (int i = 0; i < m_ws.TileCount; ++i) {
        printer.Print(PadCut(m_ws.TileNames[i], 35) + DeltaColumns(m_ws.RawDE.Row(i)) +
                      std::string(17, ' ') + DeltaColumns(m_ws.FinalDE.Row(i)));
    }

    CalculateAverageDE();
    std::vector<PrintLine> closing = {
        {courier12, "-----------                      ---                        ---"},
        {courier12, "Average DE            Actual ->" + AverageValue(AverageRawDE) +
                        "         Correlated ->" + AverageValue(AverageFinalDE)}};
    for (PrintLine& line : SignatureLines(12.0, DateText, Paper))
        closing.push_back(std::move(line));
    PrintTogether(printer, closing);

    PlaceWatermark(page, ProgramDirectory);
    NumberPages(page, kPageNumberFont);
    return page;
}

}  // namespace tintara
