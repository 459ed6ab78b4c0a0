// The main window (offscreen) streaming a simulated 1280x720 camera at fixed event rates, as a
// user watching a live camera sees it: the 33 Hz pull thread, accumulation, the render thread and
// the image view. For each rate prints frames shown per second, events the live path lost, CPU
// seconds per second of the whole process (camera thread included) and resident memory at the
// start and end of the run.
//
//   build/bin/qv-bench-live [--seconds N] [RATE ...]      (default 10 s at 10e6 50e6 100e6)
//
// Goals: >= 30 frames/s and 0 events lost at 50 M events/s; memory flat.

#include "mainwidget.h"
#include "qvlivecamera.h"
#include "showimageform.h"

#include "quorvel/VirtualCameras.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QTest>

#include <sys/resource.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

namespace {

double rssMiB() {
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line))
        if (line.rfind("VmRSS:", 0) == 0)
            return std::strtod(line.c_str() + 6, nullptr) / 1024.0;
    return -1;
}

double cpuSeconds() {
    rusage u{};
    ::getrusage(RUSAGE_SELF, &u);
    return double(u.ru_utime.tv_sec + u.ru_stime.tv_sec) + double(u.ru_utime.tv_usec + u.ru_stime.tv_usec) / 1e6;
}

} // namespace

int main(int argc, char** argv) {
    int seconds = 10;
    std::vector<double> rates;
    for (int i = 1; i < argc; ++i) {
        if (!std::strcmp(argv[i], "--seconds") && i + 1 < argc)
            seconds = std::atoi(argv[++i]);
        else if (double r = std::atof(argv[i]); r > 0)
            rates.push_back(r);
        else {
            std::fprintf(stderr, "usage: %s [--seconds N] [RATE ...]\n", argv[0]);
            return 2;
        }
    }
    if (rates.empty())
        rates = {10e6, 50e6, 100e6};

    // The window's settings go to a home of their own, never the user's.
    QTemporaryDir home;
    qputenv("HOME", home.path().toLocal8Bit());
    qputenv("XDG_CONFIG_HOME", (home.path() + "/.config").toLocal8Bit());
    qputenv("XDG_DATA_HOME", (home.path() + "/.local/share").toLocal8Bit());
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);

    std::printf("%-12s %10s %12s %13s %10s %10s %10s\n", "rate (ev/s)", "frames/s", "events lost", "received ev/s",
                "CPU s/s", "RSS start", "RSS end");
    for (double rate : rates) {
        MainWidget window;
        window.resize(1440, 900);
        window.show();
        if (!QTest::qWaitForWindowExposed(&window))
            return 1;

        quorvel::SimulatedCameraOptions options;
        options.width = 1280;
        options.height = 720;
        options.scene = "stress";
        options.stressEventsPerSecond = static_cast<uint64_t>(rate);
        options.serial = "QVSIM-BENCH";
        std::string error;
        std::shared_ptr<quorvel::DvsCamera> camera = quorvel::createSimulatedCamera(options, error);
        if (!camera || !window.openCamera(camera)) {
            std::fprintf(stderr, "cannot stream the simulated camera: %s\n", error.c_str());
            return 1;
        }
        // The first second warms the buffers up; the measurement starts after it.
        QTest::qWait(1000);
        const double rssStart = rssMiB();
        const double cpu0 = cpuSeconds();
        const quint64 frames0 = window.imageForm()->shownFrames();
        const uint64_t lost0 = camera->droppedEvents() + camera->lostEvents();
        const uint64_t pulled0 = window.liveCamera()->pulledEvents();
        QElapsedTimer clock;
        clock.start();
        QTest::qWait(seconds * 1000);
        const double wall = clock.nsecsElapsed() / 1e9;
        const double cpu = (cpuSeconds() - cpu0) / wall;
        const double fps = double(window.imageForm()->shownFrames() - frames0) / wall;
        const uint64_t lost = camera->droppedEvents() + camera->lostEvents() - lost0;
        const double received = double(window.liveCamera()->pulledEvents() - pulled0) / wall;
        const double rssEnd = rssMiB();
        std::printf("%-12.0f %10.1f %12llu %13.0f %10.2f %9.1fM %9.1fM\n", rate, fps,
                    static_cast<unsigned long long>(lost), received, cpu, rssStart, rssEnd);
        std::fflush(stdout);
        window.liveCamera()->closeCamera();
    }
    return 0;
}
