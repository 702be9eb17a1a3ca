#include "files/CCFReadWrite.h"

#include <charconv>
#include <cmath>
#include <fstream>
#include <functional>
#include <istream>
#include <iterator>
#include <ostream>
#include <sstream>
#include <system_error>
#include <vector>

#include "workspace/Error.h"
#include "workspace/NumberFormat.h"
#include "workspace/StatusText.h"
#include "workspace/WriteFile.h"

namespace tintara {

namespace {

constexpr const char* kEol = "\r\n";

// Format patterns of the block lines.
constexpr const char* kOffsetPattern = "##.000";
constexpr const char* kGainPattern = "###.000000";
constexpr const char* kReflectancePattern = "###.000";
constexpr const char* kSegmentPattern = "###.000000";
constexpr const char* kLevelPattern = "###.000";
constexpr const char* kWavelengthPattern = "0.000";

void Line(std::ostream& out, const std::string& text) {
    out << text << kEol;
}
void IntegerLine(std::ostream& out, int value) {
    Line(out, PrintNumber(value));
}
void FlagLine(std::ostream& out, bool value) {
    Line(out, value ? "True" : "False");
}

void WriteInstrument(std::ostream& out, int16_t id, const std::string& status,
                     const std::string& tileSetSerial, const std::string& date,
                     const SystemTime& time, const std::string& company, const std::string& serial,
                     const std::string& op) {
    // A line break in a text would split it over two lines and put the file out of step.
    IntegerLine(out, id);
    Line(out, StripControlCharacters(status));
    Line(out, StripControlCharacters(tileSetSerial));
    Line(out, StripControlCharacters(date));
    // Not the structure's own order: day of week, month, day, year, then the time of day.
    for (int16_t word : {time.wDayOfWeek, time.wMonth, time.wDay, time.wYear, time.wHour,
                         time.wMinute, time.wSecond, time.wMilliseconds}) {
        IntegerLine(out, word);
    }
    Line(out, StripControlCharacters(company));
    Line(out, StripControlCharacters(serial));
    Line(out, StripControlCharacters(op));
}

// One real block from per-point accessors; shared by the stored banks and the current run.
template <typename Source>
void WriteBlock(std::ostream& out, const Source& source) {
    for (int p = kFirstStoredPoint; p < kPointCount; ++p) {
        Line(out, Format(source.Offset(p), kOffsetPattern));
        Line(out, Format(source.Gain(p), kGainPattern));
        Line(out, Format(source.GainTileReflectance(p), kReflectancePattern));
        for (int j = 1; j <= 5; ++j) {
            Line(out, Format(source.Slope(p, j), kSegmentPattern));
            Line(out, Format(source.Intercept(p, j), kSegmentPattern));
        }
        for (int j = 1; j <= 4; ++j)
            Line(out, Format(source.Level(p, j), kLevelPattern));
        for (int k = 0; k < 3; ++k)
            Line(out, Format(source.Weight(p, k), kWavelengthPattern));
    }
}

struct BankSource {
    const CoefficientBank& bank;
    double Offset(int p) const { return bank.Offset[p]; }
    double Gain(int p) const { return bank.Gain[p]; }
    double GainTileReflectance(int p) const { return bank.GainTileReflectance[p]; }
    double Slope(int p, int j) const { return bank.Slopes[p][j]; }
    double Intercept(int p, int j) const { return bank.Intercepts[p][j]; }
    double Level(int p, int j) const { return bank.Levels[p][j]; }
    double Weight(int p, int k) const { return bank.Wavelength[p][k]; }
};

// The current run's coefficients. The break level j is the Target-after-gain value of the j-th
// linearity tile; the reflectance is the raw Target reading of the gain tile.
struct ActualSource {
    const GlobalVariables& ws;
    double Offset(int p) const { return ws.OffsetCoefficients[p]; }
    double Gain(int p) const { return ws.GainCoefficients[p]; }
    double GainTileReflectance(int p) const {
        const auto tile = static_cast<std::size_t>(ws.GainTile);
        return tile < ws.TargetReflectance.Rows() ? ws.TargetReflectance(tile, p) : 0.0;
    }
    double Slope(int p, int j) const { return ws.LinearitySlopes[p][j]; }
    double Intercept(int p, int j) const { return ws.LinearityIntercepts[p][j]; }
    double Level(int p, int j) const { return ws.LinearityPoints[p][2 * j + 1]; }
    double Weight(int p, int k) const { return ws.WavelengthCoefficients[p][k]; }
};

// A bank read from a file goes back as the lines it was read from; a computed one is formatted.
void WriteBank(std::ostream& out, const CoefficientBank& bank) {
    if (bank.Lines.empty()) {
        WriteBlock(out, BankSource{bank});
        return;
    }
    for (const std::string& line : bank.Lines)
        Line(out, line);
}

template <typename Source>
bool AllFinite(const Source& s) {
    for (int p = kFirstStoredPoint; p < kPointCount; ++p) {
        double sum = s.Offset(p) + s.Gain(p) + s.GainTileReflectance(p);
        for (int j = 1; j <= 5; ++j)
            sum += s.Slope(p, j) + s.Intercept(p, j);
        for (int j = 1; j <= 4; ++j)
            sum += s.Level(p, j);
        for (int k = 0; k < 3; ++k)
            sum += s.Weight(p, k);
        if (!std::isfinite(sum))
            return false;
    }
    return true;
}

// The original's append mode, kept for the block writers: the file is rewritten whole with the
// new block after what it held.
void Append(const std::filesystem::path& file, const std::function<void(std::ostream&)>& block) {
    std::string before;
    std::error_code ec;
    if (std::filesystem::exists(file, ec)) {
        std::ifstream in(file, std::ios::binary);
        if (!in)
            throw IoError("Cannot read " + file.string() + ".");
        before.assign(std::istreambuf_iterator<char>(in), {});
    }
    WriteFileAtomically(file, [&](std::ostream& out) {
        out << before;
        block(out);
    });
}

// ---- reading ----------------------------------------------------------------------------------

// The lines of a file and a cursor over them; every take names the 1-based line it read.
class LineReader {
  public:
    LineReader(std::istream& in, const std::string& source) : m_source(source) {
        std::string line;
        while (std::getline(in, line)) {
            if (!line.empty() && line.back() == '\r')
                line.pop_back();
            m_lines.push_back(std::move(line));
        }
        if (in.bad())
            throw IoError("cannot read " + source);
    }

    int NextLineNumber() const { return static_cast<int>(m_next) + 1; }
    const std::string& Previous() const { return m_lines[m_next - 1]; }
    // Lines up to the last one that is not blank.
    std::size_t ContentLines() const {
        std::size_t n = m_lines.size();
        while (n > 0 && Trimmed(m_lines[n - 1]).empty())
            --n;
        return n;
    }
    [[noreturn]] void FailPrevious(const std::string& reason) const {
        throw ParseError(m_source, static_cast<int>(m_next), reason);
    }

    const std::string& Take(const std::string& what) {
        if (m_next >= m_lines.size()) {
            Fail("the file ends early; expected " + what);
        }
        return m_lines[m_next++];
    }

    // True when the whole text is one number of T (no blanks, nothing after it).
    template <typename T>
    static bool WholeNumber(const std::string& text, T& value) {
        const char* first = text.data();
        const char* last = first + text.size();
        const auto [end, ec] = std::from_chars(first, last, value);
        return !text.empty() && ec == std::errc() && end == last;
    }

    double Number(const std::string& what) {
        const std::string text = Trimmed(Take(what));
        double value = 0.0;
        if (!WholeNumber(text, value) || !std::isfinite(value)) {
            FailPrevious("expected " + what + ", found " + Excerpt(text));
        }
        return value;
    }

    int16_t Integer(const std::string& what) {
        const std::string text = Trimmed(Take(what));
        int value = 0;
        if (!WholeNumber(text, value) || value < INT16_MIN || value > INT16_MAX) {
            FailPrevious("expected " + what + " (a whole number), found " + Excerpt(text));
        }
        return static_cast<int16_t>(value);
    }

    bool Flag(const std::string& what) {
        const std::string text = Trimmed(Take(what));
        if (text == "True")
            return true;
        if (text == "False")
            return false;
        FailPrevious("expected " + what + " (\"True\" or \"False\"), found " + Excerpt(text));
    }

    // Anything but blank lines after the last block means the file is not what its flags say.
    void ExpectEnd() {
        for (; m_next < m_lines.size(); ++m_next) {
            if (!Trimmed(m_lines[m_next]).empty()) {
                Fail("unexpected text after the SCE block: " + Excerpt(m_lines[m_next]));
            }
        }
    }

  private:
    static std::string Trimmed(const std::string& s) {
        const auto first = s.find_first_not_of(" \t");
        if (first == std::string::npos)
            return {};
        const auto last = s.find_last_not_of(" \t");
        return s.substr(first, last - first + 1);
    }
    [[noreturn]] void Fail(const std::string& reason) const {
        throw ParseError(m_source, NextLineNumber(), reason);
    }

    std::string m_source;
    std::vector<std::string> m_lines;
    std::size_t m_next = 0;
};

InstrumentHeader ReadInstrument(LineReader& r, const std::string& side) {
    InstrumentHeader h;
    h.InstrumentID = r.Integer("the " + side + " instrument ID");
    h.Status = r.Take("the " + side + " status");
    h.TileSetSerial = r.Take("the " + side + " tile-set serial");
    h.Date = r.Take("the " + side + " date");
    const std::string word = "a word of the " + side + " file time";
    h.FileTime.wDayOfWeek = r.Integer(word);
    h.FileTime.wMonth = r.Integer(word);
    h.FileTime.wDay = r.Integer(word);
    h.FileTime.wYear = r.Integer(word);
    h.FileTime.wHour = r.Integer(word);
    h.FileTime.wMinute = r.Integer(word);
    h.FileTime.wSecond = r.Integer(word);
    h.FileTime.wMilliseconds = r.Integer(word);
    h.Company = r.Take("the " + side + " company");
    h.Serial = r.Take("the " + side + " serial");
    h.Operator = r.Take("the " + side + " operator");
    return h;
}

// Reads a block of 20 lines per point, or 21 for a placeholder (its fifth level is skipped), and
// keeps every line's text for a later merge.
void ReadBlock(LineReader& r, const std::string& name, bool placeholder, CoefficientBank& bank) {
    bank.Lines.clear();
    bank.Lines.reserve(kPlaceholderBlockLines);
    auto number = [&](const std::string& what) {
        const double value = r.Number(what);
        bank.Lines.push_back(r.Previous());
        return value;
    };
    for (int p = kFirstStoredPoint; p < kPointCount; ++p) {
        const std::string what = "a number (" + name + " block, point " + std::to_string(p) + ")";
        bank.Offset[p] = number(what);
        bank.Gain[p] = number(what);
        bank.GainTileReflectance[p] = number(what);
        for (int j = 1; j <= 5; ++j) {
            bank.Slopes[p][j] = number(what);
            bank.Intercepts[p][j] = number(what);
        }
        for (int j = 1; j <= 4; ++j)
            bank.Levels[p][j] = number(what);
        if (placeholder)
            number(what);  // the placeholder's fifth level
        for (int k = 0; k < 3; ++k)
            bank.Wavelength[p][k] = number(what);
    }
}

}  // namespace

// ---- parsing ------------------------------------------------------------------------------------

CoefficientFileContents ParseCoefficientFile(std::istream& in, const std::string& source) {
    LineReader r(in, source);
    if (r.ContentLines() == 0)
        throw ParseError(source, 1, "empty file: no coefficients");
    CoefficientFileContents c;
    c.Master = ReadInstrument(r, "Master");
    c.Target = ReadInstrument(r, "Target");
    c.SCIPresent = r.Flag("the SCI flag");
    c.SCEPresent = r.Flag("the SCE flag");
    if (!c.SCIPresent && !c.SCEPresent)
        r.FailPrevious("both flags say \"False\": the file holds no coefficients");
    // The layouts a writer produces, told apart by their length. A new file has a 21-line
    // placeholder under its "False" flag; every rewrite by the original program made both blocks
    // 20 lines a point (whatever the flags), and a merge keeps the other block's lines as they
    // are, so these two are all there is. Anything else is read by the flags, which names the
    // line where the file departs from them.
    const bool bothReal =
        r.ContentLines() == static_cast<std::size_t>(kHeaderLines + 2 * kRealBlockLines);
    ReadBlock(r, "SCI", !bothReal && !c.SCIPresent, c.SCI);
    ReadBlock(r, "SCE", !bothReal && !c.SCEPresent, c.SCE);
    r.ExpectEnd();
    return c;
}

CoefficientFileContents ParseCoefficientFile(const std::filesystem::path& file) {
    std::error_code ec;
    if (std::filesystem::is_directory(file, ec))
        throw IoError(file.string() + ": is a directory, not a coefficient file");
    std::ifstream in(file, std::ios::binary);
    if (!in)
        throw IoError("cannot open " + file.string());
    return ParseCoefficientFile(in, file.string());
}

// ---- stream writers -----------------------------------------------------------------------------

void CCFReadWrite::WriteHeader(std::ostream& out) const {
    const GlobalVariables& ws = m_ws;
    WriteInstrument(out, ws.MasterInstrumentID, ws.MasterStatus, ws.MasterTileSetSerial,
                    ws.MasterDate, ws.MasterFileTime, ws.MasterCompany, ws.MasterSerial,
                    ws.MasterOperator);
    WriteInstrument(out, ws.TargetInstrumentID, ws.TargetStatus, ws.TargetTileSetSerial,
                    ws.TargetDate, ws.TargetFileTime, ws.TargetCompany, ws.TargetSerial,
                    ws.TargetOperator);
    FlagLine(out, ws.SCICoefficientsPresent);
    FlagLine(out, ws.SCECoefficientsPresent);
}

void CCFReadWrite::WriteCCFBank1Data(std::ostream& out) const {
    WriteBank(out, m_ws.Bank1Data);
}

void CCFReadWrite::WriteCCFBank2Data(std::ostream& out) const {
    WriteBank(out, m_ws.Bank2Data);
}

void CCFReadWrite::WriteCCFActualData(std::ostream& out) const {
    WriteBlock(out, ActualSource{m_ws});
}

void CCFReadWrite::WriteCCFBogusData(std::ostream& out) const {
    // The neutral block: no offset, unit gain, identity segments, identity weights. It carries five
    // break levels where a real group has four, so its groups are 21 lines long.
    for (int p = kFirstStoredPoint; p < kPointCount; ++p) {
        Line(out, "0.000");
        Line(out, "1.000");
        Line(out, "1.000");
        for (int j = 1; j <= 5; ++j) {
            Line(out, "1.00000");
            Line(out, "0.00000");
        }
        for (const char* level : {"20.000", "30.000", "40.000", "50.000", "60.000"}) {
            Line(out, level);
        }
        Line(out, "0.000");
        Line(out, "1.000");
        Line(out, "0.000");
    }
}

// ---- path writers -------------------------------------------------------------------------------

void CCFReadWrite::WriteHeader(const std::filesystem::path& file) const {
    WriteFileAtomically(file, [this](std::ostream& out) { WriteHeader(out); });
}

void CCFReadWrite::WriteCCFBank1Data(const std::filesystem::path& file) const {
    Append(file, [this](std::ostream& out) { WriteCCFBank1Data(out); });
}

void CCFReadWrite::WriteCCFBank2Data(const std::filesystem::path& file) const {
    Append(file, [this](std::ostream& out) { WriteCCFBank2Data(out); });
}

void CCFReadWrite::WriteCCFActualData(const std::filesystem::path& file) const {
    Append(file, [this](std::ostream& out) { WriteCCFActualData(out); });
}

void CCFReadWrite::WriteCCFBogusData(const std::filesystem::path& file) const {
    Append(file, [this](std::ostream& out) { WriteCCFBogusData(out); });
}

// ---- reading ------------------------------------------------------------------------------------

void CCFReadWrite::StoreInWorkspace(const CoefficientFileContents& c) {
    m_ws.FileMasterHeader = c.Master;
    m_ws.FileTargetHeader = c.Target;
    m_ws.SCICoefficientsPresent = c.SCIPresent;
    m_ws.SCECoefficientsPresent = c.SCEPresent;
    m_ws.Bank1Data = c.SCI;
    m_ws.Bank2Data = c.SCE;
}

void CCFReadWrite::ReadCoefficientsIntoMemory(std::istream& in, const std::string& source) {
    StoreInWorkspace(ParseCoefficientFile(in, source));
}

void CCFReadWrite::ReadCoefficientsIntoMemory(const std::filesystem::path& file) {
    StoreInWorkspace(ParseCoefficientFile(file));
}

// ---- the merge ----------------------------------------------------------------------------------

void CCFReadWrite::WriteCoeficcients(const std::filesystem::path& file) {
    std::error_code ec;
    const bool existed = std::filesystem::exists(file, ec);

    // Check the existing file before anything in the workspace changes: a file of another
    // instrument pair, or one we cannot understand, is never replaced.
    CoefficientFileContents old;
    if (existed) {
        old = ParseCoefficientFile(file);
        if (old.Master.InstrumentID != m_ws.MasterInstrumentID ||
            old.Target.InstrumentID != m_ws.TargetInstrumentID) {
            throw Refusal("ERROR", "Incorrect Instruments from file");
        }
    }
    if (!AllFinite(ActualSource{m_ws})) {
        throw ComputeError("The coefficients hold a value that is not a number; " + file.string() +
                           " was not written");
    }
    if (existed)
        StoreInWorkspace(old);

    const bool sci = StatusCode(m_ws.MasterStatus).Sci();
    const bool previousSci = m_ws.SCICoefficientsPresent;
    const bool previousSce = m_ws.SCECoefficientsPresent;
    // A new file holds a placeholder for the other geometry, so its flag is False whatever an
    // earlier file of this session said.
    if (sci) {
        m_ws.SCICoefficientsPresent = true;
        if (!existed)
            m_ws.SCECoefficientsPresent = false;
    } else {
        m_ws.SCECoefficientsPresent = true;
        if (!existed)
            m_ws.SCICoefficientsPresent = false;
    }

    // The other geometry keeps the block the file holds, line for line, whatever its flag; a new
    // file gets the placeholder.
    std::ostringstream text;
    WriteHeader(text);
    if (sci) {
        WriteCCFActualData(text);
        if (existed) {
            WriteCCFBank2Data(text);
        } else {
            WriteCCFBogusData(text);
        }
    } else {
        if (existed) {
            WriteCCFBank1Data(text);
        } else {
            WriteCCFBogusData(text);
        }
        WriteCCFActualData(text);
    }
    try {
        WriteFileAtomically(file, text.str());
    } catch (...) {
        m_ws.SCICoefficientsPresent = previousSci;
        m_ws.SCECoefficientsPresent = previousSce;
        throw;
    }
}

}  // namespace tintara
