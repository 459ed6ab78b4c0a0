#include "qvgraphicsview.h"
#include "showimageform.h"
#include "workerthread.h"

#include <QWheelEvent>
#include <QtTest/QtTest>

#include <atomic>
#include <cmath>

namespace {
void wheel(QvGraphicsView* v, int delta) {
    const QPointF pos = v->viewport()->rect().center();
    QWheelEvent e(pos, v->viewport()->mapToGlobal(pos), QPoint(), QPoint(0, delta), Qt::NoButton, Qt::NoModifier,
                  Qt::NoScrollPhase, false);
    QApplication::sendEvent(v->viewport(), &e);
}
} // namespace

class ImageViewTest : public QObject {
    Q_OBJECT
private slots:
    void wheelZoomStaysBetweenTheFitAndFiftyTimes() {
        ShowImageForm form;
        form.resize(640, 360);
        form.show();
        QVERIFY(QTest::qWaitForWindowExposed(&form));
        QvGraphicsView* v = form.view();
        const double fitScale = v->transform().m11();
        for (int i = 0; i < 10; ++i)
            wheel(v, 120);
        QVERIFY(std::abs(v->zoom() - std::pow(1.1, 10)) < 1e-9); // about 2.59
        QVERIFY(std::abs(v->transform().m11() / fitScale - v->zoom()) < 1e-6);
        for (int i = 0; i < 100; ++i)
            wheel(v, 120);
        QVERIFY(v->zoom() >= 50.0 && v->zoom() < 55.0);
        for (int i = 0; i < 200; ++i)
            wheel(v, 0); // zero delta zooms out
        QVERIFY(v->zoom() >= 1.0 - 1e-9 && v->zoom() < 1.1);
        QVERIFY(v->transform().m11() >= fitScale * (1.0 - 1e-6));

        for (int i = 0; i < 5; ++i)
            wheel(v, 120);
        QTest::mouseDClick(v->viewport(), Qt::LeftButton);
        QCOMPARE(v->zoom(), 1.0);
    }

    void formShowsGreyUntilTheFirstFrame() {
        ShowImageForm form;
        QCOMPARE(form.currentPixmap().size(), QSize(1280, 720));
        QCOMPARE(form.currentPixmap().toImage().pixelColor(10, 10), QColor("#707070"));
        form.slotSetResolution(640, 480);
        QCOMPARE(form.currentPixmap().size(), QSize(640, 480));
        QImage frame(320, 240, QImage::Format_RGB888);
        frame.fill(Qt::red);
        form.slotShowImage(frame);
        QCOMPARE(form.currentPixmap().size(), QSize(320, 240));
        QCOMPARE(form.currentPixmap().toImage().pixelColor(1, 1), QColor(Qt::red));
        QCOMPARE(form.shownFrames(), 1ull);

        // A new source on a shown form is fitted whole at once (here height-bound: 4:3 in 16:9).
        form.resize(800, 450);
        form.show();
        QVERIFY(QTest::qWaitForWindowExposed(&form));
        form.slotSetResolution(640, 480);
        auto* view = form.findChild<QvGraphicsView*>();
        const double scale = view->transform().m11();
        // (fitInView keeps a margin of 2 px on each side)
        QVERIFY2(std::abs(scale * 480 - (view->viewport()->height() - 4)) < 2.0,
                 qPrintable(QStringLiteral("%1 %2").arg(scale).arg(view->viewport()->height())));
    }

    void workerRunsItsTaskOffTheGuiThread() {
        std::atomic<bool> ranElsewhere{false};
        const Qt::HANDLE gui = QThread::currentThreadId();
        WorkerThread worker([&] { ranElsewhere = QThread::currentThreadId() != gui; });
        QSignalSpy done(&worker, &WorkerThread::taskCompleted);
        worker.start();
        QTRY_COMPARE(done.count(), 1); // not wait(): the signal may come before waiting starts
        QVERIFY(ranElsewhere);
        WorkerThread thrower([] { throw std::runtime_error("camera gone"); });
        QSignalSpy done2(&thrower, &WorkerThread::taskCompleted);
        thrower.start();
        QTRY_COMPARE(done2.count(), 1); // an exception does not escape the thread
    }
};

QObject* makeImageViewTests() {
    return new ImageViewTest;
}

#include "test_imageview.moc"
