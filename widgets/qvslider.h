#pragma once
// A QSlider that jumps to where the track is clicked and says so with trackClicked(value).
// A press on the handle itself also starts the usual drag.
// Thread rules: GUI thread only.

#include <QSlider>

class QvSlider : public QSlider {
    Q_OBJECT
public:
    explicit QvSlider(QWidget* parent = nullptr);
    explicit QvSlider(Qt::Orientation orientation, QWidget* parent = nullptr);

signals:
    void trackClicked(int value);

protected:
    void mousePressEvent(QMouseEvent* event) override;
};
