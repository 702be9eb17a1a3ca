// The engine's colour-difference step: hands the two work spectra to the colour-matching
// component and copies its answers into the workspace.
#include <span>

#include "engine/Utility.h"

namespace tintara {

Utility::Utility(GlobalVariables& ws, ProgressSink& progress) : m_ws(ws), m_progress(progress) {
    PLM.SetColorSpace(ws.ColorSpace);
}

void Utility::ResetArrays() {
    // One element each, as the component expects; it sizes them itself.
    m_ws.DeltaArrayA.assign(1, 0.0);
    m_ws.DeltaArrayB.assign(1, 0.0);
    m_ws.DEResult.assign(1, 0.0);
}

void Utility::FillDeltaArray() {
    PLM.GetDifferenceVector(0, m_ws.DEResult);
    PLM.GetDeltaArray2(0, m_ws.DeltaArrayB);
    PLM.GetDeltaArray1(0, m_ws.DeltaArrayA);
}

void Utility::ReCalcDE() {
    ResetArrays();
    PLM.SetStandardSpectrum(m_ws.MasterWorkSpectrum);
    PLM.SetTrialSpectrum(m_ws.SampleWorkSpectrum);
    FillDeltaArray();
}

}  // namespace tintara
