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
// Errors: problems are debug/warning log lines and fall back to defaults (see the .cpp for the
// exact texts). Two are also for the user, whom the window tells: a settings file that cannot be
// read is kept aside as "config.ini.bad" (loadProblem()), and a write that fails is reported by
// save() and lastSaveError(), never logged as done.
// Thread rules: created and written on the GUI thread only; worker objects read fields after
// start-up without locks.

#include <QColor>
#include <QString>

class QSettings;

class AppSettings {
public:
    static AppSettings* instance();

    /// Re-applies the colour scheme, writes the ten persisted keys in their fixed order and syncs.
    /// False when the file could not be written (lastSaveError() says where and why).
    bool save();
    /// The last save at the end of a run: as save(), and the destructor then writes no more.
    bool finalSave();
    /// Why the last save failed; empty after a successful one.
    QString lastSaveError() const { return m_saveError; }
    /// Set when the file found at start could not be read and was moved to "config.ini.bad":
    /// the path it was moved to. Empty otherwise.
    QString loadProblem() const { return m_badFile; }
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
    /// Moves a settings file that is not one of ours (unparsable, no [Setting] section, or far
    /// larger than any real one) out of the way, so that a fresh one is written.
    void setAsideUnreadable(const QString& iniPath);

    QSettings* m_settings = nullptr;
    QString m_badFile;
    QString m_saveError;
    bool m_finalSaveDone = false;
};
