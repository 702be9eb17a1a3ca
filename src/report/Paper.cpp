#include "report/Paper.h"

#include <algorithm>
#include <cctype>
#include <clocale>
#include <cstdint>

#include <langinfo.h>

namespace tintara {

std::optional<PageSetup> PaperByName(const std::string& name) {
    std::string lower = name;
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    if (lower == "a4")
        return PageSetup::A4();
    if (lower == "letter")
        return PageSetup::Letter();
    return std::nullopt;
}

PageSetup PaperOfWidth(int millimetres) {
    return millimetres == 216 ? PageSetup::Letter() : PageSetup::A4();
}

PageSetup LocalePaper() {
#if defined(__GLIBC__) && defined(LC_PAPER)
    const char* current = std::setlocale(LC_PAPER, nullptr);
    const std::string saved = current ? current : "C";
    if (!std::setlocale(LC_PAPER, ""))
        return PageSetup::A4();
    // A numeric item: glibc hands the number back in the pointer's bits.
    const auto width = static_cast<int>(
        reinterpret_cast<std::uintptr_t>(nl_langinfo(_NL_PAPER_WIDTH)) & 0xFFFFFFFFu);
    std::setlocale(LC_PAPER, saved.c_str());
    return PaperOfWidth(width);
#else
    return PageSetup::A4();
#endif
}

}  // namespace tintara
