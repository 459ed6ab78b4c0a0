// The main window with live cameras of the SDK (the simulated DVS and fusion cameras, and an
// Ethernet camera served by a camera daemon on a loopback address) and its Setting and Tools
// menus with real back ends: general settings reaching an open camera and its image, IP
// configuration of a camera daemon, and the recording tools on a recording written by the SDK.

#include "CamdProcess.h"
#include "ReadBack.h"
#include "appsettings.h"
#include "mainwidget.h"
#include "qvcombobox.h"
#include "qvconvertrecordingui.h"
#include "qvethcameraconfigtool.h"
#include "qveventprocessor.h"
#include "qvfilerecorder.h"
#include "qvfusioncameradataprocessor.h"
#include "qvguitest.h"
#include "qvlivecamera.h"
#include "qvrecordinginfoui.h"
#include "qvtestenv.h"
#include "showcamerainfoui.h"
#include "showimageform.h"
#include "testrecording.h"

#include <QDir>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QRegularExpression>

#include <functional>

#include <signal.h>
#include <sys/resource.h>

using qvtest::actionNamed;

namespace {

constexpr const char* kSimDvs = "QVSIM-DVS-0001";
constexpr const char* kSimFusion = "QVSIM-FUS-0001";

QListWidgetItem* itemNamed(QListWidget* list, const QString& text) {
    const QList<QListWidgetItem*> found = list->findItems(text, Qt::MatchExactly);
    return found.isEmpty() ? nullptr : found.first();
}

quorvel::test::ReadBack readBack(const QString& path) {
    return quorvel::test::readBack(path.toStdString());
}

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

class MainWidgetCameraTest : public QObject {
    Q_OBJECT
private:
    std::unique_ptr<MainWidget> w;
    std::function<int(QDialog&)> answer;
    QStringList dialogsRun;
    QTemporaryDir dir;

    QMenu* menu(QPushButton* button) const { return w->menuOf(button); }
    const MainWidgetForm& f() const { return w->form(); }
    QString status() const { return f().label_show_camera_info->text(); }
    QAction* deviceAction(const char* text) const { return actionNamed(w->menuOf(f().pb_menu_device), text); }

    void openAndStream(const char* serial) {
        QVERIFY(w->openCameraBySerial(QLatin1String(serial)));
        QVERIFY(f().pb_play->isChecked());
        const quint64 frames = w->imageForm()->shownFrames();
        QTRY_VERIFY(w->imageForm()->shownFrames() > frames + 5);
    }

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

    void openingFromTheListByRowAndByDoubleClick() {
        // Closing the list opens nothing.
        deviceAction("Open Camera")->trigger();
        QCOMPARE(w->mode(), int(MainWidget::ModeNone));

        // Open on the chosen row: the DVS camera streams into the view, with statistics.
        answer = [](QDialog& d) {
            auto* list = d.findChild<QListWidget*>(QStringLiteral("listWidget_cameras"));
            list->setCurrentItem(itemNamed(list, QLatin1String(kSimDvs)));
            d.findChild<QPushButton*>(QStringLiteral("pb_open"))->click();
            return d.result();
        };
        deviceAction("Open Camera")->trigger();
        QCOMPARE(w->mode(), int(MainWidget::ModeLiveDvs));
        QVERIFY(f().pb_play->isChecked());
        QVERIFY(f().pb_record->isEnabled());
        QVERIFY(!f().pb_next->isEnabled());
        QCOMPARE(w->eventProcessor()->imageWidth(), 640);
        const uint64_t frames = w->eventProcessor()->renderedFrames();
        QTRY_VERIFY(w->eventProcessor()->renderedFrames() > frames + 10);
        const QRegularExpression line(
            QStringLiteral("^QVSIM-DVS-0001 Bandwidth: \\d+\\.\\d MB/s  Events: \\d+\\.\\d MEv/s $"));
        QTRY_VERIFY2_WITH_TIMEOUT(line.match(status()).hasMatch(), qPrintable(status()), 3000);
        QTRY_VERIFY(f().label_show_timestamp_info->text().endsWith(QLatin1String(" us")));

        // Play stops and restarts the stream.
        QTest::mouseClick(f().pb_play, Qt::LeftButton);
        QVERIFY(!w->liveCamera()->isStreaming());
        QTest::mouseClick(f().pb_play, Qt::LeftButton);
        QVERIFY(w->liveCamera()->isStreaming());

        // A double-click opens the row clicked, not the one that was current.
        answer = [](QDialog& d) {
            d.show();
            auto* list = d.findChild<QListWidget*>(QStringLiteral("listWidget_cameras"));
            list->setCurrentRow(0);
            const QRect r = list->visualItemRect(itemNamed(list, QLatin1String(kSimFusion)));
            QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, r.center());
            QTest::mouseDClick(list->viewport(), Qt::LeftButton, {}, r.center());
            return d.result();
        };
        deviceAction("Open Camera")->trigger();
        QCOMPARE(w->mode(), int(MainWidget::ModeLiveFusion));
        QCOMPARE(w->viewerType(), quorvel::STREAM_FUSION);
        QCOMPARE(w->liveCamera()->firmwareVersion(), QStringLiteral("Tarnix_V1.7.2"));
        QVERIFY(!qvtest::toastTexts().contains(QStringLiteral("The Tarnix camera firmware needs to be upgraded!")));
        QVERIFY(f().pb_play->isChecked());

        // Its frames come at the APS rate with the events over them; the viewer type switches what
        // the next frame shows: events alone leave most of the picture in the background colour.
        const auto backgroundShare = [this] {
            const QImage img = w->fusionProcessor()->lastImage();
            const QRgb bg = AppSettings::instance()->backgroundColor.rgb();
            int n = 0, total = 0;
            for (int y = 0; y < img.height(); y += 8)
                for (int x = 0; x < img.width(); x += 8, ++total)
                    n += img.pixel(x, y) == bg;
            return total ? double(n) / total : 0.0;
        };
        const uint64_t images = w->fusionProcessor()->emittedImages();
        QTRY_VERIFY(w->fusionProcessor()->emittedImages() > images + 10);
        QVERIFY(backgroundShare() < 0.2);
        QTest::mouseClick(f().pb_viewer_type, Qt::LeftButton); // Fusion -> DVS
        QTRY_VERIFY(backgroundShare() > 0.8);
    }

    void refusalsBeforeOpening() {
        quorvel::CameraDescription desc;
        desc.serial = "NET-NONE";
        desc.product = "QV640";
        desc.interfaceType = quorvel::CAMERA_INTERFACE_ETHERNET;
        desc.ip = desc.localIp = "192.168.1.10";
        desc.mask = "255.255.255.0";
        QVERIFY(!w->openCameraDescription(desc));
        QTRY_VERIFY(qvtest::toastTexts().contains(QStringLiteral("There is a conflict between the camera ip and the local ip!")));
        desc.localIp = "192.168.2.5";
        QVERIFY(!w->openCameraDescription(desc));
        QTRY_VERIFY(qvtest::toastTexts().contains(
            QStringLiteral("The camera ip is not in the same network segment as the local ip!")));
        // In the segment but not there: the open itself fails.
        desc.localIp = "192.168.1.5";
        QVERIFY(!w->openCameraDescription(desc));
        QTRY_VERIFY(qvtest::toastTexts().contains(QStringLiteral("Open camera: NET-NONEfailed.")));
        QVERIFY(!w->openCameraBySerial(QStringLiteral("NO-SUCH-CAMERA")));
        QTRY_VERIFY(qvtest::toastTexts().contains(QStringLiteral("No camera with the serial NO-SUCH-CAMERA was found.")));
        QCOMPARE(w->mode(), int(MainWidget::ModeNone));

        // Without a camera, record and Camera Info do nothing but say so.
        bool infoShown = false;
        answer = [&infoShown](QDialog&) {
            infoShown = true;
            return int(QDialog::Rejected);
        };
        deviceAction("Camera Info")->trigger();
        QVERIFY(!infoShown);
        w->on_pb_record_clicked();
        QTRY_VERIFY(qvtest::toastTexts().contains(QStringLiteral("Please connect camera first.")));
        QVERIFY(!f().pb_record->isChecked());
    }

    void recordingByHand() {
        openAndStream(kSimDvs);
        QTest::mouseClick(f().pb_record, Qt::LeftButton);
        QVERIFY(f().pb_record->isChecked());
        QTRY_VERIFY(f().label_show_play_text->text().startsWith(QLatin1String("Recording 00:00:0")));
        QTest::qWait(1200);
        QTest::mouseClick(f().pb_record, Qt::LeftButton);
        QVERIFY(!f().pb_record->isChecked());
        QTRY_VERIFY(qvtest::toastTexts().contains(QStringLiteral("Save file success!")));
        QCOMPARE(qvtest::toasts().last()->directory(), QDir(dir.path()).absolutePath());
        const QStringList files = QDir(dir.path()).entryList({QStringLiteral("*.raw")});
        QCOMPARE(files.size(), 1);
        QVERIFY2(QRegularExpression(QStringLiteral("^QVSIM-DVS-0001_\\d{8}_\\d{6}\\.raw$")).match(files.first()).hasMatch(),
                 qPrintable(files.first()));
        const auto recorded = readBack(dir.filePath(files.first()));
        QVERIFY(recorded.events.size() > 1000);
        QVERIFY2(recorded.spanUs() > 900000, qPrintable(QString::number(recorded.spanUs())));

        // A folder that cannot be written: the failure is said, with the reason, not swallowed.
        qvtest::closeToasts();
        AppSettings::instance()->outputRawFilePath = dir.filePath(QStringLiteral("missing/folder"));
        QTest::mouseClick(f().pb_record, Qt::LeftButton);
        QVERIFY(!f().pb_record->isChecked());
        QTRY_VERIFY(!qvtest::toasts().isEmpty());
        QVERIFY2(qvtest::toastText(qvtest::toasts().first()).startsWith(QLatin1String("Recording failed: ")),
                 qPrintable(qvtest::toastText(qvtest::toasts().first())));

        // A recording the SDK has to stop midway (here: the file may not grow past 2 MB, as on a
        // full disk) ends with the reason and the path, and what was written stays readable.
        qvtest::closeToasts();
        AppSettings::instance()->outputRawFilePath = dir.filePath(QStringLiteral("limited"));
        QVERIFY(QDir().mkpath(AppSettings::instance()->outputRawFilePath));
        ::signal(SIGXFSZ, SIG_IGN);
        rlimit old{};
        ::getrlimit(RLIMIT_FSIZE, &old);
        rlimit small = old;
        small.rlim_cur = 2 << 20;
        ::setrlimit(RLIMIT_FSIZE, &small);
        QTest::mouseClick(f().pb_record, Qt::LeftButton);
        QVERIFY(f().pb_record->isChecked());
        QTRY_VERIFY_WITH_TIMEOUT(!f().pb_record->isChecked(), 5000);
        ::setrlimit(RLIMIT_FSIZE, &old);
        QTRY_VERIFY(!qvtest::toasts().isEmpty());
        QvFilePathReminderForm* toast = qvtest::toasts().first();
        QVERIFY2(qvtest::toastText(toast).startsWith(QLatin1String("Recording stopped: ")), qPrintable(qvtest::toastText(toast)));
        QCOMPARE(toast->directory(), QDir(AppSettings::instance()->outputRawFilePath).absolutePath());
        const QStringList limited = QDir(AppSettings::instance()->outputRawFilePath).entryList({QStringLiteral("*.raw")});
        QCOMPARE(limited.size(), 1);
        QVERIFY(readBack(AppSettings::instance()->outputRawFilePath + QLatin1Char('/') + limited.first()).events.size() > 1000);
    }

    void triggerEdgesStartTimedRecordings() {
        AppSettings* s = AppSettings::instance();
        s->dvsTriggerInRecEnable = true;
        s->dvsTriggerInRecEdgeType = QStringLiteral("Rising Edge");
        s->dvsBeforeTriggerInSaveTime = 1;
        s->dvsAfterTriggerInSaveTime = 1;
        openAndStream(kSimDvs);
        // The simulated sensor's input 0 toggles at 10 Hz: the first rising edge records 1 s; the
        // edges during that second are refused as a recording in progress.
        QTRY_VERIFY(qvtest::toastTexts().contains(QStringLiteral("Recording file ... ")));
        QTRY_VERIFY_WITH_TIMEOUT(qvtest::toastTexts().contains(QStringLiteral("Recording end")), 4000);
        QVERIFY(qvtest::toastTexts().contains(QStringLiteral("Currently being recorded.")));
        w->liveCamera()->closeCamera();
        const QStringList files = QDir(dir.path()).entryList({QStringLiteral("*.raw")});
        QVERIFY(!files.isEmpty());
        const auto recorded = readBack(dir.filePath(files.first()));
        QVERIFY(recorded.events.size() > 1000);
        QVERIFY2(recorded.spanUs() >= 1000000, qPrintable(QString::number(recorded.spanUs())));
    }

    void networkCameraFirmwareInfoAndLostConnection() {
        quorvel::test::CamdProcess daemon(QV_CAMD_PATH, "127.0.0.61", 47161,
                                          {"--serial", "NET-T1", "--fusion", "--firmware", "Tarnix_V1.7.1"});
        qputenv("QUORVEL_DISCOVERY_ADDRS", QByteArray::fromStdString(daemon.target()));
        QVERIFY(quorvel::test::CamdProcess::listed("NET-T1"));
        // An old firmware warns and the camera still opens.
        openAndStream("NET-T1");
        QCOMPARE(w->mode(), int(MainWidget::ModeLiveFusion));
        QTRY_VERIFY(qvtest::toastTexts().contains(QStringLiteral("The Tarnix camera firmware needs to be upgraded!")));

        QStringList info;
        answer = [&info](QDialog& d) {
            auto* dialog = qobject_cast<ShowCameraInfoUI*>(&d);
            if (dialog)
                info = {dialog->serialText(), dialog->manufacturerText(), dialog->productText(), dialog->firmwareText()};
            return int(QDialog::Rejected);
        };
        deviceAction("Camera Info")->trigger();
        QCOMPARE(info, (QStringList{"NET-T1", "Quorvel", "Tarnix", "Tarnix_V1.7.1"}));

        // A stall of the camera (its host paused it): its FIFO overflows and the loss shows in red
        // beside the status line, counted where it happened.
        QVERIFY(!f().label_lost_events->isVisible());
        daemon.kill(SIGSTOP);
        QTest::qWait(600);
        daemon.kill(SIGCONT);
        QTRY_VERIFY_WITH_TIMEOUT(f().label_lost_events->isVisible(), 3000);
        QVERIFY2(QRegularExpression(QStringLiteral("^Lost: [1-9]\\d* events$")).match(f().label_lost_events->text()).hasMatch(),
                 qPrintable(f().label_lost_events->text()));
        QVERIFY(f().label_lost_events->toolTip().contains(QLatin1String("In the camera: ")));

        // The daemon dies while recording: noticed within a second or so, the recording is closed
        // and readable, and the window goes on working.
        QTest::mouseClick(f().pb_record, Qt::LeftButton);
        QVERIFY(f().pb_record->isChecked());
        QTest::qWait(600);
        qvtest::closeToasts();
        daemon.kill(SIGKILL);
        QTRY_VERIFY_WITH_TIMEOUT(!f().pb_play->isChecked(), 2500);
        QVERIFY(status().contains(QLatin1String("(connection lost)")));
        QVERIFY(!f().pb_record->isChecked());
        QTRY_VERIFY(qvtest::toastTexts().contains(QStringLiteral("Save file success!")));
        const QStringList files = QDir(dir.path()).entryList({QStringLiteral("NET-T1_*.raw")});
        QCOMPARE(files.size(), 1);
        QVERIFY(readBack(dir.filePath(files.first())).events.size() > 1000);

        openAndStream(kSimDvs);
        QCOMPARE(w->mode(), int(MainWidget::ModeLiveDvs));
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

QV_TEST_MAIN(MainWidgetCameraTest)
#include "test_mainwidget_camera.moc"
