#include "qvslider.h"

#include <QMouseEvent>
#include <QStyle>
#include <QStyleOptionSlider>

QvSlider::QvSlider(QWidget* parent) : QSlider(parent) {}

QvSlider::QvSlider(Qt::Orientation orientation, QWidget* parent) : QSlider(orientation, parent) {}

void QvSlider::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) {
        QSlider::mousePressEvent(event);
        return;
    }
    QStyleOptionSlider option;
    initStyleOption(&option);
    const QRect handle = style()->subControlRect(QStyle::CC_Slider, &option, QStyle::SC_SliderHandle, this);
    const bool horizontal = orientation() == Qt::Horizontal;
    const double h = horizontal ? handle.width() : handle.height();
    const double length = horizontal ? width() : height();
    const double p = horizontal ? event->position().x() : event->position().y();
    const int value = static_cast<int>(minimum() + (maximum() - minimum()) * (p - h * 0.5) / (length - h));
    setValue(value);
    emit trackClicked(value);
    if (!handle.contains(event->position().toPoint())) {
        event->accept();
        return;
    }
    QSlider::mousePressEvent(event);
}
