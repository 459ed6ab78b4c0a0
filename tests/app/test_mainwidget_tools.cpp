// The window's Setting and Tools menus with real back ends: general settings reaching an open
// camera and its image, IP configuration of a camera daemon on loopback, and the recording tools
// on a recording written by the SDK's writer.

#include "CamdProcess.h"
#include "appsettings.h"
#include "mainwidget.h"
#include "qvcombobox.h"
#include "qvconvertrecordingui.h"
#include "qvethcameraconfigtool.h"
#include "qvfilerecorder.h"
#include "qvguitest.h"
#include "qvlivecamera.h"
#include "qvrecordinginfoui.h"
#include "qvtestenv.h"
#include "showimageform.h"
#include "testrecording.h"

#include <QAction>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QPushButton>

using qvtest::actionNamed;

namespace {

QLineEdit* edit(QObject* root, const char* name) {
    return root->findChild<QLineEdit*>(QLatin1String(name));
}

// Share of the image view's pixels in exactly this colour.
double shareOf(ShowImageForm* view, QColor colour) {
    const QImage img = view->grab().toImage().convertToFormat(QImage::Format_RGB32);
    qint64 n = 0;
    for (int y = 0; y < img.height(); y += 2)
        for (int x = 0; x < img.width(); x += 2)
            n += img.pixel(x, y) == colour.rgb();
    return double(n) / (double(img.width() / 2) * double(img.height() / 2));
}

} // namespace

class MainWidgetToolsTest : public QObject {
    Q_OBJECT
private:
    std::unique_ptr<MainWidget> w;
    std::function<int(QDialog&)> answer;
    QStringList dialogsRun;
    QTemporaryDir dir;

    QMenu* menu(QPushButton* button) const { return w->menuOf(button); }
    const MainWidgetForm& f() const { return w->form(); }

    // The IP configuration dialog against the daemon at 127.0.0.73, which may move to .74.
    void configureDaemonCamera(QvEthCameraConfigTool& d) {
        auto* list = d.findChild<QListWidget*>("listWidget_cameras");
        const auto listed = [&](const char* ip) {
            return !d.isRefreshing() && list->count() == 1 && list->item(0)->text() == "NET-IP1" &&
                   edit(&d, "le_ip")->text() == QLatin1String(ip);
        };
        d.show(); // lists the cameras once, without a toast
        QTRY_VERIFY_WITH_TIMEOUT(listed("127.0.0.73"), 5000);
        QVERIFY(!qvtest::toastTexts().contains("Refresh completed!"));
        QCOMPARE(d.findChild<QLabel*>("lb_product")->text(), QStringLiteral("QV640-ETH"));
        QCOMPARE(d.findChild<QLabel*>("lb_manufacturer")->text(), QStringLiteral("Quorvel"));
        QCOMPARE(d.findChild<QLabel*>("lb_firm_ver")->text(), QStringLiteral("QV640_V2.1.0"));

        // Addresses no camera may take go to the SDK as typed and are refused.
        for (const char* ip : {"0.0.0.0", "255.255.255.255", "127.0.0.300", "camera"}) {
            qvtest::closeToasts();
            edit(&d, "le_ip")->setText(ip);
            edit(&d, "le_subnet_mask")->setText("255.0.0.0");
            d.findChild<QPushButton*>("pb_config")->click();
            QTRY_COMPARE(qvtest::toastTexts(), QStringList{"Configuration failed!"});
        }
        // Two quick refreshes: the second waits for the first, and the rows come once.
        qvtest::closeToasts();
        d.on_pb_refresh_clicked();
        d.on_pb_refresh_clicked();
        QCOMPARE(qvtest::toastTexts(), (QStringList{"Refresh completed!", "Refresh completed!"}));
        QTRY_VERIFY_WITH_TIMEOUT(listed("127.0.0.73"), 5000); // still where it was

        qvtest::closeToasts();
        edit(&d, "le_ip")->setText("127.0.0.74");
        edit(&d, "le_subnet_mask")->setText("255.0.0.0");
        edit(&d, "le_gateway")->setText("127.0.0.1");
        d.findChild<QPushButton*>("pb_config")->click();
        QTRY_COMPARE(qvtest::toastTexts(), QStringList{"Configuration successful!"});
        QCOMPARE(edit(&d, "le_ip")->text(), QStringLiteral("127.0.0.74")); // not refreshed by itself
        d.findChild<QPushButton*>("pb_refresh")->click();
        QTRY_VERIFY_WITH_TIMEOUT(listed("127.0.0.74"), 5000);
        QCOMPARE(edit(&d, "le_gateway")->text(), QStringLiteral("127.0.0.1"));
    }

private slots:
    void init() {
        answer = nullptr;
        dialogsRun.clear();
        w = std::make_unique<MainWidget>();
        w->setDialogRunner([this](QDialog& d) {
            dialogsRun << d.objectName();
            return answer ? answer(d) : int(QDialog::Rejected);
        });
        w->resize(1100, 760);
        w->show();
        QVERIFY(QTest::qWaitForWindowExposed(w.get()));
        AppSettings* s = AppSettings::instance();
        s->outputRawFilePath = dir.path();
        s->dvsTriggerInRecEnable = false;
        s->dvsColorType = "Gray";
        s->applyColorScheme();
    }
    void cleanup() {
        w.reset();
        qvtest::closeToasts();
        qunsetenv("QUORVEL_DISCOVERY_ADDRS");
    }

    void everyItemRunsItsDialogOrSaysWhyItCannot() {
        QCOMPARE(menu(f().pb_menu_tools)->actions().size(), 4);
        const std::pair<QPushButton*, const char*> items[] = {
            {f().pb_menu_setting, "General Setting"},    {f().pb_menu_tools, "IP Configuration"},
            {f().pb_menu_tools, "Recording Information"}, {f().pb_menu_tools, "Convert Recording"}};
        for (const auto& [button, text] : items)
            actionNamed(menu(button), text)->trigger();
        QCOMPARE(dialogsRun, (QStringList{"QvGeneralSetting", "QvEthCameraConfigTool", "QvRecordingInfoUI",
                                          "QvConvertRecordingUI"}));
        for (QPushButton* b : {f().pb_menu_file, f().pb_menu_device, f().pb_menu_setting, f().pb_menu_help,
                               f().pb_menu_tools}) {
            QMenu* m = menu(b);
            QVERIFY(m->toolTipsVisible());
            emit m->aboutToShow();
            for (QAction* a : m->actions())
                QVERIFY2(a->isSeparator() || a->isEnabled() || (!a->toolTip().isEmpty() && a->toolTip() != a->text()),
                         qPrintable(a->text()));
        }
        QAction* info = actionNamed(menu(f().pb_menu_device), "Camera Info");
        QVERIFY(!info->isEnabled());
        QCOMPARE(info->toolTip(), QStringLiteral("Open a camera first."));
    }

    void generalSettingsReachTheOpenCameraAndItsImage() {
        QVERIFY(w->openCameraBySerial("QVSIM-DVS-0001"));
        QTRY_VERIFY(w->imageForm()->shownFrames() > 5);
        const QColor dark(30, 37, 52);
        QCOMPARE(shareOf(w->imageForm(), dark), 0.0);
        auto save = [&](bool enable, const char* before) {
            answer = [=](QDialog& d) {
                d.findChild<QPushButton*>("sb_trigger_in_rec_enable")->setChecked(enable);
                edit(&d, "le_trigger_in_before_time")->setText(before);
                d.findChild<QvComboBox*>("widget_combobox_color_theme")->comboBox()->setCurrentIndex(1); // Dark
                d.findChild<QPushButton*>("pb_save")->click();
                return d.result();
            };
            actionNamed(menu(f().pb_menu_setting), "General Setting")->trigger();
        };
        save(true, "2");
        QVERIFY(AppSettings::instance()->dvsTriggerInRecEnable);
        QVERIFY(w->fileRecorder()->isCacheEnabled()); // the camera keeps the 2 s before an edge
        bool reporting = false;
        QVERIFY(w->liveCamera()->camera()->getTool(quorvel::TOOL_TRIGGER_IN)->getBoolParam("channel_0_enable", reporting));
        QVERIFY(reporting);
        // The live image takes the new colours with its next frames.
        QTRY_VERIFY(shareOf(w->imageForm(), dark) > 0.2);
        save(false, "2");
        QVERIFY(!w->fileRecorder()->isCacheEnabled());
    }

    void ipConfigurationMovesADaemonCamera() {
        quorvel::test::CamdProcess daemon(QV_CAMD_PATH, "127.0.0.73", 47173, {"--serial", "NET-IP1"});
        qputenv("QUORVEL_DISCOVERY_ADDRS", "127.0.0.73:47173,127.0.0.74:47173");
        QVERIFY(quorvel::test::CamdProcess::listed("NET-IP1"));
        answer = [this](QDialog& d) {
            auto* tool = qobject_cast<QvEthCameraConfigTool*>(&d);
            if (tool)
                configureDaemonCamera(*tool);
            return int(QDialog::Rejected);
        };
        actionNamed(menu(f().pb_menu_tools), "IP Configuration")->trigger();
        QCOMPARE(dialogsRun, QStringList{"QvEthCameraConfigTool"});
        if (QTest::currentTestFailed())
            return;
        // The camera opens and streams at its new address.
        qvtest::closeToasts();
        QVERIFY(w->openCameraBySerial("NET-IP1"));
        QCOMPARE(QString::fromStdString(w->liveCamera()->description().ip), QStringLiteral("127.0.0.74"));
    }

    void recordingInformationAndConversionOfTheOpenRecording() {
        const QString file = dir.filePath("session.raw");
        std::string error;
        QVERIFY2(qvtest::TestRecording::write(file.toStdString(), &error), error.c_str());
        w->openRecording(file);
        QTRY_VERIFY(f().pb_play->isChecked());
        // A paused recording shows its frame again in the colours just saved.
        QTest::mouseClick(f().pb_play, Qt::LeftButton);
        QTRY_VERIFY(!w->eventProcessor()->isPlaying());
        QTRY_VERIFY(w->imageForm()->shownFrames() > 0);
        const QColor dark(30, 37, 52);
        QCOMPARE(shareOf(w->imageForm(), dark), 0.0);
        answer = [](QDialog& d) {
            d.findChild<QvComboBox*>("widget_combobox_color_theme")->comboBox()->setCurrentIndex(1);
            d.findChild<QPushButton*>("pb_save")->click();
            return d.result();
        };
        actionNamed(menu(f().pb_menu_setting), "General Setting")->trigger();
        QTRY_VERIFY(shareOf(w->imageForm(), dark) > 0.2);

        // The tools open on the recording being played (what they show is the dialogs' test).
        QString shown;
        answer = [&](QDialog& d) {
            shown = qobject_cast<QvRecordingInfoUI*>(&d)->recording();
            return int(QDialog::Rejected);
        };
        actionNamed(menu(f().pb_menu_tools), "Recording Information")->trigger();
        QCOMPARE(shown, w->currentFile());

        QString input, proposed;
        answer = [&](QDialog& d) {
            input = edit(&d, "le_input")->text();
            proposed = edit(&d, "le_output")->text();
            d.findChild<QPushButton*>("pb_convert")->click();
            auto* convert = qobject_cast<QvConvertRecordingUI*>(&d);
            (void)QTest::qWaitFor([convert] { return !convert->isConverting(); }, 10000);
            return d.result();
        };
        actionNamed(menu(f().pb_menu_tools), "Convert Recording")->trigger();
        QCOMPARE(input, w->currentFile());
        QCOMPARE(proposed, dir.filePath("session_evt3.raw"));
        QTRY_VERIFY(qvtest::toastTexts().contains("Recording converted."));
        QVERIFY(QFile::exists(proposed));
    }
};

QV_TEST_MAIN(MainWidgetToolsTest)
#include "test_mainwidget_tools.moc"
