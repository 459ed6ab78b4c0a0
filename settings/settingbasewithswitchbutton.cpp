#include "settingbasewithswitchbutton.h"

#include "qvtooltip.h"
#include "settingnames.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>

SettingBaseWithSwitchButton::SettingBaseWithSwitchButton(const std::string& name, QWidget* parent)
    : QWidget(parent) {
    setObjectName(QStringLiteral("SettingBaseWithSwitchButton"));
    auto* line = new QHBoxLayout(this);
    line->setContentsMargins(10, 3, 8, 3);
    lb_item_name = new QLabel(SettingNames::displayForm(name), this);
    lb_item_name->setObjectName(QStringLiteral("lb_item_name"));
    line->addWidget(lb_item_name, 1);
    m_switch = new QPushButton(this);
    m_switch->setObjectName(QStringLiteral("switchButton"));
    m_switch->setCheckable(true);
    m_switch->setFixedSize(36, 20);
    m_switch->setCursor(Qt::PointingHandCursor);
    line->addWidget(m_switch);
    connect(m_switch, &QPushButton::clicked, this,
            [this](bool checked) { emit signalItemValueChanged(parameterName(), checked); });
}

void SettingBaseWithSwitchButton::setChecked(bool checked) {
    m_switch->setChecked(checked);
}

bool SettingBaseWithSwitchButton::isChecked() const {
    return m_switch->isChecked();
}

void SettingBaseWithSwitchButton::setToolTip(const QString& text) {
    if (!m_toolTip)
        m_toolTip = new QvToolTip(text, this);
    else
        m_toolTip->setText(text);
}

std::string SettingBaseWithSwitchButton::parameterName() const {
    return SettingNames::parameterName(lb_item_name->text());
}

void SettingBaseWithSwitchButton::slotItemValueChanged(const std::string& name, bool v) {
    if (name == parameterName())
        m_switch->setChecked(v);
}
