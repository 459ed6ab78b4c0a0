#include "cameraslist.h"

#include "qvdialogframe.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QShowEvent>
#include <QVBoxLayout>

CamerasList::CamerasList(const std::vector<quorvel::CameraDescription>& cameras, QWidget* mainWindow)
    : QDialog(mainWindow), m_mainWindow(mainWindow) {
    setupUi();
    connect(pb_open, &QPushButton::clicked, this, &CamerasList::accept);
    connect(listWidget_cameras, &QListWidget::itemDoubleClicked, this, &CamerasList::accept);
    connect(pb_close, &QPushButton::clicked, this, &CamerasList::reject);
    listWidget_cameras->setIconSize(QSize(24, 24));
    const QIcon icon(QStringLiteral(":/img/assets/btn_camera.svg"));
    for (const quorvel::CameraDescription& camera : cameras)
        listWidget_cameras->addItem(new QListWidgetItem(icon, QString::fromStdString(camera.serial)));
    listWidget_cameras->setCurrentRow(0);
}

void CamerasList::setupUi() {
    setObjectName(QStringLiteral("CamerasList"));
    setWindowTitle(tr("CamerasList"));
    setFixedSize(420, 400);
    QvDialogFrame frame;
    frame.setup(this, tr("Open a camera"));
    widget_title_bar = frame.widget_title_bar;
    widget_title_name = frame.widget_title_name;
    lb_title = frame.lb_title;
    pb_win_close = frame.pb_win_close;
    widget_body = frame.widget_body;
    m_helper = frame.helper;
    widget_body->setStyleSheet(widget_body->styleSheet() + QStringLiteral(
        "#widget_body{font:16px \"Noto Sans SC Medium\";}"
        "QListWidget{border:1px solid #A7A7A7;border-radius:3px;color:#575757;font:14px \"Noto Sans SC Medium\";"
        "outline:none;}"
        "QListWidget::item{height:24px;border-bottom:1px solid #E3E3E3;padding-left:4px;}"
        "QListWidget::item:selected{background:#D7E7EE;color:#004B6A;}"
        "QLineEdit{border:1px solid #A7A7A7;border-radius:3px;padding:2px 6px;color:#555555;}"));

    auto* body = new QVBoxLayout(widget_body);
    body->setContentsMargins(20, 14, 20, 16);
    body->setSpacing(10);
    auto* captionRow = new QHBoxLayout;
    label_2 = new QLabel(tr("Camera List"), widget_body);
    label_2->setObjectName(QStringLiteral("label_2"));
    captionRow->addWidget(label_2, 1);
    widget_search = new QWidget(widget_body);
    widget_search->setObjectName(QStringLiteral("widget_search"));
    auto* searchRow = new QHBoxLayout(widget_search);
    searchRow->setContentsMargins(0, 0, 0, 0);
    searchRow->setSpacing(4);
    le_search_camera = new QLineEdit(widget_search);
    le_search_camera->setObjectName(QStringLiteral("le_search_camera"));
    le_search_camera->setPlaceholderText(tr("Search Cameras..."));
    pb_searc_camera = new QPushButton(widget_search);
    pb_searc_camera->setObjectName(QStringLiteral("pb_searc_camera"));
    pb_searc_camera->setFixedSize(24, 24);
    pb_searc_camera->setStyleSheet(QStringLiteral(
        "QPushButton{border:none;background:transparent;image:url(:/img/assets/btn_search.svg);}"));
    searchRow->addWidget(le_search_camera);
    searchRow->addWidget(pb_searc_camera);
    captionRow->addWidget(widget_search);
    body->addLayout(captionRow);

    listWidget_cameras = new QListWidget(widget_body);
    listWidget_cameras->setObjectName(QStringLiteral("listWidget_cameras"));
    body->addWidget(listWidget_cameras, 1);

    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    pb_close = new QPushButton(tr("Close"), widget_body);
    pb_close->setObjectName(QStringLiteral("pb_close"));
    pb_close->setStyleSheet(QvDialogFrame::secondaryButtonStyle());
    pb_open = new QPushButton(tr("Open"), widget_body);
    pb_open->setObjectName(QStringLiteral("pb_open"));
    pb_open->setStyleSheet(QvDialogFrame::primaryButtonStyle());
    pb_open->setDefault(true);
    buttons->addWidget(pb_close);
    buttons->addWidget(pb_open);
    body->addLayout(buttons);
}

bool CamerasList::selectedIndex(int& index) const {
    const int row = listWidget_cameras->currentRow();
    if (row < 0)
        return false;
    index = row;
    return true;
}

void CamerasList::accept() {
    QDialog::accept();
}

void CamerasList::showEvent(QShowEvent* event) {
    if (m_mainWindow) {
        const QPoint topLeft = m_mainWindow->mapToGlobal(QPoint(0, 0));
        move(topLeft.x() + (m_mainWindow->width() - width()) / 2, topLeft.y() + (m_mainWindow->height() - height()) / 2);
    }
    QDialog::showEvent(event);
}
