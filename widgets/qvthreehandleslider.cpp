#include "qvthreehandleslider.h"

#include <QEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QToolTip>

#include <algorithm>
#include <cmath>

namespace {
constexpr double kTwoTo64 = 18446744073709551616.0;

// Double to unsigned 64-bit that saturates instead of being undefined past the top of the range.
uint64_t saturate(double v) {
    if (!(v > 0.0))
        return 0;
    if (v >= kTwoTo64)
        return UINT64_MAX;
    return static_cast<uint64_t>(v);
}

uint64_t saturatingAdd(uint64_t a, uint64_t b) {
    return b > UINT64_MAX - a ? UINT64_MAX : a + b;
}
} // namespace

QvThreeHandleSlider::QvThreeHandleSlider(QWidget* parent) : QWidget(parent) {}

QvThreeHandleSlider::QvThreeHandleSlider(QWidget* parent, Qt::Orientation orientation, int handleType)
    : QWidget(parent), m_orientation(orientation), m_handleType(handleType) {
    m_maximum = UINT64_MAX;
    m_range = m_maximum - m_minimum;
    m_fillRadius = handleType == 3 ? 0 : 5;
    m_lowerValue = 0;
    m_upperValue = UINT64_MAX;
    m_centerValue = (m_upperValue - m_lowerValue) >> 1;
    applyColors();
    setAttribute(Qt::WA_MouseTracking);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    setMinimumHeight(30);
}

QSize QvThreeHandleSlider::minimumSizeHint() const {
    return QSize(2 * kHandleLength, kHandleLength);
}

int QvThreeHandleSlider::trackLength() const {
    return m_orientation == Qt::Horizontal ? width() : height();
}

float QvThreeHandleSlider::fraction(uint64_t value) const {
    return static_cast<float>(static_cast<double>(value - m_minimum) / static_cast<double>(m_range));
}

int QvThreeHandleSlider::trackStart(const QRect& r) const {
    return m_orientation == Qt::Horizontal ? r.x() : r.y();
}

QRect QvThreeHandleSlider::handleRect(int position, int thickness, int length) const {
    // The vertical form keeps width = length and height = thickness, like the horizontal one.
    if (m_orientation == Qt::Horizontal)
        return QRect(position, (height() - thickness) / 2, length, thickness);
    return QRect((width() - thickness) / 2, position, length, thickness);
}

QRect QvThreeHandleSlider::lowerHandleRect() const {
    const int travel = m_handleType == 3 ? trackLength() - 2 * kHandleLength - kCenterLength
                                         : trackLength() - 2 * kHandleLength;
    const int start = static_cast<int>(static_cast<float>(travel) * fraction(m_lowerValue));
    return handleRect(start, kHandleThickness, kHandleLength);
}

QRect QvThreeHandleSlider::upperHandleRect() const {
    const bool three = m_handleType == 3;
    const int travel = three ? trackLength() - 2 * kHandleLength - kCenterLength : trackLength() - 2 * kHandleLength;
    const int start = static_cast<int>(static_cast<float>(travel) * fraction(m_upperValue)) + kHandleLength +
                      (three ? kCenterLength : 0);
    return handleRect(start, kHandleThickness, kHandleLength);
}

QRect QvThreeHandleSlider::centerHandleRect() const {
    const bool three = m_handleType == 3;
    const int travel = three ? trackLength() - 2 * kHandleLength - kCenterLength : trackLength() - kCenterSpan;
    const int start = static_cast<int>(static_cast<float>(travel) * fraction(m_centerValue)) +
                      (three ? kHandleLength : kCenterOffset);
    return handleRect(start, kCenterThickness, kCenterLength);
}

uint64_t QvThreeHandleSlider::valueFromOffset(uint64_t position) const {
    const double divisor = static_cast<double>(trackLength() - 2 * kHandleLength);
    return saturatingAdd(m_minimum, saturate(static_cast<double>(position) / divisor * static_cast<double>(m_range)));
}

uint64_t QvThreeHandleSlider::valueAtPosition(int64_t position) const {
    if (m_handleType & 1)
        position -= kCenterSpan / 2;
    return valueFromOffset(static_cast<uint64_t>(position));
}

uint64_t QvThreeHandleSlider::clampToRange(uint64_t value) const {
    value = std::min(value, m_upperValue);
    return std::max(value, m_lowerValue);
}

uint64_t QvThreeHandleSlider::lowerBound() const {
    return m_handleType == 3 ? m_lowerValue : m_minimum;
}

uint64_t QvThreeHandleSlider::upperBound() const {
    return m_handleType == 3 ? m_upperValue : m_maximum;
}

float QvTimeline::rateAt(uint64_t t) const {
    if (isEmpty() || t < startUs)
        return 0;
    const uint64_t i = (t - startUs) / bucketUs;
    return i < static_cast<uint64_t>(eventsPerSecond.size()) ? eventsPerSecond[static_cast<qsizetype>(i)] : 0;
}

void QvThreeHandleSlider::setTimeline(QvTimeline timeline) {
    m_timeline = std::move(timeline);
    m_strip = QImage(); // drawn anew on the next paint
    m_timelinePeak = m_timeline.eventsPerSecond.isEmpty()
                         ? 0
                         : *std::max_element(m_timeline.eventsPerSecond.cbegin(), m_timeline.eventsPerSecond.cend());
    update();
}

QString QvThreeHandleSlider::timelineTipAt(int position) const {
    if (m_timeline.isEmpty())
        return {};
    const uint64_t t = clampToRange(valueAtPosition(position));
    QString text = tr("%1 us").arg(t);
    if (m_timeline.wallClockAtStart.isValid() && t >= m_timeline.startUs)
        text += QStringLiteral("  ") + m_timeline.wallClockAtStart.addMSecs(static_cast<qint64>((t - m_timeline.startUs) / 1000))
                                           .toString(QStringLiteral("yyyy-MM-dd HH:mm:ss.zzz"));
    const double rate = m_timeline.rateAt(t);
    text += QLatin1Char('\n') + (rate >= 1e6 ? tr("%1 Mev/s").arg(rate / 1e6, 0, 'f', 2)
                                            : tr("%1 kev/s").arg(rate / 1e3, 0, 'f', 1));
    return text;
}

void QvThreeHandleSlider::addMark(uint64_t value, const QColor& color) {
    m_marks.append({value, color});
    update();
}

void QvThreeHandleSlider::clearMarks() {
    m_marks.clear();
    update();
}

void QvThreeHandleSlider::setHandleType(int type) {
    m_handleType = type;
    m_fillRadius = type == 3 ? 0 : 5;
    m_upperValue = m_maximum;
    m_lowerValue = m_minimum;
    emit lowerValueChanged(m_lowerValue);
    emit upperValueChanged(m_upperValue);
}

void QvThreeHandleSlider::setLowerValue(uint64_t value) {
    value = m_handleType == 3 ? std::min(value, m_centerValue) : std::min(value, m_maximum);
    m_lowerValue = std::max(value, m_minimum);
    update();
}

void QvThreeHandleSlider::setUpperValue(uint64_t value) {
    value = m_handleType == 3 ? std::max(value, m_centerValue) : std::max(value, m_minimum);
    m_upperValue = std::min(value, m_maximum);
    update();
}

void QvThreeHandleSlider::setCenterValue(uint64_t value) {
    m_centerValue = clampToRange(value);
    update();
}

void QvThreeHandleSlider::setMinimum(uint64_t aMinimum) {
    m_minimum = aMinimum;
    m_range = m_maximum - aMinimum; // unsigned on purpose: a minimum above the maximum wraps
    update();
    setLowerValue(m_minimum);
    update();
    emit rangeChanged(m_minimum, m_maximum);
}

void QvThreeHandleSlider::setMaximum(uint64_t aMaximum) {
    m_maximum = aMaximum;
    m_range = aMaximum - m_minimum;
    update();
    setUpperValue(m_maximum);
    update();
    emit rangeChanged(m_minimum, m_maximum);
}

void QvThreeHandleSlider::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton)
        return;
    const QPoint pos = event->position().toPoint();
    const int p = m_orientation == Qt::Horizontal ? pos.x() : pos.y();
    const QRect center = centerHandleRect();
    const QRect lower = lowerHandleRect();
    const QRect upper = upperHandleRect();
    // The centre handle wins where it overlaps the others, so the play position can always be
    // grabbed. The rectangles are tested whether or not the handle is drawn.
    if (center.contains(pos)) {
        m_centerPressed = true;
        m_dragOffset = p - kCenterSpan / 2 - trackStart(center);
    } else if (lower.contains(pos)) {
        m_lowerPressed = true;
        m_dragOffset = p - kHandleLength / 2 - trackStart(lower);
    } else if (upper.contains(pos)) {
        m_upperPressed = true;
        m_dragOffset = p - kHandleLength / 2 - trackStart(upper);
    } else {
        m_centerValue = clampToRange(valueAtPosition(p));
        update();
        emit centerValueTrackClick(m_centerValue);
    }
}

void QvThreeHandleSlider::mouseMoveEvent(QMouseEvent* event) {
    if (event->buttons() == Qt::NoButton) {
        // Hovering: where in the recording the pointer is, and how busy it is there.
        const QPoint pos = event->position().toPoint();
        const QString tip = timelineTipAt(m_orientation == Qt::Horizontal ? pos.x() : pos.y());
        if (!tip.isEmpty())
            QToolTip::showText(event->globalPosition().toPoint(), tip, this);
        return;
    }
    if (!(event->buttons() & Qt::LeftButton))
        return;
    const QPoint pos = event->position().toPoint();
    const int64_t p = m_orientation == Qt::Horizontal ? pos.x() : pos.y();
    const uint64_t rel = static_cast<uint64_t>(p - m_dragOffset); // unsigned from here on
    const double divisor = static_cast<double>(trackLength() - 2 * kHandleLength);
    const auto valueOf = [&](uint64_t offsetPos) {
        return saturatingAdd(m_minimum, saturate(static_cast<double>(offsetPos) / divisor * static_cast<double>(m_range)));
    };

    if (m_lowerPressed && (m_handleType & 2)) {
        if (p < 0)
            return;
        const uint64_t centerStart = static_cast<uint64_t>(static_cast<int64_t>(trackStart(centerHandleRect())));
        const uint64_t v = rel + kCenterOffset <= centerStart ? valueOf(rel - kCenterOffset) : m_centerValue;
        setLowerValue(v);
        emit lowerValueChanged(m_lowerValue);
    } else if (!m_upperPressed || m_handleType < 3) {
        if (!(m_centerPressed && (m_handleType & 1)))
            return;
        if (m_handleType == 3) {
            const int64_t from = trackStart(lowerHandleRect()) + kHandleLength;
            const int64_t to = trackStart(upperHandleRect());
            if (p >= from && p <= to) {
                m_centerValue = clampToRange(valueAtPosition(static_cast<int64_t>(rel)));
                update();
                emit centerValueMove(m_centerValue);
            } else {
                m_centerValue = clampToRange(m_centerValue);
                update();
            }
        } else {
            // Compared with the widget's own geometry in its parent, as the slider always has.
            if (p < x() || p > x() + width())
                return;
            m_centerValue = clampToRange(valueAtPosition(static_cast<int64_t>(rel)));
            update();
            emit centerValueMove(m_centerValue);
        }
    } else {
        const uint64_t centerEnd =
            static_cast<uint64_t>(static_cast<int64_t>(trackStart(centerHandleRect()))) + kCenterSpan;
        const uint64_t v = centerEnd <= rel ? valueOf(rel - kCenterOffset - kHandleLength) : m_centerValue;
        setUpperValue(v);
        emit upperValueChanged(m_upperValue);
    }
}

void QvThreeHandleSlider::mouseReleaseEvent(QMouseEvent*) {
    m_lowerPressed = m_upperPressed = m_centerPressed = false;
}

void QvThreeHandleSlider::changeEvent(QEvent* event) {
    if (event->type() == QEvent::EnabledChange)
        applyColors();
    QWidget::changeEvent(event);
}

void QvThreeHandleSlider::applyColors() {
    const bool on = isEnabled();
    m_activeColor = QColor(QStringLiteral("#004B6A"));
    m_inactiveColor = QColor(QStringLiteral("#C7C7C7"));
    m_currentColor = on ? m_activeColor : m_inactiveColor;
    m_fillColor = on ? QColor(QStringLiteral("#004B6A")) : QColor(QStringLiteral("#C7C7C7"));
    m_lowerColor = m_fillColor;
    m_upperColor = m_fillColor;
    m_centerFillColor = on ? QColor(QStringLiteral("#FFFFFF")) : QColor(QStringLiteral("#C7C7C7"));
    m_centerOutlineColor = on ? QColor(QStringLiteral("#004B6A")) : QColor(QStringLiteral("#707070"));
    update();
}

void QvThreeHandleSlider::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    const bool horizontal = m_orientation == Qt::Horizontal;
    const QRect groove = horizontal
                             ? QRect(0, (height() - kGrooveThickness) / 2, width(), kGrooveThickness)
                             : QRect((width() - kGrooveThickness) / 2, 0, kGrooveThickness, height());
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    if (horizontal)
        paintTimeline(painter);
    painter.setBrush(QColor(208, 208, 208));
    painter.drawRoundedRect(groove, 5, 5);

    QRect fill = groove;
    if (m_handleType == 3) {
        const QRect lower = lowerHandleRect();
        const QRect upper = upperHandleRect();
        if (m_handleType & 2) {
            painter.setBrush(m_lowerColor);
            painter.drawRoundedRect(lower, kHandleRadius, kHandleRadius);
        }
        if ((m_handleType & 2) && (m_handleType & 1)) {
            painter.setBrush(m_upperColor);
            painter.drawRoundedRect(upper, kHandleRadius, kHandleRadius);
        }
        if (horizontal) {
            fill.setLeft(lower.right());
            fill.setRight(upper.left());
        } else {
            fill.setTop(lower.bottom());
            fill.setBottom(upper.top());
        }
    }
    painter.setBrush(m_fillColor);
    painter.drawRoundedRect(fill, m_fillRadius, m_fillRadius);

    const int length = trackLength();
    const int center = horizontal ? height() / 2 : width() / 2;
    for (const auto& [value, color] : m_marks) {
        if (value < m_minimum || value > m_maximum)
            continue;
        QPen pen(color, 1, Qt::SolidLine, Qt::SquareCap, Qt::BevelJoin);
        painter.setPen(pen);
        const int pos = static_cast<int>(static_cast<float>(length - 2 * kHandleLength) * fraction(value));
        int half = kGrooveThickness / 2 - 1;
        // Inside a rounded end the tick is kept short so that it stays within the groove.
        if (pos < m_fillRadius || pos > length - m_fillRadius)
            half = std::abs(m_fillRadius - half);
        if (horizontal)
            painter.drawLine(pos, center - half, pos, center + half);
        else
            painter.drawLine(center - half, pos, center + half, pos);
    }

    if (m_handleType & 1) {
        painter.setPen(QPen(m_centerOutlineColor, 1));
        painter.setBrush(m_centerFillColor);
        painter.drawRoundedRect(centerHandleRect(), kCenterRadius, kCenterRadius);
    }
}

void QvThreeHandleSlider::paintTimeline(QPainter& painter) {
    if (m_timeline.isEmpty() || m_range == 0 || m_range == UINT64_MAX)
        return;
    const bool on = isEnabled();
    if (m_strip.size() != size() || m_stripRange != qMakePair(m_minimum, m_maximum) || m_stripEnabled != on)
        rebuildStrip();
    painter.drawImage(0, 0, m_strip);
}

void QvThreeHandleSlider::rebuildStrip() {
    // Drawn once into an image whenever the timeline, the range, the size or the enabled state
    // change, pixel by pixel; every repaint then only copies it. The strip spans the track as the
    // handles do; its height is the rate relative to the peak, a band around the groove from the
    // widget's top to its bottom. One value a pixel column, the busiest bucket in it, so a short
    // burst never disappears between pixels.
    m_stripRange = qMakePair(m_minimum, m_maximum);
    m_stripEnabled = isEnabled();
    m_strip = QImage(size(), QImage::Format_ARGB32_Premultiplied);
    m_strip.fill(Qt::transparent);
    const int length = trackLength() - 2 * kHandleLength;
    const int h = height();
    if (length <= 0 || h <= 0 || m_timelinePeak <= 0)
        return;
    const auto columnOf = [&](uint64_t t) {
        return t <= m_minimum ? 0.0
                              : static_cast<double>(length) * static_cast<double>(t - m_minimum) / static_cast<double>(m_range);
    };
    std::vector<float> column(static_cast<size_t>(length) + 1, 0.0f);
    const QVector<float>& rates = m_timeline.eventsPerSecond;
    for (qsizetype i = 0; i < rates.size(); ++i) {
        const uint64_t t = m_timeline.startUs + static_cast<uint64_t>(i) * m_timeline.bucketUs;
        const int x0 = static_cast<int>(std::min(columnOf(t), double(length)));
        const int x1 = static_cast<int>(std::min(columnOf(t + m_timeline.bucketUs), double(length)));
        for (int x = x0; x <= std::max(x1 - 1, x0); ++x)
            column[static_cast<size_t>(x)] = std::max(column[static_cast<size_t>(x)], rates[i]);
    }
    // Premultiplied colours: the brand colour (or grey when disabled) at low opacity, and red.
    const QRgb fill = m_stripEnabled ? qPremultiply(qRgba(0x00, 0x4B, 0x6A, 70)) : qPremultiply(qRgba(0xC7, 0xC7, 0xC7, 110));
    const QRgb red = qPremultiply(qRgba(0xFF, 0x60, 0x58, 170));
    const double mid = h / 2.0;
    const int width = m_strip.width();
    for (int x = 0; x <= length && x + kHandleLength < width; ++x) {
        const int half = static_cast<int>(column[static_cast<size_t>(x)] / m_timelinePeak * (mid - 1) + 0.5);
        for (int y = std::max(0, static_cast<int>(mid) - half); y < std::min(h, static_cast<int>(mid) + half); ++y)
            reinterpret_cast<QRgb*>(m_strip.scanLine(y))[x + kHandleLength] = fill;
    }
    // Errors and lost data: red over the full height, at least a pixel wide.
    for (const auto& [from, to] : m_timeline.badRanges) {
        if (to <= m_minimum || from > m_maximum)
            continue;
        const int x0 = static_cast<int>(columnOf(std::max(from, m_minimum))) + kHandleLength;
        const int x1 = std::max(x0 + 1, static_cast<int>(columnOf(std::min(to, m_maximum))) + kHandleLength);
        for (int y = 0; y < h; ++y) {
            QRgb* row = reinterpret_cast<QRgb*>(m_strip.scanLine(y));
            for (int x = std::max(0, x0); x < std::min(width, x1); ++x)
                row[x] = red;
        }
    }
}
