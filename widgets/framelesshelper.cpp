#include "framelesshelper.h"

#include <QAbstractButton>
#include <QAbstractSlider>
#include <QAbstractSpinBox>
#include <QComboBox>
#include <QGuiApplication>
#include <QLineEdit>
#include <QMouseEvent>
#include <QStyleHints>
#include <QWidget>
#include <QWindow>

FramelessHelper::FramelessHelper(QWidget* window) : QObject(window), m_window(window) {
    m_window->setWindowFlag(Qt::FramelessWindowHint, true);
    m_window->installEventFilter(this);
    if (m_window->windowHandle())
        attachWindow();
}

void FramelessHelper::setTitleBar(QWidget* titleBar) {
    m_titleBar = titleBar;
}

void FramelessHelper::setSystemButton(SystemButton kind, QAbstractButton* button) {
    if (kind <= Unknown || kind > Close)
        return;
    m_buttons[kind] = button;
    if (button)
        m_hitTestVisible.insert(button);
}

QAbstractButton* FramelessHelper::systemButton(SystemButton kind) const {
    return (kind > Unknown && kind <= Close) ? m_buttons[kind].data() : nullptr;
}

void FramelessHelper::setHitTestVisible(QWidget* widget, bool visible) {
    if (visible)
        m_hitTestVisible.insert(widget);
    else
        m_hitTestVisible.remove(widget);
}

void FramelessHelper::toggleMaximized() {
    if (m_window->isMaximized())
        m_window->showNormal();
    else
        m_window->showMaximized();
}

void FramelessHelper::attachWindow() {
    QWindow* handle = m_window->windowHandle();
    if (!handle || handle == m_handle)
        return;
    if (m_handle)
        m_handle->removeEventFilter(this);
    m_handle = handle;
    m_handle->installEventFilter(this);
}

Qt::Edges FramelessHelper::edgesAt(const QPoint& pos) const {
    Qt::Edges edges;
    if (m_border <= 0 || m_window->isMaximized() || m_window->isFullScreen())
        return edges;
    if (m_window->minimumSize() == m_window->maximumSize())
        return edges; // fixed-size windows do not resize
    const int w = m_window->width();
    const int h = m_window->height();
    if (pos.x() < m_border)
        edges |= Qt::LeftEdge;
    if (pos.x() >= w - m_border)
        edges |= Qt::RightEdge;
    if (pos.y() < m_border)
        edges |= Qt::TopEdge;
    if (pos.y() >= h - m_border)
        edges |= Qt::BottomEdge;
    return edges;
}

bool FramelessHelper::isDragArea(const QPoint& pos) const {
    if (!m_titleBar || !m_titleBar->isVisible())
        return false;
    const QPoint inTitle = m_titleBar->mapFrom(m_window, pos);
    if (!m_titleBar->rect().contains(inTitle))
        return false;
    QWidget* hit = m_window->childAt(pos);
    for (QWidget* w = hit; w && w != m_titleBar; w = w->parentWidget()) {
        if (m_hitTestVisible.contains(w))
            return false;
        // Anything the user can operate keeps its mouse events.
        if (qobject_cast<QAbstractButton*>(w) || qobject_cast<QLineEdit*>(w) ||
            qobject_cast<QComboBox*>(w) || qobject_cast<QAbstractSlider*>(w) ||
            qobject_cast<QAbstractSpinBox*>(w))
            return false;
    }
    return hit == m_titleBar || m_titleBar->isAncestorOf(hit);
}

void FramelessHelper::updateCursor(Qt::Edges edges) {
    Qt::CursorShape shape = Qt::ArrowCursor;
    if ((edges & Qt::LeftEdge && edges & Qt::TopEdge) || (edges & Qt::RightEdge && edges & Qt::BottomEdge))
        shape = Qt::SizeFDiagCursor;
    else if ((edges & Qt::RightEdge && edges & Qt::TopEdge) || (edges & Qt::LeftEdge && edges & Qt::BottomEdge))
        shape = Qt::SizeBDiagCursor;
    else if (edges & (Qt::LeftEdge | Qt::RightEdge))
        shape = Qt::SizeHorCursor;
    else if (edges & (Qt::TopEdge | Qt::BottomEdge))
        shape = Qt::SizeVerCursor;

    if (edges) {
        m_handle->setCursor(QCursor(shape));
        m_cursorOverridden = true;
    } else if (m_cursorOverridden) {
        // Give the cursor back to whichever child widget is under the mouse.
        m_handle->unsetCursor();
        m_cursorOverridden = false;
    }
}

bool FramelessHelper::handlePress(QMouseEvent* e) {
    if (e->button() != Qt::LeftButton)
        return false;
    const QPoint pos = e->position().toPoint();
    const Qt::Edges edges = edgesAt(pos);
    if (edges) {
        if (m_handle->startSystemResize(edges))
            return true;
        m_drag = Drag::Resize;
        m_dragEdges = edges;
    } else if (isDragArea(pos)) {
        // The move starts once the mouse has travelled the drag distance: handing the pointer to
        // the window manager on the press itself would swallow the second click of a double-click.
        m_drag = Drag::PendingMove;
    } else {
        return false;
    }
    m_pressGlobal = e->globalPosition().toPoint();
    m_pressGeometry = m_window->geometry();
    return true;
}

bool FramelessHelper::handleMove(QMouseEvent* e) {
    if (m_drag == Drag::None) {
        if (e->buttons() == Qt::NoButton)
            updateCursor(edgesAt(e->position().toPoint()));
        return false;
    }
    const QPoint delta = e->globalPosition().toPoint() - m_pressGlobal;
    if (m_drag == Drag::PendingMove) {
        if (!(e->buttons() & Qt::LeftButton)) {
            m_drag = Drag::None;
            return false;
        }
        if (delta.manhattanLength() < QGuiApplication::styleHints()->startDragDistance())
            return true;
        if (m_handle->startSystemMove()) {
            m_drag = Drag::None;
            return true;
        }
        m_drag = Drag::Move;
    }
    if (m_drag == Drag::Move) {
        if (m_window->isMaximized()) {
            // Dragging a maximised window restores it under the cursor, as native frames do.
            const double ratio = double(e->position().x()) / qMax(1, m_window->width());
            m_window->showNormal();
            m_pressGeometry = m_window->geometry();
            m_pressGeometry.moveTopLeft(
                e->globalPosition().toPoint() -
                QPoint(int(ratio * m_pressGeometry.width()), int(e->position().y())));
            m_pressGlobal = e->globalPosition().toPoint();
        }
        m_window->move(m_pressGeometry.topLeft() + delta);
        return true;
    }
    QRect g = m_pressGeometry;
    const QSize minSize = m_window->minimumSizeHint().expandedTo(m_window->minimumSize());
    if (m_dragEdges & Qt::LeftEdge)
        g.setLeft(qMin(g.left() + delta.x(), g.right() - minSize.width() + 1));
    if (m_dragEdges & Qt::RightEdge)
        g.setRight(qMax(g.right() + delta.x(), g.left() + minSize.width() - 1));
    if (m_dragEdges & Qt::TopEdge)
        g.setTop(qMin(g.top() + delta.y(), g.bottom() - minSize.height() + 1));
    if (m_dragEdges & Qt::BottomEdge)
        g.setBottom(qMax(g.bottom() + delta.y(), g.top() + minSize.height() - 1));
    m_window->setGeometry(g);
    return true;
}

bool FramelessHelper::eventFilter(QObject* watched, QEvent* event) {
    if (watched == m_window) {
        switch (event->type()) {
        case QEvent::Show:
        case QEvent::WinIdChange:
            attachWindow();
            break;
        case QEvent::WindowStateChange:
            emit maximizedChanged(m_window->isMaximized());
            break;
        default:
            break;
        }
        return false;
    }
    if (watched != m_handle)
        return false;

    switch (event->type()) {
    case QEvent::MouseButtonPress:
        return handlePress(static_cast<QMouseEvent*>(event));
    case QEvent::MouseMove:
        return handleMove(static_cast<QMouseEvent*>(event));
    case QEvent::MouseButtonRelease:
        if (m_drag != Drag::None) {
            m_drag = Drag::None;
            return true;
        }
        return false;
    case QEvent::MouseButtonDblClick: {
        auto* e = static_cast<QMouseEvent*>(event);
        if (e->button() == Qt::LeftButton && isDragArea(e->position().toPoint()) &&
            m_window->minimumSize() != m_window->maximumSize()) {
            toggleMaximized();
            return true;
        }
        return false;
    }
    case QEvent::Leave:
        if (m_drag == Drag::None && m_cursorOverridden)
            updateCursor({});
        return false;
    default:
        return false;
    }
}
