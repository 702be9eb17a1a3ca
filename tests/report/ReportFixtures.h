// Hand-filled workspaces for the report tests: a profiled tile set and a compared fandeck.
#pragma once

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "support/TestPaths.h"
#include "workspace/GlobalVariables.h"

namespace tintara::test {

// Both instruments identified as after loading two tile sets and the header dialog.
inline void FillHeaders(GlobalVariables& ws) {
    ws.MasterType = "Datacolor SF600 Plus-CT";  // longer than 20 characters
    ws.MasterStatus = ws.TargetStatus = "LAIIUX";
    ws.MasterSerial = "M-4471";
    ws.MasterCompany = ws.TargetCompany = "Harbour Paints";
    ws.MasterOperator = "J. Okafor";
    ws.MasterTileSetSerial = ws.TargetTileSetSerial = "BCRA-0932";
    ws.MasterDate = "03/14/2024";
    ws.TargetType = "Color-Eye 7000A";
    ws.TargetSerial = "T-1185";
    ws.TargetOperator = "M. Lind";
    ws.TargetDate = "03/15/2024";
}

// A profiled tile set of `tiles` tiles with varied signs and magnitudes in every column. The
// extra slot at index TileCount holds a large DE so that averages over the wrong range show.
inline void FillTiles(GlobalVariables& ws, int tiles = 32) {
    ws.DimensionTileArrays(static_cast<int16_t>(tiles));
    FillHeaders(ws);
    for (int i = 0; i <= tiles; ++i) {
        ws.TileNames[i] = i < tiles ? "Tile " + std::to_string(i + 1) : "";
        ws.RawDE(i, 0) = (i % 3 == 0 ? -1.0 : 1.0) * (0.05 + 0.21 * i);
        ws.RawDE(i, 1) = (i % 2 == 0 ? -0.5 : 0.5) * 0.137 * (i + 1);
        ws.RawDE(i, 2) = 0.31 - 0.02 * i;
        ws.RawDE(i, 3) = i < tiles ? 0.4 + 0.137 * (i + 1) : 50.0;
        ws.OffsetDE[i] = 0.9 * ws.RawDE(i, 3);
        ws.GainDE[i] = 0.7 * ws.RawDE(i, 3);
        ws.LinearityDE[i] = 0.5 * ws.RawDE(i, 3);
        ws.WavelengthDE[i] = 0.3 * ws.RawDE(i, 3);
        for (int k = 0; k < 3; ++k)
            ws.FinalDE(i, k) = -0.1 * ws.RawDE(i, k);
        ws.FinalDE(i, 3) = i < tiles ? 0.25 * ws.RawDE(i, 3) : 20.0;
    }
}

// A compared fandeck of `count` samples. Corrected SCI DE of sample s is `sciDe(s)`; the groups
// SCI raw, SCE raw and SCE corrected scale it by 1.5, 2 and 2.5. Row `count` holds the averages.
template <typename DeOf>
void FillSamples(GlobalVariables& ws, int count, DeOf sciDe) {
    FillHeaders(ws);
    ws.SampleCount = count;
    ws.SampleNames.assign(count, "");
    ws.SampleDeltas.Resize(count + 1, kSampleDeltaColumns);
    for (int s = 0; s < count; ++s) {
        ws.SampleNames[s] = "Sample " + std::to_string(s + 1);
        constexpr double kScale[4] = {1.5, 1.0, 2.0, 2.5};
        for (int g = 0; g < 4; ++g) {
            const double de = sciDe(s) * kScale[g];
            const double parts[4] = {-0.6 * de, 0.48 * de, (s % 2 ? -0.64 : 0.64) * de, de};
            for (int k = 0; k < 4; ++k)
                ws.SampleDeltas(s, g * 4 + k) = parts[k];
        }
    }
    for (int c = 0; c < kSampleDeltaColumns; ++c) {
        double sum = 0.0;
        for (int s = 0; s < count; ++s)
            sum += ws.SampleDeltas(s, c);
        ws.SampleDeltas(count, c) = count > 0 ? sum / count : 0.0;
    }
}

inline std::string ReadFile(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

}  // namespace tintara::test
