// Profiler.ini: reading with fallbacks, the written form, the scroll bars and where the file lives.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <sstream>

#include "engine/Tolerances.h"
#include "support/TestPaths.h"
#include "workspace/Error.h"
#include "workspace/NumberFormat.h"

namespace tintara {
namespace {

namespace fs = std::filesystem;

ToleranceReadResult ReadText(const std::string& text) {
    std::istringstream in(text);
    return ReadTolerances(in, "Profiler.ini");
}

TEST(Tolerances, ReadingKeepsWhatIsInRangeAndFallsBackValueByValue) {
    const struct {
        const char* text;
        ToleranceSettings expected;
        bool error;
    } cases[] = {
        {" 5 \r\n .01 \r\n 2 \r\n", {5.0, 0.01, 2}, false},  // both ends of the range
        {"1.25, 0.75\n0\n", {1.25, 0.75, 0}, false},
        {" 0 \r\n 7.5 \r\n 1 \r\n", {0.5, 0.5, 0}, true},  // every value out of range
        {"5.0000001\r\n0.0099\r\n2\r\n", {0.5, 0.5, 2}, true},
        {" 1.5 \r\n", {1.5, 0.5, 0}, true},  // short: what was read before the fault stays
        {" 2 \r\n 1.2abc \r\n 2 \r\n", {2.0, 0.5, 0}, true},
        {"nan\r\nnan\r\n0\r\n", {0.5, 0.5, 0}, true},
        {"1\r\n1\r\n2.5\r\n", {1.0, 1.0, 0}, true},
        {"1\r\n1\r\n-2\r\n", {1.0, 1.0, 0}, true},
    };
    for (const auto& c : cases) {
        const auto r = ReadText(c.text);
        EXPECT_EQ(r.Settings, c.expected) << c.text;
        EXPECT_EQ(r.ErrorNoted, c.error) << c.text << r.Detail;
    }
    EXPECT_NE(ReadText(" 2 \r\n 1.2abc \r\n 2 \r\n").Detail.find("1.2abc"), std::string::npos);
}

TEST(Tolerances, WritesPrintFormattedLinesReplacingTheFileWholeOrNotAtAll) {
    std::ostringstream out;
    WriteTolerances(out, ToleranceSettings{0.5, 1.25, 2});
    EXPECT_EQ(out.str(), " .5 \r\n 1.25 \r\n 2 \r\n");
    // The print statement keeps 15 significant digits, so a third comes back to 1e-15.
    std::ostringstream third;
    WriteTolerances(third, ToleranceSettings{1.0 / 3.0, 5.0, 0});
    EXPECT_FALSE(ReadText(third.str()).ErrorNoted);
    EXPECT_NEAR(ReadText(third.str()).Settings.SingleSampleTolerance, 1.0 / 3.0, 1e-15);

    const auto dir = test::ScratchDir("ToleranceWrite");
    const auto file = dir / "sub" / "Profiler.ini";
    WriteTolerances(file, ToleranceSettings{1.0, 2.0, 2});
    WriteTolerances(file, ToleranceSettings{0.5, 1.5, 0});
    EXPECT_EQ(ReadTolerances(file).Settings, (ToleranceSettings{0.5, 1.5, 0}));
    EXPECT_EQ(std::distance(fs::directory_iterator(dir / "sub"), {}), 1);  // no temporary left
    // A directory in the way of the file: the rename fails, nothing is destroyed.
    fs::create_directories(dir / "blocked" / "Profiler.ini" / "keep");
    EXPECT_THROW(WriteTolerances(dir / "blocked" / "Profiler.ini", ToleranceSettings{}), IoError);
    EXPECT_TRUE(fs::exists(dir / "blocked" / "Profiler.ini" / "keep"));
    EXPECT_EQ(ReadTolerances(file).Settings, (ToleranceSettings{0.5, 1.5, 0}));
}

TEST(Tolerances, ScrollPositionsAndLimitsMapBothWays) {
    EXPECT_EQ(LimitText(1), "5.00");
    EXPECT_EQ(LimitText(100), "0.05");
    EXPECT_EQ(LimitText(91), "0.50");
    for (int p = kScrollMinimum; p <= kScrollMaximum; ++p)
        EXPECT_EQ(PositionFromLimit(Val(LimitText(p))), p) << p;
    // The smallest accepted limit lands outside the bar: 100.8 rounds to 101. Halves go to the
    // even neighbour: 100.5 -> 100, 99.5 -> 100, 98.5 -> 98.
    EXPECT_EQ(PositionFromLimit(0.01), 101);
    EXPECT_EQ(PositionFromLimit(0.025), 100);
    EXPECT_EQ(PositionFromLimit(0.075), 100);
    EXPECT_EQ(PositionFromLimit(0.125), 98);
}

TEST(Tolerances, LocationRulesAndLoadingWithTheUsersCopyFirstAndDefaultsWhenMissing) {
    const auto dir = test::ScratchDir("ToleranceLocation");
    const auto program = dir / "bin";
    fs::create_directories(program);
    EXPECT_EQ(LocateProfilerIni(program, (dir / "home").string(), "/x", "/h").WritePath,
              dir / "home" / "Profiler.ini");
    for (const auto& noHome : {std::optional<std::string>(), std::optional(std::string())})
        EXPECT_EQ(LocateProfilerIni(program, noHome, "/x", "/h").WritePath,
                  program / "Profiler.ini");
    // A directory that cannot be written (here: one that does not exist, which holds even for
    // root) sends the file to the user's configuration folder, read first.
    const auto installed = dir / "not-there";
    const auto xdg = LocateProfilerIni(installed, std::nullopt, std::string("/cfg"), "/h");
    EXPECT_EQ(xdg.WritePath, fs::path("/cfg/tintara/Profiler.ini"));
    EXPECT_EQ(xdg.ReadPaths, (std::vector<fs::path>{xdg.WritePath, installed / "Profiler.ini"}));
    for (const auto& noXdg : {std::optional<std::string>(), std::optional(std::string())}) {
        EXPECT_EQ(LocateProfilerIni(installed, std::nullopt, noXdg, std::string("/h")).WritePath,
                  fs::path("/h/.config/tintara/Profiler.ini"));
    }

    const fs::path user = dir / "user" / "Profiler.ini", shipped = dir / "installed" / "x.ini";
    WriteTolerances(user, ToleranceSettings{1.0, 1.5, 2});
    WriteTolerances(shipped, ToleranceSettings{2.0, 2.5, 0});
    GlobalVariables ws;
    EXPECT_FALSE(LoadTolerances(ws, {user, {user, shipped}}).ErrorNoted);
    EXPECT_EQ(ws.AverageTolerance, 1.5);
    fs::remove(user);
    EXPECT_FALSE(LoadTolerances(ws, {user, {user, shipped}}).ErrorNoted);
    EXPECT_EQ(ws.AverageTolerance, 2.5);
    fs::remove(shipped);
    ws.SingleSampleTolerance = 3.0;
    ws.ColorSpace = 2;
    EXPECT_TRUE(LoadTolerances(ws, {user, {user, shipped}}).ErrorNoted);
    EXPECT_EQ(ToleranceSettings({ws.SingleSampleTolerance, ws.AverageTolerance, ws.ColorSpace}),
              (ToleranceSettings{0.5, 0.5, 0}));
    EXPECT_STREQ(kToleranceReadTitle, "File Read Error");
    EXPECT_STREQ(kToleranceReadText, "Error reading Tolerance defaults");
}

TEST(Tolerances, AnInstalledProgramReadsTheShippedProfilerIniLast) {
    const auto dir = test::ScratchDir("ToleranceShippedIni");
    const auto bin = dir / "usr" / "bin", data = dir / "usr" / "share" / "tintara";
    fs::create_directories(bin);
    fs::create_directories(data);
    // Writable program folder (a copy unpacked by a user): beside, then the shipped defaults.
    const auto own = LocateProfilerIni(bin, std::nullopt, std::string("/cfg"), "/h");
    EXPECT_EQ(own.WritePath, bin / "Profiler.ini");
    EXPECT_EQ(own.ReadPaths, (std::vector<fs::path>{bin / "Profiler.ini", data / "Profiler.ini"}));
    // TINTARA_HOME names the one file, nothing else.
    EXPECT_EQ(LocateProfilerIni(bin, (dir / "home").string(), "/cfg", "/h").ReadPaths,
              (std::vector<fs::path>{dir / "home" / "Profiler.ini"}));

    WriteTolerances(data / "Profiler.ini", ToleranceSettings{0.8, 0.4, 2});
    GlobalVariables ws;
    EXPECT_FALSE(LoadTolerances(ws, own).ErrorNoted);
    EXPECT_EQ(ToleranceSettings({ws.SingleSampleTolerance, ws.AverageTolerance, ws.ColorSpace}),
              (ToleranceSettings{0.8, 0.4, 2}));
    WriteTolerances(own.WritePath, ToleranceSettings{1.0, 1.5, 0});
    EXPECT_FALSE(LoadTolerances(ws, own).ErrorNoted);
    EXPECT_EQ(ws.AverageTolerance, 1.5);
}

TEST(Tolerances, TheShippedProfilerIniHoldsTheDefaultsInTheWrittenForm) {
    const auto shipped =
        fs::path(TINTARA_TEST_DATA).parent_path().parent_path() / "packaging" / "Profiler.ini";
    const ToleranceReadResult read = ReadTolerances(shipped);
    EXPECT_FALSE(read.ErrorNoted) << read.Detail;
    EXPECT_EQ(read.Settings, (ToleranceSettings{0.5, 0.5, 0}));
    std::ostringstream written;
    WriteTolerances(written, read.Settings);
    std::ifstream in(shipped, std::ios::binary);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), written.str());
}

}  // namespace
}  // namespace tintara
