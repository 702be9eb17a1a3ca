#include "engine/ProfileSequence.h"

#include "workspace/NumberFormat.h"

namespace tintara {

void ProfileSequence(Utility& utility, PhaseDisplay* display) {
    GlobalVariables& ws = utility.Workspace();
    ProgressSink& events = utility.Progress();
    const bool show = ws.ShowPhaseProgress && display != nullptr;
    const int tiles = ws.TileCount;

    // Every later phase column starts from the value just computed, so a phase that changes
    // nothing shows the previous value.
    std::vector<double>* const columns[4] = {&ws.OffsetDE, &ws.GainDE, &ws.LinearityDE,
                                             &ws.WavelengthDE};
    const auto carryForward = [&](int first, const auto& value) {
        for (int i = 1; i <= tiles; ++i) {
            for (int c = first; c < 4; ++c)
                (*columns[c])[i] = value(i);
        }
    };

    utility.GetRawDE();
    if (show) {
        display->RefreshDisplay();
        display->IndicateCell(1);
    }
    events.LetEventsRun();
    carryForward(0, [&](int i) { return ws.RawDE(i, 3); });
    for (int i = 1; i <= tiles; ++i)
        ws.FinalDE(i, 3) = ws.RawDE(i, 3);

    void (Utility::*const phases[3])() = {&Utility::CalculateOffset, &Utility::CalculateGain,
                                          &Utility::CalculateLinearity};
    for (int p = 0; p < 3; ++p) {
        if (show)
            display->IndicateCell(p + 2);
        (utility.*phases[p])();
        if (show)
            display->RefreshDisplay();
        events.LetEventsRun();
        carryForward(p + 1, [&](int i) { return (*columns[p])[i]; });
    }
    // Column 5 is never marked by this run.

    utility.CalculateWavelength();
    if (show)
        display->RefreshDisplay();
    events.LetEventsRun();

    utility.GenerateSpectralData();
    if (show)
        display->IndicateCell(6);
    events.LetEventsRun();
}

std::vector<std::vector<std::string>> CorrelationGridRows(const GlobalVariables& ws) {
    const int tiles = ws.TileCount;
    // Columns follow the phase order; the arrays' order in memory does not matter here.
    auto de = [&ws](int column, int t) -> double {
        switch (column) {
            case 0:
                return ws.RawDE(t, 3);
            case 1:
                return ws.OffsetDE[t];
            case 2:
                return ws.GainDE[t];
            case 3:
                return ws.LinearityDE[t];
            case 4:
                return ws.WavelengthDE[t];
            default:
                return ws.FinalDE(t, 3);
        }
    };
    std::vector<std::vector<std::string>> rows;
    rows.push_back(
        {"Tile Name", "Raw DE", "Phase #1", "Phase #2", "Phase #3", "Phase #4", "Final DE"});
    std::vector<std::string> average{"Average DE"};
    for (int c = 0; c < 6; ++c) {
        // One entry more than the rows show (the extra slot), divided by TileCount + 1.
        double sum = 0.0;
        for (int t = 0; t <= tiles; ++t)
            sum += de(c, t);
        average.push_back(Format(sum / (tiles + 1), "##0.00"));
    }
    rows.push_back(std::move(average));
    for (int t = 0; t < tiles; ++t) {
        std::vector<std::string> row{t < static_cast<int>(ws.TileNames.size()) ? ws.TileNames[t]
                                                                               : std::string()};
        for (int c = 0; c < 6; ++c)
            row.push_back(Format(de(c, t), "##0.00"));
        rows.push_back(std::move(row));
    }
    return rows;
}

}  // namespace tintara
