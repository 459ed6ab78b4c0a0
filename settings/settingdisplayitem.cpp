#include "settingdisplayitem.h"

#include "qvcombobox.h"
#include "qvstylesheet.h"

#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QRegularExpression>

namespace {

const QRegularExpression& selectionPattern() {
    static const QRegularExpression re(QStringLiteral("(\\bselection-background-color[^;]*;)"));
    return re;
}

bool slowRateValid(const QString& text, double* rate) {
    bool ok = false;
    *rate = text.toDouble(&ok);
    return ok && *rate >= 0.03 && *rate <= 1000.0;
}

} // namespace

SettingDisplayItem::SettingDisplayItem(QWidget* parent) : QWidget(parent) {
    setObjectName(QStringLiteral("SettingDisplayItem"));
    auto* grid = new QGridLayout(this);
    grid->setContentsMargins(10, 6, 8, 6);
    grid->setHorizontalSpacing(10);
    grid->setVerticalSpacing(6);
    label = new QLabel(tr("Accumulation time"), this);
    label->setObjectName(QStringLiteral("label"));
    label_2 = new QLabel(tr("Slow Rate"), this);
    label_2->setObjectName(QStringLiteral("label_2"));
    widget_combobox_accumulation_time = new QvComboBox(this);
    widget_combobox_accumulation_time->setObjectName(QStringLiteral("widget_combobox_accumulation_time"));
    widget_combobox_frame_rate = new QvComboBox(this);
    widget_combobox_frame_rate->setObjectName(QStringLiteral("widget_combobox_frame_rate"));
    for (QvComboBox* list : {widget_combobox_accumulation_time, widget_combobox_frame_rate})
        list->setMinimumWidth(110);
    grid->addWidget(label, 0, 0);
    grid->addWidget(widget_combobox_accumulation_time, 0, 1);
    grid->addWidget(label_2, 1, 0);
    grid->addWidget(widget_combobox_frame_rate, 1, 1);
    grid->setColumnStretch(0, 1);

    QComboBox* acc = accumulationTimeList();
    acc->addItems({QStringLiteral("33.33ms"), QStringLiteral("100ms"), QStringLiteral("10ms"), QStringLiteral("1ms")});
    QComboBox* rate = slowRateList();
    rate->addItems({QStringLiteral("1"), QStringLiteral("2"), QStringLiteral("5"), QStringLiteral("10"),
                    QStringLiteral("100"), QStringLiteral("1000")});

    connect(acc, &QComboBox::editTextChanged, this, &SettingDisplayItem::slotAccumulationTimeTextChanged);
    connect(acc->lineEdit(), &QLineEdit::editingFinished, this, &SettingDisplayItem::slotAccumulationTimeTextEditFinished);
    // Picking a preset from the list counts as finishing the edit.
    connect(acc, &QComboBox::activated, this, &SettingDisplayItem::slotAccumulationTimeTextEditFinished);
    connect(rate, &QComboBox::editTextChanged, this, &SettingDisplayItem::slotFrameRateTextChanged);
    connect(rate->lineEdit(), &QLineEdit::editingFinished, this, &SettingDisplayItem::slotFrameRateEditTextFinished);
    connect(rate, &QComboBox::activated, this, &SettingDisplayItem::slotFrameRateEditTextFinished);
}

QComboBox* SettingDisplayItem::accumulationTimeList() const {
    return widget_combobox_accumulation_time->comboBox();
}

QComboBox* SettingDisplayItem::slowRateList() const {
    return widget_combobox_frame_rate->comboBox();
}

QString SettingDisplayItem::completeAccumulationText(const QString& text) {
    if (text.endsWith(QLatin1String("ms"), Qt::CaseInsensitive) || text.endsWith(QLatin1String("us"), Qt::CaseInsensitive))
        return text;
    return text + QStringLiteral("ms");
}

uint64_t SettingDisplayItem::accumulationTimeUs(const QString& completedText) {
    const bool ms = completedText.endsWith(QLatin1String("ms"), Qt::CaseInsensitive);
    const bool us = completedText.endsWith(QLatin1String("us"), Qt::CaseInsensitive);
    if (!ms && !us)
        return 0;
    bool ok = false;
    const float number = completedText.chopped(2).toFloat(&ok);
    if (!ok || !(number >= 0.0f)) // also refuses nan
        return 0;
    const float value = ms ? number * 1000.0f : number;
    return value >= 18446744073709551615.0f ? 0 : static_cast<uint64_t>(value);
}

void SettingDisplayItem::showValidity(QComboBox* list, bool valid) {
    QvStyleSheet::setDeclaration(list, QvStyleSheet::borderPattern(),
                                 valid ? QStringLiteral("border: 1px solid #004B6A;")
                                       : QStringLiteral("border: 1px solid #FF6058;"));
    QvStyleSheet::setDeclaration(list, selectionPattern(),
                                 valid ? QStringLiteral("selection-background-color: #D7E7EE;")
                                       : QStringLiteral("selection-background-color: #FFDAD8;"));
    list->update();
}

void SettingDisplayItem::resetBorder(QComboBox* list) {
    QvStyleSheet::setDeclaration(list, QvStyleSheet::borderPattern(), QStringLiteral("border: 1px solid #A7A7A7;"));
}

void SettingDisplayItem::slotAccumulationTimeTextChanged(const QString& text) {
    const uint64_t us = accumulationTimeUs(completeAccumulationText(text));
    showValidity(accumulationTimeList(), us != 0 && us <= 1000000);
}

void SettingDisplayItem::slotAccumulationTimeTextEditFinished() {
    QComboBox* list = accumulationTimeList();
    QLineEdit* edit = list->lineEdit();
    const int cursor = edit->cursorPosition();
    const QString completed = completeAccumulationText(edit->text());
    const uint64_t us = accumulationTimeUs(completed);
    if (us == 0 || us > 1000000)
        return;
    if (edit->text() != completed)
        edit->setText(completed);
    edit->setCursorPosition(cursor);
    resetBorder(list);
    emit signalCumulativeTimeChanged(us);
}

void SettingDisplayItem::slotFrameRateTextChanged(const QString& text) {
    double rate = 0;
    showValidity(slowRateList(), slowRateValid(text, &rate));
}

void SettingDisplayItem::slotFrameRateEditTextFinished() {
    double rate = 0;
    if (!slowRateValid(slowRateList()->lineEdit()->text(), &rate))
        return;
    resetBorder(slowRateList());
    emit signalFpsChanged(static_cast<uint32_t>(static_cast<uint16_t>(static_cast<int>(rate * 30.0))));
}
