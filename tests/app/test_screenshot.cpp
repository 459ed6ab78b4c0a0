// Runs under a private X server (xvfb-run): shows the splash, the main window (also with the DVS
// panel open on a streaming camera) and the tool dialogs in English and in Chinese as real
// windows, grabs them from the screen, checks what was drawn, and keeps the pictures in
// $QV_SCREENSHOT_DIR for people to look at.

#include "CamdProcess.h"
#include "appsettings.h"
#include "initdialog.h"
#include "qvconvertrecordingui.h"
#include "qvethcameraconfigtool.h"
#include "qvgeneralsetting.h"
#include "qvrecordinginfoui.h"
#include "mainwidget.h"
#include "qvlineedit.h"
#include "qvthreehandleslider.h"
#include "quorvel/FusionSimulation.h"
#include "settingbasewithlineedit.h"
#include "settingitembox.h"
#include "showimageform.h"
#include "qvscreenshot.h"
#include "qvtestenv.h"
#include "startup.h"
#include "timelinerecording.h"

#include "quorvel/DvsCameraManager.h"
#include "quorvel/raw/RawFileWriter.h"

#include <QAbstractButton>
#include <QComboBox>
#include <QListWidget>
#include <QMap>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <QLabel>
#include <QMenu>
#include <QPushButton>

#include <cmath>

using qvtest::grab;
using qvtest::inkPixels;
using qvtest::keep;

namespace {

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

// English texts and the "Gray" scheme: white ON and black OFF events over grey.
void useEnglishAndGray() {
    loadLanguage("en");
    AppSettings* settings = AppSettings::instance();
    settings->dvsColorType = "Gray";
    settings->applyColorScheme();
}

QImage showAndGrab(QWidget& w, const QString& name) {
    if (!qvtest::showLarge(w))
        return {};
    QTest::qWait(300);
    const QImage img = grab(&w);
    keep(img, name);
    return img;
}

// Texts a user reads in a dialog (captions, buttons, list and choice items), in widget order;
// values shown (serials, numbers, file names) are left out.
QStringList readableTexts(QWidget* dialog) {
    QStringList out;
    for (QWidget* w : dialog->findChildren<QWidget*>()) {
        if (w->property("role").toString() == QLatin1String("value") || w->objectName() == QLatin1String("lb_status"))
            continue;
        if (auto* l = qobject_cast<QLabel*>(w))
            out << l->text();
        else if (auto* b = qobject_cast<QAbstractButton*>(w))
            out << b->text() << b->toolTip();
        else if (auto* c = qobject_cast<QComboBox*>(w))
            for (int i = 0; i < c->count(); ++i)
                out << c->itemText(i);
        else if (auto* list = qobject_cast<QListWidget*>(w); list && list->objectName() != QLatin1String("listWidget_cameras"))
            for (int i = 0; i < list->count(); ++i)
                out << list->item(i)->text();
    }
    return out;
}

// Three seconds of a rate that rises and falls, for the event-rate plot.
bool writeVaryingRecording(const QString& path) {
    quorvel::RawFileWriter w;
    quorvel::RawFileWriter::Options o;
    o.width = 640;
    o.height = 480;
    o.serial = "SHOT0001";
    std::vector<quorvel::Event2D> events;
    uint64_t t = 1'000'000, n = 0;
    while (t < 4'000'000) {
        const double phase = double(t - 1'000'000) / 3e6;
        const double rate = 50e3 + 400e3 * std::pow(std::sin(3.14159 * phase), 2) * (1.0 + 0.3 * std::sin(40 * phase));
        t += uint64_t(1e6 / rate) + 1;
        events.emplace_back(uint16_t(n * 7 % 640), uint16_t(n * 13 % 480), uint8_t(n % 3 != 0), t);
        ++n;
    }
    return w.open(path.toStdString(), o) && w.write(events, {{0, 1, 2'000'000}}) && w.close();
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
        useEnglishAndGray();
        MainWidget w;
        QVERIFY(qvtest::showLarge(w));
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

    // The DVS panel of a camera the window opened and streams, with two groups unfolded and the
    // first bias row as while it is being edited (its slider shows).
    void dvsPanelInBothLanguages() {
        for (const QString lang : {"en", "zh"}) {
            QVERIFY(loadLanguage(lang));
            MainWidget w;
            QVERIFY(qvtest::showLarge(w));
            QVERIFY(w.openCameraBySerial(QStringLiteral("QVSIM-DVS-0001")));
            w.form().pb_fold_dvs_setting->click();
            SettingItemBox* biases = w.dvsPanel()->toolGroup(quorvel::TOOL_BIASES);
            biases->setFolded(false);
            w.dvsPanel()->toolGroup(quorvel::TOOL_ANTI_FLICKER)->setFolded(false);
            auto* edited = biases->findChild<SettingBaseWithLineEdit*>();
            emit edited->lineEdit()->signalMouseHoverd(true);
            QTest::qWait(400);
            const QImage img = grab(&w);
            keep(img, "dvs-panel-" + lang + ".png");

            // The panel's title in the brand colour, the unfolded groups' title bars light blue,
            // the folded ones grey, the rows' names drawn, and the slider's handle in the brand colour.
            QLabel* title = w.dvsPanel()->findChild<QLabel*>("lb_setting_ui");
            QVERIFY(inkPixels(img, &w, title, qRgb(255, 255, 255)) > 40);
            const auto barColour = [&](SettingItemBox* box) {
                QWidget* bar = box->findChild<QWidget*>("widget_setting_box_title");
                return QColor(img.pixel(bar->mapTo(&w, QPoint(bar->width() - 40, 4))));
            };
            QCOMPARE(barColour(biases), QColor("#E1E9ED"));
            QCOMPARE(barColour(w.dvsPanel()->toolGroup(quorvel::TOOL_ROI)), QColor("#F4F5F7"));
            QVERIFY(inkPixels(img, &w, biases, qRgb(255, 255, 255)) > 400);
            QWidget* slider = edited->findChild<QWidget*>("horizontalSlider");
            int brand = 0;
            for (int x = 0; x < slider->width(); ++x)
                brand += QColor(img.pixel(slider->mapTo(&w, QPoint(x, slider->height() / 2)))) == QColor("#004B6A");
            QVERIFY2(brand > 8, qPrintable(QString::number(brand)));
        }
        loadLanguage("en");
    }

    // The simulated DVS camera streaming live, as "QuorvelView --camera QVSIM-DVS-0001" shows it.
    void liveCameraView() {
        useEnglishAndGray();
        MainWidget w;
        QVERIFY(qvtest::showLarge(w));
        QVERIFY(w.openCameraBySerial(QStringLiteral("QVSIM-DVS-0001")));
        QTRY_VERIFY_WITH_TIMEOUT(w.imageForm()->shownFrames() >= 30, 10000);
        QTRY_VERIFY(w.form().label_show_camera_info->text().contains(QLatin1String("MEv/s")));
        const QImage img = grab(&w);
        keep(img, "live-dvs.png");
        const Shades shades = shadesOfView(img, w);
        QVERIFY2(shades.on > 200 && shades.off > 200 && shades.grey > shades.on + shades.off, qPrintable(shades.text()));
    }

    // The overview behind the slider: busy, quiet, busy with a damaged stretch (red).
    void timelineOfARecording() {
        useEnglishAndGray();
        QTemporaryDir dir;
        qvtest::TimelineRecording rec;
        QVERIFY(rec.write(dir.filePath("timeline.raw")));
        MainWidget w;
        QVERIFY(qvtest::showLarge(w));
        w.openRecording(dir.filePath("timeline.raw"));
        QTRY_VERIFY(w.form().pb_play->isChecked());
        QTest::mouseClick(w.form().pb_play, Qt::LeftButton); // paused, the handle stays put
        QVERIFY(!w.timeSlider()->timeline().isEmpty());
        const QImage img = grab(&w);
        keep(img, "timeline.png");
        QVERIFY(!w.timeSlider()->timeline().badRanges.isEmpty());
    }

    // The simulated fusion camera live, and a fusion recording of it played back: APS frames with
    // the events drawn over them.
    void fusionLiveAndPlayback() {
        useEnglishAndGray();
        QTemporaryDir dir;
        const QString base = dir.filePath("fusion");
        quorvel::FusionSimulationOptions o;
        o.durationUs = 1'500'000;
        quorvel::FusionSimulationResult result;
        std::string error;
        QVERIFY2(quorvel::simulateRecording(base.toStdString(), o, result, error), error.c_str());
        for (const bool live : {true, false}) {
            MainWidget w;
            QVERIFY(qvtest::showLarge(w));
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

    // The general settings, IP configuration and recording tool dialogs in both languages: every
    // caption, button and choice of the English dialog reads differently in Chinese.
    void toolDialogsInBothLanguages() {
        quorvel::test::CamdProcess daemon(QV_CAMD_PATH, "127.0.0.77", 47177, {"--serial", "ETH-SHOT-01"});
        qputenv("QUORVEL_DISCOVERY_ADDRS", QByteArray::fromStdString(daemon.target()));
        QVERIFY(quorvel::test::CamdProcess::listed("ETH-SHOT-01"));
        QTemporaryDir dir;
        const QString recording = dir.filePath("varying.raw");
        QVERIFY(writeVaryingRecording(recording));
        AppSettings::instance()->outputRawFilePath = dir.path();

        QMap<QString, QStringList> english;
        for (const QString& lang : {QStringLiteral("en"), QStringLiteral("zh")}) {
            QVERIFY(loadLanguage(lang));
            QMap<QString, QStringList> texts;
            const auto shoot = [&](QDialog& d, const QString& name) {
                d.show();
                QVERIFY(QTest::qWaitForWindowExposed(&d));
                QTest::qWait(200);
                const QImage img = grab(&d);
                keep(img, name + "-" + lang + ".png");
                texts[name] += readableTexts(&d);
                // The title is drawn in the embedded face: hanzi give far more ink than empty boxes.
                auto* title = d.findChild<QLabel*>("lb_title");
                QVERIFY2(inkPixels(img, &d, title, qRgb(255, 255, 255)) > 60, qPrintable(name));
            };
            {
                QvGeneralSetting general;
                shoot(general, "general-setting");
                general.findChild<QListWidget*>("lw_general_setting_items")->setCurrentRow(1);
                shoot(general, "general-setting-style");
            }
            {
                QvEthCameraConfigTool eth;
                eth.show();
                QTRY_VERIFY_WITH_TIMEOUT(!eth.isRefreshing() && eth.findChild<QListWidget*>("listWidget_cameras")->count() == 1, 5000);
                shoot(eth, "ip-configuration");
            }
            {
                QvRecordingInfoUI info;
                info.setRecording(recording);
                QTRY_VERIFY_WITH_TIMEOUT(!info.isReading(), 10000);
                QVERIFY(!info.ratePlot()->rate().empty());
                shoot(info, "recording-information");
            }
            {
                QvConvertRecordingUI convert;
                convert.setOutputFolder(dir.path());
                convert.setInput(recording);
                shoot(convert, "convert-recording");
            }
            if (lang == QLatin1String("en")) {
                english = texts;
                continue;
            }
            static const QRegularExpression letters(QStringLiteral("[A-Za-z]{2,}"));
            for (auto it = texts.cbegin(); it != texts.cend(); ++it) {
                const QStringList& en = english.value(it.key());
                QCOMPARE(it.value().size(), en.size());
                for (int i = 0; i < en.size(); ++i)
                    QVERIFY2(!(en[i] == it.value()[i] && en[i].contains(letters)), qPrintable(it.key() + ": " + en[i]));
            }
        }
        loadLanguage("en");
        qunsetenv("QUORVEL_DISCOVERY_ADDRS");
    }
};

QV_TEST_MAIN(ScreenshotTest)

#include "test_screenshot.moc"
