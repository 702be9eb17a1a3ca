// Progress and "let events run" callbacks that long core work reports through.
#pragma once

namespace tintara {

// Implemented by the GUI (progress bar, event processing) and by the command line (nothing or a
// progress line). The core never opens a window; it only calls these.
class ProgressSink {
  public:
    virtual ~ProgressSink() = default;
    virtual void SetProgressMaximum(long /*maximum*/) {}
    virtual void SetProgressValue(long /*value*/) {}
    virtual void AdvanceProgress(long /*steps*/ = 1) {}
    // Lets pending window events run (repaint); a no-op outside the GUI.
    virtual void LetEventsRun() {}
};

// A sink that ignores everything, for callers that want no progress.
inline ProgressSink& NullProgress() {
    static ProgressSink sink;  // stateless
    return sink;
}

}  // namespace tintara
