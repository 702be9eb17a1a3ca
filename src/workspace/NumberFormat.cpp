#include "workspace/NumberFormat.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace tintara {

namespace {

// |value| as 15 significant decimal digits and a decimal exponent: value = 0.d1d2...d15 x 10^exp.
struct Decimal {
    std::string digits;  // exactly 15 digits, or empty for zero
    int exponent = 0;    // position of the decimal point relative to digits
};

Decimal ToDecimal15(double magnitude) {
    Decimal d;
    if (magnitude == 0.0)
        return d;
    char buffer[40];
    std::snprintf(buffer, sizeof buffer, "%.14e", magnitude);  // d.dddddddddddddde+XX
    std::string text(buffer);
    const auto ePos = text.find('e');
    d.digits = text.substr(0, 1) + text.substr(2, ePos - 2);
    d.exponent = std::atoi(text.c_str() + ePos + 1) + 1;
    return d;
}

// Rounds the decimal to `decimals` places after the point, half away from zero. Returns the integer
// digits (no leading zeros, possibly empty) and exactly `decimals` fraction digits.
void RoundDecimal(const Decimal& d, int decimals, std::string& intDigits, std::string& fracDigits) {
    intDigits.clear();
    fracDigits.assign(decimals, '0');
    if (d.digits.empty())
        return;
    // Digits laid out on a fixed axis: all integer digits then `decimals` fraction digits.
    const int keep = d.exponent + decimals;  // number of leading digits of d.digits that survive
    if (keep < 0)
        return;  // far below half a unit: rounds to zero
    std::string kept;
    bool roundUp = false;
    if (keep >= static_cast<int>(d.digits.size())) {
        kept = d.digits + std::string(keep - d.digits.size(), '0');
    } else {
        kept = d.digits.substr(0, keep);
        roundUp = d.digits[keep] >= '5';
    }
    if (roundUp) {
        int i = static_cast<int>(kept.size()) - 1;
        while (i >= 0 && kept[i] == '9')
            kept[i--] = '0';
        if (i >= 0) {
            ++kept[i];
        } else {
            kept.insert(kept.begin(), '1');
        }
    }
    // Pad on the left so that at least `decimals` digits exist, then split.
    if (static_cast<int>(kept.size()) < decimals)
        kept.insert(0, decimals - kept.size(), '0');
    intDigits = kept.substr(0, kept.size() - decimals);
    fracDigits = kept.substr(kept.size() - decimals);
    const auto firstNonZero = intDigits.find_first_not_of('0');
    intDigits = firstNonZero == std::string::npos ? std::string() : intDigits.substr(firstNonZero);
}

// One section of a Format pattern taken apart.
struct PatternSection {
    std::string_view prefix, suffix;  // literal text before the first and after the last digit
    bool hasPoint = false;
    int intZeros = 0;    // forced integer digits
    int decimals = 0;    // fraction places
    int fracForced = 0;  // fraction places up to the last forced one
};

// False when the section has no digit placeholder (it is then all literal text).
bool ParseSection(std::string_view section, PatternSection& p) {
    const auto first = section.find_first_of("#0.");
    if (first == std::string_view::npos)
        return false;
    const auto last = section.find_last_of("#0.");
    p.prefix = section.substr(0, first);
    const std::string_view number = section.substr(first, last - first + 1);
    p.suffix = section.substr(last + 1);
    const auto point = number.find('.');
    p.hasPoint = point != std::string_view::npos;
    const std::string_view intPart = number.substr(0, point);
    const std::string_view fracPart = p.hasPoint ? number.substr(point + 1) : std::string_view();
    p.intZeros = 0;
    for (char c : intPart)
        p.intZeros += (c == '0');
    p.fracForced = 0;
    for (std::size_t i = 0; i < fracPart.size(); ++i) {
        if (fracPart[i] == '0')
            p.fracForced = static_cast<int>(i) + 1;
    }
    p.decimals = static_cast<int>(fracPart.size());
    return true;
}

std::string FormatSection(double magnitude, std::string_view section) {
    PatternSection p;
    if (!ParseSection(section, p))
        return std::string(section);
    const auto [prefix, suffix, hasPoint, intZeros, decimals, fracForced] = p;

    std::string intDigits, fracDigits;
    RoundDecimal(ToDecimal15(magnitude), decimals, intDigits, fracDigits);
    if (static_cast<int>(intDigits.size()) < intZeros) {
        intDigits.insert(0, intZeros - intDigits.size(), '0');
    }
    // Optional fraction digits beyond the last forced one are dropped when zero.
    while (static_cast<int>(fracDigits.size()) > fracForced && fracDigits.back() == '0') {
        fracDigits.pop_back();
    }
    std::string out(prefix);
    out += intDigits;
    if (hasPoint)
        out += '.' + fracDigits;
    out += suffix;
    return out;
}

}  // namespace

namespace detail {

std::string ReferenceFormat(double value, std::string_view pattern) {
    const auto separator = pattern.find(';');
    const bool negative = std::signbit(value) && value != 0.0;
    if (negative && separator != std::string_view::npos) {
        return FormatSection(-value, pattern.substr(separator + 1));
    }
    const std::string_view positive = pattern.substr(0, separator);
    std::string text = FormatSection(std::fabs(value), positive);
    return negative ? "-" + text : text;
}

std::string ReferenceNumberText(double value) {
    const double magnitude = std::fabs(value);
    if (magnitude == 0.0)
        return "0";
    const Decimal d = ToDecimal15(magnitude);
    std::string digits = d.digits;
    while (!digits.empty() && digits.back() == '0')
        digits.pop_back();
    const int exponent10 = d.exponent - 1;  // value = d1.d2d3... x 10^exponent10
    std::string out;
    if (exponent10 < -4 || exponent10 >= 15) {
        out = digits.substr(0, 1);
        if (digits.size() > 1)
            out += "." + digits.substr(1);
        char e[16];
        std::snprintf(e, sizeof e, "E%c%02d", exponent10 < 0 ? '-' : '+', std::abs(exponent10));
        out += e;
    } else if (d.exponent <= 0) {
        out = "." + std::string(-d.exponent, '0') + digits;
    } else if (static_cast<int>(digits.size()) <= d.exponent) {
        out = digits + std::string(d.exponent - digits.size(), '0');
    } else {
        out = digits.substr(0, d.exponent) + "." + digits.substr(d.exponent);
    }
    return value < 0 ? "-" + out : out;
}

}  // namespace detail

namespace {

// The common range of report values goes through integer arithmetic instead of the C library:
// the double's exact value times a power of ten, in 128 bits, gives its 15 significant digits
// rounded exactly as printf rounds them (to nearest, ties to even), without text in between.

constexpr std::uint64_t kPow10[20] = {1ULL,
                                      10ULL,
                                      100ULL,
                                      1000ULL,
                                      10000ULL,
                                      100000ULL,
                                      1000000ULL,
                                      10000000ULL,
                                      100000000ULL,
                                      1000000000ULL,
                                      10000000000ULL,
                                      100000000000ULL,
                                      1000000000000ULL,
                                      10000000000000ULL,
                                      100000000000000ULL,
                                      1000000000000000ULL,
                                      10000000000000000ULL,
                                      100000000000000000ULL,
                                      1000000000000000000ULL,
                                      10000000000000000000ULL};
constexpr std::uint64_t kDigits15Low = kPow10[14];
constexpr std::uint64_t kDigits15High = kPow10[15];
__extension__ typedef unsigned __int128 Uint128;  // GCC and Clang on 64-bit targets
constexpr int kMaxScale = 27;                     // 5^27 < 2^64; covers magnitudes down to 1e-12

constexpr std::uint64_t Pow5(int n) {
    std::uint64_t p = 1;
    while (n-- > 0)
        p *= 5;
    return p;
}

// |magnitude| = digits x 10^(exponent - 14) with 10^14 <= digits < 10^15, both exact after
// rounding the double to 15 significant digits. False outside [1e-12, 1e15), NaN and infinity.
bool Decimal15(double magnitude, std::uint64_t& digits, int& exponent) {
    if (!(magnitude >= 1e-12 && magnitude < 1e15))
        return false;
    std::uint64_t bits = 0;
    std::memcpy(&bits, &magnitude, sizeof bits);
    const int biased = static_cast<int>(bits >> 52);  // positive and normal in this range
    const std::uint64_t mantissa = (bits & ((1ULL << 52) - 1)) | (1ULL << 52);
    const int exp2 = biased - 1075;  // magnitude = mantissa x 2^exp2
    // floor(log10(2^(biased - 1023))) is the decimal exponent or one below it.
    int exp10 = ((biased - 1023) * 78913) >> 18;
    for (int attempt = 0; attempt < 2; ++attempt, ++exp10) {
        const int scale = 14 - exp10;  // digits = magnitude x 10^scale
        if (scale < 0 || scale > kMaxScale)
            return false;
        static constexpr auto kPow5 = [] {
            std::array<std::uint64_t, kMaxScale + 1> p{};
            for (int i = 0; i <= kMaxScale; ++i)
                p[i] = Pow5(i);
            return p;
        }();
        // magnitude x 10^scale = mantissa x 5^scale x 2^(exp2 + scale), exactly.
        const Uint128 product =
            static_cast<Uint128>(mantissa) * kPow5[static_cast<std::size_t>(scale)];
        const int shift = -(exp2 + scale);
        if (shift <= 0 || shift >= 116)
            return false;
        std::uint64_t whole = static_cast<std::uint64_t>(product >> shift);
        if (whole >= kDigits15High)
            continue;  // the exponent estimate was one too low
        if (whole < kDigits15Low)
            return false;
        const Uint128 rest = product & ((static_cast<Uint128>(1) << shift) - 1);
        const Uint128 half = static_cast<Uint128>(1) << (shift - 1);
        if (rest > half || (rest == half && (whole & 1) != 0))
            ++whole;
        if (whole == kDigits15High) {
            whole = kDigits15Low;
            ++exp10;
        }
        digits = whole;
        exponent = exp10;
        return true;
    }
    return false;
}

// Writes the decimal digits of n (none for 0) at out; returns the end.
char* WriteDigits(char* out, std::uint64_t n) {
    char reversed[20];
    int count = 0;
    while (n != 0) {
        reversed[count++] = static_cast<char>('0' + n % 10);
        n /= 10;
    }
    while (count > 0)
        *out++ = reversed[--count];
    return out;
}

// FormatSection on the fast path, written at out (room for 128 characters). Returns the end, or
// nullptr when the value or the section is outside what the fast path handles.
char* FormatSectionFast(double magnitude, std::string_view section, bool minus, char* out) {
    PatternSection p;
    if (!ParseSection(section, p))
        return nullptr;
    const auto [prefix, suffix, hasPoint, intZeros, decimals, fracForced] = p;
    if (decimals > 15 || intZeros > 24 || prefix.size() + suffix.size() > 60)
        return nullptr;

    // scaled = |value| x 10^decimals rounded half away from zero, from the 15-digit decimal.
    std::uint64_t scaled = 0;
    if (magnitude != 0.0) {
        std::uint64_t digits = 0;
        int exponent = 0;
        if (!Decimal15(magnitude, digits, exponent))
            return nullptr;
        const int drop = 14 - exponent - decimals;  // digits that fall below the last decimal
        if (drop > 15) {
            scaled = 0;
        } else if (drop > 0) {
            const std::uint64_t unit = kPow10[drop];
            scaled = digits / unit + (digits % unit >= unit / 2 ? 1 : 0);
        } else if (drop >= -4) {
            scaled = digits * kPow10[-drop];
        } else {
            return nullptr;
        }
    }
    const std::uint64_t intValue = scaled / kPow10[decimals];
    const std::uint64_t fracValue = scaled % kPow10[decimals];

    if (minus)
        *out++ = '-';
    out = std::copy(prefix.begin(), prefix.end(), out);
    char intText[24];
    const int intLength = static_cast<int>(WriteDigits(intText, intValue) - intText);
    for (int i = intLength; i < intZeros; ++i)
        *out++ = '0';
    out = std::copy(intText, intText + intLength, out);
    if (hasPoint) {
        *out++ = '.';
        char* fracStart = out;
        for (int i = decimals - 1; i >= 0; --i)
            *out++ = static_cast<char>('0' + fracValue / kPow10[i] % 10);
        // Optional fraction digits beyond the last forced one are dropped when zero.
        while (out - fracStart > fracForced && out[-1] == '0')
            --out;
    }
    return std::copy(suffix.begin(), suffix.end(), out);
}

// NumberText on the fast path, written at out (room for 32 characters); nullptr outside it.
char* NumberTextFast(double value, char* out) {
    const double magnitude = std::fabs(value);
    if (magnitude == 0.0) {
        *out++ = '0';
        return out;
    }
    std::uint64_t digits = 0;
    int exponent10 = 0;  // value = d1.d2d3... x 10^exponent10
    if (!Decimal15(magnitude, digits, exponent10))
        return nullptr;
    char text[16];
    int length = static_cast<int>(WriteDigits(text, digits) - text);  // always 15
    while (length > 1 && text[length - 1] == '0')
        --length;
    const int pointAfter = exponent10 + 1;  // digits before the decimal point
    if (value < 0)
        *out++ = '-';
    if (exponent10 < -4 || exponent10 >= 15) {
        *out++ = text[0];
        if (length > 1) {
            *out++ = '.';
            out = std::copy(text + 1, text + length, out);
        }
        const int e = exponent10 < 0 ? -exponent10 : exponent10;
        *out++ = 'E';
        *out++ = exponent10 < 0 ? '-' : '+';
        *out++ = static_cast<char>('0' + e / 10);
        *out++ = static_cast<char>('0' + e % 10);
    } else if (pointAfter <= 0) {
        *out++ = '.';
        out = std::fill_n(out, -pointAfter, '0');
        out = std::copy(text, text + length, out);
    } else if (length <= pointAfter) {
        out = std::copy(text, text + length, out);
        out = std::fill_n(out, pointAfter - length, '0');
    } else {
        out = std::copy(text, text + pointAfter, out);
        *out++ = '.';
        out = std::copy(text + pointAfter, text + length, out);
    }
    return out;
}

}  // namespace

std::string Format(double value, std::string_view pattern) {
    const auto separator = pattern.find(';');
    const bool negative = std::signbit(value) && value != 0.0;
    const bool ownSection = negative && separator != std::string_view::npos;
    const std::string_view section =
        ownSection ? pattern.substr(separator + 1) : pattern.substr(0, separator);
    char buffer[128];
    if (const char* end =
            FormatSectionFast(std::fabs(value), section, negative && !ownSection, buffer))
        return std::string(static_cast<const char*>(buffer), end);
    return detail::ReferenceFormat(value, pattern);
}

std::string NumberText(double value) {
    char buffer[32];
    if (const char* end = NumberTextFast(value, buffer))
        return std::string(static_cast<const char*>(buffer), end);
    return detail::ReferenceNumberText(value);
}

std::string PrintNumber(double value) {
    char buffer[34];
    char* start = buffer + 1;
    char* end = NumberTextFast(value, start);
    if (end == nullptr) {
        const std::string text = detail::ReferenceNumberText(value);
        return (text[0] == '-' ? text : " " + text) + " ";
    }
    if (*start != '-')
        *--start = ' ';
    *end++ = ' ';
    return std::string(start, end);
}

double Val(std::string_view text) {
    std::string s;
    std::size_t i = 0;
    while (i < text.size() && (text[i] == ' ' || text[i] == '\t'))
        ++i;
    s.assign(text.substr(i));
    char* end = nullptr;
    const double v = std::strtod(s.c_str(), &end);
    if (end == s.c_str() || !std::isfinite(v))
        return 0.0;
    return v;
}

}  // namespace tintara
