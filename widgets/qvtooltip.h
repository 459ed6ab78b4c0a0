#pragma once
// A small tooltip window with one centred line of grey text, attached to a widget: it shows
// under the pointer when the pointer enters the widget and hides when it leaves, the widget is
// pressed or hidden. Created hidden.
// Thread rules: GUI thread only.

#include <QWidget>

class QLabel;

class QvToolTip : public QWidget {
    Q_OBJECT
public:
    /// A tooltip for `target` (its parent and owner) carrying `text`.
    QvToolTip(const QString& text, QWidget* target);

    QString text() const;
    void setText(const QString& text);
    /// Shows the tip with its top-left corner near `globalPos`, kept on the screen.
    void showAt(const QPoint& globalPos);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    QLabel* m_label;
    QWidget* m_target;
};
