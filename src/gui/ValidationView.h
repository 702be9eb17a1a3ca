// The plot dock's "Validation" page: the validation report's table and plots, drawn on screen.
#pragma once

#include <QScrollArea>
#include <vector>

#include "report/PageDescription.h"

class QLabel;
class QVBoxLayout;

namespace tintara::gui {

// Shows the pages of a validation report one below the other, scaled to the page's width (never
// narrower than kMinimumWidth pixels, scrolled sideways then), redrawn when the width changes.
class ValidationView : public QScrollArea {
    Q_OBJECT
  public:
    static constexpr int kMinimumWidth = 440;

    explicit ValidationView(QWidget* parent = nullptr);

    void ShowDocument(const PageDescription& document);
    const PageDescription& Document() const { return m_document; }
    // The drawn pages, for the tests.
    const std::vector<QLabel*>& PageLabels() const { return m_labels; }

  protected:
    void resizeEvent(QResizeEvent* event) override;

  private:
    void Redraw();

    PageDescription m_document;
    QWidget* m_content;
    QVBoxLayout* m_layout;
    std::vector<QLabel*> m_labels;
    int m_drawnWidth = 0;
};

}  // namespace tintara::gui
