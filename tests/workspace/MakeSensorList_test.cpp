#include "workspace/MakeSensorList.h"

#include <gtest/gtest.h>

#include <set>

namespace tintara {
namespace {

TEST(MakeSensorList, LoadFillsTheCatalogueInItsFixedOrder) {
    GlobalVariables ws;
    MakeSensorList list(ws);
    EXPECT_EQ(ws.InstrumentIDs[0], 47);
    EXPECT_EQ(ws.InstrumentNames[0], "BYK ColorGuide");
    EXPECT_EQ(ws.InstrumentIDs[14], 173);
    EXPECT_EQ(ws.InstrumentNames[14], "Macbeth XTS");
    EXPECT_EQ(ws.InstrumentIDs[26], 0);
    EXPECT_EQ(ws.InstrumentNames[26], "Demo Mode");
    EXPECT_EQ(ws.InstrumentIDs[42], 108);
    EXPECT_EQ(ws.InstrumentNames[42], "Datacolor DC-850");
    std::set<int> unique(ws.InstrumentIDs.begin(), ws.InstrumentIDs.end());
    EXPECT_EQ(unique.size(), 43u);
}

TEST(MakeSensorList, FindsKnownInstruments) {
    GlobalVariables ws;
    MakeSensorList list(ws);
    EXPECT_EQ(list.FindInstrument(0), "Demo Mode");
    EXPECT_EQ(list.FindInstrument(2), "Minolta CM-2002");
    EXPECT_EQ(list.FindInstrument(208), "Minolta CM-700");
    EXPECT_EQ(list.FindInstrument(1), "Minolta CM-500");
    EXPECT_EQ(list.FindInstrument(30), "Hunter ColorQuest Sphere");
    EXPECT_EQ(list.FindInstrument(213), "X-Rite SP-62");
    EXPECT_EQ(list.FindInstrument(161), "Macbeth 2020+");
}

TEST(MakeSensorList, UnknownIdsAreNamedWithTheirNumber) {
    GlobalVariables ws;
    MakeSensorList list(ws);
    EXPECT_EQ(list.FindInstrument(999), "Unknown ID# 999");
    EXPECT_EQ(list.FindInstrument(4), "Unknown ID# 4");
    EXPECT_EQ(list.FindInstrument(-3), "Unknown ID# -3");
    EXPECT_EQ(list.FindInstrument(32767), "Unknown ID# 32767");
    std::string name = "stale";
    list.FindInstrument(214, name);
    EXPECT_EQ(name, "Unknown ID# 214");
}

}  // namespace
}  // namespace tintara
