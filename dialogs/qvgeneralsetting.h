#pragma once
// The general settings: where recordings and exported videos go, recording on trigger-in edges
// (on/off, edge, seconds kept before and after an edge) and the colours of the event image.
//
// The dialog edits AppSettings directly, but only on Save: the fields are filled from the
// settings when the dialog is built, and Save writes them back in a fixed order, has the
// settings write config.ini (which re-applies the colour scheme, so the renderers paint the next
// frame in the new colours) and emits signalTriggerInSaveFileParamChanged so that the main window
// can apply the trigger-in settings to an open camera. Cancel and the close button drop the edits.
//
// The time fields take any text: + and - read it as an unsigned decimal number (0 when it is
// not one), + has no ceiling, - stops at 0. Save reads them the same way; a number too large for
// 32 bits is saved as the largest 32-bit value.
//
// The edge and colour choices show translated names but keep the settings' own names
// ("Rising Edge", "Gray", ...) as item data: those names are what config.ini and the camera
// code compare with, whatever the language.
// Thread rules: GUI thread only.

#include <QDialog>

#include <functional>

class AppSettings;
class FramelessHelper;
class QLabel;
class QLineEdit;
class QListWidget;
class QPushButton;
class QTabWidget;
class QVComboBoxBase;
class QvComboBox;
class QWidget;

class QvGeneralSetting : public QDialog {
    Q_OBJECT
public:
    /// Chooses a folder: (parent, title, start folder) -> folder, empty when cancelled.
    using DirectoryChooser = std::function<QString(QWidget*, const QString&, const QString&)>;

    explicit QvGeneralSetting(QWidget* parent = nullptr);

    /// Replaces the platform folder chooser (tests).
    void setDirectoryChooser(DirectoryChooser chooser) { m_chooseDirectory = std::move(chooser); }

    /// The unsigned decimal value of a time field's text: 0 for anything that is not a number.
    static quint64 readSeconds(const QString& text);

signals:
    void signalTriggerInSaveFileParamChanged();

public slots:
    void on_pb_win_close_clicked();
    void on_pb_cancel_clicked();
    void on_pb_save_clicked();
    void on_pb_select_dir_clicked();
    void on_pb_select_video_save_path_clicked();
    void on_pb_add_trigger_in_before_time_clicked();
    void on_pb_sub_trigger_in_before_time_clicked();
    void on_pb_add_trigger_in_after_time_clicked();
    void on_pb_sub_trigger_in_after_time_clicked();
    void on_lw_general_setting_items_currentRowChanged(int currentRow);

private:
    void setupUi();
    QWidget* buildFilePage();
    QWidget* buildStylePage();
    void loadSettings();
    void chooseFolder(QLineEdit* field);
    static void stepField(QLineEdit* field, bool up);

    AppSettings* m_settings = nullptr;
    DirectoryChooser m_chooseDirectory;
    FramelessHelper* m_helper = nullptr;

    QWidget* widget_title_bar = nullptr;
    QWidget* widget_title_name = nullptr;
    QLabel* lb_title = nullptr;
    QPushButton* pb_win_close = nullptr;
    QListWidget* lw_general_setting_items = nullptr;
    QTabWidget* tw_settings = nullptr;
    QPushButton* sb_trigger_in_rec_enable = nullptr;
    QVComboBoxBase* cb_trigger_in_edge = nullptr;
    QLineEdit* le_trigger_in_before_time = nullptr;
    QPushButton* pb_sub_trigger_in_before_time = nullptr;
    QPushButton* pb_add_trigger_in_before_time = nullptr;
    QLineEdit* le_trigger_in_after_time = nullptr;
    QPushButton* pb_sub_trigger_in_after_time = nullptr;
    QPushButton* pb_add_trigger_in_after_time = nullptr;
    QLineEdit* le_default_file_path = nullptr;
    QPushButton* pb_select_dir = nullptr;
    QLineEdit* le_default_video_file_path = nullptr;
    QPushButton* pb_select_video_save_path = nullptr;
    QvComboBox* widget_combobox_color_theme = nullptr;
    QPushButton* pb_cancel = nullptr;
    QPushButton* pb_save = nullptr;
};
