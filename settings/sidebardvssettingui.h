#pragma once
// The "DVS Setting" side panel: one folding group per tool of the open camera (biases, trigger
// input, anti-flicker, event rate control, event trail filter, region of interest, top to
// bottom), built from the parameters each tool publishes, and a bar of four buttons for camera
// configuration files (Default, Refresh, Load, Export).
//
// A row's change goes at once to its tool and, once the tool has accepted it, into the user's
// current DVS configuration file under (tool section, parameter name). Region-of-interest
// numbers are the exception: they only go to the tool, and every ROI field turns red while the
// tool refuses the window. Read-back (Refresh, a successful load, the end of building the ROI
// group) pushes the camera's values into the rows; a row whose value changes reports it again,
// so the value is also written back to the tool and the file.
// Pushed values find their rows by parameter name alone, across groups: parameters of the same
// name in different tools (each filter's "enable") all show the value pushed last.
//
// When a DVS camera is opened its current configuration file is loaded into it, unless the
// camera keeps its own settings (keepsOwnSettings).
//
// Errors: configuration file outcomes are toasts (signalShowLeftBottomTips); missing tools or
// parameter lists are debug log lines and leave their group out.
// Thread rules: GUI thread only; tool calls are synchronous.

#include "settingcamerapanel.h"

#include "quorvel/ToolType.h"

#include <QList>
#include <QPointer>

#include <functional>
#include <memory>
#include <string>

namespace quorvel {
class CameraTool;
class DvsCamera;
struct CameraDescription;
}

class SettingBaseWithLineEdit;
class SettingItemBox;

class SidebarDvsSettingUI : public SettingCameraPanel {
    Q_OBJECT
public:
    explicit SidebarDvsSettingUI(QWidget* parent = nullptr);

    /// Builds the panel for a newly opened camera, DVS or fusion (a FusionCamera handle): asks it
    /// for its six tools, and for a DVS camera first calls setDvsCamera; then builds the groups in
    /// their fixed order. A null camera only removes every group.
    void initCameraSettings(const std::shared_ptr<quorvel::DvsCamera>& camera);

    /// Shows the button bar, keeps the camera and, unless it keeps its own settings, loads the
    /// current DVS configuration file into it (a refused load changes nothing and is silent).
    void setDvsCamera(std::shared_ptr<quorvel::DvsCamera> camera);
    void setBiasesToolUI(std::shared_ptr<quorvel::CameraTool> tool);
    void setTriggerInToolUI(std::shared_ptr<quorvel::CameraTool> tool);
    void setAntiFlickerToolUI(std::shared_ptr<quorvel::CameraTool> tool);
    void setEventRateControlToolUI(std::shared_ptr<quorvel::CameraTool> tool);
    void setEventTrailFilterToolUI(std::shared_ptr<quorvel::CameraTool> tool);
    void setROIToolUI(std::shared_ptr<quorvel::CameraTool> tool);
    /// Removes the button bar and every group (a recording is being played). The camera handle
    /// stays: only setDvsCamera replaces it.
    void clearToolUI();

    /// True for cameras that must not be given the user's configuration file: the description's
    /// settings-keeping field is 1, or the product is exactly "Quorvel.320camera".
    static bool keepsOwnSettings(const quorvel::CameraDescription& description);

    std::shared_ptr<quorvel::DvsCamera> camera() const { return m_camera; }
    SettingItemBox* toolGroup(quorvel::ToolType type) const;
    QList<SettingBaseWithLineEdit*> roiRows() const;

public slots:
    void onBiasSliderValueChanged(const std::string& name, int value);
    void onTriggerInSliderValueChanged(const std::string& name, bool value);
    void onAntiFlickerSliderValueChanged(const std::string& name, int value);
    void onAntiFlickerSliderValueChanged(const std::string& name, bool value);
    void onAntiFlickerSliderFloatValueChanged(const std::string& name, int value);
    void onAntiFlickerSliderEnumValueChanged(const std::string& name, const std::string& value);
    void onEventRateControlSliderValueChanged(const std::string& name, int value);
    void onEventRateControlSliderValueChanged(const std::string& name, bool value);
    void onEventTrailFilterSliderValueChanged(const std::string& name, int value);
    void onEventTrailFilterSliderValueChanged(const std::string& name, bool value);
    void onEventTrailFilterSliderValueChanged(const std::string& name, const std::string& value);
    void onROISliderValueChanged(const std::string& name, int value);
    void onROISliderValueChanged(const std::string& name, bool value);
    void onROISliderValueChanged(const std::string& name, const std::string& value);

protected:
    quorvel::DvsCamera* configurationCamera() const override;
    QString defaultConfigurationPath() const override;

private:
    enum Kind { Biases, TriggerIn, AntiFlicker, EventRateControl, EventTrailFilter, Roi, KindCount };

    void buildGroup(Kind kind, std::shared_ptr<quorvel::CameraTool> tool);
    void updateEmptyNote();
    /// Sets the value on the tool and, when it is accepted, records it in the current DVS
    /// configuration file under the tool's section.
    template <typename T>
    void deliver(Kind kind, const std::string& name, const T& value);
    void deliverFloat(Kind kind, const std::string& name, int value);

    std::shared_ptr<quorvel::DvsCamera> m_camera;
    std::shared_ptr<quorvel::CameraTool> m_tools[KindCount];
    SettingItemBox* m_groups[KindCount] = {};
    QList<QPointer<SettingBaseWithLineEdit>> m_roiRows;
    QWidget* m_emptyNote = nullptr;
};
