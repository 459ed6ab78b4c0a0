#include "sidebardvssettingui.h"

#include "appsettings.h"
#include "settingbasewithcombobox.h"
#include "settingbasewithlineedit.h"
#include "settingbasewithswitchbutton.h"
#include "settingitembox.h"
#include "toolgroup.h"

#include "quorvel/DvsCamera.h"
#include "quorvel/FusionCamera.h"

#include <QDebug>
#include <QFile>
#include <QLabel>
#include <QStandardPaths>
#include <QVBoxLayout>

namespace {

using Panel = SidebarDvsSettingUI;
using Row = SettingBaseWithLineEdit;
using Switch = SettingBaseWithSwitchButton;
using Choice = SettingBaseWithComboBox;

constexpr quorvel::ToolType kToolTypes[] = {quorvel::TOOL_BIASES,
                                            quorvel::TOOL_TRIGGER_IN,
                                            quorvel::TOOL_ANTI_FLICKER,
                                            quorvel::TOOL_EVENT_RATE_CONTROL,
                                            quorvel::TOOL_EVENT_TRAIL_FILTER,
                                            quorvel::TOOL_ROI};

const auto pushInt = qOverload<const std::string&, int>(&SettingUI::signalSetValue);
const auto pushFloat = qOverload<const std::string&, float>(&SettingUI::signalSetValue);
const auto pushBool = qOverload<const std::string&, bool>(&SettingUI::signalSetValue);
const auto pushText = qOverload<const std::string&, const std::string&>(&SettingUI::signalSetValue);

} // namespace

SidebarDvsSettingUI::SidebarDvsSettingUI(QWidget* parent) : SettingCameraPanel(parent) {
    setObjectName(QStringLiteral("SidebarDvsSettingUI"));
    setTitle(tr("DVS Setting"));

    auto* note = new QLabel(tr("Open a camera to change its settings."), scrollAreaWidgetContents);
    note->setObjectName(QStringLiteral("lb_empty_note"));
    note->setWordWrap(true);
    note->setAlignment(Qt::AlignHCenter | Qt::AlignTop);
    note->setStyleSheet(QStringLiteral("font: 13px \"Noto Sans SC Medium\"; color: #A7A7A7; padding-top: 24px;"));
    m_emptyNote = note;
    verticalLayout->insertWidget(0, note);

    static bool logged = false;
    if (!logged) {
        logged = true;
        qDebug() << "app config path:" << QStandardPaths::writableLocation(QStandardPaths::AppDataLocation);
    }
}

void SidebarDvsSettingUI::updateEmptyNote() {
    bool empty = verticalLayout->indexOf(buttonBar()) < 0;
    for (SettingItemBox* group : m_groups)
        empty = empty && !group;
    m_emptyNote->setVisible(empty);
}

bool SidebarDvsSettingUI::keepsOwnSettings(const quorvel::CameraDescription& description) {
    return description.keepSettings == 1 || description.product == "Quorvel.320camera";
}

void SidebarDvsSettingUI::initCameraSettings(const std::shared_ptr<quorvel::DvsCamera>& camera) {
    // Requested in the SDK's numbering order of the main window (0, 1, 3, 5, 4, 6); a network
    // camera answers each over the wire.
    std::shared_ptr<quorvel::CameraTool> tools[KindCount];
    if (camera) {
        for (Kind kind : {Biases, TriggerIn, AntiFlicker, EventRateControl, EventTrailFilter, Roi})
            tools[kind] = camera->getTool(kToolTypes[kind]);
        if (!std::dynamic_pointer_cast<quorvel::FusionCamera>(camera))
            setDvsCamera(camera);
    }
    setBiasesToolUI(tools[Biases]);
    setTriggerInToolUI(tools[TriggerIn]);
    setAntiFlickerToolUI(tools[AntiFlicker]);
    setEventRateControlToolUI(tools[EventRateControl]);
    setEventTrailFilterToolUI(tools[EventTrailFilter]);
    setROIToolUI(tools[Roi]);
}

void SidebarDvsSettingUI::setDvsCamera(std::shared_ptr<quorvel::DvsCamera> camera) {
    showButtonBar();
    m_camera = std::move(camera);
    updateEmptyNote();
    if (!m_camera)
        return;
    if (keepsOwnSettings(m_camera->getDescription()))
        return;
    const QString path = AppSettings::instance()->dvsCameraCurrentConfigPath;
    if (QFile::exists(path))
        m_camera->loadCameraConfigParams(path.toLocal8Bit().toStdString());
}

void SidebarDvsSettingUI::setBiasesToolUI(std::shared_ptr<quorvel::CameraTool> tool) {
    buildGroup(Biases, std::move(tool));
}

void SidebarDvsSettingUI::setTriggerInToolUI(std::shared_ptr<quorvel::CameraTool> tool) {
    buildGroup(TriggerIn, std::move(tool));
}

void SidebarDvsSettingUI::setAntiFlickerToolUI(std::shared_ptr<quorvel::CameraTool> tool) {
    buildGroup(AntiFlicker, std::move(tool));
}

void SidebarDvsSettingUI::setEventRateControlToolUI(std::shared_ptr<quorvel::CameraTool> tool) {
    buildGroup(EventRateControl, std::move(tool));
}

void SidebarDvsSettingUI::setEventTrailFilterToolUI(std::shared_ptr<quorvel::CameraTool> tool) {
    buildGroup(EventTrailFilter, std::move(tool));
}

void SidebarDvsSettingUI::setROIToolUI(std::shared_ptr<quorvel::CameraTool> tool) {
    buildGroup(Roi, std::move(tool));
}

void SidebarDvsSettingUI::clearToolUI() {
    hideButtonBar();
    for (Kind kind : {Biases, TriggerIn, AntiFlicker, EventRateControl, EventTrailFilter, Roi})
        buildGroup(kind, nullptr);
}

SettingItemBox* SidebarDvsSettingUI::toolGroup(quorvel::ToolType type) const {
    for (int kind = 0; kind < KindCount; ++kind)
        if (kToolTypes[kind] == type)
            return m_groups[kind];
    return nullptr;
}

QList<SettingBaseWithLineEdit*> SidebarDvsSettingUI::roiRows() const {
    QList<SettingBaseWithLineEdit*> rows;
    for (const auto& row : m_roiRows)
        if (row)
            rows.append(row.data());
    return rows;
}

void SidebarDvsSettingUI::buildGroup(Kind kind, std::shared_ptr<quorvel::CameraTool> tool) {
    m_tools[kind] = tool;

    // Each row reports to the tool's slot of its value type and takes pushed values by name.
    const auto numeric = [this](void (Panel::*slot)(const std::string&, int)) {
        return [this, slot](Row* row) {
            connect(row, &Row::signalItemValueChanged, this, slot);
            connect(this, pushInt, row, qOverload<const std::string&, int>(&Row::slotItemValueChanged));
        };
    };
    const auto whole = [this](void (Panel::*slot)(const std::string&, int)) {
        return [this, slot](Row* row) {
            connect(row, &Row::signalItemValueChanged, this, slot);
            connect(this, pushFloat, row, qOverload<const std::string&, float>(&Row::slotItemValueChanged));
        };
    };
    const auto toggle = [this](void (Panel::*slot)(const std::string&, bool)) {
        return [this, slot](Switch* row) {
            connect(row, &Switch::signalItemValueChanged, this, slot);
            connect(this, pushBool, row, &Switch::slotItemValueChanged);
        };
    };
    const auto choice = [this](void (Panel::*slot)(const std::string&, const std::string&)) {
        return [this, slot](Choice* row) {
            connect(row, &Choice::signalItemValueChanged, this, slot);
            connect(this, pushText, row, &Choice::slotItemValueChanged);
        };
    };

    ToolGroupRules rules;
    ToolGroupWiring wiring;
    rules.logNoTool = "camera device is null .";
    rules.logNoParams = "camera trigger is null ."; // shared by three tools on purpose
    switch (kind) {
    case Biases:
        rules.title = tr("Biases");
        rules.intRows = rules.everyParameterAsInt = true;
        rules.logNoTool = "Camera tool is null .";
        rules.logNoParams = "camera biases is null .";
        wiring.intRow = numeric(&Panel::onBiasSliderValueChanged);
        break;
    case TriggerIn:
        rules.title = tr("Trigger In");
        rules.boolRows = true;
        wiring.boolRow = toggle(&Panel::onTriggerInSliderValueChanged);
        break;
    case AntiFlicker:
        rules.title = tr("Anti Flicker");
        rules.intRows = rules.floatRows = rules.boolRows = rules.enumRows = true;
        rules.boolPosition = 0;
        rules.enumPosition = 1;
        wiring.intRow = numeric(qOverload<const std::string&, int>(&Panel::onAntiFlickerSliderValueChanged));
        wiring.floatRow = whole(&Panel::onAntiFlickerSliderFloatValueChanged);
        wiring.boolRow = toggle(qOverload<const std::string&, bool>(&Panel::onAntiFlickerSliderValueChanged));
        wiring.enumRow = choice(&Panel::onAntiFlickerSliderEnumValueChanged);
        break;
    case EventRateControl:
        rules.title = tr("Event Rate Control");
        rules.intRows = rules.boolRows = true;
        wiring.intRow = numeric(qOverload<const std::string&, int>(&Panel::onEventRateControlSliderValueChanged));
        wiring.boolRow = toggle(qOverload<const std::string&, bool>(&Panel::onEventRateControlSliderValueChanged));
        break;
    case EventTrailFilter:
        rules.title = tr("Event Trail Filter");
        rules.intRows = rules.boolRows = rules.enumRows = true;
        wiring.intRow = numeric(qOverload<const std::string&, int>(&Panel::onEventTrailFilterSliderValueChanged));
        wiring.boolRow = toggle(qOverload<const std::string&, bool>(&Panel::onEventTrailFilterSliderValueChanged));
        wiring.enumRow =
            choice(qOverload<const std::string&, const std::string&>(&Panel::onEventTrailFilterSliderValueChanged));
        break;
    case Roi:
        rules.title = tr("ROI");
        rules.intRows = rules.boolRows = true;
        rules.currentValues = true;
        rules.logNoParams = "camera roi is null .";
        m_roiRows.clear();
        // The window's numbers only go to the tool, which checks them together: every field
        // shows whether the window as a whole was accepted.
        wiring.intRow = [this](Row* row) {
            connect(this, pushInt, row, qOverload<const std::string&, int>(&Row::slotItemValueChanged));
            m_roiRows.append(row);
            row->setValueCallback([this](const std::string& name, int value) {
                const bool accepted = m_tools[Roi] && m_tools[Roi]->setIntParam(name, value);
                for (const auto& r : m_roiRows)
                    if (r)
                        r->setValid(accepted);
            });
        };
        wiring.boolRow = toggle(qOverload<const std::string&, bool>(&Panel::onROISliderValueChanged));
        break;
    case KindCount:
        return;
    }
    buildToolGroup(*this, m_groups[kind], tool.get(), rules, wiring);
    // The ROI group comes last: its end brings the camera's current values into every group.
    if (kind == Roi && m_groups[Roi])
        readBackCameraValues(m_camera.get());
    updateEmptyNote();
}

template <typename T>
void SidebarDvsSettingUI::deliver(Kind kind, const std::string& name, const T& value) {
    deliverToolValue(m_tools[kind].get(), quorvel::toolSectionKey(kToolTypes[kind]),
                     AppSettings::instance()->dvsCameraCurrentConfigPath, name, value);
}

void SidebarDvsSettingUI::deliverFloat(Kind kind, const std::string& name, int value) {
    deliverToolWholeUnits(m_tools[kind].get(), quorvel::toolSectionKey(kToolTypes[kind]),
                          AppSettings::instance()->dvsCameraCurrentConfigPath, name, value);
}

void SidebarDvsSettingUI::onBiasSliderValueChanged(const std::string& name, int value) {
    deliver(Biases, name, value);
}

void SidebarDvsSettingUI::onTriggerInSliderValueChanged(const std::string& name, bool value) {
    deliver(TriggerIn, name, value);
}

void SidebarDvsSettingUI::onAntiFlickerSliderValueChanged(const std::string& name, int value) {
    deliver(AntiFlicker, name, value);
}

void SidebarDvsSettingUI::onAntiFlickerSliderValueChanged(const std::string& name, bool value) {
    deliver(AntiFlicker, name, value);
}

void SidebarDvsSettingUI::onAntiFlickerSliderFloatValueChanged(const std::string& name, int value) {
    deliverFloat(AntiFlicker, name, value);
}

void SidebarDvsSettingUI::onAntiFlickerSliderEnumValueChanged(const std::string& name, const std::string& value) {
    deliver(AntiFlicker, name, value);
}

void SidebarDvsSettingUI::onEventRateControlSliderValueChanged(const std::string& name, int value) {
    deliver(EventRateControl, name, value);
}

void SidebarDvsSettingUI::onEventRateControlSliderValueChanged(const std::string& name, bool value) {
    deliver(EventRateControl, name, value);
}

void SidebarDvsSettingUI::onEventTrailFilterSliderValueChanged(const std::string& name, int value) {
    deliver(EventTrailFilter, name, value);
}

void SidebarDvsSettingUI::onEventTrailFilterSliderValueChanged(const std::string& name, bool value) {
    deliver(EventTrailFilter, name, value);
}

void SidebarDvsSettingUI::onEventTrailFilterSliderValueChanged(const std::string& name, const std::string& value) {
    deliver(EventTrailFilter, name, value);
}

void SidebarDvsSettingUI::onROISliderValueChanged(const std::string& name, int value) {
    deliver(Roi, name, value);
}

void SidebarDvsSettingUI::onROISliderValueChanged(const std::string& name, bool value) {
    deliver(Roi, name, value);
}

void SidebarDvsSettingUI::onROISliderValueChanged(const std::string& name, const std::string& value) {
    deliver(Roi, name, value);
}

quorvel::DvsCamera* SidebarDvsSettingUI::configurationCamera() const {
    return m_camera.get();
}

QString SidebarDvsSettingUI::defaultConfigurationPath() const {
    return AppSettings::instance()->dvsDefaultConfigPath;
}
