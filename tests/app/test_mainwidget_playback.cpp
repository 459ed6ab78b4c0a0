#include "appsettings.h"
#include "mainwidget.h"
#include "qvfusioncameradataprocessor.h"
#include "ReadBack.h"
#include "quorvel/FusionSimulation.h"
#include "qvtestenv.h"
#include "qvthreehandleslider.h"
#include "showimageform.h"
#include "testrecording.h"
#include "timelinerecording.h"

#include <QApplication>
#include <QDialog>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMimeData>
#include <QPushButton>
#include <QStackedWidget>

using qvtest::TestRecording;

class MainWidgetPlaybackTest : public QObject {
    Q_OBJECT
private:
    QTemporaryDir dir;
    QString file;
    std::unique_ptr<MainWidget> w;

    QvEventProcessor* proc() const { return w->eventProcessor(); }
    QvThreeHandleSlider* slider() const { return w->timeSlider(); }
    const MainWidgetForm& f() const { return w->form(); }

    // Opens the recording and waits for it to load and start playing, then pauses it so that the
    // test steers from a known state.
    void openAndPause() {
        w->openRecording(file);
        QTRY_VERIFY(f().pb_play->isChecked());
        QVERIFY(proc()->isPlaying());
        QTest::mouseClick(f().pb_play, Qt::LeftButton);
        QTRY_VERIFY(!proc()->isPlaying());
        QVERIFY(!f().pb_play->isChecked());
        // The busy indicator came and went without taking the keyboard from the window.
        QCOMPARE(QApplication::activeWindow(), w.get());
    }

    void clickSliderAt(uint64_t value) {
        // Track position of a value in a type-1 slider: 13 + (value - min) / range * (L - 12).
        const double fraction = double(value - slider()->minimum()) / double(slider()->range());
        const int x = 13 + int(fraction * (slider()->width() - 12));
        QTest::mouseClick(slider(), Qt::LeftButton, {}, QPoint(x, slider()->height() / 2));
    }

private slots:
    void initTestCase() {
        file = dir.filePath("session.raw");
        std::string error;
        QVERIFY2(TestRecording::write(file.toStdString(), &error), error.c_str());
    }

    void init() {
        w = std::make_unique<MainWidget>();
        w->resize(1200, 800);
        w->show();
        QVERIFY(QTest::qWaitForWindowExposed(w.get()));
        // The transport keys are window shortcuts: they only fire in the active window.
        w->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(w.get()));
    }
    void cleanup() { w.reset(); }

    void openingARecordingShowsItsRangeMarksAndPlays() {
        QVERIFY(!slider()->isEnabled());
        QVERIFY(!f().pb_play->isEnabled());
        w->openRecording(file);
        QCOMPARE(w->mode(), int(MainWidget::ModeRawPlayback));
        QCOMPARE(w->windowTitle(), QStringLiteral("QuorvelView - session.raw"));
        QTRY_VERIFY(f().pb_play->isChecked());
        QVERIFY(slider()->isEnabled());
        QCOMPARE(slider()->minimum(), TestRecording::kStart);
        QCOMPARE(slider()->maximum(), TestRecording::kEnd);
        QCOMPARE(w->imageForm()->resolution(), QSize(64, 48));
        QCOMPARE(proc()->imageWidth(), 64);
        // Trigger marks: red for a rising edge, green for a falling one.
        QCOMPARE(slider()->marks().size(), 2);
        QCOMPARE(slider()->marks()[0].first, TestRecording::kRisingAt);
        QCOMPARE(slider()->marks()[0].second, QColor("#FF6058"));
        QCOMPARE(slider()->marks()[1].second, QColor("#58DB6D"));
        QCOMPARE(f().stack_show_image->currentWidget(), static_cast<QWidget*>(w->imageForm()));
        // Frames arrive and the centre handle follows the position.
        QTRY_VERIFY(w->imageForm()->shownFrames() >= 2);
        QTRY_VERIFY(slider()->centerValue() > TestRecording::kStart);
        QVERIFY(f().label_show_timestamp_info->text().endsWith(" us"));
        QVERIFY(!f().label_time->text().isEmpty());
        QVERIFY(f().label_show_camera_info->text().startsWith("session.raw"));
    }

    void playsToTheEndOnceThenLoops() {
        openAndPause();
        proc()->setFps(30); // real speed
        // Narrow the range with the three-handle slider: the processor follows the handles.
        w->startEndMenu()->actions().first()->trigger();
        QCOMPARE(slider()->handleType(), 3);
        slider()->setCenterValue(900'000);
        slider()->setLowerValue(850'000);
        emit slider()->lowerValueChanged(slider()->lowerValue());
        QCOMPARE(proc()->startTimestamp(), uint64_t(850'000));
        QCOMPARE(proc()->endTimestamp(), TestRecording::kEnd);
        proc()->setPlayPos(850'000);

        QTest::mouseClick(f().pb_play, Qt::LeftButton);
        QVERIFY(f().pb_play->isChecked());
        // 159 ms of file at real speed: done well within two seconds, back at the range start.
        QTRY_VERIFY_WITH_TIMEOUT(!f().pb_play->isChecked(), 3000);
        QVERIFY(!proc()->isPlaying());
        QCOMPARE(proc()->currentPosition(), uint64_t(850'000));

        QTest::mouseClick(f().pb_loop, Qt::LeftButton);
        QVERIFY(proc()->isLooping());
        const quint64 framesBefore = w->imageForm()->shownFrames();
        QTest::mouseClick(f().pb_play, Qt::LeftButton);
        QTest::qWait(600); // more than three passes over the range
        QVERIFY(proc()->isPlaying());
        QVERIFY(f().pb_play->isChecked());
        QVERIFY(w->imageForm()->shownFrames() >= framesBefore + 10);
        QTest::mouseClick(f().pb_play, Qt::LeftButton);
        QTRY_VERIFY(!proc()->isPlaying());
    }

    void stepsResetAndSliderSeek() {
        openAndPause();
        proc()->setFps(30);
        QTest::mouseClick(f().pb_stop, Qt::LeftButton);
        QTRY_COMPARE(slider()->centerValue(), TestRecording::kStart);
        QCOMPARE(proc()->currentPosition(), TestRecording::kStart);

        const quint64 frames = w->imageForm()->shownFrames();
        QTest::mouseClick(f().pb_next, Qt::LeftButton);
        QTest::mouseClick(f().pb_next, Qt::LeftButton);
        QCOMPARE(proc()->currentPosition(), TestRecording::kStart + 2 * 33333);
        QTRY_VERIFY(w->imageForm()->shownFrames() > frames); // two quick steps may share one paint
        QTRY_COMPARE(slider()->centerValue(), TestRecording::kStart + 2 * 33333);
        QTest::mouseClick(f().pb_prv, Qt::LeftButton);
        QCOMPARE(proc()->currentPosition(), TestRecording::kStart + 33333);

        // Keyboard: Right steps forward, Home resets, Space plays and pauses.
        QTest::keyClick(w.get(), Qt::Key_Right);
        QCOMPARE(proc()->currentPosition(), TestRecording::kStart + 2 * 33333);
        QTest::keyClick(w.get(), Qt::Key_Home);
        QCOMPARE(proc()->currentPosition(), TestRecording::kStart);
        QTest::keyClick(w.get(), Qt::Key_Space);
        QTRY_VERIFY(proc()->isPlaying());
        QTest::keyClick(w.get(), Qt::Key_Space);
        QTRY_VERIFY(!proc()->isPlaying());

        // A click on the track seeks there and shows the frame from that point.
        clickSliderAt(600'000);
        const uint64_t target = slider()->centerValue();
        QVERIFY2(target > 580'000 && target < 620'000, qPrintable(QString::number(target)));
        QCOMPARE(proc()->currentPosition(), target + proc()->accumulationTime());
        QTRY_COMPARE(slider()->centerValue(), target); // the processor reports the frame it showed
    }

    void droppingARecordingOpensIt() {
        QMimeData data;
        data.setUrls({QUrl::fromLocalFile(file)});
        QDragEnterEvent enter(QPoint(10, 10), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(w.get(), &enter);
        QVERIFY(enter.isAccepted());
        QDropEvent drop(QPointF(10, 10), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(w.get(), &drop);
        QCOMPARE(w->currentFile(), QFileInfo(file).absoluteFilePath());
        QTRY_VERIFY(f().pb_play->isChecked());
    }

    void cutRecordingOffersTheSliderRangeAndWritesTheFile() {
        openAndPause();
        QString seenStart, seenEnd, seenName, seenFolder;
        QTemporaryDir out;
        w->setDialogRunner([&](QDialog& d) {
            seenStart = d.findChild<QLineEdit*>("le_start_time")->text();
            seenEnd = d.findChild<QLineEdit*>("le_end_time")->text();
            seenName = d.findChild<QLineEdit*>("le_file_name")->text();
            seenFolder = d.findChild<QLineEdit*>("le_save_file_path")->text();
            d.findChild<QLineEdit*>("le_save_file_path")->setText(out.path());
            d.findChild<QLineEdit*>("le_file_name")->setText("piece.raw");
            d.findChild<QLineEdit*>("le_start_time")->setText("400000");
            d.findChild<QLineEdit*>("le_end_time")->setText("409000");
            return int(QDialog::Accepted);
        });
        w->openActionSlot(w->menuOf(f().pb_menu_file)->actions().at(3)); // "Cut Recording"
        // Centre-only slider: the whole recording is offered, named after the current time.
        QCOMPARE(seenStart, QString::number(TestRecording::kStart));
        QCOMPARE(seenEnd, QString::number(TestRecording::kEnd));
        QVERIFY2(QRegularExpression("^\\d{8}_\\d{6}\\.raw$").match(seenName).hasMatch(), qPrintable(seenName));
        QCOMPARE(seenFolder, AppSettings::instance()->outputRawFilePath);
        proc()->waitForJobs();
        QTRY_VERIFY(QFile::exists(out.filePath("piece.raw")));
        QCOMPARE(quorvel::test::readBack(out.filePath("piece.raw").toStdString()).events.size(), size_t(10));
        QTRY_VERIFY(f().pb_play->isEnabled()); // the controls come back when the job is done
    }

    void unreadableRecordingsLeaveTheWindowAsItWas() {
        const QString bogus = dir.filePath("bogus.raw");
        QVERIFY(qvtest::writeFile(bogus, "% not a recording\n"));
        w->openRecording(bogus);
        QCOMPARE(w->mode(), int(MainWidget::ModeNone));
        QVERIFY(!f().pb_play->isEnabled());
        QCOMPARE(w->windowTitle(), QStringLiteral("QuorvelView"));
        w->openRecording(dir.filePath("missing.raw"));
        QCOMPARE(w->mode(), int(MainWidget::ModeNone));
    }

    // The overview behind the slider: a quiet second shows as a dip where it is, a damaged
    // stretch as a red band where it is, and the hover tip tells time and rate.
    void theTimelineShowsQuietAndDamagedStretches() {
        qvtest::TimelineRecording rec;
        const QString path = dir.filePath("timeline.raw");
        QVERIFY(rec.write(path));
        w->openRecording(path);
        QTRY_VERIFY(f().pb_play->isChecked());
        const QvTimeline& t = slider()->timeline();
        QVERIFY(!t.isEmpty());
        QCOMPARE(t.startUs, rec.kStart);
        const auto rate = [&](double second) { return t.rateAt(rec.kStart + uint64_t(second * rec.kSecond)); };
        QVERIFY2(rate(0.5) > 1.2e6 && rate(0.5) < 1.8e6, qPrintable(QString::number(rate(0.5))));
        // (The index knows where events lie to 128 KiB, here about 0.03 s: the silent second's
        // step spreads the events on both sides of it over the second, a few percent.)
        QVERIFY2(rate(1.5) < rate(0.5) / 10, qPrintable(QString::number(rate(1.5))));
        QVERIFY2(rate(2.3) > 1.2e6, qPrintable(QString::number(rate(2.3))));
        QCOMPARE(t.badRanges.size(), 1);
        const auto [from, to] = t.badRanges.first();
        QVERIFY2(from >= rec.kStart + 2 * rec.kSecond && to <= rec.kStart + 3 * rec.kSecond + 1,
                 qPrintable(QStringLiteral("%1 %2").arg(from).arg(to)));
        QVERIFY(to - from < rec.kSecond / 2);

        // Painted where the values are: a tall strip in the busy seconds, none in the quiet one,
        // red at the damage.
        const QImage img = slider()->grab().toImage();
        const auto columnOf = [&](uint64_t v) {
            return QvThreeHandleSlider::kHandleLength +
                   int(double(slider()->width() - 2 * QvThreeHandleSlider::kHandleLength) * double(v - slider()->minimum()) /
                       double(slider()->range()));
        };
        const auto paintedHeight = [&](uint64_t v) {
            int n = 0;
            for (int y = 0; y < img.height() / 2 - QvThreeHandleSlider::kGrooveThickness / 2; ++y)
                n += img.pixelColor(columnOf(v), y) != img.pixelColor(0, 0);
            return n;
        };
        QVERIFY(paintedHeight(rec.kStart + rec.kSecond / 2) > 2 * paintedHeight(rec.kStart + rec.kSecond * 3 / 2));
        const QColor red = img.pixelColor(columnOf((from + to) / 2), 1);
        QVERIFY2(red.red() > 200 && red.green() < 160, qPrintable(red.name()));
        const QString tip = slider()->timelineTipAt(columnOf(rec.kStart + rec.kSecond / 2));
        QVERIFY2(tip.contains(QLatin1String(" us")) && tip.contains(QLatin1String("Mev/s")), qPrintable(tip));
    }

    void fusionRecordingsPlayFramesAndEventsOrTheirEventsAlone() {
        const QString base = dir.filePath("fusion");
        quorvel::FusionSimulationOptions o;
        o.width = 160;
        o.height = 120;
        o.durationUs = 400'000;
        quorvel::FusionSimulationResult result;
        std::string error;
        QVERIFY2(quorvel::simulateRecording(base.toStdString(), o, result, error), error.c_str());

        // Beside its .mp4, a recording plays as a fusion recording: frames with events.
        w->openRecording(base + ".raw");
        QCOMPARE(w->mode(), int(MainWidget::ModeFusionPlayback));
        QCOMPARE(w->viewerType(), quorvel::STREAM_FUSION);
        QTRY_VERIFY(f().pb_play->isChecked());
        QVERIFY(w->fusionProcessor()->isPlaying());
        QTRY_VERIFY(w->imageForm()->shownFrames() > 3);
        QCOMPARE(w->imageForm()->resolution(), QSize(160, 120));
        QCOMPARE(slider()->minimum(), w->fusionProcessor()->fusionStart());
        // The transport acts on it: pause, step, and the viewer type switches what it draws.
        QTest::mouseClick(f().pb_play, Qt::LeftButton);
        QTRY_VERIFY(!w->fusionProcessor()->isPlaying());
        const uint64_t at = w->fusionProcessor()->timeBase();
        QTest::mouseClick(f().pb_next, Qt::LeftButton);
        QCOMPARE(w->fusionProcessor()->timeBase(), at + 33333);
        QTest::mouseClick(f().pb_viewer_type, Qt::LeftButton); // Fusion -> DVS
        QCOMPARE(w->fusionProcessor()->viewerType(), quorvel::STREAM_DVS);
        QCOMPARE(w->fusionProcessor()->lastImage().pixelColor(80, 60).rgb() == AppSettings::instance()->backgroundColor.rgb() ||
                     w->fusionProcessor()->lastImage().pixelColor(80, 60).rgb() == AppSettings::instance()->positiveColor.rgb() ||
                     w->fusionProcessor()->lastImage().pixelColor(80, 60).rgb() == AppSettings::instance()->negativeColor.rgb(),
                 true);

        // A video that cannot be read: a warning, and the events play as a plain recording.
        QVERIFY(qvtest::writeFile(base + ".mp4", QByteArray(1000, 'x')));
        w->openRecording(base + ".raw");
        QTRY_COMPARE(w->mode(), int(MainWidget::ModeRawPlayback));
        QTRY_VERIFY(proc()->isPlaying());
        QVERIFY(f().pb_play->isChecked());
    }
};

QV_TEST_MAIN(MainWidgetPlaybackTest)

#include "test_mainwidget_playback.moc"
