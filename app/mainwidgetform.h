#pragma once
// The main window's form: every child widget with the object name other code refers to, laid out
// and styled. MainWidget owns one and wires it; the form itself has no behaviour.

#include <QtGlobal>

class QFrame;
class QHBoxLayout;
class QLabel;
class QPushButton;
class QStackedWidget;
class QVBoxLayout;
class QWidget;

class MainWidgetForm {
public:
    void setupUi(QWidget* mainWidget);

    /// Title bar shape: 6 px top radii when normal, square when maximised; always the 1 px bottom line.
    void setTitleBarMaximized(bool maximized);

    QVBoxLayout* layout_main = nullptr;

    QWidget* widget_title_bar = nullptr;
    QPushButton* pb_logo_button = nullptr;
    QPushButton* pb_menu_file = nullptr;
    QPushButton* pb_menu_device = nullptr;
    QPushButton* pb_menu_setting = nullptr;
    QPushButton* pb_menu_tools = nullptr;
    QPushButton* pb_menu_help = nullptr;
    QWidget* widget_title_space = nullptr;
    QLabel* label_title_info = nullptr;
    QPushButton* pb_win_min = nullptr;
    QPushButton* pb_win_max = nullptr;
    QPushButton* pb_win_close = nullptr;

    QWidget* widget_center = nullptr;
    QWidget* widget_show_image = nullptr;
    QStackedWidget* stack_show_image = nullptr;
    QWidget* widget_empty_state = nullptr;
    QLabel* label_empty_hint = nullptr;
    QWidget* widget_play_bar = nullptr;
    QPushButton* pb_play = nullptr;
    QPushButton* pb_record = nullptr;
    QPushButton* pb_prv = nullptr;
    QPushButton* pb_next = nullptr;
    QPushButton* pb_stop = nullptr;
    QPushButton* pb_loop = nullptr;
    QWidget* widget_slider = nullptr;
    QHBoxLayout* layout_slider = nullptr;
    QLabel* label_show_timestamp_info = nullptr;
    QLabel* label_time = nullptr;
    QPushButton* pb_viewer_type = nullptr;
    QPushButton* pb_viewer_setting = nullptr;

    QWidget* widget_side_bar = nullptr;
    QWidget* widget_side_buttons = nullptr;
    QPushButton* pb_fold_setting = nullptr;
    QPushButton* pb_fold_general_setting = nullptr;
    QPushButton* pb_fold_dvs_setting = nullptr;
    QPushButton* pb_fold_aps_setting = nullptr;
    QWidget* widget_side_panels = nullptr;
    QVBoxLayout* layout_side_panels = nullptr;

    QWidget* widget_status_bar = nullptr;
    QLabel* label_show_camera_info = nullptr;
    QLabel* label_show_play_text = nullptr;
    QLabel* label_lost_events = nullptr;

    static constexpr int kSideBarNarrowWidth = 56;
    static constexpr int kSideBarWideWidth = 500;
};
