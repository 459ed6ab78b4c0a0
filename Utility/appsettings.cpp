#include "appsettings.h"

#include "qvutility.h"

#include <QCoreApplication>
#include <QDebug>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSettings>
#include <QStandardPaths>

#include <cstdlib>
#include <memory>
#include <mutex>

namespace {

const char* const kOutputRawPath = "Setting/output_raw_file_path";
const char* const kInputRawPath = "Setting/input_raw_file_path";
const char* const kVideoSavePath = "Setting/video_save_path";
const char* const kLanguage = "Setting/language";
const char* const kTriggerEnable = "Setting/dvs_trigger_in_rec_enable";
const char* const kTriggerEdge = "Setting/dvs_trigger_in_rec_edge_type";
const char* const kBeforeTrigger = "Setting/dvs_before_tirgger_in_save_time";
const char* const kAfterTrigger = "Setting/dvs_after_tirgger_in_save_time";
const char* const kColorType = "Setting/dvs_color_type";
const char* const kDvsConfigPath = "Setting/dvs_camera_current_config_path";
const char* const kFusionConfigPath = "Setting/fusion_camera_current_config_path";

std::unique_ptr<AppSettings>& singleton() {
    static std::unique_ptr<AppSettings> s;
    return s;
}

void destroySingleton() {
    singleton().reset();
}

bool folderExists(const QString& path) {
    return !path.isEmpty() && QFileInfo(path).isDir();
}

} // namespace

AppSettings* AppSettings::instance() {
    QCoreApplication::setApplicationName(QStringLiteral("QuorvelView"));
    QCoreApplication::setOrganizationName(QStringLiteral("Quorvel"));
    const QString configPath = QStandardPaths::writableLocation(QStandardPaths::AppDataLocation);

    static std::once_flag once;
    std::call_once(once, [&configPath] {
        qDebug() << "app config path:" << configPath;
        QvUtility::makePath(configPath);
        singleton() = std::make_unique<AppSettings>(configPath + QStringLiteral("/config.ini"));
        std::atexit(destroySingleton);
    });
    QvUtility::makePath(configPath);

    AppSettings* settings = singleton().get();
    settings->appConfigPath = configPath;
    return settings;
}

AppSettings::AppSettings(const QString& iniPath) {
    setAsideUnreadable(iniPath);
    m_settings = new QSettings(iniPath, QSettings::IniFormat);
    load();
}

AppSettings::~AppSettings() {
    if (!m_finalSaveDone)
        save();
    delete m_settings;
}

void AppSettings::setAsideUnreadable(const QString& iniPath) {
    const QFileInfo info(iniPath);
    if (!info.exists() || (info.isFile() && info.size() == 0))
        return;
    // Ours is a few hundred bytes of one section; anything else would be taken apart key by key
    // and silently replaced by defaults, or grow with every save.
    constexpr qint64 kLargestSensibleSize = 1 << 20;
    bool readable = info.isFile() && info.size() <= kLargestSensibleSize;
    if (readable) {
        QSettings probe(iniPath, QSettings::IniFormat);
        readable = probe.status() == QSettings::NoError && probe.childGroups().contains(QStringLiteral("Setting"));
    }
    if (readable || !info.isFile())
        return;
    const QString bad = iniPath + QStringLiteral(".bad");
    QFile::remove(bad);
    if (QFile::rename(iniPath, bad)) {
        m_badFile = bad;
        qWarning() << "The settings file could not be read and was kept as" << bad;
    } else {
        qWarning() << "The settings file could not be read nor moved aside:" << iniPath;
    }
}

bool AppSettings::finalSave() {
    m_finalSaveDone = true;
    return save();
}

void AppSettings::load() {
    const QString documents = QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
    const QString dataFolder = documents + QStringLiteral("/QuorvelData");

    outputRawFilePath = m_settings->value(kOutputRawPath).toString();
    if (!folderExists(outputRawFilePath)) {
        if (documents.isEmpty())
            return;
        outputRawFilePath = dataFolder;
        QvUtility::makePath(outputRawFilePath);
    }

    inputRawFilePath = m_settings->value(kInputRawPath).toString();
    if (!folderExists(inputRawFilePath)) {
        if (documents.isEmpty()) {
            qWarning() << "Unable to get documents location.";
            return;
        }
        inputRawFilePath = dataFolder;
        if (!QvUtility::makePath(inputRawFilePath))
            qDebug() << "Create raw file path failed.";
    }

    language = m_settings->value(kLanguage).toString();
    if (language != QLatin1String("en") && language != QLatin1String("zh"))
        language = QStringLiteral("en");

    videoSavePath = m_settings->value(kVideoSavePath).toString();
    if (!folderExists(videoSavePath)) {
        if (documents.isEmpty())
            return;
        videoSavePath = dataFolder;
        if (!QvUtility::makePath(videoSavePath))
            qDebug() << "Create raw file path failed."; // same text as for recordings, on purpose
    }

    const QString appDir = QCoreApplication::applicationDirPath();
    dvsDefaultConfigPath = appDir + QStringLiteral("/config/dvs_default_config.json");
    fusionDefaultConfigPath = appDir + QStringLiteral("/config/fusion_cmaera_default_config.json");

    // A first run copies the factory camera configuration into the user's own folder so that
    // the panels edit the user's copy, never the file shipped with the program.
    const auto currentConfig = [&](const char* key, const QString& factoryPath,
                                   const QString& copyName, QString& field) -> bool {
        field = m_settings->value(key).toString();
        if (!field.isEmpty())
            return true;
        if (documents.isEmpty())
            return false;
        const QString folder = documents + QStringLiteral("/QuorvelConfig");
        QvUtility::makePath(folder);
        const QString target = folder + QLatin1Char('/') + copyName;
        if (QFile::copy(factoryPath, target))
            qDebug() << "File copied successfully to:" << folder;
        field = target;
        return true;
    };
    if (!currentConfig(kDvsConfigPath, dvsDefaultConfigPath, QStringLiteral("dvs_default_config.json"),
                       dvsCameraCurrentConfigPath))
        return;
    if (!currentConfig(kFusionConfigPath, fusionDefaultConfigPath,
                       QStringLiteral("fusion_camera_default_config.json"), fusionCameraCurrentConfigPath))
        return;

    if (m_settings->contains(kTriggerEnable)) {
        dvsTriggerInRecEnable = m_settings->value(kTriggerEnable).toBool();
        dvsTriggerInRecEdgeType = m_settings->value(kTriggerEdge).toString();
        dvsBeforeTriggerInSaveTime = m_settings->value(kBeforeTrigger).toUInt();
        dvsAfterTriggerInSaveTime = m_settings->value(kAfterTrigger).toUInt();
    } else {
        dvsTriggerInRecEnable = false;
        dvsTriggerInRecEdgeType = QStringLiteral("Rising Edge");
        dvsBeforeTriggerInSaveTime = 0;
        dvsAfterTriggerInSaveTime = 0;
    }

    dvsColorType = m_settings->contains(kColorType) ? m_settings->value(kColorType).toString()
                                                    : QStringLiteral("Gray");
    applyColorScheme();
}

void AppSettings::applyColorScheme() {
    struct Scheme {
        const char* name;
        QRgb positive, negative, background;
    };
    // "Light" uses blue 201 where "Dark" uses 200; the one-unit difference is intended.
    static const Scheme schemes[] = {
        {"Gray", qRgb(255, 255, 255), qRgb(0, 0, 0), qRgb(112, 112, 112)},
        {"Dark", qRgb(255, 255, 255), qRgb(64, 126, 200), qRgb(30, 37, 52)},
        {"RedBlue", qRgb(255, 0, 0), qRgb(0, 0, 255), qRgb(112, 112, 112)},
        {"RedGreen", qRgb(255, 0, 0), qRgb(0, 255, 0), qRgb(112, 112, 112)},
        {"Light", qRgb(0, 0, 0), qRgb(64, 126, 201), qRgb(255, 255, 255)},
    };
    for (const Scheme& s : schemes) {
        if (dvsColorType == QLatin1String(s.name)) { // case-sensitive on purpose
            positiveColor = QColor::fromRgb(s.positive);
            negativeColor = QColor::fromRgb(s.negative);
            backgroundColor = QColor::fromRgb(s.background);
            return;
        }
    }
}

bool AppSettings::save() {
    applyColorScheme();
    m_settings->setValue(kOutputRawPath, outputRawFilePath);
    m_settings->setValue(kInputRawPath, inputRawFilePath);
    m_settings->setValue(kLanguage, language);
    m_settings->setValue(kVideoSavePath, videoSavePath);
    m_settings->setValue(kTriggerEnable, dvsTriggerInRecEnable);
    m_settings->setValue(kTriggerEdge, dvsTriggerInRecEdgeType);
    m_settings->setValue(kBeforeTrigger, dvsBeforeTriggerInSaveTime);
    m_settings->setValue(kAfterTrigger, dvsAfterTriggerInSaveTime);
    m_settings->setValue(kColorType, dvsColorType);
    m_settings->setValue(kDvsConfigPath, dvsCameraCurrentConfigPath);
    // kFusionConfigPath is only ever read: changes to it last for one run.
    m_settings->sync();
    if (m_settings->status() != QSettings::NoError || !QFileInfo(m_settings->fileName()).isFile()) {
        m_saveError = QStringLiteral("%1: %2").arg(m_settings->fileName(),
                                                 m_settings->status() == QSettings::AccessError
                                                     ? QStringLiteral("not writable")
                                                     : QStringLiteral("cannot be written"));
        qWarning() << "Could not write the config file" << m_saveError;
        return false;
    }
    m_saveError.clear();
    qDebug() << "Write to config file.";
    return true;
}
