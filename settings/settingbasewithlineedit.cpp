#include "settingbasewithlineedit.h"

#include "qvlineedit.h"
#include "qvstylesheet.h"
#include "qvtooltip.h"
#include "settingnames.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QSlider>
#include <QVBoxLayout>

namespace {

QPushButton* stepButton(QWidget* parent, const char* name) {
    auto* b = new QPushButton(parent);
    b->setObjectName(QLatin1String(name));
    b->setFixedSize(20, 20);
    // The value is typed or stepped while the line edit keeps the focus (and its slider shows).
    b->setFocusPolicy(Qt::NoFocus);
    return b;
}

} // namespace

SettingBaseWithLineEdit::SettingBaseWithLineEdit(const std::string& name, QWidget* parent) : QWidget(parent) {
    setupUi(SettingNames::displayForm(name));
    lb_set_item_name->adjustSize();
    widget_with_slider->hide();
    horizontalSlider->setFocusProxy(le_ds_line_edit);

    QvLineEditBase* edit = lineEdit();
    connect(edit, &QvLineEditBase::signalMouseHoverd, widget_with_slider, &QWidget::setVisible);
    connect(edit, &QLineEdit::editingFinished, this, &SettingBaseWithLineEdit::onEditingFinished);
    connect(edit, &QLineEdit::textChanged, this, &SettingBaseWithLineEdit::onTextChanged);
    connect(pb_add_item_value, &QPushButton::clicked, this, [this] { step(+1); });
    connect(pb_sub_item_value, &QPushButton::clicked, this, [this] { step(-1); });
    connect(horizontalSlider, &QSlider::valueChanged, this, &SettingBaseWithLineEdit::onSliderValueChanged);
}

void SettingBaseWithLineEdit::setupUi(const QString& label) {
    setObjectName(QStringLiteral("SettingBaseWithLineEdit"));
    auto* rows = new QVBoxLayout(this);
    rows->setContentsMargins(10, 3, 4, 3);
    rows->setSpacing(4);

    auto* line = new QHBoxLayout;
    line->setSpacing(6);
    lb_set_item_name = new QLabel(label, this);
    lb_set_item_name->setObjectName(QStringLiteral("lb_set_item_name"));
    line->addWidget(lb_set_item_name, 1);

    widget = new QWidget(this);
    widget->setObjectName(QStringLiteral("widget"));
    widget->setAttribute(Qt::WA_StyledBackground, true);
    widget->setFixedWidth(116);
    auto* box = new QHBoxLayout(widget);
    box->setContentsMargins(2, 2, 2, 2);
    box->setSpacing(2);
    pb_sub_item_value = stepButton(widget, "pb_sub_item_value");
    le_ds_line_edit = new QvLineEdit(widget);
    le_ds_line_edit->setObjectName(QStringLiteral("le_ds_line_edit"));
    lineEdit()->setAlignment(Qt::AlignCenter);
    lineEdit()->setMinimumHeight(22);
    pb_add_item_value = stepButton(widget, "pb_add_item_value");
    box->addWidget(pb_sub_item_value);
    box->addWidget(le_ds_line_edit, 1);
    box->addWidget(pb_add_item_value);
    line->addWidget(widget);

    lb_unit = new QLabel(this);
    lb_unit->setObjectName(QStringLiteral("lb_unit"));
    lb_unit->setAlignment(Qt::AlignCenter);
    lb_unit->setFixedWidth(40);
    line->addWidget(lb_unit);
    rows->addLayout(line);

    widget_with_slider = new QWidget(this);
    widget_with_slider->setObjectName(QStringLiteral("widget_with_slider"));
    auto* sliderRow = new QHBoxLayout(widget_with_slider);
    sliderRow->setContentsMargins(0, 0, 0, 0);
    horizontalSlider = new QSlider(Qt::Horizontal, widget_with_slider);
    horizontalSlider->setObjectName(QStringLiteral("horizontalSlider"));
    sliderRow->addWidget(horizontalSlider);
    rows->addWidget(widget_with_slider);
}

QvLineEditBase* SettingBaseWithLineEdit::lineEdit() const {
    return le_ds_line_edit->lineEdit();
}

std::string SettingBaseWithLineEdit::parameterName() const {
    return SettingNames::parameterName(lb_set_item_name->text());
}

int SettingBaseWithLineEdit::value() const {
    return horizontalSlider->value();
}

void SettingBaseWithLineEdit::setRange(int minValue, int maxValue) {
    horizontalSlider->setRange(minValue, maxValue);
    min = minValue;
    max = maxValue;
}

void SettingBaseWithLineEdit::setValue(int v) {
    if (v < min || v > max)
        return;
    lineEdit()->setText(QString::number(v));
    horizontalSlider->setValue(v);
}

void SettingBaseWithLineEdit::setUnit(const std::string& unit) {
    if (unit.empty() || unit == " ")
        return;
    lb_unit->setText(QLatin1Char('(') + QString::fromStdString(unit) + QLatin1Char(')'));
}

void SettingBaseWithLineEdit::setToolTip(const QString& text) {
    if (!m_toolTip)
        m_toolTip = new QvToolTip(text, this);
    else
        m_toolTip->setText(text);
}

void SettingBaseWithLineEdit::setValid(bool ok) {
    setBorderColour(ok ? QStringLiteral("#ACACAC") : QStringLiteral("#FF6058"));
}

void SettingBaseWithLineEdit::setValueCallback(ValueCallback callback) {
    m_callback = std::move(callback);
}

void SettingBaseWithLineEdit::slotItemValueChanged(const std::string& name, int v) {
    if (name == parameterName())
        lineEdit()->setText(QString::number(v));
}

void SettingBaseWithLineEdit::slotItemValueChanged(const std::string& name, float v) {
    if (name == parameterName())
        lineEdit()->setText(QString::number(v, 'g', 6));
}

void SettingBaseWithLineEdit::setBorderColour(const QString& colour) {
    QvStyleSheet::setDeclaration(lineEdit(), QvStyleSheet::borderPattern(),
                                 QStringLiteral("border: 1px solid ") + colour + QLatin1Char(';'));
}

void SettingBaseWithLineEdit::onTextChanged(const QString& text) {
    bool ok = false;
    const int v = text.toInt(&ok, 10);
    if (!ok) {
        setBorderColour(QStringLiteral("#FF6058"));
        return;
    }
    horizontalSlider->setValue(v);
    if (lineEdit()->hasFocus())
        setBorderColour(QStringLiteral("#004B6A"));
}

void SettingBaseWithLineEdit::onEditingFinished() {
    bool ok = false;
    const int v = lineEdit()->text().toInt(&ok, 10);
    if (ok)
        horizontalSlider->setValue(v);
    else
        setBorderColour(QStringLiteral("#FF6058"));
}

void SettingBaseWithLineEdit::step(int delta) {
    bool ok = false;
    const int v = lineEdit()->text().toInt(&ok, 10);
    if (!ok)
        return;
    const long long next = static_cast<long long>(v) + delta;
    if (next > max || next < min)
        return;
    horizontalSlider->setValue(static_cast<int>(next));
    if (lineEdit()->hasFocus())
        setBorderColour(QStringLiteral("#004B6A"));
}

void SettingBaseWithLineEdit::onSliderValueChanged(int value) {
    lineEdit()->setText(QString::number(value));
    const std::string name = parameterName();
    emit signalItemValueChanged(name, value);
    if (m_callback)
        m_callback(name, value);
}
