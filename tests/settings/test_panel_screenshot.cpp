// Runs under a private X server (xvfb-run): the main window with the DVS panel open on a
// streaming simulated camera, in English and in Chinese, grabbed from the screen, checked, and
// kept in $QV_SCREENSHOT_DIR for people to look at.

#include "mainwidget.h"
#include "qvtestenv.h"
#include "qvlineedit.h"
#include "settingbasewithlineedit.h"
#include "settingitembox.h"
#include "startup.h"

#include "quorvel/DvsCameraManager.h"

#include <QApplication>
#include <QDir>
#include <QLabel>
#include <QPushButton>
#include <QScreen>

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

// Pixels of a widget's area much darker than `background`: text and icons.
int inkPixels(const QImage& img, QWidget* root, QWidget* child, QRgb background) {
    const QRect r(child->mapTo(root, QPoint(0, 0)), child->size());
    int ink = 0;
    for (int y = r.top(); y <= r.bottom(); ++y)
        for (int x = r.left(); x <= r.right(); ++x)
            ink += qGray(img.pixel(x, y)) < qGray(background) - 60;
    return ink;
}

} // namespace

class PanelScreenshotTest : public QObject {
    Q_OBJECT

    void showDvsPanel(const QString& language, const QString& file) {
        QVERIFY(loadLanguage(language));
        MainWidget w;
        w.resize(1440, 900);
        w.show();
        QVERIFY(QTest::qWaitForWindowExposed(&w));
        // The camera streams in the window, which builds the panel for it.
        QVERIFY(w.openCameraBySerial(QStringLiteral("QVSIM-DVS-0001")));
        w.form().pb_fold_dvs_setting->click();
        SettingItemBox* biases = w.dvsPanel()->toolGroup(quorvel::TOOL_BIASES);
        SettingItemBox* flicker = w.dvsPanel()->toolGroup(quorvel::TOOL_ANTI_FLICKER);
        biases->setFolded(false);
        flicker->setFolded(false);
        // The first bias row as while it is being edited: its slider shows.
        auto* edited = biases->findChild<SettingBaseWithLineEdit*>();
        emit edited->lineEdit()->signalMouseHoverd(true);
        QTest::qWait(400);
        const QImage img = grab(&w);
        keep(img, file);

        // The panel's title in the brand colour, the unfolded groups' title bars light blue, the
        // folded ones grey, and the rows' names drawn.
        QLabel* title = w.dvsPanel()->findChild<QLabel*>("lb_setting_ui");
        QVERIFY(inkPixels(img, &w, title, qRgb(255, 255, 255)) > 40);
        const auto barColour = [&](SettingItemBox* box) {
            QWidget* bar = box->findChild<QWidget*>("widget_setting_box_title");
            return QColor(img.pixel(bar->mapTo(&w, QPoint(bar->width() - 40, 4))));
        };
        QCOMPARE(barColour(biases), QColor("#E1E9ED"));
        QCOMPARE(barColour(w.dvsPanel()->toolGroup(quorvel::TOOL_ROI)), QColor("#F4F5F7"));
        QVERIFY(inkPixels(img, &w, biases, qRgb(255, 255, 255)) > 400);
        // The slider's handle is drawn in the brand colour.
        QWidget* slider = edited->findChild<QWidget*>("horizontalSlider");
        int brand = 0;
        for (int x = 0; x < slider->width(); ++x)
            brand += QColor(img.pixel(slider->mapTo(&w, QPoint(x, slider->height() / 2)))) == QColor("#004B6A");
        QVERIFY2(brand > 8, qPrintable(QString::number(brand)));
    }

private slots:
    void initTestCase() {
        QVERIFY2(QGuiApplication::platformName() == "xcb", "run me under xvfb-run");
        QVERIFY(!loadApplicationFont().isEmpty());
    }
    void dvsPanelInEnglish() { showDvsPanel("en", "dvs-panel-en.png"); }
    void dvsPanelInChinese() { showDvsPanel("zh", "dvs-panel-zh.png"); }

};

QV_TEST_MAIN(PanelScreenshotTest)

#include "test_panel_screenshot.moc"
