// CGATS.17 export of spectral save sets, written record by record as it goes.
#include <algorithm>
#include <charconv>
#include <cmath>
#include <ostream>
#include <string>
#include <string_view>

#include "files/Cgats.h"
#include "workspace/Error.h"
#include "workspace/StatusCode.h"
#include "workspace/WriteFile.h"

namespace tintara {

namespace {

constexpr double kFirstNm = 360.0;
constexpr double kStepNm = 10.0;

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

void WriteTable(const SaveSetData& data, int64_t count, const SaveSetWalk& walk, int angle,
                std::ostream& out, const ExportOptions& o) {
    const char* eol = "\r\n";
    const char geometry = StatusCode(data.Status).GeometryLetter();
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
    out << "NUMBER_OF_SETS " << count << eol;
    out << "BEGIN_DATA" << eol;
    std::string line;
    int64_t r = 0;
    walk([&](const SaveSetRecord& rec) {
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
                const auto end = std::to_chars(buffer, buffer + sizeof buffer, v,
                                               std::chars_format::fixed, o.Decimals);
                line.append(buffer, end.ptr);
                if (o.Decimals == 0)
                    line += ".0";
            }
        }
        line += eol;
        out << line;
        ++r;
    });
    out << "END_DATA" << eol;
}

}  // namespace

SaveSetWalk WalkOf(const SaveSetData& data) {
    return [&data](const std::function<void(const SaveSetRecord&)>& visit) {
        for (const SaveSetRecord& rec : data.Records)
            visit(rec);
    };
}

void ExportCgats(const SaveSetData& header, int64_t recordCount, const SaveSetWalk& walk,
                 std::ostream& out, const ExportOptions& options) {
    const int angles = std::clamp<int>(header.NumAngles, 1, kMaxAngles);
    for (int a = 0; a < angles; ++a) {
        if (a > 0)
            out << "\r\n";
        WriteTable(header, recordCount, walk, a, out, options);
    }
}

void ExportCgats(const SaveSetData& data, std::ostream& out, const ExportOptions& options) {
    ExportCgats(data, static_cast<int64_t>(data.Records.size()), WalkOf(data), out, options);
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
        if (c >= '0' && c <= '9')
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
