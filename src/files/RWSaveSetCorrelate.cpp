// Fandeck conversion: a Target fandeck corrected record by record with the coefficient file in use.
#include <cmath>
#include <cstring>
#include <exception>

#include "files/RWSaveSet.h"
#include "workspace/Error.h"

namespace tintara {

namespace {

// Progress is reported in batches: a report per record would cost more than the correction.
constexpr std::size_t kProgressBatch = 1024;

const char* GeometryName(Geometry g) {
    return g == Geometry::SCI ? "SCI" : "SCE";
}

bool Finite(const double* curve) {
    double sum = 0.0;
    for (int w = 0; w < kPointCount; ++w)
        sum += curve[w] * 0.0;  // NaN or inf poison the sum
    return sum == 0.0;
}

}  // namespace

void RWSaveSet::ReadProfileCoefficients() {
    ProfileCorrector corrector;
    corrector.ReadCoefficientFile(m_ws.CoefficientFile);
    m_corrector = corrector;
}

int16_t RWSaveSet::ReadFandeckandBuildCorrelatedData(const std::string& file,
                                                     ProgressSink& progress) {
    m_correlationWarning.clear();
    m_lastError.clear();
    try {
        ReadProfileCoefficients();
    } catch (const std::exception& e) {
        m_lastError = e.what();
        return kCorrelationUnreadable;
    }
    if (!ReadFandeck(file, false))
        return kCorrelationUnreadable;

    const GlobalVariables::FandeckIdentity& fandeck = m_ws.TargetFandeck;
    const auto records = fandeck.Names.size();
    if (m_ws.MasterSaveSetLoaded && m_ws.MasterFandeckReflectance.Records() != records) {
        m_lastError = file + " holds " + std::to_string(records) +
                      " records and the Master fandeck " +
                      std::to_string(m_ws.MasterFandeckReflectance.Records());
        return kCorrelationRecordMismatch;
    }
    const CoefficientFileContents& coefficients = m_corrector.Contents();
    if (fandeck.InstrumentID != coefficients.Target.InstrumentID) {
        m_lastError = file + " was measured on instrument " + std::to_string(fandeck.InstrumentID) +
                      ", the coefficient file profiles instrument " +
                      std::to_string(coefficients.Target.InstrumentID);
        return kCorrelationInstrumentMismatch;
    }

    // What each angle position holds and whether the file can correct it.
    struct Position {
        bool held = false;
        Geometry geometry = Geometry::SCI;
        bool apply = false;
    };
    Position positions[2];
    if (fandeck.AngleCount >= 2) {
        positions[0] = {true, Geometry::SCI, false};
        positions[1] = {true, Geometry::SCE, false};
    } else {
        const char c = fandeck.Status.size() >= 3 ? fandeck.Status[2] : 'I';
        positions[0] = {true, c == 'I' || c == 'B' ? Geometry::SCI : Geometry::SCE, false};
    }
    for (Position& p : positions) {
        if (!p.held)
            continue;
        p.apply = m_corrector.HasGeometry(p.geometry);
        if (!p.apply) {
            const std::string name = GeometryName(p.geometry);
            m_correlationWarning = "The coefficient file holds no " + name + " coefficients: the " +
                                   name + " curves of the fandeck were copied unchanged";
        }
    }

    const FandeckCurves& target = m_ws.TargetFandeckReflectance;
    FandeckCurves& corrected = m_ws.CorrelatedFandeckReflectance;
    corrected.Resize(records, kMaxAngles);
    progress.SetProgressMaximum(static_cast<long>(records));
    progress.SetProgressValue(0);
    for (std::size_t r = 0; r < records; ++r) {
        for (std::size_t a = 0; a < kMaxAngles; ++a) {
            const double* in = target.Curve(r, a);
            double* out = corrected.Curve(r, a);
            if (positions[a].apply) {
                m_corrector.Correct(positions[a].geometry, in, out);
                if (!Finite(out)) {
                    m_lastError = "The coefficient file " + m_ws.CoefficientFile +
                                  " turns record " + std::to_string(r + 1) + " (" +
                                  fandeck.Names[r] +
                                  ") into values that are not numbers; its gain-tile readings "
                                  "must not be zero";
                    corrected.Resize(0, kMaxAngles);
                    return kCorrelationUnreadable;
                }
            } else {
                std::memcpy(out, in, sizeof(double) * kPointCount);
            }
        }
        if ((r + 1) % kProgressBatch == 0) {
            progress.SetProgressValue(static_cast<long>(r + 1));
            progress.LetEventsRun();
        }
    }
    progress.SetProgressValue(static_cast<long>(records));
    m_ws.ConversionDone = true;
    m_ws.CorrelatedFandeckReady = true;
    m_ws.ConvertedFandeckFile = fandeck.File;
    return kCorrelationDone;
}

}  // namespace tintara
