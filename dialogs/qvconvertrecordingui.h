#pragma once
// "Convert Recording": rewrites a recording (EVT 2.0, 2.1, 3.0 or DAT) as an EVT 3.0 `.raw` file,
// with progress and cancel.
//
// The user names the recording and the new file; Convert refuses a missing recording, a new file
// that already exists, is the recording itself or lies in a folder that does not exist, and says
// why below the fields. The conversion runs on a thread the dialog owns. Cancel stops a running
// conversion (the dialog stays open; no file is left behind) and closes the dialog otherwise;
// a finished conversion accepts the dialog, and outputPath() names the file written.
//
// Thread rules: GUI thread only, except the conversion thread, which reports through a queued
// call. The thread is cancelled and joined in the destructor.

#include <QDialog>
#include <QString>

#include <atomic>
#include <functional>
#include <thread>

class FramelessHelper;
class QLabel;
class QLineEdit;
class QProgressBar;
class QPushButton;
class QTimer;

class QvConvertRecordingUI : public QDialog {
    Q_OBJECT
public:
    /// Chooses a file: (parent, title, start path, filter, for saving) -> path, empty when cancelled.
    using FileChooser = std::function<QString(QWidget*, const QString&, const QString&, const QString&, bool)>;

    explicit QvConvertRecordingUI(QWidget* parent = nullptr);
    ~QvConvertRecordingUI() override;

    /// The recording to convert; the new file's name follows it in the output folder.
    void setInput(const QString& path);
    /// Folder of the new file (the recordings folder by default).
    void setOutputFolder(const QString& folder);
    void setFileChooser(FileChooser chooser) { m_chooseFile = std::move(chooser); }

    QString inputPath() const;
    QString outputPath() const;
    bool isConverting() const { return m_worker.joinable(); }
    /// Why the last attempt did not convert (empty after a success or before any).
    QString lastError() const;

    /// The name proposed for the EVT 3.0 copy of `input` in `folder`: "<base>_evt3.raw".
    static QString proposedOutput(const QString& input, const QString& folder);

signals:
    /// Emitted on the GUI thread when a conversion ends; `error` empty on success.
    void signalConversionEnded(QString error);

public slots:
    /// Closing the dialog stops a running conversion first.
    void reject() override;
    void on_pb_convert_clicked();
    void on_pb_cancel_clicked();
    void on_pb_choose_input_clicked();
    void on_pb_choose_output_clicked();

private slots:
    void slotWorkerDone(QString error);

private:
    void setupUi();
    void setRunning(bool running);
    void showError(const QString& text);
    void stopWorker();

    QString m_outputFolder;
    QString m_lastError;
    FileChooser m_chooseFile;
    std::thread m_worker;
    std::atomic<bool> m_cancel{false};
    std::atomic<double> m_progress{0.0};
    QTimer* m_progressTimer = nullptr;

    FramelessHelper* m_helper = nullptr;
    QLineEdit* le_input = nullptr;
    QPushButton* pb_choose_input = nullptr;
    QLineEdit* le_output = nullptr;
    QPushButton* pb_choose_output = nullptr;
    QProgressBar* progress_convert = nullptr;
    QLabel* lb_status = nullptr;
    QPushButton* pb_cancel = nullptr;
    QPushButton* pb_convert = nullptr;
};
