// tintara import and export: CGATS and CxF3 in and out of save sets through the tool.
#include <gtest/gtest.h>

#include <fstream>

#include "cli/CliTest.h"
#include "files/Cgats.h"
#include "files/DemoData.h"
#include "files/SaveSetLibrary.h"

namespace tintara {
namespace {

using test::Quote;

TEST(InterchangeCommands, ImportSaysWhatItFoundExportImportsBackAndFailuresLoseNothing) {
    const auto dir = test::ScratchDir("InterchangeCommands");
    const auto run = [&](const std::string& arguments) { return test::Tintara(dir, arguments); };
    const auto chart = test::DataPath("cgats/argyll-chart.ti3");
    const test::CliRun result = run("import " + Quote(chart) + " -o " + Quote(dir / "c.wsv") +
                                    " --instrument 186 --status RCIIXX --company 'Acme'");
    ASSERT_EQ(result.Status, 0) << result.Err;
    for (const char* found : {"SPEC_380 .. SPEC_730", "percent", "380-730 nm, step 10 nm",
                              "first value repeated", "X-Rite Ci7800", "6 records"}) {
        EXPECT_NE(result.Out.find(found), std::string::npos) << found << "\n" << result.Out;
    }
    const SaveSetData imported = ImportCgats(chart, ImportOptions{186, "RCIIXX", "Acme"});
    EXPECT_EQ(LoadSaveSet(dir / "c.wsv"), imported);

    const auto tiles = WriteDemoData(dir)[0];
    ASSERT_EQ(run("export " + Quote(tiles) + " -o " + Quote(dir / "t.txt")).Status, 0);
    ASSERT_EQ(run("import " + Quote(dir / "t.txt") + " -o " + Quote(dir / "t.wsv")).Status, 0);
    // The same through CxF3, chosen by the name on export and by the content on import.
    const test::CliRun cxf = run("export " + Quote(tiles) + " -o " + Quote(dir / "t.cxf"));
    ASSERT_EQ(cxf.Status, 0) << cxf.Err;
    EXPECT_NE(cxf.Out.find("as CxF3"), std::string::npos) << cxf.Out;
    const test::CliRun back = run("import " + Quote(dir / "t.cxf") + " -o " + Quote(dir / "x.wsv"));
    ASSERT_EQ(back.Status, 0) << back.Err;
    EXPECT_NE(back.Out.find("Format: CxF3"), std::string::npos) << back.Out;
    const SaveSetData before = LoadSaveSet(tiles);
    for (const char* name : {"t.wsv", "x.wsv"}) {
        const SaveSetData after = LoadSaveSet(dir / name);
        EXPECT_EQ(std::tuple(after.NumAngles, after.Status, after.Instrument, after.Company,
                             after.Records.size()),
                  std::tuple(before.NumAngles, before.Status, before.Instrument, before.Company,
                             before.Records.size()));
        for (std::size_t r = 0; r < before.Records.size(); ++r) {
            EXPECT_EQ(after.Records.at(r).Name, before.Records[r].Name);
            EXPECT_EQ(after.Records.at(r).Curves, before.Records[r].Curves);  // to the last bit
        }
    }

    // A malformed file is refused naming its line; neither a new nor an earlier file is touched.
    std::ofstream(dir / "bad.txt", std::ios::binary)
        << "CGATS.17\r\nNUMBER_OF_FIELDS 3\r\nBEGIN_DATA_FORMAT\r\nSAMPLE_ID nm400 nm410\r\n"
           "END_DATA_FORMAT\r\nNUMBER_OF_SETS 2\r\nBEGIN_DATA\r\n1 50 51\r\n2 52 x\r\nEND_DATA\r\n";
    for (const char* out : {"new.wsv", "c.wsv"}) {
        test::ExpectFailure(dir, "import " + Quote(dir / "bad.txt") + " -o " + Quote(dir / out), 1,
                            "bad.txt: line 9: nm410 is \"x\"");
    }
    EXPECT_FALSE(std::filesystem::exists(dir / "new.wsv"));
    EXPECT_EQ(LoadSaveSet(dir / "c.wsv"), imported);
    test::ExpectFailure(dir, "export " + Quote(dir / "none.wsv") + " -o " + Quote(dir / "x.txt"), 1,
                        "none.wsv: the file does not exist");
    EXPECT_FALSE(std::filesystem::exists(dir / "x.txt"));
    test::ExpectFailure(dir, "import " + Quote(dir / "bad.txt"), 2);  // no -o
    test::ExpectFailure(dir, "import x.txt -o x.wsv --instrument 18x", 2);
    test::ExpectFailure(dir, "export x.wsv", 2);
}

TEST(InterchangeCommands, ExportNeverWritesThroughALinkLyingInWaitAndKeepsAReadOnlyTarget) {
    namespace fs = std::filesystem;
    const auto dir = test::ScratchDir("InterchangeLinks");
    const auto tiles = WriteDemoData(dir)[0];
    std::ofstream(dir / "victim.txt") << "not yours";
    // The names a careless writer would use for its temporary file.
    for (const char* name : {"t.txt.partial", ".t.txt.tmp", "t.txt.tmp"})
        fs::create_symlink(dir / "victim.txt", dir / name);
    ASSERT_EQ(test::Tintara(dir, "export " + Quote(tiles) + " -o " + Quote(dir / "t.txt")).Status,
              0);
    EXPECT_EQ(test::Slurp(dir / "victim.txt"), "not yours");
    EXPECT_FALSE(fs::is_symlink(dir / "t.txt"));
    EXPECT_NE(test::Slurp(dir / "t.txt").find("SPECTRAL_NM360"), std::string::npos);

    fs::permissions(dir / "t.txt", fs::perms::owner_read | fs::perms::group_read);
    const std::string before = test::Slurp(dir / "t.txt");
    test::ExpectFailure(dir, "export " + Quote(tiles) + " -o " + Quote(dir / "t.txt"), 1,
                        "write-protected");
    EXPECT_EQ(test::Slurp(dir / "t.txt"), before);
}

}  // namespace
}  // namespace tintara
