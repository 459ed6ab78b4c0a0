#include "appsettings.h"
#include "qveventprocessor.h"

#include "ReadBack.h"
#include "qvtestenv.h"
#include "testrecording.h"

#include "quorvel/raw/RawFileWriter.h"

#include <QTemporaryDir>
#include <QtTest/QtTest>

using quorvel::Event2D;

namespace {

constexpr uint64_t kStart = qvtest::TestRecording::kStart;
constexpr uint64_t kEnd = qvtest::TestRecording::kEnd;

QString writeRecording(const QString& dir) {
    const QString path = dir + "/playback.raw";
    std::string error;
    if (!qvtest::TestRecording::write(path.toStdString(), &error))
        qFatal("cannot write test recording: %s", error.c_str());
    return path;
}

// Records what the processor reports, on the GUI thread as the main window would.
class Observer : public QObject {
    Q_OBJECT
public:
    QList<quint64> positions;
    QList<bool> playStatus;
    QList<bool> loading;
    QvTriggerMarks triggers;
    quint64 start = 0, end = 0;
    QList<QImage> frames;
    QString lastTip;
public slots:
    void onPosition(uint64_t t) { positions << t; }
    void onPlay(bool p) { playStatus << p; }
    void onLoading(bool l) { loading << l; }
    void onTriggers(QvTriggerMarks t) { triggers = t; }
    void onStart(uint64_t t) { start = t; }
    void onEnd(uint64_t t) { end = t; }
    void onImage(QImage i) { frames << i; }
    void onTip(QString t, QvMessageType, QString) { lastTip = t; }
};

int litPixels(const QImage& img) {
    int n = 0;
    for (int y = 0; y < img.height(); ++y)
        for (int x = 0; x < img.width(); ++x)
            n += img.pixelColor(x, y) != QColor(112, 112, 112);
    return n;
}

} // namespace

class PlaybackTest : public QObject {
    Q_OBJECT
private:
    QTemporaryDir dir;
    QString file;
    std::unique_ptr<QvEventProcessor> proc;
    std::unique_ptr<Observer> obs;

    void waitFrames(int n) { QTRY_VERIFY_WITH_TIMEOUT(obs->frames.size() >= n, 5000); }

private slots:
    void initTestCase() {
        AppSettings* s = AppSettings::instance();
        s->dvsColorType = "Gray";
        s->applyColorScheme();
        file = writeRecording(dir.path());
    }

    void init() {
        proc = std::make_unique<QvEventProcessor>();
        obs = std::make_unique<Observer>();
        const auto q = Qt::QueuedConnection;
        connect(proc.get(), &QvEventProcessor::signalRealTimeTimeStamp, obs.get(), &Observer::onPosition, q);
        connect(proc.get(), &QvEventProcessor::signalPlayStatus, obs.get(), &Observer::onPlay, q);
        connect(proc.get(), &QvEventProcessor::signalLoadingStatus, obs.get(), &Observer::onLoading, q);
        connect(proc.get(), &QvEventProcessor::signalTriggerList, obs.get(), &Observer::onTriggers, q);
        connect(proc.get(), &QvEventProcessor::signalStartTimeStamp, obs.get(), &Observer::onStart, q);
        connect(proc.get(), &QvEventProcessor::signalEndTimeStamp, obs.get(), &Observer::onEnd, q);
        connect(proc.get(), &QvEventProcessor::signalEventImage, obs.get(), &Observer::onImage, q);
        connect(proc.get(), &QvEventProcessor::signalShowLeftBottomTips, obs.get(), &Observer::onTip, q);
        proc->resizeImage(64, 48);
        proc->loadFile(file);
        QTRY_VERIFY(!obs->loading.isEmpty() && !obs->loading.last());
        obs->frames.clear();
        obs->positions.clear();
        obs->playStatus.clear();
    }
    void cleanup() {
        proc.reset();
        obs.reset();
    }

    void loadAnnouncesRangeAndTriggersWithoutDrawing() {
        QCOMPARE(obs->start, quint64(kStart));
        QCOMPARE(obs->end, quint64(kEnd));
        QCOMPARE(proc->currentPosition(), kStart);
        QCOMPARE(obs->triggers, (QvTriggerMarks{{100'000, 1}, {300'000, 0}}));
        QCOMPARE(proc->fileResolution(), QSize(64, 48));
        QTest::qWait(100);
        QVERIFY(obs->frames.isEmpty()); // no frame is drawn at load
        QVERIFY(proc->localTimeText(kStart).startsWith(QDate::currentDate().toString("yyyy-MM-dd")));
    }

    void loadingTwiceAtOnceIsRefused() {
        // A never-seen recording large enough that indexing it outlasts the second request.
        const QString big = dir.path() + "/big.raw";
        {
            quorvel::RawFileWriter writer;
            quorvel::RawFileWriter::Options o;
            o.width = 64;
            o.height = 48;
            QVERIFY(writer.open(big.toStdString(), o));
            std::vector<quorvel::Event2D> batch(1 << 20);
            for (int b = 0; b < 10; ++b) {
                for (size_t i = 0; i < batch.size(); ++i) {
                    const uint64_t k = uint64_t(b) * batch.size() + i;
                    batch[i] = quorvel::Event2D(uint16_t(k % 64), uint16_t(k / 64 % 48), uint8_t(k & 1), 1000 + k);
                }
                QVERIFY(writer.write(batch, {}));
            }
            QVERIFY(writer.close());
        }
        QTest::ignoreMessage(QtDebugMsg, QRegularExpression("Load raw file: .*big.raw.*"));
        QTest::ignoreMessage(QtDebugMsg, QRegularExpression("Load raw file: .*playback.raw.*"));
        QTest::ignoreMessage(QtDebugMsg, "is loading.");
        proc->loadFile(big);
        QVERIFY(proc->isLoading());
        proc->loadFile(file); // refused: the first load still runs
        proc->waitForLoad();
        QCOMPARE(proc->endTimestamp(), uint64_t(1000 + 10 * (1 << 20) - 1));
    }

    void unreadableFilesAreRefusedWithAReason() {
        const QString bogus = dir.path() + "/bogus.raw";
        QVERIFY(qvtest::writeFile(bogus, "this is not an event recording\n"));
        proc->loadFile(bogus);
        QVERIFY(!proc->hasFile());
        QTRY_VERIFY(obs->lastTip.contains("bogus.raw"));
        proc->nextFrame(); // without a file: logged, nothing else
        QVERIFY(obs->frames.isEmpty());
    }

    void stepsMoveByTheIntervalAndShowTheAccumulationTime() {
        proc->setFps(30); // 33333 us per frame, the accumulation time too
        QCOMPARE(proc->timeInterval(), uint64_t(33333));
        proc->nextFrame();
        waitFrames(1);
        QCOMPARE(proc->currentPosition(), kStart + 33333);
        // Events at kStart .. kStart + 33000 (34 of them), each on its own pixel.
        QCOMPARE(litPixels(obs->frames.last()), 34);
        proc->nextFrame();
        waitFrames(2);
        QCOMPARE(proc->currentPosition(), kStart + 2 * 33333);
        QCOMPARE(obs->positions.last(), quint64(kStart + 2 * 33333));

        // Back: the position moves back one interval and stays at the start of the frame shown.
        proc->preFrame();
        waitFrames(3);
        QCOMPARE(proc->currentPosition(), kStart + 33333);
        QCOMPARE(litPixels(obs->frames.last()), 33); // events 34 .. 66
        proc->preFrame(); // 10000 + 33333 - 33333 is not above the start: clamps to it
        QCOMPARE(proc->currentPosition(), kStart);
    }

    void seekShowsTheFrameAtThePosition() {
        proc->setPlayPos(500'000);
        waitFrames(1);
        QCOMPARE(proc->currentPosition(), uint64_t(500'000 + 33333));
        QCOMPARE(litPixels(obs->frames.last()), 34); // 500000 .. 533000 (events 490 .. 523)
        // Outside the range nothing happens.
        proc->setPlayPos(kStart - 1);
        proc->setPlayPos(kEnd + 1);
        QTest::qWait(100);
        QCOMPARE(obs->frames.size(), 1);
        QCOMPARE(proc->currentPosition(), uint64_t(500'000 + 33333));
        // Within one accumulation time of the end, stepping forward does nothing.
        proc->setPlayPos(kEnd - 1000);
        waitFrames(2);
        proc->nextFrame();
        QTest::qWait(100);
        QCOMPARE(obs->frames.size(), 2);
    }

    void playingToTheEndStopsAtTheStartWithoutLoop() {
        proc->setFps(30);
        proc->slotSetLowerTimeStamp(600'000);
        proc->slotSetUpperTimeStamp(800'000);
        proc->setPlayPos(600'000);
        waitFrames(1);
        obs->positions.clear();
        proc->slotPlaybackCtrl(true);
        QVERIFY(proc->isPlaying());
        QTRY_VERIFY_WITH_TIMEOUT(!obs->playStatus.isEmpty(), 5000);
        QCOMPARE(obs->playStatus.last(), false);
        QVERIFY(!proc->isPlaying());
        QCOMPARE(proc->currentPosition(), uint64_t(600'000));
        // The last frame reaches the end of the range, and positions only grow.
        QCOMPARE(obs->positions.last(), quint64(800'000));
        for (int i = 1; i < obs->positions.size(); ++i)
            QVERIFY(obs->positions[i] > obs->positions[i - 1]);
        const int framesAtEnd = obs->frames.size();
        QTest::qWait(150);
        QCOMPARE(obs->frames.size(), framesAtEnd); // nothing more is drawn
        // Playing again after the end works (the finished play thread is reaped).
        proc->slotPlaybackCtrl(true);
        QTRY_VERIFY_WITH_TIMEOUT(obs->playStatus.size() >= 2, 5000);
    }

    void cutWritesExactlyTheRangeAndSaysSoTwice() {
        QList<QPair<QString, QString>> tips;
        connect(proc.get(), &QvEventProcessor::signalShowLeftBottomTips, this,
                [&](QString t, QvMessageType, QString path) { tips.append({t, path}); }, Qt::QueuedConnection);
        const QString out = dir.path() + "/cut.raw";
        proc->slotCutRawFile(out, dir.path(), 200'000, 250'000);
        proc->waitForJobs();
        QTRY_COMPARE(tips.size(), 2);
        QCOMPARE(tips[0].first, QStringLiteral("Export raw file success!"));
        QCOMPARE(tips[1].first, QStringLiteral("Export video success!")); // established behaviour
        QCOMPARE(tips[0].second, dir.path());
        const auto events = quorvel::test::readBack(out.toStdString()).events;
        QCOMPARE(events.size(), size_t(51)); // 200000 .. 250000 inclusive, one per ms
        QCOMPARE(events.front(), qvtest::TestRecording::event(190));
        QCOMPARE(events.back(), qvtest::TestRecording::event(240));

        // A cut that cannot be written shows nothing at all and leaves nothing behind.
        tips.clear();
        proc->slotCutRawFile(dir.path() + "/no/such/folder/x.raw", dir.path(), 200'000, 250'000);
        proc->waitForJobs();
        QTest::qWait(100);
        QVERIFY(tips.isEmpty());
        QVERIFY(!QFile::exists(dir.path() + "/no/such/folder/x.raw"));
    }
};

QObject* makePlaybackTests() {
    return new PlaybackTest;
}

#include "test_playback.moc"
