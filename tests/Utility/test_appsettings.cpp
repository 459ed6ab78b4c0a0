#include "appsettings.h"
#include "qvtestenv.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QSettings>
#include <QTemporaryDir>
#include <QtTest/QtTest>


using qvtest::readFile;

namespace {

// Starts every case from an empty Documents folder, as on a first run.
void resetDocuments() {
    QDir(qvtest::documentsPath()).removeRecursively();
}

} // namespace

class AppSettingsTest : public QObject {
    Q_OBJECT
private slots:
    void init() { resetDocuments(); }

    void firstRunCreatesFoldersAndCopiesFactoryFiles() {
        QTemporaryDir dir;
        const QString ini = dir.filePath("config.ini");
        const QString docs = qvtest::documentsPath();
        {
            AppSettings s(ini);
            QCOMPARE(s.outputRawFilePath, docs + "/QuorvelData");
            QCOMPARE(s.inputRawFilePath, docs + "/QuorvelData");
            QCOMPARE(s.videoSavePath, docs + "/QuorvelData");
            QVERIFY(QFileInfo(docs + "/QuorvelData").isDir());
            QCOMPARE(s.language, QStringLiteral("en"));
            QCOMPARE(s.dvsTriggerInRecEnable, false);
            QCOMPARE(s.dvsTriggerInRecEdgeType, QStringLiteral("Rising Edge"));
            QCOMPARE(s.dvsBeforeTriggerInSaveTime, 0u);
            QCOMPARE(s.dvsAfterTriggerInSaveTime, 0u);
            QCOMPARE(s.dvsColorType, QStringLiteral("Gray"));
            QCOMPARE(s.positiveColor, QColor(255, 255, 255));
            QCOMPARE(s.negativeColor, QColor(0, 0, 0));
            QCOMPARE(s.backgroundColor, QColor(112, 112, 112));

            const QString appDir = QCoreApplication::applicationDirPath();
            QCOMPARE(s.dvsDefaultConfigPath, appDir + "/config/dvs_default_config.json");
            QCOMPARE(s.fusionDefaultConfigPath, appDir + "/config/fusion_cmaera_default_config.json");
            QCOMPARE(s.dvsCameraCurrentConfigPath, docs + "/QuorvelConfig/dvs_default_config.json");
            // The copy of the fusion file is spelt correctly, unlike the factory file.
            QCOMPARE(s.fusionCameraCurrentConfigPath, docs + "/QuorvelConfig/fusion_camera_default_config.json");
            QVERIFY(QFile::exists(s.dvsDefaultConfigPath));
            QCOMPARE(readFile(s.dvsCameraCurrentConfigPath), readFile(s.dvsDefaultConfigPath));
            QCOMPARE(readFile(s.fusionCameraCurrentConfigPath), readFile(s.fusionDefaultConfigPath));
        } // destruction saves

        // Exactly the ten persisted keys are written; the fusion path never is.
        QSettings written(ini, QSettings::IniFormat);
        QStringList keys = written.allKeys();
        keys.sort();
        QCOMPARE(keys, (QStringList{"Setting/dvs_after_tirgger_in_save_time", "Setting/dvs_before_tirgger_in_save_time",
                                    "Setting/dvs_camera_current_config_path", "Setting/dvs_color_type",
                                    "Setting/dvs_trigger_in_rec_edge_type", "Setting/dvs_trigger_in_rec_enable",
                                    "Setting/input_raw_file_path", "Setting/language", "Setting/output_raw_file_path",
                                    "Setting/video_save_path"}));
        const QByteArray text = readFile(ini);
        QVERIFY(text.startsWith("[Setting]"));
        QVERIFY(text.contains("dvs_trigger_in_rec_enable=false"));
        QVERIFY(text.contains("dvs_before_tirgger_in_save_time=0"));
    }

    void userCopyOfTheConfigurationIsNeverOverwritten() {
        QTemporaryDir dir;
        const QString folder = qvtest::documentsPath() + "/QuorvelConfig";
        QDir().mkpath(folder);
        QVERIFY(qvtest::writeFile(folder + "/dvs_default_config.json", "{\"Biases\": {\"mine\": 1}}"));
        AppSettings s(dir.filePath("config.ini"));
        QCOMPARE(s.dvsCameraCurrentConfigPath, folder + "/dvs_default_config.json");
        QCOMPARE(readFile(s.dvsCameraCurrentConfigPath), QByteArray("{\"Biases\": {\"mine\": 1}}"));
    }

    void storedValuesAreKeptAndBadOnesFallBack() {
        QTemporaryDir dir;
        QTemporaryDir kept;
        const QString ini = dir.filePath("config.ini");
        {
            QSettings raw(ini, QSettings::IniFormat);
            raw.setValue("Setting/output_raw_file_path", kept.path());
            raw.setValue("Setting/input_raw_file_path", dir.filePath("deleted-folder")); // stale
            raw.setValue("Setting/video_save_path", kept.path());
            raw.setValue("Setting/language", "fr");
            raw.setValue("Setting/dvs_trigger_in_rec_enable", true);
            raw.setValue("Setting/dvs_trigger_in_rec_edge_type", "Falling Edge");
            raw.setValue("Setting/dvs_before_tirgger_in_save_time", 3);
            raw.setValue("Setting/dvs_after_tirgger_in_save_time", 7);
            raw.setValue("Setting/dvs_color_type", "gray"); // wrong case: no scheme
            raw.setValue("Setting/dvs_camera_current_config_path", "/nowhere/mine.json");
            raw.setValue("Setting/fusion_camera_current_config_path", "/nowhere/fusion.json");
        }
        {
            AppSettings s(ini);
            QCOMPARE(s.outputRawFilePath, kept.path());
            QCOMPARE(s.inputRawFilePath, qvtest::documentsPath() + "/QuorvelData");
            QCOMPARE(s.videoSavePath, kept.path());
            QCOMPARE(s.language, QStringLiteral("en"));
            QCOMPARE(s.dvsTriggerInRecEnable, true);
            QCOMPARE(s.dvsTriggerInRecEdgeType, QStringLiteral("Falling Edge"));
            QCOMPARE(s.dvsBeforeTriggerInSaveTime, 3u);
            QCOMPARE(s.dvsAfterTriggerInSaveTime, 7u);
            QCOMPARE(s.dvsColorType, QStringLiteral("gray"));
            QVERIFY(!s.positiveColor.isValid());
            QVERIFY(!s.backgroundColor.isValid());
            // A stored path is kept even though the file is gone.
            QCOMPARE(s.dvsCameraCurrentConfigPath, QStringLiteral("/nowhere/mine.json"));
            QCOMPARE(s.fusionCameraCurrentConfigPath, QStringLiteral("/nowhere/fusion.json"));
            s.fusionCameraCurrentConfigPath = "/changed/during/run.json";
        }
        QSettings after(ini, QSettings::IniFormat);
        QCOMPARE(after.value("Setting/language").toString(), QStringLiteral("en"));
        // The fusion path is only ever read, so a change made during a run is not written.
        QCOMPARE(after.value("Setting/fusion_camera_current_config_path").toString(),
                 QStringLiteral("/nowhere/fusion.json"));
    }

    void colourSchemeNamesPickTheirColoursAndUnknownNamesChangeNothing() {
        QTemporaryDir dir;
        AppSettings s(dir.filePath("config.ini"));
        s.dvsColorType = "Dark";
        s.applyColorScheme();
        QCOMPARE(s.positiveColor, QColor(255, 255, 255));
        QCOMPARE(s.negativeColor, QColor(64, 126, 200));
        QCOMPARE(s.backgroundColor, QColor(30, 37, 52));
        s.dvsColorType = "Neon";
        s.applyColorScheme();
        QCOMPARE(s.backgroundColor, QColor(30, 37, 52));
        // save() re-applies the scheme before writing.
        s.dvsColorType = "Gray";
        s.save();
        QCOMPARE(s.backgroundColor, QColor(112, 112, 112));
    }

    void unreadableAndUnwritableFilesAreNeverSilent() {
        QTemporaryDir dir;
        const QString ini = dir.filePath("config.ini");
        // Ten megabytes that are not our settings, as text and as binary: kept aside, not taken
        // apart key by key, and a fresh small file is written.
        QByteArray text;
        while (text.size() < 10 << 20)
            text += "some line = of text that is not a setting\n";
        QByteArray binary(10 << 20, '\0');
        for (int i = 0; i < binary.size(); ++i)
            binary[i] = char((i * 2654435761u) >> 13);
        for (const QByteArray& junk : {text, binary}) {
            QVERIFY(qvtest::writeFile(ini, junk));
            {
                AppSettings s(ini);
                QCOMPARE(s.loadProblem(), ini + ".bad");
                QCOMPARE(s.dvsColorType, QStringLiteral("Gray"));
                QVERIFY(s.save());
            }
            QCOMPARE(QFileInfo(ini + ".bad").size(), qint64(junk.size()));
            QVERIFY(QFileInfo(ini).size() < 4096);
            QCOMPARE(QSettings(ini, QSettings::IniFormat).value("Setting/dvs_color_type").toString(), QStringLiteral("Gray"));
        }
        // A file of ours is read as it is.
        AppSettings again(ini);
        QVERIFY(again.loadProblem().isEmpty());

        // A path that cannot be written: save says so.
        const QString folder = dir.filePath("taken");
        QVERIFY(QDir().mkpath(folder));
        AppSettings blocked(folder);
        QVERIFY(!blocked.save());
        QVERIFY(blocked.lastSaveError().startsWith(folder));
        QVERIFY(blocked.finalSave() == false);
    }

    void instanceLivesInTheApplicationDataFolder() {
        AppSettings* a = AppSettings::instance();
        QCOMPARE(AppSettings::instance(), a);
        QCOMPARE(a->appConfigPath, qvtest::testHome() + "/.local/share/Quorvel/QuorvelView");
        QVERIFY(QFileInfo(a->appConfigPath).isDir());
        a->save();
        QVERIFY(QFile::exists(a->appConfigPath + "/config.ini"));
    }
};

QObject* makeAppSettingsTests() {
    return new AppSettingsTest;
}

#include "test_appsettings.moc"
