// Runs under a private X server (xvfb-run): shows the splash and the main window in English and
// in Chinese as real windows, grabs them from the screen, checks what was drawn, and keeps the
// pictures in $QV_SCREENSHOT_DIR for people to look at.

#include "appsettings.h"
#include "initdialog.h"
#include "mainwidget.h"
#include "qvthreehandleslider.h"
#include "quorvel/FusionSimulation.h"
#include "showimageform.h"
#include "qvtestenv.h"
#include "startup.h"

#include <QApplication>
#include <QDir>
#include <QLabel>
#include <QMenu>
#include <QPushButton>
#include <QScreen>
#include <QTemporaryDir>

namespace {

QImage grab(QWidget* w) {
    QApplication::processEvents();
    return w->screen()->grabWindow(w->winId()).toImage().convertToFormat(QImage::Format_RGB32);
}

void keep(const QImage& img, const QString& name) {
    const QString dir = qEnvironmentVariable("QV_SCREENSHOT_DIR", QDir::tempPath());
    QDir().mkpath(dir);
    QVERIFY(img.save(dir + "/" + name));
}

// Pixels of a widget's area that differ from its background: text and icons.
int inkPixels(const QImage& img, QWidget* root, QWidget* child, QRgb background) {
    const QRect r(child->mapTo(root, QPoint(0, 0)), child->size());
    int ink = 0;
    for (int y = r.top(); y <= r.bottom(); ++y)
        for (int x = r.left(); x <= r.right(); ++x)
            if (qGray(img.pixel(x, y)) < qGray(background) - 60)
                ++ink;
    return ink;
}

// Pixels of the image view in the "Gray" scheme: white ON events, black OFF events, grey background.
struct Shades {
    int on = 0, off = 0, grey = 0;
    QString text() const { return QStringLiteral("%1 %2 %3").arg(on).arg(off).arg(grey); }
};
Shades shadesOfView(const QImage& img, MainWidget& w) {
    const QWidget* view = w.imageForm();
    const QRect r(view->mapTo(&w, QPoint(0, 0)), view->size());
    Shades s;
    for (int y = r.top(); y < r.bottom(); y += 2)
        for (int x = r.left(); x < r.right(); x += 2) {
            const QRgb p = img.pixel(x, y);
            s.on += qGray(p) > 230;
            s.off += qGray(p) < 25;
            s.grey += std::abs(qGray(p) - 112) < 6;
        }
    return s;
}

QImage showAndGrab(QWidget& w, const QString& name) {
    w.resize(1440, 900);
    w.show();
    if (!QTest::qWaitForWindowExposed(&w))
        return {};
    QTest::qWait(300);
    const QImage img = grab(&w);
    keep(img, name);
    return img;
}

} // namespace

class ScreenshotTest : public QObject {
    Q_OBJECT
private slots:
    void initTestCase() {
        QVERIFY2(QGuiApplication::platformName() == "xcb", "run me under xvfb-run");
        QVERIFY(!loadApplicationFont().isEmpty());
    }

    void splash() {
        InitDialog splash;
        splash.show();
        QVERIFY(QTest::qWaitForWindowExposed(&splash));
        QTest::qWait(300);
        const QImage img = grab(&splash);
        keep(img, "splash.png");
        QCOMPARE(img.pixel(img.width() / 2, 40), qRgb(255, 255, 255)); // the white card
    }

    void mainWindowInEnglish() {
        loadLanguage("en");
        MainWidget w;
        const QImage img = showAndGrab(w, "main-en.png");
        const MainWidgetForm& f = w.form();
        const QPoint title = f.widget_title_space->mapTo(&w, QPoint(5, 5));
        QCOMPARE(img.pixel(title), qRgb(0xFA, 0xFA, 0xFA));
        const QPoint center = f.widget_center->mapTo(&w, QPoint(f.widget_center->width() / 2, 6));
        QCOMPARE(img.pixel(center), qRgb(0xF2, 0xF2, 0xF2));
        QVERIFY(inkPixels(img, &w, f.pb_menu_file, qRgb(0xFA, 0xFA, 0xFA)) > 20);
    }

    void mainWindowInChinese() {
        QVERIFY(loadLanguage("zh"));
        MainWidget w;
        const QImage img = showAndGrab(w, "main-zh.png");
        QCOMPARE(w.form().pb_menu_file->text(), QStringLiteral("文件"));
        // A missing glyph draws as an outlined box: few pixels. Two real hanzi at 14 px draw far
        // more ink than two empty boxes would.
        const int ink = inkPixels(img, &w, w.form().pb_menu_file, qRgb(0xFA, 0xFA, 0xFA));
        QVERIFY2(ink > 60, qPrintable(QString::number(ink)));
    }

    void playingARealRecording() {
        const QString samples = qEnvironmentVariable("QUORVEL_SAMPLES_DIR", QStringLiteral(QV_SAMPLES_DIR));
        const QString file = samples + "/evt2_sample.raw";
        if (!QFile::exists(file))
            QSKIP(qPrintable("sample recordings not found at " + samples));
        loadLanguage("en");
        AppSettings* settings = AppSettings::instance();
        settings->dvsColorType = "Gray";
        settings->applyColorScheme();
        MainWidget w;
        w.resize(1440, 900);
        w.show();
        QVERIFY(QTest::qWaitForWindowExposed(&w));
        // The sample lasts only 50 ms: loop it so that it is still playing when grabbed.
        w.form().pb_loop->setChecked(true);
        w.openRecording(file);
        QTRY_VERIFY_WITH_TIMEOUT(w.imageForm()->shownFrames() >= 6, 10000);
        const QImage img = grab(&w);
        keep(img, "playing-evt2.png");
        // The picture shows white ON and black OFF events over the grey background.
        const Shades shades = shadesOfView(img, w);
        QVERIFY2(shades.on > 50 && shades.off > 20 && shades.grey > shades.on + shades.off, qPrintable(shades.text()));
        QCOMPARE(w.timeSlider()->minimum(), uint64_t(1317888));
        QVERIFY(w.form().pb_play->isChecked());

        // With the start and end handles on, the range between them is drawn in the brand colour
        // and the groove outside it in grey.
        w.startEndMenu()->actions().first()->trigger();
        QvThreeHandleSlider* slider = w.timeSlider();
        slider->setLowerValue(1317888 + 10000);
        slider->setUpperValue(1317888 + 40000);
        const QImage ranged = grab(&w);
        keep(ranged, "playing-range.png");
        const QPoint lower = slider->mapTo(&w, slider->lowerHandleRect().center());
        QCOMPARE(QColor(ranged.pixel(lower)), QColor("#004B6A"));
        const QPoint before = slider->mapTo(&w, QPoint(slider->lowerHandleRect().left() - 8, slider->height() / 2));
        QCOMPARE(QColor(ranged.pixel(before)), QColor(208, 208, 208));
    }

    // The simulated DVS camera streaming live, as "QuorvelView --camera QVSIM-DVS-0001" shows it.
    void liveCameraView() {
        loadLanguage("en");
        AppSettings* settings = AppSettings::instance();
        settings->dvsColorType = "Gray";
        settings->applyColorScheme();
        MainWidget w;
        w.resize(1440, 900);
        w.show();
        QVERIFY(QTest::qWaitForWindowExposed(&w));
        QVERIFY(w.openCameraBySerial(QStringLiteral("QVSIM-DVS-0001")));
        QTRY_VERIFY_WITH_TIMEOUT(w.imageForm()->shownFrames() >= 30, 10000);
        QTRY_VERIFY(w.form().label_show_camera_info->text().contains(QLatin1String("MEv/s")));
        const QImage img = grab(&w);
        keep(img, "live-dvs.png");
        const Shades shades = shadesOfView(img, w);
        QVERIFY2(shades.on > 200 && shades.off > 200 && shades.grey > shades.on + shades.off, qPrintable(shades.text()));
    }

    // The simulated fusion camera live, and a fusion recording of it played back: APS frames with
    // the events drawn over them.
    void fusionLiveAndPlayback() {
        loadLanguage("en");
        QTemporaryDir dir;
        const QString base = dir.filePath("fusion");
        quorvel::FusionSimulationOptions o;
        o.durationUs = 1'500'000;
        quorvel::FusionSimulationResult result;
        std::string error;
        QVERIFY2(quorvel::simulateRecording(base.toStdString(), o, result, error), error.c_str());
        for (const bool live : {true, false}) {
            MainWidget w;
            w.resize(1440, 900);
            w.show();
            QVERIFY(QTest::qWaitForWindowExposed(&w));
            if (live) {
                QVERIFY(w.openCameraBySerial(QStringLiteral("QVSIM-FUS-0001")));
            } else {
                w.form().pb_loop->setChecked(true);
                w.openRecording(base + ".raw");
            }
            QTRY_VERIFY_WITH_TIMEOUT(w.imageForm()->shownFrames() >= 20, 10000);
            const QImage img = grab(&w);
            keep(img, live ? "live-fusion.png" : "playing-fusion.png");
            // APS greys over most of the view, and white and black events on them.
            const Shades shades = shadesOfView(img, w);
            QVERIFY2(shades.on > 100 && shades.off > 100, qPrintable(shades.text()));
        }
    }
};

QV_TEST_MAIN(ScreenshotTest)

#include "test_screenshot.moc"
