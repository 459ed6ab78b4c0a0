#pragma once
// The single top-level window: title bar with menus and window buttons, the image area with its
// play bar, the side bar with the settings panels, and the status line. It decides which source
// is active (its mode), routes the user's commands and shows outcomes as toasts.
// Thread rules: GUI thread only; other threads reach it through queued signals.

#include "mainwidgetform.h"
#include "qveventprocessor.h"
#include "qvmessagetype.h"
#include "sidebarcamerasettingui.h"
#include "sidebardvssettingui.h"

#include "quorvel/CameraDescription.h"
#include "quorvel/DvsCamera.h"
#include "quorvel/StreamLoss.h"
#include "quorvel/StreamType.h"

#include <QString>
#include <QStringList>
#include <QWidget>

#include <functional>

class AppSettings;
class FramelessHelper;
class QvFileRecorder;
class QvFusionCameraDataProcessor;
class QvLiveCamera;
class QvRecordingPlayer;
class QAction;
class QMenu;
class QPushButton;
class SidebarApsSettingUI;
class QDialog;
class QvThreeHandleSlider;
class ShowImageForm;
class WaitingWin;

Q_DECLARE_METATYPE(quorvel::STREAM_TYPE)

class MainWidget : public QWidget {
    Q_OBJECT
public:
    enum Mode { ModeNone = 0, ModeLiveDvs = 1, ModeLiveFusion = 2, ModeRawPlayback = 3, ModeFusionPlayback = 4 };

    explicit MainWidget(QWidget* parent = nullptr);
    ~MainWidget() override;

    int mode() const { return m_mode; }
    quorvel::STREAM_TYPE viewerType() const { return static_cast<quorvel::STREAM_TYPE>(m_viewerType); }
    const MainWidgetForm& form() const { return ui; }
    FramelessHelper* windowAgent() const { return m_agent; }
    SidebarCameraSettingUI* cameraPanel() const { return m_cameraPanel; }
    SidebarDvsSettingUI* dvsPanel() const { return m_dvsPanel; }
    SidebarApsSettingUI* apsPanel() const { return m_apsPanel; }
    QMenu* menuOf(QPushButton* menuButton) const;
    QvEventProcessor* eventProcessor() const { return m_eventProcessor; }
    QvFusionCameraDataProcessor* fusionProcessor() const { return m_fusionProcessor; }
    QvThreeHandleSlider* timeSlider() const { return m_slider; }
    ShowImageForm* imageForm() const { return m_showImageForm; }
    WaitingWin* waitingWindow() const { return m_waitingWin; }
    QMenu* startEndMenu() const { return m_startEndMenu; }
    QString currentFile() const { return m_currentFile; }

    /// Opens a recording without asking (command line, drag and drop): the same path as a file
    /// chosen with "Open Recording". Playback starts once it has loaded.
    void openRecording(const QString& path);
    /// Opens the camera with this serial without asking (command line) and streams it; an error
    /// toast when no such camera is found. True when it streams.
    bool openCameraBySerial(const QString& serial);
    /// Opens the described camera as a choice in the camera list does (checks, busy indicator,
    /// panels) and starts its stream. True when it streams.
    bool openCameraDescription(const quorvel::CameraDescription& description);
    /// Streams a camera opened elsewhere (benchmarks, cameras made to order) as if chosen from
    /// the camera list.
    bool openCamera(std::shared_ptr<quorvel::DvsCamera> camera);
    QvLiveCamera* liveCamera() const { return m_live; }
    QvFileRecorder* fileRecorder() const { return m_recorder; }

    /// Runs a modal dialog; replaced by tests, which answer dialogs without an event loop of their own.
    void setDialogRunner(std::function<int(QDialog&)> runner) { m_dialogRunner = std::move(runner); }
    /// Starts a new instance of the program; replaced by tests so that nothing is launched.
    void setRestartLauncher(std::function<bool()> launcher) { m_restartLauncher = std::move(launcher); }

signals:
    void toShowCameraTimestamp(uint64_t timestamp);
    void signalSetViewerShowType(quorvel::STREAM_TYPE type);
    void signalShowLeftBottomTips(QString tips, QvMessageType type, QString file_path);
    void signalPlaybackReset();
    void signalPlaybackCtrl(bool play);
    void signalOpenRawFile(QString path);
    void signalOpenFusionFile(QString path);
    void signalExportVideo(QString out_path, QString out_dir, uint64_t start_ts, uint64_t end_ts);
    void signalCutRawFile(QString out_path, QString out_dir, uint64_t start_ts, uint64_t end_ts);
    void signalRecByTime(uint32_t seconds, QString path);
    void signalImageReslotionChanged(int width, int height);

public slots:
    void initDvsCameraSettings();
    void showCameraPlayingUI(bool en);
    void on_pb_record_clicked();
    void on_pb_win_min_clicked();
    void on_pb_win_close_clicked();
    void openActionSlot(QAction* action);
    void slotOpenRecording();
    void slotShowToolIPConfig();
    void slotSaveAs();
    void slotCutRecording();
    void slotOpenCamera();
    void slotShowCameraInfo();
    void setShowTitleInfo(bool show);
    void showCameraSerial(const QString& str);
    void showTimeStamp(uint64_t timestamp_us);
    void showLocalTime(const QString& local_time);
    void on_pb_win_max_clicked();
    void maximizedChanged(bool max);
    void on_pb_fold_setting_clicked(bool checked);
    void on_pb_viewer_setting_clicked();
    void slotStartEndPointEditable(bool editable);
    void on_pb_fold_general_setting_clicked(bool checked);
    void on_pb_fold_dvs_setting_clicked(bool checked);
    void on_pb_fold_aps_setting_clicked(bool checked);
    void on_pb_viewer_type_clicked();
    void on_pb_play_clicked();
    void slotShowLeftBottomTips(const QString& tips, QvMessageType type, const QString& file_path);
    void slotSetSliderStartTime(uint64_t timestamp);
    void slotSetSliderEndTime(uint64_t ts);
    void slotSetWaitWinStatus(bool busy);
    void slotPlayStatus(bool playing);
    void slotTriggerList(QvTriggerMarks triggers);
    /// Tools menu: what a recording holds, and its rewriting as EVT 3.0.
    void slotRecordingInfo();
    void slotConvertRecording();

protected:
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    void buildMenus();
    void buildSidePanels();
    void setPlayBarToolTips();
    void updateViewerTypeIcon();
    void foldSideBar(QPushButton* button, QWidget* panel, bool checked);
    /// Runs the general settings; saved trigger-in settings reach an open camera at once.
    void showGeneralSetting();
    void askLanguageRestart();
    void showAbout();
    void updateStatusLine();
    void buildPlayback();
    /// The overview strip of the open recording on the slider; `loading` while it is indexed.
    void updateTimeline(bool loading);
    static constexpr int kTimelineBuckets = 4096;
    void buildLiveCamera();
    /// Leaves the recording or camera in use before another source opens.
    void leaveCurrentSource();
    /// Runs `task` on a worker thread behind the busy indicator; the window takes no input until
    /// it has finished.
    void runBusy(const std::function<void()>& task);
    /// Shows the camera the live control has just opened and starts its stream.
    bool showOpenedCamera();
    void resetSourceTexts();
    void slotLoss(const quorvel::StreamLoss& loss);
    void buildShortcuts();
    void setPlaybackControlsEnabled(bool enabled);
    /// Fills a range dialog from the slider and settings; false (with the toast) without a recording.
    bool prepareRangeDialog(class QvRangeFileDialog& dialog, const QString& folder, const QString& extension);

    MainWidgetForm ui;
    AppSettings* m_settings = nullptr;
    FramelessHelper* m_agent = nullptr;
    int m_mode = ModeNone;
    int m_viewerType = quorvel::STREAM_DVS;

    SidebarCameraSettingUI* m_cameraPanel = nullptr;
    SidebarApsSettingUI* m_apsPanel = nullptr;
    SidebarDvsSettingUI* m_dvsPanel = nullptr;
    QPushButton* m_lastSideButton = nullptr;

    QMenu* m_menuFile = nullptr;
    QMenu* m_menuDevice = nullptr;
    QMenu* m_menuSetting = nullptr;
    QMenu* m_menuHelp = nullptr;
    QMenu* m_menuTools = nullptr;
    QMenu* m_startEndMenu = nullptr;
    QAction* m_startEndAction = nullptr;

    // Translated texts of the menu actions; openActionSlot dispatches by comparing with them.
    QString m_textOpenCamera;
    QString m_textOpenRecording;
    QString m_textQuit;
    QString m_textAbout;
    QString m_textLanguage;
    QString m_textGeneralSetting;
    QString m_textSaveAs;
    QString m_textCutRecording;
    QString m_textCameraInfo;
    QString m_textIpConfig;
    QString m_textRecordingInfo;
    QString m_textConvertRecording;

    // The status line is these texts joined: camera, bandwidth, event rate, time.
    QString m_cameraText;
    QString m_bandwidthText;
    QString m_eventRateText;
    QString m_timeText;

    std::function<bool()> m_restartLauncher;
    std::function<int(QDialog&)> m_dialogRunner;

    QvRecordingPlayer* m_player = nullptr;
    // The player's two processors (owned by it), used directly where only one can act.
    QvEventProcessor* m_eventProcessor = nullptr;
    QvFusionCameraDataProcessor* m_fusionProcessor = nullptr;
    QvFileRecorder* m_recorder = nullptr;
    QvLiveCamera* m_live = nullptr;
    QAction* m_openCameraAction = nullptr;
    QAction* m_cameraInfoAction = nullptr;
    ShowImageForm* m_showImageForm = nullptr;
    QvThreeHandleSlider* m_slider = nullptr;
    WaitingWin* m_waitingWin = nullptr;
    bool m_activeBeforeBusy = false;
    QString m_currentFile;
    bool m_playWhenLoaded = false;
    class QTimer* m_loadProgressTimer = nullptr;
    QAction* m_openRecordingAction = nullptr;
};
