// The DVS panel on an Ethernet camera served by a real quorvel-camd on a loopback address: the
// groups come from tool descriptions sent over the wire, and a bias changed in the panel changes
// the event rate the camera streams.

#include "appsettings.h"
#include "qvlineedit.h"
#include "qvtestenv.h"
#include "settingbasewithlineedit.h"
#include "settingitembox.h"
#include "sidebardvssettingui.h"

#include "quorvel/DvsCameraManager.h"

#include <QElapsedTimer>
#include <QLabel>
#include <QProcess>

using namespace quorvel;

namespace {

/// Events the camera streams during `ms` milliseconds, after dropping what was queued before.
size_t eventsDuring(DvsCamera& cam, int ms) {
    std::vector<Event2D> batch;
    cam.getEvents(batch);
    size_t n = 0;
    QElapsedTimer t;
    t.start();
    while (t.elapsed() < ms) {
        QTest::qWait(20);
        if (cam.getEvents(batch))
            n += batch.size();
    }
    return n;
}

} // namespace

class DvsPanelNetTest : public QObject {
    Q_OBJECT
private slots:
    void biasChangedInThePanelChangesTheStreamedRate() {
        QProcess daemon;
        daemon.start(QStringLiteral(QV_CAMD_PATH), {"--bind", "127.0.0.61", "--port", "47161", "--serial", "NET-PANEL",
                                                    "--scene", "noise"});
        QVERIFY(daemon.waitForStarted());
        qputenv("QUORVEL_DISCOVERY_ADDRS", "127.0.0.61:47161");
        qputenv("QUORVEL_VIRTUAL_CAMERAS", "0");
        qunsetenv("QUORVEL_DISCOVERY_BROADCAST");
        AppSettings::instance(); // the panel loads the factory copy into the camera

        DvsCameraManager manager;
        QTRY_VERIFY_WITH_TIMEOUT(!manager.getCameraDescs().empty(), 5000);
        std::shared_ptr<DvsCamera> cam = manager.openCamera("NET-PANEL");
        QVERIFY2(cam, DvsCameraManager::lastError().c_str());
        SidebarDvsSettingUI panel;
        panel.initCameraSettings(cam);
        SettingItemBox* biases = panel.toolGroup(TOOL_BIASES);
        QVERIFY(biases && panel.toolGroup(TOOL_ROI));
        SettingBaseWithLineEdit* hpf = nullptr;
        for (auto* r : biases->findChildren<SettingBaseWithLineEdit*>())
            if (r->findChild<QLabel*>()->text() == "Bias Hpf")
                hpf = r;
        QVERIFY(hpf);

        QCOMPARE(cam->start(), 0);
        const size_t before = eventsDuring(*cam, 600);
        hpf->lineEdit()->setText("90");
        int v = 0;
        QVERIFY(cam->getTool(TOOL_BIASES)->getIntParam("bias_hpf", v));
        QCOMPARE(v, 90);
        QTest::qWait(200);
        const size_t after = eventsDuring(*cam, 600);
        QVERIFY2(after * 5 < before, qPrintable(QStringLiteral("%1 -> %2").arg(before).arg(after)));
        cam->stop();
        daemon.kill();
        daemon.waitForFinished();
    }
};

QV_TEST_MAIN(DvsPanelNetTest)

#include "test_dvs_panel_net.moc"
