#pragma once
// Gives a frameless top-level widget the behaviour of a native window: dragging by a title bar,
// double-click to maximise or restore, and resizing from its edges.
//
// The helper watches the widget's native window, so it sees every mouse event before the child
// widgets do and never needs their cooperation. It asks the platform to move or resize the
// window (QWindow::startSystemMove/startSystemResize), which keeps snapping and window-manager
// behaviour; where the platform refuses (some X11 window managers, offscreen rendering) it moves
// or resizes the window by hand.
//
// Buttons and other interactive children inside the title bar keep their clicks: only presses on
// the title bar itself, or on passive children such as labels, start a drag. System buttons are
// registered so that they are never treated as drag areas; their clicks stay with their owner.
//
// Thread rules: GUI thread only, like the widget it serves.

#include <QObject>
#include <QPoint>
#include <QPointer>
#include <QRect>
#include <QSet>

class QAbstractButton;
class QMouseEvent;
class QWidget;
class QWindow;

class FramelessHelper : public QObject {
    Q_OBJECT
public:
    enum SystemButton { Unknown = 0, WindowIcon = 1, Help = 2, Minimize = 3, Maximize = 4, Close = 5 };
    Q_ENUM(SystemButton)

    /// Makes `window` frameless and attaches to it. The helper is a child of the window.
    explicit FramelessHelper(QWidget* window);

    /// The widget whose area drags the window.
    void setTitleBar(QWidget* titleBar);
    QWidget* titleBar() const { return m_titleBar; }
    void setSystemButton(SystemButton kind, QAbstractButton* button);
    QAbstractButton* systemButton(SystemButton kind) const;
    /// Marks a child of the title bar as interactive (never a drag area) or passive.
    void setHitTestVisible(QWidget* widget, bool visible = true);
    /// Width in pixels of the band along the edges that resizes the window (0 disables resizing).
    void setResizeBorderWidth(int pixels) { m_border = pixels; }
    int resizeBorderWidth() const { return m_border; }

    /// Toggles between maximised and normal, as a double-click on the title bar does.
    void toggleMaximized();

signals:
    void maximizedChanged(bool maximized);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void attachWindow();
    Qt::Edges edgesAt(const QPoint& pos) const;
    bool isDragArea(const QPoint& pos) const;
    bool handlePress(QMouseEvent* e);
    bool handleMove(QMouseEvent* e);
    void updateCursor(Qt::Edges edges);

    QWidget* m_window;
    QPointer<QWindow> m_handle;
    QPointer<QWidget> m_titleBar;
    QPointer<QAbstractButton> m_buttons[6];
    QSet<QWidget*> m_hitTestVisible;
    int m_border = 6;

    enum class Drag { None, PendingMove, Move, Resize };
    Drag m_drag = Drag::None;
    Qt::Edges m_dragEdges;
    QPoint m_pressGlobal;
    QRect m_pressGeometry;
    bool m_cursorOverridden = false;
};
