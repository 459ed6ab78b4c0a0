#pragma once
// The "Camera Setting" side panel: the display settings (accumulation time and slow rate) in
// its "Display" group, relayed as signalCumulativeTimeChanged and signalFpsChanged for the
// processors. Nothing here goes to the camera.
// Thread rules: GUI thread only.

#include "settingui.h"

class SidebarCameraSettingUI : public SettingUI {
    Q_OBJECT
public:
    explicit SidebarCameraSettingUI(QWidget* parent = nullptr);
};
