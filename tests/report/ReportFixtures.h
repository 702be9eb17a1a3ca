// Hand-filled workspaces for the report tests: a profiled tile set and a compared fandeck.
#pragma once

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "workspace/GlobalVariables.h"

namespace tintara::test {

// Both instruments identified as after loading two tile sets and the header dialog.
inline void FillHeaders(GlobalVariables& ws) {
    ws.MasterType = "Datacolor SF600 Plus-CT";  // longer than 20 characters
    ws.MasterStatus = "LAIIUX";
    ws.MasterSerial = "M-4471";
    ws.MasterCompany = "Harbour Paints";
    ws.MasterOperator = "J. Okafor";
    ws.MasterTileSetSerial = "BCRA-0932";
    ws.MasterDate = "03/14/2024";
    ws.TargetType = "Color-Eye 7000A";
    ws.TargetStatus = "LAIIUX";
    ws.TargetSerial = "T-1185";
    ws.TargetCompany = "Harbour Paints";
    ws.TargetOperator = "M. Lind";
    ws.TargetTileSetSerial = "BCRA-0932";
    ws.TargetDate = "03/15/2024";
}

// A profiled tile set of `tiles` tiles with varied signs and magnitudes in every column. The
// extra slot at index TileCount holds a large DE so that averages over the wrong range show.
inline void FillTiles(GlobalVariables& ws, int tiles = 32) {
    ws.DimensionTileArrays(static_cast<int16_t>(tiles));
    FillHeaders(ws);
    for (int i = 0; i <= tiles; ++i) {
        ws.TileNames[i] = i < tiles ? "Tile " + std::to_string(i + 1) : "";
        const double base = 0.137 * (i + 1);
        ws.RawDE(i, 0) = (i % 3 == 0 ? -1.0 : 1.0) * (0.05 + 0.21 * i);
        ws.RawDE(i, 1) = (i % 2 == 0 ? -0.5 : 0.5) * base;
        ws.RawDE(i, 2) = 0.31 - 0.02 * i;
        ws.RawDE(i, 3) = 0.4 + base;
        ws.OffsetDE[i] = 0.9 * ws.RawDE(i, 3);
        ws.GainDE[i] = 0.7 * ws.RawDE(i, 3);
        ws.LinearityDE[i] = 0.5 * ws.RawDE(i, 3);
        ws.WavelengthDE[i] = 0.3 * ws.RawDE(i, 3);
        for (int k = 0; k < 3; ++k)
            ws.FinalDE(i, k) = -0.1 * ws.RawDE(i, k);
        ws.FinalDE(i, 3) = 0.25 * ws.RawDE(i, 3);
    }
    ws.RawDE(tiles, 3) = 50.0;
    ws.FinalDE(tiles, 3) = 20.0;
}

// A compared fandeck of `count` samples. Corrected SCI DE of sample s is `sciDe(s)`; the other
// groups are derived so that every group differs. Row `count` holds the averages.
template <typename DeOf>
void FillSamples(GlobalVariables& ws, int count, DeOf sciDe) {
    FillHeaders(ws);
    ws.SampleCount = count;
    ws.SampleNames.assign(count, "");
    ws.SampleDeltas.Resize(count + 1, kSampleDeltaColumns);
    for (int s = 0; s < count; ++s) {
        ws.SampleNames[s] = "Sample " + std::to_string(s + 1);
        const double de = sciDe(s);
        for (int g = 0; g < 4; ++g) {
            const double scale = 1.0 + 0.5 * g;  // SCI raw, SCI corrected, SCE raw, SCE corrected
            const int first = g * 4;
            const double groupDe = g == 1 ? de : de * scale;
            ws.SampleDeltas(s, first + 0) = -0.6 * groupDe;
            ws.SampleDeltas(s, first + 1) = 0.48 * groupDe;
            ws.SampleDeltas(s, first + 2) = (s % 2 ? -0.64 : 0.64) * groupDe;
            ws.SampleDeltas(s, first + 3) = groupDe;
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

// Splits a CR LF text into lines; a bare LF or a missing final CR LF shows as "<LF>" / "<EOF>".
inline std::vector<std::string> CrLfLines(const std::string& text) {
    std::vector<std::string> lines;
    std::size_t start = 0;
    while (start < text.size()) {
        const auto end = text.find("\r\n", start);
        if (end == std::string::npos) {
            lines.push_back(text.substr(start) + "<EOF>");
            break;
        }
        std::string line = text.substr(start, end - start);
        if (line.find('\n') != std::string::npos)
            line += "<LF>";
        lines.push_back(line);
        start = end + 2;
    }
    return lines;
}

}  // namespace tintara::test
