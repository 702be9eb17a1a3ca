// The profiling road without a window: read a tile-set pair, check it, profile it, certify it.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "files/RWSaveSet.h"
#include "report/PageDescription.h"
#include "workspace/GlobalVariables.h"

namespace tintara {

struct TilePairRequest {
    std::filesystem::path Master;
    std::filesystem::path Target;
    bool SCI = true;          // the geometry profiled (GeometryChoice)
    bool UseCentroid = true;  // false: no wavelength-weight search
};

// Reads both tile sets as the tile-set commands do (file dates, the last record's header texts
// into the Master/Target fields), refuses what the coefficient command refuses, and runs the
// profiling sequence; sets CoefficientsCalculated. Refusals are thrown as Refusal with the
// commands' titles and texts: "File Read Error" (the reader's own reason goes to *readDetail
// when given), "Status Error" for an excluded UV component, "Data Error" for a specular
// mismatch. The workspace's tolerance settings and colour space are used as they are.
void ProfileTilePair(GlobalVariables& ws, RWSaveSet& reader, const TilePairRequest& request,
                     std::string* readDetail = nullptr);

// The Certificate of Instrument Performance of the profile in the workspace on `paper`, dated
// dateText, with the watermark from the program's directory; its Warnings say what was left out
// (e.g. a missing watermark picture). The renderer draws it.
PageDescription ProfileCertificate(const GlobalVariables& ws, const std::string& dateText,
                                   const PageSetup& paper);

}  // namespace tintara
