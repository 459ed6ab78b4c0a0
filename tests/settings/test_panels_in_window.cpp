// The settings panels inside the main window: the display settings reach the playback
// processor and the live camera, a bias changed in the panel changes the event rate the status
// line shows, and opening a recording clears the DVS panel of a camera's groups.

#include "mainwidget.h"
#include "qvlineedit.h"
#include "qvlivecamera.h"
#include "settingbasewithlineedit.h"
#include "qvtestenv.h"
#include "settingdisplayitem.h"
#include "settingitembox.h"
#include "testrecording.h"

#include "quorvel/VirtualCameras.h"

#include <QComboBox>
#include <QLabel>
#include <QRegularExpression>
#include <QLineEdit>
#include <QVBoxLayout>

class PanelsInWindowTest : public QObject {
    Q_OBJECT
private slots:
    void displaySettingsReachThePlaybackProcessor() {
        MainWidget w;
        SettingDisplayItem* display = w.cameraPanel()->displayItem();
        QVERIFY(display && w.cameraPanel()->displayGroup()->title() == "Display");
        const auto finish = [](QComboBox* list, const QString& text) {
            list->setEditText(text);
            emit list->lineEdit()->editingFinished();
        };
        finish(display->accumulationTimeList(), "50");
        QCOMPARE(w.eventProcessor()->accumulationTime(), uint64_t(50000));
        finish(display->slowRateList(), "2");
        QCOMPARE(w.eventProcessor()->fps(), uint64_t(60));
        finish(display->slowRateList(), "0.03"); // sends 0: dropped, never divided by
        QCOMPARE(w.eventProcessor()->fps(), uint64_t(60));
    }

    // The user's view of a bias: the event rate in the status line falls when the contrast
    // thresholds go up in the panel; the accumulation time becomes the camera's batch time.
    void aBiasChangeShowsInTheStatusLine() {
        MainWidget w;
        w.resize(1200, 800);
        w.show();
        QVERIFY(QTest::qWaitForWindowExposed(&w));
        QVERIFY(w.openCameraBySerial(QStringLiteral("QVSIM-DVS-0001")));
        const QRegularExpression rateText(QStringLiteral(" Events: (\\d+\\.\\d) MEv/s "));
        const auto shownRate = [&] {
            const auto m = rateText.match(w.form().label_show_camera_info->text());
            return m.hasMatch() ? m.captured(1).toDouble() : -1.0;
        };
        QTRY_VERIFY_WITH_TIMEOUT(shownRate() > 1.0, 3000);
        const double before = shownRate();
        SettingItemBox* biases = w.dvsPanel()->toolGroup(quorvel::TOOL_BIASES);
        biases->setFolded(false);
        for (auto* row : biases->findChildren<SettingBaseWithLineEdit*>()) {
            if (row->findChild<QLabel*>(QStringLiteral("lb_set_item_name"))->text().startsWith(QLatin1String("Bias Diff"))) {
                row->lineEdit()->setText(QStringLiteral("140"));
                emit row->lineEdit()->editingFinished();
            }
        }
        QTRY_VERIFY2_WITH_TIMEOUT(shownRate() >= 0 && shownRate() < before / 3, qPrintable(w.form().label_show_camera_info->text()),
                                  4000);

        SettingDisplayItem* display = w.cameraPanel()->displayItem();
        display->accumulationTimeList()->setEditText(QStringLiteral("10"));
        emit display->accumulationTimeList()->lineEdit()->editingFinished();
        QCOMPARE(w.liveCamera()->camera()->getTimeInterval(), 10000u);
    }

    void openingARecordingClearsTheDvsPanel() {
        QTemporaryDir dir;
        const QString file = dir.filePath("rec.raw");
        QVERIFY(qvtest::TestRecording::write(file.toStdString()));
        quorvel::SimulatedCameraOptions o;
        o.realtime = false;
        std::string error;
        auto cam = quorvel::createSimulatedCamera(o, error);
        MainWidget w;
        w.dvsPanel()->initCameraSettings(cam);
        QVERIFY(w.dvsPanel()->toolGroup(quorvel::TOOL_BIASES));
        w.openRecording(file);
        for (auto type : {quorvel::TOOL_BIASES, quorvel::TOOL_TRIGGER_IN, quorvel::TOOL_ANTI_FLICKER,
                          quorvel::TOOL_EVENT_RATE_CONTROL, quorvel::TOOL_EVENT_TRAIL_FILTER, quorvel::TOOL_ROI})
            QVERIFY(!w.dvsPanel()->toolGroup(type));
        QCOMPARE(w.dvsPanel()->settingLayout()->indexOf(w.dvsPanel()->buttonBar()), -1);
    }
};

QV_TEST_MAIN(PanelsInWindowTest)

#include "test_panels_in_window.moc"
