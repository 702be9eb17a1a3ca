// tintara import, export and demo, run as the user runs them.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "files/Cgats.h"
#include "files/DemoData.h"
#include "files/SaveSetLibrary.h"
#include "support/TestPaths.h"

namespace tintara {
namespace {

std::string Quote(const std::filesystem::path& p) {
    return "'" + p.string() + "'";
}

int Tintara(const std::string& arguments, std::string* out = nullptr, std::string* err = nullptr) {
    return test::RunCommand(Quote(test::CliPath()) + " " + arguments, out, err);
}

std::string Slurp(const std::filesystem::path& p) {
    std::ifstream in(p, std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

// The file without its CREATED line, which carries the clock.
std::string WithoutCreated(const std::string& text) {
    std::istringstream in(text);
    std::string line, out;
    while (std::getline(in, line)) {
        if (line.rfind("CREATED ", 0) != 0)
            out += line + "\n";
    }
    return out;
}

TEST(InterchangeCli, ImportSaysWhatItFoundAndStoresTheSaveSet) {
    const auto dir = test::ScratchDir("ImportCli");
    const auto out = dir / "chart.wsv";
    std::string stdout_, stderr_;
    ASSERT_EQ(Tintara("import " + Quote(test::DataPath("cgats/argyll-chart.ti3")) + " -o " +
                          Quote(out) + " --instrument 186 --status RCIIXX --company 'Acme Tiles'",
                      &stdout_, &stderr_),
              0)
        << stderr_;
    for (const char* expected : {"SPEC_380 .. SPEC_730", "percent", "380-730 nm, step 10 nm",
                                 "first value repeated", "X-Rite Ci7800", "6 records"}) {
        EXPECT_NE(stdout_.find(expected), std::string::npos) << expected << "\n" << stdout_;
    }
    const SaveSetData stored = LoadSaveSet(out);
    EXPECT_EQ(stored, ImportCgats(test::DataPath("cgats/argyll-chart.ti3"),
                                  ImportOptions{186, "RCIIXX", "Acme Tiles"}));
}

TEST(InterchangeCli, AMalformedFileIsRefusedWithItsLineAndNothingIsWritten) {
    const auto dir = test::ScratchDir("ImportCliBad");
    const auto bad = dir / "bad.txt";
    std::ofstream(bad, std::ios::binary)
        << "CGATS.17\r\nNUMBER_OF_FIELDS 3\r\nBEGIN_DATA_FORMAT\r\nSAMPLE_ID nm400 nm410\r\n"
           "END_DATA_FORMAT\r\nNUMBER_OF_SETS 2\r\nBEGIN_DATA\r\n1 50 51\r\n2 52 x\r\nEND_DATA\r\n";
    const auto out = dir / "out.wsv";
    std::string stderr_;
    EXPECT_EQ(Tintara("import " + Quote(bad) + " -o " + Quote(out), nullptr, &stderr_), 1);
    EXPECT_NE(stderr_.find("bad.txt: line 9: nm410 is \"x\""), std::string::npos) << stderr_;
    EXPECT_FALSE(std::filesystem::exists(out));

    // An earlier save set under the output name survives the failed import.
    const auto earlier = dir / "earlier.wsv";
    ASSERT_EQ(Tintara("import " + Quote(test::DataPath("cgats/argyll-spectrum.sp")) + " -o " +
                      Quote(earlier)),
              0);
    const std::string before = Slurp(earlier);
    EXPECT_EQ(Tintara("import " + Quote(bad) + " -o " + Quote(earlier)), 1);
    EXPECT_EQ(Slurp(earlier), before);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir), {}), 2);

    EXPECT_EQ(Tintara("import " + Quote(bad)), 2);  // no -o
    EXPECT_EQ(Tintara("import " + Quote(bad) + " -o x.wsv --instrument 18x"), 2);
}

TEST(InterchangeCli, DemoIsTheSameRunToRunAndExportsToCgatsThatImportsBack) {
    const auto dir = test::ScratchDir("DemoCli");
    std::string stdout_, stderr_;
    ASSERT_EQ(Tintara("demo --dir " + Quote(dir / "a"), &stdout_, &stderr_), 0) << stderr_;
    ASSERT_EQ(Tintara("demo --dir " + Quote(dir / "b")), 0);
    for (const char* name :
         {"master-tiles.wsv", "target-tiles.wsv", "master-fandeck.wsv", "target-fandeck.wsv"}) {
        EXPECT_NE(stdout_.find(name), std::string::npos) << name;
        const auto a = dir / "a" / name;
        const auto b = dir / "b" / name;
        ASSERT_TRUE(std::filesystem::exists(a) && std::filesystem::exists(b)) << name;
        // Two separate processes: the same curves to the last bit, as their lossless exports show.
        const std::string stem = std::filesystem::path(name).stem().string();
        ASSERT_EQ(Tintara("export " + Quote(a) + " -o " + Quote(dir / (stem + "-a.txt"))), 0);
        ASSERT_EQ(Tintara("export " + Quote(b) + " -o " + Quote(dir / (stem + "-b.txt"))), 0);
        const std::string textA = Slurp(dir / (stem + "-a.txt"));
        EXPECT_EQ(WithoutCreated(textA), WithoutCreated(Slurp(dir / (stem + "-b.txt")))) << name;

        const SaveSetData stored = LoadSaveSet(a);
        std::istringstream in(textA);
        const SaveSetData back = ImportCgats(in, name);
        ASSERT_EQ(back.Records.size(), stored.Records.size());
        EXPECT_EQ(back.NumAngles, 2);
        EXPECT_EQ(back.Status, stored.Status);
        EXPECT_EQ(back.Instrument, stored.Instrument);
        for (std::size_t r = 0; r < back.Records.size(); ++r) {
            EXPECT_EQ(back.Records[r].Name, stored.Records[r].Name);
            EXPECT_EQ(back.Records[r].Curves, stored.Records[r].Curves);
        }
    }
    EXPECT_EQ(LoadSaveSet(dir / "a" / "target-tiles.wsv"), MakeDemoData().TargetTiles);
}

TEST(InterchangeCli, ExportOfAMissingSaveSetFails) {
    const auto dir = test::ScratchDir("ExportCliMissing");
    std::string stderr_;
    EXPECT_EQ(Tintara("export " + Quote(dir / "none.wsv") + " -o " + Quote(dir / "x.txt"), nullptr,
                      &stderr_),
              1);
    EXPECT_NE(stderr_.find("none.wsv"), std::string::npos) << stderr_;
    EXPECT_FALSE(std::filesystem::exists(dir / "x.txt"));
}

}  // namespace
}  // namespace tintara
