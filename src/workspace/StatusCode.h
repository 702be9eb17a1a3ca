// The fixed-position measurement status code of a save set, record or tile set, read in one place.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace tintara {

// The catalogue's "Macbeth XTS": its sets always hold both geometries, so its status is read as
// "B" whatever was stored.
inline constexpr int16_t kBothGeometriesInstrument = 173;

// A read-only view of a status text such as "XXBIXX". Positions count from 1, as users read them:
//   2  "P" on a set written by the correction (a correlated fandeck);
//   3  the geometry: "I" specular included (SCI), "E" specular excluded (SCE), "B" both held
//      (SCI at angle position 0, SCE at 1);
//   4  the UV component: "I" included, "E" excluded.
// A text too short for a position has no letter there ('\0'), which differs from every letter;
// so a short status is neither SCI nor "B", and a reader of one geometry takes it as SCE.
class StatusCode {
  public:
    static constexpr std::size_t kProfiledPosition = 2;
    static constexpr std::size_t kGeometryPosition = 3;
    static constexpr std::size_t kUvPosition = 4;
    static constexpr char kIncluded = 'I';
    static constexpr char kExcluded = 'E';
    static constexpr char kBoth = 'B';
    static constexpr char kProfiled = 'P';
    // The workspace's status before anything is read.
    static constexpr std::string_view kReset = "XXXXXX";

    explicit StatusCode(std::string_view text) noexcept : m_text(text) {}

    // The letter at a 1-based position, '\0' when the text is shorter.
    char At(std::size_t position) const noexcept {
        return position >= 1 && m_text.size() >= position ? m_text[position - 1] : '\0';
    }
    char GeometryLetter() const noexcept { return At(kGeometryPosition); }
    bool Sci() const noexcept { return GeometryLetter() == kIncluded; }
    bool Sce() const noexcept { return GeometryLetter() == kExcluded; }
    bool HoldsBoth() const noexcept { return GeometryLetter() == kBoth; }
    char UvLetter() const noexcept { return At(kUvPosition); }
    bool UvExcluded() const noexcept { return UvLetter() == kExcluded; }

    // Writes a letter at a 1-based position of a text that holds it; a shorter text stays as it
    // is (there is no letter to replace).
    static void SetLetter(std::string& text, std::size_t position, char letter) {
        if (position >= 1 && text.size() >= position)
            text[position - 1] = letter;
    }
    static void SetGeometry(std::string& text, char letter) {
        SetLetter(text, kGeometryPosition, letter);
    }
    // Marks a text as holding both geometries, padding a short one with the reset filler so that
    // the geometry position exists.
    static void SetBoth(std::string& text) {
        if (text.size() < kGeometryPosition)
            text.resize(kGeometryPosition, 'X');
        SetGeometry(text, kBoth);
    }

  private:
    std::string_view m_text;
};

// True for a set whose curves hold both geometries: its status says "B", or its instrument always
// measures both.
inline bool HoldsBothGeometries(int16_t instrumentID, std::string_view status) noexcept {
    return instrumentID == kBothGeometriesInstrument || StatusCode(status).HoldsBoth();
}

// The Minolta CM-2002 (2) and CM-700 (208) have no UV control and are never checked for it.
inline bool UvExempt(int16_t instrumentID) noexcept {
    return instrumentID == 2 || instrumentID == 208;
}

// True when a tile set of this instrument and status may not be profiled for want of UV: the
// instrument is not exempt and the UV letter is anything but "I" (a short status included).
inline bool UvNotIncluded(int16_t instrumentID, std::string_view status) noexcept {
    return !UvExempt(instrumentID) && StatusCode(status).UvLetter() != StatusCode::kIncluded;
}

}  // namespace tintara
