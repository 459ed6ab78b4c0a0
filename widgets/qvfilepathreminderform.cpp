#include "qvfilepathreminderform.h"

#include <QDebug>
#include <QDesktopServices>
#include <QFrame>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QTimer>
#include <QUrl>
#include <QVBoxLayout>

namespace {
const char* const kSuccessFrame = "#widget_item{background:#F5FCF6;border:1px solid #58DB6D;border-radius:3px;}";
const char* const kWarningFrame =
    "#widget_item{background:#FEFBF4;border:1px solid #F9BF37;border-radius:3px;color:#555555;}";
const char* const kErrorFrame =
    "#widget_item{background:#FFF6F6;border:1px solid #FF6058;border-radius:3px;color:#555555;}";
const char* const kTitleStyle = "font:12px \"Noto Sans SC Medium\";color:%1;";
} // namespace

QvFilePathReminderForm::QvFilePathReminderForm(const QString& message, QvMessageType type,
                                               const QString& directory, QWidget* parent)
    : QWidget(parent, Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint) {
    setObjectName(QStringLiteral("QvFilePathReminderForm"));
    setAttribute(Qt::WA_TranslucentBackground);
    setupUi();

    lb_show_tips->setText(message);
    if (directory.isEmpty())
        pb_open_dir->hide();

    switch (type) {
    case QvMessageWarning:
        widget_item->setStyleSheet(QLatin1String(kWarningFrame));
        pb_logo->setIcon(QIcon(QStringLiteral(":/img/assets/icon_toasts_warning.svg")));
        lb_title->setText(tr("Warning"));
        lb_title->setStyleSheet(QString::fromLatin1(kTitleStyle).arg(QStringLiteral("#F9BF37")));
        break;
    case QvMessageError:
        widget_item->setStyleSheet(QLatin1String(kErrorFrame));
        pb_logo->setIcon(QIcon(QStringLiteral(":/img/assets/icon_toasts_error.svg")));
        lb_title->setText(tr("Error"));
        lb_title->setStyleSheet(QString::fromLatin1(kTitleStyle).arg(QStringLiteral("#FF6058")));
        break;
    default: // success, and any unknown value, keep the form's success look
        break;
    }
    m_directory = directory;

    // The timer is a child of the toast: closing the toast early only hides it, and the timer
    // still deletes it when the five seconds are up.
    auto* timer = new QTimer(this);
    timer->setSingleShot(true);
    connect(timer, &QTimer::timeout, this, &QvFilePathReminderForm::onTimeupDestroy);
    timer->start(kLifetimeMs);
}

void QvFilePathReminderForm::setupUi() {
    resize(340, 86);
    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);

    widget_item = new QFrame(this);
    widget_item->setObjectName(QStringLiteral("widget_item"));
    widget_item->setStyleSheet(QLatin1String(kSuccessFrame));
    outer->addWidget(widget_item);

    auto* row = new QHBoxLayout(widget_item);
    row->setContentsMargins(12, 10, 8, 10);
    row->setSpacing(10);

    pb_logo = new QPushButton(widget_item);
    pb_logo->setObjectName(QStringLiteral("pb_logo"));
    pb_logo->setFlat(true);
    pb_logo->setFocusPolicy(Qt::NoFocus);
    pb_logo->setStyleSheet(QStringLiteral("border:none;background:transparent;"));
    pb_logo->setIconSize(QSize(22, 22));
    pb_logo->setIcon(QIcon(QStringLiteral(":/img/assets/icon_toasts_success.svg")));
    row->addWidget(pb_logo, 0, Qt::AlignTop);

    auto* texts = new QVBoxLayout;
    texts->setSpacing(4);
    lb_title = new QLabel(tr("Success"), widget_item);
    lb_title->setObjectName(QStringLiteral("lb_title"));
    lb_title->setStyleSheet(QString::fromLatin1(kTitleStyle).arg(QStringLiteral("#58DB6D")));
    lb_show_tips = new QLabel(tr("Save File Success!"), widget_item);
    lb_show_tips->setObjectName(QStringLiteral("lb_show_tips"));
    lb_show_tips->setWordWrap(true);
    lb_show_tips->setStyleSheet(QStringLiteral("font:10px \"Noto Sans SC Medium\";color:#555555;border:none;"));
    pb_open_dir = new QPushButton(tr("Open Dir"), widget_item);
    pb_open_dir->setObjectName(QStringLiteral("pb_open_dir"));
    pb_open_dir->setCursor(Qt::PointingHandCursor);
    pb_open_dir->setStyleSheet(QStringLiteral(
        "QPushButton{color:rgb(0, 170, 255);font:10px \"Noto Sans SC Medium\";border:none;"
        "background:transparent;text-align:left;padding:0;}QPushButton:hover{text-decoration:underline;}"));
    texts->addWidget(lb_title);
    texts->addWidget(lb_show_tips);
    texts->addWidget(pb_open_dir, 0, Qt::AlignLeft);
    row->addLayout(texts, 1);

    pb_close = new QPushButton(widget_item);
    pb_close->setObjectName(QStringLiteral("pb_close"));
    pb_close->setFixedSize(16, 16);
    pb_close->setFocusPolicy(Qt::NoFocus);
    pb_close->setStyleSheet(QStringLiteral(
        "QPushButton{border:none;background:transparent;image:url(:/img/assets/icon_toasts_close.svg);}"));
    pb_close->setToolTip(tr("Close"));
    row->addWidget(pb_close, 0, Qt::AlignTop);

    connect(pb_open_dir, &QPushButton::clicked, this, &QvFilePathReminderForm::on_pb_open_dir_clicked);
    connect(pb_close, &QPushButton::clicked, this, &QvFilePathReminderForm::on_pb_close_clicked);
}

void QvFilePathReminderForm::onTimeupDestroy() {
    deleteLater(); // the timer that calls this is our child and still on the stack
}

void QvFilePathReminderForm::on_pb_open_dir_clicked() {
    if (!QDesktopServices::openUrl(QUrl::fromLocalFile(m_directory)))
        qDebug() << "Failed to open directory.";
}

void QvFilePathReminderForm::on_pb_close_clicked() {
    close();
}
