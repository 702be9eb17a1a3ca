// Cleaning of texts read from save sets; the status code rules come with it (StatusCode.h).
#pragma once

#include <cstdint>
#include <string>

#include "workspace/StatusCode.h"

namespace tintara {

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

}  // namespace tintara
