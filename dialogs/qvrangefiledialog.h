#pragma once
// The shared form of the two dialogs that write a time range of the open recording to a new
// file (cut to .raw, export to .mp4): start and end time in microseconds with step buttons, the
// destination folder with a folder picker, and the file name. The dialogs only collect values;
// nothing is validated here (the start may exceed the end, the name may lack an extension): the
// job that writes the file reports what it cannot do.
// Thread rules: GUI thread only.

#include <QDialog>

#include <cstdint>

class FramelessHelper;
class QLabel;
class QLineEdit;
class QPushButton;

class QvRangeFileDialog : public QDialog {
    Q_OBJECT
public:
    /// Microseconds added or taken by the +/- buttons beside the time fields.
    static constexpr uint64_t kTimeStepUs = 1000;

    void setStartTime(uint64_t timestampUs);
    void setEndTime(uint64_t timestampUs);
    void setSavePath(const QString& folder);
    void setFileName(const QString& name);
    /// The field read as an unsigned decimal number; anything else gives 0.
    uint64_t getStartTime() const;
    uint64_t getEndTime() const;
    /// Save path + "/" + file name, as typed.
    QString getOutputPath() const;

public slots:
    void on_pb_select_dir_clicked();

protected:
    QvRangeFileDialog(const QString& title, const QString& saveText, const QString& namePlaceholder,
                      QWidget* parent);

private:
    void setupUi(const QString& title, const QString& saveText, const QString& namePlaceholder);
    static void step(QLineEdit* field, bool up);

    QWidget* widget_title = nullptr;
    QLabel* lb_title = nullptr;
    QPushButton* pb_win_close = nullptr;
    QLineEdit* le_start_time = nullptr;
    QPushButton* pb_start_time_sub = nullptr;
    QPushButton* pb_start_time_plus = nullptr;
    QLineEdit* le_end_time = nullptr;
    QPushButton* pb_end_time_sub = nullptr;
    QPushButton* pb_end_time_plus = nullptr;
    QLineEdit* le_save_file_path = nullptr;
    QPushButton* pb_select_dir = nullptr;
    QLineEdit* le_file_name = nullptr;
    QPushButton* pb_cancel = nullptr;
    QPushButton* pb_save = nullptr;
    FramelessHelper* m_helper = nullptr;
};
