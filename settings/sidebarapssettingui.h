#pragma once
// The "APS Setting" side panel of a fusion camera: one group with the APS sensor's parameters
// (switches start at their defaults; integer and real values as numbers in whole units; choices
// are not offered here), the "APS Manual Calibration" group that shifts the APS picture against
// the events by whole pixels and applies the shift to the camera, and the configuration-file
// buttons acting on the fusion camera.
//
// APS values go to the tool only (no configuration file records them). The read-back of this
// panel pushes the fusion camera's values through signalSetValue, which the main window hands to
// the DVS panel: the fusion camera's DVS tools are shown there. The APS rows themselves take no
// pushed values.
// Thread rules: GUI thread only; tool calls are synchronous.

#include "settingcamerapanel.h"

#include <memory>
#include <string>

namespace quorvel {
class CameraTool;
class FusionCamera;
}

class SettingBaseWithLineEdit;
class SettingItemBox;

class SidebarApsSettingUI : public SettingCameraPanel {
    Q_OBJECT
public:
    static constexpr int kOffsetLimit = 100;

    explicit SidebarApsSettingUI(QWidget* parent = nullptr);

    /// Shows the button bar and keeps the camera (no configuration file is loaded into it).
    void setFusionCamera(std::shared_ptr<quorvel::FusionCamera> camera);
    /// (Re)builds the "APS" group from the APS tool; a null tool or one without parameters leaves
    /// the group out.
    void setApsToolUI(std::shared_ptr<quorvel::CameraTool> tool);
    /// (Re)builds the "APS Manual Calibration" group: Offset X and Offset Y (-100 .. 100) and Apply.
    void setManualCalibrationUI();
    /// Removes the button bar and both groups (a recording is being played).
    void clearToolUI();

    std::shared_ptr<quorvel::FusionCamera> fusionCamera() const { return m_camera; }
    SettingItemBox* apsGroup() const { return m_apsGroup; }
    SettingItemBox* calibrationGroup() const { return m_calibrationGroup; }
    double offsetX() const { return offset_x; }
    double offsetY() const { return offset_y; }

signals:
    /// The manual offsets in APS pixels, both of them, after either changed.
    void signalManualCaliOffsetXY(double x, double y);
    void signalApplyCaliOffset();

public slots:
    void onApsBoolValueChanged(const std::string& name, bool value);
    void onApsSliderValueChanged(const std::string& name, int value);
    void onApsSliderFloatValueChanged(const std::string& name, int value);

protected:
    quorvel::DvsCamera* configurationCamera() const override;
    QString defaultConfigurationPath() const override;

private:
    std::shared_ptr<quorvel::FusionCamera> m_camera;
    std::shared_ptr<quorvel::CameraTool> m_apsTool;
    SettingItemBox* m_apsGroup = nullptr;
    SettingItemBox* m_calibrationGroup = nullptr;
    double offset_x = 0;
    double offset_y = 0;
};
