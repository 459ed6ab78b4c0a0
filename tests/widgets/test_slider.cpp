#include "qvslider.h"
#include "qvtestenv.h"
#include "qvthreehandleslider.h"

#include <QApplication>

namespace {

// A slider whose track is 412 px long, so positions map to values over L - 12 = 400 px.
struct Track {
    QWidget host;
    QvThreeHandleSlider* slider;
    explicit Track(int type, uint64_t min = 0, uint64_t max = 400) {
        host.resize(600, 60);
        slider = new QvThreeHandleSlider(&host, Qt::Horizontal, type);
        slider->setGeometry(0, 0, 412, 40);
        slider->setMinimum(min);
        slider->setMaximum(max);
        host.show();
    }
    void press(int x) { QTest::mousePress(slider, Qt::LeftButton, {}, QPoint(x, 20)); }
    void moveTo(int x) {
        QMouseEvent e(QEvent::MouseMove, QPointF(x, 20), slider->mapToGlobal(QPointF(x, 20)), Qt::NoButton,
                      Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(slider, &e);
    }
    void release(int x) { QTest::mouseRelease(slider, Qt::LeftButton, {}, QPoint(x, 20)); }
};

int redPixelsInGroove(QvThreeHandleSlider* s) {
    const QImage img = s->grab().toImage();
    int red = 0;
    for (int x = 0; x < img.width(); ++x)
        for (int y = 0; y < img.height(); ++y) {
            const QColor c = img.pixelColor(x, y);
            // The 1-px antialiased tick blends with the fill; what is left is clearly reddish.
            if (c.red() > c.green() + 40 && c.red() > c.blue() + 30)
                ++red;
        }
    return red;
}

} // namespace

class SliderTest : public QObject {
    Q_OBJECT
private slots:
    void freshCentreOnlySliderSpansTheWhole64BitRange() {
        QvThreeHandleSlider s(nullptr, Qt::Horizontal, 1);
        QCOMPARE(s.minimum(), uint64_t(0));
        QCOMPARE(s.maximum(), UINT64_MAX);
        QCOMPARE(s.upperValue(), UINT64_MAX);
        QCOMPARE(s.centerValue(), UINT64_MAX >> 1);
        QCOMPARE(s.minimumHeight(), 30);
        QCOMPARE(s.minimumSizeHint(), QSize(12, 6));
        QvThreeHandleSlider meta(nullptr);
        QCOMPARE(meta.maximum(), uint64_t(99999999));
    }

    void trackClickMapsPositionToValueAndClamps() {
        Track t(1);
        QSignalSpy clicks(t.slider, &QvThreeHandleSlider::centerValueTrackClick);
        // The first 13 px belong to half of the centre handle: 213 - 13 = 200 of 400 px.
        t.press(213);
        QCOMPARE(t.slider->centerValue(), uint64_t(200));
        QCOMPARE(clicks.last().at(0).toULongLong(), 200ull);
        // The centre handle travels over L - 26 from x = 3: value 200 sits at 193 * 0.5 + 3.
        QCOMPARE(t.slider->centerHandleRect().x(), 196);
        QCOMPARE(t.slider->centerHandleRect().size(), QSize(20, 20));
        t.release(213);
        // Before the centre span's half the position wraps to a huge value: the centre goes to the
        // end. (x < 6 would grab the lower handle, whose rectangle is hit-tested even when hidden.)
        t.press(8);
        QCOMPARE(t.slider->centerValue(), uint64_t(400));
        QCOMPARE(clicks.count(), 2);
    }

    void draggingTheCentreHandleReportsMoves() {
        Track t(1);
        t.slider->setCenterValue(100);
        const QRect c = t.slider->centerHandleRect();
        QSignalSpy moves(t.slider, &QvThreeHandleSlider::centerValueMove);
        QSignalSpy clicks(t.slider, &QvThreeHandleSlider::centerValueTrackClick);
        t.press(c.center().x());
        QCOMPARE(clicks.count(), 0); // grabbed, not a track click
        t.moveTo(c.center().x() + 100);
        QCOMPARE(moves.count(), 1);
        const uint64_t v = moves.last().at(0).toULongLong();
        QVERIFY2(v > 180 && v < 220, qPrintable(QString::number(v)));
        QCOMPARE(t.slider->centerValue(), v);
        t.release(0);
        t.moveTo(300); // no button held any more
        QCOMPARE(moves.count(), 1);
    }

    void threeHandleTypeBoundsTheCentre() {
        Track t(3);
        QSignalSpy lower(t.slider, &QvThreeHandleSlider::lowerValueChanged);
        QSignalSpy upper(t.slider, &QvThreeHandleSlider::upperValueChanged);
        t.slider->setHandleType(3);
        QCOMPARE(lower.last().at(0).toULongLong(), 0ull);
        QCOMPARE(upper.last().at(0).toULongLong(), 400ull);
        QCOMPARE(t.slider->fillCornerRadius(), 0);
        t.slider->setCenterValue(200);
        QCOMPARE(t.slider->lowerBound(), uint64_t(0));
        QCOMPARE(t.slider->upperBound(), uint64_t(400));

        // Drag the lower handle right, past the centre handle: it stops at the centre value.
        const QRect lo = t.slider->lowerHandleRect();
        t.press(lo.x() + 3);
        t.moveTo(100);
        QVERIFY(t.slider->lowerValue() > 50 && t.slider->lowerValue() < 200);
        t.moveTo(380);
        QCOMPARE(t.slider->lowerValue(), uint64_t(200));
        t.release(380);

        // Drag the upper handle left, before the centre handle: it stops at the centre value.
        t.slider->setLowerValue(0);
        const QRect up = t.slider->upperHandleRect();
        t.press(up.x() + 3);
        t.moveTo(5);
        QCOMPARE(t.slider->upperValue(), uint64_t(200));
        t.release(5);

        // Setters keep lower <= centre <= upper.
        t.slider->setUpperValue(100);
        QCOMPARE(t.slider->upperValue(), uint64_t(200));
        t.slider->setCenterValue(10'000);
        QCOMPARE(t.slider->centerValue(), uint64_t(200));
        t.slider->setHandleType(1);
        QCOMPARE(t.slider->lowerBound(), uint64_t(0));
        QCOMPARE(t.slider->upperBound(), uint64_t(400));
        QCOMPARE(t.slider->fillCornerRadius(), 5);
    }

    void centreHandleWinsWhereHandlesOverlap() {
        Track t(3);
        t.slider->setHandleType(3);
        t.slider->setCenterValue(0);
        // Centre handle starts at 6, the lower handle covers 0..5 and the two touch at x = 6.
        QSignalSpy lower(t.slider, &QvThreeHandleSlider::lowerValueChanged);
        QSignalSpy moves(t.slider, &QvThreeHandleSlider::centerValueMove);
        const QRect c = t.slider->centerHandleRect();
        QVERIFY(c.intersects(t.slider->lowerHandleRect().adjusted(0, 0, 1, 0)));
        t.press(c.x());
        t.moveTo(c.x() + 50);
        QCOMPARE(lower.count(), 0);
        QCOMPARE(moves.count(), 1);
    }

    void marksInsideTheRangeArePaintedOthersNot() {
        Track t(1, 0, 400);
        t.slider->setCenterValue(0);
        QCOMPARE(redPixelsInGroove(t.slider), 0);
        t.slider->addMark(900, QColor("#FF6058")); // outside [min, max]
        QCOMPARE(redPixelsInGroove(t.slider), 0);
        t.slider->addMark(200, QColor("#FF6058"));
        const int red = redPixelsInGroove(t.slider);
        QVERIFY2(red >= 8 && red <= 24, qPrintable(QString::number(red))); // one tick, +-4 px
        QCOMPARE(t.slider->marks().size(), 2);
    }

    void plainSliderJumpsToTheClick() {
        QvSlider s(Qt::Horizontal);
        s.setRange(0, 1000);
        s.resize(500, 30);
        s.show();
        QSignalSpy clicks(&s, &QvSlider::trackClicked);
        QTest::mouseClick(&s, Qt::LeftButton, {}, QPoint(375, 15));
        QCOMPARE(clicks.count(), 1);
        const int v = clicks.last().at(0).toInt();
        QVERIFY2(v > 700 && v < 800, qPrintable(QString::number(v)));
        QCOMPARE(s.value(), v);
    }
};

QV_TEST_MAIN(SliderTest)

#include "test_slider.moc"
