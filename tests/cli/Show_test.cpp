// tintara show: the save set's header, every record and its curves; bad files exit 1.
#include <gtest/gtest.h>

#include <fstream>

#include "cli/CliTest.h"
#include "files/SaveSetLibrary.h"

namespace tintara {
namespace {

TEST(ShowCommand, PrintsHeaderRecordsAndCurvesAndRefusesWhatIsNotASaveSet) {
    const auto dir = test::ScratchDir("ShowCommand");
    SaveSetData d;
    d.NumAngles = 2;
    d.Company = "Lab One";
    d.Status = "XXBIXX";
    d.Instrument = 173;
    SaveSetRecord& rec = d.Records.emplace_back();
    rec.Name = std::string("Red\0tail", 8);
    rec.Name2 = "AV-12";
    rec.Instrument = 999;
    for (int p = 0; p < kPointCount; ++p) {
        rec.Curves[0][p] = p * 0.125;
        rec.Curves[1][p] = 50 - p;
    }
    StoreSaveSet(d, dir / "tiles.wsv");
    const test::CliRun run = test::Tintara(dir, "show " + test::Quote(dir / "tiles.wsv"));
    EXPECT_EQ(run.Status, 0) << run.Err;
    std::string curves;
    for (int a = 0; a < 2; ++a) {
        curves += "\n  Angle " + std::to_string(a) + ":";
        for (double v : rec.Curves[a])
            curves += " " + std::to_string(v);  // six decimals
    }
    for (const std::string& text : std::vector<std::string>{
             "\nCompany: Lab One\nStatus: XXBIXX\nInstrument: 173 (Macbeth XTS)\nRecords: 1\n",
             "\nRecord 0\n  Name: Red\\x00tail\n  Second name: AV-12\n",
             "\n  Status: XXBIXX\n  Instrument: 999 (Unknown ID# 999)\n", curves + "\n"}) {
        EXPECT_NE(run.Out.find(text), std::string::npos) << text << "\n" << run.Out;
    }

    std::ofstream(dir / "notes") << "this is not a save set, just some notes\r\n"
                                 << std::string(2000, '-');
    test::ExpectFailure(dir, "show " + test::Quote(dir / "notes"), 1, "notes: not a save set");
    test::ExpectFailure(dir, "show " + test::Quote(dir / "gone"), 1, "gone: the file does not");
    test::ExpectFailure(dir, "show", 2);
}

}  // namespace
}  // namespace tintara
