// The settings panels inside the main window: the display settings reach the playback
// processor and the live camera, a bias changed in the panel changes the event rate the status
// line shows, opening a recording clears the DVS panel of a camera's groups, and with the
// simulated fusion camera: APS values reaching the tool (and no file), offsets moving the fusion
// picture's calibration, Apply writing the calibration into the camera, and the read-back
// reaching the DVS panel's rows.

#include "appsettings.h"
#include "mainwidget.h"
#include "qvfusioncameradataprocessor.h"
#include "qvguitest.h"
#include "qvlineedit.h"
#include "qvlivecamera.h"
#include "qvtestenv.h"
#include "settingbasewithlineedit.h"
#include "settingdisplayitem.h"
#include "settingitembox.h"
#include "sidebarapssettingui.h"
#include "testrecording.h"

#include "quorvel/FusionCamera.h"
#include "quorvel/VirtualCameras.h"

#include <QComboBox>
#include <QPushButton>
#include <QRegularExpression>
#include <QVBoxLayout>

using qvtest::settingRow;
using qvtest::typeInto;
using Row = SettingBaseWithLineEdit;

class PanelsInWindowTest : public QObject {
    Q_OBJECT
private slots:
    void cleanup() { qvtest::closeToasts(); }

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
        typeInto(settingRow<Row>(biases, "Bias Diff On"), "140");
        typeInto(settingRow<Row>(biases, "Bias Diff Off"), "140");
        QTRY_VERIFY2_WITH_TIMEOUT(shownRate() >= 0 && shownRate() < before / 3, qPrintable(w.form().label_show_camera_info->text()),
                                  4000);

        QComboBox* accumulation = w.cameraPanel()->displayItem()->accumulationTimeList();
        accumulation->setEditText(QStringLiteral("10"));
        emit accumulation->lineEdit()->editingFinished();
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

    void fusionCameraInTheApsPanel() {
        MainWidget w;
        w.resize(1200, 800);
        w.show();
        QVERIFY(QTest::qWaitForWindowExposed(&w));
        QVERIFY(w.openCameraBySerial(QStringLiteral("QVSIM-FUS-0001")));
        SidebarApsSettingUI* aps = w.apsPanel();
        const auto camera = w.liveCamera()->fusionCamera();
        QVERIFY(aps->apsGroup() && aps->calibrationGroup());
        QVERIFY(aps->settingLayout()->indexOf(aps->buttonBar()) >= 0);

        // An APS value goes to the tool, and into no configuration file.
        const QString config = AppSettings::instance()->dvsCameraCurrentConfigPath;
        const QByteArray configBefore = qvtest::readFile(config);
        QVERIFY(!configBefore.isEmpty());
        typeInto(settingRow<Row>(aps->apsGroup(), "Frame Rate"), "20");
        int rate = 0;
        QVERIFY(camera->getTool(quorvel::TOOL_APS)->getIntParam("frame_rate", rate));
        QCOMPARE(rate, 20);
        QCOMPARE(qvtest::readFile(config), configBefore);

        // Offsets move the calibration of the fusion picture; Apply writes it into the camera.
        typeInto(settingRow<Row>(aps->calibrationGroup(), "Offset X"), "12");
        QCOMPARE(w.fusionProcessor()->calibration().translationX, 12.0);
        aps->calibrationGroup()->findChild<QPushButton*>(QStringLiteral("pb_apply_calibration"))->click();
        QTRY_VERIFY(qvtest::toastTexts().contains(QStringLiteral("Manual calibration parameters were written successfully!")));
        QCOMPARE(camera->getCalibrationParam().translationX, 12.0);

        // The APS panel's Refresh brings the fusion camera's values into the DVS panel's rows.
        QVERIFY(camera->getTool(quorvel::TOOL_BIASES)->setIntParam("bias_fo", 17));
        aps->slotRefreshConfig();
        QCOMPARE(settingRow<Row>(w.dvsPanel()->toolGroup(quorvel::TOOL_BIASES), "Bias Fo")->value(), 17);

        // Once the camera is gone, Apply says it failed.
        w.liveCamera()->closeCamera();
        qvtest::closeToasts();
        aps->calibrationGroup()->findChild<QPushButton*>(QStringLiteral("pb_apply_calibration"))->click();
        QTRY_VERIFY(qvtest::toastTexts().contains(QStringLiteral("Manual calibration parameters were written failed!")));
    }
};

QV_TEST_MAIN(PanelsInWindowTest)

#include "test_panels_in_window.moc"
