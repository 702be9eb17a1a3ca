// tintara-grid-bench [SAMPLES]: times the performance grid of a large comparison on screen (lay
// out and fill, first paint, scroll to the end, page through) and the heap it adds, on Qt's
// offscreen platform unless QT_QPA_PLATFORM names another. Default 1,000,000 samples.
#include <QApplication>
#include <QScrollBar>
#include <QWidget>

#include <malloc.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

#include "LargeComparison.h"
#include "gui/GridView.h"
#include "report/CompareReport.h"
#include "report/Paint.h"
#include "workspace/GlobalVariables.h"

namespace {

using Clock = std::chrono::steady_clock;

double Ms(Clock::time_point from) {
    return std::chrono::duration<double, std::milli>(Clock::now() - from).count();
}

// Bytes the allocator has handed out and not had back.
double HeapMb() {
    const struct mallinfo2 info = mallinfo2();
    return static_cast<double>(info.uordblks + info.hblkhd) / (1024.0 * 1024.0);
}

double RssMb() {
    std::ifstream status("/proc/self/status");
    std::string key;
    while (status >> key) {
        if (key == "VmRSS:") {
            double kb = 0;
            status >> kb;
            return kb / 1024.0;
        }
        status.ignore(1 << 12, '\n');
    }
    return 0.0;
}

}  // namespace

int main(int argc, char** argv) {
    const int samples = argc > 1 ? std::atoi(argv[1]) : 1000000;
    if (samples <= 0) {
        std::fprintf(stderr, "usage: tintara-grid-bench [SAMPLES]\n");
        return 2;
    }
    if (std::getenv("QT_QPA_PLATFORM") == nullptr)
        ::setenv("QT_QPA_PLATFORM", "offscreen", 1);
    QApplication app(argc, argv);

    using namespace tintara;
    GlobalVariables ws;
    ws.TwipsPerPixel = 15;
    bench::FillLargeComparison(ws, samples);

    const double heapBefore = HeapMb();
    const double rssBefore = RssMb();
    ResultGridModel grid;
    Paint paint(ws, grid);
    paint.Window = GridArea{15000, 12000, 600, 300};
    PerformanceView performance(paint);
    performance.WriteReport = false;

    auto start = Clock::now();
    paint.BuildEmptyPerformanceGrid(samples + 2);
    performance.ShowSCIPerformanceData();
    const double fillMs = Ms(start);

    QWidget window;
    window.resize(1000, 800);
    start = Clock::now();
    gui::GridView view(grid, ws.TwipsPerPixel, &window);
    window.show();
    QApplication::processEvents();
    view.viewport()->repaint();
    const double showMs = Ms(start);

    QScrollBar& bar = *view.verticalScrollBar();
    start = Clock::now();
    bar.setValue(bar.maximum());
    view.viewport()->repaint();
    const double endMs = Ms(start);

    bar.setValue(0);
    constexpr int kPages = 1000;
    start = Clock::now();
    for (int page = 0; page < kPages; ++page) {
        bar.triggerAction(QAbstractSlider::SliderPageStepAdd);
        view.viewport()->repaint();
    }
    const double pageMs = Ms(start) / kPages;

    const double heapAfter = HeapMb();
    std::printf("samples %d, grid rows %d, rows on show %d\n", samples, grid.Rows(),
                view.rowAt(view.viewport()->height() - 1) - view.rowAt(0) + 1);
    std::printf("lay out and fill %.1f ms, show %.1f ms, scroll to end %.1f ms, page %.3f ms\n",
                fillMs, showMs, endMs, pageMs);
    std::printf("heap added %.1f MB (%.1f bytes per sample), RSS added %.1f MB\n",
                heapAfter - heapBefore, (heapAfter - heapBefore) * 1048576.0 / samples,
                RssMb() - rssBefore);
    std::printf("last row: %s\n", grid.TextMatrix(samples, 0).c_str());
    return 0;
}
