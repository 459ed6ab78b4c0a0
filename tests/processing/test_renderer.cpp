#include "appsettings.h"
#include "qveventprocessor.h"

#include <QtTest/QtTest>

#include <random>
#include <vector>

using quorvel::Event2D;

namespace {

// Collects the frames the render thread sends, on the GUI thread as the image view would.
class FrameSink : public QObject {
    Q_OBJECT
public:
    QList<QImage> frames;
    QList<quint64> liveTimes;
public slots:
    void onImage(QImage img) { frames << img; }
    void onTime(uint64_t t) { liveTimes << t; }
};

QColor at(const QImage& img, int x, int y) {
    return img.pixelColor(x, y);
}

} // namespace

class RendererTest : public QObject {
    Q_OBJECT
private:
    std::unique_ptr<QvEventProcessor> proc;
    // Per test: frames still queued from the previous test's processor die with its sink.
    std::unique_ptr<FrameSink> sink;

    QImage renderOnce() {
        const int before = sink->frames.size();
        proc->publishFrame();
        if (!QTest::qWaitFor([&] { return sink->frames.size() > before; }, 3000))
            return {};
        return sink->frames.last();
    }

private slots:
    void init() {
        AppSettings* s = AppSettings::instance();
        s->dvsColorType = "Gray";
        s->applyColorScheme();
        proc = std::make_unique<QvEventProcessor>();
        proc->resizeImage(8, 4);
        sink = std::make_unique<FrameSink>();
        connect(proc.get(), &QvEventProcessor::signalEventImage, sink.get(), &FrameSink::onImage, Qt::QueuedConnection);
        connect(proc.get(), &QvEventProcessor::signalRealTimeTimeStamp, sink.get(), &FrameSink::onTime,
                Qt::QueuedConnection);
    }
    void cleanup() { proc.reset(); }

    void countsSaturateAndStrayEventsFollowTheIndexRule() {
        std::vector<Event2D> batch;
        for (int i = 0; i < 5; ++i)
            batch.emplace_back(1, 1, 1, 30 + i); // five ON events: the count stops at 3
        batch.emplace_back(1, 1, 0, 40);        // one OFF on the same pixel
        batch.emplace_back(10, 0, 0, 41);       // x past the width (8): counted at (2, 1)
        batch.emplace_back(0, 4, 1, 42);        // y == height: dropped
        batch.emplace_back(0, 200, 0, 43);      // far outside: dropped
        proc->processEvents(batch.data(), batch.data() + batch.size());
        QCOMPARE(proc->backCount(1, 1, 1), uint16_t(3));
        QCOMPARE(proc->backCount(1, 1, 0), uint16_t(1));
        QCOMPARE(proc->backCount(2, 1, 0), uint16_t(1));
        QCOMPARE(proc->backCount(0, 3, 1), uint16_t(0));
        // The batch time is its first event's, not its last's.
        QCOMPARE(proc->lastBatchTimestamp(), uint64_t(30));
        // An empty batch changes nothing.
        proc->processEvents(batch.data(), batch.data());
        QCOMPARE(proc->lastBatchTimestamp(), uint64_t(30));
        QCOMPARE(proc->backCount(1, 1, 1), uint16_t(3));

        // A batch long enough for the block-wise path (with a ragged tail), strays included,
        // against the rule applied one event at a time.
        proc->resizeImage(40, 30);
        std::vector<Event2D> big;
        std::vector<uint16_t> expected(40 * 30 * 2, 0);
        std::mt19937 rng(11);
        for (int i = 0; i < 3'011; ++i) {
            const Event2D e(uint16_t(rng() % 50), uint16_t(rng() % 33), uint8_t(rng() % 2), 100 + i);
            big.push_back(e);
            const uint32_t index = (uint32_t(e.y) * 40 + e.x) * 2 + e.polarity;
            if (index < expected.size() && expected[index] < 3)
                ++expected[index];
        }
        proc->processEvents(big.data(), big.data() + big.size());
        for (int y = 0; y < 30; ++y)
            for (int x = 0; x < 40; ++x)
                for (int pol = 0; pol < 2; ++pol)
                    QCOMPARE(proc->backCount(x, y, pol), expected[(y * 40 + x) * 2 + pol]);
    }

    void pixelsTakeTheMajorityColourTiesShowOff() {
        std::vector<Event2D> batch;
        const auto add = [&](int x, int y, int on, int off) {
            for (int i = 0; i < on; ++i)
                batch.emplace_back(x, y, 1, 1);
            for (int i = 0; i < off; ++i)
                batch.emplace_back(x, y, 0, 1);
        };
        add(0, 0, 4, 1); // 3 vs 1 after saturation: ON
        add(1, 0, 5, 4); // 3 vs 3: OFF
        add(2, 0, 1, 1); // tie: OFF
        add(3, 0, 0, 2); // OFF
        add(4, 0, 2, 0); // ON
        proc->processEvents(batch.data(), batch.data() + batch.size());
        const QImage img = renderOnce();
        QVERIFY(!img.isNull());
        QCOMPARE(img.size(), QSize(8, 4));
        const QColor on(255, 255, 255), off(0, 0, 0), bg(112, 112, 112);
        QCOMPARE(at(img, 0, 0), on);
        QCOMPARE(at(img, 1, 0), off);
        QCOMPARE(at(img, 2, 0), off);
        QCOMPARE(at(img, 3, 0), off);
        QCOMPARE(at(img, 4, 0), on);
        QCOMPARE(at(img, 5, 0), bg);
        QCOMPARE(at(img, 7, 3), bg);

        // Each frame starts from zero, and a new colour scheme shows on the very next frame.
        AppSettings* s = AppSettings::instance();
        s->dvsColorType = "RedBlue";
        s->applyColorScheme();
        std::vector<Event2D> next{Event2D(6, 2, 1, 5), Event2D(7, 2, 0, 5)};
        proc->processEvents(next.data(), next.data() + next.size());
        const QImage img2 = renderOnce();
        QCOMPARE(at(img2, 0, 0), bg); // last frame's events are gone
        QCOMPARE(at(img2, 6, 2), QColor(255, 0, 0));
        QCOMPARE(at(img2, 7, 2), QColor(0, 0, 255));
        QCOMPARE(proc->backCount(6, 2, 1), uint16_t(0)); // the back buffer starts clean
    }

    void liveModePublishesAtTheFrameInterval() {
        proc->setSourceMode(1);
        const auto push = [&](uint64_t t, int x) {
            Event2D e(x, 0, 1, t);
            proc->processEvents(&e, &e + 1);
        };
        push(100'000, 0);          // far from 0: publishes at once
        QTRY_COMPARE(sink->frames.size(), 1);
        push(110'000, 1);          // within 33333 us: accumulates
        push(130'000, 2);          // still within
        push(133'333, 3);          // exactly the interval: publishes with 1..3
        QTRY_COMPARE(sink->liveTimes.size(), 2);
        QCOMPARE(sink->liveTimes, (QList<quint64>{100'000, 133'333}));
        QTRY_COMPARE(sink->frames.size(), 2);
        const QImage second = sink->frames.last();
        const QColor on(255, 255, 255);
        QCOMPARE(at(second, 1, 0), on);
        QCOMPARE(at(second, 3, 0), on);
        QCOMPARE(at(second, 0, 0), QColor(112, 112, 112));
        push(50, 4); // time went backwards (camera reopened): publishes at once
        QTRY_COMPARE(sink->liveTimes.size(), 3);
        proc->flushFrame();
        QTRY_COMPARE(sink->liveTimes.size(), 4);
        QCOMPARE(sink->liveTimes.last(), 50ull);
    }

    void resizeClearsEverything() {
        std::vector<Event2D> batch{Event2D(1, 1, 1, 1)};
        proc->processEvents(batch.data(), batch.data() + 1);
        proc->resizeImage(640, 480);
        QCOMPARE(proc->imageWidth(), 640);
        QCOMPARE(proc->backCount(1, 1, 1), uint16_t(0));
        const QImage img = renderOnce();
        QCOMPARE(img.size(), QSize(640, 480));
        QCOMPARE(at(img, 1, 1), QColor(112, 112, 112));
    }
};

QObject* makeRendererTests() {
    return new RendererTest;
}

#include "test_renderer.moc"
