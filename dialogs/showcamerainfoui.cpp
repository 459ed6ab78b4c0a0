#include "showcamerainfoui.h"

#include "qvdialogframe.h"

#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

ShowCameraInfoUI::ShowCameraInfoUI(QWidget* parent) : QDialog(parent) {
    setObjectName(QStringLiteral("ShowCameraInfoUI"));
    setWindowTitle(tr("Camera Info"));
    setFixedSize(420, 260);
    QvDialogFrame frame;
    frame.setup(this, tr("Camera Info"));

    auto* body = new QVBoxLayout(frame.widget_body);
    body->setContentsMargins(28, 18, 28, 16);
    auto* grid = new QGridLayout;
    grid->setHorizontalSpacing(16);
    grid->setVerticalSpacing(10);
    const auto row = [&](int r, const QString& caption, const char* name, QLabel*& value, const QString& text) {
        grid->addWidget(new QLabel(caption, frame.widget_body), r, 0);
        value = new QLabel(text, frame.widget_body);
        value->setObjectName(QLatin1String(name));
        value->setTextInteractionFlags(Qt::TextSelectableByMouse);
        value->setStyleSheet(QStringLiteral("color:#004B6A;"));
        grid->addWidget(value, r, 1);
    };
    row(0, tr("Serial :"), "lb_serial_value", lb_serial_value, QString());
    row(1, tr("Manufacturer:"), "lb_manufacturer_value", lb_manufacturer_value, tr("Quorvel"));
    row(2, tr("Firmware version :"), "lb_firm_ver_value", lb_firm_ver_value, QString());
    row(3, tr("Product: "), "lb_product_value", lb_product_value, QString());
    grid->setColumnStretch(1, 1);
    body->addLayout(grid);
    body->addStretch(1);
    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    pb_close = new QPushButton(tr("Close"), frame.widget_body);
    pb_close->setObjectName(QStringLiteral("pb_close"));
    pb_close->setStyleSheet(QvDialogFrame::primaryButtonStyle());
    buttons->addWidget(pb_close);
    body->addLayout(buttons);
    connect(pb_close, &QPushButton::clicked, this, &QDialog::reject);
}

void ShowCameraInfoUI::setCameraInfo(const quorvel::CameraDescription& description, const QString& firmwareVersion) {
    lb_serial_value->setText(QString::fromStdString(description.serial));
    lb_manufacturer_value->setText(QString::fromStdString(description.manufacturer));
    lb_firm_ver_value->setText(firmwareVersion);
    lb_product_value->setText(QString::fromStdString(description.product));
}

QString ShowCameraInfoUI::serialText() const { return lb_serial_value->text(); }
QString ShowCameraInfoUI::manufacturerText() const { return lb_manufacturer_value->text(); }
QString ShowCameraInfoUI::firmwareText() const { return lb_firm_ver_value->text(); }
QString ShowCameraInfoUI::productText() const { return lb_product_value->text(); }
