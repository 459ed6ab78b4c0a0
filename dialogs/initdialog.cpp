#include "initdialog.h"

#include "appversion.h"

#include <QDebug>
#include <QFrame>
#include <QGraphicsDropShadowEffect>
#include <QHBoxLayout>
#include <QLabel>
#include <QPixmap>
#include <QPushButton>
#include <QTimer>
#include <QVBoxLayout>

InitDialog::InitDialog(QWidget* parent) : QDialog(parent) {
    setupUi();
    setWindowFlags(Qt::Window | Qt::FramelessWindowHint);
    setAttribute(Qt::WA_TranslucentBackground);
    auto* shadow = new QGraphicsDropShadowEffect(frame);
    shadow->setColor(QColor(QStringLiteral("#444444")));
    shadow->setOffset(0, 0);
    shadow->setBlurRadius(18);
    frame->setGraphicsEffect(shadow);

    // A precise timer: a coarse one may fire up to 5 % early, and the splash promises two seconds.
    QTimer::singleShot(kShowMs, Qt::PreciseTimer, this, &QDialog::close);
    qDebug().noquote().nospace() << "QuorvelView Version: " << kAppVersion;
    lb_version->setText(QStringLiteral("Version: ") + QLatin1String(kAppVersion));
}

QString InitDialog::versionText() const {
    return lb_version->text();
}

void InitDialog::on_btn_close_clicked() {
    close();
}

void InitDialog::setupUi() {
    setObjectName(QStringLiteral("InitDialog"));
    setWindowTitle(QStringLiteral("QuorvelView"));
    resize(620, 380);
    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(20, 20, 20, 20); // room for the shadow

    frame = new QFrame(this);
    frame->setObjectName(QStringLiteral("frame"));
    frame->setStyleSheet(QStringLiteral("#frame{background:white;border-radius:12px;}"));
    outer->addWidget(frame);
    auto* card = new QVBoxLayout(frame);
    card->setContentsMargins(0, 0, 0, 0);
    card->setSpacing(0);

    widget = new QWidget(frame);
    widget->setObjectName(QStringLiteral("widget"));
    auto* top = new QHBoxLayout(widget);
    top->setContentsMargins(0, 8, 8, 0);
    top->addStretch(1);
    btn_close = new QPushButton(widget);
    btn_close->setObjectName(QStringLiteral("btn_close"));
    btn_close->setFixedSize(28, 28);
    btn_close->setFocusPolicy(Qt::NoFocus);
    btn_close->setToolTip(tr("Close"));
    btn_close->setStyleSheet(QStringLiteral(
        "QPushButton{border:none;background:transparent;image:url(:/img/assets/icon_win_close.svg);padding:6px;}"
        "QPushButton:hover{background:#D7E7EE;border-radius:4px;}"));
    top->addWidget(btn_close);
    card->addWidget(widget);

    frame_2 = new QFrame(frame);
    frame_2->setObjectName(QStringLiteral("frame_2"));
    auto* body = new QVBoxLayout(frame_2);
    body->setContentsMargins(40, 0, 40, 28);
    body->setSpacing(10);
    label = new QLabel(frame_2);
    label->setObjectName(QStringLiteral("label"));
    label->setAlignment(Qt::AlignCenter);
    const QPixmap logo(QStringLiteral(":/img/assets/Quorvel logo_ system-version.png"));
    label->setPixmap(logo.scaledToWidth(420, Qt::SmoothTransformation));
    body->addWidget(label, 1);
    lb_version = new QLabel(QStringLiteral("Version:1.0.0"), frame_2);
    lb_version->setObjectName(QStringLiteral("lb_version"));
    lb_version->setAlignment(Qt::AlignCenter);
    lb_version->setStyleSheet(QStringLiteral("font:16px \"Noto Sans SC Medium\";color:#004B6A;"));
    body->addWidget(lb_version);
    label_2 = new QLabel(tr("Event camera viewer and recorder"), frame_2);
    label_2->setObjectName(QStringLiteral("label_2"));
    label_2->setAlignment(Qt::AlignCenter);
    label_2->setStyleSheet(QStringLiteral("font:13px \"Noto Sans SC Medium\";color:#A7A7A7;"));
    body->addWidget(label_2);
    card->addWidget(frame_2, 1);

    connect(btn_close, &QPushButton::clicked, this, &InitDialog::on_btn_close_clicked);
}
