#include "mainwidgetform.h"

#include <QCoreApplication>
#include <QGraphicsDropShadowEffect>
#include <QHBoxLayout>
#include <QIcon>
#include <QLabel>
#include <QPushButton>
#include <QStackedWidget>
#include <QVBoxLayout>
#include <QWidget>

namespace {

QString iconButtonStyle(const QString& base, bool withChecked = false) {
    QString s = QStringLiteral(
                    "QPushButton{border:none;border-radius:6px;background:transparent;image:url(:/img/assets/%1.svg);padding:6px;}"
                    "QPushButton:hover{background:#D7E7EE;image:url(:/img/assets/%1_hover.svg);}")
                    .arg(base);
    if (withChecked)
        s += QStringLiteral("QPushButton:checked{background:#D7E7EE;image:url(:/img/assets/%1_checked.svg);}").arg(base);
    return s;
}

QPushButton* makeButton(QWidget* parent, const char* name, int w, int h) {
    auto* b = new QPushButton(parent);
    b->setObjectName(QLatin1String(name));
    b->setFixedSize(w, h);
    b->setCursor(Qt::PointingHandCursor);
    return b;
}

QPushButton* makePlayButton(QWidget* parent, const char* name, const QString& icon) {
    auto* b = makeButton(parent, name, 36, 36);
    // The transport keys are window shortcuts; a focused button would take Space a second time.
    b->setFocusPolicy(Qt::NoFocus);
    b->setStyleSheet(QStringLiteral(
                         "QPushButton{border:none;border-radius:18px;background:transparent;image:url(:/img/assets/%1.svg);padding:6px;}"
                         "QPushButton:hover{background:#D7E7EE;image:url(:/img/assets/%1_hover.svg);}"
                         "QPushButton:disabled{image:url(:/img/assets/%1_disabled.svg);}")
                         .arg(icon));
    auto* shadow = new QGraphicsDropShadowEffect(b);
    shadow->setColor(QColor(0, 0, 0, 41));
    shadow->setBlurRadius(8);
    shadow->setOffset(0, 1);
    b->setGraphicsEffect(shadow);
    return b;
}

QPushButton* makeMenuButton(QWidget* parent, const char* name, const QString& text) {
    auto* b = new QPushButton(text, parent);
    b->setObjectName(QLatin1String(name));
    b->setFixedHeight(30);
    b->setCursor(Qt::PointingHandCursor);
    b->setStyleSheet(QStringLiteral(
        "QPushButton{border:none;border-radius:4px;background:transparent;color:#555555;"
        "font:14px \"Noto Sans SC Medium\";padding:0 10px;}"
        "QPushButton:hover,QPushButton:pressed,QPushButton:open{background:#D7E7EE;color:#004B6A;}"
        "QPushButton::menu-indicator{image:none;width:0;}"));
    return b;
}

} // namespace

void MainWidgetForm::setupUi(QWidget* mainWidget) {
    mainWidget->setObjectName(QStringLiteral("MainWidget"));
    mainWidget->resize(1440, 900);
    mainWidget->setMinimumSize(960, 600);
    // The window itself is see-through so that the title bar's rounded top corners show; the
    // body and the status line paint the white under everything else.
    mainWidget->setAttribute(Qt::WA_TranslucentBackground, true);
    mainWidget->setStyleSheet(QStringLiteral(
        "QWidget#MainWidget{background:transparent;}"
        "QWidget#widget_body,QWidget#widget_status_bar{background:#FFFFFF;}"
        "QWidget{font:16px \"Noto Sans SC Medium\";}"
        "QMenu{background:#FFFFFF;border:1px solid #D7E7EE;border-radius:6px;padding:6px 0;}"
        "QMenu::item{padding:7px 28px 7px 18px;color:#555555;font:14px \"Noto Sans SC Medium\";}"
        "QMenu::item:selected{background:#D7E7EE;color:#004B6A;}"
        "QMenu::item:disabled{color:#C7C7C7;}"
        "QMenu::separator{height:1px;background:#E6E6E6;margin:4px 10px;}"
        "QToolTip{color:#646464;background:#FFFFFF;border:1px solid #D7E7EE;font:12px \"Noto Sans SC Medium\";}"));

    layout_main = new QVBoxLayout(mainWidget);
    layout_main->setContentsMargins(0, 0, 0, 0);
    layout_main->setSpacing(0);

    // ---- title bar ----
    widget_title_bar = new QWidget(mainWidget);
    widget_title_bar->setObjectName(QStringLiteral("widget_title_bar"));
    widget_title_bar->setAttribute(Qt::WA_StyledBackground, true);
    widget_title_bar->setFixedHeight(48);
    auto* title = new QHBoxLayout(widget_title_bar);
    title->setContentsMargins(10, 0, 0, 0);
    title->setSpacing(4);
    pb_logo_button = makeButton(widget_title_bar, "pb_logo_button", 36, 36);
    pb_logo_button->setCursor(Qt::ArrowCursor);
    pb_logo_button->setStyleSheet(QStringLiteral(
        "QPushButton{border:none;background:transparent;image:url(:/img/assets/icon_logo_titlebar.svg);padding:4px;}"));
    title->addWidget(pb_logo_button);
    title->addSpacing(6);
    pb_menu_file = makeMenuButton(widget_title_bar, "pb_menu_file", QCoreApplication::translate("MainWidget", "File"));
    pb_menu_device = makeMenuButton(widget_title_bar, "pb_menu_device", QCoreApplication::translate("MainWidget", "Device"));
    pb_menu_setting = makeMenuButton(widget_title_bar, "pb_menu_setting", QCoreApplication::translate("MainWidget", "Setting"));
    pb_menu_tools = makeMenuButton(widget_title_bar, "pb_menu_tools", QCoreApplication::translate("MainWidget", "Tools"));
    pb_menu_help = makeMenuButton(widget_title_bar, "pb_menu_help", QCoreApplication::translate("MainWidget", "Help"));
    for (QPushButton* b : {pb_menu_file, pb_menu_device, pb_menu_setting, pb_menu_tools, pb_menu_help})
        title->addWidget(b);

    widget_title_space = new QWidget(widget_title_bar);
    widget_title_space->setObjectName(QStringLiteral("widget_title_space"));
    auto* space = new QHBoxLayout(widget_title_space);
    space->setContentsMargins(0, 0, 0, 0);
    label_title_info = new QLabel(widget_title_space);
    label_title_info->setObjectName(QStringLiteral("label_title_info"));
    label_title_info->setAlignment(Qt::AlignCenter);
    label_title_info->setStyleSheet(QStringLiteral("color:#555555;font:14px \"Noto Sans SC Medium\";"));
    space->addWidget(label_title_info);
    title->addWidget(widget_title_space, 1);

    pb_win_min = makeButton(widget_title_bar, "pb_win_min", 46, 40);
    pb_win_max = makeButton(widget_title_bar, "pb_win_max", 46, 40);
    pb_win_close = makeButton(widget_title_bar, "pb_win_close", 46, 40);
    pb_win_min->setStyleSheet(iconButtonStyle(QStringLiteral("icon_win_min")));
    pb_win_max->setStyleSheet(iconButtonStyle(QStringLiteral("icon_win_max")));
    pb_win_close->setStyleSheet(iconButtonStyle(QStringLiteral("icon_win_close")));
    for (QPushButton* b : {pb_win_min, pb_win_max, pb_win_close}) {
        b->setFocusPolicy(Qt::NoFocus);
        b->setCursor(Qt::ArrowCursor);
        title->addWidget(b);
    }
    title->addSpacing(4);
    setTitleBarMaximized(false);
    layout_main->addWidget(widget_title_bar);

    // ---- centre: image and play bar on the left, side bar on the right ----
    auto* body = new QWidget(mainWidget);
    body->setObjectName(QStringLiteral("widget_body"));
    body->setAttribute(Qt::WA_StyledBackground, true);
    auto* bodyLayout = new QHBoxLayout(body);
    bodyLayout->setContentsMargins(10, 10, 10, 6);
    bodyLayout->setSpacing(10);

    widget_center = new QWidget(body);
    widget_center->setObjectName(QStringLiteral("widget_center"));
    widget_center->setAttribute(Qt::WA_StyledBackground, true);
    widget_center->setStyleSheet(QStringLiteral("#widget_center{background:#F2F2F2;border-radius:9px;}"));
    auto* center = new QVBoxLayout(widget_center);
    center->setContentsMargins(12, 12, 12, 8);
    center->setSpacing(8);

    widget_show_image = new QWidget(widget_center);
    widget_show_image->setObjectName(QStringLiteral("widget_show_image"));
    widget_show_image->setAttribute(Qt::WA_StyledBackground, true);
    widget_show_image->setStyleSheet(QStringLiteral("#widget_show_image{background:#707070;border-radius:6px;}"));
    auto* imageLayout = new QVBoxLayout(widget_show_image);
    imageLayout->setContentsMargins(0, 0, 0, 0);
    stack_show_image = new QStackedWidget(widget_show_image);
    stack_show_image->setObjectName(QStringLiteral("stack_show_image"));
    widget_empty_state = new QWidget(stack_show_image);
    widget_empty_state->setObjectName(QStringLiteral("widget_empty_state"));
    auto* empty = new QVBoxLayout(widget_empty_state);
    empty->addStretch(1);
    auto* emptyLogo = new QLabel(widget_empty_state);
    emptyLogo->setObjectName(QStringLiteral("label_empty_logo"));
    emptyLogo->setAlignment(Qt::AlignCenter);
    emptyLogo->setPixmap(QIcon(QStringLiteral(":/img/assets/Quorvel logo.svg")).pixmap(96, 96));
    empty->addWidget(emptyLogo);
    label_empty_hint = new QLabel(QCoreApplication::translate("MainWidget", "Open a camera or a recording to begin."), widget_empty_state);
    label_empty_hint->setObjectName(QStringLiteral("label_empty_hint"));
    label_empty_hint->setAlignment(Qt::AlignCenter);
    label_empty_hint->setStyleSheet(QStringLiteral("color:#F2F2F2;font:16px \"Noto Sans SC Medium\";"));
    empty->addWidget(label_empty_hint);
    empty->addStretch(1);
    stack_show_image->addWidget(widget_empty_state);
    imageLayout->addWidget(stack_show_image);
    center->addWidget(widget_show_image, 1);

    widget_play_bar = new QWidget(widget_center);
    widget_play_bar->setObjectName(QStringLiteral("widget_play_bar"));
    widget_play_bar->setAttribute(Qt::WA_StyledBackground, true);
    widget_play_bar->setStyleSheet(QStringLiteral("#widget_play_bar{background:#FFFFFF;border-radius:9px;}"));
    widget_play_bar->setFixedHeight(56);
    auto* bar = new QHBoxLayout(widget_play_bar);
    bar->setContentsMargins(12, 0, 12, 0);
    bar->setSpacing(8);
    pb_play = makePlayButton(widget_play_bar, "pb_play", QStringLiteral("icon_play"));
    pb_play->setCheckable(true);
    // The checked play button shows the pause glyph: it mirrors streaming or playing.
    pb_play->setStyleSheet(pb_play->styleSheet() +
                           QStringLiteral("QPushButton:checked{image:url(:/img/assets/icon_pause.svg);}"
                                          "QPushButton:checked:hover{image:url(:/img/assets/icon_pause_hover.svg);}"));
    pb_record = makePlayButton(widget_play_bar, "pb_record", QStringLiteral("icon_record"));
    pb_record->setCheckable(true);
    pb_record->setStyleSheet(pb_record->styleSheet() +
                             QStringLiteral("QPushButton:checked{image:url(:/img/assets/icon_recording.svg);}"));
    pb_prv = makePlayButton(widget_play_bar, "pb_prv", QStringLiteral("icon_prev_frame"));
    pb_next = makePlayButton(widget_play_bar, "pb_next", QStringLiteral("icon_next_frame"));
    pb_stop = makePlayButton(widget_play_bar, "pb_stop", QStringLiteral("icon_reset"));
    pb_loop = makePlayButton(widget_play_bar, "pb_loop", QStringLiteral("icon_loop"));
    pb_loop->setCheckable(true);
    pb_loop->setStyleSheet(pb_loop->styleSheet() +
                           QStringLiteral("QPushButton:checked{image:url(:/img/assets/icon_loop_on.svg);}"));
    for (QPushButton* b : {pb_play, pb_record, pb_prv, pb_next, pb_stop, pb_loop})
        bar->addWidget(b);
    bar->addSpacing(8);

    widget_slider = new QWidget(widget_play_bar);
    widget_slider->setObjectName(QStringLiteral("widget_slider"));
    layout_slider = new QHBoxLayout(widget_slider);
    layout_slider->setContentsMargins(0, 0, 0, 0);
    bar->addWidget(widget_slider, 1);

    auto* times = new QVBoxLayout;
    times->setSpacing(0);
    label_show_timestamp_info = new QLabel(widget_play_bar);
    label_show_timestamp_info->setObjectName(QStringLiteral("label_show_timestamp_info"));
    label_show_timestamp_info->setStyleSheet(QStringLiteral("color:#555555;font:12px \"Noto Sans SC Medium\";"));
    label_show_timestamp_info->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    label_time = new QLabel(widget_play_bar);
    label_time->setObjectName(QStringLiteral("label_time"));
    label_time->setStyleSheet(QStringLiteral("color:#A7A7A7;font:12px \"Noto Sans SC Medium\";"));
    label_time->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    times->addWidget(label_show_timestamp_info);
    times->addWidget(label_time);
    bar->addLayout(times);
    bar->addSpacing(8);

    pb_viewer_type = makeButton(widget_play_bar, "pb_viewer_type", 36, 36);
    pb_viewer_setting = makeButton(widget_play_bar, "pb_viewer_setting", 36, 36);
    pb_viewer_setting->setStyleSheet(iconButtonStyle(QStringLiteral("icon_viewer_setting")) +
                                     QStringLiteral("QPushButton:disabled{image:url(:/img/assets/icon_viewer_setting_disabled.svg);}"));
    bar->addWidget(pb_viewer_type);
    bar->addWidget(pb_viewer_setting);
    center->addWidget(widget_play_bar);
    bodyLayout->addWidget(widget_center, 1);

    // ---- side bar: panels (when one is unfolded) and the strip of fold buttons ----
    widget_side_bar = new QWidget(body);
    widget_side_bar->setObjectName(QStringLiteral("widget_side_bar"));
    widget_side_bar->setAttribute(Qt::WA_StyledBackground, true);
    widget_side_bar->setStyleSheet(QStringLiteral("#widget_side_bar{background:#F2F2F2;border-radius:9px;}"));
    widget_side_bar->setMaximumWidth(kSideBarNarrowWidth);
    auto* side = new QHBoxLayout(widget_side_bar);
    side->setContentsMargins(6, 8, 6, 8);
    side->setSpacing(6);
    widget_side_panels = new QWidget(widget_side_bar);
    widget_side_panels->setObjectName(QStringLiteral("widget_side_panels"));
    layout_side_panels = new QVBoxLayout(widget_side_panels);
    layout_side_panels->setContentsMargins(0, 0, 0, 0);
    widget_side_panels->hide();
    side->addWidget(widget_side_panels, 1);

    widget_side_buttons = new QWidget(widget_side_bar);
    widget_side_buttons->setObjectName(QStringLiteral("widget_side_buttons"));
    widget_side_buttons->setFixedWidth(kSideBarNarrowWidth - 12);
    auto* strip = new QVBoxLayout(widget_side_buttons);
    strip->setContentsMargins(0, 0, 0, 0);
    strip->setSpacing(8);
    pb_fold_setting = makeButton(widget_side_buttons, "pb_fold_setting", 40, 40);
    pb_fold_setting->setCheckable(true);
    pb_fold_setting->setStyleSheet(
        iconButtonStyle(QStringLiteral("icon_side_unfold")) +
        QStringLiteral("QPushButton:checked{image:url(:/img/assets/icon_side_fold.svg);}"
                       "QPushButton:checked:hover{image:url(:/img/assets/icon_side_fold_hover.svg);}"));
    pb_fold_general_setting = makeButton(widget_side_buttons, "pb_fold_general_setting", 40, 40);
    pb_fold_general_setting->setStyleSheet(iconButtonStyle(QStringLiteral("icon_side_camera"), true));
    pb_fold_dvs_setting = makeButton(widget_side_buttons, "pb_fold_dvs_setting", 40, 40);
    pb_fold_dvs_setting->setStyleSheet(iconButtonStyle(QStringLiteral("icon_side_dvs"), true));
    pb_fold_aps_setting = makeButton(widget_side_buttons, "pb_fold_aps_setting", 40, 40);
    pb_fold_aps_setting->setStyleSheet(iconButtonStyle(QStringLiteral("icon_side_aps"), true));
    strip->addWidget(pb_fold_setting);
    strip->addSpacing(8);
    for (QPushButton* b : {pb_fold_general_setting, pb_fold_dvs_setting, pb_fold_aps_setting}) {
        b->setCheckable(true);
        strip->addWidget(b);
    }
    strip->addStretch(1);
    side->addWidget(widget_side_buttons);
    bodyLayout->addWidget(widget_side_bar);
    layout_main->addWidget(body, 1);

    // ---- status line ----
    widget_status_bar = new QWidget(mainWidget);
    widget_status_bar->setObjectName(QStringLiteral("widget_status_bar"));
    widget_status_bar->setAttribute(Qt::WA_StyledBackground, true);
    widget_status_bar->setFixedHeight(30);
    auto* status = new QHBoxLayout(widget_status_bar);
    status->setContentsMargins(16, 0, 16, 4);
    label_show_camera_info = new QLabel(widget_status_bar);
    label_show_camera_info->setObjectName(QStringLiteral("label_show_camera_info"));
    label_show_camera_info->setStyleSheet(QStringLiteral("color:#555555;font:12px \"Noto Sans SC Medium\";"));
    label_show_play_text = new QLabel(widget_status_bar);
    label_show_play_text->setObjectName(QStringLiteral("label_show_play_text"));
    label_show_play_text->setStyleSheet(QStringLiteral("color:#A7A7A7;font:12px \"Noto Sans SC Medium\";"));
    // Shown only while a live stream has lost data: red, with the details in its tool tip.
    label_lost_events = new QLabel(widget_status_bar);
    label_lost_events->setObjectName(QStringLiteral("label_lost_events"));
    label_lost_events->setStyleSheet(QStringLiteral("color:#FF6058;font:12px \"Noto Sans SC Medium\";"));
    label_lost_events->hide();
    status->addWidget(label_show_camera_info, 1);
    status->addWidget(label_lost_events);
    status->addWidget(label_show_play_text);
    layout_main->addWidget(widget_status_bar);
}

void MainWidgetForm::setTitleBarMaximized(bool maximized) {
    const int radius = maximized ? 0 : 6;
    widget_title_bar->setStyleSheet(
        QStringLiteral("#widget_title_bar{background:#FAFAFA;border-top-left-radius:%1px;"
                       "border-top-right-radius:%1px;border-bottom:1px solid #AAAAAA;}")
            .arg(radius));
    pb_win_max->setStyleSheet(iconButtonStyle(maximized ? QStringLiteral("icon_win_restore")
                                                        : QStringLiteral("icon_win_max")));
    pb_win_max->setToolTip(maximized ? QCoreApplication::translate("MainWidget", "Restore") : QCoreApplication::translate("MainWidget", "Maximize"));
}
