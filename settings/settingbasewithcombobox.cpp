#include "settingbasewithcombobox.h"

#include "qvcombobox.h"
#include "qvtooltip.h"
#include "settingnames.h"

#include <QHBoxLayout>
#include <QLabel>

SettingBaseWithComboBox::SettingBaseWithComboBox(const std::string& name, QWidget* parent) : QWidget(parent) {
    setObjectName(QStringLiteral("SettingBaseWithComboBox"));
    auto* line = new QHBoxLayout(this);
    line->setContentsMargins(10, 3, 8, 3);
    lb_set_item_name = new QLabel(SettingNames::displayForm(name), this);
    lb_set_item_name->setObjectName(QStringLiteral("lb_set_item_name"));
    line->addWidget(lb_set_item_name, 1);
    cb_item = new QvComboBox(this);
    cb_item->setObjectName(QStringLiteral("cb_item"));
    // Only the tool's own options: a typed text would reach the camera (which refuses it) and the
    // configuration file (which must stay loadable) on every keystroke.
    cb_item->comboBox()->setEditable(false);
    cb_item->setMinimumWidth(110);
    cb_item->setMaximumWidth(160);
    line->addWidget(cb_item);
    connect(cb_item->comboBox(), &QComboBox::currentTextChanged, this,
            [this](const QString& text) { emit signalItemValueChanged(parameterName(), text.toStdString()); });
}

void SettingBaseWithComboBox::addItem(const QString& text) {
    cb_item->comboBox()->addItem(text);
}

QString SettingBaseWithComboBox::currentText() const {
    return cb_item->comboBox()->currentText();
}

void SettingBaseWithComboBox::setToolTip(const QString& text) {
    if (!m_toolTip)
        m_toolTip = new QvToolTip(text, this);
    else
        m_toolTip->setText(text);
}

std::string SettingBaseWithComboBox::parameterName() const {
    return SettingNames::parameterName(lb_set_item_name->text());
}

void SettingBaseWithComboBox::slotItemValueChanged(const std::string& name, const std::string& text) {
    if (name != parameterName())
        return;
    const int index = cb_item->comboBox()->findText(QString::fromStdString(text));
    if (index >= 0)
        cb_item->comboBox()->setCurrentIndex(index);
}
