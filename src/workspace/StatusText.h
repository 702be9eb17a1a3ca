// Reading the fixed-position measurement status code and the UV rules built on it.
#pragma once

#include <cstdint>
#include <string>

namespace tintara {

// Character n (1-based) of a status text; empty when the text is shorter, which differs from every
// letter. Character 3 is the specular component ("I" included, "E" excluded, "B" both), character
// 4 the UV component ("I" included, "E" excluded).
inline std::string StatusChar(const std::string& status, std::size_t n) {
    return status.size() >= n ? status.substr(n - 1, 1) : std::string();
}

// Removes every character below code 32 (line breaks, tabs, NUL), so that a text written on a line
// of its own reads back as one line. Bytes of multi-byte characters are above 127 and stay.
inline std::string StripControlCharacters(const std::string& text) {
    std::string kept;
    kept.reserve(text.size());
    for (const char c : text) {
        if (static_cast<unsigned char>(c) >= 32)
            kept.push_back(c);
    }
    return kept;
}

// The Minolta CM-2002 (2) and CM-700 (208) have no UV control and are never checked for it.
inline bool UvExempt(int16_t instrumentID) {
    return instrumentID == 2 || instrumentID == 208;
}

// True when a tile set of this instrument and status may not be profiled for want of UV: the
// instrument is not exempt and character 4 is anything but "I" (a short status included).
inline bool UvNotIncluded(int16_t instrumentID, const std::string& status) {
    return !UvExempt(instrumentID) && StatusChar(status, 4) != "I";
}

}  // namespace tintara
