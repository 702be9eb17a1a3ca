// The window and the command line take one road: the same inputs through the scripted window
// commands and through tintara give the same files, byte for byte, and the same refusals.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "app/CommandHarness.h"
#include "app/FandeckCompare.h"
#include "cli/CliTest.h"
#include "engine/ProfileSequence.h"
#include "engine/Tolerances.h"
#include "files/SaveSetLibrary.h"
#if TINTARA_HAS_RENDERER
#include "render/PageRenderer.h"
#endif

namespace tintara {
namespace {

namespace fs = std::filesystem;
using C = CommandId;
using test::CommandHarness;
using test::Quote;

// The harness's fixed clock, for the command line.
const std::string kSameDay = "SOURCE_DATE_EPOCH=" + std::to_string(19800LL * 86400);

std::string Bytes(const fs::path& file) {
    std::ifstream in(file, std::ios::binary);
    EXPECT_TRUE(in.good()) << file;
    return std::string(std::istreambuf_iterator<char>(in), {});
}

// Two files hold the same bytes; a difference is reported by its offset, not by the contents.
void ExpectSameBytes(const fs::path& a, const fs::path& b) {
    const std::string x = Bytes(a), y = Bytes(b);
    if (x == y)
        return;
    std::size_t at = 0;
    while (at < x.size() && at < y.size() && x[at] == y[at])
        ++at;
    ADD_FAILURE() << a << " (" << x.size() << " bytes) and " << b << " (" << y.size()
                  << " bytes) differ from byte " << at << ": \"" << x.substr(at, 60) << "\" / \""
                  << y.substr(at, 60) << "\"";
}

// The certificate the window printed and the one the command line wrote carry the same pages:
// the same text where a reader finds it (the files' bytes differ in their creation time).
void ExpectSamePdf(const PageDescription& printed, const fs::path& window, const fs::path& cli) {
#if TINTARA_HAS_RENDERER
    render::EnsureGuiApplication();
    render::WritePdf(printed, window);
    if (test::RunCommand("pdftotext -v") != 0)
        return;
    std::string a, b;
    ASSERT_EQ(test::RunCommand("pdftotext -layout '" + window.string() + "' -", &a), 0);
    ASSERT_EQ(test::RunCommand("pdftotext -layout '" + cli.string() + "' -", &b), 0);
    EXPECT_EQ(a, b);
    EXPECT_NE(a.find("Certificate of Instrument Performance"), std::string::npos);
#else
    (void)printed, (void)window, (void)cli;
#endif
}

// The certificate options, where this build can draw certificates.
std::string CertificateOption(const fs::path& file) {
#if TINTARA_HAS_RENDERER
    return " --certificate " + test::Quote(file) + " --paper letter";
#else
    (void)file;
    return "";
#endif
}

// The window's boxes as the command line writes them: "Title: text", line breaks as "\n", the
// detail text on its own line.
std::string AsStderr(std::vector<MessageBoxRequest>& messages) {
    std::string text;
    for (const MessageBoxRequest& m : messages) {
        text += m.Title + ": " + m.Text + "\n";
        if (!m.DetailText.empty())
            text += m.DetailText + "\n";
    }
    messages.clear();
    for (auto at = text.find("\r\n"); at != std::string::npos; at = text.find("\r\n", at))
        text.erase(at, 1);
    return text;
}

std::string Tabbed(const std::vector<std::vector<std::string>>& rows) {
    std::string text;
    for (const auto& row : rows) {
        for (std::size_t c = 0; c < row.size(); ++c)
            text += (c ? "\t" : "") + row[c];
        text += "\n";
    }
    return text;
}

std::string PerformanceGridText(const GlobalVariables& ws, Geometry geometry) {
    std::ostringstream text;
    WritePerformanceGrid(ws, geometry, text);
    return text.str();
}

// Every file of a folder (not its subfolders) must be the same in the other.
void ExpectSameFiles(const fs::path& a, const fs::path& b, const std::string& ending) {
    int compared = 0;
    for (const auto& entry : fs::directory_iterator(a)) {
        const std::string name = entry.path().filename().string();
        if (!name.ends_with(ending))
            continue;
        ++compared;
        ExpectSameBytes(entry.path(), b / name);
    }
    EXPECT_GT(compared, 0) << ending;
}

// A started window and a folder for the command line's runs, both with the colour space given.
struct Road {
    CommandHarness h;
    fs::path window, cli;  // where each side writes
    explicit Road(const std::string& name, int16_t colourSpace = 0)
        : h(name), window(h.folder / "w"), cli(h.folder / "c") {
        fs::create_directories(window);
        fs::create_directories(cli);
        if (colourSpace != 0) {
            WriteTolerances(h.folder / "Profiler.ini", ToleranceSettings{0.5, 0.5, colourSpace});
            h.commands->Form_Load("");  // the window started with it
            EXPECT_EQ(h.ws.ColorSpace, colourSpace);
        }
    }
    test::CliRun Tintara(const std::string& arguments) {
        return test::Tintara(h.folder, arguments, kSameDay);
    }

    // File > Open both tile sets, Generate, File > Save the coefficient file and the component
    // report, Print > Certificate of Performance; and `tintara profile` with the same asks.
    void Profile(const fs::path& master, const fs::path& target, bool sci) {
        const std::string g = sci ? "sci" : "sce";
        h.ui.Files = {master.string(), target.string(), (window / "pair.ccf").string(),
                      (window / ("report-" + g + ".txt")).string()};
        h.ui.GeometryAnswers = {sci};
        h.ui.HeaderAnswers = {true};
        h.ui.PrintAnswers = {true};
        for (C id : {C::MasterInstrumentTileSet, C::TargetInstrumentTileSet, C::GenerateCCF,
                     C::SaveCoefficients, C::SaveProCompRep, C::ToPrinter})
            h.commands->Execute(id);
        const test::CliRun run =
            Tintara("profile --master " + Quote(master) + " --target " + Quote(target) +
                    " --geometry " + g + " --ccf " + Quote(cli / "pair.ccf") + " --results-dir " +
                    Quote(cli) + " --report " + Quote(cli / ("report-" + g + ".txt")) +
                    CertificateOption(cli / "certificate.pdf"));
        ASSERT_EQ(run.Status, 0) << run.Err;
        EXPECT_EQ(run.Err, AsStderr(h.ui.Messages));
        EXPECT_EQ(run.Out, Tabbed(CorrelationGridRows(h.ws)));
        ASSERT_EQ(h.ui.Printed.size(), 1u);
        ExpectSamePdf(h.ui.Printed.back(), window / "certificate.pdf", cli / "certificate.pdf");
        h.ui.Printed.clear();
        ExpectSameBytes(window / "pair.ccf", cli / "pair.ccf");
        ExpectSameBytes(window / ("report-" + g + ".txt"), cli / ("report-" + g + ".txt"));
        ExpectSameFiles(window, cli, "Results.wsv");
    }

    // Generate > Correlated SaveSet, Display, Print > Instrument Performance; then the legacy
    // conversion saved; and `tintara compare` and `tintara convert`. A window that has read no
    // tile sets, as the command line has not: the performance certificate's identification
    // block shows the tile sets' header fields.
    void CompareAndConvert(const test::DemoFiles& demo, const fs::path& profile) {
        // Its own copy, so that the window's current folder is its own.
        const fs::path ccf = window / "pair.ccf";
        fs::copy_file(profile, ccf);
        h.ui.Files = {demo.masterFandeck.string(), demo.targetFandeck.string(), ccf.string()};
        h.ui.PrintAnswers = {true};
        for (C id : {C::MasterInstrumentSaveSet, C::TargetInstrumentSaveSet, C::CorrelationFileMenu,
                     C::GenerateCSS, C::DisplayCommand, C::InstrumentPerformance})
            h.commands->Execute(id);
        test::CliRun run =
            Tintara("compare --master " + Quote(demo.masterFandeck) + " --target " +
                    Quote(demo.targetFandeck) + " --ccf " + Quote(ccf) + " --report " +
                    Quote(cli / "CompareReport.txt") + CertificateOption(cli / "performance.pdf"));
        ASSERT_EQ(run.Status, 0) << run.Err;
        EXPECT_EQ(run.Err, AsStderr(h.ui.Messages));
        EXPECT_EQ(run.Out, PerformanceGridText(h.ws, Geometry::SCI) +
                               VerdictLine(PerformancePassed(h.ws, Geometry::SCI)) + "\n");
        ExpectSameBytes(window / "CompareReport.txt", cli / "CompareReport.txt");
        ASSERT_EQ(h.ui.Printed.size(), 1u);
        ExpectSamePdf(h.ui.Printed.back(), window / "performance.pdf", cli / "performance.pdf");
        h.ui.Printed.clear();

        h.ui.Files = {demo.targetFandeck.string(), ccf.string(),
                      (window / "converted.wsv").string()};
        for (C id : {C::TargetInstrumentSaveSet, C::CorrelationFileMenu, C::GenerateConvData,
                     C::SaveCorrelatedFandeck})
            h.commands->Execute(id);
        run = Tintara("convert --ccf " + Quote(ccf) + " --in " + Quote(demo.targetFandeck) +
                      " --out " + Quote(cli / "converted.wsv"));
        ASSERT_EQ(run.Status, 0) << run.Err;
        EXPECT_EQ(run.Err, AsStderr(h.ui.Messages));
        ExpectSameBytes(window / "converted.wsv", cli / "converted.wsv");
    }
};

TEST(OneRoad, BothGeometriesIntoOneFileThenCompareAndConvert) {
    Road road("parity-demo");
    const test::DemoFiles demo = test::WriteSmallDemo(road.h.folder / "demo", 40);
    road.Profile(demo.masterTiles, demo.targetTiles, true);
    road.Profile(demo.masterTiles, demo.targetTiles, false);
    Road("parity-demo-fandecks").CompareAndConvert(demo, road.cli / "pair.ccf");
}

TEST(OneRoad, HunterLabAndControlCharactersInTheSerials) {
    Road road("parity-hunter", 2);
    const test::DemoFiles demo = test::WriteSmallDemo(road.h.folder / "demo", 20);
    SaveSetData target = LoadSaveSet(demo.targetTiles);
    for (SaveSetRecord& record : target.Records) {
        record.Name2 = "AV\t2024\r\n";
        record.System = "SN\t7";
    }
    StoreSaveSet(target, road.h.folder / "serials.wsv");
    road.Profile(demo.masterTiles, road.h.folder / "serials.wsv", true);
    const std::string ccf = Bytes(road.cli / "pair.ccf");
    EXPECT_NE(ccf.find("\r\nAV2024\r\n"), std::string::npos);
    Road("parity-hunter-fandecks", 2).CompareAndConvert(demo, road.cli / "pair.ccf");
}

TEST(OneRoad, AnUvExcludedTargetIsRefusedWhereTheWindowRefusesIt) {
    Road road("parity-uv");
    const test::DemoFiles demo = test::WriteSmallDemo(road.h.folder / "demo", 10);
    SaveSetData target = LoadSaveSet(demo.targetTiles);
    target.Status = "RCBEXX";
    for (SaveSetRecord& record : target.Records)
        record.Status = target.Status;
    StoreSaveSet(target, road.h.folder / "uv.wsv");

    road.h.ui.Files = {demo.masterTiles.string(), (road.h.folder / "uv.wsv").string()};
    road.h.ui.GeometryAnswers = {true};
    road.h.commands->Execute(C::MasterInstrumentTileSet);
    road.h.commands->Execute(C::TargetInstrumentTileSet);
    EXPECT_FALSE(road.h.ws.TargetTilesSelected);
    const test::CliRun run =
        road.Tintara("profile --master " + Quote(demo.masterTiles) + " --target " +
                     Quote(road.h.folder / "uv.wsv") + " --ccf " + Quote(road.cli / "x.ccf"));
    EXPECT_EQ(run.Status, 1);
    EXPECT_EQ(run.Err, AsStderr(road.h.ui.Messages));
    EXPECT_EQ(run.Err,
              "Instrument Status Error: The UV Component must be INCLUDED for Profiling\n");
    EXPECT_EQ(run.Out, "");
    EXPECT_FALSE(fs::exists(road.cli / "x.ccf"));
}

}  // namespace
}  // namespace tintara
