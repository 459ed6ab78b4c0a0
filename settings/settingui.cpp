#include "settingui.h"

#include "settingdisplayitem.h"
#include "settingitembox.h"

#include "quorvel/DvsCamera.h"

#include <QLabel>
#include <QScrollArea>
#include <QVBoxLayout>

#include <map>

SettingUI::SettingUI(QWidget* parent) : QWidget(parent) {
    qRegisterMetaType<std::string>("std::string");
    setObjectName(QStringLiteral("SettingUI"));
    setAttribute(Qt::WA_StyledBackground, true);
    // The rows' fixed looks live here, once per panel: a style sheet of their own on every row
    // would be parsed and resolved row by row, which was most of the time of building a panel.
    // Only the states that are rewritten at run time (line edits, choice lists, group title
    // bars) keep sheets of their own.
    setStyleSheet(QStringLiteral(
        "SettingUI{background: white; border-radius: 9px;}"
        "#lb_set_item_name, #lb_unit, #lb_item_name, SettingDisplayItem QLabel"
        "{font: 12px \"Noto Sans SC Medium\"; color: #7C7C7C;}"
        "SettingBaseWithLineEdit #widget{background: #F7F7F7; border-radius: 3px;}"
        "#pb_sub_item_value{border: none; background: transparent; image: url(:/img/assets/btn_setting_minus.svg);}"
        "#pb_sub_item_value:pressed{image: url(:/img/assets/btn_setting_minus_pressed.svg);}"
        "#pb_add_item_value{border: none; background: transparent; image: url(:/img/assets/btn_setting_plus.svg);}"
        "#pb_add_item_value:pressed{image: url(:/img/assets/btn_setting_plus_pressed.svg);}"
        "#horizontalSlider::groove:horizontal{height: 4px; background: #D7E7EE; border-radius: 2px;}"
        "#horizontalSlider::sub-page:horizontal{background: #004B6A; border-radius: 2px;}"
        "#horizontalSlider::handle:horizontal{width: 12px; margin: -5px 0; border-radius: 6px; background: #004B6A;}"
        "#switchButton{border: none; background: transparent; image: url(:/img/assets/btn_switch_disable.svg);}"
        "#switchButton:checked{image: url(:/img/assets/btn_switch_enable.svg);}"));
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(10, 14, 10, 14);
    outer->setSpacing(10);

    lb_setting_ui = new QLabel(this);
    lb_setting_ui->setObjectName(QStringLiteral("lb_setting_ui"));
    lb_setting_ui->setStyleSheet(QStringLiteral("font: 18px \"Noto Sans SC Medium\"; color: #004B6A;"));
    outer->addWidget(lb_setting_ui);

    scroll_area_setting = new QScrollArea(this);
    scroll_area_setting->setObjectName(QStringLiteral("scroll_area_setting"));
    scroll_area_setting->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    scroll_area_setting->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    scroll_area_setting->setWidgetResizable(true);
    scroll_area_setting->setFrameShape(QFrame::NoFrame);
    scroll_area_setting->setStyleSheet(QStringLiteral("QScrollArea{background: transparent;}"));
    scrollAreaWidgetContents = new QWidget(scroll_area_setting);
    scrollAreaWidgetContents->setObjectName(QStringLiteral("scrollAreaWidgetContents"));
    scrollAreaWidgetContents->setStyleSheet(QStringLiteral("#scrollAreaWidgetContents{background: white;}"));
    verticalLayout = new QVBoxLayout(scrollAreaWidgetContents);
    verticalLayout->setObjectName(QStringLiteral("verticalLayout"));
    verticalLayout->setContentsMargins(0, 0, 0, 0);
    verticalLayout->setSpacing(8);
    verticalLayout->addStretch(1);
    scroll_area_setting->setWidget(scrollAreaWidgetContents);
    outer->addWidget(scroll_area_setting, 1);
}

void SettingUI::setTitle(const QString& title) {
    lb_setting_ui->setText(title);
}

QString SettingUI::title() const {
    return lb_setting_ui->text();
}

void SettingUI::insertBeforeSpacer(QWidget* widget) {
    verticalLayout->insertWidget(verticalLayout->count() - 1, widget);
    widget->show();
    scrollAreaWidgetContents->updateGeometry();
    update();
}

void SettingUI::buildDisplayGroup() {
    delete m_displayGroup;
    m_displayGroup = new SettingItemBox(scrollAreaWidgetContents);
    m_displayGroup->setObjectName(QStringLiteral("display_group"));
    m_displayGroup->setTitle(tr("Display"));
    m_displayItem = new SettingDisplayItem(m_displayGroup);
    m_displayGroup->addRow(m_displayItem);
    m_displayGroup->setFolded(true);
    connect(m_displayItem, &SettingDisplayItem::signalCumulativeTimeChanged, this, &SettingUI::slotCumulativeTimeChanged);
    connect(m_displayItem, &SettingDisplayItem::signalFpsChanged, this, &SettingUI::slotFpsChanged);
    insertBeforeSpacer(m_displayGroup);
}

void SettingUI::readBackCameraValues(quorvel::DvsCamera* camera) {
    if (!camera) {
        update();
        return;
    }
    for (const quorvel::ToolInfo& info : camera->getAllToolsInfo()) {
        const std::shared_ptr<quorvel::CameraTool> tool = camera->getTool(info.type);
        if (!tool)
            continue;
        std::map<std::string, quorvel::BasicParameterInfo> params;
        tool->getAllParamsInfo(params);
        for (const auto& [name, param] : params) {
            switch (param.type) {
            case quorvel::ParameterType::Int: {
                int v = 0;
                tool->getIntParam(name, v);
                emit signalSetValue(name, v);
                break;
            }
            case quorvel::ParameterType::Float: {
                float v = 0.0f;
                tool->getFloatParam(name, v);
                emit signalSetValue(name, v);
                break;
            }
            case quorvel::ParameterType::Bool: {
                bool v = false;
                tool->getBoolParam(name, v);
                emit signalSetValue(name, v);
                break;
            }
            case quorvel::ParameterType::Enum: {
                std::string v;
                tool->getEnumParam(name, v);
                emit signalSetValue(name, v);
                break;
            }
            default:
                break;
            }
        }
    }
}

void SettingUI::slotParamChangedDelivery(const std::string& name, int value) {
    emit signalSetValue(name, value);
}

void SettingUI::slotParamChangedDelivery(const std::string& name, float value) {
    emit signalSetValue(name, value);
}

void SettingUI::slotParamChangedDelivery(const std::string& name, bool value) {
    emit signalSetValue(name, value);
}

void SettingUI::slotParamChangedDelivery(const std::string& name, const std::string& value) {
    emit signalSetValue(name, value);
}

void SettingUI::slotCumulativeTimeChanged(uint64_t time_us) {
    emit signalCumulativeTimeChanged(time_us);
}

void SettingUI::slotFpsChanged(uint32_t fps) {
    emit signalFpsChanged(fps);
}
