#pragma once
// A toast: a small frameless note that tells of a success, a warning or an error, optionally
// offers to open the folder of a file just written, and deletes itself after five seconds.
// It is created without a parent so that it can outlive, for its five seconds, the window that
// raised it; closing it early only hides it.
// Thread rules: GUI thread only.

#include "qvmessagetype.h"

#include <QString>
#include <QWidget>

class QFrame;
class QLabel;
class QPushButton;

class QvFilePathReminderForm : public QWidget {
    Q_OBJECT
public:
    static constexpr int kLifetimeMs = 5000;

    QvFilePathReminderForm(const QString& message, QvMessageType type, const QString& directory,
                           QWidget* parent = nullptr);

    QString directory() const { return m_directory; }

public slots:
    void onTimeupDestroy();
    void on_pb_open_dir_clicked();
    void on_pb_close_clicked();

private:
    void setupUi();

    QFrame* widget_item = nullptr;
    QPushButton* pb_logo = nullptr;
    QLabel* lb_title = nullptr;
    QLabel* lb_show_tips = nullptr;
    QPushButton* pb_open_dir = nullptr;
    QPushButton* pb_close = nullptr;
    QString m_directory;
};
