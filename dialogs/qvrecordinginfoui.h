#pragma once
// "Recording Information": what a recording holds (format, geometry, serial, date, first and
// last event time, duration, event, ON-event and trigger counts, decoding errors, file size) and
// a plot of its event rate over the whole recording, drawn from the seek index.
//
// The recording is read on a thread the dialog owns; while a recording never seen before is
// indexed, a progress bar follows the index. Another recording can be chosen from the dialog.
//
// Thread rules: GUI thread only, except the reading thread, which touches nothing but its own
// result and reports through a queued signal. The thread is cancelled and joined before another
// recording is read and in the destructor.

#include "qvrecordingtools.h"

#include <QDialog>
#include <QString>

#include <atomic>
#include <functional>
#include <thread>
#include <vector>

class FramelessHelper;
class QLabel;
class QLineEdit;
class QProgressBar;
class QPushButton;
class QTimer;

/// The event rate of a recording as a filled curve over its duration.
class QvEventRatePlot : public QWidget {
    Q_OBJECT
public:
    explicit QvEventRatePlot(QWidget* parent = nullptr);
    /// Events per second of equal spans of `binUs` microseconds; empty clears the plot.
    void setRate(std::vector<double> rate, uint64_t binUs);
    const std::vector<double>& rate() const { return m_rate; }
    /// "12.3 MEv/s", "850 kEv/s", "40 events/s".
    static QString rateText(double eventsPerSecond);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    std::vector<double> m_rate;
    uint64_t m_binUs = 0;
};

class QvRecordingInfoUI : public QDialog {
    Q_OBJECT
public:
    /// Chooses a recording to open: (parent, title, start folder, filter) -> path, empty when cancelled.
    using FileChooser = std::function<QString(QWidget*, const QString&, const QString&, const QString&)>;

    explicit QvRecordingInfoUI(QWidget* parent = nullptr);
    ~QvRecordingInfoUI() override;

    /// Starts reading `path` (an earlier read is cancelled).
    void setRecording(const QString& path);
    QString recording() const { return m_path; }
    /// Folder the chooser starts in when no recording is shown.
    void setStartFolder(const QString& folder) { m_startFolder = folder; }
    void setFileChooser(FileChooser chooser) { m_chooseFile = std::move(chooser); }

    bool isReading() const { return m_worker.joinable(); }
    /// The last completed reading (valid when the last read succeeded).
    const QvRecordingTools::Summary& summary() const { return m_summary; }
    QvEventRatePlot* ratePlot() const { return widget_rate_plot; }

signals:
    /// Emitted on the GUI thread when a reading ends; `error` empty on success.
    void signalRecordingRead(QString path, QString error);

public slots:
    void on_pb_choose_file_clicked();

private slots:
    void slotWorkerDone(int generation, QString error);

private:
    void setupUi();
    void stopWorker();
    void clearValues();
    void showSummary();

    QString m_path;
    QString m_startFolder;
    FileChooser m_chooseFile;
    std::thread m_worker;
    std::atomic<bool> m_cancel{false};
    std::atomic<double> m_progress{0.0};
    int m_generation = 0; // which reading a completion belongs to
    QvRecordingTools::Summary m_workerSummary; // the reading thread's, read after joining it
    QvRecordingTools::Summary m_summary;
    QTimer* m_progressTimer = nullptr;

    FramelessHelper* m_helper = nullptr;
    QLineEdit* le_file = nullptr;
    QPushButton* pb_choose_file = nullptr;
    QProgressBar* progress_index = nullptr;
    QLabel* lb_status = nullptr;
    QLabel* lb_format_value = nullptr;
    QLabel* lb_geometry_value = nullptr;
    QLabel* lb_serial_value = nullptr;
    QLabel* lb_date_value = nullptr;
    QLabel* lb_size_value = nullptr;
    QLabel* lb_first_value = nullptr;
    QLabel* lb_last_value = nullptr;
    QLabel* lb_duration_value = nullptr;
    QLabel* lb_events_value = nullptr;
    QLabel* lb_on_events_value = nullptr;
    QLabel* lb_triggers_value = nullptr;
    QLabel* lb_errors_value = nullptr;
    QvEventRatePlot* widget_rate_plot = nullptr;
    QPushButton* pb_close = nullptr;
};
