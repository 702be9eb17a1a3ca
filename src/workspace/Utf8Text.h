// UTF-8 text measured and cut by characters and columns, never by bytes.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tintara {

// One decoded character: its code point and how many bytes of the text it took. A byte that does
// not start a well-formed UTF-8 sequence (a stray continuation byte, a cut or overlong sequence,
// a surrogate) decodes as U+FFFD taking that one byte, so every text decodes to the end.
struct Utf8Char {
    char32_t CodePoint = 0;
    std::size_t Bytes = 0;
};
Utf8Char DecodeUtf8(std::string_view text, std::size_t at);

// The UTF-8 bytes of one code point.
std::string EncodeUtf8(char32_t codePoint);

// Columns a character takes in a fixed-pitch line, as a terminal shows it (after Unicode's East
// Asian Width, UAX #11): 2 for wide and full-width characters (CJK ideographs, kana, Hangul,
// full-width forms), 0 for combining marks and zero-width characters, 1 for everything else.
int CharColumns(char32_t codePoint);

// Columns of a whole text.
std::size_t TextColumns(std::string_view text);

// The text made well-formed: every byte that does not belong to a well-formed sequence becomes
// U+FFFD, so that no report ever carries half a character.
std::string ValidUtf8(std::string_view text);

// The text padded with blanks and cut to exactly `columns` columns. It is cut between characters
// only: a wide character that would straddle the last column is left out and a blank takes its
// place; combining marks stay with the character they follow. Ill-formed bytes become U+FFFD.
std::string PadCutColumns(std::string_view text, std::size_t columns);

}  // namespace tintara
