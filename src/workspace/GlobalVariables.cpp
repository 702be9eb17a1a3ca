#include "workspace/GlobalVariables.h"

#include "workspace/StatusCode.h"

namespace tintara {

std::optional<ReferenceTiles> ReferenceTilesFor(int tileCount) {
    // Deliberately per size, not searched for by lightness. 32 tiles use the 16-tile row.
    switch (tileCount) {
        case 16:
            return ReferenceTiles{0, 1, 2, 4, 8};
        case 28:
            return ReferenceTiles{1, 12, 8, 6, 4};
        case 32:
            return ReferenceTiles{0, 1, 2, 4, 8};
        case 48:
            return ReferenceTiles{4, 7, 6, 5, 0};
        default:
            return std::nullopt;
    }
}

GlobalVariables::GlobalVariables() {
    GainCoefficients.fill(1.0);
    LinearityCoefficients.fill(1.0);
    for (auto& weights : WavelengthCoefficients)
        weights = {0.0, 1.0, 0.0};
    DimensionTileArrays(0);
}

void GlobalVariables::DimensionTileArrays(int16_t tileCount) {
    TileCount = tileCount;
    const std::size_t tiles = static_cast<std::size_t>(tileCount) + 1;
    for (Matrix* m :
         {&MasterReflectance, &TargetReflectance, &TargetSpareReflectance, &TargetAfterOffset,
          &TargetAfterGain, &TargetAfterLinearity, &TargetAfterWavelength}) {
        m->Resize(tiles, kPointCount);
    }
    for (Matrix* m : {&MasterFineSpectrum, &TargetFineSpectrum, &GainFineSpectrum,
                      &OffsetFineSpectrum, &LinearityFineSpectrum, &WavelengthFineSpectrum}) {
        m->Resize(tiles, kFinePointCount);
    }
    RawDE.Resize(tiles, 4);
    FinalDE.Resize(tiles, 4);
    for (std::vector<double>* v : {&OffsetDE, &GainDE, &LinearityDE, &WavelengthDE}) {
        v->assign(tiles, 0.0);
    }
    TileNames.assign(tiles, std::string());
}

bool GlobalVariables::SetReferenceTiles(int16_t tileCount) {
    const auto tiles = ReferenceTilesFor(tileCount);
    if (!tiles)
        return false;
    GainTile = tiles->GainTile;
    OffsetTile = tiles->OffsetTile;
    LinearityTileA = tiles->LinearityTileA;
    LinearityTileB = tiles->LinearityTileB;
    LinearityTileC = tiles->LinearityTileC;
    return true;
}

void GlobalVariables::InitializeVariables() {
    for (int t = 0; t <= TileCount && t < static_cast<int>(TileNames.size()); ++t) {
        for (int c = 0; c < 4; ++c)
            RawDE(t, c) = 0.0;
        GainDE[t] = 0.0;
        OffsetDE[t] = 0.0;
        LinearityDE[t] = 0.0;
        WavelengthDE[t] = 0.0;
        TileNames[t].clear();
    }
    OffsetCoefficients.fill(0.0);
    GainCoefficients.fill(1.0);
    LinearityCoefficients.fill(1.0);
    for (auto& weights : WavelengthCoefficients)
        weights = {0.0, 1.0, 0.0};
    MasterStatus = StatusCode::kReset;
    TargetStatus = StatusCode::kReset;
}

}  // namespace tintara
