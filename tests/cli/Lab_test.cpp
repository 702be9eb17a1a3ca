// tintara lab: one line per record (name, L, a, b to six decimals) from save sets and CGATS.
#include <gtest/gtest.h>

#include <regex>

#include "cli/CliTest.h"
#include "engine/ColorMatch.h"
#include "files/Cgats.h"
#include "files/DemoData.h"
#include "files/SaveSetLibrary.h"

namespace tintara {
namespace {

// Expects the output to hold the colour component's coordinates of every record, in the format.
void ExpectLab(const std::string& out, const SaveSetData& data, int angle, int16_t space) {
    static const std::regex shape(R"(([^\t]*)\t(-?\d+\.\d{6})\t(-?\d+\.\d{6})\t(-?\d+\.\d{6}))");
    ColorMatch plm;
    plm.SetColorSpace(space);
    std::vector<double> lab(1);
    std::istringstream lines(out);
    std::size_t r = 0;
    for (std::string line; std::getline(lines, line); ++r) {
        std::smatch m;
        ASSERT_TRUE(std::regex_match(line, m, shape)) << line;
        plm.SetTrialSpectrum(data.Records.at(r).Curves[angle]);
        plm.GetDeltaArray2(0, lab);
        EXPECT_EQ(m[1], data.Records[r].Name);
        for (int k = 0; k < 3; ++k)
            EXPECT_NEAR(std::stod(m[k + 2]), lab[k], 5.1e-7) << line;
    }
    EXPECT_EQ(r, data.Records.size());
}

TEST(LabCommand, PrintsEveryRecordAtTheChosenAngleAndSpaceAndRefusesBadInput) {
    const auto dir = test::ScratchDir("LabCommand");
    const auto tiles = WriteDemoData(dir)[0];
    const auto cgats = test::DataPath("colorimetry/reference_spectra.ti3");
    for (const auto& [file, angle, space] :
         {std::tuple{tiles, 0, kCieLab}, {tiles, 1, kHunterLab}, {cgats, 0, kCieLab}}) {
        const test::CliRun run =
            test::Tintara(dir, "lab " + test::Quote(file) + " --angle " + std::to_string(angle) +
                                   (space == kHunterLab ? " --space hunter" : ""));
        ASSERT_EQ(run.Status, 0) << run.Err;
        ExpectLab(run.Out, file == tiles ? LoadSaveSet(file) : ImportCgats(file), angle, space);
    }

    test::ExpectFailure(dir, "lab " + test::Quote(dir / "gone.wsv"), 1, "gone.wsv: no such file");
    test::ExpectFailure(dir, "lab " + test::Quote(cgats) + " --angle 1", 1, "one angle position");
    for (const char* options : {" --space lch", " --angle 2", " b.wsv"})
        test::ExpectFailure(dir, "lab " + test::Quote(tiles) + options, 2);
    test::ExpectFailure(dir, "lab", 2);
}

}  // namespace
}  // namespace tintara
