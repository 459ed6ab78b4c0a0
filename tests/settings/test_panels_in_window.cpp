// The settings panels inside the main window: the display settings reach the playback
// processor, and opening a recording clears the DVS panel of a camera's groups.

#include "mainwidget.h"
#include "qvtestenv.h"
#include "settingdisplayitem.h"
#include "settingitembox.h"
#include "testrecording.h"

#include "quorvel/VirtualCameras.h"

#include <QComboBox>
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
