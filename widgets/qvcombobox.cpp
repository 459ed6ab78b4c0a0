#include "qvcombobox.h"

#include "qvstylesheet.h"

#include <QAbstractItemView>
#include <QFrame>
#include <QHBoxLayout>
#include <QWheelEvent>

void NoFocusFrameDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option,
                                 const QModelIndex& index) const {
    QStyleOptionViewItem plain(option);
    plain.state &= ~QStyle::State_HasFocus;
    QStyledItemDelegate::paint(painter, plain, index);
}

QVComboBoxBase::QVComboBoxBase(QWidget* parent) : QComboBox(parent) {
    setFocusPolicy(Qt::StrongFocus);
}

void QVComboBoxBase::wheelEvent(QWheelEvent* event) {
    if (!hasFocus()) {
        event->ignore();
        return;
    }
    QComboBox::wheelEvent(event);
}

void QVComboBoxBase::showPopup() {
    QComboBox::showPopup();
    m_popupShown = true;
    emit signalPopupShown(currentIndex());
}

void QVComboBoxBase::hidePopup() {
    QComboBox::hidePopup();
    if (!m_popupShown)
        return;
    m_popupShown = false;
    emit signalPopupHidden();
}

void QVComboBoxBase::enterEvent(QEnterEvent* event) {
    QComboBox::enterEvent(event);
    emit signalMouseHoverd(true);
}

void QVComboBoxBase::leaveEvent(QEvent* event) {
    QComboBox::leaveEvent(event);
    if (!m_popupShown)
        emit signalMouseHoverd(false);
}

QvComboBox::QvComboBox(QWidget* parent) : QWidget(parent) {
    setObjectName(QStringLiteral("QvComboBox"));
    auto* outer = new QHBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    comboBoxWidget = new QFrame(this);
    comboBoxWidget->setObjectName(QStringLiteral("comboBoxWidget"));
    comboBoxWidget->setStyleSheet(QStringLiteral("border: 2px solid transparent; border-radius: 3px;"));
    auto* inner = new QHBoxLayout(comboBoxWidget);
    inner->setContentsMargins(0, 0, 0, 0);
    cb_combox_in_widget = new QVComboBoxBase(comboBoxWidget);
    cb_combox_in_widget->setObjectName(QStringLiteral("cb_combox_in_widget"));
    cb_combox_in_widget->setEditable(true);
    cb_combox_in_widget->setInsertPolicy(QComboBox::NoInsert);
    cb_combox_in_widget->view()->setItemDelegate(new NoFocusFrameDelegate(cb_combox_in_widget));
    // The plain "color:" comes first: the text-colour rewrite replaces the first match of its
    // pattern, which would otherwise land inside "selection-background-color".
    cb_combox_in_widget->setStyleSheet(QStringLiteral(
        "QComboBox{color: #A7A7A7; border: 1px solid #A7A7A7; border-radius: 3px; "
        "selection-background-color: #D7E7EE; font: 12px \"Noto Sans SC Medium\"; "
        "padding: 2px 4px; min-height: 18px; background: white;}"
        "QComboBox::drop-down{border: none; width: 18px;}"
        "QComboBox::down-arrow{image: url(:/img/assets/icon_combo_arrow.svg); width: 10px; height: 10px;}"
        "QComboBox QAbstractItemView{font: 12px \"Noto Sans SC Medium\"; color: #555555; "
        "selection-background-color: #D7E7EE; selection-color: #004B6A; outline: 0px; border: 1px solid #D7E7EE;}"));
    inner->addWidget(cb_combox_in_widget);
    outer->addWidget(comboBoxWidget);

    connect(cb_combox_in_widget, &QVComboBoxBase::signalMouseHoverd, this, [this](bool inside) {
        if (inside)
            slotHighlight();
        else
            slotNormal();
    });
    connect(cb_combox_in_widget, &QVComboBoxBase::signalPopupShown, this, &QvComboBox::slotHighlightAndForward);
    connect(cb_combox_in_widget, &QVComboBoxBase::signalPopupHidden, this, &QvComboBox::slotNormalAndForward);
}

void QvComboBox::setLook(const QString& frameStyle, const QString& frameColour, const QString& textColour) {
    comboBoxWidget->setStyleSheet(frameStyle);
    QvStyleSheet::setDeclaration(comboBoxWidget, QvStyleSheet::borderPattern(),
                                 QStringLiteral("border: 2px solid ") + frameColour + QLatin1Char(';'));
    QvStyleSheet::setDeclaration(cb_combox_in_widget, QvStyleSheet::colorPattern(),
                                 QStringLiteral("color: ") + textColour + QLatin1Char(';'));
}

void QvComboBox::slotHighlight() {
    setLook(QStringLiteral("border: 2px solid #D7E7EE; border-radius: 3px;"), QStringLiteral("#D7E7EE"),
            QStringLiteral("#004B6A"));
}

void QvComboBox::slotHighlightAndForward(int index) {
    setLook(QStringLiteral("border: 2px solid #D7E7EE;                    border-radius: 3px;"),
            QStringLiteral("#D7E7EE"), QStringLiteral("#004B6A"));
    emit signalPopupShown(index);
}

void QvComboBox::slotNormal() {
    setLook(QStringLiteral("border: 2px solid transparent;                border-radius: 3px;"),
            QStringLiteral("transparent"), QStringLiteral("#A7A7A7"));
}

void QvComboBox::slotNormalAndForward() {
    setLook(QStringLiteral("border: 2px solid transparent;                    border-radius: 3px;"),
            QStringLiteral("transparent"), QStringLiteral("#A7A7A7"));
    emit signalPopupHidden();
}
