#include "gui/SpectralPlots.h"

#include <QBarCategoryAxis>
#include <QBarSeries>
#include <QBarSet>
#include <QChart>
#include <QChartView>
#include <QLineSeries>
#include <QPainter>
#include <QPen>
#include <QVBoxLayout>
#include <QValueAxis>
#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

#include "files/FandeckFile.h"

namespace tintara::gui {

namespace {

constexpr double kFirstWavelength = 360.0;
constexpr double kWavelengthStep = 10.0;

std::vector<double> MatrixRow(const Matrix& m, int row) {
    if (row < 0 || static_cast<std::size_t>(row) >= m.Rows() || m.Cols() < kPointCount)
        return {};
    const double* values = m.Row(static_cast<std::size_t>(row));
    return std::vector<double>(values, values + kPointCount);
}

void AddIfPresent(std::vector<SpectralCurve>& curves, const QString& name,
                  std::vector<double> values) {
    if (values.size() == static_cast<std::size_t>(kPointCount))
        curves.push_back(SpectralCurve{name, std::move(values)});
}

QChart* MakeChart(const QString& title) {
    auto* chart = new QChart;
    chart->setTitle(title);
    chart->legend()->setAlignment(Qt::AlignBottom);
    QFont legendFont = chart->legend()->font();
    legendFont.setPointSize(7);
    chart->legend()->setFont(legendFont);
    chart->setMargins(QMargins(4, 4, 4, 4));
    chart->setAnimationOptions(QChart::NoAnimation);
    return chart;
}

// Fixed colours, so a curve keeps its colour from one row to the next: the Master dark, the
// uncorrected Target red, the phases warm to cool as the correction proceeds.
QColor CurveColour(const QString& name) {
    static const std::array<std::pair<const char*, QColor>, 7> kColours{{
        {"Master", QColor(0x20, 0x20, 0x20)},
        {"Target", QColor(0xd6, 0x27, 0x28)},
        {"Offset", QColor(0xff, 0x7f, 0x0e)},
        {"Gain", QColor(0xbc, 0xbd, 0x22)},
        {"Linearity", QColor(0x2c, 0xa0, 0x2c)},
        {"Wavelength", QColor(0x1f, 0x77, 0xb4)},
        {"Corrected", QColor(0x1f, 0x77, 0xb4)},
    }};
    for (const auto& [key, colour] : kColours) {
        if (name == QObject::tr(key))
            return colour;
    }
    return QColor(0x94, 0x67, 0xbd);
}

void ClearChart(QChart* chart) {
    chart->removeAllSeries();
    for (QAbstractAxis* axis : chart->axes()) {
        chart->removeAxis(axis);
        delete axis;
    }
}

}  // namespace

std::vector<SpectralCurve> TileCurves(const GlobalVariables& ws, int tile) {
    std::vector<SpectralCurve> curves;
    if (tile < 0 || tile >= ws.TileCount)
        return curves;
    AddIfPresent(curves, QObject::tr("Master"), MatrixRow(ws.MasterReflectance, tile));
    AddIfPresent(curves, QObject::tr("Target"), MatrixRow(ws.TargetReflectance, tile));
    if (ws.CoefficientsCalculated) {
        AddIfPresent(curves, QObject::tr("Offset"), MatrixRow(ws.TargetAfterOffset, tile));
        AddIfPresent(curves, QObject::tr("Gain"), MatrixRow(ws.TargetAfterGain, tile));
        AddIfPresent(curves, QObject::tr("Linearity"), MatrixRow(ws.TargetAfterLinearity, tile));
        AddIfPresent(curves, QObject::tr("Wavelength"), MatrixRow(ws.TargetAfterWavelength, tile));
    }
    return curves;
}

std::vector<SpectralCurve> SampleCurves(const GlobalVariables& ws, int sample, int angle) {
    std::vector<SpectralCurve> curves;
    SampleCurveSet read = ReadSampleCurves(ws, sample, angle);
    AddIfPresent(curves, QObject::tr("Master"), std::move(read.Master));
    AddIfPresent(curves, QObject::tr("Target"), std::move(read.Target));
    AddIfPresent(curves, QObject::tr("Corrected"), std::move(read.Corrected));
    return curves;
}

SpectralPlots::SpectralPlots(QWidget* parent)
    : QWidget(parent),
      m_curveChart(MakeChart(tr("Reflectance"))),
      m_curveView(new QChartView(m_curveChart, this)),
      m_deChart(MakeChart(tr("DE per tile: raw and final"))),
      m_deView(new QChartView(m_deChart, this)) {
    setObjectName(QStringLiteral("SpectralPlots"));
    m_curveView->setObjectName(QStringLiteral("CurveChart"));
    m_deView->setObjectName(QStringLiteral("DifferenceChart"));
    for (QChartView* view : {m_curveView, m_deView}) {
        view->setRenderHint(QPainter::Antialiasing);
        view->setMinimumSize(240, 260);
    }
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(2, 2, 2, 2);
    layout->addWidget(m_curveView, 3);
    layout->addWidget(m_deView, 2);
    m_deView->hide();
}

void SpectralPlots::ShowCurves(const QString& title, const std::vector<SpectralCurve>& curves) {
    ClearChart(m_curveChart);
    m_curveChart->setTitle(title);
    double low = 0.0;
    double high = 0.0;
    bool first = true;
    for (const SpectralCurve& curve : curves) {
        auto* series = new QLineSeries;
        series->setName(curve.Name);
        series->setPen(QPen(CurveColour(curve.Name), curve.Name == tr("Master") ? 2.0 : 1.5));
        for (std::size_t p = 0; p < curve.Values.size(); ++p) {
            const double value = curve.Values[p];
            series->append(kFirstWavelength + kWavelengthStep * static_cast<double>(p), value);
            if (std::isfinite(value)) {
                low = first ? value : std::min(low, value);
                high = first ? value : std::max(high, value);
                first = false;
            }
        }
        m_curveChart->addSeries(series);
    }
    auto* x = new QValueAxis;
    x->setRange(kFirstWavelength, kFirstWavelength + kWavelengthStep * (kPointCount - 1));
    x->setTickType(QValueAxis::TicksDynamic);
    x->setTickAnchor(400.0);
    x->setTickInterval(50.0);
    x->setLabelFormat(QStringLiteral("%.0f"));
    x->setTitleText(tr("Wavelength (nm)"));
    auto* y = new QValueAxis;
    const double margin = std::max(0.5, (high - low) * 0.05);
    y->setRange(std::max(0.0, low - margin), high + margin);
    y->setLabelFormat(QStringLiteral("%.1f"));
    y->setTitleText(tr("Reflectance (%)"));
    m_curveChart->addAxis(x, Qt::AlignBottom);
    m_curveChart->addAxis(y, Qt::AlignLeft);
    for (QAbstractSeries* series : m_curveChart->series()) {
        series->attachAxis(x);
        series->attachAxis(y);
    }
}

void SpectralPlots::ShowTileDifferences(const GlobalVariables& ws) {
    ClearChart(m_deChart);
    const int tiles = ws.TileCount;
    if (tiles <= 0 || ws.RawDE.Rows() < static_cast<std::size_t>(tiles) || ws.RawDE.Cols() < 4) {
        m_deView->hide();
        return;
    }
    const bool final =
        ws.CoefficientsCalculated && ws.FinalDE.Rows() >= ws.RawDE.Rows() && ws.FinalDE.Cols() >= 4;
    auto* raw = new QBarSet(tr("Raw DE"));
    auto* corrected = final ? new QBarSet(tr("Final DE")) : nullptr;
    QStringList categories;
    double high = 0.0;
    for (int t = 0; t < tiles; ++t) {
        const double r = ws.RawDE(static_cast<std::size_t>(t), 3);
        *raw << r;
        high = std::max(high, r);
        if (corrected != nullptr) {
            const double f = ws.FinalDE(static_cast<std::size_t>(t), 3);
            *corrected << f;
            high = std::max(high, f);
        }
        categories << QString::number(t + 1);
    }
    auto* series = new QBarSeries;
    series->append(raw);
    if (corrected != nullptr)
        series->append(corrected);
    m_deChart->addSeries(series);
    auto* x = new QBarCategoryAxis;
    x->append(categories);
    x->setTitleText(tr("Tile"));
    QFont small = font();
    small.setPointSize(6);
    x->setLabelsFont(small);
    x->setLabelsAngle(-90);
    x->setTruncateLabels(false);
    auto* y = new QValueAxis;
    y->setRange(0.0, std::isfinite(high) && high > 0.0 ? high * 1.1 : 1.0);
    y->setLabelFormat(QStringLiteral("%.2f"));
    y->setTitleText(tr("DE"));
    m_deChart->addAxis(x, Qt::AlignBottom);
    m_deChart->addAxis(y, Qt::AlignLeft);
    series->attachAxis(x);
    series->attachAxis(y);
    m_deView->show();
}

void SpectralPlots::HideTileDifferences() {
    ClearChart(m_deChart);
    m_deView->hide();
}

}  // namespace tintara::gui
