#include "report/ValidationReport.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ostream>
#include <sstream>

#include "engine/ColorMatch.h"
#include "report/ReportText.h"
#include "workspace/NumberFormat.h"

namespace tintara {

namespace {

constexpr const char* kDePattern = "##0.00";

std::string De(double value) {
    return Format(value, kDePattern);
}

std::string SpaceName(int16_t colorSpace) {
    return colorSpace == kHunterLab ? "Hunter Lab" : "CIELAB";
}

std::string Component(int16_t colorSpace, const char* name) {
    return colorSpace == kHunterLab ? std::string(name) : std::string(name) + "*";
}

std::string CsvNumber(double value) {
    char text[64];
    std::snprintf(text, sizeof text, "%.6f", value);
    return text;
}

std::string CsvField(const std::string& text) {
    if (text.find_first_of(",\"\r\n") == std::string::npos)
        return text;
    std::string quoted = "\"";
    for (char c : text) {
        if (c == '"')
            quoted += '"';
        quoted += c;
    }
    return quoted + "\"";
}

// ---- page layout ----

constexpr int32_t kMargin = 1080;  // 0.75 in
constexpr int32_t kPlotLeft = 1900;
constexpr int32_t kPlotHeight = 3300;

struct Rgb {
    uint8_t R, G, B;
};
// The plot colours of the window's curves: uncorrected red, corrected blue, RMS in paler tones.
constexpr Rgb kBefore{0xd6, 0x27, 0x28};
constexpr Rgb kAfter{0x1f, 0x77, 0xb4};
constexpr Rgb kBeforeRms{0xff, 0x98, 0x96};
constexpr Rgb kAfterRms{0x9e, 0xc0, 0xe6};

struct Series {
    std::string Label;
    std::vector<std::pair<double, double>> Points;
    Rgb Colour;
};

struct PlotFrame {
    int32_t Left, Top, Width, Height;
    double XMin, XMax, YMin, YMax;
};

// A step of 1, 2 or 5 times a power of ten giving about `ticks` intervals over `range`.
double NiceStep(double range, int ticks) {
    if (!(range > 0))
        return 1.0;
    const double raw = range / ticks;
    const double magnitude = std::pow(10.0, std::floor(std::log10(raw)));
    const double f = raw / magnitude;
    return (f <= 1 ? 1 : f <= 2 ? 2 : f <= 5 ? 5 : 10) * magnitude;
}

std::string TickText(double value, double step) {
    const int decimals = std::max(0, static_cast<int>(-std::floor(std::log10(step) + 1e-9)));
    char text[32];
    std::snprintf(text, sizeof text, "%.*f", decimals, std::abs(value) < step * 1e-6 ? 0.0 : value);
    return text;
}

// Approximate printed width of a text in a proportional face, for right-aligning short labels.
int32_t TextWidth(const std::string& text, const PageFont& font) {
    return static_cast<int32_t>(text.size() * font.Size * kTwipsPerPoint * 0.52);
}

PageFont Arial(double size, bool bold = false) {
    PageFont font;
    font.Family = "Arial";
    font.Size = size;
    font.Bold = bold;
    return font;
}

void DrawPlot(Page& page, const PlotFrame& f, const std::string& title, const std::string& xLabel,
              const std::string& yLabel, const std::vector<Series>& series, double xStep,
              double yStep) {
    auto px = [&f](double x) {
        const double t = (x - f.XMin) / (f.XMax - f.XMin);
        return f.Left + static_cast<int32_t>(std::lround(std::clamp(t, 0.0, 1.0) * f.Width));
    };
    auto py = [&f](double y) {
        const double t = (y - f.YMin) / (f.YMax - f.YMin);
        return f.Top + f.Height -
               static_cast<int32_t>(std::lround(std::clamp(t, 0.0, 1.0) * f.Height));
    };
    const PageFont titleFont = Arial(10, true);
    const PageFont labelFont = Arial(7.5);
    page.Texts.push_back({f.Left, f.Top - 520, titleFont, title});
    page.Texts.push_back({f.Left, f.Top - 230, labelFont, yLabel});
    page.Rules.push_back({f.Left, f.Top, f.Left + f.Width, f.Top + f.Height, 10, true});
    for (double x = std::ceil(f.XMin / xStep - 1e-9) * xStep; x <= f.XMax + xStep * 1e-9;
         x += xStep) {
        const int32_t X = px(x);
        page.Rules.push_back({X, f.Top + f.Height, X, f.Top + f.Height + 60, 10, false});
        const std::string text = TickText(x, xStep);
        page.Texts.push_back(
            {X - TextWidth(text, labelFont) / 2, f.Top + f.Height + 80, labelFont, text});
    }
    for (double y = std::ceil(f.YMin / yStep - 1e-9) * yStep; y <= f.YMax + yStep * 1e-9;
         y += yStep) {
        const int32_t Y = py(y);
        page.Rules.push_back({f.Left - 60, Y, f.Left, Y, 10, false});
        const std::string text = TickText(y, yStep);
        page.Texts.push_back({f.Left - 100 - TextWidth(text, labelFont), Y - 90, labelFont, text});
    }
    if (f.YMin < 0 && f.YMax > 0)
        page.Rules.push_back({f.Left, py(0), f.Left + f.Width, py(0), 6, false});
    page.Texts.push_back({f.Left + f.Width / 2 - TextWidth(xLabel, labelFont) / 2,
                          f.Top + f.Height + 300, labelFont, xLabel});

    int32_t legendY = f.Top + 140;
    const int32_t legendX = f.Left + f.Width - 2300;
    for (const Series& s : series) {
        PagePolyline line;
        line.Thickness = 20;
        line.Red = s.Colour.R;
        line.Green = s.Colour.G;
        line.Blue = s.Colour.B;
        for (const auto& [x, y] : s.Points)
            line.Points.push_back({px(x), py(y)});
        page.Polylines.push_back(std::move(line));
        PagePolyline key;
        key.Thickness = 30;
        key.Red = s.Colour.R;
        key.Green = s.Colour.G;
        key.Blue = s.Colour.B;
        key.Points = {{legendX, legendY + 80}, {legendX + 360, legendY + 80}};
        page.Polylines.push_back(std::move(key));
        page.Texts.push_back({legendX + 440, legendY, labelFont, s.Label});
        legendY += 190;
    }
}

// Histogram outline: the share of samples (percent) in each DE bin of width `bin` from 0.
Series Histogram(const std::string& label, std::vector<double> values, double bin, int bins,
                 Rgb colour) {
    std::vector<double> counts(static_cast<std::size_t>(bins), 0.0);
    for (double v : values) {
        const int k = std::clamp(static_cast<int>(v / bin), 0, bins - 1);
        counts[static_cast<std::size_t>(k)] += 1.0;
    }
    Series s{label, {}, colour};
    s.Points.push_back({0.0, 0.0});
    for (int k = 0; k < bins; ++k) {
        const double share = values.empty() ? 0.0 : 100.0 * counts[k] / values.size();
        s.Points.push_back({k * bin, share});
        s.Points.push_back({(k + 1) * bin, share});
    }
    s.Points.push_back({bins * bin, 0.0});
    return s;
}

// Sorted values against their rank (1..n), thinned to at most `limit` points taken at evenly
// spaced ranks (the first and last kept) so a large fandeck stays a small drawing.
Series SortedCurve(const std::string& label, std::vector<double> values, Rgb colour,
                   std::size_t limit = 400) {
    std::sort(values.begin(), values.end());
    Series s{label, {}, colour};
    const std::size_t n = values.size();
    if (n == 0)
        return s;
    const std::size_t points = std::min(n, limit);
    for (std::size_t k = 0; k < points; ++k) {
        const std::size_t i = points == 1 ? 0 : k * (n - 1) / (points - 1);
        s.Points.push_back({static_cast<double>(i + 1), values[i]});
    }
    return s;
}

std::vector<double> Column(const ValidationResult& result, bool after) {
    std::vector<double> values;
    values.reserve(result.Samples.size());
    for (const ValidationSample& s : result.Samples)
        values.push_back(after ? s.After.DE : s.Before.DE);
    return values;
}

int32_t PrintRows(Page& page, const TextRows& rows, int32_t y,
                  const std::vector<std::size_t>& widths) {
    PageFont mono;
    mono.Family = "Courier New";
    mono.Size = 9;
    for (const auto& row : rows) {
        std::string line;
        for (std::size_t c = 0; c < row.size(); ++c) {
            const std::size_t width = c < widths.size() ? widths[c] : 14;
            line += c + 1 == row.size() ? row[c] : PadCut(row[c], width);
        }
        page.Texts.push_back({kMargin, y, mono, line});
        y += LineHeight(mono);
    }
    return y;
}

}  // namespace

TextRows ValidationStatisticsRows(const ValidationResult& result) {
    const ValidationSide& b = result.Before;
    const ValidationSide& a = result.After;
    auto row = [](const char* name, double v1, double v2, double v3, double v4) {
        return std::vector<std::string>{name, De(v1), De(v2), De(v3), De(v4)};
    };
    return {
        {"Statistic", "DE before", "DE after", "DE2000 before", "DE2000 after"},
        row("Mean", b.DE.Mean, a.DE.Mean, b.DE2000.Mean, a.DE2000.Mean),
        row("Median", b.DE.Median, a.DE.Median, b.DE2000.Median, a.DE2000.Median),
        row("90th percentile", b.DE.P90, a.DE.P90, b.DE2000.P90, a.DE2000.P90),
        row("95th percentile", b.DE.P95, a.DE.P95, b.DE2000.P95, a.DE2000.P95),
        row("Maximum", b.DE.Max, a.DE.Max, b.DE2000.Max, a.DE2000.Max),
        {"Within " + Format(result.SingleSampleLimit, "#0.00") + " (%)",
         Format(100 * b.DE.ShareWithin, "##0.0"), Format(100 * a.DE.ShareWithin, "##0.0"),
         Format(100 * b.DE2000.ShareWithin, "##0.0"), Format(100 * a.DE2000.ShareWithin, "##0.0")},
    };
}

TextRows ValidationBiasRows(const ValidationResult& result) {
    auto limits = [](const Agreement& g) { return De(g.Lower) + " .. " + De(g.Upper); };
    auto row = [&](const char* name, const Agreement& before, const Agreement& after) {
        return std::vector<std::string>{Component(result.ColorSpace, name), De(before.Mean),
                                        limits(before), De(after.Mean), limits(after)};
    };
    return {
        {"Bias", "Mean before", "Limits before", "Mean after", "Limits after"},
        row("DL", result.Before.DL, result.After.DL),
        row("Da", result.Before.Da, result.After.Da),
        row("Db", result.Before.Db, result.After.Db),
    };
}

TextRows ValidationWorstRows(const ValidationResult& result) {
    TextRows rows{{"Sample", "DE before", "DE after", "DE2000 before", "DE2000 after"}};
    for (std::size_t i : result.Worst) {
        const ValidationSample& s = result.Samples[i];
        rows.push_back(
            {s.Name, De(s.Before.DE), De(s.After.DE), De(s.Before.DE2000), De(s.After.DE2000)});
    }
    return rows;
}

TextRows ValidationSpectralRows(const ValidationResult& result) {
    TextRows rows{{"nm", "Mean before", "RMS before", "Mean after", "RMS after"}};
    for (int w = 0; w < kPointCount; ++w) {
        rows.push_back({std::to_string(colorimetry::kFirstNm + 10 * w),
                        Format(result.Before.SpectralMean[w], "##0.000"),
                        Format(result.Before.SpectralRms[w], "##0.000"),
                        Format(result.After.SpectralMean[w], "##0.000"),
                        Format(result.After.SpectralRms[w], "##0.000")});
    }
    return rows;
}

TextRows CrossValidationRows(const CrossValidationResult& result) {
    TextRows rows{{"Tile", "Name", "Fitted DE", "Predicted DE"}};
    for (const CrossValidationTile& t : result.Tiles)
        rows.push_back({std::to_string(t.Tile + 1), t.Name, De(t.Fitted), De(t.Predicted)});
    rows.push_back({"Mean", "", De(result.MeanFitted), De(result.MeanPredicted)});
    rows.push_back({"Gap", "", "", De(result.Gap())});
    return rows;
}

void WriteValidationCsv(const ValidationResult& result, std::ostream& out) {
    out << "name,DE before,DE after,DE2000 before,DE2000 after,DL before,Da before,Db before,"
           "DL after,Da after,Db after\r\n";
    for (const ValidationSample& s : result.Samples) {
        out << CsvField(s.Name);
        for (double v : {s.Before.DE, s.After.DE, s.Before.DE2000, s.After.DE2000, s.Before.DL,
                         s.Before.Da, s.Before.Db, s.After.DL, s.After.Da, s.After.Db}) {
            out << ',' << CsvNumber(v);
        }
        out << "\r\n";
    }
}

void WriteValidationCsv(const ValidationResult& result, const std::filesystem::path& file) {
    std::ostringstream text;
    WriteValidationCsv(result, text);
    SaveTextFile(file, text.str());
}

PageDescription ValidationReportDocument(const ValidationResult& result,
                                         const ValidationReportHeader& header) {
    PageDescription document;
    document.Pages.resize(2);
    Page& first = document.Pages[0];
    int32_t y = kMargin;
    first.Texts.push_back({kMargin, y, Arial(16, true), "Validation of a Coefficient File"});
    y += 520;
    const PageFont small = Arial(9);
    const std::vector<std::string> facts{
        "Coefficient file: " + header.CoefficientFile,
        "Master samples: " + header.MasterFile,
        "Target samples: " + header.TargetFile,
        header.Geometry + ", DE in " + SpaceName(result.ColorSpace) + ", " +
            std::to_string(result.Samples.size()) + " samples, single-sample limit " +
            Format(result.SingleSampleLimit, "#0.00"),
        "Date: " + header.DateText,
    };
    for (const std::string& fact : facts) {
        first.Texts.push_back({kMargin, y, small, fact});
        y += LineHeight(small);
    }
    const std::vector<std::size_t> widths{18, 15, 15, 15, 15};
    const std::vector<std::size_t> biasWidths{8, 13, 18, 13, 18};
    const std::vector<std::size_t> worstWidths{24, 12, 12, 15, 15};
    auto heading = [&](const std::string& text) {
        y += 240;
        first.Texts.push_back({kMargin, y, Arial(11, true), text});
        y += 300;
    };
    heading("Colour difference, Master against Target before and after correction");
    y = PrintRows(first, ValidationStatisticsRows(result), y, widths);
    heading("Bias and 95 % limits of agreement (mean +- 1.96 SD)");
    y = PrintRows(first, ValidationBiasRows(result), y, biasWidths);
    heading("Five worst samples after correction");
    y = PrintRows(first, ValidationWorstRows(result), y, worstWidths);

    Page& second = document.Pages[1];
    const int32_t width = document.PageWidth - kMargin - kPlotLeft;
    const std::vector<double> before = Column(result, false), after = Column(result, true);
    const double top = std::max({0.0, result.Before.DE.Max, result.After.DE.Max});
    const double bin = NiceStep(top, 20);
    const int bins = std::max(1, static_cast<int>(std::ceil(top / bin + 1e-9)));

    // Plot 1: distribution.
    std::vector<Series> distribution{Histogram("Before", before, bin, bins, kBefore),
                                     Histogram("After", after, bin, bins, kAfter)};
    double share = 1.0;
    for (const Series& s : distribution) {
        for (const auto& p : s.Points)
            share = std::max(share, p.second);
    }
    const double shareStep = NiceStep(share, 5);
    DrawPlot(second,
             {kPlotLeft, 1700, width, kPlotHeight, 0.0, bins * bin, 0.0,
              std::ceil(share / shareStep) * shareStep},
             "DE distribution before and after correction",
             "DE (bin width " + TickText(bin, bin) + ")", "Share of samples (%)", distribution,
             NiceStep(bins * bin, 8), shareStep);

    // Plot 2: DE per sample, sorted.
    const double n = static_cast<double>(std::max<std::size_t>(1, result.Samples.size()));
    const double deStep = NiceStep(std::max(top, 0.1), 5);
    DrawPlot(second,
             {kPlotLeft, 6600, width, kPlotHeight, 1.0, std::max(2.0, n), 0.0,
              std::max(deStep, std::ceil(top / deStep) * deStep)},
             "DE per sample, sorted", "Sample rank", "DE",
             {SortedCurve("Before", before, kBefore), SortedCurve("After", after, kAfter)},
             NiceStep(std::max(1.0, n - 1.0), 8), deStep);

    // Plot 3: per-point difference.
    std::vector<Series> spectral{{"Mean before", {}, kBefore},
                                 {"RMS before", {}, kBeforeRms},
                                 {"Mean after", {}, kAfter},
                                 {"RMS after", {}, kAfterRms}};
    double extent = 0.1;
    for (int w = 0; w < kPointCount; ++w) {
        const double nm = colorimetry::kFirstNm + 10.0 * w;
        const double values[4] = {result.Before.SpectralMean[w], result.Before.SpectralRms[w],
                                  result.After.SpectralMean[w], result.After.SpectralRms[w]};
        for (int k = 0; k < 4; ++k) {
            spectral[k].Points.push_back({nm, values[k]});
            extent = std::max(extent, std::abs(values[k]));
        }
    }
    const double rStep = NiceStep(2 * extent, 6);
    const double rTop = std::ceil(extent / rStep) * rStep;
    DrawPlot(second, {kPlotLeft, 11500, width, kPlotHeight, 360.0, 750.0, -rTop, rTop},
             "Master - Target reflectance per wavelength", "Wavelength (nm)",
             "Reflectance difference (%)", spectral, 50.0, rStep);
    return document;
}

}  // namespace tintara
