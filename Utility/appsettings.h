#pragma once
// The application's persistent preferences (config.ini, section [Setting]) and the event colour
// schemes.
//
// One process-wide object, created on the first instance() call and saved once more at exit.
// Callers read and assign the public fields directly and call save() to persist them. Key names,
// including the misspelt "tirgger" keys, are part of the file contract and must not change. The
// fusion configuration path is read but deliberately never written, so it falls back to the
// Documents copy at every start.
//
// Errors: nothing is shown to the user; problems are debug/warning log lines and fall back to
// defaults (see the .cpp for the exact texts).
// Thread rules: created and written on the GUI thread only; worker objects read fields after
// start-up without locks.

#include <QColor>
#include <QString>

class QSettings;

class AppSettings {
public:
    static AppSettings* instance();

    /// Re-applies the colour scheme, writes the ten persisted keys in their fixed order and syncs.
    void save();
    /// Sets the three colours from dvsColorType; unknown names leave them unchanged.
    void applyColorScheme();

    QString appConfigPath;
    QString outputRawFilePath;
    QString inputRawFilePath;
    QString videoSavePath;
    QString language;
    bool dvsTriggerInRecEnable = false;
    QString dvsTriggerInRecEdgeType;
    quint32 dvsBeforeTriggerInSaveTime = 0;
    quint32 dvsAfterTriggerInSaveTime = 0;
    QString dvsColorType;
    QColor positiveColor;
    QColor negativeColor;
    QColor backgroundColor;
    QString dvsDefaultConfigPath;
    QString fusionDefaultConfigPath;
    QString dvsCameraCurrentConfigPath;
    QString fusionCameraCurrentConfigPath;

    AppSettings(const AppSettings&) = delete;
    AppSettings& operator=(const AppSettings&) = delete;

    /// Builds a settings object on an arbitrary file. The application uses instance(); tests use
    /// this to exercise construction and saving on files of their own.
    explicit AppSettings(const QString& iniPath);
    ~AppSettings();

private:
    void load();
    QSettings* m_settings = nullptr;
};
