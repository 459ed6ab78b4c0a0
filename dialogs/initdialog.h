#pragma once
// The start-up splash: the logo and version on a frameless card that closes itself after two
// seconds, or at once on its close button.
// Thread rules: GUI thread only.

#include <QDialog>

class QFrame;
class QLabel;
class QPushButton;

class InitDialog : public QDialog {
    Q_OBJECT
public:
    static constexpr int kShowMs = 2000;

    explicit InitDialog(QWidget* parent = nullptr);

    QString versionText() const;

public slots:
    void on_btn_close_clicked();

private:
    void setupUi();

    QFrame* frame = nullptr;
    QWidget* widget = nullptr;
    QPushButton* btn_close = nullptr;
    QFrame* frame_2 = nullptr;
    QLabel* label = nullptr;
    QLabel* lb_version = nullptr;
    QLabel* label_2 = nullptr;
};
