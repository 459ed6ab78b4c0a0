#pragma once
// A side panel that acts on a camera's configuration: the bar of four buttons under a 2 px
// brand-coloured line (Default, Refresh, Load, Export) and what they do.
//
// - Default loads the panel's default configuration file into the camera;
// - Refresh reads the camera's current values back into the rows (pushes them by name);
// - Load asks for a JSON file and loads it into the camera;
// - Export asks where to and writes the camera's current values there.
// Default and Load read the values back after a successful load. Each outcome is a toast; the
// two failure texts of Default and Load differ on purpose (users know the messages apart).
// Subclasses say which camera the buttons act on and which file is the default.
// Thread rules: GUI thread only; the camera's calls are synchronous.

#include "settingui.h"

#include <functional>

namespace quorvel {
class DvsCamera;
}

class SettingCameraPanel : public SettingUI {
    Q_OBJECT
public:
    /// Asks for a file: an existing one to load (save false) or a place to export to (save true).
    /// An empty result means the user cancelled.
    using FileChooser = std::function<QString(bool save, const QString& caption, const QString& filter)>;

    explicit SettingCameraPanel(QWidget* parent = nullptr);

    /// Replaces the file dialogs of Load and Export (tests answer them without a dialog).
    void setFileChooser(FileChooser chooser) { m_fileChooser = std::move(chooser); }
    QWidget* buttonBar() const { return m_buttonBar; }

public slots:
    void slotDefaultConfig();
    void slotRefreshConfig();
    void slotLoadConfig();
    void slotExportConfig();

protected:
    /// The camera the buttons act on (null: every button fails with its toast).
    virtual quorvel::DvsCamera* configurationCamera() const = 0;
    /// The factory configuration file that Default loads.
    virtual QString defaultConfigurationPath() const = 0;
    /// Puts the button bar into the column just before the trailing spacer.
    void showButtonBar();
    /// Takes the button bar out of the column.
    void hideButtonBar();

private:
    QString chooseFile(bool save);

    QWidget* m_buttonBar = nullptr;
    FileChooser m_fileChooser;
};
