#include "qvmessagebox.h"

#include "framelesshelper.h"

#include <QFrame>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

QVMessageBox::QVMessageBox(const QString& message, const QString& title, const QString& acceptText,
                           const QString& rejectText, QWidget* parent)
    : QDialog(parent) {
    setObjectName(QStringLiteral("QVMessageBox"));
    setAttribute(Qt::WA_TranslucentBackground);
    setupUi();
    m_helper = new FramelessHelper(this);
    m_helper->setTitleBar(widget_title_name);
    m_helper->setSystemButton(FramelessHelper::Close, pb_win_close);
    m_helper->setResizeBorderWidth(0);

    lb_title->setText(title);
    lb_show_message->setText(message);
    pb_open->setText(acceptText);
    pb_close->setText(rejectText);
    setWindowTitle(title);

    connect(pb_open, &QPushButton::clicked, this, &QDialog::accept);
    connect(pb_close, &QPushButton::clicked, this, &QDialog::reject);
    connect(pb_win_close, &QPushButton::clicked, this, &QDialog::reject);
    pb_open->setDefault(true);
}

QString QVMessageBox::message() const {
    return lb_show_message->text();
}

QString QVMessageBox::title() const {
    return lb_title->text();
}

void QVMessageBox::setupUi() {
    setFixedSize(560, 300);
    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    outer->setSpacing(0);

    widget_title_bar = new QWidget(this);
    widget_title_bar->setObjectName(QStringLiteral("widget_title_bar"));
    widget_title_bar->setAttribute(Qt::WA_StyledBackground, true);
    widget_title_bar->setFixedHeight(64);
    widget_title_bar->setStyleSheet(QStringLiteral(
        "#widget_title_bar{background:#004B6A;border-top-left-radius:9px;border-top-right-radius:9px;}"));
    auto* titleRow = new QHBoxLayout(widget_title_bar);
    titleRow->setContentsMargins(24, 0, 12, 0);

    widget_title_name = new QWidget(widget_title_bar);
    widget_title_name->setObjectName(QStringLiteral("widget_title_name"));
    auto* nameRow = new QHBoxLayout(widget_title_name);
    nameRow->setContentsMargins(0, 0, 0, 0);
    lb_title = new QLabel(widget_title_name);
    lb_title->setObjectName(QStringLiteral("lb_title"));
    lb_title->setStyleSheet(QStringLiteral("color:white;font:26px \"Noto Sans SC Medium\";"));
    nameRow->addWidget(lb_title);
    titleRow->addWidget(widget_title_name, 1);

    pb_win_close = new QPushButton(widget_title_bar);
    pb_win_close->setObjectName(QStringLiteral("pb_win_close"));
    pb_win_close->setFixedSize(32, 32);
    pb_win_close->setFocusPolicy(Qt::NoFocus);
    pb_win_close->setToolTip(tr("Close"));
    pb_win_close->setStyleSheet(QStringLiteral(
        "QPushButton{border:none;border-radius:4px;background:transparent;color:white;font:20px;}"
        "QPushButton:hover{background:rgba(255,255,255,40);}"));
    pb_win_close->setText(QStringLiteral("\u2715"));
    titleRow->addWidget(pb_win_close);
    outer->addWidget(widget_title_bar);

    frame = new QFrame(this);
    frame->setObjectName(QStringLiteral("frame"));
    frame->setStyleSheet(QStringLiteral(
        "#frame{background:white;border-bottom-left-radius:9px;border-bottom-right-radius:9px;}"));
    auto* body = new QVBoxLayout(frame);
    body->setContentsMargins(32, 24, 32, 28);
    lb_show_message = new QLabel(frame);
    lb_show_message->setObjectName(QStringLiteral("lb_show_message"));
    lb_show_message->setWordWrap(true);
    lb_show_message->setAlignment(Qt::AlignCenter);
    lb_show_message->setStyleSheet(QStringLiteral("font:16px \"Noto Sans SC Medium\";color:#555555;"));
    body->addWidget(lb_show_message, 1);

    auto* buttons = new QHBoxLayout;
    buttons->setSpacing(24);
    pb_close = new QPushButton(frame);
    pb_close->setObjectName(QStringLiteral("pb_close"));
    pb_close->setFixedSize(180, 48);
    pb_close->setCursor(Qt::PointingHandCursor);
    pb_close->setStyleSheet(QStringLiteral(
        "QPushButton{background:white;border:3px solid #004B6A;color:#004B6A;border-radius:23px;"
        "font:20px \"Noto Sans SC Medium\";}QPushButton:hover{background:#D7E7EE;}"));
    pb_open = new QPushButton(frame);
    pb_open->setObjectName(QStringLiteral("pb_open"));
    pb_open->setFixedSize(180, 48);
    pb_open->setCursor(Qt::PointingHandCursor);
    pb_open->setStyleSheet(QStringLiteral(
        "QPushButton{background:#004B6A;border:none;color:white;border-radius:23px;"
        "font:20px \"Noto Sans SC Medium\";}QPushButton:hover{background:#0A6A91;}"));
    buttons->addStretch(1);
    buttons->addWidget(pb_close);
    buttons->addWidget(pb_open);
    buttons->addStretch(1);
    body->addLayout(buttons);
    outer->addWidget(frame, 1);
}
