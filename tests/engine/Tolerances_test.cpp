// Profiler.ini: reading with fallbacks, the written form, the scroll-bar mapping and the file's
// location rules.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <fstream>
#include <sstream>

#include "engine/Tolerances.h"
#include "support/TestPaths.h"
#include "workspace/Error.h"
#include "workspace/NumberFormat.h"

namespace tintara {
namespace {

ToleranceReadResult ReadText(const std::string& text) {
    std::istringstream in(text);
    return ReadTolerances(in, "Profiler.ini");
}

std::string Slurp(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

TEST(Tolerances, ReadsTheThreeLinesAsWrittenIncludingTheRangeEnds) {
    const auto r = ReadText(" 5 \r\n .01 \r\n 2 \r\n");
    EXPECT_FALSE(r.ErrorNoted) << r.Detail;
    EXPECT_EQ(r.Settings.SingleSampleTolerance, 5.0);
    EXPECT_EQ(r.Settings.AverageTolerance, 0.01);
    EXPECT_EQ(r.Settings.ColorSpace, 2);
    // Plain LF files and comma-separated fields read the same.
    const auto lf = ReadText("1.25\n0.75\n0\n");
    EXPECT_FALSE(lf.ErrorNoted);
    EXPECT_EQ(lf.Settings, (ToleranceSettings{1.25, 0.75, 0}));
    EXPECT_EQ(ReadText("1.25, 0.75, 0\r\n").Settings, lf.Settings);
}

TEST(Tolerances, EveryValueOutOfRangeFallsBackWithOneError) {
    const auto r = ReadText(" 0 \r\n 7.5 \r\n 1 \r\n");
    EXPECT_TRUE(r.ErrorNoted);
    EXPECT_EQ(r.Settings, ToleranceSettings{});
    EXPECT_EQ(r.Settings, (ToleranceSettings{0.5, 0.5, 0}));
    // Just outside each end.
    const auto edges = ReadText("5.0000001\r\n0.0099\r\n2\r\n");
    EXPECT_TRUE(edges.ErrorNoted);
    EXPECT_EQ(edges.Settings, (ToleranceSettings{0.5, 0.5, 2}));
}

TEST(Tolerances, ShortOrUnreadableFileKeepsWhatWasReadBeforeTheFault) {
    const auto shortFile = ReadText(" 1.5 \r\n");
    EXPECT_TRUE(shortFile.ErrorNoted);
    EXPECT_EQ(shortFile.Settings, (ToleranceSettings{1.5, 0.5, 0}));

    const auto garbled = ReadText(" 2 \r\n 1.2abc \r\n 2 \r\n");
    EXPECT_TRUE(garbled.ErrorNoted);
    EXPECT_EQ(garbled.Settings, (ToleranceSettings{2.0, 0.5, 0}));
    EXPECT_NE(garbled.Detail.find("1.2abc"), std::string::npos) << garbled.Detail;

    for (const char* bad : {"", "nan\r\nnan\r\n0\r\n", "1\r\n1\r\n2.5\r\n", "1\r\n1\r\n-2\r\n"}) {
        const auto r = ReadText(bad);
        EXPECT_TRUE(r.ErrorNoted) << bad;
        EXPECT_TRUE(ToleranceInRange(r.Settings.SingleSampleTolerance));
        EXPECT_TRUE(r.Settings.ColorSpace == 0 || r.Settings.ColorSpace == 2);
    }
}

TEST(Tolerances, MissingFileGivesDefaultsAndTheError) {
    const auto dir = test::ScratchDir("ToleranceMissing");
    GlobalVariables ws;
    ws.SingleSampleTolerance = 3.0;
    ws.ColorSpace = 2;
    const auto r =
        LoadTolerances(ws, ProfilerIniLocation{dir / "Profiler.ini", {dir / "Profiler.ini"}});
    EXPECT_TRUE(r.ErrorNoted);
    EXPECT_EQ(ws.SingleSampleTolerance, 0.5);
    EXPECT_EQ(ws.AverageTolerance, 0.5);
    EXPECT_EQ(ws.ColorSpace, 0);
    EXPECT_STREQ(kToleranceReadTitle, "File Read Error");
    EXPECT_STREQ(kToleranceReadText, "Error reading Tolerance defaults");
}

TEST(Tolerances, WritesPrintFormattedLinesThatReadBackUnchanged) {
    std::ostringstream out;
    WriteTolerances(out, ToleranceSettings{0.5, 1.25, 2});
    EXPECT_EQ(out.str(), " .5 \r\n 1.25 \r\n 2 \r\n");

    for (const ToleranceSettings s :
         {ToleranceSettings{0.01, 5.0, 0}, ToleranceSettings{0.05, 4.95, 2},
          ToleranceSettings{1.0 / 3.0, 0.1, 0}}) {
        std::ostringstream text;
        WriteTolerances(text, s);
        const auto back = ReadText(text.str());
        EXPECT_FALSE(back.ErrorNoted) << text.str();
        // The print statement keeps 15 significant digits, so a third comes back to 1e-15.
        EXPECT_NEAR(back.Settings.SingleSampleTolerance, s.SingleSampleTolerance, 1e-15);
        EXPECT_EQ(back.Settings.AverageTolerance, s.AverageTolerance);
        EXPECT_EQ(back.Settings.ColorSpace, s.ColorSpace);
    }
}

TEST(Tolerances, FileWriteReplacesAtomicallyAndAFailureKeepsTheOldFile) {
    const auto dir = test::ScratchDir("ToleranceWrite");
    const auto file = dir / "sub" / "Profiler.ini";
    WriteTolerances(file, ToleranceSettings{1.0, 2.0, 2});
    EXPECT_EQ(Slurp(file), " 1 \r\n 2 \r\n 2 \r\n");
    WriteTolerances(file, ToleranceSettings{0.5, 0.5, 0});
    EXPECT_EQ(Slurp(file), " .5 \r\n .5 \r\n 0 \r\n");
    // Only the file itself is left behind, no temporary.
    int entries = 0;
    for ([[maybe_unused]] const auto& e : std::filesystem::directory_iterator(dir / "sub"))
        ++entries;
    EXPECT_EQ(entries, 1);

    if (::geteuid() != 0) {  // root writes anywhere; the permission check means nothing then
        ::chmod((dir / "sub").c_str(), 0555);
        EXPECT_THROW(WriteTolerances(file, ToleranceSettings{4.0, 4.0, 2}), IoError);
        ::chmod((dir / "sub").c_str(), 0755);
        EXPECT_EQ(Slurp(file), " .5 \r\n .5 \r\n 0 \r\n");
    }
    // A directory in the way of the file: the rename fails, nothing is destroyed.
    std::filesystem::create_directories(dir / "blocked" / "Profiler.ini" / "keep");
    EXPECT_THROW(WriteTolerances(dir / "blocked" / "Profiler.ini", ToleranceSettings{}), IoError);
    EXPECT_TRUE(std::filesystem::exists(dir / "blocked" / "Profiler.ini" / "keep"));
}

TEST(Tolerances, ScrollPositionsAndLimitsMapBothWays) {
    EXPECT_EQ(LimitText(1), "5.00");
    EXPECT_EQ(LimitText(100), "0.05");
    EXPECT_EQ(LimitText(91), "0.50");
    EXPECT_EQ(LimitText(81), "1.00");
    // Every position survives the round trip through its displayed limit.
    for (int p = kScrollMinimum; p <= kScrollMaximum; ++p) {
        EXPECT_EQ(PositionFromLimit(Val(LimitText(p))), p) << p;
    }
    // The smallest accepted limit lands outside the bar: 100.8 rounds to 101.
    EXPECT_EQ(PositionFromLimit(0.01), 101);
    // Halves go to the even neighbour: 100.5 -> 100, 99.5 -> 100, 98.5 -> 98.
    EXPECT_EQ(PositionFromLimit(0.025), 100);
    EXPECT_EQ(PositionFromLimit(0.075), 100);
    EXPECT_EQ(PositionFromLimit(0.125), 98);
}

TEST(Tolerances, LocationFollowsHomeVariableThenProgramDirectoryThenUserConfig) {
    const auto dir = test::ScratchDir("ToleranceLocation");
    const auto program = dir / "bin";
    std::filesystem::create_directories(program);

    auto home = LocateProfilerIni(program, std::string((dir / "home").string()), "/x", "/h");
    EXPECT_EQ(home.WritePath, dir / "home" / "Profiler.ini");

    auto beside = LocateProfilerIni(program, std::nullopt, "/x", "/h");
    EXPECT_EQ(beside.WritePath, program / "Profiler.ini");
    EXPECT_EQ(LocateProfilerIni(program, std::string(), "/x", "/h").WritePath, beside.WritePath);

    // A directory that cannot be written (here: one that does not exist, which holds even for
    // root) sends the file to the user's configuration folder, read first.
    const auto installed = dir / "not-there";
    auto xdg = LocateProfilerIni(installed, std::nullopt, std::string("/cfg"), "/h");
    auto dot = LocateProfilerIni(installed, std::nullopt, std::nullopt, std::string("/h"));
    auto emptyXdg = LocateProfilerIni(installed, std::nullopt, std::string(), std::string("/h"));
    EXPECT_EQ(xdg.WritePath, std::filesystem::path("/cfg/tintara/Profiler.ini"));
    ASSERT_EQ(xdg.ReadPaths.size(), 2u);
    EXPECT_EQ(xdg.ReadPaths[0], xdg.WritePath);
    EXPECT_EQ(xdg.ReadPaths[1], installed / "Profiler.ini");
    EXPECT_EQ(dot.WritePath, std::filesystem::path("/h/.config/tintara/Profiler.ini"));
    EXPECT_EQ(emptyXdg.WritePath, dot.WritePath);
    if (::geteuid() != 0) {
        ::chmod(program.c_str(), 0555);
        auto readOnly = LocateProfilerIni(program, std::nullopt, std::string("/cfg"), "/h");
        ::chmod(program.c_str(), 0755);
        EXPECT_EQ(readOnly.WritePath, xdg.WritePath);
    }
}

TEST(Tolerances, LoadReadsTheUsersCopyBeforeTheInstalledOne) {
    const auto dir = test::ScratchDir("ToleranceLoad");
    WriteTolerances(dir / "user" / "Profiler.ini", ToleranceSettings{1.0, 1.5, 2});
    WriteTolerances(dir / "installed" / "Profiler.ini", ToleranceSettings{2.0, 2.5, 0});
    GlobalVariables ws;
    const ProfilerIniLocation both{
        dir / "user" / "Profiler.ini",
        {dir / "user" / "Profiler.ini", dir / "installed" / "Profiler.ini"}};
    EXPECT_FALSE(LoadTolerances(ws, both).ErrorNoted);
    EXPECT_EQ(ws.SingleSampleTolerance, 1.0);
    EXPECT_EQ(ws.ColorSpace, 2);
    std::filesystem::remove(dir / "user" / "Profiler.ini");
    EXPECT_FALSE(LoadTolerances(ws, both).ErrorNoted);
    EXPECT_EQ(ws.SingleSampleTolerance, 2.0);
    EXPECT_EQ(ws.ColorSpace, 0);
}

}  // namespace
}  // namespace tintara
