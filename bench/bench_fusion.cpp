// Fusion playback through the real processor (load thread, paced play loop, APS decoding, warp,
// events over the frame): a simulated fusion recording (the default scene, 6.6 M events/s) with a 1280x720 event
// sensor and an APS video of 1920x1080 (and, as a second row, 3840x2160).
//
//   build/bin/qv-bench-fusion [--seconds N] [--length-s N] [--dir DIR]
//
// The recordings are simulated into a temporary folder, or into DIR, where they are kept and
// used again by later runs.
//
// For each APS size prints: frames shown per second while playing at fps 30 (real time), CPU
// seconds per second of the whole process (the render path: decoding, warping, events, drawing),
// the latency of a step forward and of a step back (mean and max over 60 each), and resident memory
// after the first seconds and at the end.
// Goals: 30 frames/s with <= 0.5 CPU s/s for 1080p; steps <= 50 ms; memory flat; 4K without stalls.

#include "appsettings.h"
#include "qvfusioncameradataprocessor.h"

#include "quorvel/FusionSimulation.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QLoggingCategory>
#include <QTemporaryDir>
#include <QTest>

#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>

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

struct Latency {
    double meanMs = 0, maxMs = 0;
};

template <typename Step>
Latency timeSteps(Step&& step, int count) {
    Latency l;
    for (int i = 0; i < count; ++i) {
        const auto t0 = std::chrono::steady_clock::now();
        step();
        const double ms = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - t0).count();
        l.meanMs += ms / count;
        l.maxMs = std::max(l.maxMs, ms);
    }
    return l;
}

} // namespace

int main(int argc, char** argv) {
    int seconds = 10;
    int lengthS = 12;
    QString folder;
    for (int i = 1; i + 1 < argc; i += 2) {
        if (!std::strcmp(argv[i], "--seconds"))
            seconds = std::atoi(argv[i + 1]);
        else if (!std::strcmp(argv[i], "--length-s"))
            lengthS = std::atoi(argv[i + 1]);
        else if (!std::strcmp(argv[i], "--dir"))
            folder = QString::fromLocal8Bit(argv[i + 1]);
        else {
            std::fprintf(stderr, "usage: %s [--seconds N] [--length-s N] [--dir DIR]\n", argv[0]);
            return 2;
        }
    }
    QTemporaryDir tmp;
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("HOME", tmp.path().toLocal8Bit());
    qputenv("XDG_DATA_HOME", (tmp.path() + "/.local/share").toLocal8Bit());
    qputenv("XDG_CONFIG_HOME", (tmp.path() + "/.config").toLocal8Bit());
    QApplication app(argc, argv);
    // The per-frame debug lines of the processor would measure the terminal, not the playback.
    QLoggingCategory::setFilterRules(QStringLiteral("default.debug=false"));

    std::printf("%-10s %9s %9s %14s %14s %10s %10s\n", "APS", "frames/s", "CPU s/s", "step fwd ms", "step back ms",
                "RSS start", "RSS end");
    for (double scale : {1.5, 3.0}) {
        const std::string base = ((folder.isEmpty() ? tmp.path() : folder) +
                                  QStringLiteral("/fusion%1x%2s").arg(int(scale * 10)).arg(lengthS))
                                     .toStdString();
        quorvel::FusionSimulationOptions o;
        o.width = 1280;
        o.height = 720;
        o.scene = "default"; // about 6.6 M events/s at this size, as a fusion camera delivers outdoors
        o.durationUs = uint64_t(lengthS) * 1'000'000;
        o.apsScale = scale;
        quorvel::FusionSimulationResult result;
        std::string error;
        result.apsWidth = int(1280 * scale);
        result.apsHeight = int(720 * scale);
        const bool have = !folder.isEmpty() && QFile::exists(QString::fromStdString(base + ".json"));
        if (!have)
            std::fprintf(stderr, "simulating %d s with a %dx%d APS video ...\n", lengthS, result.apsWidth,
                         result.apsHeight);
        if (!have && !quorvel::simulateRecording(base, o, result, error)) {
            std::fprintf(stderr, "cannot simulate: %s\n", error.c_str());
            return 1;
        }
        QvFusionCameraDataProcessor proc;
        quint64 frames = 0;
        QObject::connect(&proc, &QvFusionCameraDataProcessor::signalFusionImage, &app, [&](const QImage&) { ++frames; });
        bool loaded = false;
        QObject::connect(&proc, &QvFusionCameraDataProcessor::signalLoadingStatus, &app,
                         [&](bool loading) { loaded = !loading; });
        proc.slotReadFusionFile(QString::fromStdString(base + ".raw"));
        while (!loaded)
            QTest::qWait(50);
        if (!proc.hasFile()) {
            std::fprintf(stderr, "cannot play %s\n", base.c_str());
            return 1;
        }
        proc.setFps(30);
        proc.slotSetReplayFlag(true);
        proc.slotPlaybackCtrl(true);
        QTest::qWait(2000);
        const double rssStart = rssMiB();
        const double cpu0 = cpuSeconds();
        const quint64 frames0 = frames;
        QElapsedTimer clock;
        clock.start();
        QTest::qWait(seconds * 1000);
        const double wall = clock.nsecsElapsed() / 1e9;
        const double fps = double(frames - frames0) / wall;
        const double cpu = (cpuSeconds() - cpu0) / wall;
        proc.slotPlaybackCtrl(false);
        const double rssEnd = rssMiB();
        // Steps from the middle of the recording, forward then back (back re-seeks the video).
        proc.setPlayPos(proc.fusionStart() + (proc.fusionEnd() - proc.fusionStart()) / 2);
        const Latency forward = timeSteps([&] { proc.nextFrame(); }, 60);
        const Latency back = timeSteps([&] { proc.preFrame(); }, 60);
        std::printf("%4dx%-5d %9.1f %9.2f %6.1f / %5.1f %6.1f / %5.1f %9.1fM %9.1fM\n", result.apsWidth, result.apsHeight,
                    fps, cpu, forward.meanMs, forward.maxMs, back.meanMs, back.maxMs, rssStart, rssEnd);
        std::fflush(stdout);
    }
    return 0;
}
