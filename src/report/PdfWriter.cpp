#include "report/PdfWriter.h"

#include <cctype>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <map>
#include <ostream>
#include <sstream>
#include <vector>

#include "report/PrintCertificate.h"
#include "report/ReportText.h"
#include "workspace/Error.h"

namespace tintara {

namespace {

// Code points of WinAnsi 0x80..0x9F (0 where the code page has no character).
constexpr char32_t kWinAnsiHigh[32] = {
    0x20AC, 0,      0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0,      0x017D, 0,      0,      0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0,      0x017E, 0x0178};

// The standard face for a family and style, and its ascent as a fraction of the size (the
// metric-compatible faces' ascents, so both renderers put baselines at the same height).
struct StandardFace {
    std::string name;
    double ascent;
};

StandardFace FaceFor(const PageFont& font) {
    std::string family;
    for (char c : font.Family)
        family += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    const int style = (font.Bold ? 1 : 0) + (font.Italic ? 2 : 0);
    if (family.find("courier") != std::string::npos || family.find("mono") != std::string::npos) {
        static const char* const names[] = {"Courier", "Courier-Bold", "Courier-Oblique",
                                            "Courier-BoldOblique"};
        return {names[style], 0.833};
    }
    if (family.find("times") != std::string::npos || family.find("serif") != std::string::npos) {
        if (family.find("sans") == std::string::npos) {
            static const char* const names[] = {"Times-Roman", "Times-Bold", "Times-Italic",
                                                "Times-BoldItalic"};
            return {names[style], 0.891};
        }
    }
    static const char* const names[] = {"Helvetica", "Helvetica-Bold", "Helvetica-Oblique",
                                        "Helvetica-BoldOblique"};
    return {names[style], 0.905};
}

std::string Number(double value) {
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%.2f", value);
    std::string text(buffer);
    while (text.back() == '0')
        text.pop_back();
    if (text.back() == '.')
        text.pop_back();
    return text == "-0" ? "0" : text;
}

std::string PdfString(const std::string& utf8) {
    std::string out = "(";
    for (unsigned char c : Utf8ToWinAnsi(utf8)) {
        if (c == '(' || c == ')' || c == '\\') {
            out += '\\';
            out += static_cast<char>(c);
        } else if (c < 0x20 || c >= 0x7F) {
            char buffer[8];
            std::snprintf(buffer, sizeof buffer, "\\%03o", c);
            out += buffer;
        } else {
            out += static_cast<char>(c);
        }
    }
    return out + ")";
}

std::string ReadAll(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    if (!in)
        throw IoError("Cannot open the picture " + file.string() + ".");
    std::ostringstream bytes;
    bytes << in.rdbuf();
    return bytes.str();
}

// Collects numbered objects and writes them with their cross-reference table.
class PdfFile {
  public:
    int Reserve() {
        m_objects.emplace_back();
        return static_cast<int>(m_objects.size());
    }
    void Set(int id, std::string body) { m_objects[id - 1] = std::move(body); }
    int Add(std::string body) {
        const int id = Reserve();
        Set(id, std::move(body));
        return id;
    }
    static std::string Stream(const std::string& dictionary, const std::string& data) {
        return "<< " + dictionary + " /Length " + std::to_string(data.size()) + " >>\nstream\n" +
               data + "\nendstream";
    }
    void Write(std::ostream& out, int root) const {
        std::string text = "%PDF-1.4\n%\xE2\xE3\xCF\xD3\n";
        std::vector<std::size_t> offsets;
        for (std::size_t i = 0; i < m_objects.size(); ++i) {
            offsets.push_back(text.size());
            text += std::to_string(i + 1) + " 0 obj\n" + m_objects[i] + "\nendobj\n";
        }
        const std::size_t xref = text.size();
        text += "xref\n0 " + std::to_string(m_objects.size() + 1) + "\n0000000000 65535 f \n";
        for (std::size_t offset : offsets) {
            char entry[24];
            std::snprintf(entry, sizeof entry, "%010zu 00000 n \n", offset);
            text += entry;
        }
        text += "trailer\n<< /Size " + std::to_string(m_objects.size() + 1) + " /Root " +
                std::to_string(root) + " 0 R >>\nstartxref\n" + std::to_string(xref) + "\n%%EOF\n";
        out << text;
    }

  private:
    std::vector<std::string> m_objects;
};

}  // namespace

std::string Utf8ToWinAnsi(const std::string& utf8) {
    std::string out;
    std::size_t i = 0;
    while (i < utf8.size()) {
        const auto lead = static_cast<unsigned char>(utf8[i]);
        char32_t cp = 0;
        int extra = 0;
        if (lead < 0x80) {
            cp = lead;
        } else if ((lead & 0xE0) == 0xC0) {
            cp = lead & 0x1F;
            extra = 1;
        } else if ((lead & 0xF0) == 0xE0) {
            cp = lead & 0x0F;
            extra = 2;
        } else if ((lead & 0xF8) == 0xF0) {
            cp = lead & 0x07;
            extra = 3;
        } else {
            out += '?';
            ++i;
            continue;
        }
        bool valid = true;
        for (int k = 1; valid && k <= extra; ++k) {
            if (i + k >= utf8.size()) {
                valid = false;
                break;
            }
            const auto c = static_cast<unsigned char>(utf8[i + k]);
            if ((c & 0xC0) != 0x80) {
                valid = false;
                break;
            }
            cp = (cp << 6) | (c & 0x3F);
        }
        if (!valid) {
            out += '?';
            ++i;
            continue;
        }
        i += 1 + extra;
        if (cp < 0x80 || (cp >= 0xA0 && cp <= 0xFF)) {
            out += static_cast<char>(cp);
            continue;
        }
        char mapped = '?';
        for (int k = 0; k < 32; ++k) {
            if (kWinAnsiHigh[k] != 0 && kWinAnsiHigh[k] == cp)
                mapped = static_cast<char>(0x80 + k);
        }
        out += mapped;
    }
    return out;
}

void WritePdf(const PageDescription& document, std::ostream& out) {
    PdfFile pdf;
    const int catalog = pdf.Reserve();
    const int pagesId = pdf.Reserve();
    std::map<std::string, int> fontIds;   // face name -> object
    std::map<std::string, int> imageIds;  // file -> object (0: unreadable)
    std::vector<int> pageIds;
    const double height = document.PageHeight / 20.0;

    auto fontResource = [&](const std::string& face) {
        auto it = fontIds.find(face);
        if (it == fontIds.end()) {
            const int id = pdf.Add("<< /Type /Font /Subtype /Type1 /BaseFont /" + face +
                                   " /Encoding /WinAnsiEncoding >>");
            it = fontIds.emplace(face, id).first;
        }
        return it->second;
    };
    auto imageResource = [&](const std::filesystem::path& file) {
        auto it = imageIds.find(file.string());
        if (it != imageIds.end())
            return it->second;
        int id = 0;
        try {
            const std::string bytes = ReadAll(file);
            const JpegInfo info = ReadJpegInfo(bytes, file.string());
            std::string colorSpace = info.Components == 1 ? "/DeviceGray" : "/DeviceRGB";
            std::string decode;
            if (info.Components == 4) {
                colorSpace = "/DeviceCMYK";
                decode = " /Decode [1 0 1 0 1 0 1 0]";  // Adobe CMYK JPEGs are stored inverted
            }
            id = pdf.Add(PdfFile::Stream(
                "/Type /XObject /Subtype /Image /Width " + std::to_string(info.Width) +
                    " /Height " + std::to_string(info.Height) + " /ColorSpace " + colorSpace +
                    " /BitsPerComponent 8 /Filter /DCTDecode" + decode,
                bytes));
        } catch (const Error&) {
            id = 0;  // the picture is left out; the builder already warned about it
        }
        imageIds.emplace(file.string(), id);
        return id;
    };

    for (const Page& page : document.Pages) {
        std::string content;
        std::map<std::string, int> pageFonts, pageImages;
        for (const PagePicture& picture : page.Pictures) {
            const int id = imageResource(picture.File);
            if (id == 0)
                continue;
            const std::string name = "Im" + std::to_string(id);
            pageImages[name] = id;
            content += "q " + Number(picture.Width / 20.0) + " 0 0 " +
                       Number(picture.Height / 20.0) + " " + Number(picture.X / 20.0) + " " +
                       Number(height - (picture.Y + picture.Height) / 20.0) + " cm /" + name +
                       " Do Q\n";
        }
        for (const PageRule& rule : page.Rules) {
            content += Number(rule.Thickness / 20.0) + " w ";
            if (rule.IsBox) {
                content += Number(rule.X1 / 20.0) + " " + Number(height - rule.Y2 / 20.0) + " " +
                           Number((rule.X2 - rule.X1) / 20.0) + " " +
                           Number((rule.Y2 - rule.Y1) / 20.0) + " re S\n";
            } else {
                content += Number(rule.X1 / 20.0) + " " + Number(height - rule.Y1 / 20.0) + " m " +
                           Number(rule.X2 / 20.0) + " " + Number(height - rule.Y2 / 20.0) +
                           " l S\n";
            }
        }
        for (const PagePolyline& line : page.Polylines) {
            if (line.Points.size() < 2)
                continue;
            content += "q " + Number(line.Red / 255.0) + " " + Number(line.Green / 255.0) + " " +
                       Number(line.Blue / 255.0) + " RG " + Number(line.Thickness / 20.0) +
                       " w 1 J 1 j";
            const char* op = " m\n";
            for (const PagePoint& p : line.Points) {
                content += " " + Number(p.X / 20.0) + " " + Number(height - p.Y / 20.0) + op;
                op = " l";
            }
            content += " S Q\n";
        }
        for (const PageText& text : page.Texts) {
            if (text.Text.find_first_not_of(' ') == std::string::npos)
                continue;  // nothing to ink
            const StandardFace face = FaceFor(text.Font);
            const int id = fontResource(face.name);
            const std::string name = "F" + std::to_string(id);
            pageFonts[name] = id;
            const double baseline = height - text.Y / 20.0 - face.ascent * text.Font.Size;
            content += "BT /" + name + " " + Number(text.Font.Size) + " Tf " +
                       Number(text.X / 20.0) + " " + Number(baseline) + " Td " +
                       PdfString(text.Text) + " Tj ET\n";
        }
        const int contentId = pdf.Add(PdfFile::Stream("", content));
        std::string resources = "<< /ProcSet [/PDF /Text /ImageC /ImageB]";
        if (!pageFonts.empty()) {
            resources += " /Font <<";
            for (const auto& [name, id] : pageFonts) {
                resources += " /" + name + " " + std::to_string(id) + " 0 R";
            }
            resources += " >>";
        }
        if (!pageImages.empty()) {
            resources += " /XObject <<";
            for (const auto& [name, id] : pageImages) {
                resources += " /" + name + " " + std::to_string(id) + " 0 R";
            }
            resources += " >>";
        }
        resources += " >>";
        pageIds.push_back(pdf.Add("<< /Type /Page /Parent " + std::to_string(pagesId) +
                                  " 0 R /MediaBox [0 0 " + Number(document.PageWidth / 20.0) + " " +
                                  Number(height) + "] /Resources " + resources + " /Contents " +
                                  std::to_string(contentId) + " 0 R >>"));
    }
    std::string kids;
    for (int id : pageIds)
        kids += std::to_string(id) + " 0 R ";
    pdf.Set(pagesId, "<< /Type /Pages /Kids [" + kids + "] /Count " +
                         std::to_string(pageIds.size()) + " >>");
    pdf.Set(catalog, "<< /Type /Catalog /Pages " + std::to_string(pagesId) + " 0 R >>");
    pdf.Write(out, catalog);
}

void WritePdf(const PageDescription& document, const std::filesystem::path& file) {
    std::ostringstream bytes;
    WritePdf(document, bytes);
    SaveTextFile(file, bytes.str());
}

}  // namespace tintara
