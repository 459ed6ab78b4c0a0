// Fusion recordings through QvFusionCameraDataProcessor: which APS frame shows at which time,
// what each viewer type draws where, how the three files of a recording are found, and the
// transport at the ends of the range. The recording is written by the SDK's fusion writer with
// frames of a known grey level each and events on known pixels.

#include "appsettings.h"
#include "qvfusioncameradataprocessor.h"
#include "qvtestenv.h"

#include "quorvel/FusionRecordingWriter.h"

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest/QtTest>

using quorvel::Event2D;

namespace {

constexpr int kW = 64, kH = 48;
constexpr uint64_t kFirstFrameUs = 100'000, kFrameGapUs = 20'000;
constexpr int kFrames = 10;
constexpr uint64_t kMarkedUs = 150'000; // the marked events
constexpr uint64_t kLastUs = 300'000;

int greyOf(int frame) {
    return 40 + 15 * frame;
}

// Writes `<base>.raw/.mp4/.json`: frame i at 100 ms + i * 20 ms is the solid grey greyOf(i); one
// event a millisecond on pixel (1, 40) keeps the range; at 150 ms an ON event at (10, 5), an OFF
// event at (20, 6) and an ON event in column 0 at (0, 7).
void writeRecording(const QString& base, const quorvel::CalibratorParameters& calibration) {
    quorvel::FusionRecordingWriter writer;
    quorvel::FusionRecordingWriter::Options o;
    o.raw.width = kW;
    o.raw.height = kH;
    o.raw.serial = "FUSTEST";
    o.calibration = calibration;
    QVERIFY2(writer.open(base.toStdString(), o), writer.lastError().c_str());
    std::vector<Event2D> events;
    for (uint64_t t = kFirstFrameUs; t <= kLastUs; t += 1000) {
        events.emplace_back(1, 40, 1, t);
        if (t == kMarkedUs) {
            events.emplace_back(10, 5, 1, t);
            events.emplace_back(20, 6, 0, t);
            events.emplace_back(0, 7, 1, t);
        }
    }
    for (int i = 0; i < kFrames; ++i) {
        const uint64_t at = kFirstFrameUs + uint64_t(i) * kFrameGapUs;
        // Events and frames go in together in time order, as a recorder delivers them.
        std::vector<Event2D> upTo;
        while (!events.empty() && events.front().timestamp < at) {
            upTo.push_back(events.front());
            events.erase(events.begin());
        }
        QVERIFY(writer.writeEvents(upTo));
        quorvel::ApsFrame frame(kW, kH, at);
        std::memset(frame.data(), greyOf(i), frame.getDataSize());
        QVERIFY2(writer.writeFrame(frame), writer.lastError().c_str());
    }
    QVERIFY(writer.writeEvents(events));
    QVERIFY2(writer.close(), writer.lastError().c_str());
}

quorvel::CalibratorParameters identity() {
    quorvel::CalibratorParameters p;
    p.dvsWidth = p.apsWidth = kW;
    p.dvsHeight = p.apsHeight = kH;
    return p;
}

bool near(const QColor& a, const QColor& b, int tolerance = 6) {
    return std::abs(a.red() - b.red()) <= tolerance && std::abs(a.green() - b.green()) <= tolerance &&
           std::abs(a.blue() - b.blue()) <= tolerance;
}

QColor grey(int level) {
    return QColor(level, level, level);
}

} // namespace

class FusionPlaybackTest : public QObject {
    Q_OBJECT
private:
    QTemporaryDir dir;
    QString base;
    std::unique_ptr<QvFusionCameraDataProcessor> proc;

    void load(const QString& path) {
        QSignalSpy loaded(proc.get(), &QvFusionCameraDataProcessor::signalLoadingStatus);
        proc->slotReadFusionFile(path);
        proc->waitForLoad();
        QTRY_COMPARE(loaded.count(), 2);
    }
    // The frame shown at `t`, known by its grey level in a pixel no event touches.
    int frameShownAt(uint64_t t) {
        proc->setPlayPos(t);
        const int level = proc->lastImage().pixelColor(40, 30).red();
        return qRound((level - 40) / 15.0);
    }

private slots:
    void initTestCase() {
        AppSettings* s = AppSettings::instance();
        s->dvsColorType = QStringLiteral("Gray");
        s->applyColorScheme();
        base = dir.filePath(QStringLiteral("fusion"));
        writeRecording(base, identity());
    }
    void init() { proc = std::make_unique<QvFusionCameraDataProcessor>(); }
    void cleanup() { proc.reset(); }

    void theFrameShownIsTheLastOneNotAfterTheTimeBase() {
        load(base + QStringLiteral(".mp4")); // any of the three files finds the others
        QVERIFY(proc->hasFile());
        QCOMPARE(proc->apsTimeOffset(), kFirstFrameUs);
        QCOMPARE(proc->fusionStart(), kFirstFrameUs);
        QCOMPARE(proc->fusionEnd(), kLastUs);
        QCOMPARE(proc->imageWidth(), kW);
        QCOMPARE(frameShownAt(kFirstFrameUs), 0);
        QCOMPARE(frameShownAt(kFirstFrameUs + kFrameGapUs - 1), 0);
        QCOMPARE(frameShownAt(kFirstFrameUs + kFrameGapUs), 1);
        QCOMPARE(frameShownAt(kFirstFrameUs + 2 * kFrameGapUs + 5), 2);
        QCOMPARE(frameShownAt(kFirstFrameUs + 7 * kFrameGapUs + 1), 7); // a long jump forward
        QCOMPARE(frameShownAt(kFirstFrameUs + 3 * kFrameGapUs), 3);     // and back
        QCOMPARE(frameShownAt(kLastUs), kFrames - 1);                   // past the last frame

        // Steps advance the time base by 1000000 / fps and keep the rule.
        proc->setFps(100); // 10 ms a step
        proc->setPlayPos(kFirstFrameUs + 3 * kFrameGapUs);
        for (int i = 0; i < 5; ++i)
            proc->nextFrame();
        QCOMPARE(proc->timeBase(), kFirstFrameUs + 3 * kFrameGapUs + 50'000);
        QCOMPARE(qRound((proc->lastImage().pixelColor(40, 30).red() - 40) / 15.0), 5);
        QCOMPARE(proc->currentApsTimestamp() + proc->apsTimeOffset(), kFirstFrameUs + 5 * kFrameGapUs);
    }

    void viewerTypesDrawMirroredEventsAndApsFrames() {
        load(base + QStringLiteral(".raw"));
        const AppSettings* s = AppSettings::instance();
        // The accumulation window that ends at 160 ms holds the marked events; frame 3 shows.
        proc->setPlayPos(kMarkedUs + 10'000);
        QImage img = proc->lastImage();
        QCOMPARE(img.size(), QSize(kW, kH));
        QCOMPARE(img.pixelColor(kW - 10, 5), s->positiveColor); // drawn at width - x
        QCOMPARE(img.pixelColor(kW - 20, 6), s->negativeColor);
        QVERIFY(near(img.pixelColor(10, 5), grey(greyOf(3))));
        // The event in column 0 is drawn nowhere (width - 0 is outside the image); column 0 itself
        // has no source in the mirrored frame either.
        for (int x = 1; x < kW; ++x)
            QVERIFY2(near(img.pixelColor(x, 7), grey(greyOf(3))), qPrintable(QString::number(x)));

        proc->slotSetViewerType(quorvel::STREAM_APS); // shown at once while paused
        img = proc->lastImage();
        QVERIFY(near(img.pixelColor(kW - 10, 5), grey(greyOf(3))));

        proc->slotSetViewerType(quorvel::STREAM_DVS);
        img = proc->lastImage();
        QCOMPARE(img.pixelColor(kW - 10, 5), s->positiveColor);
        QCOMPARE(img.pixelColor(30, 30), s->backgroundColor);
    }

    void calibrationOfTheRecordingOrTheOneInForce() {
        // A recording with a shifted calibration: the APS picture moves, the events do not.
        const QString shifted = dir.filePath(QStringLiteral("shifted"));
        quorvel::CalibratorParameters cal = identity();
        cal.affine[2] = 8; // APS x = DVS x + 8
        writeRecording(shifted, cal);
        load(shifted + QStringLiteral(".json"));
        QCOMPARE(proc->calibration().affine[2], 8.0 + kW); // mirrored with the events
        // A recording without its calibration plays with the one in force.
        const QString plain = dir.filePath(QStringLiteral("plain"));
        writeRecording(plain, identity());
        QVERIFY(QFile::remove(plain + QStringLiteral(".json")));
        load(plain + QStringLiteral(".raw"));
        QCOMPARE(proc->calibration().affine[2], 8.0 + kW);
        // A malformed one says so and plays with the one in force as well.
        QVERIFY(qvtest::writeFile(plain + QStringLiteral(".json"), "{\"affine_matrix\": [[1, 0]]"));
        QSignalSpy tips(proc.get(), &QvFusionCameraDataProcessor::signalShowLeftBottomTips);
        load(plain + QStringLiteral(".raw"));
        QCOMPARE(tips.count(), 1);
        QVERIFY(tips.first().first().toString().startsWith(QLatin1String("The calibration file plain.json cannot be read")));
        QCOMPARE(proc->calibration().affine[2], 8.0 + kW);
        QVERIFY(proc->hasFile());
    }

    void filesThatCannotBePlayedTogether() {
        // Without an extension the base ends at the last dot, even one in a folder name.
        QVERIFY(QDir(dir.path()).mkpath(QStringLiteral("take.2")));
        writeRecording(dir.filePath(QStringLiteral("take.2/rec")), identity());
        QSignalSpy failed(proc.get(), &QvFusionCameraDataProcessor::signalFusionFileFailed);
        load(dir.filePath(QStringLiteral("take.2/rec")));
        QCOMPARE(failed.count(), 1);
        QVERIFY(!proc->hasFile());
        // A video that is not one: the reason reaches the window, which plays the events alone.
        QFile::copy(base + QStringLiteral(".raw"), dir.filePath(QStringLiteral("broken.raw")));
        QVERIFY(qvtest::writeFile(dir.filePath(QStringLiteral("broken.mp4")), QByteArray(4096, 'x')));
        load(dir.filePath(QStringLiteral("broken.raw")));
        QCOMPARE(failed.count(), 2);
        QVERIFY(!failed.last().at(1).toString().isEmpty());
        // Steps without a recording do nothing.
        proc->nextFrame();
        proc->setPlayPos(kMarkedUs);
        QCOMPARE(proc->emittedImages(), 0u);
    }

    void transportAtTheEndsOfTheRange() {
        load(base + QStringLiteral(".raw"));
        proc->preFrame(); // at the start it stays there
        QCOMPARE(proc->timeBase(), kFirstFrameUs);
        proc->setPlayPos(kLastUs - 10'000);
        const uint64_t before = proc->emittedImages();
        proc->nextFrame(); // within one accumulation time of the end: nothing
        QCOMPARE(proc->timeBase(), kLastUs - 10'000);
        QCOMPARE(proc->emittedImages(), before);

        // Played to the end without replay: finished, back at the start, not playing.
        proc->setFps(10); // 100 ms a frame: the end is two frames away
        QSignalSpy finished(proc.get(), &QvFusionCameraDataProcessor::signalPalyFileFinished);
        proc->slotPlaybackCtrl(true);
        QTRY_COMPARE(finished.count(), 1);
        QTRY_VERIFY(!proc->isPlaying());
        QCOMPARE(proc->timeBase(), kFirstFrameUs);
        proc->slotPlaybackCtrl(false);

        proc->setPlayPos(kMarkedUs);
        proc->slotPlaybackReset();
        QCOMPARE(proc->timeBase(), kFirstFrameUs);
        QCOMPARE(qRound((proc->lastImage().pixelColor(40, 30).red() - 40) / 15.0), 0);
    }
};

QObject* makeFusionPlaybackTests() {
    return new FusionPlaybackTest;
}

#include "test_fusion_playback.moc"
