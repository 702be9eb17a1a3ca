// A large two-angle fandeck pair and its coefficient file, made from the demo data, for timing.
#pragma once

#include <filesystem>
#include <string>

#include "engine/ProfileSequence.h"
#include "engine/Utility.h"
#include "files/CCFReadWrite.h"
#include "files/DemoData.h"
#include "files/RWSaveSet.h"
#include "files/SaveSetLibrary.h"

namespace tintara::bench {

struct LargeFandeckFiles {
    std::filesystem::path ccf, master, target;
};

// The demo fandeck stretched to `records` records, each copy nudged so that no two are the same.
inline SaveSetData Stretch(const SaveSetData& small, int records) {
    SaveSetData big = small;
    big.Records.clear();
    big.Records.reserve(static_cast<std::size_t>(records));
    for (int r = 0; r < records; ++r) {
        SaveSetRecord record = small.Records[static_cast<std::size_t>(r) % small.Records.size()];
        record.Name = "Sample " + std::to_string(r + 1);
        const double nudge = 1.0 + 1e-4 * static_cast<double>(r / small.Records.size());
        for (auto& curve : record.Curves) {
            for (double& v : curve)
                v *= nudge;
        }
        big.Records.push_back(std::move(record));
    }
    return big;
}

// Writes into dir the demo's tile sets profiled in SCI and SCE into demo.ccf, and the demo's
// Master and Target fandecks stretched to `records` records.
inline LargeFandeckFiles WriteLargeFandeck(const std::filesystem::path& dir, int records) {
    std::filesystem::create_directories(dir);
    const auto files = WriteDemoData(dir);
    LargeFandeckFiles out;
    out.ccf = dir / "demo.ccf";
    for (const bool sci : {true, false}) {
        GlobalVariables ws;
        ws.GeometryChoice = sci;
        RWSaveSet reader(ws);
        bool failed = false;
        reader.ReadWSVRecord(files[0].string(), true, failed);
        reader.ReadWSVRecord(files[1].string(), false, failed);
        Utility utility(ws);
        ProfileSequence(utility);
        CCFReadWrite(ws).WriteCoeficcients(out.ccf);
    }
    const DemoSaveSets demo = MakeDemoData();
    const std::string suffix = "-" + std::to_string(records) + ".wsv";
    out.master = dir / ("master" + suffix);
    out.target = dir / ("target" + suffix);
    StoreSaveSet(Stretch(demo.MasterFandeck, records), out.master);
    StoreSaveSet(Stretch(demo.TargetFandeck, records), out.target);
    return out;
}

}  // namespace tintara::bench
