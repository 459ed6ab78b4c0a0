#include "qvtooltip.h"

#include <QCursor>
#include <QEvent>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QScreen>

#include <algorithm>

QvToolTip::QvToolTip(const QString& text, QWidget* target)
    : QWidget(target, Qt::ToolTip | Qt::FramelessWindowHint), m_target(target) {
    setAttribute(Qt::WA_TranslucentBackground);
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    m_label = new QLabel(text, this);
    m_label->setAlignment(Qt::AlignCenter);
    m_label->setFixedHeight(20);
    layout->addWidget(m_label);
    hide();
    if (target)
        target->installEventFilter(this);
}

QString QvToolTip::text() const {
    return m_label->text();
}

void QvToolTip::setText(const QString& text) {
    m_label->setText(text);
    adjustSize();
}

void QvToolTip::showAt(const QPoint& globalPos) {
    // Styled when first shown: a panel attaches one to every row, and most are never shown.
    if (styleSheet().isEmpty())
        setStyleSheet(QStringLiteral(
            ".QvToolTip{min-width: 100px; min-height: 20px; max-height: 20px;}"
            "QLabel{font: 10px \"Noto Sans SC Medium\"; color: #646464; background: white; "
            "border: 1px solid #D7E7EE; border-radius: 3px; padding: 0px 6px;}"));
    adjustSize();
    QPoint p = globalPos;
    if (const QScreen* screen = QGuiApplication::screenAt(globalPos)) {
        const QRect area = screen->availableGeometry();
        p.setX(std::clamp(p.x(), area.left(), std::max(area.left(), area.right() - width())));
        p.setY(std::clamp(p.y(), area.top(), std::max(area.top(), area.bottom() - height())));
    }
    move(p);
    show();
    raise();
}

bool QvToolTip::eventFilter(QObject* watched, QEvent* event) {
    if (watched == m_target) {
        switch (event->type()) {
        case QEvent::Enter:
            if (!m_label->text().isEmpty())
                showAt(QCursor::pos() + QPoint(12, 18));
            break;
        case QEvent::Leave:
        case QEvent::Hide:
        case QEvent::MouseButtonPress:
        case QEvent::WindowDeactivate:
            hide();
            break;
        default:
            break;
        }
    }
    return QWidget::eventFilter(watched, event);
}
