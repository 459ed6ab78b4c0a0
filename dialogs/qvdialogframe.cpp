#include "qvdialogframe.h"

#include "framelesshelper.h"

#include <QDialog>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

void QvDialogFrame::setup(QDialog* dialog, const QString& title) {
    dialog->setAttribute(Qt::WA_TranslucentBackground);
    auto* outer = new QVBoxLayout(dialog);
    outer->setContentsMargins(0, 0, 0, 0);
    outer->setSpacing(0);

    widget_title_bar = new QWidget(dialog);
    widget_title_bar->setObjectName(QStringLiteral("widget_title_bar"));
    widget_title_bar->setAttribute(Qt::WA_StyledBackground, true);
    widget_title_bar->setFixedHeight(48);
    widget_title_bar->setStyleSheet(QStringLiteral(
        "#widget_title_bar{background:white;border-top-left-radius:5px;border-top-right-radius:5px;"
        "border-bottom:2px solid #003B6A;}"));
    auto* barRow = new QHBoxLayout(widget_title_bar);
    barRow->setContentsMargins(0, 0, 0, 0);
    widget_title_name = new QWidget(widget_title_bar);
    widget_title_name->setObjectName(QStringLiteral("widget_title_name"));
    auto* nameRow = new QHBoxLayout(widget_title_name);
    nameRow->setContentsMargins(20, 0, 10, 0);
    lb_title = new QLabel(title, widget_title_name);
    lb_title->setObjectName(QStringLiteral("lb_title"));
    lb_title->setStyleSheet(QStringLiteral("color:#004B6A;font:18px \"Noto Sans SC Medium\";"));
    nameRow->addWidget(lb_title, 1);
    pb_win_close = new QPushButton(QStringLiteral("\u2715"), widget_title_name);
    pb_win_close->setObjectName(QStringLiteral("pb_win_close"));
    pb_win_close->setFixedSize(28, 28);
    pb_win_close->setFocusPolicy(Qt::NoFocus);
    pb_win_close->setToolTip(QObject::tr("Close"));
    pb_win_close->setStyleSheet(QStringLiteral(
        "QPushButton{border:none;border-radius:4px;background:transparent;color:#004B6A;font:16px;}"
        "QPushButton:hover{background:#E5ECF0;}"));
    nameRow->addWidget(pb_win_close);
    barRow->addWidget(widget_title_name);
    outer->addWidget(widget_title_bar);

    widget_body = new QWidget(dialog);
    widget_body->setObjectName(QStringLiteral("widget_body"));
    widget_body->setAttribute(Qt::WA_StyledBackground, true);
    widget_body->setStyleSheet(QStringLiteral(
        "#widget_body{background:white;border-bottom-left-radius:5px;border-bottom-right-radius:5px;}"
        "QLabel{font:14px \"Noto Sans SC Medium\";color:#555555;}"));
    outer->addWidget(widget_body, 1);

    helper = new FramelessHelper(dialog);
    helper->setTitleBar(widget_title_name);
    helper->setSystemButton(FramelessHelper::Close, pb_win_close);
    helper->setResizeBorderWidth(0);
    QObject::connect(pb_win_close, &QPushButton::clicked, dialog, &QDialog::reject);
}

QString QvDialogFrame::primaryButtonStyle() {
    return QStringLiteral(
        "QPushButton{background:#004B6A;border:none;color:white;border-radius:10px;font:10px \"Noto Sans SC Medium\";"
        "min-width:80px;min-height:24px;}QPushButton:hover{background:#004460;}QPushButton:pressed{background:#002D40;}"
        "QPushButton:disabled{background:#C7C7C7;}");
}

QString QvDialogFrame::secondaryButtonStyle() {
    return QStringLiteral(
        "QPushButton{background:white;border:1px solid #004B6A;color:#004B6A;border-radius:10px;"
        "font:10px \"Noto Sans SC Medium\";min-width:80px;min-height:24px;}QPushButton:hover{background:#E5ECF0;}");
}
