#include "workspace/StatusCode.h"

#include <gtest/gtest.h>

#include <string>

#include "workspace/GlobalVariables.h"
#include "workspace/MakeSensorList.h"

namespace tintara {
namespace {

TEST(StatusCode, ReadsTheGeometryAndUvLetters) {
    const StatusCode sci("XXIIXX"), sce("XXEEXX"), both("XXBIXX");
    EXPECT_TRUE(sci.Sci());
    EXPECT_FALSE(sci.Sce());
    EXPECT_FALSE(sci.HoldsBoth());
    EXPECT_FALSE(sci.UvExcluded());
    EXPECT_TRUE(sce.Sce());
    EXPECT_FALSE(sce.Sci());
    EXPECT_TRUE(sce.UvExcluded());
    EXPECT_TRUE(both.HoldsBoth());
    EXPECT_FALSE(both.Sci());
    EXPECT_FALSE(both.Sce());
    EXPECT_EQ(both.GeometryLetter(), 'B');
    EXPECT_EQ(both.UvLetter(), 'I');
    // The letters are case-sensitive, as the stored codes are.
    EXPECT_FALSE(StatusCode("xxixxx").Sci());
}

TEST(StatusCode, AShortTextHasNoLetterAtTheMissingPositions) {
    for (const std::string text : {"", "X", "XX"}) {
        SCOPED_TRACE("status \"" + text + "\"");
        const StatusCode code(text);
        EXPECT_EQ(code.GeometryLetter(), '\0');
        EXPECT_FALSE(code.Sci());
        EXPECT_FALSE(code.Sce());
        EXPECT_FALSE(code.HoldsBoth());
        EXPECT_EQ(code.UvLetter(), '\0');
        EXPECT_FALSE(code.UvExcluded());
    }
    // Three characters: a geometry but no UV letter.
    EXPECT_TRUE(StatusCode("XXI").Sci());
    EXPECT_EQ(StatusCode("XXI").UvLetter(), '\0');
    EXPECT_EQ(StatusCode("XXI").At(0), '\0');
}

TEST(StatusCode, SettingALetterLeavesAShortTextAloneButSetBothPads) {
    std::string status = "XXBIXX";
    StatusCode::SetGeometry(status, StatusCode::kExcluded);
    EXPECT_EQ(status, "XXEIXX");
    std::string shortText = "XX";
    StatusCode::SetGeometry(shortText, StatusCode::kIncluded);
    EXPECT_EQ(shortText, "XX");
    StatusCode::SetBoth(shortText);
    EXPECT_EQ(shortText, "XXB");
    std::string empty;
    StatusCode::SetBoth(empty);
    EXPECT_EQ(empty, "XXB");
    std::string longer = "ABIIXX";
    StatusCode::SetBoth(longer);
    EXPECT_EQ(longer, "ABBIXX");
}

TEST(StatusCode, TheBothGeometriesInstrumentIsTheMacbethXtsAndHoldsBothWhateverItsStatus) {
    GlobalVariables ws;
    MakeSensorList list(ws);
    EXPECT_EQ(list.FindInstrument(kBothGeometriesInstrument), "Macbeth XTS");
    EXPECT_TRUE(HoldsBothGeometries(kBothGeometriesInstrument, "XXIIXX"));
    EXPECT_TRUE(HoldsBothGeometries(kBothGeometriesInstrument, ""));
    EXPECT_TRUE(HoldsBothGeometries(47, "XXBIXX"));
    EXPECT_FALSE(HoldsBothGeometries(47, "XXIIXX"));
    EXPECT_FALSE(HoldsBothGeometries(47, "XX"));
}

TEST(StatusCode, UvIsCheckedExceptOnInstrumentsWithoutUvControl) {
    EXPECT_FALSE(UvNotIncluded(47, "XXIIXX"));
    EXPECT_TRUE(UvNotIncluded(47, "XXIEXX"));
    EXPECT_TRUE(UvNotIncluded(47, "XXIXXX"));  // anything but "I" is not included
    EXPECT_TRUE(UvNotIncluded(47, "XXI"));     // nor is a status too short to say
    for (const int16_t exempt : {int16_t{2}, int16_t{208}}) {
        SCOPED_TRACE("instrument " + std::to_string(exempt));
        EXPECT_TRUE(UvExempt(exempt));
        EXPECT_FALSE(UvNotIncluded(exempt, "XXIEXX"));
        EXPECT_FALSE(UvNotIncluded(exempt, ""));
    }
}

}  // namespace
}  // namespace tintara
