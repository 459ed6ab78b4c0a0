#pragma once
// The list of cameras found, one row per camera (icon and serial), from which the user picks the
// one to open. It only selects: the main window opens the chosen camera.
//
// The search field and its button are part of the form but carry no behaviour: the list is
// neither filtered nor searched again from here.
// Thread rules: GUI thread only.

#include "quorvel/CameraDescription.h"

#include <QDialog>

#include <vector>

class FramelessHelper;
class QLabel;
class QLineEdit;
class QListWidget;
class QPushButton;

class CamerasList : public QDialog {
    Q_OBJECT
public:
    /// `cameras` in discovery order; row i is cameras[i]. `mainWindow` is the parent the dialog
    /// centres itself over.
    CamerasList(const std::vector<quorvel::CameraDescription>& cameras, QWidget* mainWindow);

    /// False when no row is current; otherwise true with the row's index in `index`.
    bool selectedIndex(int& index) const;

public slots:
    void accept() override;

protected:
    void showEvent(QShowEvent* event) override;

private:
    void setupUi();

    QWidget* m_mainWindow = nullptr;
    FramelessHelper* m_helper = nullptr;
    QWidget* widget_title_bar = nullptr;
    QWidget* widget_title_name = nullptr;
    QLabel* lb_title = nullptr;
    QPushButton* pb_win_close = nullptr;
    QWidget* widget_body = nullptr;
    QLabel* label_2 = nullptr;
    QListWidget* listWidget_cameras = nullptr;
    QWidget* widget_search = nullptr;
    QLineEdit* le_search_camera = nullptr;
    QPushButton* pb_searc_camera = nullptr;
    QPushButton* pb_close = nullptr;
    QPushButton* pb_open = nullptr;
};
