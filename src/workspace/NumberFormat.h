// The host's number rendering: Format patterns and the print statement's text of a number.
#pragma once

#include <string>
#include <string_view>

namespace tintara {

// Renders value with a Format pattern of '#' (optional digit), '0' (forced digit), '.' and literal
// characters, with an optional negative section after ';' ("positive;negative"). Contract:
//  - the double is first taken to 15 significant digits, then rounded to the pattern's decimals
//    half away from zero in decimal (so 0.125 -> "0.13" and 2.675 -> "2.68" with two decimals);
//  - the integer part has at least as many digits as the pattern has '0's before the point, and
//    all its digits however many '#'s there are (0.5 with "##.000" is ".500", 12345.6 with
//    "##0.00" is "12345.60");
//  - a negative value takes the negative section with its absolute value when there is one, else
//    a '-' before the result (also when the value rounds to zero: -0.001 with "0.00" is "-0.00").
std::string Format(double value, std::string_view pattern);

// The text of a number as the host's Str$ gives it, without the sign blank: up to 15 significant
// digits, no trailing zeros, no leading zero before the point (".5"), scientific form "1E-05" /
// "1.5E+15" below 1e-4 and from 1e15 on.
std::string NumberText(double value);

// The print statement's rendering of a number: a blank for the sign (or '-'), NumberText of the
// magnitude, and a trailing blank (0.5 -> " .5 ", 32 -> " 32 ", -2 -> "-2 ").
std::string PrintNumber(double value);

// Numeric value of the leading numeric prefix of a text, as the host's Val(): blanks skipped,
// text without a number gives 0 ("0.50abc" -> 0.5, "abc" -> 0).
double Val(std::string_view text);

namespace detail {

// The same renderings through the C library's printf, digit string by digit string: used for the
// values the integer fast path leaves out (below 1e-12, from 1e15 on, odd patterns) and kept as
// the reference the fast path is tested against.
std::string ReferenceFormat(double value, std::string_view pattern);
std::string ReferenceNumberText(double value);

}  // namespace detail

}  // namespace tintara
