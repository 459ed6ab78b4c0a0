#include "initdialog.h"
#include "qvtestenv.h"
#include "startup.h"

#include <QApplication>
#include <QCoreApplication>
#include <QPushButton>
#include <QRawFont>

class StartupTest : public QObject {
    Q_OBJECT
private slots:
    void embeddedFontIsAMediumCjkFace() {
        const QString family = loadApplicationFont();
        QVERIFY2(family.startsWith("Noto Sans CJK SC"), qPrintable(family));
        QCOMPARE(QApplication::font().family(), family);
        QCOMPARE(QApplication::font().hintingPreference(), QFont::PreferNoHinting);
        // The face must hold the glyphs of the Chinese interface, not draw them as boxes.
        const QRawFont raw = QRawFont::fromFont(QFont(family));
        for (QChar c : QStringLiteral("中文设置录制播放相机导出剪切融合语言"))
            QVERIFY2(raw.supportsCharacter(c), qPrintable(QString(c)));
        QVERIFY(raw.supportsCharacter(QLatin1Char('A')));
        // Style sheets name the face "Noto Sans SC Medium"; it must resolve to the embedded one.
        QCOMPARE(QFont::substitute("Noto Sans SC Medium").toLower(), family.toLower());
    }

    void languagesLoadAndFallBackToEnglish() {
        QVERIFY(loadLanguage("zh"));
        QCOMPARE(QCoreApplication::translate("MainWidget", "Open Recording"), QStringLiteral("打开录制文件"));
        QCOMPARE(QCoreApplication::translate("QvFilePathReminderForm", "Open Dir"), QStringLiteral("打开目录"));
        // Anything other than "zh" loads English; installed last, it is the one asked first.
        QVERIFY(loadLanguage("fr"));
        QCOMPARE(QCoreApplication::translate("MainWidget", "Open Recording"), QStringLiteral("Open Recording"));
    }

    void splashShowsTheVersionAndClosesAfterTwoSeconds() {
        InitDialog splash;
        QCOMPARE(splash.versionText(), QStringLiteral("Version: 1.2.3"));
        QVERIFY(splash.windowFlags() & Qt::FramelessWindowHint);
        QElapsedTimer clock;
        clock.start();
        QTimer::singleShot(5000, &splash, [&splash] { splash.done(-1); }); // guard against a hang
        const int result = splash.exec();
        const qint64 elapsed = clock.elapsed();
        QVERIFY(result != -1);
        QVERIFY2(elapsed >= 1900 && elapsed < 4000, qPrintable(QString::number(elapsed)));
    }

    void splashCloseButtonClosesAtOnce() {
        InitDialog splash;
        QTimer::singleShot(100, &splash, [&splash] { splash.findChild<QPushButton*>("btn_close")->click(); });
        QElapsedTimer clock;
        clock.start();
        splash.exec();
        QVERIFY(clock.elapsed() < 1500);
    }

};

QV_TEST_MAIN(StartupTest)

#include "test_startup.moc"
