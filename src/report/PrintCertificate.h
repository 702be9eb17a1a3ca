// The Certificate of Instrument Performance of a profiling run, built as a page description.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "report/PageDescription.h"
#include "report/ReportText.h"
#include "workspace/GlobalVariables.h"

namespace tintara {

inline constexpr const char* kWatermarkName = "Watermark.jpg";
// Top of the watermark picture on the page, twips.
inline constexpr int32_t kWatermarkTop = 3000;
// Margin of the printable area on every side unless the printer needs more, twips (half an inch).
inline constexpr int32_t kPageMargin = 720;

// Builds the one-page certificate of the last profiling run: the watermark, the title, the master
// and target identification, the explanatory paragraph, the tile table (raw and corrected DL, Da,
// Db, DE per tile, Format " ##0.00;-#0.00"), the averages and the signature lines. The table is set
// in "Courier New" so that its columns line up; the tile lines are at 6 points, the captions,
// dashes and averages at 12 points, which puts each average under its DE column. The signature
// lines are set as large as 12 points allows within the paper's printable width. A table too long
// for one page continues on pages that repeat the title, the identification and the captions,
// every page numbered; the averages and signature lines stay together on the last page.
class PrintCertificate {
  public:
    explicit PrintCertificate(const GlobalVariables& ws) : m_ws(ws) {}

    std::filesystem::path ProgramDirectory;  // where Watermark.jpg is looked for
    std::string DateText;                    // printed after "Date : "
    PageSetup Paper;                         // US Letter with half-inch margins unless set

    // Mean DE of RawDE and FinalDE over the TileCount tiles of the set.
    double AverageRawDE = 0.0;
    double AverageFinalDE = 0.0;
    void CalculateAverageDE();

    // The page. A missing or unreadable watermark leaves the picture out and adds a warning.
    // Throws Error when the tile tables do not cover TileCount tiles.
    PageDescription PrintDocument();

  private:
    const GlobalVariables& m_ws;
};

// ---- pieces shared with the performance certificate ----

// Adds the watermark picture to every page, horizontally centred at kWatermarkTop, 6 inches wide
// (narrower when the printable width is less).
void PlaceWatermark(PageDescription& page, const std::filesystem::path& programDirectory);
// The same picture for a document made page by page; none, and a warning added to `page`, when
// the file is missing or unreadable.
std::optional<PagePicture> WatermarkPicture(PageDescription& page,
                                            const std::filesystem::path& programDirectory);

// The title, the master and target identification, `paragraph` at 8 points and the validity line.
// The two instruments a certificate names.
struct CertificateIdentity {
    InstrumentIdentification Master;
    InstrumentIdentification Target;
};

void PrintHeaderBlock(PagePrinter& printer, const CertificateIdentity& id,
                      const std::vector<std::string>& paragraph);

// What every further page of a certificate begins with: the title, one line naming the Master and
// the Target instrument, then `captions` (font and text of each table caption line).
struct PrintLine {
    PageFont Font;
    std::string Text;
};
void PrintContinuationHeader(PagePrinter& printer, const CertificateIdentity& id,
                             const std::vector<PrintLine>& captions);

// Prints the table's caption lines, makes every further page begin with the continuation header
// and these captions, and sets the 6-point "Courier New" of the table's lines.
void StartTable(PagePrinter& printer, const CertificateIdentity& id,
                const std::vector<PrintLine>& captions);

// The Master and Target on one line, as the further pages name them.
std::string IdentificationSummary(const CertificateIdentity& id);

// Prints `lines` on one page: a new page starts first unless all of them fit on this one.
void PrintTogether(PagePrinter& printer, const std::vector<PrintLine>& lines);

// The closing lines: two blank lines, "Certified by : ... Name : ...", a blank line and the date
// under "Name", in "Courier New" at `size` points or as much less as the printable width needs.
std::vector<PrintLine> SignatureLines(double size, const std::string& dateText,
                                      const PageSetup& paper);

// Font of the "Page n of m" line at the foot of the pages.
inline const PageFont kPageNumberFont{"Times New Roman", 9.0, false, false};

// Pixel size of a baseline or progressive JPEG file, read from its frame header.
struct JpegInfo {
    int Width = 0;
    int Height = 0;
    int Components = 0;  // 1 grey, 3 colour, 4 CMYK
};
// Throws IoError when the file cannot be read and ParseError when it is not a JPEG.
JpegInfo ReadJpegInfo(const std::filesystem::path& file);
JpegInfo ReadJpegInfo(const std::string& bytes, const std::string& sourceName);

}  // namespace tintara
