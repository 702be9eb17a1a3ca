// tintara-certificate-bench SAMPLES PDF: draws the performance certificate of a SAMPLES-sample
// comparison into PDF, page by page, and prints its pages, time and the peak memory it added
// above the comparison itself (maximum resident set before and after).
#include <sys/resource.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

#include "LargeComparison.h"
#include "render/PageRenderer.h"
#include "report/PrintPerformance.h"
#include "workspace/GlobalVariables.h"

namespace {

double PeakRssMb() {
    struct rusage usage {};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss / 1024.0;
}

}  // namespace

int main(int argc, char** argv) {
    const int samples = argc == 3 ? std::atoi(argv[1]) : 0;
    if (samples <= 0) {
        std::fprintf(stderr, "usage: tintara-certificate-bench SAMPLES PDF\n");
        return 2;
    }
    using namespace tintara;
    try {
        render::EnsureGuiApplication();
        GlobalVariables ws;
        bench::FillLargeComparison(ws, samples);
        const double before = PeakRssMb();
        const auto start = std::chrono::steady_clock::now();
        PrintPerformance certificate(ws);
        certificate.DateText = "2026-11-24";
        PerformanceDocument document = certificate.SCIPerformanceDocument();
        std::size_t pages = 0;
        {
            // Counted on the way to the renderer.
            struct Counting : PagedDocument {
                PagedDocument& inner;
                std::size_t& pages;
                Counting(PagedDocument& d, std::size_t& p) : inner(d), pages(p) {}
                const PageDescription& Outline() const override { return inner.Outline(); }
                void Produce(const PageSink& sink) override {
                    inner.Produce([&](Page& page) {
                        ++pages;
                        sink(page);
                    });
                }
            } counting(document, pages);
            render::WritePdf(counting, argv[2]);
        }
        const double seconds =
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        std::printf(
            "samples %d, pages %zu, %.2f s, peak RSS %.1f MB (comparison %.1f MB, "
            "certificate added %.1f MB)\n",
            samples, pages, seconds, PeakRssMb(), before, PeakRssMb() - before);
    } catch (const std::exception& e) {
        std::fprintf(stderr, "tintara-certificate-bench: %s\n", e.what());
        return 1;
    }
    return 0;
}
