// CGATS.17 / ISO 28178 import and export of spectral save sets.
//
// Import splits the work with littleCMS's IT8 parser. littleCMS reads and checks the syntax of
// every table we import (header keywords, data format, data section) and supplies the sheet type
// and keyword values; an import succeeds only when it accepts every piece. It cannot supply the
// cell values themselves: littleCMS 2.14 stores a numeric cell re-printed with "%.10g" (10
// significant digits, "007" becomes "7") and garbles some exponent forms, and it refuses a table of
// more than 32,766 rows. So a light line scanner of our own finds the tables and the rows, reads
// the cell texts verbatim, and hands littleCMS each table in pieces of at most kCgatsRowsPerChunk
// rows (the table's header repeated before each piece), mapping its line numbers back to the
// file's.
#include "files/Cgats.h"

#include <lcms2.h>

#include <algorithm>
#include <atomic>
#include <charconv>
#include <cmath>
#include <fstream>
#include <iterator>
#include <memory>
#include <ostream>
#include <sstream>
#include <system_error>
#include <thread>
#include <utility>

#include "workspace/Error.h"
#include "workspace/WriteFile.h"

namespace tintara {

namespace {

constexpr double kFirstNm = 360.0;
constexpr double kStepNm = 10.0;
constexpr double kLastNm = kFirstNm + kStepNm * (kPointCount - 1);
// Values no larger than this are taken for a 0..1 reflectance factor when the file does not say.
// Fluorescent whites reach about 1.3 as a factor; no real percent data set stays below 2 %.
constexpr double kFractionCeiling = 2.0;

// ---- lines and tokens ---------------------------------------------------------------------------

std::vector<std::string_view> SplitLines(std::string_view text) {
    std::vector<std::string_view> lines;
    std::size_t start = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\n' || text[i] == '\r') {
            lines.push_back(text.substr(start, i - start));
            if (text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n')
                ++i;
            start = i + 1;
        }
    }
    if (start < text.size())
        lines.push_back(text.substr(start));
    return lines;
}

bool IsBlank(char c) {
    return c == ' ' || c == '\t' || c == '\f' || c == '\v';
}

// The tokens of one line as CGATS reads them: blank-separated words, "quoted" or 'quoted' strings
// (quotes removed), and a '#' at the start of a token comments out the rest of the line.
void Tokenize(std::string_view line, std::vector<std::string_view>& tokens) {
    tokens.clear();
    std::size_t i = 0;
    const std::size_t n = line.size();
    while (i < n) {
        const char c = line[i];
        if (IsBlank(c)) {
            ++i;
        } else if (c == '#') {
            break;
        } else if (c == '"' || c == '\'') {
            const std::size_t close = line.find(c, i + 1);
            if (close == std::string_view::npos) {
                tokens.push_back(line.substr(i + 1));
                break;
            }
            tokens.push_back(line.substr(i + 1, close - i - 1));
            i = close + 1;
        } else {
            std::size_t j = i;
            while (j < n && !IsBlank(line[j]))
                ++j;
            tokens.push_back(line.substr(i, j - i));
            i = j;
        }
    }
}

std::string Upper(std::string_view s) {
    std::string u(s);
    for (char& c : u) {
        if (c >= 'a' && c <= 'z')
            c = static_cast<char>(c - 'a' + 'A');
    }
    return u;
}

// Strict decimal number: the whole text, finite.
bool ParseNumber(std::string_view text, double& value) {
    if (!text.empty() && text.front() == '+')
        text.remove_prefix(1);
    if (text.empty())
        return false;
    const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
    return ec == std::errc() && end == text.data() + text.size() && std::isfinite(value);
}

// ---- table layout found by our own scan ---------------------------------------------------------

struct TableLayout {
    int start = 0;        // first line (0-based) of the table's header
    int formatLine = -1;  // BEGIN_DATA_FORMAT
    int setsLine = -1;    // NUMBER_OF_SETS
    long declaredSets = -1;
    int fieldsLine = -1;  // NUMBER_OF_FIELDS
    long declaredFields = -1;
    int beginData = -1;
    int endData = -1;
    std::vector<std::string> fields;
    std::vector<int> rows;  // line of each data row
    std::string angle;      // TINTARA_ANGLE value, if the header has one
};

[[noreturn]] void Fail(const std::string& source, int zeroBasedLine, const std::string& reason) {
    throw ParseError(source, zeroBasedLine + 1, reason);
}

std::vector<TableLayout> ScanTables(const std::vector<std::string_view>& lines,
                                    const std::string& source, std::vector<std::string>& notes) {
    enum class State { Header, Format, Data } state = State::Header;
    std::vector<TableLayout> tables;
    TableLayout cur;
    std::vector<std::string_view> tokens;
    bool trailingText = false;
    for (int i = 0; i < static_cast<int>(lines.size()); ++i) {
        Tokenize(lines[i], tokens);
        if (tokens.empty())
            continue;
        const std::string_view first = tokens[0];
        switch (state) {
            case State::Header:
                trailingText = true;
                if (first == "BEGIN_DATA_FORMAT") {
                    cur.formatLine = i;
                    state = State::Format;
                    for (std::size_t t = 1; t < tokens.size(); ++t) {
                        if (tokens[t] == "END_DATA_FORMAT") {
                            state = State::Header;
                            break;
                        }
                        cur.fields.emplace_back(tokens[t]);
                    }
                } else if (first == "NUMBER_OF_SETS" || first == "NUMBER_OF_FIELDS") {
                    double v = 0;
                    if (tokens.size() < 2 || !ParseNumber(tokens[1], v) || v < 0 ||
                        v != std::floor(v)) {
                        Fail(source, i, std::string(first) + " needs a whole number");
                    }
                    if (first == "NUMBER_OF_SETS") {
                        cur.setsLine = i;
                        cur.declaredSets = static_cast<long>(v);
                    } else {
                        cur.fieldsLine = i;
                        cur.declaredFields = static_cast<long>(v);
                    }
                } else if (first == "TINTARA_ANGLE" && tokens.size() > 1) {
                    cur.angle = std::string(tokens[1]);
                } else if (first == "BEGIN_DATA") {
                    if (tokens.size() > 1)
                        Fail(source, i, "BEGIN_DATA must stand on a line of its own");
                    if (cur.formatLine < 0) {
                        Fail(source, i, "BEGIN_DATA comes before any BEGIN_DATA_FORMAT");
                    }
                    if (cur.declaredFields >= 0 &&
                        cur.declaredFields != static_cast<long>(cur.fields.size())) {
                        Fail(source, cur.fieldsLine,
                             "NUMBER_OF_FIELDS is " + std::to_string(cur.declaredFields) +
                                 " but the data format names " + std::to_string(cur.fields.size()) +
                                 " fields");
                    }
                    cur.beginData = i;
                    state = State::Data;
                } else if (first == "END_DATA") {
                    Fail(source, i, "END_DATA without BEGIN_DATA (the data section has no start)");
                } else if (first == "END_DATA_FORMAT") {
                    Fail(source, i, "END_DATA_FORMAT without BEGIN_DATA_FORMAT");
                }
                break;
            case State::Format:
                for (const std::string_view t : tokens) {
                    if (t == "END_DATA_FORMAT") {
                        state = State::Header;
                        break;
                    }
                    if (t == "BEGIN_DATA")
                        Fail(source, i, "BEGIN_DATA inside the data format");
                    cur.fields.emplace_back(t);
                }
                break;
            case State::Data:
                if (first == "END_DATA") {
                    if (tokens.size() > 1)
                        Fail(source, i, "END_DATA must stand on a line of its own");
                    cur.endData = i;
                    if (cur.rows.empty())
                        Fail(source, cur.beginData, "the data section holds no rows");
                    if (cur.declaredSets >= 0 &&
                        cur.declaredSets != static_cast<long>(cur.rows.size())) {
                        Fail(source, i,
                             "NUMBER_OF_SETS is " + std::to_string(cur.declaredSets) +
                                 " but the data section holds " + std::to_string(cur.rows.size()) +
                                 " rows");
                    }
                    tables.push_back(std::move(cur));
                    cur = TableLayout{};
                    cur.start = i + 1;
                    state = State::Header;
                    trailingText = false;
                } else if (first == "BEGIN_DATA" || first == "BEGIN_DATA_FORMAT") {
                    Fail(source, i,
                         std::string(first) + " inside a data section (END_DATA is missing)");
                } else {
                    if (tokens.size() != cur.fields.size()) {
                        Fail(source, i,
                             "the row has " + std::to_string(tokens.size()) +
                                 " values but the data format names " +
                                 std::to_string(cur.fields.size()) + " fields");
                    }
                    cur.rows.push_back(i);
                }
                break;
        }
    }
    const int last = std::max(0, static_cast<int>(lines.size()) - 1);
    if (state == State::Format)
        Fail(source, cur.formatLine, "BEGIN_DATA_FORMAT has no END_DATA_FORMAT");
    if (state == State::Data) {
        Fail(source, cur.beginData, "BEGIN_DATA has no END_DATA (is the file cut short?)");
    }
    if (tables.empty()) {
        Fail(source, last, "no BEGIN_DATA: the file holds no data section");
    }
    if (trailingText)
        notes.push_back("text after the last END_DATA was ignored");
    return tables;
}

// ---- littleCMS --------------------------------------------------------------------------------

// A littleCMS context whose error handler keeps the first message, so that errors of one import
// never reach the process-wide handler or another thread's import.
class LcmsContext {
  public:
    LcmsContext() : m_context(cmsCreateContext(nullptr, this)) {
        if (!m_context)
            throw Error("littleCMS could not create a context");
        cmsSetLogErrorHandlerTHR(m_context, &LcmsContext::Handler);
    }
    ~LcmsContext() { cmsDeleteContext(m_context); }
    LcmsContext(const LcmsContext&) = delete;
    LcmsContext& operator=(const LcmsContext&) = delete;

    cmsContext Get() const { return m_context; }
    std::string TakeMessage() { return std::exchange(m_message, std::string()); }

  private:
    static void Handler(cmsContext context, cmsUInt32Number, const char* text) {
        auto* self = static_cast<LcmsContext*>(cmsGetContextUserData(context));
        if (self && self->m_message.empty() && text)
            self->m_message = text;
    }
    cmsContext m_context;
    std::string m_message;
};

struct It8Deleter {
    void operator()(void* h) const {
        if (h)
            cmsIT8Free(h);
    }
};
using It8Handle = std::unique_ptr<void, It8Deleter>;

// Header values of a table that the import uses.
struct TableHeader {
    std::string sheetType;
    std::optional<std::string> spectralNorm, instrument, status, company;
};

std::optional<std::string> Property(cmsHANDLE h, const char* name) {
    const char* v = cmsIT8GetProperty(h, name);
    if (!v)
        return std::nullopt;
    return std::string(v);
}

// What littleCMS made of one piece of a table.
struct PieceResult {
    bool ok = true;
    int line = 0;  // 0-based file line of the fault
    std::string reason;
    TableHeader header;
};

// Has littleCMS parse rows [first, first + count) of the table, preceded by the table's header
// with NUMBER_OF_SETS set to count. Lines of the piece are mapped back to lines of the file.
PieceResult ParsePiece(const TableLayout& t, const std::vector<std::string_view>& lines, int first,
                       int count) {
    std::string text;
    std::vector<int> lineOf;  // piece line (0-based) -> file line (0-based)
    auto add = [&](std::string_view s, int fileLine) {
        text.append(s);
        text.push_back('\n');
        lineOf.push_back(fileLine);
    };
    const std::string sets = "NUMBER_OF_SETS " + std::to_string(count);
    for (int l = t.start; l < t.beginData; ++l) {
        add(l == t.setsLine ? std::string_view(sets) : lines[l], l);
    }
    if (t.setsLine < 0) {
        add(sets, t.beginData);
    }
    add("BEGIN_DATA", t.beginData);
    for (int r = first; r < first + count; ++r) {
        add(lines[t.rows[r]], t.rows[r]);
    }
    add("END_DATA", t.endData);

    PieceResult result;
    LcmsContext lcms;
    It8Handle h(
        cmsIT8LoadFromMem(lcms.Get(), text.data(), static_cast<cmsUInt32Number>(text.size())));
    // littleCMS logs some faults (a stray control character) and still returns a handle.
    std::string message = lcms.TakeMessage();
    if (!h || !message.empty()) {
        // littleCMS says "<file>: Line <n>, <reason>"; n counts lines of the piece.
        result.ok = false;
        result.line = t.beginData;
        const auto at = message.find("Line ");
        if (at != std::string::npos) {
            std::size_t end = at + 5;
            int n = 0;
            while (end < message.size() && std::isdigit(static_cast<unsigned char>(message[end]))) {
                n = n * 10 + (message[end] - '0');
                ++end;
            }
            if (n >= 1 && n <= static_cast<int>(lineOf.size())) {
                result.line = lineOf[n - 1];
            }
            message = message.substr(std::min(message.size(), end));
            while (!message.empty() && (message[0] == ',' || message[0] == ' ')) {
                message.erase(0, 1);
            }
        }
        while (!message.empty() && (message.back() == '\n' || message.back() == ' ')) {
            message.pop_back();
        }
        result.reason = message.empty() ? "littleCMS could not read the table" : message;
        return result;
    }
    char** names = nullptr;
    const int n = cmsIT8EnumDataFormat(h.get(), &names);
    bool same = n == static_cast<int>(t.fields.size());
    for (int i = 0; same && i < n; ++i) {
        same = names[i] && t.fields[i] == names[i];
    }
    if (!same) {
        result.ok = false;
        result.line = t.formatLine;
        result.reason = "the data format could not be read consistently";
        return result;
    }
    const char* sheet = cmsIT8GetSheetType(h.get());
    result.header.sheetType = sheet ? sheet : "";
    while (!result.header.sheetType.empty() && IsBlank(result.header.sheetType.back())) {
        result.header.sheetType.pop_back();
    }
    result.header.spectralNorm = Property(h.get(), "SPECTRAL_NORM");
    result.header.instrument = Property(h.get(), "TINTARA_INSTRUMENT");
    result.header.status = Property(h.get(), "TINTARA_STATUS");
    result.header.company = Property(h.get(), "TINTARA_COMPANY");
    return result;
}

// Has littleCMS parse the whole table, piece by piece, the pieces shared among the processor's
// cores (each piece has its own littleCMS context). Throws the fault of the earliest piece.
TableHeader ParseWithLcms(const TableLayout& t, const std::vector<std::string_view>& lines,
                          const std::string& source, int& chunks) {
    const int rowCount = static_cast<int>(t.rows.size());
    const int pieces = (rowCount + kCgatsRowsPerChunk - 1) / kCgatsRowsPerChunk;
    std::vector<PieceResult> results(pieces);
    std::atomic<int> next{0};
    auto work = [&] {
        for (int p = next++; p < pieces; p = next++) {
            const int first = p * kCgatsRowsPerChunk;
            results[p] =
                ParsePiece(t, lines, first, std::min(kCgatsRowsPerChunk, rowCount - first));
        }
    };
    const int workers =
        std::clamp(static_cast<int>(std::thread::hardware_concurrency()), 1, pieces);
    std::vector<std::thread> threads;
    for (int w = 1; w < workers; ++w) {
        threads.emplace_back(work);
    }
    work();
    for (std::thread& th : threads) {
        th.join();
    }
    chunks += pieces;
    for (const PieceResult& r : results) {
        if (!r.ok)
            Fail(source, r.line, r.reason);
    }
    return results.front().header;
}

// ---- spectral fields --------------------------------------------------------------------------

struct SpectralColumns {
    std::vector<int> column;  // in wavelength order
    std::vector<double> nm;
    std::vector<std::string> names;
    double step = 0;
};

SpectralColumns FindSpectralColumns(const TableLayout& t) {
    SpectralColumns s;
    std::vector<std::pair<double, int>> found;
    for (int c = 0; c < static_cast<int>(t.fields.size()); ++c) {
        if (auto nm = SpectralFieldWavelength(t.fields[c]))
            found.emplace_back(*nm, c);
    }
    std::sort(found.begin(), found.end());
    for (const auto& [nm, c] : found) {
        s.nm.push_back(nm);
        s.column.push_back(c);
        s.names.push_back(t.fields[c]);
    }
    return s;
}

void CheckSpacing(SpectralColumns& s, const TableLayout& t, const std::string& source) {
    if (s.nm.size() < 2) {
        Fail(source, t.formatLine,
             "only one spectral field (" + s.names.front() + "); a curve needs at least two");
    }
    for (std::size_t i = 1; i < s.nm.size(); ++i) {
        if (s.nm[i] - s.nm[i - 1] < 1e-6) {
            Fail(source, t.formatLine,
                 "two spectral fields for the same wavelength (" + s.names[i - 1] + ", " +
                     s.names[i] + ")");
        }
    }
    const double step = s.nm[1] - s.nm[0];
    for (std::size_t i = 2; i < s.nm.size(); ++i) {
        if (std::fabs((s.nm[i] - s.nm[i - 1]) - step) > 1e-6) {
            Fail(source, t.formatLine,
                 "the spectral fields are not evenly spaced (" + s.names[i - 2] + ", " +
                     s.names[i - 1] + ", " + s.names[i] + ")");
        }
    }
    const bool known = std::fabs(step - 1) < 1e-6 || std::fabs(step - 5) < 1e-6 ||
                       std::fabs(step - 10) < 1e-6 || std::fabs(step - 20) < 1e-6;
    if (!known) {
        std::ostringstream os;
        os << "the spectral fields step by " << step
           << " nm; only steps of 1, 5, 10 or 20 nm are accepted";
        Fail(source, t.formatLine, os.str());
    }
    s.step = std::round(step);
}

int FindField(const TableLayout& t, std::string_view name) {
    for (int c = 0; c < static_cast<int>(t.fields.size()); ++c) {
        if (Upper(t.fields[c]) == name)
            return c;
    }
    return -1;
}

// Reads the verbatim cell texts of the spectral columns (and the name column) of every row.
void ReadRows(const TableLayout& t, const SpectralColumns& s, int nameColumn,
              const std::vector<std::string_view>& lines, const std::string& source,
              std::vector<Curve>& curves, std::vector<std::string>* names, double& largest) {
    std::vector<std::string_view> tokens;
    std::vector<double> values(s.nm.size());
    curves.resize(t.rows.size());
    if (names)
        names->resize(t.rows.size());
    for (std::size_t r = 0; r < t.rows.size(); ++r) {
        Tokenize(lines[t.rows[r]], tokens);
        for (std::size_t k = 0; k < s.column.size(); ++k) {
            const std::string_view cell = tokens[s.column[k]];
            if (!ParseNumber(cell, values[k])) {
                Fail(source, t.rows[r],
                     s.names[k] + " is \"" + std::string(cell) + "\", which is not a number");
            }
            largest = std::max(largest, values[k]);
        }
        curves[r] = ResampleCurve(s.nm, values);
        if (names && nameColumn >= 0)
            (*names)[r] = std::string(tokens[nameColumn]);
    }
}

std::string FormatNm(double nm) {
    std::ostringstream os;
    os << nm;
    return os.str();
}

}  // namespace

// ---- public -------------------------------------------------------------------------------------

std::optional<double> SpectralFieldWavelength(std::string_view field) {
    static const char* const kPrefixes[] = {"SPECTRAL_NM_", "SPECTRAL_NM", "SPECTRAL_", "SPEC_",
                                            "NM_",          "NM",          "R_"};
    const std::string name = Upper(field);
    for (const char* prefix : kPrefixes) {
        const std::string_view p(prefix);
        if (name.size() <= p.size() || name.compare(0, p.size(), p) != 0)
            continue;
        const std::string_view rest = std::string_view(name).substr(p.size());
        // Digits, optionally one decimal part: 380, 383.3.
        std::size_t i = 0, digits = 0;
        while (i < rest.size() && std::isdigit(static_cast<unsigned char>(rest[i])))
            ++i, ++digits;
        if (digits == 0)
            return std::nullopt;
        if (i < rest.size() && rest[i] == '.') {
            ++i;
            std::size_t decimals = 0;
            while (i < rest.size() && std::isdigit(static_cast<unsigned char>(rest[i]))) {
                ++i, ++decimals;
            }
            if (decimals == 0)
                return std::nullopt;
        }
        if (i != rest.size())
            return std::nullopt;
        double nm = 0;
        if (!ParseNumber(rest, nm) || nm < 200 || nm > 2500)
            return std::nullopt;
        return nm;
    }
    return std::nullopt;
}

Curve ResampleCurve(const std::vector<double>& nm, const std::vector<double>& values) {
    Curve curve{};
    const std::size_t n = nm.size();
    for (int i = 0; i < kPointCount; ++i) {
        const double at = kFirstNm + kStepNm * i;
        if (n == 0)
            break;
        if (at <= nm.front()) {
            curve[i] = values.front();
        } else if (at >= nm.back()) {
            curve[i] = values.back();
        } else {
            // Even spacing lets us find the interval directly; the loop guards rounding.
            const double step = (nm.back() - nm.front()) / static_cast<double>(n - 1);
            std::size_t j = static_cast<std::size_t>((at - nm.front()) / step);
            j = std::min(j, n - 2);
            while (j > 0 && nm[j] > at)
                --j;
            while (j + 2 < n && nm[j + 1] <= at)
                ++j;
            const double t = (at - nm[j]) / (nm[j + 1] - nm[j]);
            curve[i] = t == 0.0 ? values[j] : values[j] + t * (values[j + 1] - values[j]);
        }
    }
    return curve;
}

SaveSetData ImportCgats(std::istream& in, const std::string& sourceName,
                        const ImportOptions& options, ImportReport* reportOut) {
    std::string text{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    if (in.bad())
        throw IoError(sourceName + ": the file could not be read");
    if (text.size() >= 3 && text.compare(0, 3, "\xEF\xBB\xBF") == 0)
        text.erase(0, 3);
    if (text.find('\0') != std::string::npos) {
        throw ParseError(sourceName, 0, "the file holds binary data, not CGATS text");
    }
    const std::vector<std::string_view> lines = SplitLines(text);

    ImportReport report;
    std::vector<TableLayout> tables = ScanTables(lines, sourceName, report.Notes);

    // The first table with spectral fields is angle position 0.
    std::size_t primary = tables.size();
    SpectralColumns spectral;
    for (std::size_t k = 0; k < tables.size(); ++k) {
        spectral = FindSpectralColumns(tables[k]);
        if (!spectral.nm.empty()) {
            primary = k;
            break;
        }
        report.Notes.push_back("table " + std::to_string(k + 1) +
                               " has no spectral fields and was skipped");
    }
    if (primary == tables.size()) {
        Fail(sourceName, tables.front().formatLine,
             "no spectral fields in the data format (expected names such as SPECTRAL_NM380, "
             "SPEC_380 or nm380)");
    }
    const TableLayout& main = tables[primary];
    CheckSpacing(spectral, main, sourceName);

    // A later table of the same samples marked as angle position 1 is the second geometry.
    std::size_t second = tables.size();
    for (std::size_t k = primary + 1; k < tables.size(); ++k) {
        const SpectralColumns s = FindSpectralColumns(tables[k]);
        if (s.nm.empty()) {
            report.Notes.push_back("table " + std::to_string(k + 1) +
                                   " has no spectral fields and was not imported");
            continue;
        }
        if (second == tables.size() && tables[k].angle == "1" && s.nm == spectral.nm &&
            tables[k].rows.size() == main.rows.size()) {
            second = k;
        } else {
            report.Notes.push_back("table " + std::to_string(k + 1) + " was not imported");
        }
    }

    int nameColumn = FindField(main, "SAMPLE_NAME");
    report.NameField = "SAMPLE_NAME";
    if (nameColumn < 0) {
        nameColumn = FindField(main, "SAMPLE_ID");
        report.NameField = nameColumn < 0 ? "" : "SAMPLE_ID";
    }

    double largest = -HUGE_VAL;
    std::vector<Curve> curves0, curves1;
    std::vector<std::string> names;
    ReadRows(main, spectral, nameColumn, lines, sourceName, curves0, &names, largest);
    if (second < tables.size()) {
        ReadRows(tables[second], spectral, -1, lines, sourceName, curves1, nullptr, largest);
    }

    // littleCMS checks the syntax of the tables we use and reads their header keywords.
    const TableHeader header = ParseWithLcms(main, lines, sourceName, report.Chunks);
    if (second < tables.size()) {
        ParseWithLcms(tables[second], lines, sourceName, report.Chunks);
    }

    // Scale to percent.
    double factor = 1.0;
    std::ostringstream why;
    double norm = 0;
    if (options.Scale == ReflectanceScale::Percent) {
        why << "as requested";
    } else if (options.Scale == ReflectanceScale::Fraction) {
        factor = 100.0;
        why << "as requested";
    } else if (header.spectralNorm && ParseNumber(*header.spectralNorm, norm) && norm > 0) {
        factor = 100.0 / norm;
        why << "from SPECTRAL_NORM " << *header.spectralNorm;
    } else {
        factor = largest > kFractionCeiling ? 1.0 : 100.0;
        why << "judged from the values: the largest is " << largest
            << (factor == 1.0 ? " (above " : " (not above ") << kFractionCeiling << ")";
    }
    report.Percent = factor == 1.0;
    report.Factor = factor;
    report.ScaleReason = why.str();
    if (factor != 1.0) {
        for (auto* set : {&curves0, &curves1}) {
            for (Curve& c : *set) {
                for (double& v : c)
                    v *= factor;
            }
        }
    }

    SaveSetData data;
    data.NumAngles = second < tables.size() ? 2 : 1;
    data.Company = options.Company ? *options.Company : header.company.value_or("");
    data.Status = options.Status ? *options.Status : header.status.value_or("XXXXXX");
    int16_t instrument = 0;
    if (options.Instrument) {
        instrument = *options.Instrument;
    } else if (header.instrument) {
        double v = 0;
        if (ParseNumber(*header.instrument, v) && v == std::floor(v) && v >= -32768 && v <= 32767) {
            instrument = static_cast<int16_t>(v);
        }
    }
    data.Instrument = instrument;
    data.Records.resize(curves0.size());
    for (std::size_t r = 0; r < curves0.size(); ++r) {
        SaveSetRecord& rec = data.Records[r];
        rec.Name = nameColumn >= 0 ? std::move(names[r]) : "Sample " + std::to_string(r + 1);
        rec.Status = data.Status;
        rec.Instrument = data.Instrument;
        rec.Curves[0] = curves0[r];
        if (data.NumAngles == 2)
            rec.Curves[1] = curves1[r];
    }

    report.SheetType = header.sheetType;
    report.Records = static_cast<int>(data.Records.size());
    report.Angles = data.NumAngles;
    report.SpectralFields = spectral.names;
    report.FirstNm = spectral.nm.front();
    report.LastNm = spectral.nm.back();
    report.StepNm = spectral.step;
    report.Resampled = !(spectral.nm.size() == kPointCount && report.FirstNm == kFirstNm &&
                         report.StepNm == kStepNm);
    report.ExtendedBelow = report.FirstNm > kFirstNm;
    report.ExtendedAbove = report.LastNm < kLastNm;
    if (reportOut)
        *reportOut = std::move(report);
    return data;
}

SaveSetData ImportCgats(const std::filesystem::path& file, const ImportOptions& options,
                        ImportReport* report) {
    std::ifstream in(file, std::ios::binary);
    if (!in)
        throw IoError(file.string() + ": the file could not be opened");
    return ImportCgats(in, file.string(), options, report);
}

std::vector<std::string> ImportReport::Lines() const {
    std::vector<std::string> out;
    out.push_back("Sheet type: " + (SheetType.empty() ? std::string("(none)") : SheetType));
    out.push_back(
        "Samples: " + std::to_string(Records) + ", names from " +
        (NameField.empty() ? std::string("their order (no SAMPLE_NAME or SAMPLE_ID)") : NameField));
    if (!SpectralFields.empty()) {
        out.push_back("Spectral fields: " + SpectralFields.front() + " .. " +
                      SpectralFields.back() + " (" + std::to_string(SpectralFields.size()) +
                      " fields)");
    }
    out.push_back("Measured range: " + FormatNm(FirstNm) + "-" + FormatNm(LastNm) + " nm, step " +
                  FormatNm(StepNm) + " nm");
    std::string scale = "Scale: ";
    if (Percent) {
        scale += "percent (0-100)";
    } else if (Factor == 100.0) {
        scale += "fraction (0-1), multiplied by 100";
    } else {
        std::ostringstream os;
        os << "multiplied by " << Factor;
        scale += os.str();
    }
    out.push_back(scale + ", " + ScaleReason);
    if (!Resampled) {
        out.push_back("Resampling: none, the data lie on 360-750 nm by 10 nm");
    } else {
        std::string line = "Resampling: to 360-750 nm by 10 nm, linear between measured points";
        if (ExtendedBelow)
            line += "; below " + FormatNm(FirstNm) + " nm the first value repeated";
        if (ExtendedAbove)
            line += "; above " + FormatNm(LastNm) + " nm the last value repeated";
        out.push_back(line);
    }
    out.push_back("Angle positions: " + std::to_string(Angles) +
                  (Angles == 2 ? " (second table read as angle position 1, SCE)" : ""));
    if (Chunks > Angles) {
        out.push_back("Parsed in " + std::to_string(Chunks) + " pieces of at most " +
                      std::to_string(kCgatsRowsPerChunk) + " rows");
    }
    for (const std::string& n : Notes)
        out.push_back("Note: " + n);
    return out;
}

// ---- export -------------------------------------------------------------------------------------

namespace {

std::string Quote(const std::string& s) {
    std::string q = "\"";
    for (char c : s) {
        if (c == '"')
            c = '\'';
        if (c == '\r' || c == '\n' || c == '\0')
            c = ' ';
        q.push_back(c);
    }
    q.push_back('"');
    return q;
}

void AppendNumber(std::string& line, double v, int decimals) {
    char buf[64];
    const auto r =
        decimals < 0 ? std::to_chars(buf, buf + sizeof buf, v)
                     : std::to_chars(buf, buf + sizeof buf, v, std::chars_format::fixed, decimals);
    line.append(buf, r.ptr);
}

void WriteTable(const SaveSetData& data, int angle, std::ostream& out, const ExportOptions& o) {
    const char* eol = "\r\n";
    const char geometry = data.Status.size() >= 3 ? data.Status[2] : 'X';
    std::string what = "angle position " + std::to_string(angle);
    if (data.NumAngles == 2 || geometry == 'B') {
        what += angle == 0 ? ", specular included (SCI)" : ", specular excluded (SCE)";
    } else if (geometry == 'I') {
        what += ", specular included (SCI)";
    } else if (geometry == 'E') {
        what += ", specular excluded (SCE)";
    }
    out << "CGATS.17" << eol;
    out << "ORIGINATOR " << Quote(o.Originator) << eol;
    out << "DESCRIPTOR " << Quote("Spectral reflectance in percent, " + what) << eol;
    if (!o.Created.empty())
        out << "CREATED " << Quote(o.Created) << eol;
    auto keyword = [&](const char* name, const std::string& value) {
        out << "KEYWORD \"" << name << "\"" << eol << name << " " << Quote(value) << eol;
    };
    keyword("SPECTRAL_NORM", "100");
    keyword("TINTARA_ANGLE", std::to_string(angle));
    keyword("TINTARA_INSTRUMENT", std::to_string(data.Instrument));
    keyword("TINTARA_STATUS", data.Status);
    keyword("TINTARA_COMPANY", data.Company);
    out << "NUMBER_OF_FIELDS " << (2 + kPointCount) << eol;
    out << "BEGIN_DATA_FORMAT" << eol << "SAMPLE_ID SAMPLE_NAME";
    for (int i = 0; i < kPointCount; ++i) {
        out << " SPECTRAL_NM" << static_cast<int>(kFirstNm + kStepNm * i);
    }
    out << eol << "END_DATA_FORMAT" << eol;
    out << "NUMBER_OF_SETS " << data.Records.size() << eol;
    out << "BEGIN_DATA" << eol;
    std::string line;
    for (std::size_t r = 0; r < data.Records.size(); ++r) {
        const SaveSetRecord& rec = data.Records[r];
        line = std::to_string(r + 1);
        line += ' ';
        line += Quote(rec.Name);
        for (double v : rec.Curves[angle]) {
            if (!std::isfinite(v)) {
                throw ComputeError("record " + std::to_string(r + 1) + " (" + rec.Name +
                                   ") holds a value that is not a number");
            }
            line += ' ';
            AppendNumber(line, v, o.Decimals);
        }
        line += eol;
        out << line;
    }
    out << "END_DATA" << eol;
}

}  // namespace

void ExportCgats(const SaveSetData& data, std::ostream& out, const ExportOptions& options) {
    const int angles = std::clamp<int>(data.NumAngles, 1, kMaxAngles);
    for (int a = 0; a < angles; ++a) {
        if (a > 0)
            out << "\r\n";
        WriteTable(data, a, out, options);
    }
}

void ExportCgats(const SaveSetData& data, const std::filesystem::path& file,
                 const ExportOptions& options) {
    WriteFileAtomically(file, [&](std::ostream& out) { ExportCgats(data, out, options); });
}

}  // namespace tintara
