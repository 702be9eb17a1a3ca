#include "workspace/MakeSensorList.h"

#include "workspace/NumberFormat.h"

namespace tintara {

namespace {
struct Entry {
    int16_t id;
    const char* name;
};
// clang-format off
constexpr Entry kCatalogue[kInstrumentCount] = {
    {47, "BYK ColorGuide"},          {41, "BYK SpectroGuide"},       {79, "DataFlash 100"},
    {1, "Minolta CM-500"},           {203, "Minolta CM-2500c"},      {197, "Minolta CM-2600"},
    {198, "Minolta CM-2500"},        {202, "Minolta CM-3220d"},      {7, "Minolta CM-3600"},
    {161, "Macbeth 2020+"},          {170, "Macbeth 2145"},          {168, "Macbeth 2180"},
    {165, "Macbeth 3000"},           {169, "Macbeth 3100"},          {173, "Macbeth XTS"},
    {171, "Macbeth XTH"},            {172, "Macbeth Color i5"},      {177, "Macbeth Color i7"},
    {211, "X-Rite SP-61"},           {213, "X-Rite SP-62"},          {77, "SpectraFlash 600"},
    {174, "AMI PSM"},                {34, "Hunter UltraScanXE"},     {31, "Hunter ColorQuest 45/0"},
    {30, "Hunter ColorQuest Sphere"}, {35, "Hunter ColorQuest XE"},  {0, "Demo Mode"},
    {162, "Macbeth 7000"},           {3, "Minolta CM-3700"},         {208, "Minolta CM-700"},
    {2, "Minolta CM-2002"},          {5, "Minolta CM-3500d"},        {8, "Minolta CM-3300d"},
    {36, "Hunter LabScan 45/0"},     {207, "Minolta CM-600d"},       {186, "X-Rite Ci7800"},
    {179, "X-Rite Ci64uv"},          {178, "X-Rite Ci4200uv"},       {133, "Minolta CR-5"},
    {105, "Datacolor DC-500"},       {106, "Datacolor DC-550"},      {107, "Datacolor DC-800"},
    {108, "Datacolor DC-850"},
};
// clang-format on
}  // namespace

MakeSensorList::MakeSensorList(GlobalVariables& ws) : m_ws(ws) {
    for (int i = 0; i < kInstrumentCount; ++i) {
        m_ws.InstrumentIDs[i] = kCatalogue[i].id;
        m_ws.InstrumentNames[i] = kCatalogue[i].name;
    }
}

void MakeSensorList::FindInstrument(int16_t ID, std::string& Name) const {
    Name = "Unknown ID# " + Format(ID, "###");
    for (int i = 0; i < kInstrumentCount; ++i) {
        if (m_ws.InstrumentIDs[i] == ID) {
            Name = m_ws.InstrumentNames[i];
            return;
        }
    }
}

std::string MakeSensorList::FindInstrument(int16_t ID) const {
    std::string name;
    FindInstrument(ID, name);
    return name;
}

}  // namespace tintara
