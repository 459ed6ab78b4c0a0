// The APS panel: its group rules, the manual calibration group, and in the window with the
// simulated fusion camera: APS values reaching the tool (and no file), offsets moving the
// fusion picture's calibration, Apply writing the calibration into the camera, and the read-back
// reaching the DVS panel's rows.

#include "appsettings.h"
#include "mainwidget.h"
#include "qvfusioncameradataprocessor.h"
#include "qvguitest.h"
#include "qvlineedit.h"
#include "qvlivecamera.h"
#include "qvtestenv.h"
#include "settingbasewithcombobox.h"
#include "settingbasewithlineedit.h"
#include "settingbasewithswitchbutton.h"
#include "settingitembox.h"
#include "sidebarapssettingui.h"
#include "standintool.h"

#include "quorvel/FusionCamera.h"

#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QVBoxLayout>

using quorvel::ParameterType;
using quorvel::test::StandInTool;

namespace {

SettingBaseWithLineEdit* rowNamed(QWidget* group, const QString& label) {
    for (auto* row : group->findChildren<SettingBaseWithLineEdit*>())
        if (row->findChild<QLabel*>(QStringLiteral("lb_set_item_name"))->text() == label)
            return row;
    return nullptr;
}

void typeInto(SettingBaseWithLineEdit* row, const QString& text) {
    QLineEdit* edit = row->lineEdit();
    edit->setText(text);
    emit edit->editingFinished();
}

} // namespace

class ApsPanelTest : public QObject {
    Q_OBJECT
private slots:
    void cleanup() { qvtest::closeToasts(); }

    void groupRulesAndCalibrationRows() {
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
        QCOMPARE(rowNamed(group, QStringLiteral("Exposure"))->value(), 2);

        panel.setManualCalibrationUI();
        SettingItemBox* calibration = panel.calibrationGroup();
        QVERIFY(calibration);
        QSignalSpy offsets(&panel, &SidebarApsSettingUI::signalManualCaliOffsetXY);
        typeInto(rowNamed(calibration, QStringLiteral("Offset Y")), QStringLiteral("-7"));
        typeInto(rowNamed(calibration, QStringLiteral("Offset X")), QStringLiteral("150")); // held at 100
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

    void fusionCameraInTheWindow() {
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
        QFile before(config);
        QVERIFY(before.open(QIODevice::ReadOnly));
        const QByteArray configBefore = before.readAll();
        before.close();
        typeInto(rowNamed(aps->apsGroup(), QStringLiteral("Frame Rate")), QStringLiteral("20"));
        int rate = 0;
        QVERIFY(camera->getTool(quorvel::TOOL_APS)->getIntParam("frame_rate", rate));
        QCOMPARE(rate, 20);
        QFile after(config);
        QVERIFY(after.open(QIODevice::ReadOnly));
        QCOMPARE(after.readAll(), configBefore);

        // Offsets move the calibration of the fusion picture; Apply writes it into the camera.
        typeInto(rowNamed(aps->calibrationGroup(), QStringLiteral("Offset X")), QStringLiteral("12"));
        QCOMPARE(w.fusionProcessor()->calibration().translationX, 12.0);
        aps->calibrationGroup()->findChild<QPushButton*>(QStringLiteral("pb_apply_calibration"))->click();
        QTRY_VERIFY(qvtest::toastTexts().contains(QStringLiteral("Manual calibration parameters were written successfully!")));
        QCOMPARE(camera->getCalibrationParam().translationX, 12.0);

        // The APS panel's Refresh brings the fusion camera's values into the DVS panel's rows.
        QVERIFY(camera->getTool(quorvel::TOOL_BIASES)->setIntParam("bias_fo", 17));
        aps->slotRefreshConfig();
        SettingItemBox* biases = w.dvsPanel()->toolGroup(quorvel::TOOL_BIASES);
        QCOMPARE(rowNamed(biases, QStringLiteral("Bias Fo"))->value(), 17);

        // Once the camera is gone, Apply says it failed.
        w.liveCamera()->closeCamera();
        qvtest::closeToasts();
        aps->calibrationGroup()->findChild<QPushButton*>(QStringLiteral("pb_apply_calibration"))->click();
        QTRY_VERIFY(qvtest::toastTexts().contains(QStringLiteral("Manual calibration parameters were written failed!")));
    }
};

QV_TEST_MAIN(ApsPanelTest)
#include "test_aps_panel.moc"
