#include "workspace/Utf8Text.h"

#include <algorithm>
#include <iterator>

namespace tintara {

namespace {

constexpr char32_t kReplacement = 0xFFFD;

struct Range {
    char32_t First;
    char32_t Last;
};

// East Asian Wide (W) and Fullwidth (F) blocks of UAX #11, merged into the ranges that matter for
// names: Hangul Jamo, CJK radicals and punctuation, kana, CJK ideographs and their extensions,
// Yi, Hangul syllables, compatibility ideographs, vertical and full-width forms, emoji.
constexpr Range kWide[] = {
    {0x1100, 0x115F},   {0x231A, 0x231B},   {0x2329, 0x232A},   {0x2E80, 0x303E},
    {0x3041, 0x33FF},   {0x3400, 0x4DBF},   {0x4E00, 0x9FFF},   {0xA000, 0xA4CF},
    {0xA960, 0xA97F},   {0xAC00, 0xD7A3},   {0xF900, 0xFAFF},   {0xFE10, 0xFE19},
    {0xFE30, 0xFE6F},   {0xFF00, 0xFF60},   {0xFFE0, 0xFFE6},   {0x1F300, 0x1F64F},
    {0x1F900, 0x1F9FF}, {0x20000, 0x2FFFD}, {0x30000, 0x3FFFD},
};

// Combining marks and zero-width characters: they add no column of their own.
constexpr Range kZeroWidth[] = {
    {0x0300, 0x036F}, {0x0483, 0x0489}, {0x0591, 0x05BD}, {0x0610, 0x061A}, {0x064B, 0x065F},
    {0x1AB0, 0x1AFF}, {0x1DC0, 0x1DFF}, {0x200B, 0x200F}, {0x20D0, 0x20FF}, {0x2060, 0x2064},
    {0x302A, 0x302F}, {0x3099, 0x309A}, {0xFE00, 0xFE0F}, {0xFE20, 0xFE2F}, {0xFEFF, 0xFEFF},
};

template <std::size_t N>
bool InRanges(const Range (&ranges)[N], char32_t c) {
    const auto it = std::upper_bound(std::begin(ranges), std::end(ranges), c,
                                     [](char32_t v, const Range& r) { return v < r.First; });
    return it != std::begin(ranges) && c <= std::prev(it)->Last;
}

}  // namespace

Utf8Char DecodeUtf8(std::string_view text, std::size_t at) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char lead = byte(at);
    if (lead < 0x80)
        return {lead, 1};
    std::size_t length = 0;
    char32_t cp = 0;
    char32_t minimum = 0;
    if (lead >= 0xC2 && lead <= 0xDF) {
        length = 2, cp = lead & 0x1F, minimum = 0x80;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        length = 3, cp = lead & 0x0F, minimum = 0x800;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        length = 4, cp = lead & 0x07, minimum = 0x10000;
    } else {
        return {kReplacement, 1};
    }
    if (at + length > text.size())
        return {kReplacement, 1};
    for (std::size_t k = 1; k < length; ++k) {
        const unsigned char next = byte(at + k);
        if ((next & 0xC0) != 0x80)
            return {kReplacement, 1};
        cp = (cp << 6) | (next & 0x3F);
    }
    if (cp < minimum || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF))
        return {kReplacement, 1};
    return {cp, length};
}

std::string EncodeUtf8(char32_t c) {
    std::string out;
    if (c < 0x80) {
        out += static_cast<char>(c);
    } else if (c < 0x800) {
        out += static_cast<char>(0xC0 | (c >> 6));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        out += static_cast<char>(0xE0 | (c >> 12));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (c >> 18));
        out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    }
    return out;
}

int CharColumns(char32_t c) {
    if (c < 0x300)
        return 1;
    if (InRanges(kZeroWidth, c))
        return 0;
    return InRanges(kWide, c) ? 2 : 1;
}

std::size_t TextColumns(std::string_view text) {
    std::size_t columns = 0;
    for (std::size_t at = 0; at < text.size();) {
        const Utf8Char ch = DecodeUtf8(text, at);
        columns += CharColumns(ch.CodePoint);
        at += ch.Bytes;
    }
    return columns;
}

std::string ValidUtf8(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t at = 0; at < text.size();) {
        const Utf8Char ch = DecodeUtf8(text, at);
        if (ch.CodePoint == kReplacement && ch.Bytes == 1 &&
            static_cast<unsigned char>(text[at]) >= 0x80)
            out += EncodeUtf8(kReplacement);
        else
            out.append(text.substr(at, ch.Bytes));
        at += ch.Bytes;
    }
    return out;
}

std::string PadCutColumns(std::string_view text, std::size_t columns) {
    std::string out;
    out.reserve(columns + 8);
    std::size_t used = 0;
    for (std::size_t at = 0; at < text.size();) {
        const Utf8Char ch = DecodeUtf8(text, at);
        const auto width = static_cast<std::size_t>(CharColumns(ch.CodePoint));
        if (used + width > columns || (width == 0 && used == 0 && columns == 0))
            break;
        if (ch.CodePoint == kReplacement && ch.Bytes == 1)
            out += EncodeUtf8(kReplacement);
        else
            out.append(text.substr(at, ch.Bytes));
        used += width;
        at += ch.Bytes;
    }
    out.append(columns - used, ' ');
    return out;
}

}  // namespace tintara
