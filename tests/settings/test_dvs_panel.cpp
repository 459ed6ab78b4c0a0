// The DVS panel against real SDK cameras: groups built from the tools' parameters, changes that
// reach the camera and the current configuration file, read-back, the ROI colouring, the product
// check, the four configuration buttons with bad files, and the effect on the event stream.
// Exotic parameter layouts come from a small stand-in tool.

#include "appsettings.h"
#include "qvcombobox.h"
#include "qvlineedit.h"
#include "qvtestenv.h"
#include "qvutility.h"
#include "settingbasewithcombobox.h"
#include "settingbasewithlineedit.h"
#include "settingbasewithswitchbutton.h"
#include "settingitembox.h"
#include "sidebardvssettingui.h"
#include "standintool.h"

#include "camera/CameraCore.h"
#include "quorvel/DvsCameraManager.h"
#include "quorvel/VirtualCameras.h"

#include <QComboBox>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QPushButton>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QVBoxLayout>

#include <thread>

using namespace quorvel;
using quorvel::test::StandInTool;

namespace {

std::shared_ptr<DvsCamera> offlineCamera(const std::string& scene = "bars", uint64_t us = 100000) {
    SimulatedCameraOptions o;
    o.scene = scene;
    o.realtime = false;
    o.durationUs = us;
    o.seed = 5;
    std::string error;
    return createSimulatedCamera(o, error);
}

std::vector<Event2D> stream(DvsCamera& cam) {
    std::vector<Event2D> all;
    std::mutex mu;
    const int id = cam.addEventsCallback([&](const Event2D* b, const Event2D* e) {
        std::lock_guard l(mu);
        all.insert(all.end(), b, e);
    });
    cam.start();
    while (cam.isStreaming())
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    cam.stop();
    cam.removeEventsCallback(id);
    return all;
}

int intParam(DvsCamera& cam, ToolType t, const char* name) {
    int v = -999;
    cam.getTool(t)->getIntParam(name, v);
    return v;
}

QByteArray readFile(const QString& path) {
    QFile f(path);
    f.open(QIODevice::ReadOnly);
    return f.readAll();
}

void writeFile(const QString& path, const QByteArray& bytes) {
    QFile f(path);
    f.open(QIODevice::WriteOnly | QIODevice::Truncate);
    f.write(bytes);
}

QJsonObject section(const QString& path, const char* key) {
    return QJsonDocument::fromJson(readFile(path)).object()[key].toObject();
}

template <typename T>
T* row(SettingItemBox* group, const char* label) {
    for (T* r : group->findChildren<T*>())
        for (QLabel* l : r->template findChildren<QLabel*>())
            if (l->text() == label)
                return r;
    qFatal("no row %s", label);
}

void type(SettingBaseWithLineEdit* r, int v) {
    r->lineEdit()->setText(QString::number(v));
}

QStringList groupTitles(SidebarDvsSettingUI& panel) {
    QStringList titles;
    for (int i = 0; i < panel.settingLayout()->count(); ++i)
        if (auto* box = qobject_cast<SettingItemBox*>(panel.settingLayout()->itemAt(i)->widget()))
            titles << box->title();
    return titles;
}

} // namespace

class DvsPanelTest : public QObject {
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
        auto* gain = row<SettingBaseWithLineEdit>(group, "Z Gain");
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

        type(row<SettingBaseWithLineEdit>(group(TOOL_BIASES), "Bias Fo"), 12);
        QCOMPARE(intParam(*cam, TOOL_BIASES, "bias_fo"), 12);
        QCOMPARE(section(m_current, "Biases")["bias_fo"].toInt(), 12);

        row<SettingBaseWithSwitchButton>(group(TOOL_TRIGGER_IN), "Channel 1 Enable")->switchButton()->click();
        QCOMPARE(section(m_current, "TirggerIn")["channel_1_enable"].toBool(), true);

        SettingItemBox* flicker = group(TOOL_ANTI_FLICKER);
        type(row<SettingBaseWithLineEdit>(flicker, "Duty Cycle"), 30);
        float duty = 0;
        cam->getTool(TOOL_ANTI_FLICKER)->getFloatParam("duty_cycle", duty);
        QCOMPARE(duty, 30.0f);
        QCOMPARE(section(m_current, "AntiFlicker")["duty_cycle"].toVariant().typeId(), QMetaType::LongLong);
        row<SettingBaseWithComboBox>(flicker, "Mode")->slotItemValueChanged("mode", "band_pass");
        QCOMPARE(section(m_current, "AntiFlicker")["mode"].toString(), QString("band_pass"));
        // A band whose low edge passes the high edge is refused and must not reach the file,
        // which would then no longer load.
        type(row<SettingBaseWithLineEdit>(flicker, "High Frequency"), 100);
        type(row<SettingBaseWithLineEdit>(flicker, "Low Frequency"), 300);
        QCOMPARE(intParam(*cam, TOOL_ANTI_FLICKER, "low_frequency"), 50);
        QCOMPARE(section(m_current, "AntiFlicker")["low_frequency"].toInt(), 50);
        QVERIFY(cam->loadCameraConfigParams(m_current.toStdString()));

        row<SettingBaseWithComboBox>(group(TOOL_EVENT_TRAIL_FILTER), "Type")->comboBox()->comboBox()->setCurrentIndex(2);
        QCOMPARE(section(m_current, "EventTrailFilter")["type"].toString(), QString("stc_keep_trail"));

        // Region-of-interest numbers go to the tool only; its flag is recorded.
        type(row<SettingBaseWithLineEdit>(group(TOOL_ROI), "Width"), 320);
        QCOMPARE(intParam(*cam, TOOL_ROI, "width"), 320);
        QCOMPARE(section(m_current, "ROI")["width"].toInt(), 640);
        row<SettingBaseWithSwitchButton>(group(TOOL_ROI), "Enable")->switchButton()->click();
        QCOMPARE(section(m_current, "ROI")["enable"].toBool(), true);
    }

    void readBackShowsCameraValuesAndWritesOnlyChanges() {
        auto cam = offlineCamera();
        SidebarDvsSettingUI panel;
        panel.initCameraSettings(cam);
        auto* fo = row<SettingBaseWithLineEdit>(panel.toolGroup(TOOL_BIASES), "Bias Fo");
        // A compact file: any write by the panel re-indents it.
        const QByteArray compact = QJsonDocument::fromJson(readFile(m_current)).toJson(QJsonDocument::Compact);
        writeFile(m_current, compact);
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
        QCOMPARE(row<SettingBaseWithLineEdit>(roi, "Width")->value(), 320); // current, not default
        QCOMPARE(panel.roiRows().size(), 4);
        const auto borders = [&](const char* colour) {
            for (SettingBaseWithLineEdit* r : panel.roiRows())
                if (!r->lineEdit()->styleSheet().contains(QStringLiteral("border: 1px solid %1;").arg(colour)))
                    return false;
            return true;
        };
        type(row<SettingBaseWithLineEdit>(roi, "X"), 400); // 400 + 320 > 640
        QVERIFY(borders("#FF6058"));
        QCOMPARE(intParam(*cam, TOOL_ROI, "x"), 0);
        type(row<SettingBaseWithLineEdit>(roi, "X"), 100);
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
        auto* fo = row<SettingBaseWithLineEdit>(panel.toolGroup(TOOL_BIASES), "Bias Fo");
        type(fo, 33);
        const QByteArray current = readFile(m_current);
        answer = m_dir.filePath("exported.json");
        panel.findChild<QPushButton*>("export_button")->click();
        QCOMPARE(lastTip(), std::make_pair(QString("Camera parameters exported successfully."), 0));
        QCOMPARE(readFile(m_current), current);
        QCOMPARE(QJsonDocument::fromJson(readFile(answer)).object()["Biases"].toObject()["bias_fo"].toInt(), 33);

        // Files the camera refuses: nothing changes, neither the camera nor the current file.
        const QByteArray bad[] = {"not json at all", R"({"Biases": 7})", R"({"Biases": {"bias_fo": "high"}})",
                                  R"({"Biases": {"bias_fo": 9999}})", R"({"Biases": {"bias_fo": 1}, "ROI": {"x": -4}})"};
        for (const QByteArray& text : bad) {
            answer = m_dir.filePath("bad.json");
            writeFile(answer, text);
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
        QCOMPARE(section(m_current, "Biases")["bias_fo"].toInt(), 0); // through the read-back echo
        const QString factory = AppSettings::instance()->dvsDefaultConfigPath;
        AppSettings::instance()->dvsDefaultConfigPath = m_dir.filePath("missing.json");
        panel.slotDefaultConfig();
        AppSettings::instance()->dvsDefaultConfigPath = factory;
        QCOMPARE(lastTip(), std::make_pair(QString("Camera parameters loaded failed."), 2));
    }

    void panelChangesActOnTheEventStream() {
        // A stronger high-pass bias silences the noise.
        auto quiet = offlineCamera("noise", 200000), noisy = offlineCamera("noise", 200000);
        SidebarDvsSettingUI panel;
        panel.initCameraSettings(quiet);
        type(row<SettingBaseWithLineEdit>(panel.toolGroup(TOOL_BIASES), "Bias Hpf"), 90);
        const size_t quietCount = stream(*quiet).size(), noisyCount = stream(*noisy).size();
        QVERIFY2(quietCount * 10 < noisyCount, qPrintable(QStringLiteral("%1 %2").arg(quietCount).arg(noisyCount)));

        // The region of interest keeps only events inside the window.
        auto cam = offlineCamera("busy", 100000);
        panel.initCameraSettings(cam);
        SettingItemBox* roi = panel.toolGroup(TOOL_ROI);
        type(row<SettingBaseWithLineEdit>(roi, "Width"), 200);
        type(row<SettingBaseWithLineEdit>(roi, "Height"), 100);
        type(row<SettingBaseWithLineEdit>(roi, "X"), 50);
        type(row<SettingBaseWithLineEdit>(roi, "Y"), 60);
        row<SettingBaseWithSwitchButton>(roi, "Enable")->switchButton()->click();
        const std::vector<Event2D> events = stream(*cam);
        QVERIFY(events.size() > 100);
        for (const Event2D& e : events)
            QVERIFY(e.x >= 50 && e.x < 250 && e.y >= 60 && e.y < 160);
    }

    void exportThenLoadGivesAnotherCameraTheSameValues() {
        auto a = offlineCamera();
        SidebarDvsSettingUI panelA;
        panelA.initCameraSettings(a);
        type(row<SettingBaseWithLineEdit>(panelA.toolGroup(TOOL_BIASES), "Bias Diff On"), 25);
        row<SettingBaseWithSwitchButton>(panelA.toolGroup(TOOL_ANTI_FLICKER), "Enable")->switchButton()->click();
        type(row<SettingBaseWithLineEdit>(panelA.toolGroup(TOOL_ANTI_FLICKER), "Duty Cycle"), 70);
        row<SettingBaseWithComboBox>(panelA.toolGroup(TOOL_EVENT_TRAIL_FILTER), "Type")->slotItemValueChanged("type", "stc_cut_trail");
        type(row<SettingBaseWithLineEdit>(panelA.toolGroup(TOOL_ROI), "Height"), 200);
        const QString file = m_dir.filePath("a.json");
        panelA.setFileChooser([&](bool, const QString&, const QString&) { return file; });
        panelA.slotExportConfig();

        init(); // camera B starts from the factory file, not A's current file
        auto b = offlineCamera();
        SidebarDvsSettingUI panelB;
        panelB.initCameraSettings(b);
        panelB.setFileChooser([&](bool, const QString&, const QString&) { return file; });
        panelB.slotLoadConfig();
        const QString exportedB = m_dir.filePath("b.json");
        QVERIFY(b->exportCameraConfigParams(exportedB.toStdString()));
        QCOMPARE(QJsonDocument::fromJson(readFile(exportedB)), QJsonDocument::fromJson(readFile(file)));
        QCOMPARE(row<SettingBaseWithLineEdit>(panelB.toolGroup(TOOL_BIASES), "Bias Diff On")->value(), 25);
        QCOMPARE(row<SettingBaseWithComboBox>(panelB.toolGroup(TOOL_EVENT_TRAIL_FILTER), "Type")->currentText(),
                 QString("stc_cut_trail"));
        QCOMPARE(section(m_current, "Biases")["bias_diff_on"].toInt(), 25);
    }
};

QV_TEST_MAIN(DvsPanelTest)

#include "test_dvs_panel.moc"
