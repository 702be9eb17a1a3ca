// CxF3 (ISO 17972-1) import and export of spectral save sets, through pugixml.
#include "files/Cxf.h"

#include <pugixml.hpp>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <deque>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <optional>
#include <sstream>

#include "files/Interchange.h"
#include "workspace/Error.h"
#include "workspace/StatusCode.h"
#include "workspace/Utf8Text.h"
#include "workspace/WriteFile.h"

namespace tintara {

namespace {

constexpr const char* kCoreNamespace = "http://colorexchangeformat.com/CxF3-core";
constexpr const char* kOurNamespace = "urn:tintara-profiler:save-set";
// CxF3's element for a measurement condition, and the collection of them.
constexpr const char* kCondition = "ColorSpecification";
constexpr const char* kConditions = "ColorSpecificationCollection";
constexpr const char* kIndent = "  ";
constexpr const char* kObjectsMarker = "tintara:objects";

// An element's name without its namespace prefix ("cc:Object" -> "Object").
std::string_view LocalName(std::string_view name) {
    const std::size_t colon = name.find(':');
    return colon == std::string_view::npos ? name : name.substr(colon + 1);
}
std::string_view LocalName(const pugi::xml_node& node) {
    return LocalName(std::string_view(node.name()));
}

// Every element under `node` (at any depth) of that local name, in document order.
std::vector<pugi::xml_node> Descendants(const pugi::xml_node& node, std::string_view local) {
    std::vector<pugi::xml_node> found;
    struct Walker : pugi::xml_tree_walker {
        std::string_view name;
        std::vector<pugi::xml_node>* out;
        bool for_each(pugi::xml_node& n) override {
            if (n.type() == pugi::node_element && LocalName(n) == name)
                out->push_back(n);
            return true;
        }
    } walker;
    walker.name = local;
    walker.out = &found;
    const_cast<pugi::xml_node&>(node).traverse(walker);
    return found;
}

// Every element under `node`, in document order.
std::vector<pugi::xml_node> Elements(const pugi::xml_node& node) {
    std::vector<pugi::xml_node> found;
    struct Walker : pugi::xml_tree_walker {
        std::vector<pugi::xml_node>* out;
        bool for_each(pugi::xml_node& n) override {
            if (n.type() == pugi::node_element)
                out->push_back(n);
            return true;
        }
    } walker;
    walker.out = &found;
    const_cast<pugi::xml_node&>(node).traverse(walker);
    return found;
}

bool ParseDouble(std::string_view text, double& v) {
    while (!text.empty() && std::isspace(static_cast<unsigned char>(text.front())))
        text.remove_prefix(1);
    while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back())))
        text.remove_suffix(1);
    if (!text.empty() && text.front() == '+')
        text.remove_prefix(1);
    const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), v);
    return !text.empty() && ec == std::errc() && end == text.data() + text.size() &&
           std::isfinite(v);
}

enum class Geometry { Unknown, SpecularIncluded, SpecularExcluded };

// One measurement condition of the file.
struct Condition {
    std::string id;
    bool hasStart = false;
    double startNm = 0;
    double incrementNm = 10;
    Geometry geometry = Geometry::Unknown;
    bool used = false;  // a spectrum refers to it
};

// Company, status and instrument as ExportCxf writes them (TintaraSaveSet).
struct CxfHeader {
    std::string company;
    std::string status{StatusCode::kReset};
    int16_t instrument = 0;
};

std::string Clean(const std::string& text) {
    std::string out = text;
    for (char& c : out) {
        if (static_cast<unsigned char>(c) < 0x20 && c != '\t')
            c = ' ';
    }
    return out;
}

// What a measurement condition takes from the elements inside it: the first WavelengthRange, and
// the geometry from SphereGeometryConfiguration (else SpecularComponent).
struct ConditionPart {
    std::string local;  // the element's name without prefix
    std::string startWL, increment, text;
};

bool IsConditionPart(std::string_view local) {
    return local == "WavelengthRange" || local == "SphereGeometryConfiguration" ||
           local == "SpecularComponent";
}

ConditionPart PartOf(const pugi::xml_node& n) {
    return {std::string(LocalName(n)), n.attribute("StartWL").value(),
            n.attribute("Increment").value(), n.child_value()};
}

Condition ConditionOf(std::string id, const std::vector<ConditionPart>& parts) {
    Condition c;
    c.id = std::move(id);
    for (const ConditionPart& range : parts) {
        if (range.local != "WavelengthRange")
            continue;
        double v = 0;
        if (ParseDouble(range.startWL, v)) {
            c.hasStart = true;
            c.startNm = v;
        }
        if (ParseDouble(range.increment, v) && v > 0)
            c.incrementNm = v;
        break;
    }
    for (const char* name : {"SphereGeometryConfiguration", "SpecularComponent"}) {
        for (const ConditionPart& part : parts) {
            if (part.local != name || c.geometry != Geometry::Unknown)
                continue;
            const std::string& text = part.text;
            if (text.find("Excluded") != std::string::npos ||
                text.find("excluded") != std::string::npos)
                c.geometry = Geometry::SpecularExcluded;
            else if (text.find("Included") != std::string::npos ||
                     text.find("included") != std::string::npos)
                c.geometry = Geometry::SpecularIncluded;
        }
    }
    return c;
}

// A condition whose element is complete in the tree.
Condition ConditionOf(const pugi::xml_node& element) {
    std::vector<ConditionPart> parts;
    for (const pugi::xml_node& n : Elements(element)) {
        if (IsConditionPart(LocalName(n)))
            parts.push_back(PartOf(n));
    }
    return ConditionOf(element.attribute("Id").value(), parts);
}

CxfHeader HeaderOf(const pugi::xml_node& ours) {
    CxfHeader header;
    header.company = ours.attribute("Company").value();
    header.status = ours.attribute("Status").value();
    header.instrument = static_cast<int16_t>(ours.attribute("Instrument").as_int());
    return header;
}

// Latin-1 text as UTF-8 (the parser reads everything as UTF-8).
std::string_view AsUtf8(std::string_view text, bool latin1, std::string& scratch) {
    if (!latin1)
        return text;
    scratch.clear();
    for (const char c : text) {
        const auto u = static_cast<unsigned char>(c);
        if (u < 0x80)
            scratch += c;
        else
            scratch += EncodeUtf8(u);  // Latin-1's byte is its code point
    }
    return scratch;
}

// A CxF file's markup, cut into its objects as it is read piece by piece.
//
// The objects (every element named Object that is not inside another one) come out one at a time
// with the line they start on. With a skeleton, the rest of the file is copied into it as it
// stands, each run of consecutive objects (blanks and comments between them included) replaced by
// one empty placeholder element, so the skeleton parses to the file's tree without its objects,
// and an offset in it still tells the line of the file. The cut follows XML's markup (comments,
// CDATA sections, processing instructions, DOCTYPE, quoted attribute values) so that on any
// well-formed file it agrees with the parser; an object ends at its closing tag, or at the first
// closing tag that does not match the one open (the parser of that piece then refuses it where it
// would have refused the whole file).
struct ObjectRun {
    std::size_t at = 0;                 // offset of the placeholder in the skeleton
    int64_t firstLine = 0;              // lines before the run's first object
    int64_t newlines = 0;               // inside the run
    std::string firstName;              // element name of the first object, as written
    std::vector<Condition> conditions;  // declared inside its objects, in file order
    std::optional<CxfHeader> header;    // the first TintaraSaveSet inside its objects
    std::vector<ConditionPart> parts;   // when inside a condition: what it would take from them
};

struct Skeleton {
    std::string text;
    std::vector<ObjectRun> runs;
};

constexpr const char* kPlaceholder = "<t/>";

bool IsNameChar(char c) {
    const auto u = static_cast<unsigned char>(c);
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
           c == ':' || c == '-' || c == '.' || u >= 0x80;
}

class ObjectCutter {
  public:
    struct Piece {
        std::string_view text;     // valid until the next call
        int64_t line = 1;          // of its first character
        bool outside = false;      // after the root element, where a reader does not look
        bool inCondition = false;  // inside a measurement condition
    };

    ObjectCutter(std::istream& in, const std::string& source, std::streamoff start,
                 Skeleton* skeleton)
        : m_in(in), m_source(source), m_skeleton(skeleton) {
        m_in.clear();
        m_in.seekg(start);
    }

    // The text is Latin-1: the skeleton gets it as UTF-8.
    void SetLatin1(bool latin1) { m_latin1 = latin1; }

    // The next object, or false at the end of the file.
    bool Next(Piece& piece) {
        for (;;) {
            const std::size_t i = Index(m_pos);
            const void* found = std::memchr(m_buf.data() + i, '<', m_buf.size() - i);
            if (!found) {
                if (!m_ended) {
                    Refill();
                    continue;
                }
                const int64_t end = m_bufAt + static_cast<int64_t>(m_buf.size());
                if (m_inObject) {  // cut short inside the object: the piece is all there is
                    m_pos = end;
                    m_inObject = false;
                    return EndObject(piece);
                }
                Text(m_pos, end);
                m_pos = end;
                CloseRun();
                return false;
            }
            const int64_t lt = m_bufAt + (static_cast<const char*>(found) - m_buf.data());
            if (!m_inObject)
                Text(m_pos, lt);
            m_pos = lt;
            Token token;
            if (!ReadToken(lt, token)) {
                if (!m_ended) {
                    Refill();
                    continue;
                }
                token = Token{};
                token.end = m_bufAt + static_cast<int64_t>(m_buf.size());
            }
            if (m_inObject) {
                if (token.kind == Kind::Start && !token.selfClosing) {
                    m_open.emplace_back(token.name);
                } else if (token.kind == Kind::End && !m_open.empty() &&
                           m_open.back() == token.name) {
                    m_open.pop_back();
                } else if (token.kind == Kind::End || token.kind == Kind::Broken) {
                    m_open.clear();
                }
                m_pos = token.end;
                if (m_open.empty()) {
                    m_inObject = false;
                    return EndObject(piece);
                }
                continue;
            }
            if (token.kind == Kind::Start && LocalName(token.name) == "Object") {
                m_outside = m_afterRoot || (m_isCondition.empty() && m_sawRoot);
                m_afterRoot = m_outside;
                m_inCondition = m_conditionsOpen > 0;
                m_sawRoot = true;
                if (m_skeleton && !m_runOpen) {
                    ObjectRun run;
                    run.at = m_skeleton->text.size();
                    run.firstLine = LinesBefore(lt);
                    run.firstName = token.name;
                    m_skeleton->runs.push_back(std::move(run));
                    m_skeleton->text += kPlaceholder;
                }
                m_runOpen = m_skeleton != nullptr;
                m_objectAt = lt;
                m_objectLine = LinesBefore(lt) + 1;
                m_pos = token.end;
                if (token.selfClosing)
                    return EndObject(piece);
                m_inObject = true;
                m_open.assign(1, token.name);
                continue;
            }
            if (m_runOpen && token.kind == Kind::Comment) {
                m_pos = token.end;
                continue;
            }
            if (token.kind == Kind::Start) {
                m_afterRoot = m_afterRoot || (m_isCondition.empty() && m_sawRoot);
                m_sawRoot = true;
                if (!token.selfClosing) {
                    const bool condition = LocalName(token.name) == kCondition;
                    m_conditionsOpen += condition ? 1 : 0;
                    m_isCondition.push_back(condition);
                }
            } else if (token.kind == Kind::End && !m_isCondition.empty()) {
                m_conditionsOpen -= m_isCondition.back() ? 1 : 0;
                m_isCondition.pop_back();
                m_afterRoot = m_afterRoot || m_isCondition.empty();
            }
            CloseRun();
            Copy(lt, token.end);
            m_pos = token.end;
        }
    }

  private:
    enum class Kind { Start, End, Comment, Other, Broken };
    struct Token {
        Kind kind = Kind::Broken;
        int64_t end = 0;  // just after it
        std::string name;
        bool selfClosing = false;
    };
    static constexpr std::size_t kChunk = std::size_t(1) << 20;

    std::size_t Index(int64_t at) const { return static_cast<std::size_t>(at - m_bufAt); }

    // Reads the markup at `at` (a '<'); false when the text read so far ends inside it.
    bool ReadToken(int64_t at, Token& token) const {
        const std::string_view rest = std::string_view(m_buf).substr(Index(at));
        if (rest.size() < 9 && !m_ended)
            return false;
        auto endOf = [&](std::string_view close, std::size_t from, Kind kind) {
            const std::size_t stop = rest.find(close, std::min(from, rest.size()));
            if (stop == std::string_view::npos)
                return false;
            token.kind = kind;
            token.end = at + static_cast<int64_t>(stop + close.size());
            return true;
        };
        auto nameFrom = [&](std::size_t from) {
            std::size_t to = from;
            while (to < rest.size() && IsNameChar(rest[to]))
                ++to;
            token.name.assign(rest.substr(from, to - from));
        };
        if (rest.substr(0, 4) == "<!--")
            return endOf("-->", 4, Kind::Comment);
        if (rest.substr(0, 9) == "<![CDATA[")
            return endOf("]]>", 9, Kind::Other);
        if (rest.substr(0, 2) == "<?")
            return endOf("?>", 2, Kind::Other);
        if (rest.substr(0, 2) == "</") {
            if (!endOf(">", 2, Kind::End))
                return false;
            nameFrom(2);
            return true;
        }
        // A start tag, or a DOCTYPE with its internal subset: to the '>' outside quotes (and, for
        // DOCTYPE, outside its brackets and declarations).
        const bool doctype = rest.substr(0, 2) == "<!";
        int depth = 0;
        char quote = 0;
        for (std::size_t k = 1; k < rest.size(); ++k) {
            const char c = rest[k];
            if (quote) {
                quote = c == quote ? 0 : quote;
            } else if (c == '"' || c == '\'') {
                quote = c;
            } else if (doctype && rest.substr(k, 4) == "<!--") {
                const std::size_t close = rest.find("-->", k + 4);
                if (close == std::string_view::npos)
                    return false;
                k = close + 2;
            } else if (doctype && (c == '<' || c == '[')) {
                ++depth;
            } else if (doctype && c == ']') {
                --depth;
            } else if (c == '>' && (!doctype || depth-- <= 0)) {
                token.kind = doctype ? Kind::Other : Kind::Start;
                token.end = at + static_cast<int64_t>(k + 1);
                token.selfClosing = !doctype && rest[k - 1] == '/';
                if (!doctype)
                    nameFrom(1);
                return true;
            }
        }
        return false;
    }

    // Text between markup: blanks between the objects of a run stay with the run.
    void Text(int64_t from, int64_t to) {
        if (from == to || !m_skeleton)
            return;
        if (m_runOpen) {
            const std::string_view text(m_buf.data() + Index(from),
                                        static_cast<std::size_t>(to - from));
            if (text.find_first_not_of(" \t\r\n") == std::string_view::npos)
                return;
            CloseRun();
        }
        Copy(from, to);
    }

    // Ends the run of objects: what followed its last object goes into the skeleton.
    void CloseRun() {
        if (!m_runOpen)
            return;
        m_runOpen = false;
        Copy(m_pendingAt, m_pos);
    }

    void Copy(int64_t from, int64_t to) {
        if (!m_skeleton || to <= from)
            return;
        const std::string_view text(m_buf.data() + Index(from),
                                    static_cast<std::size_t>(to - from));
        m_skeleton->text += AsUtf8(text, m_latin1, m_scratch);
    }

    bool EndObject(Piece& piece) {
        piece.text = std::string_view(m_buf).substr(Index(m_objectAt),
                                                    static_cast<std::size_t>(m_pos - m_objectAt));
        piece.line = m_objectLine;
        piece.outside = m_outside;
        piece.inCondition = m_inCondition;
        const int64_t lines = LinesBefore(m_pos);
        if (m_skeleton)
            m_skeleton->runs.back().newlines = lines - m_skeleton->runs.back().firstLine;
        m_pendingAt = m_pos;
        return true;
    }

    // Newlines before file offset `at` (never less than the last asked for, and in the buffer).
    int64_t LinesBefore(int64_t at) {
        if (at > m_countedTo) {
            const char* p = m_buf.data() + Index(m_countedTo);
            const char* const end = p + (at - m_countedTo);
            while ((p = static_cast<const char*>(std::memchr(p, '\n', end - p))) != nullptr) {
                ++m_lines;
                ++p;
            }
            m_countedTo = at;
        }
        return m_lines;
    }

    // Drops what is no longer needed and reads the next chunk.
    void Refill() {
        const int64_t keep = m_inObject ? m_objectAt : m_runOpen ? m_pendingAt : m_pos;
        LinesBefore(keep);
        m_buf.erase(0, Index(keep));
        m_bufAt = keep;
        m_ended = ReadPiece(m_in, m_buf, kChunk, m_source);
    }

    std::istream& m_in;
    const std::string& m_source;
    Skeleton* m_skeleton;
    std::string m_buf;
    int64_t m_bufAt = 0;  // file offset of m_buf[0]
    bool m_ended = false;
    bool m_latin1 = false;
    std::string m_scratch;
    int64_t m_pos = 0;  // where the scan goes on
    int64_t m_countedTo = 0, m_lines = 0;
    bool m_inObject = false;
    std::vector<std::string> m_open;  // element names open in the object
    int64_t m_objectAt = 0, m_objectLine = 0;
    bool m_runOpen = false;
    int64_t m_pendingAt = 0;          // what followed the last object of the open run
    std::vector<bool> m_isCondition;  // per element open around the scan: a condition?
    int m_conditionsOpen = 0;
    bool m_sawRoot = false, m_afterRoot = false;  // the root element began; it ended
    bool m_outside = false, m_inCondition = false;
};

// The text of a CxF file as the import reads it, twice over: the stream itself when it can seek
// back, else a copy in memory. A file in UTF-16 or UTF-32 is turned into UTF-8 first (in memory);
// a Latin-1 one is turned into UTF-8 piece by piece as it is parsed.
class CxfText {
  public:
    CxfText(std::istream& in, const std::string& source) {
        const std::istream::pos_type start = in.tellg();
        bool seekable = start != std::istream::pos_type(-1) && in.seekg(0, std::ios::end) &&
                        in.tellg() != std::istream::pos_type(-1);
        if (seekable) {
            m_in = &in;
            m_start = start;
        } else {
            in.clear();
            Copy(std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()));
            if (in.bad())
                throw IoError(source + ": the file could not be read");
        }
        std::string head;
        m_in->clear();
        m_in->seekg(m_start);
        ReadPiece(*m_in, head, 4096, source);
        // The parser's own guess (byte-order mark, first characters, XML declaration).
        pugi::xml_document probe;
        const pugi::xml_encoding encoding =
            head.empty() ? pugi::encoding_utf8
                         : probe
                               .load_buffer(head.data(), head.size(), pugi::parse_default,
                                            pugi::encoding_auto)
                               .encoding;
        m_latin1 = encoding == pugi::encoding_latin1;
        if (encoding != pugi::encoding_utf8 && !m_latin1) {
            m_in->clear();
            m_in->seekg(m_start);
            const std::string all{std::istreambuf_iterator<char>(*m_in),
                                  std::istreambuf_iterator<char>()};
            if (m_in->bad())
                throw IoError(source + ": the file could not be read");
            Copy(WideToUtf8(all, encoding));
        }
    }

    std::istream& Stream() const { return *m_in; }
    std::streamoff Start() const { return m_start; }
    bool Latin1() const { return m_latin1; }

  private:
    void Copy(std::string text) {
        m_copy = std::make_unique<std::istringstream>(std::move(text));
        m_in = m_copy.get();
        m_start = 0;
    }

    static std::string WideToUtf8(const std::string& bytes, pugi::xml_encoding encoding) {
        const bool bigEndian =
            encoding == pugi::encoding_utf16_be || encoding == pugi::encoding_utf32_be;
        const std::size_t unit =
            encoding == pugi::encoding_utf16_le || encoding == pugi::encoding_utf16_be ? 2 : 4;
        auto at = [&](std::size_t i) {
            uint32_t c = 0;
            for (std::size_t k = 0; k < unit; ++k) {
                const auto b =
                    static_cast<unsigned char>(bytes[i + (bigEndian ? k : unit - 1 - k)]);
                c = (c << 8) | b;
            }
            return c;
        };
        std::string out;
        out.reserve(bytes.size());
        for (std::size_t i = 0; i + unit <= bytes.size(); i += unit) {
            uint32_t c = at(i);
            if (unit == 2 && c >= 0xD800 && c < 0xDC00 && i + 4 <= bytes.size()) {
                const uint32_t low = at(i + 2);
                if (low >= 0xDC00 && low < 0xE000) {
                    c = 0x10000 + ((c - 0xD800) << 10) + (low - 0xDC00);
                    i += 2;
                }
            }
            out += EncodeUtf8(c > 0x10FFFF || (c >= 0xD800 && c < 0xE000) ? 0xFFFD : c);
        }
        return out;
    }

    std::unique_ptr<std::istringstream> m_copy;
    std::istream* m_in = nullptr;
    std::streamoff m_start = 0;
    bool m_latin1 = false;
};

int LineIn(std::string_view text, int64_t firstLine, std::ptrdiff_t offset) {
    offset = std::clamp<std::ptrdiff_t>(offset, 0, static_cast<std::ptrdiff_t>(text.size()));
    return static_cast<int>(firstLine + std::count(text.begin(), text.begin() + offset, '\n'));
}

constexpr const char* kNotXml = "the file is not readable XML: it is damaged or cut short here";

// An object's name: its Name, else its Id, else its number.
std::string ObjectName(const pugi::xml_node& object, int64_t index) {
    std::string name = object.attribute("Name").value();
    if (name.empty())
        name = object.attribute("Id").value();
    if (name.empty())
        name = "Object " + std::to_string(index + 1);
    return name;
}

// The objects of a parsed piece in document order: the piece's element and any inside it.
std::vector<pugi::xml_node> ObjectsOf(const pugi::xml_document& doc) {
    std::vector<pugi::xml_node> objects{doc.document_element()};
    for (const pugi::xml_node& inner : Descendants(doc.document_element(), "Object"))
        objects.push_back(inner);
    return objects;
}

// Reading a CxF file as a stream of records. A first pass checks that the whole file is readable
// XML and learns what the records depend on: the measurement conditions and our header data
// (wherever they stand, often after the objects), which conditions the objects use and the first
// object measured in one geometry only, the counts for the notes. It keeps one entry per distinct
// set of conditions an object uses, never anything per object. The second pass reads the objects
// again and gives out their records; a spectrum that cannot be read is refused there, in file
// order, as the whole file would have been.
class CxfImport {
  public:
    CxfImport(std::istream& in, const std::string& source, const ImportOptions& options)
        : m_text(in, source), m_source(source), m_options(options) {}

    void Run(const ImportSink& sink, ImportReport* reportOut) {
        Survey();
        SaveSetData header;
        header.NumAngles = m_second < m_conditions.size() ? 2 : 1;
        header.Company = m_options.Company.value_or(m_header.company);
        header.Status = m_options.Status.value_or(m_header.status);
        header.Instrument = m_options.Instrument.value_or(m_header.instrument);
        m_numAngles = header.NumAngles;
        m_status = header.Status;
        m_instrument = header.Instrument;

        ObjectCutter cutter(m_text.Stream(), m_source, m_text.Start(), nullptr);
        m_cutter = &cutter;
        sink(header, [this](SaveSetRecord& rec) { return NextRecord(rec); });
        m_cutter = nullptr;

        ImportReport& report = m_report;
        report.SheetType = "";
        report.Records = static_cast<int>(m_records);
        report.Angles = m_numAngles;
        report.Layout = "one ReflectanceSpectrum per object and measurement condition";
        report.WavelengthSource = "StartWL and the WavelengthRange increment";
        report.NameField = "Name";
        if (m_haveExample) {
            report.FirstNm = m_exampleNm.front();
            report.LastNm = m_exampleNm.back();
        }
        report.StepNm = m_conditions[m_first].incrementNm;
        report.Factor = m_exponent10 == 2 ? 100.0 : 1.0;
        report.Percent = m_exponent10 == 0;
        report.ScaleReason = m_why;
        report.Resampled = !(m_exampleNm.size() == kPointCount && report.FirstNm == 360.0 &&
                             report.StepNm == 10.0);
        report.Interpolation = DescribeResampling(m_exampleNm);
        report.ExtendedBelow = report.FirstNm > 360.0;
        report.ExtendedAbove = report.LastNm < 750.0;
        if (reportOut)
            *reportOut = std::move(report);
    }

  private:
    struct Spectrum {
        std::vector<double> nm;
        std::vector<double> scaled;  // in the import's scale
    };

    // ---- first pass ----------------------------------------------------------------------------

    void Survey() {
        m_report.Format = "CxF3";
        Skeleton skeleton;
        ObjectCutter cutter(m_text.Stream(), m_source, m_text.Start(), &skeleton);
        cutter.SetLatin1(m_text.Latin1());
        ObjectCutter::Piece piece;
        int badPieceLine = 0;
        std::map<std::string, int> referenceOf;  // condition names spectra refer to
        std::vector<std::string> references;
        // Per distinct set of referred conditions: the first object with it (index, name).
        std::map<std::vector<int>, std::pair<int64_t, std::string>> firstWith;
        int64_t objects = 0, spectra = 0, skipped = 0;
        std::vector<int> uses;
        while (cutter.Next(piece)) {
            const std::string_view text = AsUtf8(piece.text, m_text.Latin1(), m_scratch);
            const pugi::xml_parse_result parsed = m_doc.load_buffer(
                text.data(), text.size(), pugi::parse_default, pugi::encoding_utf8);
            if (!parsed) {
                badPieceLine = LineIn(text, piece.line, parsed.offset);
                break;
            }
            if (piece.outside)
                continue;
            ObjectRun& run = skeleton.runs.back();
            if (piece.inCondition) {
                for (const pugi::xml_node& n : Elements(m_doc.document_element())) {
                    if (IsConditionPart(LocalName(n)))
                        run.parts.push_back(PartOf(n));
                }
            }
            for (const pugi::xml_node& c : Descendants(m_doc, kCondition))
                run.conditions.push_back(ConditionOf(c));
            if (!run.header) {
                for (const pugi::xml_node& ours : Descendants(m_doc, "TintaraSaveSet")) {
                    run.header = HeaderOf(ours);
                    break;
                }
            }
            for (const pugi::xml_node& object : ObjectsOf(m_doc)) {
                uses.clear();
                for (const pugi::xml_node& rs : Descendants(object, "ReflectanceSpectrum")) {
                    const std::string name = rs.attribute(kCondition).value();
                    const auto [at, added] =
                        referenceOf.emplace(name, static_cast<int>(references.size()));
                    if (added)
                        references.push_back(name);
                    uses.push_back(at->second);
                    ++spectra;
                }
                if (uses.empty())
                    ++skipped;
                std::sort(uses.begin(), uses.end());
                uses.erase(std::unique(uses.begin(), uses.end()), uses.end());
                if (firstWith.find(uses) == firstWith.end())
                    firstWith.emplace(uses, std::make_pair(objects, ObjectName(object, objects)));
                ++objects;
            }
        }

        // The first place where the file stops being XML: in the text around the objects, or in
        // the object that could not be parsed (the text around it was read only up to there, so
        // an error at its very end is the cut and not the file's).
        const std::string_view rest = skeleton.text;
        pugi::xml_document& doc = m_skeletonDoc;
        const pugi::xml_parse_result parsed =
            doc.load_buffer(rest.data(), rest.size(), pugi::parse_default, pugi::encoding_utf8);
        auto lineInSkeleton = [&](std::ptrdiff_t offset) {
            int64_t inside = 0;
            for (const ObjectRun& run : skeleton.runs) {
                if (static_cast<std::ptrdiff_t>(run.at) < offset)
                    inside += run.newlines;
            }
            return LineIn(rest, 1 + inside, offset);
        };
        if (badPieceLine > 0) {
            if (!parsed && parsed.offset + 1 < static_cast<std::ptrdiff_t>(rest.size()))
                throw ParseError(m_source, lineInSkeleton(parsed.offset), kNotXml);
            throw ParseError(m_source, badPieceLine, kNotXml);
        }
        if (!parsed)
            throw ParseError(m_source, lineInSkeleton(parsed.offset), kNotXml);

        // The skeleton in document order, each run of objects at its placeholder.
        auto runAt = [](const pugi::xml_node& n, const ObjectRun& run) -> const ObjectRun* {
            const bool placeholder = std::strcmp(n.name(), "t") == 0 &&
                                     n.offset_debug() == static_cast<std::ptrdiff_t>(run.at) + 1;
            return placeholder ? &run : nullptr;
        };
        const pugi::xml_node root = doc.document_element();
        const ObjectRun* rootRun = skeleton.runs.empty() ? nullptr : runAt(root, skeleton.runs[0]);
        const std::string rootName = rootRun ? rootRun->firstName : std::string(root.name());
        if (LocalName(rootName) != "CxF") {
            throw ParseError(m_source, 0,
                             "this XML file is not a CxF3 colour file (it starts with <" +
                                 rootName + "> where CxF3 has <CxF>)");
        }
        std::optional<CxfHeader> header;
        std::size_t nextRun = 0;
        for (const pugi::xml_node& n : Elements(root)) {
            const std::string_view local = LocalName(n);
            if (local == kCondition) {
                // Its parts may lie inside objects cut out of the skeleton.
                std::vector<ConditionPart> parts;
                std::size_t run = nextRun;
                for (const pugi::xml_node& inner : Elements(n)) {
                    if (IsConditionPart(LocalName(inner))) {
                        parts.push_back(PartOf(inner));
                    } else if (run < skeleton.runs.size() && runAt(inner, skeleton.runs[run])) {
                        const std::vector<ConditionPart>& more = skeleton.runs[run++].parts;
                        parts.insert(parts.end(), more.begin(), more.end());
                    }
                }
                m_conditions.push_back(ConditionOf(n.attribute("Id").value(), parts));
            } else if (local == "TintaraSaveSet") {
                if (!header)
                    header = HeaderOf(n);
            } else if (nextRun < skeleton.runs.size() && runAt(n, skeleton.runs[nextRun])) {
                const ObjectRun& run = skeleton.runs[nextRun++];
                m_conditions.insert(m_conditions.end(), run.conditions.begin(),
                                    run.conditions.end());
                if (!header)
                    header = run.header;
            }
        }
        if (header)
            m_header = *header;
        for (std::size_t c = 0; c < m_conditions.size(); ++c)
            m_conditionOf.emplace(m_conditions[c].id, c);
        // A spectrum that names no known condition forms one of its own.
        std::vector<std::size_t> conditionOfReference;
        for (const std::string& name : references) {
            auto found = m_conditionOf.find(name);
            if (found == m_conditionOf.end()) {
                Condition c;
                c.id = name;
                found = m_conditionOf.emplace(name, m_conditions.size()).first;
                m_conditions.push_back(std::move(c));
            }
            m_conditions[found->second].used = true;
            conditionOfReference.push_back(found->second);
        }

        if (spectra == 0) {
            throw ParseError(m_source, 0,
                             objects == 0
                                 ? "the CxF file holds no objects (no measured samples)"
                                 : "the CxF file holds no reflectance spectra (its " +
                                       std::to_string(objects) +
                                       " objects carry colour values only); Tintara needs spectra");
        }
        if (skipped > 0) {
            m_report.Notes.push_back(
                skipped == 1 ? std::string("1 object without a reflectance spectrum was skipped")
                             : std::to_string(skipped) +
                                   " objects without a reflectance spectrum were skipped");
        }

        // Which conditions become angle positions 0 and 1.
        std::vector<std::size_t> used;
        for (std::size_t c = 0; c < m_conditions.size(); ++c) {
            if (m_conditions[c].used)
                used.push_back(c);
        }
        m_first = used.front();
        m_second = m_conditions.size();
        if (used.size() == 2) {
            const Geometry g0 = m_conditions[used[0]].geometry, g1 = m_conditions[used[1]].geometry;
            if (g0 == Geometry::SpecularIncluded && g1 == Geometry::SpecularExcluded) {
                m_second = used[1];
            } else if (g0 == Geometry::SpecularExcluded && g1 == Geometry::SpecularIncluded) {
                m_first = used[1];
                m_second = used[0];
            }
        }
        // Both geometries only when every object measured in one was measured in the other.
        if (m_second < m_conditions.size()) {
            const std::pair<int64_t, std::string>* oneOnly = nullptr;
            for (const auto& [uses, object] : firstWith) {
                bool in0 = false, in1 = false;
                for (const int r : uses) {
                    in0 = in0 || conditionOfReference[r] == m_first;
                    in1 = in1 || conditionOfReference[r] == m_second;
                }
                if (in0 != in1 && (!oneOnly || object.first < oneOnly->first))
                    oneOnly = &object;
            }
            if (oneOnly) {
                m_report.Notes.push_back("\"" + oneOnly->second +
                                         "\" was measured in one geometry only; only the first "
                                         "geometry (" +
                                         m_conditions[m_first].id + ") was imported");
                m_second = m_conditions.size();
            }
        }
        for (const std::size_t c : used) {
            if (c != m_first && c != m_second) {
                m_report.Notes.push_back("the spectra of measurement condition \"" +
                                         m_conditions[c].id + "\" were not imported");
            }
        }

        // 0..1 factors to percent by moving the decimal point, then to 360..750 nm by 10 nm.
        m_why = "CxF reflectance spectra hold 0-1 factors";
        if (m_options.Scale == ReflectanceScale::Percent) {
            m_exponent10 = 0;
            m_why = "as requested";
        } else if (m_options.Scale == ReflectanceScale::Fraction) {
            m_why = "as requested";
        }
    }

    // ---- second pass ---------------------------------------------------------------------------

    bool NextRecord(SaveSetRecord& rec) {
        while (m_pending.empty()) {
            ObjectCutter::Piece piece;
            if (!m_cutter->Next(piece))
                return false;
            if (piece.outside)
                continue;
            const std::string_view text = AsUtf8(piece.text, m_text.Latin1(), m_scratch);
            if (!m_doc.load_buffer(text.data(), text.size(), pugi::parse_default,
                                   pugi::encoding_utf8))
                throw IoError(m_source + ": the file changed while it was being read");
            for (const pugi::xml_node& object : ObjectsOf(m_doc))
                ReadObject(object, text, piece.line);
        }
        rec = std::move(m_pending.front());
        m_pending.pop_front();
        ++m_records;
        return true;
    }

    // Checks every spectrum of the object and queues its record when it has one to give.
    void ReadObject(const pugi::xml_node& object, std::string_view text, int64_t firstLine) {
        const std::string name = ObjectName(object, m_objects++);
        bool has0 = false, has1 = false;
        for (const pugi::xml_node& rs : Descendants(object, "ReflectanceSpectrum")) {
            const auto lineOf = [&] { return LineIn(text, firstLine, rs.offset_debug()); };
            const auto found = m_conditionOf.find(rs.attribute(kCondition).value());
            if (found == m_conditionOf.end())
                throw IoError(m_source + ": the file changed while it was being read");
            const std::size_t c = found->second;
            const Condition& condition = m_conditions[c];
            Spectrum* keep = c == m_first ? &m_s0 : c == m_second ? &m_s1 : nullptr;
            if (keep)
                keep->scaled.clear();
            std::size_t count = 0;
            const std::string_view values = rs.child_value();
            for (std::size_t at = 0; at < values.size();) {
                const auto isSpace = [](char ch) {
                    return ch == ' ' || (ch >= '\t' && ch <= '\r');
                };
                while (at < values.size() && isSpace(values[at]))
                    ++at;
                std::size_t end = at;
                while (end < values.size() && !isSpace(values[end]))
                    ++end;
                if (end == at)
                    break;
                const std::string_view word = values.substr(at, end - at);
                // A value must read as written; the scaled one is taken as it reads.
                double v = 0, scaled = 0;
                if (!ParseDecimal(word, m_exponent10, v, scaled)) {
                    throw ParseError(m_source, lineOf(),
                                     "the reflectance spectrum of \"" + name + "\" holds \"" +
                                         std::string(word.substr(0, 40)) +
                                         "\", which is not a number");
                }
                if (keep)
                    keep->scaled.push_back(scaled);
                ++count;
                at = end;
            }
            if (count < 2) {
                throw ParseError(
                    m_source, lineOf(),
                    "the reflectance spectrum of \"" + name + "\" holds fewer than two values");
            }
            double start = condition.startNm;
            bool hasStart = condition.hasStart;
            double v = 0;
            if (ParseDouble(rs.attribute("StartWL").value(), v)) {
                start = v;
                hasStart = true;
            }
            if (!hasStart) {
                throw ParseError(m_source, lineOf(),
                                 "the reflectance spectrum of \"" + name +
                                     "\" does not say at which wavelength it starts (StartWL)");
            }
            const double span =
                (start + condition.incrementNm * static_cast<double>(count - 1)) - start;
            if (span > 0 && condition.incrementNm > 20 + 1e-6) {
                throw ParseError(m_source, lineOf(),
                                 "the spectrum of \"" + name + "\" is measured every " +
                                     std::to_string(condition.incrementNm) +
                                     " nm; colour work needs 20 nm or closer");
            }
            if (keep) {
                keep->nm.resize(count);
                for (std::size_t k = 0; k < count; ++k)
                    keep->nm[k] = start + condition.incrementNm * static_cast<double>(k);
                (c == m_first ? has0 : has1) = true;
            }
        }
        if (!has0)
            return;
        SaveSetRecord rec;
        rec.Name = name;
        rec.Status = m_status;
        rec.Instrument = m_instrument;
        rec.Curves[0] = ResampleCurve(m_s0.nm, m_s0.scaled);
        if (m_numAngles == 2)
            rec.Curves[1] = ResampleCurve(m_s1.nm, m_s1.scaled);
        if (!m_haveExample) {
            m_haveExample = true;
            m_exampleNm = m_s0.nm;
        }
        m_pending.push_back(std::move(rec));
    }

    CxfText m_text;
    const std::string& m_source;
    const ImportOptions& m_options;
    ImportReport m_report;
    pugi::xml_document m_doc, m_skeletonDoc;
    std::string m_scratch;

    std::vector<Condition> m_conditions;
    std::map<std::string, std::size_t> m_conditionOf;
    CxfHeader m_header;
    std::size_t m_first = 0, m_second = 0;
    int m_exponent10 = 2;
    std::string m_why;

    ObjectCutter* m_cutter = nullptr;
    int m_numAngles = 1;
    std::string m_status;
    int16_t m_instrument = 0;
    int64_t m_objects = 0, m_records = 0;
    Spectrum m_s0, m_s1;
    std::deque<SaveSetRecord> m_pending;
    bool m_haveExample = false;
    std::vector<double> m_exampleNm;
};

}  // namespace

void ImportCxf(std::istream& in, const std::string& sourceName, const ImportSink& sink,
               const ImportOptions& options, ImportReport* report) {
    CxfImport(in, sourceName, options).Run(sink, report);
}

SaveSetData ImportCxf(std::istream& in, const std::string& sourceName, const ImportOptions& options,
                      ImportReport* report) {
    return KeepAll(
        [&](const ImportSink& sink) { ImportCxf(in, sourceName, sink, options, report); });
}

SaveSetData ImportCxf(const std::filesystem::path& file, const ImportOptions& options,
                      ImportReport* report) {
    std::ifstream in = OpenMeasurementFile(file);
    return ImportCxf(in, file.string(), options, report);
}

void ExportCxf(const SaveSetData& data, int64_t recordCount, const SaveSetWalk& walk,
               std::ostream& out, const ExportOptions& options) {
    pugi::xml_document doc;
    pugi::xml_node decl = doc.append_child(pugi::node_declaration);
    decl.append_attribute("version") = "1.0";
    decl.append_attribute("encoding") = "UTF-8";
    pugi::xml_node cxf = doc.append_child("cc:CxF");
    cxf.append_attribute("xmlns:cc") = kCoreNamespace;
    pugi::xml_node info = cxf.append_child("cc:FileInformation");
    info.append_child("cc:Creator").text() = Clean(options.Originator).c_str();
    if (!options.Created.empty())
        info.append_child("cc:CreationDate").text() = options.Created.c_str();
    info.append_child("cc:Description").text() = "Spectral reflectance, 360-750 nm by 10 nm";

    const int angles = std::clamp<int>(data.NumAngles, 1, kMaxAngles);
    const char geometry = StatusCode(data.Status).GeometryLetter();
    auto conditionId = [&](int angle) {
        if (angles == 2 || geometry == 'B')
            return angle == 0 ? std::string("SCI") : std::string("SCE");
        return geometry == 'E'   ? std::string("SCE")
               : geometry == 'I' ? std::string("SCI")
                                 : std::string("Reflectance");
    };

    pugi::xml_node resources = cxf.append_child("cc:Resources");
    pugi::xml_node collection = resources.append_child("cc:ObjectCollection");
    // The objects are written one by one where this marker stands in the document's text, so the
    // document never holds more than one of them.
    if (recordCount > 0)
        collection.append_child(pugi::node_comment).set_value(kObjectsMarker);
    pugi::xml_node conditions = resources.append_child((std::string("cc:") + kConditions).c_str());
    for (int a = 0; a < angles; ++a) {
        pugi::xml_node condition =
            conditions.append_child((std::string("cc:") + kCondition).c_str());
        condition.append_attribute("Id") = conditionId(a).c_str();
        pugi::xml_node tristimulus = condition.append_child("cc:TristimulusSpec");
        tristimulus.append_child("cc:Illuminant").text() = "D65";
        tristimulus.append_child("cc:Observer").text() = "10_Degree";
        tristimulus.append_child("cc:Method").text() = "E308";
        pugi::xml_node measurement = condition.append_child("cc:MeasurementSpec");
        measurement.append_child("cc:MeasurementType").text() = "Spectrum_Reflectance";
        const std::string id = conditionId(a);
        if (id != "Reflectance") {
            measurement.append_child("cc:GeometryChoice")
                .append_child("cc:SphereGeometry")
                .append_child("cc:SphereGeometryConfiguration")
                .text() = id == "SCI" ? "Specular_Included" : "Specular_Excluded";
        }
        pugi::xml_node range = measurement.append_child("cc:WavelengthRange");
        range.append_attribute("StartWL") = "360";
        range.append_attribute("Increment") = "10";
    }
    pugi::xml_node ours =
        resources.append_child("cc:CustomResources").append_child("tintara:TintaraSaveSet");
    ours.append_attribute("xmlns:tintara") = kOurNamespace;
    ours.append_attribute("Company") = Clean(data.Company).c_str();
    ours.append_attribute("Status") = Clean(data.Status).c_str();
    ours.append_attribute("Instrument") = std::to_string(data.Instrument).c_str();
    std::ostringstream skeletonText;
    doc.save(skeletonText, kIndent, pugi::format_default, pugi::encoding_utf8);
    const std::string skeleton = skeletonText.str();
    const std::string marker = std::string("<!--") + kObjectsMarker + "-->";
    const std::size_t at = skeleton.find(marker);
    if (at == std::string::npos) {
        out << skeleton;
        return;
    }
    const std::size_t lineStart = skeleton.rfind('\n', at) + 1;
    const std::size_t lineEnd = skeleton.find('\n', at) + 1;
    out.write(skeleton.data(), static_cast<std::streamsize>(lineStart));

    pugi::xml_document scratch;
    std::string values;
    int64_t r = 0;
    walk([&](const SaveSetRecord& rec) {
        scratch.reset();
        pugi::xml_node object = scratch.append_child("cc:Object");
        object.append_attribute("ObjectType") = "Standard";
        object.append_attribute("Name") = Clean(rec.Name).c_str();
        object.append_attribute("Id") = std::to_string(r + 1).c_str();
        pugi::xml_node colourValues = object.append_child("cc:ColorValues");
        for (int a = 0; a < angles; ++a) {
            values.clear();
            for (const double v : rec.Curves[a]) {
                if (!std::isfinite(v)) {
                    throw ComputeError("record " + std::to_string(r + 1) + " (" + rec.Name +
                                       ") holds a value that is not a number");
                }
                if (!values.empty())
                    values += ' ';
                values += FormatDecimal(v, -2);
            }
            pugi::xml_node spectrum = colourValues.append_child("cc:ReflectanceSpectrum");
            spectrum.append_attribute(kCondition) = conditionId(a).c_str();
            spectrum.text() = values.c_str();
        }
        // cc:CxF > cc:Resources > cc:ObjectCollection > cc:Object
        object.print(out, kIndent, pugi::format_default, pugi::encoding_utf8, 3);
        ++r;
    });
    out.write(skeleton.data() + lineEnd, static_cast<std::streamsize>(skeleton.size() - lineEnd));
}

void ExportCxf(const SaveSetData& data, std::ostream& out, const ExportOptions& options) {
    ExportCxf(data, static_cast<int64_t>(data.Records.size()), WalkOf(data), out, options);
}

void ExportCxf(const SaveSetData& data, const std::filesystem::path& file,
               const ExportOptions& options) {
    WriteFileAtomically(file, [&](std::ostream& out) { ExportCxf(data, out, options); });
}

}  // namespace tintara
