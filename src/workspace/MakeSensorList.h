// The instrument catalogue: instrument ID to display name.
#pragma once

#include <cstdint>
#include <string>

#include "workspace/GlobalVariables.h"

namespace tintara {

// Fills InstrumentIDs / InstrumentNames (43 entries, fixed order, unsorted, unique IDs) on
// construction, as the catalogue object's load handler did, and looks IDs up.
class MakeSensorList {
  public:
    explicit MakeSensorList(GlobalVariables& ws);

    // Name of the instrument with this ID; "Unknown ID# " + Format(ID, "###") when absent.
    void FindInstrument(int16_t ID, std::string& Name) const;
    std::string FindInstrument(int16_t ID) const;

  private:
    GlobalVariables& m_ws;
};

}  // namespace tintara
