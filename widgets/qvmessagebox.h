#pragma once
// A modal question box: title bar in the brand colour, a message and two buttons. The accept
// button (pb_open) accepts the dialog, the reject button (pb_close) and the window's close button
// reject it; the caller runs it with exec() and acts on acceptance.
// Thread rules: GUI thread only.

#include <QDialog>

class FramelessHelper;
class QFrame;
class QLabel;
class QPushButton;

class QVMessageBox : public QDialog {
    Q_OBJECT
public:
    QVMessageBox(const QString& message, const QString& title, const QString& acceptText,
                 const QString& rejectText, QWidget* parent = nullptr);

    QString message() const;
    QString title() const;

private:
    void setupUi();

    QWidget* widget_title_bar = nullptr;
    QWidget* widget_title_name = nullptr;
    QLabel* lb_title = nullptr;
    QPushButton* pb_win_close = nullptr;
    QFrame* frame = nullptr;
    QLabel* lb_show_message = nullptr;
    QPushButton* pb_close = nullptr;
    QPushButton* pb_open = nullptr;
    FramelessHelper* m_helper = nullptr;
};
