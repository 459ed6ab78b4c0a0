#include "mainwidget.h"

#include "aboutusform.h"
#include "appsettings.h"
#include "appversion.h"
#include "framelesshelper.h"
#include "qvfilepathreminderform.h"
#include "qvmessagebox.h"
#include "qvsidepanel.h"
#include "qvutility.h"

#include <QAction>
#include <QApplication>
#include <QDebug>
#include <QDesktopServices>
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
    m_textLanguage = QStringLiteral("EN/中文");
    m_textGeneralSetting = tr("General Setting");
    m_textSaveAs = tr("Save as...");
    m_textCutRecording = tr("Cut Recording");
    m_textCameraInfo = tr("Camera Info");
    m_textIpConfig = tr("IP Configuration");

    // 4. Play bar: no source yet, so every transport control waits for one.
    setPlayBarToolTips();
    for (QPushButton* b : {ui.pb_play, ui.pb_record, ui.pb_prv, ui.pb_next, ui.pb_stop, ui.pb_loop, ui.pb_viewer_setting})
        b->setEnabled(false);
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
    m_settings = AppSettings::instance();

    m_cameraText = tr("No source");
    updateStatusLine();

    m_restartLauncher = [] {
        return QProcess::startDetached(QCoreApplication::applicationFilePath(), {});
    };
}

MainWidget::~MainWidget() = default;

QMenu* MainWidget::menuOf(QPushButton* menuButton) const {
    return menuButton ? menuButton->menu() : nullptr;
}

void MainWidget::buildMenus() {
    const auto makeMenu = [this](QPushButton* button) {
        auto* menu = new QMenu(this);
        menu->setWindowFlags(menu->windowFlags() | Qt::FramelessWindowHint | Qt::NoDropShadowWindowHint);
        menu->setAttribute(Qt::WA_TranslucentBackground);
        button->setMenu(menu);
        return menu;
    };

    // Items whose work arrives with later parts of the program stay visible but disabled.
    m_menuFile = makeMenu(ui.pb_menu_file);
    QAction* open = m_menuFile->addAction(m_textOpenRecording);
    open->setEnabled(false);
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
    m_menuDevice->addAction(m_textOpenCamera)->setEnabled(false);
    m_menuDevice->addSeparator();
    m_menuDevice->addAction(m_textCameraInfo)->setEnabled(false);

    m_menuSetting = makeMenu(ui.pb_menu_setting);
    m_menuSetting->addAction(m_textGeneralSetting)->setEnabled(false);
    m_menuSetting->addAction(m_textLanguage);
    connect(m_menuSetting, &QMenu::triggered, this, &MainWidget::openActionSlot);

    m_menuHelp = makeMenu(ui.pb_menu_help);
    m_menuHelp->addAction(m_textAbout);
    connect(m_menuHelp, &QMenu::triggered, this, &MainWidget::openActionSlot);

    m_menuTools = makeMenu(ui.pb_menu_tools);
    m_menuTools->addAction(m_textIpConfig)->setEnabled(false);
}

void MainWidget::buildSidePanels() {
    const QString noCamera = tr("Open a camera to change its settings.");
    m_cameraPanel = new QvSidePanel(tr("Camera Setting"), noCamera, ui.widget_side_panels);
    m_cameraPanel->setObjectName(QStringLiteral("SidebarCameraSettingUI"));
    m_apsPanel = new QvSidePanel(tr("APS Setting"), tr("Open a fusion camera to change its APS settings."),
                                 ui.widget_side_panels);
    m_apsPanel->setObjectName(QStringLiteral("SidebarApsSettingUI"));
    m_dvsPanel = new QvSidePanel(tr("DVS Setting"), noCamera, ui.widget_side_panels);
    m_dvsPanel->setObjectName(QStringLiteral("SidebarDvsSettingUI"));
    for (QvSidePanel* p : {m_cameraPanel, m_apsPanel, m_dvsPanel})
        ui.layout_side_panels->addWidget(p);
    // The camera panel is the one shown at start; the bar itself opens folded.
    m_apsPanel->hide();
    m_dvsPanel->hide();
    m_lastSideButton = ui.pb_fold_general_setting;
    ui.pb_fold_general_setting->setToolTip(tr("Camera Setting"));
    ui.pb_fold_dvs_setting->setToolTip(tr("DVS Setting"));
    ui.pb_fold_aps_setting->setToolTip(tr("APS Setting"));
    ui.pb_fold_setting->setToolTip(tr("Show or hide the settings panel"));
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

void MainWidget::foldSideBar(QPushButton* button, QvSidePanel* panel, bool checked) {
    const std::pair<QPushButton*, QvSidePanel*> pairs[] = {
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
        // The general settings dialog is not part of this build yet; its menu item is disabled.
    } else if (text == m_textSaveAs) {
        slotSaveAs();
    } else if (text == m_textCutRecording) {
        slotCutRecording();
    }
}

void MainWidget::askLanguageRestart() {
    QVMessageBox box(tr("The language change will take effect after restart."), tr("Tips"), tr("Restart"),
                     tr("Later"), this);
    if (box.exec() != QDialog::Accepted)
        return;
    m_settings->language = m_settings->language == QLatin1String("zh") ? QStringLiteral("en") : QStringLiteral("zh");
    m_settings->save();
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

void MainWidget::slotSaveAs() {
    if (m_mode != ModeRawPlayback) {
        emit signalShowLeftBottomTips(tr("Please open a raw file first."), QvMessageWarning, QString());
        return;
    }
}

void MainWidget::slotCutRecording() {
    if (m_mode != ModeRawPlayback) {
        emit signalShowLeftBottomTips(tr("Please open a raw file first."), QvMessageWarning, QString());
        return;
    }
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
