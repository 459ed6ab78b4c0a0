#include "waitingwin.h"

#include <QDebug>
#include <QLabel>
#include <QMovie>
#include <QVBoxLayout>

WaitingWin::WaitingWin(QWidget* parent)
    : QWidget(parent, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint |
                          Qt::WindowDoesNotAcceptFocus) {
    setObjectName(QStringLiteral("WaitingWin"));
    // A busy indicator only: the main window keeps the keyboard (its transport shortcuts are
    // window shortcuts and would go dead if this took activation and then closed).
    setAttribute(Qt::WA_ShowWithoutActivating);
    setAttribute(Qt::WA_TranslucentBackground);
    setStyleSheet(QStringLiteral("background: transparent;"));
    resize(96, 96);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    label_waiting = new QLabel(this);
    label_waiting->setObjectName(QStringLiteral("label_waiting"));
    label_waiting->setScaledContents(true);
    layout->addWidget(label_waiting);
    m_movie = new QMovie(QStringLiteral(":/img/icon/waiting.gif"), QByteArray(), this);
}

bool WaitingWin::isAnimating() const {
    return m_movie->state() == QMovie::Running;
}

void WaitingWin::showEvent(QShowEvent* event) {
    if (QWidget* p = parentWidget()) {
        const QPoint center = p->mapToGlobal(p->rect().center());
        move(center - QPoint(width() / 2, height() / 2));
    }
    if (!m_movie->isValid()) {
        qDebug() << "GIF is not valid or not found";
    } else {
        label_waiting->setMovie(m_movie);
        m_movie->start();
    }
    QWidget::showEvent(event);
}

void WaitingWin::hideEvent(QHideEvent* event) {
    m_movie->stop();
    QWidget::hideEvent(event);
}
