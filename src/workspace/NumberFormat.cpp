#include "workspace/NumberFormat.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
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

std::string FormatSection(double magnitude, std::string_view section) {
    // Locate the digit placeholders; everything before the first and after the last is literal.
    const auto first = section.find_first_of("#0.");
    if (first == std::string_view::npos)
        return std::string(section);
    auto last = section.find_last_of("#0.");
    const std::string_view prefix = section.substr(0, first);
    const std::string_view number = section.substr(first, last - first + 1);
    const std::string_view suffix = section.substr(last + 1);

    const auto point = number.find('.');
    const std::string_view intPart = number.substr(0, point);
    const std::string_view fracPart =
        point == std::string_view::npos ? std::string_view() : number.substr(point + 1);
    int intZeros = 0;
    for (char c : intPart)
        intZeros += (c == '0');
    int fracForced = 0;
    for (std::size_t i = 0; i < fracPart.size(); ++i) {
        if (fracPart[i] == '0')
            fracForced = static_cast<int>(i) + 1;
    }
    const int decimals = static_cast<int>(fracPart.size());

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
    if (point != std::string_view::npos)
        out += '.' + fracDigits;
    out += suffix;
    return out;
}

}  // namespace

std::string Format(double value, std::string_view pattern) {
    const auto separator = pattern.find(';');
    const bool negative = std::signbit(value) && value != 0.0;
    if (negative && separator != std::string_view::npos) {
        return FormatSection(-value, pattern.substr(separator + 1));
    }
    const std::string_view positive = pattern.substr(0, separator);
    std::string text = FormatSection(std::fabs(value), positive);
    return negative ? "-" + text : text;
}

std::string NumberText(double value) {
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

std::string PrintNumber(double value) {
    const std::string text = NumberText(value);
    return (text[0] == '-' ? text : " " + text) + " ";
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
