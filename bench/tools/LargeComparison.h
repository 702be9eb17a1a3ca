// A comparison of any number of samples held in the workspace, as compare leaves it, for the
// grid and certificate benchmarks.
#pragma once

#include <string>

#include "workspace/GlobalVariables.h"

namespace tintara::bench {

// SampleNames "Fandeck colour N" and SampleDeltas spread over -0.2..1.8 (some over the limits of
// 1.0 per sample and 0.8 on average), averages row included.
inline void FillLargeComparison(GlobalVariables& ws, int samples) {
    ws.SingleSampleTolerance = 1.0;
    ws.AverageTolerance = 0.8;
    ws.SampleCount = samples;
    ws.SampleNames.resize(static_cast<std::size_t>(samples));
    ws.SampleDeltas.Resize(static_cast<std::size_t>(samples) + 1, kSampleDeltaColumns);
    for (int s = 0; s <= samples; ++s) {
        if (s < samples)
            ws.SampleNames[s] = "Fandeck colour " + std::to_string(s + 1);
        for (int c = 0; c < kSampleDeltaColumns; ++c)
            ws.SampleDeltas(s, c) = ((s * 7919LL + c * 104729LL) % 2000) / 1000.0 - 0.2;
    }
}

}  // namespace tintara::bench
