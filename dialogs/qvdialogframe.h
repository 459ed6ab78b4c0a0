#pragma once
// The frame shared by the small light dialogs (camera list, camera information, IP configuration,
// general settings): a white card with rounded corners, a title bar `widget_title_bar` holding
// `widget_title_name` (the area that drags the dialog) with the title `lb_title` and the close
// button `pb_win_close`, and a body `widget_body` below it for the dialog's own content.
// The close button rejects the dialog.
// Thread rules: GUI thread only.

#include <QObject>

class FramelessHelper;
class QDialog;
class QLabel;
class QPushButton;
class QWidget;

struct QvDialogFrame {
    QWidget* widget_title_bar = nullptr;
    QWidget* widget_title_name = nullptr;
    QLabel* lb_title = nullptr;
    QPushButton* pb_win_close = nullptr;
    QWidget* widget_body = nullptr;
    FramelessHelper* helper = nullptr;

    /// Builds the frame into `dialog` (which must have no layout yet) with the given title.
    void setup(QDialog* dialog, const QString& title);

    /// Style of a filled (primary) and an outlined (secondary) button of these dialogs.
    static QString primaryButtonStyle();
    static QString secondaryButtonStyle();
};
