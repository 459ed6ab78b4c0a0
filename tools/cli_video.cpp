#include "cli_video.h"

#include "quorvel/DvsFileReader.h"
#include "quorvel/FusionSimulation.h"
#include "quorvel/VideoExporter.h"

#include <atomic>
#include <charconv>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <unistd.h>
#include <vector>

namespace quorvel::cli {

const char* const kExportHelp =
    "usage: quorvel export IN.raw OUT.mp4 --from-us A --to-us B [--fps N] [--scheme NAME]\n"
    "Renders the events with A <= t <= B into an H.264 .mp4 the way the viewer draws them: one frame\n"
    "per 1000000/N microseconds (N = 30 by default, 33333 us a frame), per pixel up to 3 ON and 3 OFF\n"
    "events counted, ON colour where ON outnumbers OFF, OFF colour for any other pixel with events,\n"
    "background elsewhere. NAME is one of Gray (default), Dark, RedBlue, RedGreen, Light. Without\n"
    "--from-us / --to-us the range starts / ends with the recording. OUT only appears when the export\n"
    "succeeded; Ctrl-C cancels cleanly.\n";

namespace {

std::atomic<bool> g_interrupted{false};

void onInterrupt(int) { g_interrupted = true; }

int error(const std::string& msg) {
    std::fprintf(stderr, "quorvel: error: %s\n", msg.c_str());
    return 1;
}

bool parseNumber(const std::string& v, uint64_t& out) {
    const auto r = std::from_chars(v.data(), v.data() + v.size(), out);
    return !v.empty() && r.ec == std::errc() && r.ptr == v.data() + v.size();
}

} // namespace

int runExport(int argc, char** argv, int first) {
    std::vector<std::string> positional;
    std::string from, to, fps, scheme = "Gray";
    for (int i = first; i < argc; ++i) {
        const std::string a = argv[i];
        std::string* target = a == "--from-us" ? &from : a == "--to-us" ? &to : a == "--fps" ? &fps
                            : a == "--scheme"  ? &scheme : nullptr;
        if (target) {
            if (i + 1 >= argc)
                return error(a + " needs a value");
            *target = argv[++i];
        } else if (a.size() > 1 && a[0] == '-') {
            return error("unknown option '" + a + "' for export (see quorvel export --help)");
        } else {
            positional.push_back(a);
        }
    }
    if (positional.size() != 2)
        return error("export needs IN and OUT");

    VideoExportOptions options;
    if (!options.setScheme(scheme))
        return error("unknown colour scheme '" + scheme + "' (Gray, Dark, RedBlue, RedGreen or Light)");
    if (!fps.empty()) {
        uint64_t n = 0;
        if (!parseNumber(fps, n) || n < 1 || n > 1000)
            return error("invalid value for --fps: '" + fps + "' (expected 1 .. 1000)");
        options.fps = static_cast<int>(n);
    }

    auto reader = DvsFileReader::createFileReader(positional[0]);
    if (!reader)
        return error("cannot read '" + positional[0] + "': " + DvsFileReader::lastCreateError());
    uint64_t start = 0, end = 0;
    if (from.empty()) {
        if (!reader->getStartTimestamp(start))
            return error(reader->lastError());
    } else if (!parseNumber(from, start)) {
        return error("invalid value for --from-us: '" + from + "' (expected microseconds, a whole number)");
    }
    if (to.empty()) {
        if (!reader->getEndTimestamp(end))
            return error(reader->lastError());
    } else if (!parseNumber(to, end)) {
        return error("invalid value for --to-us: '" + to + "' (expected microseconds, a whole number)");
    }
    if (start > end)
        return error("--from-us must not be after --to-us");

    const bool showProgress = ::isatty(2) == 1;
    options.progress = [showProgress](double p) {
        if (showProgress)
            std::fprintf(stderr, "\rexporting %3.0f%%", p * 100.0);
        return !g_interrupted.load();
    };
    struct sigaction sa {};
    sa.sa_handler = onInterrupt;
    sigaction(SIGINT, &sa, nullptr);
    sigaction(SIGTERM, &sa, nullptr);

    VideoExporter exporter(options);
    const bool ok = exporter.exportRange(*reader, start, end, positional[1]);
    if (showProgress)
        std::fprintf(stderr, "\r%*s\r", 20, "");
    if (!ok)
        return error(exporter.lastError());
    const int w = reader->getWidth() + (reader->getWidth() & 1);
    const int h = reader->getHeight() + (reader->getHeight() & 1);
    std::printf("%s: %llu frames, %dx%d, %d fps, %.3f s\n", positional[1].c_str(),
                static_cast<unsigned long long>(exporter.framesWritten()), w, h, options.fps,
                static_cast<double>(exporter.framesWritten()) / options.fps);
    return 0;
}

const char* const kSimulateHelp =
    "usage: quorvel simulate --fusion OUT [--seconds S] [--scene NAME] [--width W] [--height H]\n"
    "                        [--seed N] [--start-us T]\n"
    "Writes a fusion recording of the simulated sensor looking at a synthetic scene (moving bars, a\n"
    "rotor, a flickering light, background activity): OUT.raw, the events (EVT 3.0); OUT.mp4, the APS\n"
    "frames of the same scene at 30 fps (H.264; frame times and the APS time offset on the event\n"
    "clock); OUT.json, the calibration mapping DVS pixels onto the 1.25 times finer, slightly shifted\n"
    "APS image. OUT may end in .raw, .mp4 or .json. Defaults: 2 s, scene default, 640x480, seed 1,\n"
    "start 0 us. Scenes: default, busy, bars, rotor, flicker, noise, static.\n";

int runSimulate(int argc, char** argv, int first) {
    FusionSimulationOptions o;
    o.fusion = false;
    std::vector<std::string> positional;
    for (int i = first; i < argc; ++i) {
        const std::string a = argv[i];
        if (a == "--fusion") {
            o.fusion = true;
            continue;
        }
        const bool valued = a == "--duration-s" || a == "--seconds" || a == "--scene" || a == "--width" || a == "--height" ||
                            a == "--seed" || a == "--start-us";
        if (valued) {
            if (i + 1 >= argc)
                return error(a + " needs a value");
            const std::string v = argv[++i];
            uint64_t n = 0;
            if (a == "--scene") {
                o.scene = v;
            } else if (a == "--duration-s" || a == "--seconds") { // --seconds as for plain simulate
                char* endp = nullptr;
                const double s = std::strtod(v.c_str(), &endp);
                if (v.empty() || *endp != '\0' || !(s > 0 && s <= 3600))
                    return error("invalid value for --duration-s: '" + v + "' (expected seconds, 0 < S <= 3600)");
                o.durationUs = static_cast<uint64_t>(std::llround(s * 1e6));
            } else if (!parseNumber(v, n)) {
                return error("invalid value for " + a + ": '" + v + "' (expected a whole number)");
            } else if (a == "--width" || a == "--height") {
                if (n < 16 || n > 4096)
                    return error(a + " must be within 16 .. 4096");
                (a == "--width" ? o.width : o.height) = static_cast<uint16_t>(n);
            } else if (a == "--seed") {
                o.seed = n;
            } else {
                o.startUs = n;
            }
        } else if (a.size() > 1 && a[0] == '-') {
            return error("unknown option '" + a + "' for simulate (see quorvel simulate --help)");
        } else {
            positional.push_back(a);
        }
    }
    if (positional.size() != 1)
        return error("simulate needs exactly one OUT");
    const bool showProgress = ::isatty(2) == 1;
    o.progress = [showProgress](double p) {
        if (showProgress)
            std::fprintf(stderr, "\rsimulating %3.0f%%", p * 100.0);
        return !g_interrupted.load();
    };
    struct sigaction sa {};
    sa.sa_handler = onInterrupt;
    sigaction(SIGINT, &sa, nullptr);
    sigaction(SIGTERM, &sa, nullptr);
    FusionSimulationResult r;
    std::string err;
    const bool ok = simulateRecording(positional[0], o, r, err);
    if (showProgress)
        std::fprintf(stderr, "\r%*s\r", 20, "");
    if (!ok)
        return error(err);
    std::printf("%llu events, %dx%d, %.3f s", static_cast<unsigned long long>(r.events), o.width, o.height,
                static_cast<double>(o.durationUs) / 1e6);
    if (o.fusion)
        std::printf("; %llu APS frames, %dx%d", static_cast<unsigned long long>(r.frames), r.apsWidth, r.apsHeight);
    std::printf("\n");
    return 0;
}

} // namespace quorvel::cli
