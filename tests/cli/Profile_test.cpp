// tintara profile and tintara tolerances, run as a user would: save sets on disk, the tool's output
// and exit status, Profiler.ini kept in a scratch TINTARA_HOME.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "engine/ProfileSequence.h"
#include "engine/TileSetFixture.h"
#include "engine/Utility.h"
#include "files/RWSaveSet.h"
#include "files/SaveSetLibrary.h"
#include "support/TestPaths.h"

namespace tintara {
namespace {

namespace fs = std::filesystem;

struct Side {
    std::string Status = "MSII01";
    int16_t Instrument = 169;  // Macbeth 3100
};

// Writes the Master and Target curves of a synthetic 32-tile pair as two tile-set save sets.
// Angle position 1 holds an SCE reading (the specular reflection removed, about 4 % darker).
void WritePair(const fs::path& dir, unsigned seed, const Side& master, const Side& target,
               int targetTiles = 32) {
    GlobalVariables ws;
    test::LoadSyntheticPair(ws, 32, seed);
    for (int side = 0; side < 2; ++side) {
        const Side& s = side == 0 ? master : target;
        const Matrix& curves = side == 0 ? ws.MasterReflectance : ws.TargetReflectance;
        SaveSetData data;
        data.NumAngles = 2;
        data.Status = s.Status;
        data.Instrument = s.Instrument;
        data.Company = "Tintara Labs";
        const int tiles = side == 0 ? 32 : targetTiles;
        for (int t = 0; t < tiles; ++t) {
            SaveSetRecord record;
            record.Name = ws.TileNames[t % 32];
            record.Status = s.Status;
            record.Instrument = s.Instrument;
            for (int w = 0; w < kPointCount; ++w) {
                record.Curves[0][w] = curves(t % 32, w);
                record.Curves[1][w] = std::max(0.1, curves(t % 32, w) - 4.0);
            }
            data.Records.push_back(record);
        }
        StoreSaveSet(data, dir / (side == 0 ? "master.wsv" : "target.wsv"));
    }
}

struct CliRun {
    int Status;
    std::string Out, Err;
};

CliRun Tintara(const fs::path& home, const std::string& arguments) {
    CliRun run;
    run.Status = test::RunCommand(
        "TINTARA_HOME='" + home.string() + "' '" + test::CliPath().string() + "' " + arguments,
        &run.Out, &run.Err);
    return run;
}

std::vector<std::vector<std::string>> Rows(const std::string& text) {
    std::vector<std::vector<std::string>> rows;
    std::istringstream lines(text);
    std::string line;
    while (std::getline(lines, line)) {
        std::vector<std::string> cells;
        std::istringstream parts(line);
        std::string cell;
        while (std::getline(parts, cell, '\t'))
            cells.push_back(cell);
        rows.push_back(cells);
    }
    return rows;
}

std::string Slurp(const fs::path& file) {
    std::ifstream in(file, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

std::string PairArgs(const fs::path& dir) {
    return "profile --master '" + (dir / "master.wsv").string() + "' --target '" +
           (dir / "target.wsv").string() + "'";
}

TEST(ProfileCommand, PrintsTheCorrelationGridOfTheInProcessRun) {
    const auto dir = test::ScratchDir("ProfileGrid");
    WritePair(dir, 5u, {}, {});
    const CliRun run = Tintara(dir, PairArgs(dir));
    ASSERT_EQ(run.Status, 0) << run.Err;

    const auto rows = Rows(run.Out);
    ASSERT_EQ(rows.size(), 34u);  // header, average, 32 tiles
    EXPECT_EQ(rows[0], (std::vector<std::string>{"Tile Name", "Raw DE", "Phase #1", "Phase #2",
                                                 "Phase #3", "Phase #4", "Final DE"}));
    EXPECT_EQ(rows[1][0], "Average DE");
    EXPECT_EQ(rows[2][0], "Tile 1");
    EXPECT_EQ(rows[33][0], "Tile 32");
    // Correction pays off on average.
    EXPECT_LT(std::stod(rows[1][6]), 0.5 * std::stod(rows[1][1]));

    // The same files read and profiled in process give the same text, cell for cell.
    GlobalVariables ws;
    ws.InitializeVariables();
    RWSaveSet reader(ws);
    bool failed = true;
    reader.ReadWSVRecord((dir / "master.wsv").string(), true, failed);
    ASSERT_FALSE(failed);
    reader.ReadWSVRecord((dir / "target.wsv").string(), false, failed);
    ASSERT_FALSE(failed);
    Utility utility(ws);
    ProfileSequence(utility);
    EXPECT_EQ(rows, CorrelationGridRows(ws));
}

TEST(ProfileCommand, NoCentroidLeavesTheWavelengthColumnAtTheLinearityResult) {
    const auto dir = test::ScratchDir("ProfileNoCentroid");
    WritePair(dir, 8u, {}, {});
    const CliRun plain = Tintara(dir, PairArgs(dir));
    const CliRun off = Tintara(dir, PairArgs(dir) + " --nocentroid");
    ASSERT_EQ(plain.Status, 0) << plain.Err;
    ASSERT_EQ(off.Status, 0) << off.Err;
    int changed = 0;
    const auto rowsPlain = Rows(plain.Out), rowsOff = Rows(off.Out);
    ASSERT_EQ(rowsPlain.size(), rowsOff.size());
    for (std::size_t r = 1; r < rowsOff.size(); ++r) {
        EXPECT_EQ(rowsOff[r][5], rowsOff[r][4]) << "row " << r;
        EXPECT_EQ(rowsOff[r][6], rowsOff[r][4]) << "row " << r;
        if (rowsPlain[r][5] != rowsPlain[r][4])
            ++changed;
    }
    EXPECT_GT(changed, 0);
}

TEST(ProfileCommand, GeometryAndColourSpaceChangeWhatIsCompared) {
    const auto dir = test::ScratchDir("ProfileGeometry");
    WritePair(dir, 9u, {"MSBI01", 169}, {"TGBI01", 211});
    const CliRun sci = Tintara(dir, PairArgs(dir) + " --geometry sci");
    const CliRun sce = Tintara(dir, PairArgs(dir) + " --geometry sce");
    ASSERT_EQ(sci.Status, 0) << sci.Err;
    ASSERT_EQ(sce.Status, 0) << sce.Err;
    EXPECT_NE(Rows(sci.Out)[1], Rows(sce.Out)[1]);

    ASSERT_EQ(Tintara(dir, "tolerances --space hunter").Status, 0);
    const CliRun hunter = Tintara(dir, PairArgs(dir) + " --geometry sci");
    ASSERT_EQ(hunter.Status, 0) << hunter.Err;
    EXPECT_NE(Rows(hunter.Out)[1], Rows(sci.Out)[1]);
}

TEST(ProfileCommand, RefusesAsTheCoefficientCommandDoes) {
    const auto dir = test::ScratchDir("ProfileRefusals");
    WritePair(dir, 3u, {"MSII01", 169}, {"TGIE01", 211});
    CliRun run = Tintara(dir, PairArgs(dir));
    EXPECT_EQ(run.Status, 1);
    EXPECT_EQ(run.Err,
              "Status Error: The Master and Target instruments must be set to UV Component "
              "Included\n");
    EXPECT_TRUE(run.Out.empty());

    // A Minolta CM-700 on either side is exempt from the UV check.
    WritePair(dir, 3u, {"MSII01", 208}, {"TGIE01", 211});
    EXPECT_EQ(Tintara(dir, PairArgs(dir)).Status, 0);

    WritePair(dir, 3u, {"MSII01", 169}, {"TGEI01", 211});
    run = Tintara(dir, PairArgs(dir));
    EXPECT_EQ(run.Status, 1);
    EXPECT_EQ(run.Err, "Data Error: The Master and Target status do NOT Match\n");

    // A Target of another size than the Master cannot be read: the short read-error text.
    WritePair(dir, 3u, {}, {}, 16);
    run = Tintara(dir, PairArgs(dir));
    EXPECT_EQ(run.Status, 1);
    EXPECT_NE(run.Err.find("File Read Error: There is a problem with the Save_Set File \n"),
              std::string::npos)
        << run.Err;
    EXPECT_EQ(run.Err.find("Corrupt"), std::string::npos);

    // A Master that is not there: the four-line text.
    run = Tintara(dir, "profile --master '" + (dir / "none.wsv").string() + "' --target '" +
                           (dir / "target.wsv").string() + "'");
    EXPECT_EQ(run.Status, 1);
    EXPECT_NE(run.Err.find("It may be Corrupt, Empty or on a Mapped Drive"), std::string::npos)
        << run.Err;

    EXPECT_EQ(Tintara(dir, PairArgs(dir) + " --geometry both").Status, 2);
    EXPECT_EQ(Tintara(dir, "profile --master x.wsv").Status, 2);
}

TEST(TolerancesCommand, ShowsValidatesAndWrites) {
    const auto home = test::ScratchDir("TolerancesCommand");
    CliRun run = Tintara(home, "tolerances");
    EXPECT_EQ(run.Status, 0);
    EXPECT_NE(run.Out.find("Single Tile DE Limit is -->\t0.50\n"), std::string::npos) << run.Out;
    EXPECT_NE(run.Out.find("ColorSpace\tCIE Lab\n"), std::string::npos) << run.Out;
    EXPECT_NE(run.Err.find("File Read Error: Error reading Tolerance defaults"), std::string::npos);

    run = Tintara(home, "tolerances --single 1.5 --space hunter");
    ASSERT_EQ(run.Status, 0) << run.Err;
    EXPECT_EQ(Slurp(home / "Profiler.ini"), " 1.5 \r\n .5 \r\n 2 \r\n");
    EXPECT_NE(run.Out.find("Single Tile DE Limit is -->\t1.50\n"), std::string::npos) << run.Out;

    // Out of range: refused, the file is left as it was.
    run = Tintara(home, "tolerances --single 2 --average 7");
    EXPECT_EQ(run.Status, 1);
    EXPECT_NE(run.Err.find("between 0.01 and 5.00"), std::string::npos) << run.Err;
    EXPECT_EQ(Slurp(home / "Profiler.ini"), " 1.5 \r\n .5 \r\n 2 \r\n");
    EXPECT_EQ(Tintara(home, "tolerances --average 0.009").Status, 1);
    EXPECT_EQ(Tintara(home, "tolerances --single abc").Status, 2);
    EXPECT_EQ(Tintara(home, "tolerances --space xyz").Status, 2);

    run = Tintara(home, "tolerances --average 5 --space cielab");
    ASSERT_EQ(run.Status, 0) << run.Err;
    EXPECT_EQ(Slurp(home / "Profiler.ini"), " 1.5 \r\n 5 \r\n 0 \r\n");
    run = Tintara(home, "tolerances");
    EXPECT_TRUE(run.Err.empty()) << run.Err;
    EXPECT_NE(run.Out.find("Average Tile DE Limit -->\t5.00\n"), std::string::npos) << run.Out;
}

}  // namespace
}  // namespace tintara
