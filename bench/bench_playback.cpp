// Plays a large recording through the real playback engine (load thread, paced play loop,
// render thread) and samples the process's memory, to show that it stays flat however long the
// playback runs. Prints one line per sample and a summary.
//
//   build/bin/qv-bench-playback [--file FILE.raw] [--seconds N] [--rate EV_PER_S] [--length-s N]
//
// Without --file it writes a 1280x720 recording of --length-s seconds (default 20) at --rate
// events per second (default 10 M) into a temporary folder first.

#include "appsettings.h"
#include "qveventprocessor.h"

#include "SyntheticStream.h"
#include "quorvel/raw/RawFileWriter.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QTimer>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>

namespace {

long rssKiB() {
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line))
        if (line.rfind("VmRSS:", 0) == 0)
            return std::strtol(line.c_str() + 6, nullptr, 10);
    return -1;
}

} // namespace

int main(int argc, char** argv) {
    std::string file;
    int seconds = 60;
    double rate = 10e6;
    int lengthS = 20;
    for (int i = 1; i + 1 < argc; i += 2) {
        if (!std::strcmp(argv[i], "--file"))
            file = argv[i + 1];
        else if (!std::strcmp(argv[i], "--seconds"))
            seconds = std::atoi(argv[i + 1]);
        else if (!std::strcmp(argv[i], "--rate"))
            rate = std::atof(argv[i + 1]);
        else if (!std::strcmp(argv[i], "--length-s"))
            lengthS = std::atoi(argv[i + 1]);
        else {
            std::fprintf(stderr, "usage: %s [--file F] [--seconds N] [--rate EV_PER_S] [--length-s N]\n", argv[0]);
            return 2;
        }
    }

    quorvel::test::TempDir tmp;
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("HOME", tmp.path.c_str());
    qputenv("XDG_DATA_HOME", (tmp.path + "/.local/share").c_str());
    qputenv("XDG_CONFIG_HOME", (tmp.path + "/.config").c_str());
    QApplication app(argc, argv);

    if (file.empty()) {
        file = tmp.file("long.raw");
        std::printf("writing %d s of 1280x720 at %.0f ev/s to %s ...\n", lengthS, rate, file.c_str());
        quorvel::RawFileWriter writer;
        quorvel::RawFileWriter::Options o;
        o.width = 1280;
        o.height = 720;
        o.serial = "BENCH";
        if (!writer.open(file, o)) {
            std::fprintf(stderr, "cannot write %s: %s\n", file.c_str(), writer.lastError().c_str());
            return 1;
        }
        quorvel::test::StreamParams p;
        p.durationUs = uint64_t(lengthS) * 1'000'000;
        p.denseRate = rate;
        p.sparseRate = rate / 4;
        quorvel::test::generateStream(p, 1 << 20, [&](const auto& ev, const auto& tr) { writer.write(ev, tr); });
        if (!writer.close()) {
            std::fprintf(stderr, "cannot write %s: %s\n", file.c_str(), writer.lastError().c_str());
            return 1;
        }
        std::printf("written: %llu events, %.1f MB\n", (unsigned long long)writer.eventsWritten(),
                    double(writer.bytesWritten()) / 1e6);
    }

    QvEventProcessor proc;
    proc.resizeImage(1280, 720);
    quint64 frames = 0;
    QObject::connect(&proc, &QvEventProcessor::signalEventImage, &app, [&](const QImage&) { ++frames; });
    QObject::connect(&proc, &QvEventProcessor::signalLoadingStatus, &app, [&](bool loading) {
        if (!loading) {
            proc.setFps(30);
            proc.slotPlayLoop(true);
            proc.slotPlaybackCtrl(true);
        }
    });
    proc.loadFile(QString::fromStdString(file));

    QElapsedTimer clock;
    clock.start();
    long first = -1, peak = 0;
    QTimer sampler;
    QObject::connect(&sampler, &QTimer::timeout, &app, [&] {
        const long rss = rssKiB();
        const double t = clock.elapsed() / 1000.0;
        if (first < 0 && t >= 5.0)
            first = rss; // after the load and the first frames
        peak = std::max(peak, rss);
        std::printf("t=%6.1f s  frames=%7llu  rss=%7.1f MB  position=%llu\n", t, frames, rss / 1024.0,
                    (unsigned long long)proc.currentPosition());
        std::fflush(stdout);
        if (t >= seconds) {
            proc.slotPlaybackCtrl(false);
            std::printf("summary: %d s, %llu frames (%.1f fps), rss after 5 s %.1f MB, peak %.1f MB, end %.1f MB\n",
                        seconds, frames, frames / t, first / 1024.0, peak / 1024.0, rss / 1024.0);
            app.quit();
        }
    });
    sampler.start(5000);
    return app.exec();
}
