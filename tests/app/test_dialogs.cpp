#include "qvcutrawfile.h"
#include "qvexportvideoui.h"
#include "qvtestenv.h"

#include <QApplication>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>

class DialogsTest : public QObject {
    Q_OBJECT
private slots:
    void rangeDialogsCollectWithoutValidating() {
        QvCutRawFile cut;
        QCOMPARE(cut.findChild<QLabel*>("lb_title")->text(), QStringLiteral("Cut Recording"));
        QCOMPARE(cut.findChild<QLineEdit*>("le_file_name")->placeholderText(), QStringLiteral("xxx.raw"));
        cut.setStartTime(1317888);
        cut.setEndTime(1367888);
        cut.setSavePath("/data/out");
        cut.setFileName("part");
        QCOMPARE(cut.getStartTime(), uint64_t(1317888));
        QCOMPARE(cut.getEndTime(), uint64_t(1367888));
        QCOMPARE(cut.getOutputPath(), QStringLiteral("/data/out/part")); // no extension added
        cut.findChild<QLineEdit*>("le_start_time")->setText("12ab");
        QCOMPARE(cut.getStartTime(), uint64_t(0));

        // The step buttons move by a millisecond and never below zero.
        cut.setEndTime(500);
        cut.findChild<QPushButton*>("pb_end_time_plus")->click();
        QCOMPARE(cut.getEndTime(), uint64_t(1500));
        cut.findChild<QPushButton*>("pb_end_time_sub")->click();
        cut.findChild<QPushButton*>("pb_end_time_sub")->click();
        QCOMPARE(cut.getEndTime(), uint64_t(0));

        QvExportVideoUI video;
        QCOMPARE(video.findChild<QLabel*>("lb_title")->text(), QStringLiteral("Export a video"));
        QCOMPARE(video.findChild<QPushButton*>("pb_save")->text(), QStringLiteral("Export"));
        QCOMPARE(video.findChild<QLineEdit*>("le_file_name")->placeholderText(), QStringLiteral("xxx.mp4"));
    }

    void saveAcceptsCancelAndCloseReject() {
        for (const char* button : {"pb_save", "pb_cancel", "pb_win_close"}) {
            QvExportVideoUI d;
            QTimer::singleShot(0, &d, [&d, button] { d.findChild<QPushButton*>(button)->click(); });
            const int expected = QByteArray(button) == "pb_save" ? QDialog::Accepted : QDialog::Rejected;
            QCOMPARE(d.exec(), expected);
        }
    }
};

QV_TEST_MAIN(DialogsTest)

#include "test_dialogs.moc"
