// CGATS.17 / ISO 28178 import and export of spectral save sets.
//
// The importer is a line parser of our own. CGATS is line-structured (a header of KEYWORD value
// lines, a BEGIN_DATA_FORMAT field list, a BEGIN_DATA ... END_DATA table of one row per line), and
// the files labs bring bend it in ways a strict parser refuses: unquoted values and tab padding
// from spreadsheets, a second END_DATA from i1Profiler, decimal commas, rounded field names. The
// structure that matters (fields counted, rows counted, every value of the columns we use a
// number) is checked here; header lines we do not use are read if they can be and otherwise
// skipped with a note.
#include "files/Cgats.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <ostream>
#include <sstream>
#include <system_error>
#include <utility>

#include "files/Interchange.h"
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
// The coarsest measured grid accepted: 20 nm is what colorimetry still takes by interpolation.
constexpr double kCoarsestStepNm = 20.0;
// Field names round the wavelength to a whole nanometre (Argyll's hi-res SPEC_383 for 383.33).
constexpr double kRoundedNameNm = 0.5 + 1e-6;
// No measurement file comes near this size (100,000 samples at 1 nm are about 300 MB).
constexpr std::streamoff kLargestFile = std::streamoff(4) << 30;
// Header lines that could not be read are noted one by one up to this many.
constexpr int kMaxLineNotes = 5;

// ---- lines and tokens ---------------------------------------------------------------------------

// The lines of a text ending in LF, CR LF or CR alike.
std::vector<std::string_view> SplitLines(std::string_view text) {
    std::vector<std::string_view> lines;
    lines.reserve(text.size() / 64 + 16);
    const char* p = text.data();
    const char* const end = p + text.size();
    while (p < end) {
        const char* lf = static_cast<const char*>(std::memchr(p, '\n', end - p));
        const char* stop = lf ? lf : end;
        // A CR ends a line too: before the LF (CR LF), or on its own (old Mac files).
        for (const char* cr; (cr = static_cast<const char*>(std::memchr(p, '\r', stop - p)));) {
            lines.emplace_back(p, static_cast<std::size_t>(cr - p));
            p = cr + 1;
            if (p == stop)
                break;
        }
        if (p < stop || (lf && p == stop && (p == text.data() || p[-1] != '\r')))
            lines.emplace_back(p, static_cast<std::size_t>(stop - p));
        if (!lf)
            break;
        p = lf + 1;
    }
    return lines;
}

bool IsBlank(char c) {
    return c == ' ' || c == '\t' || c == '\f' || c == '\v';
}

// What a character is to the row tokenizer, looked up rather than compared: most of an import's
// time goes over the characters of its rows.
enum CharClass : unsigned char { kWord, kBlank, kControl, kQuote, kComment };
constexpr std::array<CharClass, 256> MakeCharClasses() {
    std::array<CharClass, 256> classes{};
    for (int c = 0; c < 0x20; ++c)
        classes[c] = kControl;
    for (const char c : {' ', '\t', '\f', '\v'})
        classes[static_cast<unsigned char>(c)] = kBlank;
    classes['"'] = kQuote;
    classes['\''] = kQuote;
    classes['#'] = kComment;
    return classes;
}
constexpr std::array<CharClass, 256> kCharClasses = MakeCharClasses();

CharClass ClassOf(char c) {
    return kCharClasses[static_cast<unsigned char>(c)];
}

// The tokens of one line as CGATS reads them: blank-separated words, "quoted" or 'quoted' strings
// (quotes removed), and a '#' at the start of a token comments out the rest of the line. Returns
// false when the line holds a control character (other than a tab) before any comment.
bool Tokenize(std::string_view line, std::vector<std::string_view>& tokens) {
    tokens.clear();
    bool clean = true;
    const char* const begin = line.data();
    const char* const end = begin + line.size();
    const char* p = begin;
    while (p < end) {
        const CharClass k = ClassOf(*p);
        if (k == kBlank) {
            ++p;
        } else if (k == kComment) {
            break;
        } else if (k == kQuote) {
            const char quote = *p;
            const char* q = p + 1;
            while (q < end && *q != quote) {
                clean = clean && ClassOf(*q) != kControl;
                ++q;
            }
            tokens.emplace_back(p + 1, static_cast<std::size_t>(q - p - 1));
            p = q < end ? q + 1 : end;
        } else {
            const char* q = p;
            CharClass c = k;
            while (c != kBlank) {
                clean = clean && c != kControl;
                if (++q == end)
                    break;
                c = ClassOf(*q);
            }
            tokens.emplace_back(p, static_cast<std::size_t>(q - p));
            p = q;
        }
    }
    return clean;
}

std::string_view Trim(std::string_view s) {
    while (!s.empty() && IsBlank(s.front()))
        s.remove_prefix(1);
    while (!s.empty() && IsBlank(s.back()))
        s.remove_suffix(1);
    return s;
}

// The cells of a tab-separated line (a spreadsheet's: names may hold spaces), blanks and quotes
// around each cell removed, empty cells at the end (tab padding) dropped.
void SplitTabs(std::string_view line, std::vector<std::string_view>& cells) {
    cells.clear();
    std::size_t start = 0;
    while (start <= line.size()) {
        std::size_t tab = line.find('\t', start);
        if (tab == std::string_view::npos)
            tab = line.size();
        std::string_view cell = Trim(line.substr(start, tab - start));
        if (cell.size() >= 2 && (cell.front() == '"' || cell.front() == '\'') &&
            cell.back() == cell.front()) {
            cell = cell.substr(1, cell.size() - 2);
        }
        cells.push_back(cell);
        start = tab + 1;
    }
    while (!cells.empty() && cells.back().empty())
        cells.pop_back();
}

std::string Upper(std::string_view s) {
    std::string u(s);
    for (char& c : u) {
        if (c >= 'a' && c <= 'z')
            c = static_cast<char>(c - 'a' + 'A');
    }
    return u;
}

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
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

// A number as a file writes it: with decimalComma a ',' is the decimal point (and a '.' is not
// accepted), and exponent10 moves the decimal point (2 reads "0.5" as 50) with no rounding but the
// final one.
bool ReadNumber(std::string_view text, bool decimalComma, int exponent10, double& value) {
    if (!decimalComma && exponent10 == 0)
        return ParseNumber(text, value);
    char buffer[96];
    if (text.size() > 64)
        return false;
    std::size_t n = 0;
    std::size_t exponentAt = std::string_view::npos;
    for (const char c : text) {
        char d = c;
        if (decimalComma) {
            if (c == '.')
                return false;
            if (c == ',')
                d = '.';
        }
        if (d == 'e' || d == 'E')
            exponentAt = n;
        buffer[n++] = d;
    }
    if (exponent10 != 0) {
        int exponent = 0;
        if (exponentAt != std::string_view::npos) {
            const char* first = buffer + exponentAt + 1;
            if (first < buffer + n && *first == '+')
                ++first;
            const auto [end, ec] = std::from_chars(first, buffer + n, exponent);
            if (ec != std::errc() || end != buffer + n || exponentAt == 0)
                return false;
            n = exponentAt;
        }
        const auto r = std::to_chars(buffer + n, buffer + sizeof buffer, exponent + exponent10);
        const std::size_t digits = static_cast<std::size_t>(r.ptr - (buffer + n));
        std::memmove(buffer + n + 1, buffer + n, digits);
        buffer[n] = 'e';
        n += 1 + digits;
    }
    return ParseNumber(std::string_view(buffer, n), value);
}

// Reads a number as ReadNumber does (value as written; with `shifted`, also the value with the
// decimal point moved exponent10 places), taking the common short decimal in one pass: a
// mantissa of at most 15 digits and a power of ten up to 22 are both exact doubles, so one
// multiplication or division rounds correctly (Clinger, 1990). Anything else goes to ReadNumber.
bool ReadValue(std::string_view text, bool decimalComma, int exponent10, double& value,
               double* shifted) {
    static constexpr double kPowers[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                         1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15,
                                         1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
    const char* p = text.data();
    const char* const end = p + text.size();
    bool negative = false;
    if (p < end && (*p == '-' || *p == '+'))
        negative = *p++ == '-';
    std::uint64_t mantissa = 0;
    int significant = 0, fraction = 0;
    bool any = false;
    const char point = decimalComma ? ',' : '.';
    for (; p < end && IsDigit(*p); ++p, any = true) {
        if (mantissa != 0 || *p != '0') {
            mantissa = mantissa * 10 + static_cast<std::uint64_t>(*p - '0');
            ++significant;
        }
    }
    if (p < end && *p == point) {
        for (++p; p < end && IsDigit(*p); ++p, any = true, ++fraction) {
            if (mantissa != 0 || *p != '0') {
                mantissa = mantissa * 10 + static_cast<std::uint64_t>(*p - '0');
                ++significant;
            }
        }
    }
    auto exact = [&](int exponent, double& out) {
        if (exponent < -22 || exponent > 22)
            return false;
        const double m = static_cast<double>(mantissa);
        out = exponent < 0 ? m / kPowers[-exponent] : m * kPowers[exponent];
        if (negative)
            out = -out;
        return true;
    };
    if (any && p == end && significant <= 15 && exact(-fraction, value) &&
        (!shifted || exact(exponent10 - fraction, *shifted))) {
        return true;
    }
    if (!ReadNumber(text, decimalComma, 0, value))
        return false;
    return !shifted || ReadNumber(text, decimalComma, exponent10, *shifted);
}

// A count such as NUMBER_OF_SETS: plain digits only.
bool ParseCount(std::string_view text, long long& value) {
    if (text.empty() || text.size() > 12)
        return false;
    for (const char c : text) {
        if (!IsDigit(c))
            return false;
    }
    const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
    return ec == std::errc() && end == text.data() + text.size();
}

std::string Shorten(std::string_view text) {
    constexpr std::size_t kMax = 40;
    if (text.size() <= kMax)
        return std::string(text);
    return std::string(text.substr(0, kMax)) + "...";
}

// ---- tables -------------------------------------------------------------------------------------

struct Table {
    int start = 0;  // first line (0-based) of the table's header
    std::string sheetType;
    std::vector<std::pair<std::string, std::string>> keywords;  // upper-case name, value
    int formatLine = -1;                                        // BEGIN_DATA_FORMAT
    int setsLine = -1;                                          // NUMBER_OF_SETS
    long long declaredSets = -1;
    int fieldsLine = -1;  // NUMBER_OF_FIELDS
    long long declaredFields = -1;
    int beginData = -1;
    int endData = -1;
    std::vector<std::string> fields;
    std::vector<int> rows;  // line of each data row

    const std::string* Keyword(std::string_view name) const {
        for (const auto& [key, value] : keywords) {
            if (key == name)
                return &value;
        }
        return nullptr;
    }
};

[[noreturn]] void Fail(const std::string& source, int zeroBasedLine, const std::string& reason) {
    throw ParseError(source, zeroBasedLine + 1, reason);
}

bool IsKeywordName(std::string_view token) {
    if (token.empty() || !(std::isalpha(static_cast<unsigned char>(token[0])) || token[0] == '_'))
        return false;
    for (const char c : token) {
        if (!(std::isalnum(static_cast<unsigned char>(c)) || c == '_' || c == '.' || c == '-' ||
              c == '/'))
            return false;
    }
    return true;
}

// The value of a header line "NAME value": a quoted string as written, else the rest of the line
// without the blanks around it (spreadsheets drop the quotes and pad with tabs).
std::string HeaderValue(std::string_view line) {
    std::string_view rest = Trim(line);
    std::size_t i = 0;
    while (i < rest.size() && !IsBlank(rest[i]))
        ++i;
    rest = Trim(rest.substr(i));
    if (!rest.empty() && (rest.front() == '"' || rest.front() == '\'')) {
        const std::size_t close = rest.find(rest.front(), 1);
        return std::string(close == std::string_view::npos ? rest.substr(1)
                                                           : rest.substr(1, close - 1));
    }
    if (!rest.empty() && rest.front() == '#')
        return {};
    return std::string(rest);
}

// A spreadsheet saving a line that holds quotes wraps the whole line in quotes and doubles the
// quotes inside ("DESCRIPTOR ""Chart"""); this gives back the line as it was.
std::string Unwrap(std::string_view line) {
    const std::string_view t = Trim(line);
    if (t.size() < 2 || t.front() != '"' || t.back() != '"' || t.find("\"\"") == std::string::npos)
        return std::string(line);
    std::string out;
    const std::string_view inner = t.substr(1, t.size() - 2);
    for (std::size_t i = 0; i < inner.size(); ++i) {
        out.push_back(inner[i]);
        if (inner[i] == '"' && i + 1 < inner.size() && inner[i + 1] == '"')
            ++i;
    }
    return out;
}

// Where a data-section line starts: its first character that is not a blank.
char FirstChar(std::string_view line) {
    for (const char c : line) {
        if (!IsBlank(c))
            return c;
    }
    return '\0';
}

class Scanner {
  public:
    Scanner(const std::vector<std::string_view>& lines, const std::string& source,
            std::vector<std::string>& notes)
        : m_lines(lines), m_source(source), m_notes(notes) {}

    std::vector<Table> Scan() {
        std::vector<std::string_view> tokens;
        for (int i = 0; i < static_cast<int>(m_lines.size()); ++i) {
            const std::string_view line = m_lines[i];
            if (m_state == State::Data) {
                const char c = FirstChar(line);
                if (c == '\0' || c == '#')
                    continue;
                if (c != 'E' && c != 'B' && c != 'e' && c != 'b') {
                    m_cur.rows.push_back(i);
                    continue;
                }
            }
            Tokenize(line, tokens);
            if (tokens.empty())
                continue;
            switch (m_state) {
                case State::Header:
                    HeaderLine(i, line, tokens);
                    break;
                case State::Format:
                    FormatLine(i, tokens);
                    break;
                case State::Data:
                    DataLine(i, tokens);
                    break;
            }
        }
        if (m_state == State::Format) {
            Fail(m_source, m_cur.formatLine,
                 "the list of fields (BEGIN_DATA_FORMAT) has no END_DATA_FORMAT after it");
        }
        if (m_state == State::Data) {
            Fail(m_source, m_cur.beginData,
                 "the table of values that starts here has no END_DATA (is the file cut short?)");
        }
        if (m_cur.formatLine >= 0) {
            Fail(m_source, m_cur.formatLine,
                 "the list of fields is not followed by a table of values (BEGIN_DATA ... "
                 "END_DATA)");
        }
        if (m_skippedLines > kMaxLineNotes) {
            m_notes.push_back(std::to_string(m_skippedLines - kMaxLineNotes) +
                              " more header lines were not read");
        }
        return std::move(m_tables);
    }

  private:
    enum class State { Header, Format, Data };

    void Skip(int i, const std::string& what) {
        if (++m_skippedLines <= kMaxLineNotes)
            m_notes.push_back("line " + std::to_string(i + 1) + ": " + what);
    }

    void HeaderLine(int i, std::string_view line, std::vector<std::string_view>& tokens) {
        const std::string first = Upper(tokens[0]);
        if (first == "BEGIN_DATA_FORMAT") {
            m_cur.formatLine = i;
            m_state = State::Format;
            tokens.erase(tokens.begin());
            FormatLine(i, tokens);
        } else if (first == "NUMBER_OF_SETS" || first == "NUMBER_OF_FIELDS") {
            long long count = 0;
            if (tokens.size() < 2 || !ParseCount(tokens[1], count)) {
                Fail(m_source, i,
                     first + " must give a whole number (such as 24), not \"" +
                         Shorten(tokens.size() < 2 ? std::string_view() : tokens[1]) + "\"");
            }
            (first == "NUMBER_OF_SETS" ? m_cur.setsLine : m_cur.fieldsLine) = i;
            (first == "NUMBER_OF_SETS" ? m_cur.declaredSets : m_cur.declaredFields) = count;
        } else if (first == "BEGIN_DATA") {
            if (m_cur.formatLine < 0) {
                Fail(m_source, i,
                     "a table of values (BEGIN_DATA) comes before its list of fields "
                     "(BEGIN_DATA_FORMAT)");
            }
            if (m_cur.declaredFields >= 0 &&
                m_cur.declaredFields != static_cast<long long>(m_cur.fields.size())) {
                Fail(m_source, m_cur.fieldsLine,
                     "NUMBER_OF_FIELDS is " + std::to_string(m_cur.declaredFields) +
                         " but the list of fields names " + std::to_string(m_cur.fields.size()));
            }
            m_cur.beginData = i;
            m_state = State::Data;
        } else if (first == "END_DATA") {
            if (m_cur.formatLine >= 0) {
                Fail(m_source, i, "END_DATA without BEGIN_DATA: the table of values has no start");
            }
            Skip(i, "an END_DATA with no table before it was ignored");
        } else if (first == "END_DATA_FORMAT") {
            Skip(i, "an END_DATA_FORMAT with no BEGIN_DATA_FORMAT was ignored");
        } else if (first == "KEYWORD") {
            // declares a keyword of the file's own; its value follows on a line of its own
        } else if (m_cur.keywords.empty() && m_cur.sheetType.empty() && m_cur.formatLine < 0 &&
                   tokens.size() == 1 && m_cur.setsLine < 0 && m_cur.fieldsLine < 0) {
            m_cur.sheetType = std::string(tokens[0]);
        } else if (IsKeywordName(tokens[0])) {
            m_cur.keywords.emplace_back(first, HeaderValue(line));
        } else {
            const std::string unwrapped = Unwrap(line);
            std::vector<std::string_view> inner;
            Tokenize(unwrapped, inner);
            if (unwrapped != line && !inner.empty() && IsKeywordName(inner[0])) {
                m_cur.keywords.emplace_back(Upper(inner[0]), HeaderValue(unwrapped));
            } else {
                Skip(i, "\"" + Shorten(Trim(line)) + "\" is not a header keyword and was skipped");
            }
        }
    }

    void FormatLine(int i, const std::vector<std::string_view>& tokens) {
        for (const std::string_view t : tokens) {
            const std::string upper = Upper(t);
            if (upper == "END_DATA_FORMAT") {
                m_state = State::Header;
                return;
            }
            if (upper == "BEGIN_DATA") {
                Fail(m_source, i,
                     "BEGIN_DATA inside the list of fields (END_DATA_FORMAT is missing)");
            }
            m_cur.fields.emplace_back(t);
        }
    }

    void DataLine(int i, const std::vector<std::string_view>& tokens) {
        const std::string first = Upper(tokens[0]);
        if (first == "END_DATA") {
            m_cur.endData = i;
            if (m_cur.rows.empty())
                Fail(m_source, m_cur.beginData, "the table of values holds no rows");
            if (m_cur.declaredSets >= 0 &&
                m_cur.declaredSets != static_cast<long long>(m_cur.rows.size())) {
                Fail(m_source, i,
                     "NUMBER_OF_SETS is " + std::to_string(m_cur.declaredSets) +
                         " but the table holds " + std::to_string(m_cur.rows.size()) + " rows");
            }
            m_tables.push_back(std::move(m_cur));
            m_cur = Table{};
            m_cur.start = i + 1;
            m_state = State::Header;
        } else if (first == "BEGIN_DATA" || first == "BEGIN_DATA_FORMAT") {
            Fail(m_source, i,
                 std::string(tokens[0]) + " inside a table of values (END_DATA is missing)");
        } else {
            m_cur.rows.push_back(i);
        }
    }

    const std::vector<std::string_view>& m_lines;
    const std::string& m_source;
    std::vector<std::string>& m_notes;
    std::vector<Table> m_tables;
    Table m_cur;
    State m_state = State::Header;
    int m_skippedLines = 0;
};

// ---- spectral layout ----------------------------------------------------------------------------

// Sprague's fifth-order interpolation (CIE 15:2004, 7.2.1.1) of f[0..n-1] at `position` (in units
// of the grid, 0 at f[0]); needs n >= 6. The grid is extended by two points at each end with the
// CIE end coefficients.
double SpragueAt(const std::vector<double>& f, double position) {
    static constexpr double kEnd[4][6] = {
        {884, -1960, 3033, -2648, 1080, -180},
        {508, -540, 488, -367, 144, -24},
        {-24, 144, -367, 488, -540, 508},
        {-180, 1080, -2648, 3033, -1960, 884},
    };
    const int n = static_cast<int>(f.size());
    auto point = [&](int k) {
        if (k >= 0 && k < n)
            return f[k];
        const int row = k == -2 ? 0 : k == -1 ? 1 : k == n ? 2 : 3;
        const int base = row < 2 ? 0 : n - 6;
        double sum = 0;
        for (int j = 0; j < 6; ++j)
            sum += kEnd[row][j] * f[base + j];
        return sum / 209.0;
    };
    const int j = std::clamp(static_cast<int>(std::floor(position)), 0, n - 2);
    const double x = position - j;
    double p[6];
    for (int k = 0; k < 6; ++k)
        p[k] = point(j - 2 + k);
    const double a1 = (2 * p[0] - 16 * p[1] + 16 * p[3] - 2 * p[4]) / 24;
    const double a2 = (-p[0] + 16 * p[1] - 30 * p[2] + 16 * p[3] - p[4]) / 24;
    const double a3 = (-9 * p[0] + 39 * p[1] - 70 * p[2] + 66 * p[3] - 33 * p[4] + 7 * p[5]) / 24;
    const double a4 =
        (13 * p[0] - 64 * p[1] + 126 * p[2] - 124 * p[3] + 61 * p[4] - 12 * p[5]) / 24;
    const double a5 = (-5 * p[0] + 25 * p[1] - 50 * p[2] + 50 * p[3] - 25 * p[4] + 5 * p[5]) / 24;
    return p[2] + x * (a1 + x * (a2 + x * (a3 + x * (a4 + x * a5))));
}

// Solves g x = b for every column of b (g is m x m, symmetric positive definite; b is m x n, both
// row-major) by Gauss-Jordan elimination with partial pivoting; b is overwritten with x. False
// when g is singular (too few measured points for the unknowns).
bool Solve(std::vector<double>& g, std::vector<double>& b, std::size_t m, std::size_t n) {
    for (std::size_t c = 0; c < m; ++c) {
        std::size_t pivot = c;
        for (std::size_t r = c + 1; r < m; ++r) {
            if (std::fabs(g[r * m + c]) > std::fabs(g[pivot * m + c]))
                pivot = r;
        }
        for (std::size_t k = 0; k < m; ++k)
            std::swap(g[c * m + k], g[pivot * m + k]);
        for (std::size_t k = 0; k < n; ++k)
            std::swap(b[c * n + k], b[pivot * n + k]);
        const double d = g[c * m + c];
        if (!(std::fabs(d) > 1e-12))
            return false;
        for (std::size_t r = 0; r < m; ++r) {
            if (r == c || g[r * m + c] == 0.0)
                continue;
            const double f = g[r * m + c] / d;
            for (std::size_t k = c; k < m; ++k)
                g[r * m + k] -= f * g[c * m + k];
            for (std::size_t k = 0; k < n; ++k)
                b[r * n + k] -= f * b[c * n + k];
        }
    }
    for (std::size_t c = 0; c < m; ++c) {
        for (std::size_t k = 0; k < n; ++k)
            b[c * n + k] /= g[c * m + c];
    }
    return true;
}

// How each of the 40 points is made from a row's measured values: taken from one measured point
// (`direct`), or a weighted sum of measured points. Built once per grid; every row reuses it.
//
// A grid as fine as 10 nm or coarser is sampled: a 10 nm point that was measured is taken as it
// is, one between measured points is interpolated by Sprague on the measured grid. A finer grid
// holds detail between the 10 nm points that sampling would throw away (on the CIE test colour
// samples at 3.3 nm, up to 0.5 ΔE*ab against the colour of the whole curve). There the 40 points
// are the least-squares fit: the 10 nm curve whose Sprague interpolation, as the colorimetry
// makes it, lies closest to every measured point. A fine curve that is itself the Sprague
// interpolation of a 10 nm curve gives back exactly that curve.
class Resampler {
  public:
    enum class Method { Sampled, Sprague, Linear, LeastSquares };

    explicit Resampler(const std::vector<double>& nm) {
        const std::size_t n = nm.size();
        const double step = n > 1 ? (nm.back() - nm.front()) / static_cast<double>(n - 1) : 1.0;
        if (step < kStepNm - 1e-6 && n >= 6 && FitLeastSquares(nm))
            return;
        std::vector<double> unit(n, 0.0);
        for (int i = 0; i < kPointCount; ++i) {
            const double at = kFirstNm + kStepNm * i;
            m_direct[i] = -1;
            if (at <= nm.front() + 1e-9) {
                m_direct[i] = 0;
                continue;
            }
            if (at >= nm.back() - 1e-9) {
                m_direct[i] = static_cast<int>(n - 1);
                continue;
            }
            const double position = (at - nm.front()) / step;
            const double nearest = std::round(position);
            if (std::fabs(position - nearest) < 1e-9) {
                m_direct[i] = static_cast<int>(nearest);
                continue;
            }
            if (n < 6) {
                m_method = Method::Linear;
                const int j =
                    std::clamp(static_cast<int>(std::floor(position)), 0, static_cast<int>(n) - 2);
                const double t = position - j;
                m_weights[i] = {{j, 1.0 - t}, {j + 1, t}};
                continue;
            }
            m_method = Method::Sprague;
            for (std::size_t k = 0; k < n; ++k) {
                unit[k] = 1.0;
                const double w = SpragueAt(unit, position);
                unit[k] = 0.0;
                if (w != 0.0)
                    m_weights[i].emplace_back(static_cast<int>(k), w);
            }
        }
    }

    int Direct(int i) const { return m_direct[i]; }
    double Interpolate(int i, const double* values) const {
        double sum = 0;
        for (const auto& [k, w] : m_weights[i])
            sum += w * values[k];
        return sum;
    }
    Method Used() const { return m_method; }

  private:
    // The least-squares weights. The unknowns are the 10 nm points inside the measured range;
    // those outside repeat the nearest one, as everywhere else.
    bool FitLeastSquares(const std::vector<double>& nm) {
        const int first = static_cast<int>(std::ceil((nm.front() - kFirstNm) / kStepNm - 1e-9));
        const int last = static_cast<int>(std::floor((nm.back() - kFirstNm) / kStepNm + 1e-9));
        const int lo = std::max(first, 0), hi = std::min(last, kPointCount - 1);
        if (hi - lo < 2)
            return false;
        const std::size_t m = static_cast<std::size_t>(hi - lo + 1);
        std::vector<std::size_t> used;  // measured points inside 360..750 nm
        for (std::size_t k = 0; k < nm.size(); ++k) {
            if (nm[k] >= kFirstNm - 1e-9 && nm[k] <= kLastNm + 1e-9)
                used.push_back(k);
        }
        // a[k][j]: the Sprague curve of the 40 points at measured point k, per unknown j.
        std::vector<double> a(used.size() * m, 0.0);
        std::vector<double> unit(kPointCount, 0.0);
        for (int i = 0; i < kPointCount; ++i) {
            const std::size_t j = static_cast<std::size_t>(std::clamp(i, lo, hi) - lo);
            unit[i] = 1.0;
            for (std::size_t r = 0; r < used.size(); ++r)
                a[r * m + j] += SpragueAt(unit, (nm[used[r]] - kFirstNm) / kStepNm);
            unit[i] = 0.0;
        }
        // Normal equations: (a'a) x = a', so x (m x used) maps measured values to unknowns.
        std::vector<double> g(m * m, 0.0), x(m * used.size(), 0.0);
        for (std::size_t r = 0; r < used.size(); ++r) {
            for (std::size_t p = 0; p < m; ++p) {
                x[p * used.size() + r] = a[r * m + p];
                for (std::size_t q = 0; q < m; ++q)
                    g[p * m + q] += a[r * m + p] * a[r * m + q];
            }
        }
        if (used.size() < m || !Solve(g, x, m, used.size()))
            return false;
        for (int i = 0; i < kPointCount; ++i) {
            m_direct[i] = -1;
            const std::size_t j = static_cast<std::size_t>(std::clamp(i, lo, hi) - lo);
            for (std::size_t r = 0; r < used.size(); ++r)
                m_weights[i].emplace_back(static_cast<int>(used[r]), x[j * used.size() + r]);
        }
        m_method = Method::LeastSquares;
        return true;
    }

    std::array<int, kPointCount> m_direct{};
    std::array<std::vector<std::pair<int, double>>, kPointCount> m_weights;
    Method m_method = Method::Sampled;
};

struct SpectralLayout {
    bool pairs = false;         // SPECTRAL_NM / SPECTRAL_DEC (or _PCT) column pairs
    bool pairPercent = false;   // the pairs are SPECTRAL_PCT
    std::vector<int> column;    // value columns, in wavelength order
    std::vector<int> nmColumn;  // pairs: the wavelength column before each value column
    std::vector<double> nm;     // pairs: known once the first row is read
    std::vector<std::string> names;
    std::string wavelengthSource;
    double step = 0;

    bool Empty() const { return column.empty(); }
};

SpectralLayout FindSpectralLayout(const Table& t) {
    SpectralLayout s;
    for (std::size_t c = 0; c + 1 < t.fields.size(); ++c) {
        const std::string name = Upper(t.fields[c]);
        const std::string next = Upper(t.fields[c + 1]);
        if (name == "SPECTRAL_NM" && (next == "SPECTRAL_DEC" || next == "SPECTRAL_PCT")) {
            s.nmColumn.push_back(static_cast<int>(c));
            s.column.push_back(static_cast<int>(c + 1));
            s.pairPercent = next == "SPECTRAL_PCT";
            s.names.push_back(t.fields[c + 1]);
            ++c;
        }
    }
    if (s.column.size() >= 2) {
        s.pairs = true;
        s.wavelengthSource = "the SPECTRAL_NM value before each " + s.names.front();
        return s;
    }
    s = SpectralLayout{};
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
    s.wavelengthSource = "the field names";
    return s;
}

// Argyll names hi-res fields by the rounded wavelength and gives the exact grid in keywords.
void ApplyBandKeywords(const Table& t, SpectralLayout& s, bool decimalComma,
                       std::vector<std::string>& notes) {
    const std::string* bands = t.Keyword("SPECTRAL_BANDS");
    const std::string* start = t.Keyword("SPECTRAL_START_NM");
    const std::string* end = t.Keyword("SPECTRAL_END_NM");
    if (!bands || !start || !end || s.pairs)
        return;
    double b = 0, first = 0, last = 0;
    auto number = [&](const std::string& text, double& v) {
        return ParseNumber(text, v) || (decimalComma && ReadNumber(text, true, 0, v));
    };
    if (!number(*bands, b) || !number(*start, first) || !number(*end, last) || b < 2 ||
        b != std::floor(b) || !(last > first)) {
        notes.push_back(
            "SPECTRAL_BANDS, SPECTRAL_START_NM and SPECTRAL_END_NM do not describe a "
            "range of wavelengths; the field names were used");
        return;
    }
    if (b != static_cast<double>(s.nm.size())) {  // compared as doubles: b may be enormous
        notes.push_back("SPECTRAL_BANDS says " + *bands + " but " + std::to_string(s.nm.size()) +
                        " spectral fields were found; the field names were used");
        return;
    }
    std::vector<double> exact(s.nm.size());
    for (std::size_t j = 0; j < exact.size(); ++j) {
        exact[j] = first + static_cast<double>(j) * (last - first) / (b - 1);
        if (std::fabs(exact[j] - s.nm[j]) > 1.0 + 1e-6) {
            notes.push_back("SPECTRAL_START_NM .. SPECTRAL_END_NM puts " + s.names[j] + " at " +
                            std::to_string(exact[j]) + " nm; the field names were used");
            return;
        }
    }
    s.nm = std::move(exact);
    s.wavelengthSource = "SPECTRAL_BANDS, SPECTRAL_START_NM and SPECTRAL_END_NM";
}

std::string FormatNm(double nm) {
    std::ostringstream os;
    os << nm;
    return os.str();
}

// The measured wavelengths must form a regular grid no coarser than 20 nm. Names rounded to whole
// nanometres are taken as the regular grid they round.
void CheckGrid(SpectralLayout& s, const std::string& source, int line,
               std::vector<std::string>& notes) {
    if (s.nm.size() < 2) {
        Fail(source, line,
             "only one spectral value (" + s.names.front() + "); a curve needs at least two");
    }
    for (std::size_t i = 1; i < s.nm.size(); ++i) {
        if (s.nm[i] - s.nm[i - 1] < 1e-6) {
            Fail(source, line,
                 "two spectral values for the same wavelength (" + s.names[i - 1] + ", " +
                     s.names[i] + ")");
        }
    }
    const std::size_t n = s.nm.size();
    const double step = (s.nm.back() - s.nm.front()) / static_cast<double>(n - 1);
    bool rounded = false;
    for (std::size_t i = 1; i + 1 < n; ++i) {
        const double ideal = s.nm.front() + step * static_cast<double>(i);
        const double off = std::fabs(s.nm[i] - ideal);
        if (off > kRoundedNameNm) {
            Fail(source, line,
                 "the spectral values are not evenly spaced (" + s.names[i - 1] + ", " +
                     s.names[i] + ", " + s.names[i + 1] + ")");
        }
        rounded = rounded || off > 1e-6;
    }
    if (step > kCoarsestStepNm + 1e-6) {
        Fail(source, line,
             "the spectral values are " + FormatNm(step) +
                 " nm apart; colour work needs them every 20 nm or closer");
    }
    if (rounded) {
        for (std::size_t i = 1; i + 1 < n; ++i)
            s.nm[i] = s.nm.front() + step * static_cast<double>(i);
        notes.push_back(
            "the wavelengths of the field names are rounded; they were read as a "
            "regular grid of " +
            FormatNm(step) + " nm");
    }
    s.step = step;
}

int FindField(const Table& t, std::string_view name) {
    for (int c = 0; c < static_cast<int>(t.fields.size()); ++c) {
        if (Upper(t.fields[c]) == name)
            return c;
    }
    return -1;
}

// The cells of a data row: blank-separated, or tab-separated when that is what gives the number
// of fields (a spreadsheet's unquoted names with spaces).
bool RowCells(std::string_view line, std::size_t fields, std::vector<std::string_view>& cells) {
    const bool clean = Tokenize(line, cells);
    if (cells.size() != fields && line.find('\t') != std::string_view::npos) {
        std::vector<std::string_view> tabbed;
        SplitTabs(line, tabbed);
        if (tabbed.size() == fields)
            cells = std::move(tabbed);
    }
    return clean;
}

// How the numbers of a table are read and scaled.
struct ValueReading {
    bool decimalComma = false;
    double factor = 1.0;  // applied to every value
    int exponent10 = 0;   // when factor is a power of ten: read measured points shifted, exactly
};

// Reads the spectral values of every row into the records' curves at `angle` (and the names, for
// angle 0). With `fractions` (the scale is still to be judged) it also keeps every curve as it
// would be for 0..1 factors, the measured points read with the decimal point moved two places.
void ReadRows(const Table& t, SpectralLayout& s, const Resampler* resampler, int nameColumn,
              const std::vector<std::string_view>& lines, const std::string& source,
              const ValueReading& reading, std::vector<SaveSetRecord>& records, int angle,
              std::vector<Curve>* fractions, double& largest) {
    std::vector<std::string_view> cells;
    const std::size_t count = s.column.size();
    std::vector<double> values(count), scaled(count), rowNm(count);
    std::unique_ptr<Resampler> own;
    double top = largest;  // kept in a register while the rows are read
    int shift = fractions ? 2 : reading.exponent10;
    if (fractions)
        fractions->reserve(t.rows.size());
    for (std::size_t r = 0; r < t.rows.size(); ++r) {
        // A value above the ceiling settles the scale as percent: no fractions are needed.
        if (fractions && top > kFractionCeiling) {
            *fractions = std::vector<Curve>();
            fractions = nullptr;
            shift = reading.exponent10;
        }
        const int line = t.rows[r];
        if (!RowCells(lines[line], t.fields.size(), cells)) {
            Fail(source, line,
                 "the row holds a control character, which a measurement file never does; is "
                 "the file damaged?");
        }
        if (cells.size() != t.fields.size()) {
            Fail(source, line,
                 "the row has " + std::to_string(cells.size()) +
                     " values but the list of fields names " + std::to_string(t.fields.size()));
        }
        for (std::size_t k = 0; k < count; ++k) {
            const std::string_view cell = cells[s.column[k]];
            if (!ReadValue(cell, reading.decimalComma, shift, values[k],
                           shift != 0 ? &scaled[k] : nullptr)) {
                Fail(source, line,
                     s.names[k] + " is \"" + Shorten(cell) + "\", which is not a number");
            }
            top = std::max(top, values[k]);
        }
        if (s.pairs) {
            for (std::size_t k = 0; k < count; ++k) {
                const std::string_view cell = cells[s.nmColumn[k]];
                if (!ReadNumber(cell, reading.decimalComma, 0, rowNm[k])) {
                    Fail(source, line,
                         "the wavelength before " + s.names[k] + " is \"" + Shorten(cell) +
                             "\", which is not a number");
                }
            }
            if (s.nm.empty()) {
                s.nm = rowNm;
                for (std::size_t k = 0; k < count; ++k)
                    s.names[k] = "SPECTRAL_NM " + FormatNm(s.nm[k]);
                if (!std::is_sorted(s.nm.begin(), s.nm.end())) {
                    Fail(source, line, "the SPECTRAL_NM wavelengths do not rise along the row");
                }
                std::vector<std::string> ignored;
                CheckGrid(s, source, line, ignored);
                own = std::make_unique<Resampler>(s.nm);
                resampler = own.get();
            } else {
                for (std::size_t k = 0; k < count; ++k) {
                    if (std::fabs(rowNm[k] - s.nm[k]) > kRoundedNameNm) {
                        Fail(source, line,
                             "the row gives wavelength " + FormatNm(rowNm[k]) + " where the " +
                                 "first row gives " + FormatNm(s.nm[k]) +
                                 "; every row must be measured at the same wavelengths");
                    }
                }
            }
        }
        SaveSetRecord& rec = records[r];
        Curve& curve = rec.Curves[angle];
        Curve* fraction = fractions ? &fractions->emplace_back() : nullptr;
        for (int i = 0; i < kPointCount; ++i) {
            const int k = resampler->Direct(i);
            if (k < 0) {
                const double v = resampler->Interpolate(i, values.data());
                curve[i] = v * reading.factor;
                if (fraction)
                    (*fraction)[i] = v * 100.0;
            } else {
                curve[i] =
                    reading.exponent10 != 0 && !fractions ? scaled[k] : values[k] * reading.factor;
                if (fraction)
                    (*fraction)[i] = scaled[k];
            }
        }
        if (angle == 0 && nameColumn >= 0)
            rec.Name.assign(cells[nameColumn]);
    }
    largest = top;
}

// The power of ten that factor is, when it is one.
int PowerOfTen(double factor) {
    for (int e = -6; e <= 6; ++e) {
        if (factor == std::pow(10.0, e))
            return e;
    }
    return 0;
}

std::string ResamplingWords(Resampler::Method method) {
    switch (method) {
        case Resampler::Method::Sampled:
            return "every 10 nm point in the range was measured and is taken as it is";
        case Resampler::Method::Sprague:
            return "Sprague interpolation (CIE 15) between measured points";
        case Resampler::Method::Linear:
            return "linear between measured points (fewer than six were measured)";
        case Resampler::Method::LeastSquares:
            return "the 10 nm curve whose Sprague interpolation fits every measured point best "
                   "(least squares)";
    }
    return {};
}

// Does the first row write its spectral values with a decimal comma?
bool UsesDecimalComma(const Table& t, const SpectralLayout& s,
                      const std::vector<std::string_view>& lines) {
    std::vector<std::string_view> cells;
    RowCells(lines[t.rows.front()], t.fields.size(), cells);
    if (cells.size() != t.fields.size())
        return false;
    for (const int c : s.column) {
        double v = 0;
        if (cells[c].find(',') != std::string_view::npos && ReadNumber(cells[c], true, 0, v))
            return true;
    }
    return false;
}

std::string ReadAll(std::istream& in, const std::string& sourceName) {
    std::string text;
    const std::istream::pos_type start = in.tellg();
    if (start != std::istream::pos_type(-1) && in.seekg(0, std::ios::end)) {
        const std::istream::pos_type end = in.tellg();
        in.seekg(start);
        if (end != std::istream::pos_type(-1) && end >= start) {
            if (end - start > kLargestFile)
                throw IoError(sourceName + ": the file is too large for a measurement file");
            text.resize(static_cast<std::size_t>(end - start));
            in.read(text.data(), static_cast<std::streamsize>(text.size()));
            text.resize(static_cast<std::size_t>(in.gcount()));
            if (in.bad())
                throw IoError(sourceName + ": the file could not be read");
            return text;
        }
    }
    in.clear();
    text.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    if (in.bad())
        throw IoError(sourceName + ": the file could not be read");
    return text;
}

// Why a text holds no CGATS table, in words a user can act on.
[[noreturn]] void RefuseNoTable(const std::vector<std::string_view>& lines,
                                const std::string& source) {
    for (int i = 0; i < static_cast<int>(lines.size()); ++i) {
        const std::string_view line = Trim(lines[i]);
        if (line.empty())
            continue;
        const auto commas = std::count(line.begin(), line.end(), ',');
        const auto semicolons = std::count(line.begin(), line.end(), ';');
        if (commas >= 2 || semicolons >= 2) {
            Fail(source, i,
                 "this is a table of comma- or semicolon-separated values (CSV), not a CGATS "
                 "measurement file. Save the measurements from the instrument software as CGATS "
                 "(a text file with BEGIN_DATA_FORMAT and BEGIN_DATA sections) or as CxF");
        }
        break;
    }
    throw ParseError(source, 0,
                     "no table of measurements was found. A CGATS file lists its fields between "
                     "BEGIN_DATA_FORMAT and END_DATA_FORMAT and its values between BEGIN_DATA and "
                     "END_DATA");
}

[[noreturn]] void RefuseNoSpectra(const Table& t, const std::string& source) {
    std::string fields;
    for (std::size_t c = 0; c < t.fields.size() && c < 8; ++c)
        fields += (c ? ", " : "") + t.fields[c];
    if (t.fields.size() > 8)
        fields += ", ...";
    Fail(source, t.formatLine,
         "the file holds no spectral data (its fields are " + fields +
             "). Tintara needs reflectance spectra: one field per wavelength such as "
             "SPECTRAL_NM380 or SPEC_380, or SPECTRAL_NM / SPECTRAL_DEC pairs; colour values "
             "such as L*a*b* or XYZ alone are not enough");
}

}  // namespace

// ---- public -------------------------------------------------------------------------------------

bool ParseDecimal(std::string_view text, int exponent10, double& value) {
    return ReadNumber(text, false, exponent10, value);
}

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
        while (i < rest.size() && IsDigit(rest[i]))
            ++i, ++digits;
        if (digits == 0)
            return std::nullopt;
        if (i < rest.size() && rest[i] == '.') {
            ++i;
            std::size_t decimals = 0;
            while (i < rest.size() && IsDigit(rest[i]))
                ++i, ++decimals;
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
    if (nm.empty() || nm.size() != values.size())
        return curve;
    const Resampler resampler(nm);
    for (int i = 0; i < kPointCount; ++i) {
        const int k = resampler.Direct(i);
        curve[i] = k >= 0 ? values[k] : resampler.Interpolate(i, values.data());
    }
    return curve;
}

std::string DescribeResampling(const std::vector<double>& nm) {
    return nm.empty() ? std::string() : ResamplingWords(Resampler(nm).Used());
}

SaveSetData ImportCgats(std::istream& in, const std::string& sourceName,
                        const ImportOptions& options, ImportReport* reportOut) {
    std::string text = ReadAll(in, sourceName);
    std::string_view view(text);
    if (view.size() >= 3 && view.compare(0, 3, "\xEF\xBB\xBF") == 0)
        view.remove_prefix(3);
    if (view.find('\0') != std::string::npos) {
        throw ParseError(sourceName, 0,
                         "the file holds binary data, not the text of a measurement file");
    }
    const std::vector<std::string_view> lines = SplitLines(view);

    ImportReport report;
    std::vector<Table> tables = Scanner(lines, sourceName, report.Notes).Scan();
    if (tables.empty())
        RefuseNoTable(lines, sourceName);

    // The first table with spectral values is angle position 0.
    std::size_t primary = tables.size();
    SpectralLayout spectral;
    for (std::size_t k = 0; k < tables.size(); ++k) {
        spectral = FindSpectralLayout(tables[k]);
        if (!spectral.Empty()) {
            primary = k;
            break;
        }
    }
    if (primary == tables.size())
        RefuseNoSpectra(tables.front(), sourceName);
    for (std::size_t k = 0; k < primary; ++k) {
        report.Notes.push_back("table " + std::to_string(k + 1) +
                               " has no spectral values and was skipped");
    }
    const Table& main = tables[primary];
    ValueReading reading;
    reading.decimalComma = UsesDecimalComma(main, spectral, lines);
    if (!spectral.pairs) {
        ApplyBandKeywords(main, spectral, reading.decimalComma, report.Notes);
        CheckGrid(spectral, sourceName, main.formatLine, report.Notes);
    }

    // A later table of the same samples marked as angle position 1 is the second geometry.
    std::size_t second = tables.size();
    for (std::size_t k = primary + 1; k < tables.size(); ++k) {
        const SpectralLayout s = FindSpectralLayout(tables[k]);
        const std::string* angle = tables[k].Keyword("TINTARA_ANGLE");
        if (second == tables.size() && angle && *angle == "1" && s.names == spectral.names &&
            s.pairs == spectral.pairs && tables[k].rows.size() == main.rows.size()) {
            second = k;
        } else {
            report.Notes.push_back(
                "table " + std::to_string(k + 1) +
                (s.Empty() ? " has no spectral values and was skipped" : " was not imported"));
        }
    }

    int nameColumn = FindField(main, "SAMPLE_NAME");
    report.NameField = "SAMPLE_NAME";
    if (nameColumn < 0) {
        nameColumn = FindField(main, "SAMPLE_ID");
        report.NameField = nameColumn < 0 ? "" : "SAMPLE_ID";
    }

    // Header keywords: the table's own, else the file's first table's.
    auto keyword = [&](std::string_view name) -> const std::string* {
        if (const std::string* v = main.Keyword(name))
            return v;
        return tables.front().Keyword(name);
    };

    // The scale, when the file or the options say it before any value is read.
    std::ostringstream why;
    bool judge = false;
    double norm = 0;
    const std::string* normText = keyword("SPECTRAL_NORM");
    if (options.Scale == ReflectanceScale::Percent) {
        why << "as requested";
    } else if (options.Scale == ReflectanceScale::Fraction) {
        reading.factor = 100.0;
        why << "as requested";
    } else if (spectral.pairs) {
        reading.factor = spectral.pairPercent ? 1.0 : 100.0;
        why << (spectral.pairPercent ? "SPECTRAL_PCT holds percent" : "SPECTRAL_DEC holds 0-1");
    } else if (normText &&
               (ParseNumber(*normText, norm) ||
                (reading.decimalComma && ReadNumber(*normText, true, 0, norm))) &&
               norm > 0) {
        reading.factor = 100.0 / norm;
        why << "from SPECTRAL_NORM " << *normText;
    } else {
        judge = true;
    }
    reading.exponent10 = PowerOfTen(reading.factor);

    SaveSetData data;
    data.NumAngles = second < tables.size() ? 2 : 1;
    data.Records.resize(main.rows.size());
    double largest = -HUGE_VAL;
    std::array<std::vector<Curve>, kMaxAngles> fractions;
    std::unique_ptr<Resampler> resampler;
    if (!spectral.pairs)
        resampler = std::make_unique<Resampler>(spectral.nm);
    ReadRows(main, spectral, resampler.get(), nameColumn, lines, sourceName, reading, data.Records,
             0, judge ? &fractions[0] : nullptr, largest);
    if (spectral.pairs)
        resampler = std::make_unique<Resampler>(spectral.nm);
    if (second < tables.size()) {
        ReadRows(tables[second], spectral, resampler.get(), -1, lines, sourceName, reading,
                 data.Records, 1, judge ? &fractions[1] : nullptr, largest);
    }
    if (judge) {
        reading.factor = largest > kFractionCeiling ? 1.0 : 100.0;
        why << "judged from the values: the largest is " << largest
            << (reading.factor == 1.0 ? " (above " : " (not above ") << kFractionCeiling << ")";
        if (reading.factor != 1.0) {
            for (int a = 0; a < data.NumAngles; ++a) {
                for (std::size_t r = 0; r < data.Records.size(); ++r)
                    data.Records[r].Curves[a] = fractions[a][r];
            }
        }
    }

    const std::string* company = keyword("TINTARA_COMPANY");
    const std::string* status = keyword("TINTARA_STATUS");
    const std::string* instrumentText = keyword("TINTARA_INSTRUMENT");
    data.Company = options.Company ? *options.Company : company ? *company : "";
    data.Status = options.Status ? *options.Status : status ? *status : "XXXXXX";
    int16_t instrument = 0;
    if (options.Instrument) {
        instrument = *options.Instrument;
    } else if (instrumentText) {
        double v = 0;
        if (ParseNumber(*instrumentText, v) && v == std::floor(v) && v >= -32768 && v <= 32767)
            instrument = static_cast<int16_t>(v);
    }
    data.Instrument = instrument;
    for (std::size_t r = 0; r < data.Records.size(); ++r) {
        SaveSetRecord& rec = data.Records[r];
        if (nameColumn < 0)
            rec.Name = "Sample " + std::to_string(r + 1);
        rec.Status = data.Status;
        rec.Instrument = data.Instrument;
    }

    report.SheetType = main.sheetType.empty() ? tables.front().sheetType : main.sheetType;
    report.Records = static_cast<int>(data.Records.size());
    report.Angles = data.NumAngles;
    report.SpectralFields = spectral.names;
    report.Layout = spectral.pairs ? "SPECTRAL_NM / " + Upper(main.fields[spectral.column[0]]) +
                                         " pairs (wavelength, value)"
                                   : "one field per wavelength";
    report.WavelengthSource = spectral.wavelengthSource;
    report.FirstNm = spectral.nm.front();
    report.LastNm = spectral.nm.back();
    report.StepNm = spectral.step;
    report.Factor = reading.factor;
    report.Percent = reading.factor == 1.0;
    report.ScaleReason = why.str();
    report.DecimalComma = reading.decimalComma;
    report.Resampled =
        !(spectral.nm.size() == kPointCount && std::fabs(report.FirstNm - kFirstNm) < 1e-9 &&
          std::fabs(report.StepNm - kStepNm) < 1e-9);
    report.Interpolation = ResamplingWords(resampler->Used());
    report.ExtendedBelow = report.FirstNm > kFirstNm + 1e-9;
    report.ExtendedAbove = report.LastNm < kLastNm - 1e-9;
    if (reportOut)
        *reportOut = std::move(report);
    return data;
}

SaveSetData ImportCgats(const std::filesystem::path& file, const ImportOptions& options,
                        ImportReport* report) {
    std::ifstream in = OpenMeasurementFile(file);
    return ImportCgats(in, file.string(), options, report);
}

std::vector<std::string> ImportReport::Lines() const {
    std::vector<std::string> out;
    out.push_back("Format: " + Format +
                  (SheetType.empty() ? std::string() : ", sheet type " + SheetType));
    out.push_back(
        "Samples: " + std::to_string(Records) + ", names from " +
        (NameField.empty() ? std::string("their order (no SAMPLE_NAME or SAMPLE_ID)") : NameField));
    if (!SpectralFields.empty()) {
        out.push_back("Spectral values: " + SpectralFields.front() + " .. " +
                      SpectralFields.back() + " (" + std::to_string(SpectralFields.size()) + ", " +
                      Layout + ")");
    } else if (!Layout.empty()) {
        out.push_back("Spectral values: " + Layout);
    }
    out.push_back("Measured range: " + FormatNm(FirstNm) + "-" + FormatNm(LastNm) + " nm, step " +
                  FormatNm(StepNm) + " nm (wavelengths from " + WavelengthSource + ")");
    if (DecimalComma)
        out.push_back("Numbers: read with a decimal comma (0,5 is one half)");
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
        std::string line = "Resampling: to 360-750 nm by 10 nm, " + Interpolation;
        if (ExtendedBelow)
            line += "; below " + FormatNm(FirstNm) + " nm the first value repeated";
        if (ExtendedAbove)
            line += "; above " + FormatNm(LastNm) + " nm the last value repeated";
        out.push_back(line);
    }
    out.push_back("Angle positions: " + std::to_string(Angles) +
                  (Angles == 2 ? " (the second geometry read as angle position 1, SCE)" : ""));
    for (const std::string& n : Notes)
        out.push_back("Note: " + n);
    return out;
}

// ---- export -------------------------------------------------------------------------------------

namespace {

// A CGATS string has no escapes: a text holding double quotes is written in single quotes, which
// the importer reads alike, so it comes back as it was. Line breaks cannot travel in a line.
std::string Quote(const std::string& s) {
    const bool hasDouble = s.find('"') != std::string::npos;
    const char quote = hasDouble && s.find('\'') == std::string::npos ? '\'' : '"';
    std::string q(1, quote);
    for (char c : s) {
        if (c == quote)
            c = '\'';
        if (c == '\r' || c == '\n' || c == '\0')
            c = ' ';
        q.push_back(c);
    }
    q.push_back(quote);
    return q;
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
            if (o.Decimals < 0) {
                line += FormatDecimal(v);
            } else {
                char buffer[400];
                const auto r = std::to_chars(buffer, buffer + sizeof buffer, v,
                                             std::chars_format::fixed, o.Decimals);
                line.append(buffer, r.ptr);
                if (o.Decimals == 0)
                    line += ".0";
            }
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

std::string FormatDecimal(double v, int exponent10) {
    char buffer[64];
    const auto r = std::to_chars(buffer, buffer + sizeof buffer, v, std::chars_format::scientific);
    const std::string_view text(buffer, static_cast<std::size_t>(r.ptr - buffer));
    const std::size_t e = text.find('e');
    if (!std::isfinite(v) || e == std::string_view::npos)
        return std::string(text);
    // text is [-]d[.ddd]e[+-]xx: the digits, and the power of ten of the first one.
    std::string out = v < 0 ? "-" : "";
    std::string digits;
    for (const char c : text.substr(0, e)) {
        if (IsDigit(c))
            digits.push_back(c);
    }
    int exponent = 0;
    std::string_view power = text.substr(e + 1);
    if (!power.empty() && power.front() == '+')
        power.remove_prefix(1);
    std::from_chars(power.data(), power.data() + power.size(), exponent);
    exponent += exponent10;
    if (exponent < 0) {
        out += "0." + std::string(static_cast<std::size_t>(-exponent - 1), '0') + digits;
    } else {
        const std::size_t whole = static_cast<std::size_t>(exponent) + 1;
        if (digits.size() <= whole) {
            out += digits + std::string(whole - digits.size(), '0') + ".0";
        } else {
            out += digits.substr(0, whole) + "." + digits.substr(whole);
        }
    }
    return out;
}

}  // namespace tintara
