#include "sidebarcamerasettingui.h"

SidebarCameraSettingUI::SidebarCameraSettingUI(QWidget* parent) : SettingUI(parent) {
    setObjectName(QStringLiteral("SidebarCameraSettingUI"));
    setTitle(tr("Camera Setting"));
    buildDisplayGroup();
}
