// The camera settings panels: building the DVS panel for an opened camera with all six tools
// (groups, rows, the automatic load of the user's configuration file and the read-back), and one
// row change reaching the camera's tool and the current configuration file on disk.
//
//   build/bin/qv-bench-panels [--benchmark_filter=...]
//
// Cameras as users have them: the manager's simulated DVS camera (idle, or streaming its
// default scene in real time) and an Ethernet camera served by a quorvel-camd on 127.0.0.71,
// whose tool calls cross the loopback network. The panel is shown (offscreen) so that styling
// and layout are part of the cost.

#include "appsettings.h"
#include "qvlineedit.h"
#include "settingbasewithlineedit.h"
#include "settingitembox.h"
#include "sidebardvssettingui.h"

#include "SyntheticStream.h"
#include "quorvel/DvsCameraManager.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QLabel>
#include <QProcess>
#include <QThread>

#include <benchmark/benchmark.h>

using namespace quorvel;

namespace {

QProcess& daemon() {
    static QProcess process;
    return process;
}

DvsCameraManager& manager() {
    static DvsCameraManager m;
    return m;
}

/// The camera of a benchmark argument: 0 simulated idle, 1 simulated streaming, 2 network.
std::shared_ptr<DvsCamera> camera(int kind) {
    if (kind < 2) {
        static std::shared_ptr<DvsCamera> sim = manager().openCamera("QVSIM-DVS-0001");
        if (kind == 1 && !sim->isStreaming())
            sim->start();
        if (kind == 0 && sim->isStreaming())
            sim->stop();
        return sim;
    }
    static std::shared_ptr<DvsCamera> net;
    if (!net) {
        daemon().start(QStringLiteral(QV_CAMD_PATH), {"--bind", "127.0.0.71", "--port", "47171", "--serial", "NET-BENCH"});
        daemon().waitForStarted();
        qputenv("QUORVEL_DISCOVERY_ADDRS", "127.0.0.71:47171");
        QElapsedTimer t;
        t.start();
        while (!net && t.elapsed() < 5000) {
            for (const CameraDescription& d : manager().getCameraDescs())
                if (d.serial == "NET-BENCH")
                    net = manager().openCamera(d.serial);
            QThread::msleep(50);
        }
    }
    return net;
}

const char* kCameraNames[] = {"simulated", "simulated_streaming", "network"};

void BM_BuildDvsPanel(benchmark::State& state) {
    const auto cam = camera(int(state.range(0)));
    if (!cam) {
        state.SkipWithError("camera not available");
        return;
    }
    state.SetLabel(kCameraNames[state.range(0)]);
    for (auto _ : state) {
        SidebarDvsSettingUI panel;
        panel.resize(300, 800);
        panel.show();
        panel.initCameraSettings(cam);
        QApplication::processEvents(); // polish and lay out what was built
        benchmark::DoNotOptimize(panel.toolGroup(TOOL_ROI));
        state.PauseTiming();
        panel.hide();
        state.ResumeTiming();
    }
}
BENCHMARK(BM_BuildDvsPanel)->Arg(0)->Arg(1)->Arg(2)->UseRealTime()->Unit(benchmark::kMillisecond);

void BM_RowChangeToCameraAndFile(benchmark::State& state) {
    const auto cam = camera(int(state.range(0)));
    if (!cam) {
        state.SkipWithError("camera not available");
        return;
    }
    state.SetLabel(kCameraNames[state.range(0)]);
    SidebarDvsSettingUI panel;
    panel.show();
    panel.initCameraSettings(cam);
    SettingBaseWithLineEdit* fo = nullptr;
    for (auto* r : panel.toolGroup(TOOL_BIASES)->findChildren<SettingBaseWithLineEdit*>())
        if (r->findChild<QLabel*>()->text() == "Bias Fo")
            fo = r;
    int value = 10;
    for (auto _ : state) {
        value = value == 10 ? 11 : 10;
        fo->lineEdit()->setText(QString::number(value)); // tool setter + configuration file update
    }
    int onCamera = 0;
    cam->getTool(TOOL_BIASES)->getIntParam("bias_fo", onCamera);
    if (onCamera != value)
        state.SkipWithError("the value did not reach the camera");
}
BENCHMARK(BM_RowChangeToCameraAndFile)->Arg(0)->Arg(1)->Arg(2)->UseRealTime()->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    // The panel reads and writes the user's current configuration file: keep it in a temporary
    // home, a copy of the factory file as on a first run.
    static quorvel::test::TempDir home;
    qputenv("HOME", home.path.c_str());
    qputenv("XDG_DATA_HOME", (home.path + "/.local/share").c_str());
    qputenv("XDG_CONFIG_HOME", (home.path + "/.config").c_str());
    qputenv("QUORVEL_DISCOVERY_ADDRS", "");
    QApplication app(argc, argv);
    // The panel's debug lines (one per configuration update) would otherwise be timed as
    // terminal output.
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
    AppSettings* settings = AppSettings::instance();
    if (!QFile::exists(settings->dvsCameraCurrentConfigPath)) {
        std::fprintf(stderr, "no current configuration file at %s\n", qPrintable(settings->dvsCameraCurrentConfigPath));
        return 1;
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    if (daemon().state() != QProcess::NotRunning) {
        daemon().kill();
        daemon().waitForFinished();
    }
    return 0;
}
