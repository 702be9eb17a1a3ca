// Plots beside the result grid: one tile's or sample's curves, and raw against final DE per tile.
#pragma once

#include <QWidget>
#include <vector>

#include "workspace/GlobalVariables.h"

class QChart;
class QChartView;
class QLabel;

namespace tintara::gui {

// One named curve of 40 reflectances (percent) at 360, 370, .. 750 nm.
struct SpectralCurve {
    QString Name;
    std::vector<double> Values;
};

// The curves of tile `tile` the workspace holds: Master, Target and, once the coefficients are
// calculated, the Target after each correction phase. Empty when the tile is out of range.
std::vector<SpectralCurve> TileCurves(const GlobalVariables& ws, int tile);

// The curves of fandeck sample `sample` in geometry `angle` (0 SCI, 1 SCE; a single-geometry
// fandeck uses its one): Master, Target and the corrected Target where a conversion made one,
// each read from its file. Throws Error naming the file when one cannot be read or has changed.
std::vector<SpectralCurve> SampleCurves(const GlobalVariables& ws, int sample, int angle);

// The panel: a line chart of curves (x: wavelength in nm, y: reflectance %) above a bar chart of
// raw and final DE per tile of the correlation grid.
class SpectralPlots : public QWidget {
    Q_OBJECT
  public:
    explicit SpectralPlots(QWidget* parent = nullptr);

    void ShowCurves(const QString& title, const std::vector<SpectralCurve>& curves);
    // Raw DE and, once calculated, final DE of every tile; the bar chart hides when there are no
    // tiles.
    void ShowTileDifferences(const GlobalVariables& ws);
    void HideTileDifferences();

    QChart* CurveChart() const { return m_curveChart; }
    QChart* DifferenceChart() const { return m_deChart; }
    QChartView* DifferenceView() const { return m_deView; }

  private:
    QChart* m_curveChart;
    QChartView* m_curveView;
    QChart* m_deChart;
    QChartView* m_deView;
};

}  // namespace tintara::gui
