// The two paper sizes certificates are printed on, by name and from the user's locale.
#pragma once

#include <optional>
#include <string>

#include "report/PageDescription.h"

namespace tintara {

// "a4" or "letter" (any case); nothing for another name.
std::optional<PageSetup> PaperByName(const std::string& name);

// The paper of a width in millimetres as a locale states it: 216 mm is US Letter, anything else
// A4 (the paper of every locale but the North and Central American ones).
PageSetup PaperOfWidth(int millimetres);

// The paper of the user's LC_PAPER locale (glibc's LC_PAPER, through LC_ALL / LC_PAPER / LANG);
// A4 where the C library does not say. Leaves the program's own locale as it was.
PageSetup LocalePaper();

}  // namespace tintara
