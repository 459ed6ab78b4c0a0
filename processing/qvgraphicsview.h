#pragma once
// The zoomable view of the event image: the wheel zooms by 1.1 per step between the fitted size
// (1.0) and 50x, a double-click fits the picture again, and a picture larger than the view is
// panned by dragging. Zoom is counted from the last fit.
// Thread rules: GUI thread only.

#include <QGraphicsView>

class QvGraphicsView : public QGraphicsView {
    Q_OBJECT
public:
    static constexpr double kZoomStep = 1.1;
    static constexpr double kMinimumZoom = 1.0;
    static constexpr double kMaximumZoom = 50.0;

    explicit QvGraphicsView(QWidget* parent = nullptr);

    double zoom() const { return m_zoom; }
    /// Forgets the zoom: the picture was just fitted anew.
    void resetZoom() { m_zoom = 1.0; }

protected:
    void wheelEvent(QWheelEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    double m_zoom = 1.0;
    double m_minimumZoom = kMinimumZoom;
    double m_maximumZoom = kMaximumZoom;
};
