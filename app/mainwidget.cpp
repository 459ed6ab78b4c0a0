#include "mainwidget.h"

#include "aboutusform.h"
#include "appsettings.h"
#include "appversion.h"
#include "cameraslist.h"
#include "framelesshelper.h"
#include "qvconvertrecordingui.h"
#include "qvcutrawfile.h"
#include "qvethcameraconfigtool.h"
#include "qvexportvideoui.h"
#include "qvfilepathreminderform.h"
#include "qvfilerecorder.h"
#include "qvfusioncameradataprocessor.h"
#include "qvrecordingplayer.h"
#include "qvgeneralsetting.h"
#include "qvlivecamera.h"
#include "qvmessagebox.h"
#include "sidebarapssettingui.h"
#include "qvrecordinginfoui.h"
#include "qvthreehandleslider.h"
#include "qvutility.h"
#include "showcamerainfoui.h"
#include "showimageform.h"
#include "waitingwin.h"
#include "workerthread.h"

#include <QAction>
#include <QDateTime>
#include <QApplication>
#include <QDebug>
#include <QDesktopServices>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QEventLoop>
#include <QFileDialog>
#include <QFileInfo>
#include <QMimeData>
#include <QShortcut>
#include <QStackedWidget>
#include <QTimer>
#include <QKeySequence>
#include <QLabel>
#include <QVBoxLayout>
#include <QMenu>
#include <QProcess>
#include <QPushButton>
#include <QUrl>

MainWidget::MainWidget(QWidget* parent) : QWidget(parent) {
    qRegisterMetaType<QvMessageType>("QvMessageType");
    qRegisterMetaType<quorvel::STREAM_TYPE>("quorvel::STREAM_TYPE");

    // 1. Form and the frameless window agent.
    ui.setupUi(this);
    setWindowTitle(QStringLiteral("QuorvelView"));
    m_agent = new FramelessHelper(this);
    m_agent->setTitleBar(ui.widget_title_space);
    m_agent->setSystemButton(FramelessHelper::WindowIcon, ui.pb_logo_button);
    m_agent->setSystemButton(FramelessHelper::Minimize, ui.pb_win_min);
    m_agent->setSystemButton(FramelessHelper::Maximize, ui.pb_win_max);
    m_agent->setSystemButton(FramelessHelper::Close, ui.pb_win_close);
    connect(m_agent, &FramelessHelper::maximizedChanged, this, &MainWidget::maximizedChanged);

    // 2. Texts of the menu actions, compared by openActionSlot.
    m_textOpenCamera = tr("Open Camera");
    m_textOpenRecording = tr("Open Recording");
    m_textQuit = tr("Quit");
    m_textAbout = tr("About us");
    m_textLanguage = tr("EN/中文");
    m_textGeneralSetting = tr("General Setting");
    m_textSaveAs = tr("Save as...");
    m_textCutRecording = tr("Cut Recording");
    m_textCameraInfo = tr("Camera Info");
    m_textIpConfig = tr("IP Configuration");
    m_textRecordingInfo = tr("Recording Information");
    m_textConvertRecording = tr("Convert Recording");

    // 2-3. Processors, image view, time slider and busy indicator; the live camera.
    buildPlayback();
    buildLiveCamera();

    // 4. Play bar: no source yet, so every transport control waits for one.
    setPlayBarToolTips();
    ui.pb_record->setEnabled(false);
    setPlaybackControlsEnabled(false);
    updateViewerTypeIcon();

    // 5. Start/end pop-up menu of the time slider.
    m_startEndMenu = new QMenu(this);
    m_startEndMenu->setWindowFlags(m_startEndMenu->windowFlags() | Qt::FramelessWindowHint | Qt::Popup);
    m_startEndMenu->setAttribute(Qt::WA_TranslucentBackground);
    m_startEndAction = m_startEndMenu->addAction(tr("Toggle Start/End Point"));
    m_startEndAction->setCheckable(true);
    m_startEndMenu->addSeparator();

    // 6-7. Menus and side panels.
    buildMenus();
    buildSidePanels();

    // 8. Wiring.
    connect(ui.pb_win_min, &QPushButton::clicked, this, &MainWidget::on_pb_win_min_clicked);
    connect(ui.pb_win_max, &QPushButton::clicked, this, &MainWidget::on_pb_win_max_clicked);
    connect(ui.pb_win_close, &QPushButton::clicked, this, &MainWidget::on_pb_win_close_clicked);
    connect(ui.pb_fold_setting, &QPushButton::clicked, this, &MainWidget::on_pb_fold_setting_clicked);
    connect(ui.pb_fold_general_setting, &QPushButton::clicked, this, &MainWidget::on_pb_fold_general_setting_clicked);
    connect(ui.pb_fold_dvs_setting, &QPushButton::clicked, this, &MainWidget::on_pb_fold_dvs_setting_clicked);
    connect(ui.pb_fold_aps_setting, &QPushButton::clicked, this, &MainWidget::on_pb_fold_aps_setting_clicked);
    connect(ui.pb_viewer_type, &QPushButton::clicked, this, &MainWidget::on_pb_viewer_type_clicked);
    connect(this, &MainWidget::signalShowLeftBottomTips, this, &MainWidget::slotShowLeftBottomTips);
    connect(m_startEndAction, &QAction::triggered, this, &MainWidget::slotStartEndPointEditable);
    connect(ui.pb_viewer_setting, &QPushButton::clicked, this, &MainWidget::on_pb_viewer_setting_clicked);
    buildShortcuts();
    setAcceptDrops(true);
    m_settings = AppSettings::instance();

    m_cameraText = tr("No source");
    updateStatusLine();
    // A settings file that could not be read was set aside at start: the user learns where it is.
    if (!m_settings->loadProblem().isEmpty())
        QTimer::singleShot(0, this, [this] {
            emit signalShowLeftBottomTips(
                tr("The settings file could not be read; defaults are used and it was kept as %1.")
                    .arg(m_settings->loadProblem()),
                QvMessageWarning, m_settings->loadProblem());
        });

    m_dialogRunner = [](QDialog& dialog) { return dialog.exec(); };
    m_restartLauncher = [] {
        return QProcess::startDetached(QCoreApplication::applicationFilePath(), {});
    };
}

MainWidget::~MainWidget() {
    // The camera feeds the processor and the recorder: it goes first (stream stopped, a running
    // recording closed), then the processor's threads, which report to this window.
    delete m_live;
    m_live = nullptr;
    delete m_recorder;
    m_recorder = nullptr;
    delete m_player;
    m_player = nullptr;
}

void MainWidget::buildPlayback() {
    m_player = new QvRecordingPlayer;
    m_eventProcessor = m_player->eventProcessor();
    m_fusionProcessor = m_player->fusionProcessor();

    m_showImageForm = new ShowImageForm(ui.stack_show_image);
    ui.stack_show_image->addWidget(m_showImageForm);

    m_slider = new QvThreeHandleSlider(ui.widget_slider, Qt::Horizontal, 1);
    m_slider->setObjectName(QStringLiteral("slider_time"));
    m_slider->setCenterValue(0);
    m_slider->setEnabled(false);
    ui.layout_slider->addWidget(m_slider);

    m_waitingWin = new WaitingWin(this);
    m_waitingWin->close();
    // A never-seen recording is indexed before it plays; on a large file that takes seconds, so
    // the status line counts it up.
    m_loadProgressTimer = new QTimer(this);
    m_loadProgressTimer->setInterval(200);
    connect(m_loadProgressTimer, &QTimer::timeout, this, [this] {
        if (m_player->isLoading())
            updateTimeline(true);
        if (m_eventProcessor->isLoading())
            ui.label_show_play_text->setText(
                tr("Indexing the recording... %1%").arg(qRound(m_eventProcessor->loadProgress() * 100)));
        else if (m_eventProcessor->isJobRunning())
            ui.label_show_play_text->setText(tr("Writing..."));
    });

    QvRecordingPlayer* p = m_player;
    using R = QvRecordingPlayer;
    connect(this, &MainWidget::signalOpenRawFile, m_eventProcessor, &QvEventProcessor::loadFile);
    connect(this, &MainWidget::signalOpenFusionFile, m_fusionProcessor, &QvFusionCameraDataProcessor::slotReadFusionFile);
    connect(this, &MainWidget::signalPlaybackCtrl, p, &R::play);
    connect(this, &MainWidget::signalPlaybackReset, p, &R::reset);
    connect(this, &MainWidget::signalExportVideo, m_eventProcessor, &QvEventProcessor::slotExportVideo);
    connect(this, &MainWidget::signalCutRawFile, m_eventProcessor, &QvEventProcessor::slotCutRawFile);
    connect(this, &MainWidget::signalSetViewerShowType, p, &R::setViewerType);
    connect(ui.pb_play, &QPushButton::clicked, this, &MainWidget::on_pb_play_clicked);
    connect(ui.pb_loop, &QPushButton::toggled, p, &R::setLoop);
    connect(ui.pb_prv, &QPushButton::clicked, p, &R::preFrame);
    connect(ui.pb_next, &QPushButton::clicked, p, &R::nextFrame);
    connect(ui.pb_stop, &QPushButton::clicked, this, &MainWidget::signalPlaybackReset);

    connect(p, &R::imageReady, m_showImageForm, &ShowImageForm::slotShowImage);
    connect(p, &R::positionChanged, this, &MainWidget::showTimeStamp);
    connect(p, &R::localTimeChanged, this, &MainWidget::showLocalTime);
    connect(p, &R::startTimeChanged, this, &MainWidget::slotSetSliderStartTime);
    connect(p, &R::endTimeChanged, this, &MainWidget::slotSetSliderEndTime);
    connect(p, &R::playStatusChanged, this, &MainWidget::slotPlayStatus);
    connect(p, &R::loadingStatusChanged, this, &MainWidget::slotSetWaitWinStatus);
    connect(p, &R::triggersFound, this, &MainWidget::slotTriggerList);
    connect(p, &R::showTips, this, &MainWidget::slotShowLeftBottomTips);
    // A fusion recording whose video or events cannot be read still plays what it can: its events.
    connect(p, &R::fusionFileFailed, this, [this](const QString& path, const QString& reason) {
        if (m_mode != ModeFusionPlayback || path != m_currentFile)
            return;
        emit signalShowLeftBottomTips(
            tr("The APS frames of this recording cannot be shown (%1); its events play alone.").arg(reason),
            QvMessageWarning, QString());
        m_mode = ModeRawPlayback;
        m_player->setFusion(false);
        m_playWhenLoaded = true;
        emit signalOpenRawFile(m_currentFile);
    });

    // The slider sets the position and the play range.
    connect(m_slider, &QvThreeHandleSlider::centerValueTrackClick, p, &R::seek);
    connect(m_slider, &QvThreeHandleSlider::centerValueMove, p, &R::seek);
    connect(m_slider, &QvThreeHandleSlider::lowerValueChanged, p, &R::setLowerTimeStamp);
    connect(m_slider, &QvThreeHandleSlider::upperValueChanged, p, &R::setUpperTimeStamp);
}

void MainWidget::buildShortcuts() {
    const auto add = [this](const QKeySequence& key, auto&& handler) {
        auto* sc = new QShortcut(key, this);
        sc->setContext(Qt::WindowShortcut);
        connect(sc, &QShortcut::activated, this, handler);
    };
    // Transport keys act like clicks, so a disabled button (no recording) ignores them.
    add(QKeySequence(Qt::Key_Space), [this] { ui.pb_play->click(); });
    add(QKeySequence(Qt::Key_Left), [this] { ui.pb_prv->click(); });
    add(QKeySequence(Qt::Key_Right), [this] { ui.pb_next->click(); });
    add(QKeySequence(Qt::Key_Home), [this] { ui.pb_stop->click(); });
    add(QKeySequence(Qt::Key_L), [this] { ui.pb_loop->click(); });
}

void MainWidget::setPlaybackControlsEnabled(bool enabled) {
    for (QPushButton* b : {ui.pb_play, ui.pb_prv, ui.pb_next, ui.pb_stop, ui.pb_loop, ui.pb_viewer_setting})
        b->setEnabled(enabled);
    m_slider->setEnabled(enabled);
}

QMenu* MainWidget::menuOf(QPushButton* menuButton) const {
    return menuButton ? menuButton->menu() : nullptr;
}

void MainWidget::buildMenus() {
    const auto makeMenu = [this](QPushButton* button) {
        auto* menu = new QMenu(this);
        menu->setWindowFlags(menu->windowFlags() | Qt::FramelessWindowHint | Qt::NoDropShadowWindowHint);
        menu->setAttribute(Qt::WA_TranslucentBackground);
        // A greyed-out item says in its tooltip why it cannot be used now.
        menu->setToolTipsVisible(true);
        button->setMenu(menu);
        return menu;
    };

    m_menuFile = makeMenu(ui.pb_menu_file);
    m_openRecordingAction = m_menuFile->addAction(m_textOpenRecording);
    m_openRecordingAction->setShortcut(QKeySequence::Open);
    m_openRecordingAction->setShortcutContext(Qt::WindowShortcut);
    addAction(m_openRecordingAction);
    connect(m_openRecordingAction, &QAction::triggered, this, &MainWidget::slotOpenRecording);
    m_menuFile->addSeparator();
    QAction* saveAs = m_menuFile->addAction(m_textSaveAs);
    QAction* cut = m_menuFile->addAction(m_textCutRecording);
    m_menuFile->addSeparator();
    QAction* quit = m_menuFile->addAction(m_textQuit);
    quit->setShortcut(QKeySequence::Quit);
    quit->setShortcutContext(Qt::ApplicationShortcut);
    addAction(quit);
    connect(saveAs, &QAction::triggered, this, &MainWidget::slotSaveAs);
    connect(cut, &QAction::triggered, this, &MainWidget::slotCutRecording);
    connect(quit, &QAction::triggered, this, [this, quit] { openActionSlot(quit); });

    m_menuDevice = makeMenu(ui.pb_menu_device);
    m_openCameraAction = m_menuDevice->addAction(m_textOpenCamera);
    m_menuDevice->addSeparator();
    m_cameraInfoAction = m_menuDevice->addAction(m_textCameraInfo);
    connect(m_openCameraAction, &QAction::triggered, this, &MainWidget::slotOpenCamera);
    connect(m_cameraInfoAction, &QAction::triggered, this, &MainWidget::slotShowCameraInfo);
    connect(m_menuDevice, &QMenu::aboutToShow, this, [this] {
        const bool open = m_live->hasCamera();
        m_cameraInfoAction->setEnabled(open);
        m_cameraInfoAction->setToolTip(open ? m_textCameraInfo : tr("Open a camera first."));
    });

    m_menuSetting = makeMenu(ui.pb_menu_setting);
    m_menuSetting->addAction(m_textGeneralSetting);
    m_menuSetting->addAction(m_textLanguage);
    connect(m_menuSetting, &QMenu::triggered, this, &MainWidget::openActionSlot);

    m_menuHelp = makeMenu(ui.pb_menu_help);
    m_menuHelp->addAction(m_textAbout);
    connect(m_menuHelp, &QMenu::triggered, this, &MainWidget::openActionSlot);

    m_menuTools = makeMenu(ui.pb_menu_tools);
    connect(m_menuTools->addAction(m_textIpConfig), &QAction::triggered, this, &MainWidget::slotShowToolIPConfig);
    m_menuTools->addSeparator();
    QAction* info = m_menuTools->addAction(m_textRecordingInfo);
    info->setToolTip(tr("Format, times, counts and event rate of the open recording or of another one"));
    connect(info, &QAction::triggered, this, &MainWidget::slotRecordingInfo);
    QAction* convert = m_menuTools->addAction(m_textConvertRecording);
    convert->setToolTip(tr("Rewrite an EVT 2.0, EVT 2.1 or DAT recording as EVT 3.0"));
    connect(convert, &QAction::triggered, this, &MainWidget::slotConvertRecording);
}

void MainWidget::buildSidePanels() {
    m_cameraPanel = new SidebarCameraSettingUI(ui.widget_side_panels);
    m_apsPanel = new SidebarApsSettingUI(ui.widget_side_panels);
    m_dvsPanel = new SidebarDvsSettingUI(ui.widget_side_panels);
    for (QWidget* p : std::initializer_list<QWidget*>{m_cameraPanel, m_apsPanel, m_dvsPanel})
        ui.layout_side_panels->addWidget(p);
    // The camera panel is the one shown at start; the bar itself opens folded.
    m_apsPanel->hide();
    m_dvsPanel->hide();
    m_lastSideButton = ui.pb_fold_general_setting;
    ui.pb_fold_general_setting->setToolTip(tr("Camera Setting"));
    ui.pb_fold_dvs_setting->setToolTip(tr("DVS Setting"));
    ui.pb_fold_aps_setting->setToolTip(tr("APS Setting"));
    ui.pb_fold_setting->setToolTip(tr("Show or hide the settings panel"));

    // Display settings go to the processors. A slow rate of 0.03 arrives as 0 frames per second,
    // which the processor must never be given (it divides by it): that value is dropped.
    // The accumulation time is also the live camera's batch time: one batch a frame.
    connect(m_cameraPanel, &SettingUI::signalCumulativeTimeChanged, m_player, &QvRecordingPlayer::setAccTime);
    connect(m_cameraPanel, &SettingUI::signalCumulativeTimeChanged, m_live, &QvLiveCamera::setDvsTimeInterval);
    connect(m_cameraPanel, &SettingUI::signalFpsChanged, m_player, &QvRecordingPlayer::setFps);
    connect(m_dvsPanel, &SettingUI::signalShowLeftBottomTips, this, &MainWidget::slotShowLeftBottomTips);
    connect(m_apsPanel, &SettingUI::signalShowLeftBottomTips, this, &MainWidget::slotShowLeftBottomTips);
    // Values the APS panel reads back from a fusion camera reach the DVS panel's rows, which
    // show that camera's DVS tools.
    using Push = SettingUI;
    connect(m_apsPanel, qOverload<const std::string&, int>(&Push::signalSetValue), m_dvsPanel,
            qOverload<const std::string&, int>(&Push::slotParamChangedDelivery));
    connect(m_apsPanel, qOverload<const std::string&, float>(&Push::signalSetValue), m_dvsPanel,
            qOverload<const std::string&, float>(&Push::slotParamChangedDelivery));
    connect(m_apsPanel, qOverload<const std::string&, bool>(&Push::signalSetValue), m_dvsPanel,
            qOverload<const std::string&, bool>(&Push::slotParamChangedDelivery));
    connect(m_apsPanel, qOverload<const std::string&, const std::string&>(&Push::signalSetValue), m_dvsPanel,
            qOverload<const std::string&, const std::string&>(&Push::slotParamChangedDelivery));
    connect(m_apsPanel, &SidebarApsSettingUI::signalManualCaliOffsetXY, m_fusionProcessor,
            &QvFusionCameraDataProcessor::slotSetApsOffset);
    connect(m_apsPanel, &SidebarApsSettingUI::signalApplyCaliOffset, m_fusionProcessor,
            &QvFusionCameraDataProcessor::slotApplyOffset);
}

void MainWidget::setPlayBarToolTips() {
    ui.pb_play->setToolTip(tr("Play/Stop"));
    ui.pb_record->setToolTip(tr("Start/Stop recording"));
    ui.pb_prv->setToolTip(tr("Previous frame"));
    ui.pb_next->setToolTip(tr("Next frame"));
    ui.pb_stop->setToolTip(tr("Reset the playback progress to the beginning"));
    ui.pb_loop->setToolTip(tr("Select to automatically replay at the end of the playback"));
    ui.pb_viewer_setting->setToolTip(tr("Toggle Start/End Point"));
}

void MainWidget::updateViewerTypeIcon() {
    static const char* const icons[] = {"icon_viewer_dvs", "icon_viewer_aps", "icon_viewer_fusion"};
    static const char* const tips[] = {QT_TR_NOOP("Viewer: DVS"), QT_TR_NOOP("Viewer: APS"),
                                       QT_TR_NOOP("Viewer: Fusion")};
    const QString icon = QLatin1String(icons[m_viewerType]);
    ui.pb_viewer_type->setStyleSheet(
        QStringLiteral("QPushButton{border:none;border-radius:6px;background:transparent;image:url(:/img/assets/%1.svg);padding:4px;}"
                       "QPushButton:hover{background:#D7E7EE;image:url(:/img/assets/%1_hover.svg);}")
            .arg(icon));
    ui.pb_viewer_type->setToolTip(tr(tips[m_viewerType]));
}

void MainWidget::on_pb_viewer_type_clicked() {
    m_viewerType = (m_viewerType + 1) % 3;
    updateViewerTypeIcon();
    emit signalSetViewerShowType(static_cast<quorvel::STREAM_TYPE>(m_viewerType));
}

void MainWidget::on_pb_win_min_clicked() {
    showMinimized();
}

void MainWidget::on_pb_win_close_clicked() {
    close();
}

void MainWidget::on_pb_win_max_clicked() {
    m_agent->toggleMaximized();
}

void MainWidget::maximizedChanged(bool max) {
    ui.setTitleBarMaximized(max);
}

void MainWidget::foldSideBar(QPushButton* button, QWidget* panel, bool checked) {
    const std::pair<QPushButton*, QWidget*> pairs[] = {
        {ui.pb_fold_general_setting, m_cameraPanel},
        {ui.pb_fold_dvs_setting, m_dvsPanel},
        {ui.pb_fold_aps_setting, m_apsPanel},
    };
    if (checked) {
        for (const auto& [b, p] : pairs) {
            b->setChecked(b == button);
            p->setVisible(p == panel);
        }
        m_lastSideButton = button;
        ui.widget_side_panels->show();
        ui.widget_side_bar->setMaximumWidth(MainWidgetForm::kSideBarWideWidth);
        ui.widget_side_bar->setMinimumWidth(MainWidgetForm::kSideBarWideWidth * 3 / 4);
    } else {
        button->setChecked(false);
        panel->hide();
        ui.widget_side_panels->hide();
        ui.widget_side_bar->setMinimumWidth(0);
        ui.widget_side_bar->setMaximumWidth(MainWidgetForm::kSideBarNarrowWidth);
    }
    ui.pb_fold_setting->setChecked(checked);
}

void MainWidget::on_pb_fold_setting_clicked(bool checked) {
    // The fold button opens the panel used last, or closes whichever panel is open.
    QPushButton* target = m_lastSideButton ? m_lastSideButton : ui.pb_fold_general_setting;
    if (target == ui.pb_fold_dvs_setting)
        on_pb_fold_dvs_setting_clicked(checked);
    else if (target == ui.pb_fold_aps_setting)
        on_pb_fold_aps_setting_clicked(checked);
    else
        on_pb_fold_general_setting_clicked(checked);
}

void MainWidget::on_pb_fold_general_setting_clicked(bool checked) {
    foldSideBar(ui.pb_fold_general_setting, m_cameraPanel, checked);
}

void MainWidget::on_pb_fold_dvs_setting_clicked(bool checked) {
    foldSideBar(ui.pb_fold_dvs_setting, m_dvsPanel, checked);
}

void MainWidget::on_pb_fold_aps_setting_clicked(bool checked) {
    foldSideBar(ui.pb_fold_aps_setting, m_apsPanel, checked);
}

void MainWidget::setShowTitleInfo(bool show) {
    ui.label_title_info->setVisible(show);
}

void MainWidget::showCameraSerial(const QString& str) {
    ui.label_title_info->setText(str);
}

void MainWidget::openActionSlot(QAction* action) {
    if (!action)
        return;
    const QString text = action->text();
    if (text == m_textOpenCamera || text == m_textOpenRecording) {
        return; // these have slots of their own
    } else if (text == m_textQuit) {
        QApplication::closeAllWindows();
    } else if (text == m_textAbout) {
        showAbout();
    } else if (text == m_textLanguage) {
        askLanguageRestart();
    } else if (text == m_textGeneralSetting) {
        showGeneralSetting();
    } else if (text == m_textSaveAs) {
        slotSaveAs();
    } else if (text == m_textCutRecording) {
        slotCutRecording();
    }
}

void MainWidget::showGeneralSetting() {
    QvGeneralSetting dialog(this);
    connect(&dialog, &QvGeneralSetting::signalTriggerInSaveFileParamChanged, this, [this] {
        if (m_live->hasCamera())
            m_live->applyTriggerInSettings();
        // Playing and live images take the new colours with their next frame; a paused recording
        // shows its frame again.
        QvEventProcessor* p = m_eventProcessor;
        const uint64_t at = p->currentPosition(), acc = p->accumulationTime();
        if (m_mode == ModeRawPlayback && p->hasFile() && !p->isLoading() && !p->isPlaying())
            p->setPlayPos(std::max(p->startTimestamp(), at > acc ? at - acc : 0));
    });
    m_dialogRunner(dialog);
}

void MainWidget::slotShowToolIPConfig() {
    QvEthCameraConfigTool dialog(this);
    connect(&dialog, &QvEthCameraConfigTool::signalShowLeftBottomTips, this, &MainWidget::slotShowLeftBottomTips);
    m_dialogRunner(dialog);
}

void MainWidget::slotRecordingInfo() {
    QvRecordingInfoUI dialog(this);
    dialog.setStartFolder(m_settings->inputRawFilePath);
    if (!m_currentFile.isEmpty())
        dialog.setRecording(m_currentFile);
    m_dialogRunner(dialog);
}

void MainWidget::slotConvertRecording() {
    QvConvertRecordingUI dialog(this);
    dialog.setOutputFolder(m_settings->outputRawFilePath);
    dialog.setInput(m_currentFile);
    if (m_dialogRunner(dialog) == QDialog::Accepted)
        emit signalShowLeftBottomTips(tr("Recording converted."), QvMessageSuccess, dialog.outputPath());
}

void MainWidget::askLanguageRestart() {
    QVMessageBox box(tr("The language change will take effect after restart."), tr("Tips"), tr("Restart"),
                     tr("Later"), this);
    if (box.exec() != QDialog::Accepted)
        return;
    const QString before = m_settings->language;
    m_settings->language = m_settings->language == QLatin1String("zh") ? QStringLiteral("en") : QStringLiteral("zh");
    if (!m_settings->save()) {
        m_settings->language = before;
        emit signalShowLeftBottomTips(tr("The settings could not be saved (%1).").arg(m_settings->lastSaveError()),
                                      QvMessageError, QString());
        return;
    }
    if (!m_restartLauncher || !m_restartLauncher()) {
        emit signalShowLeftBottomTips(tr("Could not restart QuorvelView; please start it again."), QvMessageError,
                                      QString());
        return;
    }
    QApplication::closeAllWindows();
}

void MainWidget::showAbout() {
    QVMessageBox box(tr("Current version: %1").arg(QLatin1String(kAppVersion)) + QLatin1Char('\n') +
                         tr("Is it open in the browser?"),
                     tr("Tips"), tr("Open"), tr("Close"), this);
    if (box.exec() == QDialog::Accepted)
        QDesktopServices::openUrl(QUrl(AboutUSForm::websiteUrl()));
}

void MainWidget::slotOpenRecording() {
    const QString path = QFileDialog::getOpenFileName(this, tr("Select a raw file"), m_settings->inputRawFilePath,
                                                      tr("RAW files (*.raw)"));
    if (path.isEmpty())
        return;
    openRecording(path);
}

void MainWidget::openRecording(const QString& path) {
    const QFileInfo info(path);
    if (!info.isFile()) {
        emit signalShowLeftBottomTips(tr("File not found: %1").arg(path), QvMessageError, QString());
        return;
    }
    if (m_player->isLoading()) {
        emit signalShowLeftBottomTips(tr("A recording is still loading; please wait."), QvMessageWarning, QString());
        return;
    }
    if (m_eventProcessor->isJobRunning()) {
        emit signalShowLeftBottomTips(tr("Please wait until the current export has finished."), QvMessageWarning,
                                      QString());
        return;
    }
    m_settings->inputRawFilePath = info.absolutePath();
    // Live streaming stops and the camera is let go (a running recording is closed first).
    leaveCurrentSource();
    // A recording with an .mp4 of the same base name beside it is a fusion recording.
    m_mode = QvRecordingPlayer::hasApsVideo(path) ? ModeFusionPlayback : ModeRawPlayback;
    m_player->setFusion(m_mode == ModeFusionPlayback);
    m_currentFile = info.absoluteFilePath();
    setWindowTitle(QStringLiteral("QuorvelView - %1").arg(info.fileName()));
    showCameraSerial(info.fileName());
    setShowTitleInfo(true);
    m_cameraText = info.fileName();
    m_timeText.clear();
    updateStatusLine();

    m_slider->clearMarks();
    m_slider->setTimeline({});
    m_slider->setHandleType(1);
    m_startEndAction->setChecked(false);
    setPlaybackControlsEnabled(false);
    ui.pb_play->setChecked(false);
    ui.stack_show_image->setCurrentWidget(m_showImageForm);
    // A recording has no tools to set: the DVS panel drops its groups and buttons.
    m_dvsPanel->clearToolUI();
    m_apsPanel->clearToolUI();
    m_playWhenLoaded = true;
    if (m_mode == ModeFusionPlayback) {
        m_viewerType = quorvel::STREAM_FUSION;
        updateViewerTypeIcon();
        m_player->setViewerType(quorvel::STREAM_FUSION);
        emit signalOpenFusionFile(m_currentFile);
        return;
    }
    emit signalOpenRawFile(m_currentFile);
    if (!m_eventProcessor->hasFile()) { // refused at once (not a recording): its toast says why
        m_playWhenLoaded = false;
        resetSourceTexts();
    }
}

void MainWidget::on_pb_play_clicked() {
    if (m_mode == ModeRawPlayback || m_mode == ModeFusionPlayback) {
        emit signalPlaybackCtrl(ui.pb_play->isChecked());
        ui.pb_play->setChecked(m_player->isPlaying());
        return;
    }
    if ((m_mode != ModeLiveDvs && m_mode != ModeLiveFusion) || !m_live->hasCamera()) {
        emit signalShowLeftBottomTips(tr("Please connect camera first."), QvMessageWarning, QString());
        ui.pb_play->setChecked(false);
        return;
    }
    if (ui.pb_play->isChecked())
        ui.pb_play->setChecked(m_live->startStreaming());
    else
        m_live->stopStreaming();
}

void MainWidget::slotPlayStatus(bool playing) {
    ui.pb_play->setChecked(playing && m_player->isPlaying());
}

void MainWidget::slotSetWaitWinStatus(bool busy) {
    if (busy) {
        // Nothing may play or step while a recording loads or a range is being written.
        setPlaybackControlsEnabled(false);
        m_activeBeforeBusy = m_activeBeforeBusy || isActiveWindow();
        m_waitingWin->show();
        m_loadProgressTimer->start();
        return;
    }
    m_loadProgressTimer->stop();
    ui.label_show_play_text->clear();
    m_waitingWin->close();
    // Some window systems activate every window shown, busy indicators included: the keyboard
    // (and with it the transport shortcuts) goes back to this window when the indicator closes.
    if (m_activeBeforeBusy) {
        m_activeBeforeBusy = false;
        activateWindow();
    }
    if ((m_mode != ModeRawPlayback && m_mode != ModeFusionPlayback) || !m_player->hasFile() || m_player->isLoading())
        return;
    updateTimeline(false);
    const QSize size = m_player->resolution();
    if (!size.isEmpty() && size != m_showImageForm->resolution()) {
        if (m_mode == ModeRawPlayback)
            m_eventProcessor->resizeImage(size.width(), size.height());
        m_showImageForm->slotSetResolution(size.width(), size.height());
        emit signalImageReslotionChanged(size.width(), size.height());
    }
    setPlaybackControlsEnabled(true);
    if (m_playWhenLoaded) {
        m_playWhenLoaded = false;
        ui.pb_play->setChecked(true);
        emit signalPlaybackCtrl(true);
    }
}

void MainWidget::slotSetSliderStartTime(uint64_t timestamp) {
    m_slider->setMinimum(timestamp);
    m_slider->setCenterValue(timestamp);
}

void MainWidget::slotSetSliderEndTime(uint64_t ts) {
    m_slider->setMaximum(ts);
}

void MainWidget::updateTimeline(bool loading) {
    QvTimeline timeline = m_player->timeline(kTimelineBuckets);
    if (loading && !timeline.isEmpty()) {
        // While a never-seen recording is indexed its end is not known yet: the slider spans the
        // time indexed so far, stretched by what is left to index, and the strip fills in.
        const uint64_t indexedEnd = timeline.startUs + timeline.bucketUs * uint64_t(timeline.eventsPerSecond.size());
        const double done = m_player->isFusion() ? 1.0 : std::max(0.01, m_eventProcessor->loadProgress());
        m_slider->setMinimum(timeline.startUs);
        m_slider->setMaximum(timeline.startUs + uint64_t(double(indexedEnd - timeline.startUs) / done));
    }
    m_slider->setTimeline(std::move(timeline));
}

void MainWidget::slotTriggerList(QvTriggerMarks triggers) {
    for (const auto& [timestamp, polarity] : triggers)
        m_slider->addMark(timestamp, QColor(polarity == 1 ? QStringLiteral("#FF6058") : QStringLiteral("#58DB6D")));
}

void MainWidget::showTimeStamp(uint64_t timestamp_us) {
    ui.label_show_timestamp_info->setText(tr("%1 us").arg(timestamp_us));
    if (m_mode == ModeLiveDvs || m_mode == ModeLiveFusion)
        return;
    m_slider->setCenterValue(timestamp_us);
    if (m_mode == ModeRawPlayback || m_mode == ModeFusionPlayback) {
        const uint64_t start = m_slider->minimum();
        const uint64_t end = m_slider->maximum();
        // Position and length of the recording, to the millisecond: recordings are often short.
        const auto text = [](uint64_t us) {
            return QStringLiteral("%1.%2").arg(QvUtility::durationText(us / 1000000)).arg(us / 1000 % 1000, 3, 10, QLatin1Char('0'));
        };
        const uint64_t at = timestamp_us > start ? timestamp_us - start : 0;
        m_timeText = QStringLiteral("  %1 / %2").arg(text(at), text(end > start ? end - start : 0));
        updateStatusLine();
    }
}

void MainWidget::showLocalTime(const QString& local_time) {
    ui.label_time->setText(local_time);
}

void MainWidget::on_pb_viewer_setting_clicked() {
    m_startEndMenu->popup(ui.pb_viewer_setting->mapToGlobal(QPoint(0, -m_startEndMenu->sizeHint().height())));
}

void MainWidget::slotStartEndPointEditable(bool editable) {
    m_slider->setHandleType(editable ? 3 : 1);
    m_slider->update();
}

void MainWidget::dragEnterEvent(QDragEnterEvent* event) {
    const QList<QUrl> urls = event->mimeData()->urls();
    if (!urls.isEmpty() && urls.first().isLocalFile() &&
        urls.first().toLocalFile().endsWith(QLatin1String(".raw"), Qt::CaseInsensitive))
        event->acceptProposedAction();
}

void MainWidget::dropEvent(QDropEvent* event) {
    const QList<QUrl> urls = event->mimeData()->urls();
    if (urls.isEmpty() || !urls.first().isLocalFile())
        return;
    event->acceptProposedAction();
    openRecording(urls.first().toLocalFile());
}

bool MainWidget::prepareRangeDialog(QvRangeFileDialog& dialog, const QString& folder, const QString& extension) {
    dialog.setStartTime(m_slider->lowerBound());
    dialog.setEndTime(m_slider->upperBound());
    dialog.setSavePath(folder);
    dialog.setFileName(QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMdd_HHmmss")) + extension);
    return m_dialogRunner(dialog) == QDialog::Accepted;
}

void MainWidget::slotSaveAs() {
    if (m_mode != ModeRawPlayback) {
        emit signalShowLeftBottomTips(tr("Please open a raw file first."), QvMessageWarning, QString());
        return;
    }
    QvExportVideoUI dialog(this);
    if (!prepareRangeDialog(dialog, m_settings->videoSavePath, QStringLiteral(".mp4")))
        return;
    const QString dir = QFileInfo(dialog.getOutputPath()).absolutePath();
    emit signalExportVideo(dialog.getOutputPath(), dir, dialog.getStartTime(), dialog.getEndTime());
}

void MainWidget::slotCutRecording() {
    if (m_mode != ModeRawPlayback) {
        emit signalShowLeftBottomTips(tr("Please open a raw file first."), QvMessageWarning, QString());
        return;
    }
    QvCutRawFile dialog(this);
    if (!prepareRangeDialog(dialog, m_settings->outputRawFilePath, QStringLiteral(".raw")))
        return;
    const QString dir = QFileInfo(dialog.getOutputPath()).absolutePath();
    emit signalCutRawFile(dialog.getOutputPath(), dir, dialog.getStartTime(), dialog.getEndTime());
}

void MainWidget::slotShowLeftBottomTips(const QString& tips, QvMessageType type, const QString& file_path) {
    const QString directory = file_path.isEmpty() ? QString() : QvUtility::folderOfPath(file_path);
    auto* toast = new QvFilePathReminderForm(tips, type, directory);
    toast->move(pos().x(), pos().y() - toast->height() + height());
    toast->show();
}

void MainWidget::updateStatusLine() {
    ui.label_show_camera_info->setText(m_cameraText + m_bandwidthText + m_eventRateText + m_timeText);
}

void MainWidget::resetSourceTexts() {
    m_mode = ModeNone;
    m_currentFile.clear();
    setWindowTitle(QStringLiteral("QuorvelView"));
    setShowTitleInfo(false);
    m_cameraText = tr("No source");
    m_bandwidthText.clear();
    m_eventRateText.clear();
    m_timeText.clear();
    updateStatusLine();
    ui.label_show_play_text->clear();
    ui.stack_show_image->setCurrentWidget(ui.widget_empty_state);
}

// ---- live camera ----------------------------------------------------------------------------

void MainWidget::buildLiveCamera() {
    m_recorder = new QvFileRecorder;
    m_live = new QvLiveCamera(m_eventProcessor, m_fusionProcessor, m_recorder);
    const auto queued = Qt::QueuedConnection;
    connect(m_live, &QvLiveCamera::signalShowLeftBottomTips, this, &MainWidget::slotShowLeftBottomTips, queued);
    connect(m_recorder, &QvFileRecorder::signalShowLeftBottomTips, this, &MainWidget::slotShowLeftBottomTips, queued);
    connect(m_live, &QvLiveCamera::signalStatisticTexts, this,
            [this](const QString& bandwidth, const QString& eventRate) {
                m_bandwidthText = bandwidth;
                m_eventRateText = eventRate;
                updateStatusLine();
            },
            queued);
    connect(m_live, &QvLiveCamera::signalCameraTimestamp, this, &MainWidget::toShowCameraTimestamp, queued);
    connect(this, &MainWidget::toShowCameraTimestamp, this, &MainWidget::showTimeStamp);
    connect(m_live, &QvLiveCamera::signalStreamingChanged, this, [this](bool streaming) {
        ui.pb_play->setChecked(streaming);
    });
    connect(m_live, &QvLiveCamera::signalRecordingChanged, this, [this](bool recording) {
        ui.pb_record->setChecked(recording);
        if (!recording)
            ui.label_show_play_text->clear();
    });
    connect(m_live, &QvLiveCamera::signalRecordingSeconds, this,
            [this](quint64 seconds) {
                if (m_live->isRecording())
                    ui.label_show_play_text->setText(tr("Recording %1").arg(QvUtility::durationText(seconds)));
            },
            queued);
    connect(m_live, &QvLiveCamera::signalConnectionLost, this, [this] {
        m_cameraText = QString::fromStdString(m_live->description().serial) + QLatin1Char(' ') +
                       tr("(connection lost)");
        m_bandwidthText.clear();
        m_eventRateText.clear();
        updateStatusLine();
    });
    connect(m_live, &QvLiveCamera::signalLoss, this, &MainWidget::slotLoss);
    // Trigger-in edges arrive on the camera's thread; the recorder acts on the GUI thread.
    connect(m_live, &QvLiveCamera::signalRecByTime, this, &MainWidget::signalRecByTime, queued);
    connect(this, &MainWidget::signalRecByTime, m_recorder, &QvFileRecorder::recordingTime);
    connect(ui.pb_record, &QPushButton::clicked, this, &MainWidget::on_pb_record_clicked);
}

void MainWidget::leaveCurrentSource() {
    if (m_live->hasCamera()) {
        m_live->closeCamera();
        showCameraPlayingUI(false);
    }
    m_player->close();
    ui.label_lost_events->hide();
}

void MainWidget::slotOpenCamera() {
    if (ui.pb_play->isChecked())
        ui.pb_play->click();
    std::vector<quorvel::CameraDescription> cameras;
    runBusy([this, &cameras] { cameras = m_live->searchCameras(); });
    CamerasList dialog(cameras, this);
    if (m_dialogRunner(dialog) != QDialog::Accepted)
        return;
    int index = -1;
    if (!dialog.selectedIndex(index) || index < 0 || static_cast<size_t>(index) >= cameras.size())
        return;
    openCameraDescription(cameras[static_cast<size_t>(index)]);
}

void MainWidget::runBusy(const std::function<void()>& task) {
    // Finding and opening cameras talk to them (a network camera may take a while): on a worker
    // thread, with the busy indicator up and the window taking no input meanwhile.
    WorkerThread worker(task);
    QEventLoop loop;
    connect(&worker, &WorkerThread::taskCompleted, &loop, &QEventLoop::quit, Qt::QueuedConnection);
    m_activeBeforeBusy = isActiveWindow();
    m_waitingWin->show();
    worker.start(QThread::InheritPriority);
    loop.exec(QEventLoop::ExcludeUserInputEvents);
    worker.wait();
    m_waitingWin->close();
    if (m_activeBeforeBusy) {
        m_activeBeforeBusy = false;
        activateWindow();
    }
}

bool MainWidget::openCameraBySerial(const QString& serial) {
    std::vector<quorvel::CameraDescription> cameras;
    runBusy([this, &cameras] { cameras = m_live->searchCameras(); });
    for (const quorvel::CameraDescription& camera : cameras)
        if (QString::fromStdString(camera.serial) == serial)
            return openCameraDescription(camera);
    emit signalShowLeftBottomTips(tr("No camera with the serial %1 was found.").arg(serial), QvMessageError, QString());
    return false;
}

bool MainWidget::openCameraDescription(const quorvel::CameraDescription& description) {
    if (m_player->isBusy()) {
        emit signalShowLeftBottomTips(tr("Please wait until the recording has finished loading or writing."),
                                      QvMessageWarning, QString());
        return false;
    }
    const QString serial = QString::fromStdString(description.serial);
    showCameraSerial(serial);
    setShowTitleInfo(true);
    qDebug() << "Select camera: " << serial << " product: " << QString::fromStdString(description.product);
    const QString refusal = QvLiveCamera::networkCheckError(description);
    if (!refusal.isEmpty()) {
        emit signalShowLeftBottomTips(refusal, QvMessageError, QString());
        return false;
    }
    leaveCurrentSource();
    resetSourceTexts();

    bool opened = false;
    runBusy([this, &opened, description] { opened = m_live->openCamera(description); });
    if (!opened)
        return false;
    return showOpenedCamera();
}

bool MainWidget::openCamera(std::shared_ptr<quorvel::DvsCamera> camera) {
    leaveCurrentSource();
    resetSourceTexts();
    if (!m_live->useCamera(std::move(camera)))
        return false;
    return showOpenedCamera();
}

bool MainWidget::showOpenedCamera() {
    m_mode = m_live->mode() == QvLiveCamera::ModeFusion ? ModeLiveFusion : ModeLiveDvs;
    m_viewerType = m_mode == ModeLiveFusion ? quorvel::STREAM_FUSION : quorvel::STREAM_DVS;
    updateViewerTypeIcon();
    const auto camera = m_live->camera();
    const int width = camera->getWidth();
    const int height = camera->getHeight();
    m_showImageForm->slotSetResolution(width, height);
    emit signalImageReslotionChanged(width, height);
    ui.stack_show_image->setCurrentWidget(m_showImageForm);
    const QString serial = QString::fromStdString(m_live->description().serial);
    setWindowTitle(QStringLiteral("QuorvelView - %1").arg(serial));
    showCameraSerial(serial);
    setShowTitleInfo(true);
    m_cameraText = serial;
    updateStatusLine();
    m_slider->clearMarks();
    m_slider->setTimeline({});
    initDvsCameraSettings();
    showCameraPlayingUI(true);
    ui.pb_play->setChecked(true);
    on_pb_play_clicked();
    return ui.pb_play->isChecked();
}

void MainWidget::initDvsCameraSettings() {
    m_dvsPanel->initCameraSettings(m_live->camera());
    if (const auto fusion = m_live->fusionCamera()) {
        m_apsPanel->setFusionCamera(fusion);
        m_apsPanel->setApsToolUI(fusion->getTool(quorvel::TOOL_APS));
        m_apsPanel->setManualCalibrationUI();
    } else {
        m_apsPanel->clearToolUI();
    }
    // After the panel has loaded the user's configuration file into the camera, which would
    // otherwise switch the trigger input off again.
    if (m_settings->dvsTriggerInRecEnable)
        m_live->applyTriggerInSettings();
    m_live->registerTriggerIn();
}

void MainWidget::showCameraPlayingUI(bool en) {
    // Live: the stream switch and the record button; the file transport waits for a recording.
    setPlaybackControlsEnabled(false);
    ui.pb_play->setEnabled(en);
    ui.pb_record->setEnabled(en);
    if (!en) {
        ui.pb_play->setChecked(false);
        ui.pb_record->setChecked(false);
    }
}

void MainWidget::on_pb_record_clicked() {
    if ((m_mode != ModeLiveDvs && m_mode != ModeLiveFusion) || !m_live->hasCamera()) {
        emit signalShowLeftBottomTips(tr("Please connect camera first."), QvMessageWarning, QString());
        ui.pb_record->setChecked(false);
        return;
    }
    if (m_live->isRecording())
        m_live->stopRecording();
    else
        m_live->startRecording();
    ui.pb_record->setChecked(m_live->isRecording());
}

void MainWidget::slotShowCameraInfo() {
    if (!m_live->hasCamera())
        return;
    ShowCameraInfoUI dialog(this);
    dialog.setCameraInfo(m_live->description(), m_live->firmwareVersion());
    m_dialogRunner(dialog);
}

void MainWidget::slotLoss(const quorvel::StreamLoss& loss) {
    ui.label_lost_events->setVisible(loss.any());
    ui.label_lost_events->setText(QvLiveCamera::lossText(loss));
    ui.label_lost_events->setToolTip(QvLiveCamera::lossDetails(loss));
}
