#include "settingcamerapanel.h"

#include "quorvel/DvsCamera.h"

#include <QFile>
#include <QFileDialog>
#include <QFrame>
#include <QHBoxLayout>
#include <QPushButton>
#include <QVBoxLayout>

namespace {

QPushButton* barButton(QWidget* parent, const char* name, const QString& text, const char* icon) {
    auto* b = new QPushButton(text, parent);
    b->setObjectName(QLatin1String(name));
    b->setFlat(true);
    b->setCursor(Qt::PointingHandCursor);
    b->setIcon(QIcon(QStringLiteral(":/img/assets/%1.svg").arg(QLatin1String(icon))));
    b->setIconSize(QSize(14, 14));
    b->setMinimumHeight(30);
    b->setStyleSheet(QStringLiteral(
        "QPushButton{border: none; border-radius: 4px; background: transparent; color: #004B6A; "
        "font: 12px \"Noto Sans SC Medium\"; padding: 0px 2px;}"
        "QPushButton:hover{background: #D7E7EE;}QPushButton:pressed{background: #C3D8E0;}"));
    return b;
}

} // namespace

SettingCameraPanel::SettingCameraPanel(QWidget* parent) : SettingUI(parent) {
    m_buttonBar = new QWidget(scrollAreaWidgetContents);
    m_buttonBar->setObjectName(QStringLiteral("widget_button_bar"));
    auto* column = new QVBoxLayout(m_buttonBar);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(4);
    auto* line = new QFrame(m_buttonBar);
    line->setObjectName(QStringLiteral("line_button_bar"));
    line->setFixedHeight(2);
    line->setStyleSheet(QStringLiteral("background: #004B6A; border: none;"));
    column->addWidget(line);
    auto* buttons = new QHBoxLayout;
    buttons->setSpacing(2);
    QPushButton* def = barButton(m_buttonBar, "default_button", tr("Default"), "icon_reset_value");
    QPushButton* refresh = barButton(m_buttonBar, "refresh_button", tr("Refresh"), "icon_refresh");
    QPushButton* load = barButton(m_buttonBar, "import_button", tr("Load"), "icon_load");
    QPushButton* exp = barButton(m_buttonBar, "export_button", tr("Export"), "icon_export");
    for (QPushButton* b : {def, refresh, load, exp})
        buttons->addWidget(b, 1);
    column->addLayout(buttons);
    connect(def, &QPushButton::clicked, this, &SettingCameraPanel::slotDefaultConfig);
    connect(refresh, &QPushButton::clicked, this, &SettingCameraPanel::slotRefreshConfig);
    connect(load, &QPushButton::clicked, this, &SettingCameraPanel::slotLoadConfig);
    connect(exp, &QPushButton::clicked, this, &SettingCameraPanel::slotExportConfig);
    m_buttonBar->hide();

    m_fileChooser = [this](bool save, const QString& caption, const QString& filter) {
        return save ? QFileDialog::getSaveFileName(this, caption, QString(), filter)
                    : QFileDialog::getOpenFileName(this, caption, QString(), filter);
    };
}

void SettingCameraPanel::showButtonBar() {
    verticalLayout->removeWidget(m_buttonBar);
    insertBeforeSpacer(m_buttonBar);
}

void SettingCameraPanel::hideButtonBar() {
    verticalLayout->removeWidget(m_buttonBar);
    m_buttonBar->hide();
}

QString SettingCameraPanel::chooseFile(bool save) {
    return m_fileChooser ? m_fileChooser(save, tr("Select a JSON file"), tr("Json file (*.json)")) : QString();
}

void SettingCameraPanel::slotDefaultConfig() {
    quorvel::DvsCamera* camera = configurationCamera();
    const QString path = defaultConfigurationPath();
    if (camera && QFile::exists(path) && camera->loadCameraConfigParams(path.toLocal8Bit().toStdString())) {
        readBackCameraValues(camera);
        emit signalShowLeftBottomTips(tr("Camera parameters loaded successfully."), QvMessageSuccess, QString());
        return;
    }
    emit signalShowLeftBottomTips(tr("Camera parameters loaded failed."), QvMessageError, QString());
}

void SettingCameraPanel::slotRefreshConfig() {
    readBackCameraValues(configurationCamera());
}

void SettingCameraPanel::slotLoadConfig() {
    const QString path = chooseFile(false);
    if (path.isEmpty())
        return;
    quorvel::DvsCamera* camera = configurationCamera();
    if (camera && camera->loadCameraConfigParams(path.toLocal8Bit().toStdString())) {
        readBackCameraValues(camera);
        emit signalShowLeftBottomTips(tr("Camera parameters loaded successfully."), QvMessageSuccess, QString());
        return;
    }
    emit signalShowLeftBottomTips(tr("Failed to load camera parameters."), QvMessageError, QString());
}

void SettingCameraPanel::slotExportConfig() {
    const QString path = chooseFile(true);
    if (path.isEmpty())
        return;
    quorvel::DvsCamera* camera = configurationCamera();
    if (camera && camera->exportCameraConfigParams(path.toLocal8Bit().toStdString())) {
        emit signalShowLeftBottomTips(tr("Camera parameters exported successfully."), QvMessageSuccess, QString());
        return;
    }
    emit signalShowLeftBottomTips(tr("Failed to export camera parameters."), QvMessageError, QString());
}
