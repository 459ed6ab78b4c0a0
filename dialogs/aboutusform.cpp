#include "aboutusform.h"

#include "appversion.h"

#include <QLabel>
#include <QPixmap>
#include <QPushButton>
#include <QVBoxLayout>

AboutUSForm::AboutUSForm(QWidget* parent) : QDialog(parent) {
    setObjectName(QStringLiteral("AboutUSForm"));
    setWindowTitle(tr("AboutUSForm"));
    setStyleSheet(QStringLiteral("AboutUSForm{background:white;}"));
    resize(460, 320);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(32, 24, 32, 24);
    layout->setSpacing(10);
    lb_logo = new QLabel(this);
    lb_logo->setObjectName(QStringLiteral("lb_logo"));
    lb_logo->setAlignment(Qt::AlignCenter);
    lb_logo->setPixmap(QPixmap(QStringLiteral(":/img/assets/Quorvel logo_ system-version.png"))
                           .scaledToWidth(320, Qt::SmoothTransformation));
    layout->addWidget(lb_logo);
    lb_version = new QLabel(tr("Current version: %1").arg(QLatin1String(kAppVersion)), this);
    lb_version->setObjectName(QStringLiteral("lb_version"));
    lb_version->setAlignment(Qt::AlignCenter);
    lb_version->setStyleSheet(QStringLiteral("font:16px \"Noto Sans SC Medium\";color:#004B6A;"));
    layout->addWidget(lb_version);
    lb_description = new QLabel(
        tr("QuorvelView shows, records and plays back event cameras and fusion cameras."), this);
    lb_description->setObjectName(QStringLiteral("lb_description"));
    lb_description->setWordWrap(true);
    lb_description->setAlignment(Qt::AlignCenter);
    lb_description->setStyleSheet(QStringLiteral("font:13px \"Noto Sans SC Medium\";color:#555555;"));
    layout->addWidget(lb_description);
    lb_link = new QLabel(QStringLiteral("<a href=\"%1\">%1</a>").arg(websiteUrl()), this);
    lb_link->setObjectName(QStringLiteral("lb_link"));
    lb_link->setAlignment(Qt::AlignCenter);
    lb_link->setOpenExternalLinks(true);
    layout->addWidget(lb_link);
    layout->addStretch(1);
    pb_close = new QPushButton(tr("Close"), this);
    pb_close->setObjectName(QStringLiteral("pb_close"));
    pb_close->setFixedHeight(36);
    pb_close->setStyleSheet(QStringLiteral(
        "QPushButton{background:#004B6A;color:white;border:none;border-radius:18px;"
        "font:14px \"Noto Sans SC Medium\";padding:0 28px;}QPushButton:hover{background:#0A6A91;}"));
    layout->addWidget(pb_close, 0, Qt::AlignHCenter);
    connect(pb_close, &QPushButton::clicked, this, &QDialog::accept);
}

QString AboutUSForm::websiteUrl() {
    return QStringLiteral("https://www.quorvel.com");
}
