#pragma once
// A custom-painted slider over an unsigned 64-bit range (timestamps in microseconds) with up to
// three handles: a lower and an upper handle bounding a selected range, and a centre handle marking
// the current position inside it. Handle type 1 shows the centre handle only, type 3 all three.
// Coloured marks (trigger edges) can be hung on the groove.
//
// The geometry and value arithmetic are deliberately the slider's own contract: positions are
// converted with unsigned 64-bit arithmetic, so a press left of the track's start wraps to a huge
// value that the receiving setter clamps to the upper end; the position-to-value divisor is the
// track length less twice the handle length in every type. Callers and tests rely on these.
//
// No keyboard or wheel handling: it is driven by the mouse and by its slots.
// Thread rules: GUI thread only.

#include <QColor>
#include <QDateTime>
#include <QImage>
#include <QList>
#include <QPair>
#include <QVector>
#include <QWidget>

#include <cstdint>

/// What the whole recording looks like, drawn behind the slider's track: the event rate over time
/// and the stretches that hold decoding errors, truncated or lost data.
struct QvTimeline {
    uint64_t startUs = 0;              ///< time of the first bucket's start
    uint64_t bucketUs = 0;             ///< time each bucket spans; 0: no timeline
    QVector<float> eventsPerSecond;    ///< one value per bucket, in time order
    QVector<QPair<uint64_t, uint64_t>> badRanges; ///< [from, to) with errors or lost data
    QDateTime wallClockAtStart;        ///< local time at startUs (invalid: not known)

    bool isEmpty() const { return bucketUs == 0 || eventsPerSecond.isEmpty(); }
    /// The rate of the bucket holding `t`; 0 outside the buckets.
    float rateAt(uint64_t t) const;
};

class QvThreeHandleSlider : public QWidget {
    Q_OBJECT
public:
    static constexpr int kGrooveThickness = 10;
    static constexpr int kHandleLength = 6;
    static constexpr int kHandleThickness = 27;
    static constexpr int kHandleRadius = 3;
    static constexpr int kCenterLength = 20;
    static constexpr int kCenterThickness = 20;
    static constexpr int kCenterRadius = 10;
    static constexpr int kCenterOffset = 3;
    static constexpr int kCenterSpan = 26;

    /// Only for meta-type registration: member defaults, no colours, maximum 99999999.
    explicit QvThreeHandleSlider(QWidget* parent = nullptr);
    QvThreeHandleSlider(QWidget* parent, Qt::Orientation orientation, int handleType);

    uint64_t minimum() const { return m_minimum; }
    uint64_t maximum() const { return m_maximum; }
    uint64_t range() const { return m_range; }
    uint64_t lowerValue() const { return m_lowerValue; }
    uint64_t upperValue() const { return m_upperValue; }
    uint64_t centerValue() const { return m_centerValue; }
    int handleType() const { return m_handleType; }
    Qt::Orientation orientation() const { return m_orientation; }
    int fillCornerRadius() const { return m_fillRadius; }
    QColor fillColor() const { return m_fillColor; }
    QColor centerFillColor() const { return m_centerFillColor; }
    QColor centerOutlineColor() const { return m_centerOutlineColor; }

    /// The minimum, or the lower value in type 3.
    uint64_t lowerBound() const;
    /// The maximum, or the upper value in type 3.
    uint64_t upperBound() const;

    /// The event-rate strip and error bands painted behind the track (painting only: handles,
    /// values and signals are unaffected). Hovering the track then tells the time under the
    /// pointer and the rate there. An empty timeline removes it.
    void setTimeline(QvTimeline timeline);
    const QvTimeline& timeline() const { return m_timeline; }
    /// The tool tip text for the track position `position` (empty without a timeline).
    QString timelineTipAt(int position) const;

    void addMark(uint64_t value, const QColor& color);
    /// Removes every mark (a new recording brings its own).
    void clearMarks();
    const QList<QPair<uint64_t, QColor>>& marks() const { return m_marks; }
    void setHandleType(int type);

    /// Handle rectangles in widget coordinates, as painted and hit-tested.
    QRect lowerHandleRect() const;
    QRect upperHandleRect() const;
    QRect centerHandleRect() const;
    /// The value a press at `position` along the track stands for (before clamping).
    uint64_t valueAtPosition(int64_t position) const;

    QSize minimumSizeHint() const override;

public slots:
    void setLowerValue(uint64_t value);
    void setUpperValue(uint64_t value);
    void setCenterValue(uint64_t value);
    void setMinimum(uint64_t aMinimum);
    void setMaximum(uint64_t aMaximum);

signals:
    void lowerValueChanged(uint64_t aLowerValue);
    void upperValueChanged(uint64_t aUpperValue);
    void rangeChanged(uint64_t aMin, uint64_t aMax);
    void centerValueChanged(uint64_t center_value);
    void centerValueTrackClick(uint64_t value);
    void centerValueMove(uint64_t value);

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    int trackLength() const;
    float fraction(uint64_t value) const;
    int trackStart(const QRect& r) const;
    QRect handleRect(int position, int thickness, int length) const;
    uint64_t valueFromOffset(uint64_t position) const;
    uint64_t clampToRange(uint64_t value) const;
    void applyColors();
    void paintTimeline(QPainter& painter);
    void rebuildStrip();

    uint64_t m_minimum = 0;
    uint64_t m_maximum = 99999999;
    int m_fillRadius = 5;
    uint64_t m_lowerValue = 0;
    uint64_t m_upperValue = 0;
    uint64_t m_centerValue = 0;
    bool m_lowerPressed = false;
    bool m_upperPressed = false;
    bool m_centerPressed = false;
    uint64_t m_range = UINT64_MAX;
    int64_t m_dragOffset = 0;
    QList<QPair<uint64_t, QColor>> m_marks;
    QvTimeline m_timeline;
    float m_timelinePeak = 0;
    QImage m_strip; // the timeline as drawn for the size, range and state below
    QPair<uint64_t, uint64_t> m_stripRange;
    bool m_stripEnabled = false;

    QColor m_fillColor;
    QColor m_lowerColor;
    QColor m_upperColor;
    QColor m_centerFillColor;
    QColor m_centerOutlineColor;
    QColor m_activeColor;
    QColor m_inactiveColor;
    QColor m_currentColor;

    Qt::Orientation m_orientation = Qt::Horizontal;
    int m_handleType = 1;
};
