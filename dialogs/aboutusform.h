#pragma once
// The about dialog: logo, version, what the program is, and the project's web address.
// Thread rules: GUI thread only.

#include <QDialog>

class QLabel;
class QPushButton;

class AboutUSForm : public QDialog {
    Q_OBJECT
public:
    explicit AboutUSForm(QWidget* parent = nullptr);

    static QString websiteUrl();

private:
    QLabel* lb_logo = nullptr;
    QLabel* lb_version = nullptr;
    QLabel* lb_description = nullptr;
    QLabel* lb_link = nullptr;
    QPushButton* pb_close = nullptr;
};
