// tintara profile and tintara tolerances on the demo tile sets, Profiler.ini in TINTARA_HOME.
#include <gtest/gtest.h>

#include "cli/CliTest.h"
#include "engine/ProfileSequence.h"
#include "engine/Tolerances.h"
#include "files/DemoData.h"
#include "files/SaveSetLibrary.h"

namespace tintara {
namespace {

namespace fs = std::filesystem;
using test::Quote;

std::string Profile(const fs::path& dir, const fs::path& target = "target-tiles.wsv") {
    return "profile --master " + Quote(dir / "master-tiles.wsv") + " --target " +
           Quote(dir / target);
}

TEST(ProfileCommand, PrintsTheGridOfTheRunFollowsItsOptionsAndRefusesAsTheAppDoes) {
    const auto dir = test::ScratchDir("ProfileGrid");
    WriteDemoData(dir);
    test::CliRun run = test::Tintara(dir, Profile(dir));
    ASSERT_EQ(run.Status, 0) << run.Err;
    const auto rows = test::Rows(run.Out);
    ASSERT_EQ(rows.size(), 34u);  // header, average, 32 tiles
    EXPECT_EQ(rows[1][0], "Average DE");

    // Without the weight search the last two columns repeat the Linearity result.
    const auto plain = test::Rows(test::Tintara(dir, Profile(dir) + " --nocentroid").Out);
    EXPECT_EQ(plain.at(1)[5], plain[1][4]);
    EXPECT_EQ(plain[1][6], plain[1][4]);
    EXPECT_NE(rows[1][5], rows[1][4]);
    // The geometry and the colour space of Profiler.ini change what is compared.
    EXPECT_NE(test::Rows(test::Tintara(dir, Profile(dir) + " --geometry sce").Out)[1], rows[1]);
    WriteTolerances(dir / "Profiler.ini", ToleranceSettings{0.5, 0.5, 2});
    EXPECT_NE(test::Rows(test::Tintara(dir, Profile(dir)).Out)[1], rows[1]);

    // Refusals: "Title: text" and exit status 1; bad options: the usage and 2.
    SaveSetData target = LoadSaveSet(dir / "target-tiles.wsv");
    target.Status = target.Records.back().Status = "RCBEXX";  // UV component excluded
    StoreSaveSet(target, dir / "uv-excluded.wsv");
    target.Records.resize(16);
    StoreSaveSet(target, dir / "short.wsv");

    // Where the window refuses: the Target tile set itself.
    test::ExpectFailure(dir, Profile(dir, "uv-excluded.wsv"), 1,
                        "Instrument Status Error: The UV Component must be INCLUDED for "
                        "Profiling\n");
    test::ExpectFailure(dir, Profile(dir, "short.wsv"), 1,  // a Target of another size
                        "File Read Error: There is a problem with the Save_Set File \n");
    test::ExpectFailure(dir, Profile(dir) + " --geometry both", 2);
    test::ExpectFailure(dir, "profile --master x.wsv", 2);
}

std::string Shown(const char* single, const char* average, const char* space) {
    return std::string("Single Tile DE Limit is -->\t") + single + "\nAverage Tile DE Limit -->\t" +
           average + "\nColorSpace\t" + space + "\n";
}

TEST(TolerancesCommand, ShowsValidatesAndWrites) {
    const auto home = test::ScratchDir("TolerancesCommand");
    test::CliRun run = test::Tintara(home, "tolerances");  // no Profiler.ini yet: the defaults
    EXPECT_EQ(run.Status, 0);
    EXPECT_TRUE(run.Out.starts_with(Shown("0.50", "0.50", "CIE Lab"))) << run.Out;
    EXPECT_NE(run.Err.find("File Read Error: Error reading Tolerance defaults"), std::string::npos);
    ASSERT_EQ(test::Tintara(home, "tolerances --single 1.5 --space hunter").Status, 0);
    EXPECT_EQ(ReadTolerances(home / "Profiler.ini").Settings, (ToleranceSettings{1.5, 0.5, 2}));
    // Out of range or not a number: refused, the file is left as it was.
    test::ExpectFailure(home, "tolerances --single 2 --average 7", 1, "between 0.01 and 5.00");
    test::ExpectFailure(home, "tolerances --average 0.009", 1, "between 0.01 and 5.00");
    test::ExpectFailure(home, "tolerances --single abc", 2);
    test::ExpectFailure(home, "tolerances --space xyz", 2);
    ASSERT_EQ(test::Tintara(home, "tolerances --average 5 --space cielab").Status, 0);
    run = test::Tintara(home, "tolerances");
    EXPECT_EQ(run.Err, "");
    EXPECT_TRUE(run.Out.starts_with(Shown("1.50", "5.00", "CIE Lab"))) << run.Out;
}

}  // namespace
}  // namespace tintara
