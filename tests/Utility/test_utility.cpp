#include "qvtestenv.h"
#include "qvutility.h"

#include <QDir>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QtTest/QtTest>

class UtilityTest : public QObject {
    Q_OBJECT
private slots:
    void durationIsZeroPaddedAndGrowsPastTwoDigitHours() {
        QCOMPARE(QvUtility::durationText(0), QStringLiteral("00:00:00"));
        QCOMPARE(QvUtility::durationText(3661), QStringLiteral("01:01:01"));
        QCOMPARE(QvUtility::durationText(59 * 60 + 59), QStringLiteral("00:59:59"));
        QCOMPARE(QvUtility::durationText(100 * 3600), QStringLiteral("100:00:00"));
    }

    void versionsCompareNumericallyPartByPart() {
        QVERIFY(QvUtility::versionAtLeast("V1.7", "V1.7.0"));
        QVERIFY(QvUtility::versionAtLeast("V1.7.0", "V1.7"));
        QVERIFY(QvUtility::versionAtLeast("Tarnix_V1.7.2", "V1.7.2"));
        QVERIFY(!QvUtility::versionAtLeast("Tarnix_V1.7.2", "V1.7.10")); // numbers, not text
        QVERIFY(QvUtility::versionAtLeast("V2", "V1.9.9"));
        QVERIFY(!QvUtility::versionAtLeast("V1.6.9", "V1.7"));
        // Only the first "V<digits>" counts, and a lower-case v is not a version mark.
        QVERIFY(QvUtility::versionAtLeast("HV1.0 V0.1", "V1.0"));
        QTest::ignoreMessage(QtDebugMsg, "Cannot parse version from: \"v1.7.2\"");
        QVERIFY(!QvUtility::versionAtLeast("v1.7.2", "V1.0"));
        QTest::ignoreMessage(QtDebugMsg, "Cannot parse version from: \"firmware\"");
        QVERIFY(!QvUtility::versionAtLeast("V9", "firmware"));
    }

    void subnetsCompareUnderTheMask() {
        QVERIFY(QvUtility::isSameSubnet("192.168.1.10", "192.168.1.200", "255.255.255.0"));
        QVERIFY(!QvUtility::isSameSubnet("192.168.1.10", "192.168.2.10", "255.255.255.0"));
        QVERIFY(QvUtility::isSameSubnet("192.168.1.10", "192.168.2.10", "255.255.0.0"));
        QVERIFY(!QvUtility::isSameSubnet("10.0.0.1", "11.0.0.1", "255.0.0.0"));
    }

    void foldersOfPaths() {
        QTemporaryDir dir;
        const QString file = dir.filePath("a.raw");
        qvtest::writeFile(file, {});
        QCOMPARE(QvUtility::folderOfPath(dir.path()), QDir(dir.path()).absolutePath());
        QCOMPARE(QvUtility::folderOfPath(file), QDir(dir.path()).absolutePath());
        // A file that is not there yet (an export target) resolves to its existing folder.
        QCOMPARE(QvUtility::folderOfPath(dir.filePath("later.mp4")), dir.path());
        const QString gone = dir.filePath("no/such/place.raw");
        QTest::ignoreMessage(QtDebugMsg, qPrintable("Path does not exist: \"" + gone + "\""));
        QCOMPARE(QvUtility::folderOfPath(gone), QString());
    }

    void jsonUpdatesOneFieldAndRefusesBadFiles() {
        QTemporaryDir dir;
        const QString path = dir.filePath("cfg.json");
        qvtest::writeFile(path, R"({"Biases": {"bias_fo": 3, "bias_hpf": 4}})");
        QCOMPARE(QvUtility::updateJsonValue(path, "Biases", "bias_fo", 12), 1);
        QCOMPARE(QvUtility::updateJsonValue(path, "ROI", "enable", true), 1); // new section
        const QJsonObject root = QJsonDocument::fromJson(qvtest::readFile(path)).object();
        QCOMPARE(root["Biases"].toObject()["bias_fo"].toInt(), 12);
        QCOMPARE(root["Biases"].toObject()["bias_hpf"].toInt(), 4);
        QCOMPARE(root["ROI"].toObject()["enable"].toBool(), true);

        // A section holding a number, a malformed file and a non-object root all fail and leave
        // the file exactly as it was.
        for (const QByteArray& bad : {QByteArray(R"({"Biases": 5})"), QByteArray(R"({"Biases": {)"),
                                      QByteArray("[1, 2]")}) {
            qvtest::writeFile(path, bad);
            QCOMPARE(QvUtility::updateJsonValue(path, "Biases", "bias_fo", 1), 0);
            QCOMPARE(qvtest::readFile(path), bad);
        }
        QCOMPARE(QvUtility::updateJsonValue(dir.filePath("missing.json"), "A", "b", 1), 0);
    }
};

QObject* makeUtilityTests() {
    return new UtilityTest;
}

#include "test_utility.moc"
