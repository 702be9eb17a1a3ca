#include "gui/ValidationView.h"

#include <QImage>
#include <QLabel>
#include <QPainter>
#include <QPixmap>
#include <QResizeEvent>
#include <QVBoxLayout>
#include <algorithm>
#include <cmath>

#include "render/PageRenderer.h"

namespace tintara::gui {

ValidationView::ValidationView(QWidget* parent)
    : QScrollArea(parent), m_content(new QWidget), m_layout(new QVBoxLayout(m_content)) {
    setObjectName(QStringLiteral("ValidationView"));
    m_layout->setContentsMargins(2, 2, 2, 2);
    m_layout->setSpacing(6);
    m_layout->addStretch(1);
    setWidget(m_content);
    setWidgetResizable(true);
    setBackgroundRole(QPalette::Dark);
}

void ValidationView::ShowDocument(const PageDescription& document) {
    m_document = document;
    for (QLabel* label : m_labels)
        delete label;
    m_labels.clear();
    for (std::size_t i = 0; i < m_document.Pages.size(); ++i) {
        auto* label = new QLabel(m_content);
        label->setObjectName(QStringLiteral("ValidationPage%1").arg(i + 1));
        label->setAlignment(Qt::AlignHCenter | Qt::AlignTop);
        m_layout->insertWidget(static_cast<int>(i), label);
        m_labels.push_back(label);
    }
    m_drawnWidth = 0;
    Redraw();
}

void ValidationView::resizeEvent(QResizeEvent* event) {
    QScrollArea::resizeEvent(event);
    Redraw();
}

void ValidationView::Redraw() {
    const int width = std::max(kMinimumWidth, viewport()->width() - 8);
    if (width == m_drawnWidth || m_document.PageWidth <= 0)
        return;
    m_drawnWidth = width;
    const double devicePerTwip = static_cast<double>(width) / m_document.PageWidth;
    const int height = static_cast<int>(std::lround(m_document.PageHeight * devicePerTwip));
    // The image's resolution is the page's scale, so fonts in points come out at page size.
    const int dotsPerMeter = static_cast<int>(std::lround(kTwipsPerInch * devicePerTwip / 0.0254));
    for (std::size_t i = 0; i < m_labels.size(); ++i) {
        QImage image(width, height, QImage::Format_RGB32);
        image.setDotsPerMeterX(dotsPerMeter);
        image.setDotsPerMeterY(dotsPerMeter);
        image.fill(Qt::white);
        QPainter painter(&image);
        render::RenderPage(m_document, m_document.Pages[i], painter, devicePerTwip);
        painter.end();
        m_labels[i]->setPixmap(QPixmap::fromImage(image));
    }
}

}  // namespace tintara::gui
