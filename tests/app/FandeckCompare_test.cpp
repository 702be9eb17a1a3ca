// Fandecks whose curves are read from their files when used: a file changed after it was read, the
// conversion kept in the temporary folder and saved from there, a record damaged part way through.
#include "app/FandeckCompare.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>

#include "app/CommandHarness.h"
#include "app/Validation.h"
#include "files/SaveSetLibrary.h"
#include "support/SqlFile.h"
#include "workspace/Error.h"

namespace tintara {
namespace {

namespace fs = std::filesystem;
using C = CommandId;
using test::CommandHarness;

// Every box shown since the last call, detail text included.
std::string Shown(CommandHarness& h) {
    std::string text;
    for (const auto& m : h.ui.Messages)
        text += m.Title + ": " + m.Text + " [" + m.DetailText + "]\n";
    h.ui.Messages.clear();
    return text;
}

// File > Open both fandecks and the coefficient file, then Generate > Correlated SaveSet.
void CompareCorrected(CommandHarness& h, const fs::path& master, const fs::path& target) {
    h.ui.Files.insert(h.ui.Files.end(),
                      {master.string(), target.string(), test::SharedDemo().second.string()});
    h.commands->Execute(C::MasterInstrumentSaveSet);
    h.commands->Execute(C::TargetInstrumentSaveSet);
    h.commands->Execute(C::CorrelationFileMenu);
    h.commands->Execute(C::GenerateCSS);
}

// Copies of the shared demo's fandecks in the harness's folder, free to be changed.
std::pair<fs::path, fs::path> OwnFandecks(CommandHarness& h) {
    const auto& demo = test::SharedDemo().first;
    const auto master = h.folder / "master.wsv", target = h.folder / "target.wsv";
    fs::copy_file(demo.masterFandeck, master, fs::copy_options::overwrite_existing);
    fs::copy_file(demo.targetFandeck, target, fs::copy_options::overwrite_existing);
    return {master, target};
}

// The harness's own fandecks compared with the demo's coefficient file; the boxes shown are
// dropped.
std::pair<fs::path, fs::path> ComparedOwnFandecks(CommandHarness& h) {
    auto files = OwnFandecks(h);
    CompareCorrected(h, files.first, files.second);
    EXPECT_TRUE(h.ws.PerformanceDataReady) << Shown(h);
    Shown(h);
    return files;
}

TEST(FandeckCompare, AFandeckChangedAfterItWasReadIsRefusedNamingIt) {
    CommandHarness h("compare-changed-file");
    const auto [master, target] = ComparedOwnFandecks(h);
    ASSERT_TRUE(h.ws.PerformanceDataReady);
    const ValidationResult before = ValidateComparison(h.ws, Geometry::SCI);
    EXPECT_EQ(before.Samples.size(), static_cast<std::size_t>(h.ws.SampleCount));

    // Another fandeck saved under the Master's name: the numbers on show are not its numbers.
    SaveSetData changed = LoadSaveSet(master);
    changed.Records[3].Name += " remeasured";
    changed.Records[3].Curves[0][10] += 1.0;
    StoreSaveSet(changed, master);
    try {
        ValidateComparison(h.ws, Geometry::SCI);
        ADD_FAILURE() << "validated a changed file";
    } catch (const Error& e) {
        EXPECT_NE(std::string(e.what()).find(master.string() + " has changed"), std::string::npos)
            << e.what();
    }
    h.commands->Execute(C::GenerateCSS);
    const std::string shown = Shown(h);
    EXPECT_NE(shown.find(master.string() + " has changed"), std::string::npos) << shown;
    EXPECT_FALSE(h.ws.PerformanceDataReady);
    EXPECT_EQ(h.ws.SampleCount, 0);

    // Opened again, it is compared as it is now.
    CompareCorrected(h, master, target);
    EXPECT_TRUE(h.ws.PerformanceDataReady) << Shown(h);
}

TEST(FandeckCompare, TheConversionIsKeptInATemporaryFileAndSavedFromIt) {
    CommandHarness h("compare-temporary");
    const auto [master, target] = OwnFandecks(h);
    h.ui.Files = {target.string(), test::SharedDemo().second.string()};
    h.commands->Execute(C::TargetInstrumentSaveSet);
    h.commands->Execute(C::CorrelationFileMenu);
    h.commands->Execute(C::GenerateConvData);
    ASSERT_TRUE(h.ws.CorrelatedFandeckReady) << Shown(h);
    Shown(h);
    const fs::path first = h.ws.ConvertedCurvesFile;
    ASSERT_TRUE(fs::exists(first));
    EXPECT_EQ(first.parent_path(), fs::temp_directory_path());

    // Save cancelled: nothing is written. Saved: the conversion, byte for byte.
    const auto out = h.folder / "correlated.wsv";
    h.ui.Files = {""};
    h.commands->Execute(C::SaveCorrelatedFandeck);
    EXPECT_FALSE(fs::exists(out));
    h.ui.Files = {out.string()};
    h.commands->Execute(C::SaveCorrelatedFandeck);
    EXPECT_EQ(Shown(h), "");
    const std::string saved = test::FileBytes(out);
    EXPECT_EQ(saved, test::FileBytes(first));
    EXPECT_EQ(LoadSaveSet(out).Records.size(), LoadSaveSet(target).Records.size());

    // A save that fails keeps the earlier file.
    ::chmod(out.c_str(), 0444);
    ::chmod(h.folder.c_str(), 0555);
    h.ui.Files = {out.string()};
    h.commands->Execute(C::SaveCorrelatedFandeck);
    ::chmod(h.folder.c_str(), 0755);
    ::chmod(out.c_str(), 0644);
    if (::geteuid() != 0) {
        EXPECT_NE(Shown(h).find("correlated.wsv"), std::string::npos);
    }
    EXPECT_EQ(test::FileBytes(out), saved);

    // The next conversion replaces the temporary file; the end of the program removes it.
    h.commands->Execute(C::GenerateConvData);
    ASSERT_TRUE(h.ws.CorrelatedFandeckReady) << Shown(h);
    const fs::path second = h.ws.ConvertedCurvesFile;
    EXPECT_FALSE(fs::exists(first));
    EXPECT_TRUE(fs::exists(second));
    h.commands.reset();
    EXPECT_FALSE(fs::exists(second));
}

TEST(FandeckCompare, ADamagedRecordIsNamedAndLeavesTheWorkspaceUsable) {
    CommandHarness h("compare-damaged-record");
    const auto [master, target] = ComparedOwnFandecks(h);
    ASSERT_TRUE(h.ws.PerformanceDataReady);
    const std::string converted = test::FileBytes(h.ws.ConvertedCurvesFile);

    // Record 7 of the Target no longer matches its checksum: the conversion stops there, names
    // the file and the record, and keeps the conversion it had.
    const auto damaged = h.folder / "damaged.wsv";
    fs::copy_file(target, damaged);
    test::ExecSql(damaged, "UPDATE records SET checksum = checksum + 1 WHERE ordinal = 7;");
    h.ui.Files = {damaged.string()};
    h.commands->Execute(C::TargetInstrumentSaveSet);
    h.commands->Execute(C::GenerateCSS);
    const std::string shown = Shown(h);
    EXPECT_NE(shown.find("File Read Error"), std::string::npos) << shown;
    EXPECT_NE(shown.find(damaged.string()), std::string::npos) << shown;
    EXPECT_NE(shown.find("record 7"), std::string::npos) << shown;
    EXPECT_EQ(h.ws.TargetFandeck.File, target.string());
    EXPECT_EQ(test::FileBytes(h.ws.ConvertedCurvesFile), converted);

    // As the Master it is read whole when opened: refused then, the earlier Master kept.
    h.ui.Files = {damaged.string()};
    h.commands->Execute(C::MasterInstrumentSaveSet);
    EXPECT_NE(Shown(h).find("record 7"), std::string::npos);
    EXPECT_EQ(h.ws.MasterFandeck.File, master.string());

    // Everything still works on good files.
    CompareCorrected(h, master, target);
    EXPECT_TRUE(h.ws.PerformanceDataReady) << Shown(h);
    EXPECT_EQ(h.ws.SampleCount, h.ws.MasterFandeck.RecordCount);
}

}  // namespace
}  // namespace tintara
