// CGATS.17 / ISO 28178 import of spectral save sets.
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
#include <optional>
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

// The lines of a measurement file read from its stream piece by piece, so that no more than a
// piece and the current line is ever held: a file of a million samples is read several times over
// (its structure first, then its rows) rather than kept. Lines end in LF, CR LF or CR alike; a
// last line without an ending counts when it is not empty. Several cursors may share one stream:
// each seeks to its own place before it reads.
class LineCursor {
  public:
    // `at`: the stream position of the first line, which is numbered `number` (0-based).
    LineCursor(std::istream& in, const std::string& source, std::streamoff at, int number)
        : m_in(in), m_source(source), m_bufferAt(at), m_number(number - 1) {}

    // The next line (valid until the next call), or false after the last.
    bool Next(std::string_view& line) {
        for (;;) {
            const char* const begin = m_buffer.data() + m_pos;
            const char* const end = m_buffer.data() + m_buffer.size();
            const auto* lf = static_cast<const char*>(std::memchr(begin, '\n', end - begin));
            const auto* cr =
                static_cast<const char*>(std::memchr(begin, '\r', (lf ? lf : end) - begin));
            const char* stop = cr ? cr : lf;
            // A CR at the end of the piece may be the first half of a CR LF.
            if ((!stop || (stop == cr && stop + 1 == end)) && !m_ended) {
                Refill();
                continue;
            }
            if (!stop && begin == end)
                return false;
            line = std::string_view(begin, static_cast<std::size_t>((stop ? stop : end) - begin));
            m_lineAt = m_bufferAt + static_cast<std::streamoff>(m_pos);
            std::size_t next = static_cast<std::size_t>((stop ? stop + 1 : end) - m_buffer.data());
            if (stop && stop == cr && stop + 1 < end && stop[1] == '\n')
                ++next;
            m_pos = next;
            ++m_number;
            return true;
        }
    }
    int Number() const { return m_number; }             // of the line last given
    std::streamoff LineAt() const { return m_lineAt; }  // where that line starts in the stream

  private:
    static constexpr std::size_t kPiece = 1 << 18;

    void Refill() {
        m_buffer.erase(0, m_pos);
        m_bufferAt += static_cast<std::streamoff>(m_pos);
        m_pos = 0;
        m_in.clear();
        m_in.seekg(m_bufferAt + static_cast<std::streamoff>(m_buffer.size()));
        m_ended = ReadPiece(m_in, m_buffer, kPiece, m_source);
    }

    std::istream& m_in;
    const std::string& m_source;
    std::string m_buffer;
    std::size_t m_pos = 0;      // of the next line in m_buffer
    std::streamoff m_bufferAt;  // stream position of m_buffer[0]
    std::streamoff m_lineAt = 0;
    int m_number;
    bool m_ended = false;
};

// A measurement file's text: checked once as a whole (size, binary data, byte-order mark), then
// read through cursors wherever the import needs it.
class Text {
  public:
    Text(std::istream& in, const std::string& source) : m_source(source) {
        const std::istream::pos_type start = in.tellg();
        std::streamoff size = -1;
        if (start != std::istream::pos_type(-1) && in.seekg(0, std::ios::end)) {
            const std::istream::pos_type end = in.tellg();
            if (end != std::istream::pos_type(-1) && end >= start)
                size = end - start;
        }
        if (size >= 0) {
            if (size > kLargestFile)
                throw IoError(source + ": the file is too large for a measurement file");
            m_in = &in;
            m_start = start;
        } else {
            // A stream that cannot go back (a pipe) is read once into memory.
            in.clear();
            m_copy = std::make_unique<std::istringstream>(
                std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()));
            if (in.bad())
                throw IoError(source + ": the file could not be read");
            m_in = m_copy.get();
        }
        CheckText();
    }

    LineCursor Lines(std::streamoff at, int number) const {
        return LineCursor(*m_in, m_source, at, number);
    }
    LineCursor Lines() const { return Lines(m_start, 0); }
    const std::string& Source() const { return m_source; }

  private:
    // Skips a UTF-8 byte-order mark and refuses binary data before any line is read.
    void CheckText() {
        std::vector<char> piece(1 << 18);
        m_in->clear();
        m_in->seekg(m_start);
        bool first = true;
        while (m_in->read(piece.data(), static_cast<std::streamsize>(piece.size())) ||
               m_in->gcount() > 0) {
            const auto got = static_cast<std::size_t>(m_in->gcount());
            std::size_t from = 0;
            if (first && got >= 3 && std::memcmp(piece.data(), "\xEF\xBB\xBF", 3) == 0)
                from = 3;
            if (first)
                m_start += static_cast<std::streamoff>(from);
            first = false;
            if (std::memchr(piece.data() + from, '\0', got - from)) {
                throw ParseError(m_source, 0,
                                 "the file holds binary data, not the text of a measurement file");
            }
        }
        if (m_in->bad())
            throw IoError(m_source + ": the file could not be read");
    }

    std::string m_source;
    std::unique_ptr<std::istringstream> m_copy;
    std::istream* m_in = nullptr;
    std::streamoff m_start = 0;
};

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
    std::vector<int> rows;      // line of each data row
    std::streamoff rowsAt = 0;  // where the first data row starts in the stream

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
    Scanner(const std::string& source, std::vector<std::string>& notes)
        : m_source(source), m_notes(notes) {}

    std::vector<Table> Scan(LineCursor& lines) {
        std::vector<std::string_view> tokens;
        std::string_view line;
        while (lines.Next(line)) {
            const int i = lines.Number();
            if (m_state == State::Data) {
                const char c = FirstChar(line);
                if (c == '\0' || c == '#')
                    continue;
                if (c != 'E' && c != 'B' && c != 'e' && c != 'b') {
                    AddRow(i, lines.LineAt());
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
                    DataLine(i, lines.LineAt(), tokens);
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

    void AddRow(int i, std::streamoff at) {
        if (m_cur.rows.empty())
            m_cur.rowsAt = at;
        m_cur.rows.push_back(i);
    }

    void DataLine(int i, std::streamoff at, const std::vector<std::string_view>& tokens) {
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
            AddRow(i, at);
        }
    }

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

// Reads the rows of one table in order: the cells counted, the spectral values read and brought
// to 360..750 nm, scaled as `reading` says. While `judging` (the scale is still to be found from
// the largest value) the measured points are also read with the decimal point moved two places,
// as they would be for 0..1 factors, until a value above the ceiling settles the scale as percent;
// so a judging pass refuses exactly what the pass at the scale it finds would.
class RowReader {
  public:
    RowReader(const Text& text, const Table& t, SpectralLayout& s, const Resampler* resampler,
              const ValueReading& reading, bool judging, double largest = -HUGE_VAL)
        : m_lines(text.Lines(t.rowsAt, t.rows.front())),
          m_source(text.Source()),
          m_t(t),
          m_s(s),
          m_resampler(resampler),
          m_reading(reading),
          m_judging(judging),
          m_shift(judging ? 2 : reading.exponent10),
          m_values(s.column.size()),
          m_scaled(s.column.size()),
          m_largest(largest),
          m_rowNm(s.column.size()) {}

    // Reads the next row into `curve` (when given) and its cell `nameColumn` into `name` (when
    // given); false after the last row.
    bool Next(Curve* curve, int nameColumn = -1, std::string* name = nullptr) {
        if (m_row == m_t.rows.size())
            return false;
        const int line = m_t.rows[m_row++];
        std::string_view text;
        do {
            if (!m_lines.Next(text))
                throw IoError(m_source + ": the file changed while it was read");
        } while (m_lines.Number() < line);
        if (m_judging && m_largest > kFractionCeiling) {
            m_judging = false;
            m_shift = m_reading.exponent10;
        }
        ReadCells(line, text);
        if (curve)
            Resample(*curve);
        if (name && nameColumn >= 0)
            name->assign(m_cells[nameColumn]);
        return true;
    }

    double Largest() const { return m_largest; }
    // The resampler of the measured grid (for pairs, known once the first row is read).
    const Resampler* Used() const { return m_resampler; }

  private:
    void ReadCells(int line, std::string_view text) {
        const std::size_t count = m_s.column.size();
        if (!RowCells(text, m_t.fields.size(), m_cells)) {
            Fail(m_source, line,
                 "the row holds a control character, which a measurement file never does; is "
                 "the file damaged?");
        }
        if (m_cells.size() != m_t.fields.size()) {
            Fail(m_source, line,
                 "the row has " + std::to_string(m_cells.size()) +
                     " values but the list of fields names " + std::to_string(m_t.fields.size()));
        }
        double top = m_largest;  // kept in a register while the values are read
        for (std::size_t k = 0; k < count; ++k) {
            const std::string_view cell = m_cells[m_s.column[k]];
            if (!ReadValue(cell, m_reading.decimalComma, m_shift, m_values[k],
                           m_shift != 0 ? &m_scaled[k] : nullptr)) {
                Fail(m_source, line,
                     m_s.names[k] + " is \"" + Shorten(cell) + "\", which is not a number");
            }
            top = std::max(top, m_values[k]);
        }
        m_largest = top;
        if (m_s.pairs)
            ReadWavelengths(line);
    }

    void ReadWavelengths(int line) {
        const std::size_t count = m_s.column.size();
        for (std::size_t k = 0; k < count; ++k) {
            const std::string_view cell = m_cells[m_s.nmColumn[k]];
            if (!ReadNumber(cell, m_reading.decimalComma, 0, m_rowNm[k])) {
                Fail(m_source, line,
                     "the wavelength before " + m_s.names[k] + " is \"" + Shorten(cell) +
                         "\", which is not a number");
            }
        }
        if (m_s.nm.empty()) {
            m_s.nm = m_rowNm;
            for (std::size_t k = 0; k < count; ++k)
                m_s.names[k] = "SPECTRAL_NM " + FormatNm(m_s.nm[k]);
            if (!std::is_sorted(m_s.nm.begin(), m_s.nm.end())) {
                Fail(m_source, line, "the SPECTRAL_NM wavelengths do not rise along the row");
            }
            std::vector<std::string> ignored;
            CheckGrid(m_s, m_source, line, ignored);
            m_own = std::make_unique<Resampler>(m_s.nm);
            m_resampler = m_own.get();
        } else {
            for (std::size_t k = 0; k < count; ++k) {
                if (std::fabs(m_rowNm[k] - m_s.nm[k]) > kRoundedNameNm) {
                    Fail(m_source, line,
                         "the row gives wavelength " + FormatNm(m_rowNm[k]) + " where the " +
                             "first row gives " + FormatNm(m_s.nm[k]) +
                             "; every row must be measured at the same wavelengths");
                }
            }
        }
    }

    void Resample(Curve& curve) const {
        for (int i = 0; i < kPointCount; ++i) {
            const int k = m_resampler->Direct(i);
            if (k < 0) {
                curve[i] = m_resampler->Interpolate(i, m_values.data()) * m_reading.factor;
            } else {
                curve[i] = m_reading.exponent10 != 0 ? m_scaled[k] : m_values[k] * m_reading.factor;
            }
        }
    }

    LineCursor m_lines;
    const std::string& m_source;
    const Table& m_t;
    SpectralLayout& m_s;
    const Resampler* m_resampler;
    std::unique_ptr<Resampler> m_own;
    ValueReading m_reading;
    bool m_judging;
    int m_shift;
    std::vector<double> m_values, m_scaled;
    double m_largest;
    std::vector<double> m_rowNm;
    std::size_t m_row = 0;
    std::vector<std::string_view> m_cells;
};

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
bool UsesDecimalComma(const Table& t, const SpectralLayout& s, const Text& text) {
    LineCursor lines = text.Lines(t.rowsAt, t.rows.front());
    std::string_view line;
    std::vector<std::string_view> cells;
    if (!lines.Next(line))
        return false;
    RowCells(line, t.fields.size(), cells);
    if (cells.size() != t.fields.size())
        return false;
    for (const int c : s.column) {
        double v = 0;
        if (cells[c].find(',') != std::string_view::npos && ReadNumber(cells[c], true, 0, v))
            return true;
    }
    return false;
}

// Why a text holds no CGATS table, in words a user can act on.
[[noreturn]] void RefuseNoTable(const Text& text) {
    LineCursor lines = text.Lines();
    std::string_view whole;
    while (lines.Next(whole)) {
        const std::string_view line = Trim(whole);
        if (line.empty())
            continue;
        const auto commas = std::count(line.begin(), line.end(), ',');
        const auto semicolons = std::count(line.begin(), line.end(), ';');
        if (commas >= 2 || semicolons >= 2) {
            Fail(text.Source(), lines.Number(),
                 "this is a table of comma- or semicolon-separated values (CSV), not a CGATS "
                 "measurement file. Save the measurements from the instrument software as CGATS "
                 "(a text file with BEGIN_DATA_FORMAT and BEGIN_DATA sections) or as CxF");
        }
        break;
    }
    throw ParseError(text.Source(), 0,
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

bool ParseDecimal(std::string_view text, int exponent10, double& value, double& shifted) {
    if (ReadValue(text, false, exponent10, value, &shifted))
        return true;
    if (!ReadNumber(text, false, 0, value))
        return false;
    ReadNumber(text, false, exponent10, shifted);
    return true;
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

namespace {

// One import of a CGATS text, step by step: the tables found, the one with the spectra (and a
// second geometry) chosen, the name field and the scale decided, then the records read and handed
// on one by one.
class CgatsImport {
  public:
    CgatsImport(std::istream& in, const std::string& source, const ImportOptions& options)
        : m_text(in, source), m_source(source), m_options(options) {}

    void Run(const ImportSink& sink, ImportReport* reportOut) {
        ScanTables();
        ChooseTables();
        ChooseNameField();
        DecideScale();
        const SaveSetData header = Header();
        ReadRecords(header, sink);
        if (reportOut) {
            ImportReport report;
            FillReport(header, report);
            *reportOut = std::move(report);
        }
    }

  private:
    const Table& Main() const { return m_tables[m_primary]; }
    bool HasSecond() const { return m_second < m_tables.size(); }

    // A header keyword: the main table's own, else the file's first table's.
    const std::string* Keyword(std::string_view name) const {
        if (const std::string* v = Main().Keyword(name))
            return v;
        return m_tables.front().Keyword(name);
    }

    void ScanTables() {
        LineCursor lines = m_text.Lines();
        m_tables = Scanner(m_source, m_notes).Scan(lines);
        if (m_tables.empty())
            RefuseNoTable(m_text);
    }

    // The first table with spectral values is angle position 0; a later table of the same
    // samples marked as angle position 1 is the second geometry.
    void ChooseTables() {
        m_primary = m_tables.size();
        for (std::size_t k = 0; k < m_tables.size(); ++k) {
            m_spectral = FindSpectralLayout(m_tables[k]);
            if (!m_spectral.Empty()) {
                m_primary = k;
                break;
            }
        }
        if (m_primary == m_tables.size())
            RefuseNoSpectra(m_tables.front(), m_source);
        for (std::size_t k = 0; k < m_primary; ++k) {
            m_notes.push_back("table " + std::to_string(k + 1) +
                              " has no spectral values and was skipped");
        }
        m_reading.decimalComma = UsesDecimalComma(Main(), m_spectral, m_text);
        if (!m_spectral.pairs) {
            ApplyBandKeywords(Main(), m_spectral, m_reading.decimalComma, m_notes);
            CheckGrid(m_spectral, m_source, Main().formatLine, m_notes);
        }
        m_second = m_tables.size();
        for (std::size_t k = m_primary + 1; k < m_tables.size(); ++k) {
            const SpectralLayout s = FindSpectralLayout(m_tables[k]);
            const std::string* angle = m_tables[k].Keyword("TINTARA_ANGLE");
            if (!HasSecond() && angle && *angle == "1" && s.names == m_spectral.names &&
                s.pairs == m_spectral.pairs && m_tables[k].rows.size() == Main().rows.size()) {
                m_second = k;
            } else {
                m_notes.push_back(
                    "table " + std::to_string(k + 1) +
                    (s.Empty() ? " has no spectral values and was skipped" : " was not imported"));
            }
        }
    }

    void ChooseNameField() {
        m_nameColumn = FindField(Main(), "SAMPLE_NAME");
        m_nameField = "SAMPLE_NAME";
        if (m_nameColumn < 0) {
            m_nameColumn = FindField(Main(), "SAMPLE_ID");
            m_nameField = m_nameColumn < 0 ? "" : "SAMPLE_ID";
        }
    }

    // The scale as the options or the file say it; failing both, judged from the largest value
    // of every row, read in a pass of its own before any record is handed on.
    void DecideScale() {
        double norm = 0;
        const std::string* normText = Keyword("SPECTRAL_NORM");
        bool judge = false;
        if (m_options.Scale == ReflectanceScale::Percent) {
            m_why << "as requested";
        } else if (m_options.Scale == ReflectanceScale::Fraction) {
            m_reading.factor = 100.0;
            m_why << "as requested";
        } else if (m_spectral.pairs) {
            m_reading.factor = m_spectral.pairPercent ? 1.0 : 100.0;
            m_why << (m_spectral.pairPercent ? "SPECTRAL_PCT holds percent"
                                             : "SPECTRAL_DEC holds 0-1");
        } else if (normText &&
                   (ParseNumber(*normText, norm) ||
                    (m_reading.decimalComma && ReadNumber(*normText, true, 0, norm))) &&
                   norm > 0) {
            m_reading.factor = 100.0 / norm;
            m_why << "from SPECTRAL_NORM " << *normText;
        } else {
            judge = true;
        }
        m_reading.exponent10 = PowerOfTen(m_reading.factor);
        if (!judge)
            return;
        const Resampler resampler(m_spectral.nm);
        RowReader main(m_text, Main(), m_spectral, &resampler, m_reading, true);
        while (main.Next(nullptr)) {
        }
        double largest = main.Largest();
        if (HasSecond()) {
            RowReader second(m_text, m_tables[m_second], m_spectral, &resampler, m_reading, true,
                             largest);
            while (second.Next(nullptr)) {
            }
            largest = second.Largest();
        }
        m_reading.factor = largest > kFractionCeiling ? 1.0 : 100.0;
        m_reading.exponent10 = PowerOfTen(m_reading.factor);
        m_why << "judged from the values: the largest is " << largest
              << (m_reading.factor == 1.0 ? " (above " : " (not above ") << kFractionCeiling << ")";
    }

    SaveSetData Header() const {
        SaveSetData data;
        data.NumAngles = HasSecond() ? 2 : 1;
        const std::string* company = Keyword("TINTARA_COMPANY");
        const std::string* status = Keyword("TINTARA_STATUS");
        const std::string* instrumentText = Keyword("TINTARA_INSTRUMENT");
        data.Company = m_options.Company ? *m_options.Company : company ? *company : "";
        data.Status = m_options.Status ? *m_options.Status : status ? *status : "XXXXXX";
        int16_t instrument = 0;
        if (m_options.Instrument) {
            instrument = *m_options.Instrument;
        } else if (instrumentText) {
            double v = 0;
            if (ParseNumber(*instrumentText, v) && v == std::floor(v) && v >= -32768 && v <= 32767)
                instrument = static_cast<int16_t>(v);
        }
        data.Instrument = instrument;
        return data;
    }

    // Row r of the main table and, for two geometries, row r of the second make record r.
    void ReadRecords(const SaveSetData& header, const ImportSink& sink) {
        std::unique_ptr<Resampler> resampler;
        if (!m_spectral.pairs)
            resampler = std::make_unique<Resampler>(m_spectral.nm);
        RowReader main(m_text, Main(), m_spectral, resampler.get(), m_reading, false);
        std::optional<RowReader> second;
        int64_t made = 0;
        sink(header, [&](SaveSetRecord& rec) {
            if (!main.Next(&rec.Curves[0], m_nameColumn, &rec.Name))
                return false;
            if (HasSecond()) {
                // Made after the first main row: with pairs, that row gives the wavelengths.
                if (!second) {
                    second.emplace(m_text, m_tables[m_second], m_spectral, main.Used(), m_reading,
                                   false);
                }
                try {
                    second->Next(&rec.Curves[1]);
                } catch (const ParseError&) {
                    // The main table comes first in the file: a fault further down it is the
                    // first one, and the one to tell.
                    while (main.Next(nullptr)) {
                    }
                    throw;
                }
            }
            ++made;
            if (m_nameColumn < 0)
                rec.Name = "Sample " + std::to_string(made);
            rec.Status = header.Status;
            rec.Instrument = header.Instrument;
            return true;
        });
        m_records = made;
        m_interpolation = main.Used() ? ResamplingWords(main.Used()->Used()) : std::string();
    }

    void FillReport(const SaveSetData& header, ImportReport& report) {
        const Table& main = Main();
        report.Notes = std::move(m_notes);
        report.NameField = m_nameField;
        report.SheetType = main.sheetType.empty() ? m_tables.front().sheetType : main.sheetType;
        report.Records = static_cast<int>(m_records);
        report.Angles = header.NumAngles;
        report.SpectralFields = m_spectral.names;
        report.Layout = m_spectral.pairs
                            ? "SPECTRAL_NM / " + Upper(main.fields[m_spectral.column[0]]) +
                                  " pairs (wavelength, value)"
                            : "one field per wavelength";
        report.WavelengthSource = m_spectral.wavelengthSource;
        report.FirstNm = m_spectral.nm.front();
        report.LastNm = m_spectral.nm.back();
        report.StepNm = m_spectral.step;
        report.Factor = m_reading.factor;
        report.Percent = m_reading.factor == 1.0;
        report.ScaleReason = m_why.str();
        report.DecimalComma = m_reading.decimalComma;
        report.Resampled =
            !(m_spectral.nm.size() == kPointCount && std::fabs(report.FirstNm - kFirstNm) < 1e-9 &&
              std::fabs(report.StepNm - kStepNm) < 1e-9);
        report.Interpolation = m_interpolation;
        report.ExtendedBelow = report.FirstNm > kFirstNm + 1e-9;
        report.ExtendedAbove = report.LastNm < kLastNm - 1e-9;
    }

    Text m_text;
    const std::string& m_source;
    const ImportOptions& m_options;
    std::vector<std::string> m_notes;
    std::vector<Table> m_tables;
    std::size_t m_primary = 0;
    std::size_t m_second = 0;
    SpectralLayout m_spectral;
    ValueReading m_reading;
    int m_nameColumn = -1;
    std::string m_nameField;
    std::ostringstream m_why;
    int64_t m_records = 0;
    std::string m_interpolation;
};

}  // namespace

void ImportCgats(std::istream& in, const std::string& sourceName, const ImportSink& sink,
                 const ImportOptions& options, ImportReport* report) {
    CgatsImport(in, sourceName, options).Run(sink, report);
}

SaveSetData ImportCgats(std::istream& in, const std::string& sourceName,
                        const ImportOptions& options, ImportReport* report) {
    return KeepAll(
        [&](const ImportSink& sink) { ImportCgats(in, sourceName, sink, options, report); });
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

}  // namespace tintara
