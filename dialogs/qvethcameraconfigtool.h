#pragma once
// Gives an Ethernet camera a fixed IP address, subnet mask and gateway.
//
// Refresh searches the cameras on a thread of its own (a new camera manager each time) and keeps
// the Ethernet ones, in the SDK's order; the rows are rebuilt on the GUI thread when the search
// has ended (signalRefreshCompleted), and row i is the i-th camera kept. Choosing a row shows the
// camera's identity and current addresses; Config sends the three addresses, as typed, through
// the SDK's address conversion to DvsCameraManager::ethCameraForceIP and reports the camera's
// answer as a toast. Text that is not an address becomes 0.0.0.0, which the SDK and the camera
// refuse. The list is not refreshed after a change: a later Refresh shows the new address.
//
// The toast "Refresh completed!" is sent when a search starts, not when it ends (kept as the
// product has always done it). Opening the dialog lists the cameras once without that toast.
//
// Thread rules: GUI thread, except the refresh thread, which only fills the camera list under a
// lock and emits queued signals. One refresh thread at a time: a new refresh, and the
// destructor, join the previous one first (the search ends within about half a second).

#include "qvmessagetype.h"

#include "quorvel/CameraDescription.h"

#include <QDialog>

#include <mutex>
#include <thread>
#include <vector>

class FramelessHelper;
class QLabel;
class QLineEdit;
class QListWidget;
class QPushButton;

class QvEthCameraConfigTool : public QDialog {
    Q_OBJECT
public:
    explicit QvEthCameraConfigTool(QWidget* parent = nullptr);
    ~QvEthCameraConfigTool() override;

    /// The Ethernet cameras of the last completed refresh.
    std::vector<quorvel::CameraDescription> cameras() const;
    /// True while a refresh thread is searching.
    bool isRefreshing() const;

signals:
    void signalShowLeftBottomTips(QString tips, QvMessageType type, QString file_path);
    void signalLoadingStatus(bool loading);
    void signalRefreshCompleted();

public slots:
    void on_pb_win_close_clicked();
    void on_pb_close_clicked();
    void on_listWidget_cameras_currentRowChanged(int currentRow);
    void on_pb_refresh_clicked();
    void on_pb_config_clicked();
    void slotRefreshCompleted();

protected:
    void showEvent(QShowEvent* event) override;

private:
    void setupUi();
    /// Clears the rows and starts a search (joining the one before).
    void startRefresh();
    void refreshWorker();

    mutable std::mutex m_camerasMutex;
    std::vector<quorvel::CameraDescription> m_cameras; // guarded by m_camerasMutex
    std::thread m_refreshThread;
    int m_pendingRefreshes = 0; // searches started whose completion has not been shown yet
    bool m_listedOnce = false;

    FramelessHelper* m_helper = nullptr;
    QLabel* lb_title = nullptr;
    QPushButton* pb_win_close = nullptr;
    QListWidget* listWidget_cameras = nullptr;
    QLabel* lb_serial = nullptr;
    QLabel* lb_manufacturer = nullptr;
    QLabel* lb_firm_ver = nullptr;
    QLabel* lb_product = nullptr;
    QLineEdit* le_ip = nullptr;
    QLineEdit* le_subnet_mask = nullptr;
    QLineEdit* le_gateway = nullptr;
    QPushButton* pb_refresh = nullptr;
    QPushButton* pb_config = nullptr;
    QPushButton* pb_close = nullptr;
};
