#include "qvlineedit.h"

#include "qvstylesheet.h"

#include <QFocusEvent>
#include <QHBoxLayout>
#include <QVBoxLayout>

PopWidget::PopWidget(QWidget* parent) : QWidget(parent) {
    setObjectName(QStringLiteral("PopWidget"));
    setAttribute(Qt::WA_TranslucentBackground);
    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    widget = new QWidget(this);
    widget->setObjectName(QStringLiteral("widget"));
    widget->setAttribute(Qt::WA_StyledBackground, true);
    widget->setStyleSheet(QStringLiteral("#widget{background: #E8EFF1; border-radius: 6px; padding: 0px;}"));
    auto* inner = new QVBoxLayout(widget);
    inner->setContentsMargins(0, 0, 0, 0);
    outer->addWidget(widget);
}

void PopWidget::setContent(QWidget* content) {
    if (m_content == content)
        return;
    delete m_content;
    m_content = content;
    if (content)
        widget->layout()->addWidget(content);
}

QvLineEditBase::QvLineEditBase(QWidget* parent) : QLineEdit(parent) {}

void QvLineEditBase::setPopContent(QWidget* content) {
    m_popContent = content;
    if (m_pop)
        m_pop->setContent(content);
}

void QvLineEditBase::setPopAnchor(QWidget* anchor) {
    m_anchor = anchor;
}

void QvLineEditBase::showPop(bool show) {
    if (!show) {
        if (m_pop)
            m_pop->hide();
        return;
    }
    if (!m_pop) {
        // A tool window that never takes the focus: the user keeps typing while it shows.
        m_pop = new PopWidget(this);
        m_pop->setWindowFlags(Qt::Tool | Qt::FramelessWindowHint | Qt::WindowDoesNotAcceptFocus);
        m_pop->setAttribute(Qt::WA_ShowWithoutActivating);
        m_pop->setFocusPolicy(Qt::NoFocus);
        m_pop->setContent(m_popContent);
    }
    if (m_anchor) {
        m_pop->setGeometry(QRect(m_anchor->mapToGlobal(QPoint(0, m_anchor->height() + 5)),
                                 QSize(m_anchor->width(), 30)));
    } else {
        m_pop->setGeometry(QRect(mapToGlobal(QPoint(0, height())), QSize(width(), 20)));
    }
    m_pop->show();
}

void QvLineEditBase::focusInEvent(QFocusEvent* event) {
    QLineEdit::focusInEvent(event);
    QvStyleSheet::setDeclaration(this, QvStyleSheet::borderPattern(),
                                 QStringLiteral("border: 1px solid ") + QStringLiteral("#004B6A") + QLatin1Char(';'));
    emit signalMouseHoverd(true);
}

void QvLineEditBase::focusOutEvent(QFocusEvent* event) {
    QLineEdit::focusOutEvent(event);
    QvStyleSheet::setDeclaration(this, QvStyleSheet::borderPattern(), QStringLiteral("border: 1px solid #ACACAC;"));
    emit signalMouseHoverd(false);
}

const char* QvLineEdit::baseStyle() {
    return "QLineEdit{    font: 12px \"Noto Sans SC Medium\";    color:#555555;    border: 1px solid #ACACAC;    "
           "border-radius: 3px;    }";
}

QvLineEdit::QvLineEdit(QWidget* parent) : QWidget(parent) {
    setObjectName(QStringLiteral("QvLineEdit"));
    auto* outer = new QHBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    widget_with_lineedit = new QWidget(this);
    widget_with_lineedit->setObjectName(QStringLiteral("widget_with_lineedit"));
    auto* inner = new QHBoxLayout(widget_with_lineedit);
    inner->setContentsMargins(0, 0, 0, 0);
    m_lineEdit = new QvLineEditBase(widget_with_lineedit);
    m_lineEdit->setObjectName(QStringLiteral("le_line_edit"));
    m_lineEdit->setStyleSheet(QLatin1String(baseStyle()));
    inner->addWidget(m_lineEdit);
    outer->addWidget(widget_with_lineedit);
    setFocusProxy(m_lineEdit);
}
