// Spectral preparation around the colour-matching component: the uncorrected colour difference,
// the 1 nm spectra, the workspace reset and small utilities.
#include <cmath>

#include "engine/Utility.h"
#include "workspace/Error.h"

namespace tintara {

void Utility::GetRawDE() {
    GlobalVariables& ws = m_ws;
    for (int t = 0; t <= ws.TileCount; ++t) {
        const double* master = ws.MasterReflectance.Row(t);
        const double* target = ws.TargetReflectance.Row(t);
        for (int w = 0; w < kPointCount; ++w) {
            ws.MasterWorkSpectrum[w] = master[w];
            ws.SampleWorkSpectrum[w] = target[w];
        }
        ReCalcDE();
        if (ws.DEResult.size() < 7) {
            throw ComputeError("Raw colour difference: the colour-matching component returned " +
                               std::to_string(ws.DEResult.size()) + " values for tile " +
                               std::to_string(t) + ", expected 7");
        }
        for (int c = 0; c < 3; ++c)
            ws.RawDE(t, c) = ws.DEResult[c];
        ws.RawDE(t, 3) = ws.DEResult[6];
        for (int c = 0; c < 4; ++c) {
            if (!std::isfinite(ws.RawDE(t, c))) {
                throw ComputeError("Raw colour difference: the difference of tile " +
                                   std::to_string(t) + " is not a finite number");
            }
        }
    }
}

void Utility::GenerateSpectralData() {
    GlobalVariables& ws = m_ws;
    ws.FineSpectrum.assign(kFinePointCount, 0.0);
    const std::size_t tiles = static_cast<std::size_t>(ws.TileCount) + 1;
    const std::pair<const Matrix*, Matrix*> sources[] = {
        {&ws.MasterReflectance, &ws.MasterFineSpectrum},
        {&ws.TargetReflectance, &ws.TargetFineSpectrum},
        {&ws.TargetAfterGain, &ws.GainFineSpectrum},
        {&ws.TargetAfterOffset, &ws.OffsetFineSpectrum},
        {&ws.TargetAfterLinearity, &ws.LinearityFineSpectrum},
        {&ws.TargetAfterWavelength, &ws.WavelengthFineSpectrum},
    };
    for (const auto& [source, fine] : sources) {
        if (fine->Rows() != tiles || fine->Cols() != static_cast<std::size_t>(kFinePointCount)) {
            fine->Resize(tiles, kFinePointCount);
        }
        for (std::size_t t = 0; t < tiles; ++t) {
            const double* curve = source->Row(t);
            for (int w = 0; w < kPointCount; ++w)
                ws.SampleWorkSpectrum[w] = curve[w];
            // The component interpolates its trial curve; the same curve is set as standard too.
            PLM.SetStandardSpectrum(ws.SampleWorkSpectrum);
            PLM.SetTrialSpectrum(ws.SampleWorkSpectrum);
            PLM.GetFineSpectrum(ws.FineSpectrum);
            if (ws.FineSpectrum.size() < static_cast<std::size_t>(kFinePointCount)) {
                throw ComputeError("Fine spectrum: the colour-matching component returned " +
                                   std::to_string(ws.FineSpectrum.size()) + " points, expected " +
                                   std::to_string(kFinePointCount));
            }
            double* out = fine->Row(t);
            for (int i = 0; i < kFinePointCount; ++i)
                out[i] = ws.FineSpectrum[i];
        }
    }
}

void Utility::InitializeVariables() {
    m_ws.InitializeVariables();
}

std::string Utility::ConvertBytetoString(const std::vector<uint8_t>& bytes) {
    // Byte for byte: the texts come from our own save sets, already in the program's encoding.
    std::string text;
    text.reserve(bytes.size());
    for (uint8_t b : bytes)
        text.push_back(static_cast<char>(b));
    return text;
}

}  // namespace tintara
