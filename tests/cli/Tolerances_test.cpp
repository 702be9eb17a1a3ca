// tintara tolerances over a missing, a sound and a damaged Profiler.ini.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

#include "cli/CliTest.h"

namespace tintara {
namespace {

namespace fs = std::filesystem;

TEST(Tolerances, ADamagedFileIsNeverHalfOverwrittenWithDefaults) {
    const auto dir = test::ScratchDir("Tolerances_Damaged");
    const fs::path ini = dir / "Profiler.ini";
    const std::string damaged = " 1.25 \r\n\x01\x02garbage\r\n 2 \r\n";
    std::ofstream(ini, std::ios::binary) << damaged;
    test::ExpectFailure(dir, "tolerances --average 1", 1, "Profiler.ini was not changed");
    EXPECT_EQ(test::Slurp(ini), damaged);
    const test::CliRun shown = test::Tintara(dir, "tolerances");
    EXPECT_EQ(shown.Err.find('\x01'), std::string::npos) << shown.Err;  // no binary echoed

    // All three given: nothing of the old file is needed, so it is rewritten.
    ASSERT_EQ(test::Tintara(dir, "tolerances --single 1 --average 1 --space hunter").Status, 0);
    EXPECT_EQ(test::Slurp(ini), " 1 \r\n 1 \r\n 2 \r\n");
    // A sound file keeps what is not given.
    ASSERT_EQ(test::Tintara(dir, "tolerances --average 0.5").Status, 0);
    EXPECT_EQ(test::Slurp(ini), " 1 \r\n .5 \r\n 2 \r\n");

    // No file yet: the defaults are the settings, not a loss.
    const auto fresh = test::ScratchDir("Tolerances_Fresh");
    ASSERT_EQ(test::Tintara(fresh, "tolerances --average 1").Status, 0);
    EXPECT_EQ(test::Slurp(fresh / "Profiler.ini"), " .5 \r\n 1 \r\n 0 \r\n");
}

}  // namespace
}  // namespace tintara
