#include "qvethcameraconfigtool.h"

#include "qvdialogframe.h"
#include "qvlineedit.h"

#include "quorvel/DvsCameraManager.h"
#include "quorvel/NetUtils.h"

#include <QDebug>
#include <QGridLayout>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QShowEvent>
#include <QVBoxLayout>

#include <algorithm>

QvEthCameraConfigTool::QvEthCameraConfigTool(QWidget* parent) : QDialog(parent) {
    qRegisterMetaType<QvMessageType>("QvMessageType");
    setupUi();
    connect(pb_win_close, &QPushButton::clicked, this, &QvEthCameraConfigTool::on_pb_win_close_clicked);
    connect(pb_close, &QPushButton::clicked, this, &QvEthCameraConfigTool::on_pb_close_clicked);
    connect(pb_refresh, &QPushButton::clicked, this, &QvEthCameraConfigTool::on_pb_refresh_clicked);
    connect(pb_config, &QPushButton::clicked, this, &QvEthCameraConfigTool::on_pb_config_clicked);
    connect(listWidget_cameras, &QListWidget::currentRowChanged, this,
            &QvEthCameraConfigTool::on_listWidget_cameras_currentRowChanged);
    // Emitted by the refresh thread: delivered here on the GUI thread.
    connect(this, &QvEthCameraConfigTool::signalRefreshCompleted, this, &QvEthCameraConfigTool::slotRefreshCompleted,
            Qt::QueuedConnection);
    connect(this, &QvEthCameraConfigTool::signalLoadingStatus, this,
            [this](bool loading) { pb_config->setEnabled(!loading); }, Qt::QueuedConnection);
}

QvEthCameraConfigTool::~QvEthCameraConfigTool() {
    if (m_refreshThread.joinable())
        m_refreshThread.join();
}

void QvEthCameraConfigTool::setupUi() {
    setObjectName(QStringLiteral("QvEthCameraConfigTool"));
    setWindowTitle(tr("Eth Camera Config"));
    setFixedSize(640, 430);
    QvDialogFrame frame;
    frame.setup(this, tr("Eth Camera Config"));
    lb_title = frame.lb_title;
    pb_win_close = frame.pb_win_close;
    m_helper = frame.helper;
    disconnect(pb_win_close, &QPushButton::clicked, this, &QDialog::reject);
    QWidget* body = frame.widget_body;
    body->setStyleSheet(body->styleSheet() + QStringLiteral(
        "QListWidget{border:1px solid #A7A7A7;border-radius:3px;color:#575757;font:14px \"Noto Sans SC Medium\";"
        "outline:none;}"
        "QListWidget::item{height:24px;border-bottom:1px solid #E3E3E3;padding-left:4px;}"
        "QListWidget::item:selected{background:#D7E7EE;color:#004B6A;}"
        "QLabel[role=\"value\"]{color:#004B6A;}"));

    auto* column = new QVBoxLayout(body);
    column->setContentsMargins(20, 14, 20, 16);
    column->setSpacing(10);
    auto* row = new QHBoxLayout;
    row->setSpacing(20);

    auto* left = new QVBoxLayout;
    left->setSpacing(6);
    left->addWidget(new QLabel(tr("Camera List"), body));
    listWidget_cameras = new QListWidget(body);
    listWidget_cameras->setObjectName(QStringLiteral("listWidget_cameras"));
    listWidget_cameras->setIconSize(QSize(24, 24));
    listWidget_cameras->setFixedWidth(220);
    left->addWidget(listWidget_cameras, 1);
    row->addLayout(left);

    auto* grid = new QGridLayout;
    grid->setHorizontalSpacing(12);
    grid->setVerticalSpacing(12);
    int r = 0;
    const auto valueRow = [&](const QString& caption, const char* name, QLabel*& value) {
        grid->addWidget(new QLabel(caption, body), r, 0);
        value = new QLabel(body);
        value->setObjectName(QLatin1String(name));
        value->setProperty("role", QStringLiteral("value"));
        value->setTextInteractionFlags(Qt::TextSelectableByMouse);
        grid->addWidget(value, r++, 1);
    };
    valueRow(tr("Serial :"), "lb_serial", lb_serial);
    valueRow(tr("Manufacturer:"), "lb_manufacturer", lb_manufacturer);
    valueRow(tr("Firmware version :"), "lb_firm_ver", lb_firm_ver);
    valueRow(tr("Product: "), "lb_product", lb_product);
    const auto fieldRow = [&](const QString& caption, const char* name, QLineEdit*& field) {
        grid->addWidget(new QLabel(caption, body), r, 0);
        auto* edit = new QvLineEdit(body);
        field = edit->lineEdit();
        field->setObjectName(QLatin1String(name));
        grid->addWidget(edit, r++, 1);
    };
    fieldRow(tr("IP Address:"), "le_ip", le_ip);
    fieldRow(tr("Subnet Mask:"), "le_subnet_mask", le_subnet_mask);
    fieldRow(tr("Gateway:"), "le_gateway", le_gateway);
    grid->setColumnStretch(1, 1);
    grid->setRowStretch(r, 1);
    row->addLayout(grid, 1);
    column->addLayout(row, 1);

    auto* buttons = new QHBoxLayout;
    pb_refresh = new QPushButton(tr("Refresh"), body);
    pb_refresh->setObjectName(QStringLiteral("pb_refresh"));
    pb_refresh->setStyleSheet(QvDialogFrame::secondaryButtonStyle());
    buttons->addWidget(pb_refresh);
    buttons->addStretch(1);
    pb_close = new QPushButton(tr("Close"), body);
    pb_close->setObjectName(QStringLiteral("pb_close"));
    pb_close->setStyleSheet(QvDialogFrame::secondaryButtonStyle());
    pb_config = new QPushButton(tr("Config"), body);
    pb_config->setObjectName(QStringLiteral("pb_config"));
    pb_config->setStyleSheet(QvDialogFrame::primaryButtonStyle());
    buttons->addWidget(pb_close);
    buttons->addWidget(pb_config);
    column->addLayout(buttons);
}

std::vector<quorvel::CameraDescription> QvEthCameraConfigTool::cameras() const {
    std::lock_guard lock(m_camerasMutex);
    return m_cameras;
}

bool QvEthCameraConfigTool::isRefreshing() const {
    return m_pendingRefreshes > 0;
}

void QvEthCameraConfigTool::showEvent(QShowEvent* event) {
    QDialog::showEvent(event);
    if (!m_listedOnce && m_pendingRefreshes == 0)
        startRefresh();
}

void QvEthCameraConfigTool::startRefresh() {
    m_listedOnce = true;
    listWidget_cameras->clear();
    if (m_refreshThread.joinable())
        m_refreshThread.join();
    ++m_pendingRefreshes;
    m_refreshThread = std::thread(&QvEthCameraConfigTool::refreshWorker, this);
}

void QvEthCameraConfigTool::on_pb_refresh_clicked() {
    startRefresh();
    emit signalShowLeftBottomTips(tr("Refresh completed!"), QvMessageSuccess, QString());
}

void QvEthCameraConfigTool::refreshWorker() {
    emit signalLoadingStatus(true);
    quorvel::DvsCameraManager manager;
    const std::vector<quorvel::CameraDescription> found = manager.getCameraDescs();
    {
        std::lock_guard lock(m_camerasMutex);
        m_cameras.clear();
        for (const quorvel::CameraDescription& d : found)
            if (d.interfaceType == quorvel::CAMERA_INTERFACE_ETHERNET)
                m_cameras.push_back(d);
    }
    emit signalLoadingStatus(false);
    emit signalRefreshCompleted();
}

void QvEthCameraConfigTool::slotRefreshCompleted() {
    m_pendingRefreshes = std::max(0, m_pendingRefreshes - 1);
    if (m_pendingRefreshes > 0)
        return; // a newer search runs: its rows come when it ends
    listWidget_cameras->clear();
    const QIcon icon(QStringLiteral(":/img/assets/btn_camera.svg"));
    for (const quorvel::CameraDescription& d : cameras())
        listWidget_cameras->addItem(new QListWidgetItem(icon, QString::fromStdString(d.serial)));
    listWidget_cameras->setCurrentRow(0);
    if (listWidget_cameras->count() == 0)
        on_listWidget_cameras_currentRowChanged(-1);
}

void QvEthCameraConfigTool::on_listWidget_cameras_currentRowChanged(int currentRow) {
    const std::vector<quorvel::CameraDescription> list = cameras();
    if (list.empty() || currentRow < 0 || static_cast<size_t>(currentRow) >= list.size()) {
        for (QLabel* l : {lb_product, lb_manufacturer, lb_firm_ver, lb_serial})
            l->clear();
        for (QLineEdit* e : {le_ip, le_subnet_mask, le_gateway})
            e->clear();
        return;
    }
    const quorvel::CameraDescription& d = list[static_cast<size_t>(currentRow)];
    lb_product->setText(QString::fromStdString(d.product));
    lb_manufacturer->setText(QString::fromStdString(d.manufacturer));
    lb_firm_ver->setText(QString::fromStdString(d.firmware));
    lb_serial->setText(QString::fromStdString(d.serial));
    le_ip->setText(QString::fromStdString(d.ip));
    le_subnet_mask->setText(QString::fromStdString(d.mask));
    le_gateway->setText(QString::fromStdString(d.gateway));
}

void QvEthCameraConfigTool::on_pb_config_clicked() {
    const std::vector<quorvel::CameraDescription> list = cameras();
    if (list.empty())
        return;
    // Rows are rebuilt only when a search has ended: until then no row is current.
    const int row = listWidget_cameras->currentRow();
    if (row < 0 || static_cast<size_t>(row) >= list.size())
        return;
    const unsigned gateway = static_cast<unsigned>(quorvel::stringToIP(le_gateway->text().toStdString()));
    const unsigned mask = static_cast<unsigned>(quorvel::stringToIP(le_subnet_mask->text().toStdString()));
    const unsigned ip = static_cast<unsigned>(quorvel::stringToIP(le_ip->text().toStdString()));
    // The camera answers within a second; no input meanwhile.
    QGuiApplication::setOverrideCursor(Qt::WaitCursor);
    const bool ok = quorvel::DvsCameraManager::ethCameraForceIP(list[static_cast<size_t>(row)], ip, mask, gateway);
    QGuiApplication::restoreOverrideCursor();
    if (ok) {
        emit signalShowLeftBottomTips(tr("Configuration successful!"), QvMessageSuccess, QString());
    } else {
        qWarning() << "Force IP failed:" << QString::fromStdString(quorvel::DvsCameraManager::lastError());
        emit signalShowLeftBottomTips(tr("Configuration failed!"), QvMessageError, QString());
    }
}

void QvEthCameraConfigTool::on_pb_close_clicked() {
    reject();
}

void QvEthCameraConfigTool::on_pb_win_close_clicked() {
    reject();
}
