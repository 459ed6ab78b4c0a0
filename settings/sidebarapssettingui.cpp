#include "sidebarapssettingui.h"

#include "appsettings.h"
#include "settingbasewithlineedit.h"
#include "settingbasewithswitchbutton.h"
#include "settingitembox.h"
#include "toolgroup.h"

#include "quorvel/FusionCamera.h"

#include <QHBoxLayout>
#include <QPushButton>

SidebarApsSettingUI::SidebarApsSettingUI(QWidget* parent) : SettingCameraPanel(parent) {
    setObjectName(QStringLiteral("SidebarApsSettingUI"));
    setTitle(tr("APS Setting"));
}

void SidebarApsSettingUI::setFusionCamera(std::shared_ptr<quorvel::FusionCamera> camera) {
    showButtonBar();
    m_camera = std::move(camera);
}

void SidebarApsSettingUI::setApsToolUI(std::shared_ptr<quorvel::CameraTool> tool) {
    m_apsTool = tool;
    ToolGroupRules rules;
    rules.title = tr("APS");
    rules.intRows = rules.floatRows = rules.boolRows = true;
    rules.boolDefaults = true;
    rules.logNoTool = "camera device is null .";
    rules.logNoParams = "camera aps infos is null .";
    ToolGroupWiring wiring;
    wiring.intRow = [this](SettingBaseWithLineEdit* row) {
        connect(row, &SettingBaseWithLineEdit::signalItemValueChanged, this, &SidebarApsSettingUI::onApsSliderValueChanged);
    };
    wiring.floatRow = [this](SettingBaseWithLineEdit* row) {
        connect(row, &SettingBaseWithLineEdit::signalItemValueChanged, this,
                &SidebarApsSettingUI::onApsSliderFloatValueChanged);
    };
    wiring.boolRow = [this](SettingBaseWithSwitchButton* row) {
        connect(row, &SettingBaseWithSwitchButton::signalItemValueChanged, this,
                &SidebarApsSettingUI::onApsBoolValueChanged);
    };
    buildToolGroup(*this, m_apsGroup, tool.get(), rules, wiring);
}

void SidebarApsSettingUI::setManualCalibrationUI() {
    delete m_calibrationGroup;
    m_calibrationGroup = new SettingItemBox(scrollAreaWidgetContents);
    m_calibrationGroup->setTitle(tr("APS Manual Calibration"));
    const auto offsetRow = [this](const char* name, const QString& tip, double& offset) {
        auto* row = new SettingBaseWithLineEdit(name, m_calibrationGroup);
        row->setToolTip(tip);
        row->setRange(-kOffsetLimit, kOffsetLimit);
        row->setValue(0);
        offset = 0;
        connect(row, &SettingBaseWithLineEdit::signalItemValueChanged, this, [this, &offset](const std::string&, int v) {
            offset = v;
            emit signalManualCaliOffsetXY(offset_x, offset_y);
        });
        m_calibrationGroup->addRow(row);
    };
    offsetRow("offset_x", tr("Set aps offset x."), offset_x);
    offsetRow("offset_y", tr("Set aps offset y."), offset_y);

    auto* bar = new QWidget(m_calibrationGroup);
    auto* row = new QHBoxLayout(bar);
    row->setContentsMargins(0, 4, 9, 4);
    row->addStretch(1);
    auto* apply = new QPushButton(tr("Apply"), bar);
    apply->setObjectName(QStringLiteral("pb_apply_calibration"));
    apply->setFixedSize(60, 20);
    apply->setCursor(Qt::PointingHandCursor);
    apply->setStyleSheet(QStringLiteral(
        "QPushButton{background: #004B6A; color: white; font: 10px \"Noto Sans SC Medium\"; border: none; "
        "border-radius: 10px;}QPushButton:hover{background: #004460;}"));
    row->addWidget(apply);
    connect(apply, &QPushButton::clicked, this, &SidebarApsSettingUI::signalApplyCaliOffset);
    m_calibrationGroup->addRow(bar);
    m_calibrationGroup->setFolded(true);
    insertBeforeSpacer(m_calibrationGroup);
}

void SidebarApsSettingUI::clearToolUI() {
    hideButtonBar();
    setApsToolUI(nullptr);
    delete m_calibrationGroup;
    m_calibrationGroup = nullptr;
}

void SidebarApsSettingUI::onApsBoolValueChanged(const std::string& name, bool value) {
    deliverToolValue(m_apsTool.get(), nullptr, QString(), name, value);
}

void SidebarApsSettingUI::onApsSliderValueChanged(const std::string& name, int value) {
    deliverToolValue(m_apsTool.get(), nullptr, QString(), name, value);
}

void SidebarApsSettingUI::onApsSliderFloatValueChanged(const std::string& name, int value) {
    deliverToolWholeUnits(m_apsTool.get(), nullptr, QString(), name, value);
}

quorvel::DvsCamera* SidebarApsSettingUI::configurationCamera() const {
    return m_camera.get();
}

QString SidebarApsSettingUI::defaultConfigurationPath() const {
    return AppSettings::instance()->fusionDefaultConfigPath;
}
