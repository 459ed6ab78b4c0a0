#include "qvgraphicsview.h"

#include <QWheelEvent>

QvGraphicsView::QvGraphicsView(QWidget* parent) : QGraphicsView(parent) {
    setDragMode(QGraphicsView::ScrollHandDrag);
    setResizeAnchor(QGraphicsView::NoAnchor);
    setTransformationAnchor(QGraphicsView::AnchorUnderMouse);
    setContentsMargins(0, 0, 0, 0);
    setStyleSheet(QStringLiteral("border: 0px;"));
}

void QvGraphicsView::wheelEvent(QWheelEvent* event) {
    // The limit is checked before scaling, so the last step in may pass 50x by up to 1.1x.
    if (event->angleDelta().y() >= 1) {
        if (m_maximumZoom > m_zoom) {
            scale(kZoomStep, kZoomStep);
            m_zoom *= kZoomStep;
        }
    } else if (m_zoom > m_minimumZoom) {
        scale(1.0 / kZoomStep, 1.0 / kZoomStep);
        m_zoom /= kZoomStep;
    }
    event->accept(); // never scroll with the wheel
}

void QvGraphicsView::mouseDoubleClickEvent(QMouseEvent* event) {
    m_zoom = 1.0;
    if (scene())
        fitInView(scene()->sceneRect(), Qt::KeepAspectRatio);
    QGraphicsView::mouseDoubleClickEvent(event);
}

void QvGraphicsView::resizeEvent(QResizeEvent* event) {
    m_zoom = 1.0;
    QGraphicsView::resizeEvent(event);
}
