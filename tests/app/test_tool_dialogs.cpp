// The dialogs on their own: the cut and export range dialogs, the general settings and IP
// configuration dialogs, and the recording tools behind the Tools menu (information with the
// event-rate plot, conversion to EVT 3.0), on files written with the SDK's writer.

#include "appsettings.h"
#include "qvcombobox.h"
#include "qvconvertrecordingui.h"
#include "qvcutrawfile.h"
#include "qvethcameraconfigtool.h"
#include "qvexportvideoui.h"
#include "qvgeneralsetting.h"
#include "qvrecordinginfoui.h"
#include "qvrecordingtools.h"
#include "qvtestenv.h"

#include "quorvel/raw/RawFileWriter.h"

#include <QDir>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QSettings>
#include <QTabWidget>

#include <thread>

namespace {

QString text(QObject* root, const char* name) {
    if (auto* l = root->findChild<QLabel*>(QLatin1String(name)))
        return l->text();
    return root->findChild<QLineEdit*>(QLatin1String(name))->text();
}

void click(QObject* root, const char* name) {
    root->findChild<QPushButton*>(QLatin1String(name))->click();
}

QLineEdit* edit(QObject* root, const char* name) {
    return root->findChild<QLineEdit*>(QLatin1String(name));
}

QByteArray configFile() {
    return qvtest::readFile(AppSettings::instance()->appConfigPath + QStringLiteral("/config.ini"));
}

// A recording of `ratesPerSecond.size()` seconds, second i holding ratesPerSecond[i] evenly spaced
// events (pixels cycling over 320 x 240, polarity alternating), with two trigger edges.
bool writeRecording(const QString& path, quorvel::RawEncoding encoding, const std::vector<uint64_t>& ratesPerSecond) {
    quorvel::RawFileWriter w;
    quorvel::RawFileWriter::Options o;
    o.width = 320;
    o.height = 240;
    o.serial = "RATE0001";
    o.encoding = encoding;
    if (!w.open(path.toStdString(), o))
        return false;
    const uint64_t start = 5'000'000;
    std::vector<quorvel::Event2D> batch;
    uint64_t n = 0;
    for (size_t s = 0; s < ratesPerSecond.size(); ++s) {
        for (uint64_t i = 0; i < ratesPerSecond[s]; ++i, ++n) {
            const uint64_t t = start + s * 1'000'000 + i * 1'000'000 / ratesPerSecond[s];
            batch.emplace_back(uint16_t(n % 320), uint16_t(n / 320 % 240), uint8_t(n % 2), t);
            if (batch.size() == 100'000) {
                if (!w.write(batch))
                    return false;
                batch.clear();
            }
        }
    }
    const std::vector<quorvel::EventTriggerIn> triggers{{0, 1, start + 300'000}, {0, 0, start + 1'300'000}};
    return w.write(batch, triggers) && w.close();
}

double mean(const std::vector<double>& v, size_t from, size_t to) {
    double sum = 0;
    for (size_t i = from; i < to; ++i)
        sum += v[i];
    return sum / double(to - from);
}

} // namespace

class ToolDialogsTest : public QObject {
    Q_OBJECT
private:
    QTemporaryDir dir;
    AppSettings* s = nullptr;

private slots:
    void initTestCase() { s = AppSettings::instance(); }

    void rangeDialogsCollectWithoutValidating() {
        QvCutRawFile cut;
        QCOMPARE(text(&cut, "lb_title"), QStringLiteral("Cut Recording"));
        QCOMPARE(edit(&cut, "le_file_name")->placeholderText(), QStringLiteral("xxx.raw"));
        cut.setSavePath("/data/out");
        cut.setFileName("part");
        QCOMPARE(cut.getOutputPath(), QStringLiteral("/data/out/part")); // no extension added
        edit(&cut, "le_start_time")->setText("12ab");
        QCOMPARE(cut.getStartTime(), uint64_t(0));

        // The step buttons move by a millisecond and never below zero.
        cut.setEndTime(500);
        click(&cut, "pb_end_time_plus");
        QCOMPARE(cut.getEndTime(), uint64_t(1500));
        click(&cut, "pb_end_time_sub");
        click(&cut, "pb_end_time_sub");
        QCOMPARE(cut.getEndTime(), uint64_t(0));

        QvExportVideoUI video;
        QCOMPARE(text(&video, "lb_title"), QStringLiteral("Export a video"));
        QCOMPARE(video.findChild<QPushButton*>("pb_save")->text(), QStringLiteral("Export"));
        QCOMPARE(edit(&video, "le_file_name")->placeholderText(), QStringLiteral("xxx.mp4"));
        // Save accepts, Cancel and the close button reject.
        for (const char* button : {"pb_save", "pb_cancel", "pb_win_close"}) {
            QvExportVideoUI d;
            QTimer::singleShot(0, &d, [&d, button] { click(&d, button); });
            QCOMPARE(d.exec(), QByteArray(button) == "pb_save" ? int(QDialog::Accepted) : int(QDialog::Rejected));
        }
    }

    void generalSettingLoadsTheStoredValues() {
        s->outputRawFilePath = dir.filePath("rec");
        s->videoSavePath = dir.filePath("video");
        s->dvsTriggerInRecEnable = true;
        s->dvsTriggerInRecEdgeType = "Falling Edge";
        s->dvsBeforeTriggerInSaveTime = 7;
        s->dvsAfterTriggerInSaveTime = 9;
        s->dvsColorType = "RedGreen";
        QvGeneralSetting d;
        QCOMPARE(d.objectName(), QStringLiteral("QvGeneralSetting"));
        QCOMPARE(d.windowTitle(), QStringLiteral("QvGerenalSetting"));
        QCOMPARE(text(&d, "lb_title"), QStringLiteral("General Settings"));
        QCOMPARE(text(&d, "le_default_file_path"), dir.filePath("rec"));
        QCOMPARE(text(&d, "le_default_video_file_path"), dir.filePath("video"));
        QCOMPARE(text(&d, "le_trigger_in_before_time"), QStringLiteral("7"));
        QCOMPARE(text(&d, "le_trigger_in_after_time"), QStringLiteral("9"));
        QVERIFY(d.findChild<QPushButton*>("sb_trigger_in_rec_enable")->isChecked());
        QCOMPARE(d.findChild<QComboBox*>("cb_trigger_in_edge")->currentText(), QStringLiteral("Falling Edge"));
        auto* colours = d.findChild<QvComboBox*>("widget_combobox_color_theme")->comboBox();
        QCOMPARE(colours->count(), 5);
        QCOMPARE(colours->currentText(), QStringLiteral("RedGreen"));

        // The list on the left chooses the page.
        auto* items = d.findChild<QListWidget*>("lw_general_setting_items");
        auto* tabs = d.findChild<QTabWidget*>("tw_settings");
        QCOMPARE(items->item(1)->text(), QStringLiteral("Style"));
        items->setCurrentRow(1);
        QCOMPARE(tabs->currentIndex(), 1);
        items->setCurrentRow(0);
        QCOMPARE(tabs->currentIndex(), 0);

        // Names the lists do not hold: the first choice stands (and is what Save would write).
        s->dvsTriggerInRecEdgeType = "rising";
        s->dvsColorType = "gray";
        QvGeneralSetting unknown;
        QCOMPARE(unknown.findChild<QComboBox*>("cb_trigger_in_edge")->currentData().toString(), QStringLiteral("Rising Edge"));
        QCOMPARE(unknown.findChild<QvComboBox*>()->comboBox()->currentData().toString(), QStringLiteral("Gray"));
    }

    void timeFieldsStepWithoutCeilingAndNeverBelowZero() {
        QvGeneralSetting d;
        QLineEdit* before = edit(&d, "le_trigger_in_before_time");
        const auto step = [&](const QString& start, const char* button) {
            before->setText(start);
            click(&d, button);
            return before->text();
        };
        QCOMPARE(step("0", "pb_sub_trigger_in_before_time"), QStringLiteral("0"));
        QCOMPARE(step("0", "pb_add_trigger_in_before_time"), QStringLiteral("1"));
        QCOMPARE(step("4294967295", "pb_add_trigger_in_before_time"), QStringLiteral("4294967296"));
        QCOMPARE(step("abc", "pb_sub_trigger_in_before_time"), QStringLiteral("abc")); // reads 0: nothing to take
        QCOMPARE(step("abc", "pb_add_trigger_in_before_time"), QStringLiteral("1"));
        QCOMPARE(step("-3", "pb_add_trigger_in_before_time"), QStringLiteral("1"));
        edit(&d, "le_trigger_in_after_time")->setText("12");
        click(&d, "pb_sub_trigger_in_after_time");
        QCOMPARE(text(&d, "le_trigger_in_after_time"), QStringLiteral("11"));
        QCOMPARE(QvGeneralSetting::readSeconds(" 42 "), quint64(42));
        QCOMPARE(QvGeneralSetting::readSeconds("4.5"), quint64(0));
    }

    void saveWritesTheSettingsAndCancelDropsTheEdits() {
        QDir(dir.path()).mkpath("chosen");
        s->outputRawFilePath = dir.filePath("rec");
        s->videoSavePath = dir.filePath("video");
        s->dvsColorType = "Gray";
        s->dvsTriggerInRecEnable = false;
        s->save();
        const QByteArray before = configFile();

        // Cancel and the close button leave the settings and config.ini as they were.
        for (const char* button : {"pb_cancel", "pb_win_close"}) {
            QvGeneralSetting d;
            d.setDirectoryChooser([&](QWidget*, const QString&, const QString&) { return dir.filePath("chosen"); });
            click(&d, "pb_select_dir");
            QCOMPARE(text(&d, "le_default_file_path"), dir.filePath("chosen"));
            d.findChild<QPushButton*>("sb_trigger_in_rec_enable")->setChecked(true);
            d.findChild<QvComboBox*>()->comboBox()->setCurrentIndex(1);
            QSignalSpy changed(&d, &QvGeneralSetting::signalTriggerInSaveFileParamChanged);
            click(&d, button);
            QCOMPARE(d.result(), int(QDialog::Rejected));
            QCOMPARE(changed.count(), 0);
            QCOMPARE(s->outputRawFilePath, dir.filePath("rec"));
            QVERIFY(!s->dvsTriggerInRecEnable);
            QCOMPARE(s->dvsColorType, QStringLiteral("Gray"));
            QCOMPARE(configFile(), before);
        }

        QvGeneralSetting d;
        QString startedAt;
        d.setDirectoryChooser([&](QWidget*, const QString& title, const QString& start) {
            startedAt = start;
            return title == QStringLiteral("Select Directory") ? dir.filePath("chosen") : QString();
        });
        click(&d, "pb_select_dir");
        QCOMPARE(startedAt, dir.filePath("rec"));
        d.setDirectoryChooser([](QWidget*, const QString&, const QString&) { return QString(); }); // cancelled
        click(&d, "pb_select_video_save_path");
        QCOMPARE(text(&d, "le_default_video_file_path"), dir.filePath("video"));
        d.findChild<QPushButton*>("sb_trigger_in_rec_enable")->setChecked(true);
        d.findChild<QComboBox*>("cb_trigger_in_edge")->setCurrentIndex(1);
        edit(&d, "le_trigger_in_before_time")->setText("5");
        edit(&d, "le_trigger_in_after_time")->setText("ten");
        d.findChild<QvComboBox*>()->comboBox()->setCurrentIndex(1); // Dark
        QSignalSpy changed(&d, &QvGeneralSetting::signalTriggerInSaveFileParamChanged);
        click(&d, "pb_save");
        QCOMPARE(d.result(), int(QDialog::Accepted));
        QCOMPARE(changed.count(), 1);
        QCOMPARE(s->negativeColor, QColor(64, 126, 200)); // the scheme is applied at once
        QCOMPARE(s->backgroundColor, QColor(30, 37, 52));

        QSettings ini(s->appConfigPath + "/config.ini", QSettings::IniFormat);
        QCOMPARE(ini.value("Setting/output_raw_file_path").toString(), dir.filePath("chosen"));
        QCOMPARE(ini.value("Setting/video_save_path").toString(), dir.filePath("video"));
        QCOMPARE(ini.value("Setting/dvs_trigger_in_rec_enable").toString(), QStringLiteral("true"));
        QCOMPARE(ini.value("Setting/dvs_trigger_in_rec_edge_type").toString(), QStringLiteral("Falling Edge"));
        QCOMPARE(ini.value("Setting/dvs_before_tirgger_in_save_time").toString(), QStringLiteral("5"));
        QCOMPARE(ini.value("Setting/dvs_after_tirgger_in_save_time").toString(), QStringLiteral("0"));
        QCOMPARE(ini.value("Setting/dvs_color_type").toString(), QStringLiteral("Dark"));
    }

    void ipConfigurationWithoutNetworkCameras() {
        qunsetenv("QUORVEL_DISCOVERY_ADDRS");
        QvEthCameraConfigTool d;
        QCOMPARE(text(&d, "lb_title"), QStringLiteral("Eth Camera Config"));
        QSignalSpy tips(&d, &QvEthCameraConfigTool::signalShowLeftBottomTips);
        click(&d, "pb_config"); // nothing listed: nothing happens, nothing is said
        QCOMPARE(tips.count(), 0);
        // The toast goes out as the search starts; the simulated cameras are not Ethernet cameras.
        click(&d, "pb_refresh");
        QCOMPARE(tips.count(), 1);
        QVERIFY(d.isRefreshing());
        QCOMPARE(tips.first().at(0).toString(), QStringLiteral("Refresh completed!"));
        QCOMPARE(tips.first().at(1).value<QvMessageType>(), QvMessageSuccess);
        QTRY_VERIFY(!d.isRefreshing());
        QCOMPARE(d.findChild<QListWidget*>("listWidget_cameras")->count(), 0);
        QVERIFY(d.cameras().empty());
    }

    void recordingInformationShowsCountsAndTheRateFromTheIndex() {
        // One second at 100 k events/s, then one at 400 k events/s.
        const QString path = dir.filePath("rates.raw");
        QVERIFY(writeRecording(path, quorvel::RawEncoding::Evt2, {100'000, 400'000}));
        QvRecordingInfoUI d;
        QSignalSpy read(&d, &QvRecordingInfoUI::signalRecordingRead);
        d.setRecording(path);
        QTRY_COMPARE_WITH_TIMEOUT(read.count(), 1, 20000);
        QCOMPARE(read.first().at(1).toString(), QString());
        QCOMPARE(text(&d, "lb_format_value"), QStringLiteral("EVT 2.0"));
        QCOMPARE(text(&d, "lb_geometry_value"), QStringLiteral("320 x 240"));
        QCOMPARE(text(&d, "lb_serial_value"), QStringLiteral("RATE0001"));
        QCOMPARE(text(&d, "lb_events_value"), QStringLiteral("500,000"));
        QCOMPARE(text(&d, "lb_on_events_value"), QStringLiteral("250,000 (50.0%)"));
        QCOMPARE(text(&d, "lb_triggers_value"), QStringLiteral("2"));
        QCOMPARE(text(&d, "lb_errors_value"), QStringLiteral("0"));
        QCOMPARE(text(&d, "lb_first_value"), QStringLiteral("5000000 us"));
        const std::vector<double>& rate = d.ratePlot()->rate();
        QCOMPARE(rate.size(), size_t(240));
        const double low = mean(rate, 12, 108), high = mean(rate, 132, 228); // away from the step
        QVERIFY2(std::abs(low - 100e3) < 10e3 && std::abs(high - 400e3) < 40e3,
                 qPrintable(QStringLiteral("%1 %2").arg(low).arg(high)));

        // A file that is not a recording says so and shows nothing.
        QVERIFY(qvtest::writeFile(dir.filePath("junk.raw"), "not a recording"));
        d.setRecording(dir.filePath("junk.raw"));
        QTRY_COMPARE(read.count(), 2);
        QVERIFY(!read.last().at(1).toString().isEmpty());
        QVERIFY(text(&d, "lb_status").startsWith("Cannot read this recording: "));
        QCOMPARE(text(&d, "lb_events_value"), QString());
        QVERIFY(d.ratePlot()->rate().empty());
    }

    void conversionKeepsTheRecordingAndCancelLeavesNothing() {
        const QString in = dir.filePath("evt2.raw");
        QVERIFY(writeRecording(in, quorvel::RawEncoding::Evt2, {20'000, 5'000}));
        const QString out = dir.filePath("converted.raw");
        std::atomic<double> progress{0};
        std::atomic<bool> cancel{false};
        std::string error;
        QVERIFY2(QvRecordingTools::convertToEvt3(in.toStdString(), out.toStdString(), progress, cancel, error), error.c_str());
        QCOMPARE(progress.load(), 1.0);
        const auto stats = [](const QString& path, QString& format, QString& serial) {
            auto r = quorvel::DvsFileReader::createFileReader(path.toStdString());
            quorvel::DvsFileStats st;
            if (r && r->getFileStats(st)) {
                format = QString::fromStdString(r->formatName());
                serial = QString::fromStdString(r->serialNumber());
            }
            return st;
        };
        QString inFormat, inSerial, outFormat, outSerial;
        const quorvel::DvsFileStats a = stats(in, inFormat, inSerial);
        const quorvel::DvsFileStats b = stats(out, outFormat, outSerial);
        QCOMPARE(outFormat, QStringLiteral("EVT3"));
        QCOMPARE(outSerial, QStringLiteral("RATE0001"));
        QCOMPARE(b.events, a.events);
        QCOMPARE(b.onEvents, a.onEvents);
        QCOMPARE(b.triggers, uint64_t(2));
        QCOMPARE(b.firstTimestamp, a.firstTimestamp);
        QCOMPARE(b.lastTimestamp, a.lastTimestamp);
        QVERIFY(!QvRecordingTools::convertToEvt3(in.toStdString(), in.toStdString(), progress, cancel, error));

        // The dialog refuses to replace a file and to write over the recording.
        QvConvertRecordingUI d;
        d.setOutputFolder(dir.path());
        d.setInput(in);
        QCOMPARE(d.outputPath(), dir.filePath("evt2_evt3.raw"));
        edit(&d, "le_output")->setText(out);
        const QByteArray written = qvtest::readFile(out);
        click(&d, "pb_convert");
        QVERIFY(!d.isConverting());
        QCOMPARE(d.lastError(), QStringLiteral("A file of this name already exists."));
        edit(&d, "le_output")->setText(in);
        click(&d, "pb_convert");
        QCOMPARE(d.lastError(), QStringLiteral("The new file must not be the recording itself."));

        // Cancelled half-way through the writing: no file, no temporary file.
        const QString big = dir.filePath("big.raw");
        QVERIFY(writeRecording(big, quorvel::RawEncoding::Evt2, {1'500'000, 1'500'000}));
        const QString target = dir.filePath("big_evt3.raw");
        progress = 0;
        bool converted = true;
        std::atomic<bool> done{false};
        std::thread worker([&] {
            converted = QvRecordingTools::convertToEvt3(big.toStdString(), target.toStdString(), progress, cancel, error);
            done = true;
        });
        while (progress < 0.4 && !done)
            std::this_thread::yield();
        cancel = true;
        worker.join();
        cancel = false;
        QVERIFY(!converted);
        QCOMPARE(QString::fromStdString(error), QLatin1String(QvRecordingTools::kCancelled));
        QCOMPARE(QDir(dir.path()).entryList({"big_evt3*"}), QStringList());

        // Cancel in the dialog: it stays open and says that nothing was written.
        d.setInput(big);
        QSignalSpy ended(&d, &QvConvertRecordingUI::signalConversionEnded);
        click(&d, "pb_convert");
        QVERIFY(d.isConverting());
        click(&d, "pb_cancel");
        QTRY_COMPARE(ended.count(), 1);
        QCOMPARE(d.lastError(), QStringLiteral("Cancelled; no file was written."));
        QVERIFY(d.result() != QDialog::Accepted);
        QCOMPARE(QDir(dir.path()).entryList({"big_evt3*"}), QStringList());
        QCOMPARE(qvtest::readFile(out), written);
    }
};

QV_TEST_MAIN(ToolDialogsTest)

#include "test_tool_dialogs.moc"
