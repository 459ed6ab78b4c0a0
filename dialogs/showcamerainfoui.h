#pragma once
// Who the open camera is: serial, manufacturer, firmware version and product, each in a value
// label. The firmware text is the one the main window read from the camera when it opened it.
// Thread rules: GUI thread only.

#include "quorvel/CameraDescription.h"

#include <QDialog>

class QLabel;
class QPushButton;

class ShowCameraInfoUI : public QDialog {
    Q_OBJECT
public:
    explicit ShowCameraInfoUI(QWidget* parent = nullptr);

    void setCameraInfo(const quorvel::CameraDescription& description, const QString& firmwareVersion);

    QString serialText() const;
    QString manufacturerText() const;
    QString firmwareText() const;
    QString productText() const;

private:
    QLabel* lb_serial_value = nullptr;
    QLabel* lb_manufacturer_value = nullptr;
    QLabel* lb_firm_ver_value = nullptr;
    QLabel* lb_product_value = nullptr;
    QPushButton* pb_close = nullptr;
};
