// Reading a PDF back the way a user's tools do (poppler's pdftotext and pdffonts): its text by
// page, every word with its box, and its fonts.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <regex>
#include <string>
#include <vector>

#include "support/TestPaths.h"

namespace tintara::test {

inline bool HavePoppler() {
    return RunCommand("pdftotext -v") == 0 && RunCommand("pdffonts -v") == 0 &&
           RunCommand("pdftoppm -v") == 0;
}

struct PdfWord {
    double XMin = 0, YMin = 0, XMax = 0, YMax = 0;  // points from the page's top-left corner
    std::string Text;
};

struct PdfPage {
    double Width = 0, Height = 0;  // points
    std::vector<PdfWord> Words;
    std::string Layout;  // pdftotext -layout text of the page
};

// Unescapes the few entities pdftotext -bbox writes.
inline std::string HtmlText(std::string s) {
    const std::pair<const char*, const char*> entities[] = {
        {"&lt;", "<"}, {"&gt;", ">"}, {"&quot;", "\""}, {"&apos;", "'"}, {"&amp;", "&"}};
    for (const auto& [from, to] : entities) {
        for (std::size_t at = 0; (at = s.find(from, at)) != std::string::npos; at += 1)
            s.replace(at, std::string(from).size(), to);
    }
    return s;
}

inline std::vector<PdfPage> ReadPdf(const std::filesystem::path& pdf) {
    std::vector<PdfPage> pages;
    std::string bbox, layout, err;
    EXPECT_EQ(RunCommand("pdftotext -bbox '" + pdf.string() + "' -", &bbox, &err), 0) << err;
    EXPECT_EQ(RunCommand("pdftotext -layout '" + pdf.string() + "' -", &layout, &err), 0) << err;
    static const std::regex page(R"re(<page width="([0-9.]+)" height="([0-9.]+)">)re");
    static const std::regex word(
        R"re(<word xMin="([0-9.\-]+)" yMin="([0-9.\-]+)" xMax="([0-9.\-]+)" yMax="([0-9.\-]+)">(.*?)</word>)re");
    std::istringstream lines(bbox);
    std::smatch m;
    for (std::string line; std::getline(lines, line);) {
        if (std::regex_search(line, m, page)) {
            pages.push_back({std::stod(m[1]), std::stod(m[2]), {}, {}});
        } else if (!pages.empty() && std::regex_search(line, m, word)) {
            pages.back().Words.push_back({std::stod(m[1]), std::stod(m[2]), std::stod(m[3]),
                                          std::stod(m[4]), HtmlText(m[5])});
        }
    }
    std::size_t n = 0, start = 0;
    for (std::size_t end; n < pages.size() && (end = layout.find('\f', start)) != std::string::npos;
         start = end + 1)
        pages[n++].Layout = layout.substr(start, end - start);
    return pages;
}

// Every font of the PDF: its name and whether it is embedded.
struct PdfFont {
    std::string Name;
    bool Embedded = false;
};
inline std::vector<PdfFont> ReadFonts(const std::filesystem::path& pdf) {
    std::string out, err;
    EXPECT_EQ(RunCommand("pdffonts '" + pdf.string() + "'", &out, &err), 0) << err;
    std::vector<PdfFont> fonts;
    std::istringstream lines(out);
    std::string line;
    std::getline(lines, line);  // captions
    std::getline(lines, line);  // dashes
    while (std::getline(lines, line)) {
        std::istringstream fields(line);
        std::vector<std::string> f;
        for (std::string w; fields >> w;)
            f.push_back(w);
        if (f.size() >= 6)
            fonts.push_back({f[0], f[f.size() - 5] == "yes"});
    }
    return fonts;
}

// Nothing lies outside the page less `margin` points on every side.
inline void ExpectInside(const std::vector<PdfPage>& pages, double margin) {
    for (std::size_t n = 0; n < pages.size(); ++n) {
        for (const PdfWord& w : pages[n].Words) {
            EXPECT_GE(w.XMin, margin - 0.5) << "page " << n + 1 << ": " << w.Text;
            EXPECT_LE(w.XMax, pages[n].Width - margin + 0.5) << "page " << n + 1 << ": " << w.Text;
            EXPECT_GE(w.YMin, margin - 0.5) << "page " << n + 1 << ": " << w.Text;
            EXPECT_LE(w.YMax, pages[n].Height - margin + 0.5) << "page " << n + 1 << ": " << w.Text;
        }
    }
}

}  // namespace tintara::test
