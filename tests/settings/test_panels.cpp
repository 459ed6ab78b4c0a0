// The DVS and APS panels on their own, against real SDK cameras: groups built from the tools'
// parameters, changes that reach the camera and the current configuration file, read-back, the
// ROI colouring, the product check, the four configuration buttons with bad files, and a camera
// daemon's tools sent over the wire. Exotic parameter layouts come from a small stand-in tool.

#include "CamdProcess.h"
#include "appsettings.h"
#include "qvcombobox.h"
#include "qvguitest.h"
#include "qvlineedit.h"
#include "qvtestenv.h"
#include "qvutility.h"
#include "settingbasewithcombobox.h"
#include "settingbasewithlineedit.h"
#include "settingbasewithswitchbutton.h"
#include "settingitembox.h"
#include "sidebarapssettingui.h"
#include "sidebardvssettingui.h"
#include "standintool.h"

#include "camera/CameraCore.h"
#include "quorvel/VirtualCameras.h"

#include <QElapsedTimer>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPushButton>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QVBoxLayout>

using namespace quorvel;
using quorvel::test::StandInTool;
using qvtest::readFile;
using qvtest::settingRow;
using qvtest::typeInto;

namespace {

std::shared_ptr<DvsCamera> offlineCamera() {
    SimulatedCameraOptions o;
    o.scene = "bars";
    o.realtime = false;
    o.durationUs = 100000;
    o.seed = 5;
    std::string error;
    return createSimulatedCamera(o, error);
}

int intParam(DvsCamera& cam, ToolType t, const char* name) {
    int v = -999;
    cam.getTool(t)->getIntParam(name, v);
    return v;
}

QJsonObject section(const QString& path, const char* key) {
    return QJsonDocument::fromJson(readFile(path)).object()[key].toObject();
}

SettingBaseWithLineEdit* numberRow(SettingItemBox* group, const char* label) {
    return settingRow<SettingBaseWithLineEdit>(group, label);
}

QStringList groupTitles(SidebarDvsSettingUI& panel) {
    QStringList titles;
    for (int i = 0; i < panel.settingLayout()->count(); ++i)
        if (auto* box = qobject_cast<SettingItemBox*>(panel.settingLayout()->itemAt(i)->widget()))
            titles << box->title();
    return titles;
}

} // namespace

class PanelsTest : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;
    QString m_current;

private slots:
    void initTestCase() { qRegisterMetaType<QvMessageType>("QvMessageType"); }

    // Every test starts from a fresh copy of the factory configuration as the current file.
    void init() {
        AppSettings* s = AppSettings::instance();
        QVERIFY(QFile::exists(s->dvsDefaultConfigPath));
        m_current = m_dir.filePath(QStringLiteral("current-%1.json").arg(QTest::currentTestFunction()));
        QFile::remove(m_current);
        QVERIFY(QFile::copy(s->dvsDefaultConfigPath, m_current));
        QFile(m_current).setPermissions(QFile::ReadOwner | QFile::WriteOwner);
        s->dvsCameraCurrentConfigPath = m_current;
    }

    void groupsFollowEachToolsRules() {
        auto tool = std::make_shared<StandInTool>();
        tool->params = {{"a_on", {ParameterType::Bool}},
                        {"b_on", {ParameterType::Bool}},
                        {"m_mode", {ParameterType::Enum, 0, 0, 0, {"one", "two"}}},
                        {"n_level", {ParameterType::Int, 1, 9, 4}},
                        {"s_text", {ParameterType::String}},
                        {"z_gain", {ParameterType::Float, 0.5f, 9.9f, 2.7f}}};
        SidebarDvsSettingUI panel;
        panel.setAntiFlickerToolUI(tool);
        panel.setAntiFlickerToolUI(tool); // rebuilt: still one group
        SettingItemBox* group = panel.toolGroup(TOOL_ANTI_FLICKER);
        QCOMPARE(groupTitles(panel), QStringList{"Anti Flicker"});
        QVERIFY(group->isFolded());
        QStringList order;
        for (int i = 0; i < group->rowCount(); ++i)
            order << group->rowAt(i)->findChild<QLabel*>()->text();
        QCOMPARE(order, (QStringList{"B On", "M Mode", "A On", "N Level", "Z Gain"}));
        auto* gain = numberRow(group, "Z Gain");
        QCOMPARE(gain->minimum(), 0);
        QCOMPARE(gain->maximum(), 9);
        QCOMPARE(gain->value(), 2);

        panel.setTriggerInToolUI(tool); // switches only
        QCOMPARE(panel.toolGroup(TOOL_TRIGGER_IN)->rowCount(), 2);
        panel.setBiasesToolUI(tool); // everything as an integer: only n_level has integer ranges
        QCOMPARE(panel.toolGroup(TOOL_BIASES)->rowCount(), 1);

        QTest::ignoreMessage(QtDebugMsg, "camera device is null .");
        panel.setEventTrailFilterToolUI(nullptr);
        QTest::ignoreMessage(QtDebugMsg, "camera roi is null .");
        panel.setROIToolUI(std::make_shared<StandInTool>());
        QVERIFY(!panel.toolGroup(TOOL_ROI));
    }

    void aCameraGetsItsGroupsInTheFixedOrder() {
        auto cam = offlineCamera();
        SidebarDvsSettingUI panel;
        panel.initCameraSettings(cam);
        const QStringList all{"Biases", "Trigger In", "Anti Flicker", "Event Rate Control", "Event Trail Filter", "ROI"};
        QCOMPARE(groupTitles(panel), all);
        QCOMPARE(panel.settingLayout()->indexOf(panel.buttonBar()), 1); // after the empty note, above the groups
        QVERIFY(panel.findChild<QPushButton*>("import_button")->isVisibleTo(&panel));

        panel.setTriggerInToolUI(nullptr);
        QCOMPARE(groupTitles(panel), (QStringList{"Biases", "Anti Flicker", "Event Rate Control", "Event Trail Filter", "ROI"}));

        // A fusion camera's tools fill the groups; the panel's camera stays the DVS camera.
        DvsCameraManager manager;
        std::shared_ptr<DvsCamera> fusion = manager.openFusionCamera("QVSIM-FUS-0001");
        QVERIFY(fusion);
        panel.initCameraSettings(fusion);
        QCOMPARE(groupTitles(panel), all);
        QCOMPARE(panel.camera(), cam);

        panel.clearToolUI();
        QVERIFY(groupTitles(panel).isEmpty());
        QCOMPARE(panel.settingLayout()->indexOf(panel.buttonBar()), -1);
        QVERIFY(panel.findChild<QLabel*>("lb_empty_note")->isVisibleTo(&panel));
        QCOMPARE(panel.camera(), cam);
    }

    void rowChangesReachTheToolAndTheCurrentFile() {
        auto cam = offlineCamera();
        SidebarDvsSettingUI panel;
        panel.initCameraSettings(cam);
        const auto group = [&](ToolType t) { return panel.toolGroup(t); };

        typeInto(numberRow(group(TOOL_BIASES), "Bias Fo"), "12");
        QCOMPARE(intParam(*cam, TOOL_BIASES, "bias_fo"), 12);
        QCOMPARE(section(m_current, "Biases")["bias_fo"].toInt(), 12);

        settingRow<SettingBaseWithSwitchButton>(group(TOOL_TRIGGER_IN), "Channel 1 Enable")->switchButton()->click();
        QCOMPARE(section(m_current, "TirggerIn")["channel_1_enable"].toBool(), true);

        SettingItemBox* flicker = group(TOOL_ANTI_FLICKER);
        typeInto(numberRow(flicker, "Duty Cycle"), "30");
        float duty = 0;
        cam->getTool(TOOL_ANTI_FLICKER)->getFloatParam("duty_cycle", duty);
        QCOMPARE(duty, 30.0f);
        QCOMPARE(section(m_current, "AntiFlicker")["duty_cycle"].toVariant().typeId(), QMetaType::LongLong);
        settingRow<SettingBaseWithComboBox>(flicker, "Mode")->slotItemValueChanged("mode", "band_pass");
        QCOMPARE(section(m_current, "AntiFlicker")["mode"].toString(), QString("band_pass"));
        // A band whose low edge passes the high edge is refused and must not reach the file,
        // which would then no longer load.
        typeInto(numberRow(flicker, "High Frequency"), "100");
        typeInto(numberRow(flicker, "Low Frequency"), "300");
        QCOMPARE(intParam(*cam, TOOL_ANTI_FLICKER, "low_frequency"), 50);
        QCOMPARE(section(m_current, "AntiFlicker")["low_frequency"].toInt(), 50);
        QVERIFY(cam->loadCameraConfigParams(m_current.toStdString()));

        settingRow<SettingBaseWithComboBox>(group(TOOL_EVENT_TRAIL_FILTER), "Type")->comboBox()->comboBox()->setCurrentIndex(2);
        QCOMPARE(section(m_current, "EventTrailFilter")["type"].toString(), QString("stc_keep_trail"));

        // Region-of-interest numbers go to the tool only; its flag is recorded.
        typeInto(numberRow(group(TOOL_ROI), "Width"), "320");
        QCOMPARE(intParam(*cam, TOOL_ROI, "width"), 320);
        QCOMPARE(section(m_current, "ROI")["width"].toInt(), 640);
        settingRow<SettingBaseWithSwitchButton>(group(TOOL_ROI), "Enable")->switchButton()->click();
        QCOMPARE(section(m_current, "ROI")["enable"].toBool(), true);
    }

    void readBackShowsCameraValuesAndWritesOnlyChanges() {
        auto cam = offlineCamera();
        SidebarDvsSettingUI panel;
        panel.initCameraSettings(cam);
        auto* fo = numberRow(panel.toolGroup(TOOL_BIASES), "Bias Fo");
        // A compact file: any write by the panel re-indents it.
        const QByteArray compact = QJsonDocument::fromJson(readFile(m_current)).toJson(QJsonDocument::Compact);
        QVERIFY(qvtest::writeFile(m_current, compact));
        panel.slotRefreshConfig();
        QCOMPARE(readFile(m_current), compact);

        QVERIFY(cam->getTool(TOOL_BIASES)->setIntParam("bias_fo", 17));
        panel.findChild<QPushButton*>("refresh_button")->click();
        QCOMPARE(fo->value(), 17);
        QCOMPARE(section(m_current, "Biases")["bias_fo"].toInt(), 17);
    }

    void refusedRoiWindowTurnsEveryRoiFieldRed() {
        auto cam = offlineCamera();
        SidebarDvsSettingUI panel;
        panel.setDvsCamera(cam); // loads the current file's full-sensor window
        QVERIFY(cam->getTool(TOOL_ROI)->setIntParam("width", 320));
        panel.setROIToolUI(cam->getTool(TOOL_ROI));
        SettingItemBox* roi = panel.toolGroup(TOOL_ROI);
        QCOMPARE(numberRow(roi, "Width")->value(), 320); // current, not default
        QCOMPARE(panel.roiRows().size(), 4);
        const auto borders = [&](const char* colour) {
            for (SettingBaseWithLineEdit* r : panel.roiRows())
                if (!r->lineEdit()->styleSheet().contains(QStringLiteral("border: 1px solid %1;").arg(colour)))
                    return false;
            return true;
        };
        typeInto(numberRow(roi, "X"), "400"); // 400 + 320 > 640
        QVERIFY(borders("#FF6058"));
        QCOMPARE(intParam(*cam, TOOL_ROI, "x"), 0);
        typeInto(numberRow(roi, "X"), "100");
        QVERIFY(borders("#ACACAC"));
        QCOMPARE(intParam(*cam, TOOL_ROI, "x"), 100);
    }

    void currentFileIsLoadedUnlessTheCameraKeepsItsSettings() {
        QVERIFY(QvUtility::updateJsonValue(m_current, "Biases", "bias_fo", 20));
        auto plain = offlineCamera();
        SidebarDvsSettingUI panel;
        panel.setDvsCamera(plain);
        QCOMPARE(intParam(*plain, TOOL_BIASES, "bias_fo"), 20);

        std::string error;
        CameraDescription d;
        d.serial = "QV320-1";
        d.product = "Quorvel.320camera";
        auto keeper = std::make_shared<DvsCamera>(
            std::make_shared<detail::CameraCore>(d, detail::makeSimSource(320, 240, {}, error), detail::CameraCoreOptions{}));
        panel.setDvsCamera(keeper);
        QCOMPARE(intParam(*keeper, TOOL_BIASES, "bias_fo"), 0);
        d.product = "Quorvel.320camera ";
        QVERIFY(!SidebarDvsSettingUI::keepsOwnSettings(d));
        d.keepSettings = 1;
        QVERIFY(SidebarDvsSettingUI::keepsOwnSettings(d));
    }

    void configurationButtonsAndBadFiles() {
        SidebarDvsSettingUI panel;
        QSignalSpy tips(&panel, &SettingUI::signalShowLeftBottomTips);
        QString answer;
        QList<QStringList> asked;
        panel.setFileChooser([&](bool save, const QString& caption, const QString& filter) {
            asked << QStringList{save ? "save" : "open", caption, filter};
            return answer;
        });
        const auto lastTip = [&] { return std::make_pair(tips.last().at(0).toString(), tips.last().at(1).toInt()); };

        panel.slotLoadConfig(); // cancelled: nothing
        QCOMPARE(tips.size(), 0);
        QCOMPARE(asked.last(), (QStringList{"open", "Select a JSON file", "Json file (*.json)"}));
        answer = m_current;
        panel.slotLoadConfig();
        QCOMPARE(lastTip(), std::make_pair(QString("Failed to load camera parameters."), 2));
        panel.slotExportConfig();
        QCOMPARE(asked.last().first(), QString("save"));
        QCOMPARE(lastTip(), std::make_pair(QString("Failed to export camera parameters."), 2));
        panel.slotDefaultConfig();
        QCOMPARE(lastTip(), std::make_pair(QString("Camera parameters loaded failed."), 2));

        auto cam = offlineCamera();
        panel.initCameraSettings(cam);
        auto* fo = numberRow(panel.toolGroup(TOOL_BIASES), "Bias Fo");
        auto* trail = settingRow<SettingBaseWithComboBox>(panel.toolGroup(TOOL_EVENT_TRAIL_FILTER), "Type");
        typeInto(fo, "33");
        trail->slotItemValueChanged("type", "stc_cut_trail");
        const QByteArray current = readFile(m_current);
        const QString exported = m_dir.filePath("exported.json");
        answer = exported;
        panel.findChild<QPushButton*>("export_button")->click();
        QCOMPARE(lastTip(), std::make_pair(QString("Camera parameters exported successfully."), 0));
        QCOMPARE(readFile(m_current), current);
        QCOMPARE(section(exported, "Biases")["bias_fo"].toInt(), 33);

        // Files the camera refuses: nothing changes, neither the camera nor the current file.
        const QByteArray bad[] = {"not json at all", R"({"Biases": 7})", R"({"Biases": {"bias_fo": "high"}})",
                                  R"({"Biases": {"bias_fo": 9999}})", R"({"Biases": {"bias_fo": 1}, "ROI": {"x": -4}})"};
        for (const QByteArray& text : bad) {
            answer = m_dir.filePath("bad.json");
            QVERIFY(qvtest::writeFile(answer, text));
            panel.findChild<QPushButton*>("import_button")->click();
            QCOMPARE(lastTip(), std::make_pair(QString("Failed to load camera parameters."), 2));
            QCOMPARE(intParam(*cam, TOOL_BIASES, "bias_fo"), 33);
            QCOMPARE(fo->value(), 33);
            QCOMPARE(readFile(m_current), current);
        }

        panel.findChild<QPushButton*>("default_button")->click();
        QCOMPARE(lastTip(), std::make_pair(QString("Camera parameters loaded successfully."), 0));
        QCOMPARE(intParam(*cam, TOOL_BIASES, "bias_fo"), 0);
        QCOMPARE(fo->value(), 0);
        QCOMPARE(trail->currentText(), QString("trail"));
        QCOMPARE(section(m_current, "Biases")["bias_fo"].toInt(), 0); // through the read-back echo
        const QString factory = AppSettings::instance()->dvsDefaultConfigPath;
        AppSettings::instance()->dvsDefaultConfigPath = m_dir.filePath("missing.json");
        panel.slotDefaultConfig();
        AppSettings::instance()->dvsDefaultConfigPath = factory;
        QCOMPARE(lastTip(), std::make_pair(QString("Camera parameters loaded failed."), 2));

        // The exported file loads back into the camera, its rows and the current file.
        answer = exported;
        panel.findChild<QPushButton*>("import_button")->click();
        QCOMPARE(lastTip(), std::make_pair(QString("Camera parameters loaded successfully."), 0));
        QCOMPARE(intParam(*cam, TOOL_BIASES, "bias_fo"), 33);
        QCOMPARE(fo->value(), 33);
        QCOMPARE(trail->currentText(), QString("stc_cut_trail"));
        QCOMPARE(section(m_current, "Biases")["bias_fo"].toInt(), 33);
    }

    void apsGroupRulesAndCalibrationRows() {
        SidebarApsSettingUI panel;
        auto tool = std::make_shared<StandInTool>();
        tool->params = {{"a_on", {ParameterType::Bool, 0, 1, 1}},
                        {"exposure", {ParameterType::Float, 0.5f, 9.9f, 2.7f}},
                        {"gain_db", {ParameterType::Int, 0, 40, 6}},
                        {"mode", {ParameterType::Enum, 0, 0, 0, {"fast", "slow"}}}};
        panel.setApsToolUI(tool);
        SettingItemBox* group = panel.apsGroup();
        QVERIFY(group);
        // Switches start at their defaults; choices get no row; reals are whole units.
        const auto switches = group->findChildren<SettingBaseWithSwitchButton*>();
        QCOMPARE(switches.size(), 1);
        QVERIFY(switches.first()->findChild<QPushButton*>(QStringLiteral("switchButton"))->isChecked());
        QVERIFY(group->findChildren<SettingBaseWithComboBox*>().isEmpty());
        QCOMPARE(group->findChildren<SettingBaseWithLineEdit*>().size(), 2);
        QCOMPARE(numberRow(group, "Exposure")->value(), 2);

        panel.setManualCalibrationUI();
        SettingItemBox* calibration = panel.calibrationGroup();
        QVERIFY(calibration);
        QSignalSpy offsets(&panel, &SidebarApsSettingUI::signalManualCaliOffsetXY);
        typeInto(numberRow(calibration, "Offset Y"), "-7");
        typeInto(numberRow(calibration, "Offset X"), "150"); // held at 100
        QCOMPARE(offsets.count(), 2);
        QCOMPARE(offsets.last().at(0).toDouble(), 100.0);
        QCOMPARE(offsets.last().at(1).toDouble(), -7.0);
        QSignalSpy apply(&panel, &SidebarApsSettingUI::signalApplyCaliOffset);
        calibration->findChild<QPushButton*>(QStringLiteral("pb_apply_calibration"))->click();
        QCOMPARE(apply.count(), 1);

        // A fusion camera without an APS tool: calibration and buttons, no "APS" group.
        panel.setApsToolUI(nullptr);
        QVERIFY(!panel.apsGroup());
        QVERIFY(panel.calibrationGroup());
        panel.clearToolUI();
        QVERIFY(!panel.calibrationGroup());
        QCOMPARE(panel.settingLayout()->indexOf(panel.buttonBar()), -1);
    }

    // An Ethernet camera of a quorvel-camd on a loopback address: the groups come from tool
    // descriptions sent over the wire, and a bias changed in the panel changes the streamed rate.
    void networkCameraBiasChangesTheStreamedRate() {
        quorvel::test::CamdProcess daemon(QV_CAMD_PATH, "127.0.0.62", 47162, {"--serial", "NET-PANEL", "--scene", "noise"});
        qputenv("QUORVEL_DISCOVERY_ADDRS", QByteArray::fromStdString(daemon.target()));
        QVERIFY(quorvel::test::CamdProcess::listed("NET-PANEL"));
        DvsCameraManager manager;
        std::shared_ptr<DvsCamera> cam = manager.openCamera("NET-PANEL");
        qunsetenv("QUORVEL_DISCOVERY_ADDRS");
        QVERIFY2(cam, DvsCameraManager::lastError().c_str());
        SidebarDvsSettingUI panel;
        panel.initCameraSettings(cam);
        QVERIFY(panel.toolGroup(TOOL_ROI));
        // Events streamed during 600 ms, after dropping what was queued before.
        const auto eventsDuring600ms = [&] {
            std::vector<Event2D> batch;
            cam->getEvents(batch);
            size_t n = 0;
            QElapsedTimer t;
            t.start();
            while (t.elapsed() < 600) {
                QTest::qWait(20);
                if (cam->getEvents(batch))
                    n += batch.size();
            }
            return n;
        };
        QCOMPARE(cam->start(), 0);
        const size_t before = eventsDuring600ms();
        typeInto(numberRow(panel.toolGroup(TOOL_BIASES), "Bias Hpf"), "90");
        QCOMPARE(intParam(*cam, TOOL_BIASES, "bias_hpf"), 90);
        QTest::qWait(200);
        const size_t after = eventsDuring600ms();
        QVERIFY2(after * 5 < before, qPrintable(QStringLiteral("%1 -> %2").arg(before).arg(after)));
        cam->stop();
    }
};

QV_TEST_MAIN(PanelsTest)

#include "test_panels.moc"
