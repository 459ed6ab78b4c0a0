// quorvel cameras | record | simulate: list cameras, record one, or make a recording offline from
// the simulated sensor. Errors are one line on stderr and a non-zero exit code.

#include "camera_commands.h"

#include "cli_signals.h"
#include "quorvel/DvsCameraManager.h"
#include "quorvel/TemporaryFiles.h"
#include "quorvel/VirtualCameras.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <map>
#include <set>
#include <string>
#include <thread>
#include <vector>

using namespace quorvel;

const char* const kCameraCommandsUsage =
    "  cameras [--json]                            list the cameras (simulated, replayed, attached)\n"
    "  record SERIAL OUT [--seconds N] [--set T.P=V] record a camera to a .raw file (Ctrl+C ends it)\n"
    "  simulate OUT --seconds N [--scene S]        make a .raw recording from the simulated sensor\n";

namespace {

const std::map<std::string, std::string> kHelp = {
    {"cameras",
     "usage: quorvel cameras [--json]\n"
     "Lists every camera the SDK can reach: the simulated DVS and fusion cameras (hidden when\n"
     "QUORVEL_VIRTUAL_CAMERAS=0), recordings named in QUORVEL_REPLAY (paths separated by ':' or ',')\n"
     "replayed as live cameras, and attached cameras. With --json prints an array of objects with keys\n"
     "serial, product, manufacturer, interface (1 = network), ip, local_ip, mask, gateway, firmware,\n"
     "width, height.\n"},
    {"record",
     "usage: quorvel record SERIAL OUT.raw [--seconds N] [--set TOOL.PARAM=VALUE]... [--cache-seconds S]\n"
     "                      [--queue-mb M] [--verbose] [--fail-on-loss]\n"
     "Opens the camera, applies each --set (TOOL is a configuration section such as Biases, ROI,\n"
     "AntiFlicker, EventRateControl, EventTrailFilter, TirggerIn, APS, case-insensitive; PARAM a\n"
     "parameter name; VALUE a number, true/false or an option text), streams and records N seconds\n"
     "(fractions allowed) into OUT.raw (EVT 3.0), or without --seconds until Ctrl+C, SIGTERM or\n"
     "SIGHUP. A signal ends the recording like the end of its time: every event received is\n"
     "written, the file closed and the summary printed (exit 0); a second signal ends at once.\n"
     "The file is made durable four times a second, so a kill or power cut loses at most the last\n"
     "half second. With --cache-seconds the camera first fills its pre-trigger cache for S seconds\n"
     "and the file starts S seconds before the recording does.\n"
     "Prints the number of events written, then what the stream lost: events and packets, and each\n"
     "gap with its time span in sensor microseconds and where it happened (camera: its readout\n"
     "overflowed; network: packets that never arrived; recording: the disk was slower than the\n"
     "stream and the writer's queue of M MB, default 128, was full). --verbose reports losses as\n"
     "they happen and the progress once a second on stderr; --fail-on-loss exits with 3 when\n"
     "anything was lost.\n"},
    {"simulate",
     "usage: quorvel simulate OUT.raw --seconds N [--scene NAME] [--geometry WxH] [--seed S]\n"
     "                        [--flicker-hz F] [--rate EV_PER_S] [--set TOOL.PARAM=VALUE]...\n"
     "Runs the simulated sensor offline (as fast as it can) for N seconds of sensor time and writes\n"
     "what it sees, after its tools, into OUT.raw (EVT 3.0). Scenes: default, busy, bars, rotor,\n"
     "flicker, noise, static, and stress (a fixed-rate generator of --rate events a second, default\n"
     "100000000). Geometry defaults to 640x480. The same seed gives the same file content.\n"
     "With --fusion it writes a fusion recording instead (OUT.raw, OUT.mp4, OUT.json); see\n"
     "'quorvel simulate --fusion --help'.\n"},
};

struct Fail {
    std::string message;
};

struct CmdArgs {
    std::vector<std::string> positional;
    std::map<std::string, std::string> options;
    std::vector<std::string> sets;
    std::set<std::string> flags;
    bool json = false;
};

CmdArgs parse(const std::string& cmd, int argc, char** argv, const std::vector<std::string>& valued, bool allowJson,
              const std::vector<std::string>& flags = {}) {
    CmdArgs a;
    for (int i = 2; i < argc; ++i) {
        const std::string s = argv[i];
        if (s == "--json" && allowJson) {
            a.json = true;
        } else if (std::find(flags.begin(), flags.end(), s) != flags.end()) {
            a.flags.insert(s);
        } else if (s == "--set" || std::find(valued.begin(), valued.end(), s) != valued.end()) {
            if (i + 1 >= argc)
                throw Fail{s + " needs a value"};
            if (s == "--set")
                a.sets.push_back(argv[++i]);
            else
                a.options[s] = argv[++i];
        } else if (s.size() > 1 && s[0] == '-') {
            throw Fail{"unknown option '" + s + "' for " + cmd + " (see quorvel " + cmd + " --help)"};
        } else {
            a.positional.push_back(s);
        }
    }
    return a;
}

double parseSeconds(const std::string& v) {
    char* end = nullptr;
    const double s = std::strtod(v.c_str(), &end);
    if (v.empty() || *end != '\0' || !(s > 0) || s > 86400)
        throw Fail{"invalid value for --seconds: '" + v + "' (expected a positive number of seconds)"};
    return s;
}

uint64_t parseUnsigned(const std::string& opt, const std::string& v) {
    uint64_t out = 0;
    const auto r = std::from_chars(v.data(), v.data() + v.size(), out);
    if (v.empty() || r.ec != std::errc() || r.ptr != v.data() + v.size())
        throw Fail{"invalid value for " + opt + ": '" + v + "' (expected a whole number)"};
    return out;
}

std::string lower(std::string s) {
    for (char& c : s)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return s;
}

/// Applies one TOOL.PARAM=VALUE to a camera.
void applySet(DvsCamera& cam, const std::string& text) {
    const size_t dot = text.find('.'), eq = text.find('=');
    if (dot == std::string::npos || eq == std::string::npos || eq < dot)
        throw Fail{"invalid --set '" + text + "' (expected TOOL.PARAM=VALUE)"};
    const std::string toolName = lower(text.substr(0, dot)), param = text.substr(dot + 1, eq - dot - 1),
                      value = text.substr(eq + 1);
    std::shared_ptr<CameraTool> tool;
    for (int t = TOOL_BIASES; t <= TOOL_APS; ++t)
        if (lower(toolSectionKey(static_cast<ToolType>(t))) == toolName && *toolSectionKey(static_cast<ToolType>(t)))
            tool = cam.getTool(static_cast<ToolType>(t));
    if (!tool)
        throw Fail{"camera has no tool '" + text.substr(0, dot) + "'"};
    std::map<std::string, BasicParameterInfo> infos;
    tool->getAllParamsInfo(infos);
    const auto it = infos.find(param);
    if (it == infos.end())
        throw Fail{"tool '" + text.substr(0, dot) + "' has no parameter '" + param + "'"};
    bool ok = false;
    switch (it->second.type) {
    case ParameterType::Int: {
        int v = 0;
        const auto r = std::from_chars(value.data(), value.data() + value.size(), v);
        if (r.ec != std::errc() || r.ptr != value.data() + value.size())
            throw Fail{"'" + param + "' needs an integer, not '" + value + "'"};
        ok = tool->setIntParam(param, v);
        break;
    }
    case ParameterType::Float: {
        char* end = nullptr;
        const float v = std::strtof(value.c_str(), &end);
        if (value.empty() || *end != '\0')
            throw Fail{"'" + param + "' needs a number, not '" + value + "'"};
        ok = tool->setFloatParam(param, v);
        break;
    }
    case ParameterType::Bool:
        if (value != "true" && value != "false" && value != "1" && value != "0")
            throw Fail{"'" + param + "' needs true or false, not '" + value + "'"};
        ok = tool->setBoolParam(param, value == "true" || value == "1");
        break;
    default:
        ok = tool->setEnumParam(param, value);
        break;
    }
    if (!ok)
        throw Fail{"the camera refused " + text + " (out of range, unknown option, or an ROI outside the sensor)"};
}

int cmdCameras(const CmdArgs& a) {
    if (!a.positional.empty())
        throw Fail{"cameras takes no arguments"};
    DvsCameraManager m;
    const auto list = m.getCameraDescs();
    if (a.json) {
        nlohmann::json arr = nlohmann::json::array();
        for (const auto& d : list)
            arr.push_back({{"serial", d.serial},
                           {"product", d.product},
                           {"manufacturer", d.manufacturer},
                           {"interface", d.interfaceType},
                           {"ip", d.ip},
                           {"local_ip", d.localIp},
                           {"mask", d.mask},
                           {"gateway", d.gateway},
                           {"firmware", d.firmware},
                           {"width", d.width},
                           {"height", d.height}});
        std::printf("%s\n", arr.dump(2).c_str());
        return 0;
    }
    if (list.empty()) {
        std::printf("no cameras found\n");
        return 0;
    }
    static const char* kinds[] = {"usb", "network", "virtual"};
    for (const auto& d : list) {
        const char* kind = d.interfaceType >= 0 && d.interfaceType <= 2 ? kinds[d.interfaceType] : "other";
        std::printf("%-20s %-10s %-10s %-8s %4ux%-4u %s%s%s\n", d.serial.c_str(), d.product.c_str(),
                    d.manufacturer.c_str(), kind, d.width, d.height, d.firmware.c_str(), d.ip.empty() ? "" : " ip ",
                    d.ip.c_str());
    }
    return 0;
}

int finishRecording(DvsCamera& cam, const std::string& out) {
    if (!cam.stopRecording())
        throw Fail{cam.lastError()}; // "recording 'OUT' failed: why"
    std::printf("wrote %llu events to %s\n", static_cast<unsigned long long>(cam.lastRecordingEventCount()),
                out.c_str());
    return 0;
}

std::string gapText(const LossGap& g) {
    char buf[160];
    std::snprintf(buf, sizeof buf, "%llu..%llu us (%s): %llu events", static_cast<unsigned long long>(g.fromUs),
                  static_cast<unsigned long long>(g.toUs), lossPlaceName(g.place),
                  static_cast<unsigned long long>(g.events));
    std::string s = buf;
    if (g.packets)
        s += " in " + std::to_string(g.packets) + " packets";
    return s;
}

/// What the recording misses: one summary line and one line per gap.
void printLoss(const StreamLoss& l) {
    std::printf("lost: %llu events, %llu packets", static_cast<unsigned long long>(l.recordingLostEvents()),
                static_cast<unsigned long long>(l.networkPackets));
    if (l.any()) {
        std::printf(" (camera %llu, network %llu, recording %llu events) in %llu gaps",
                    static_cast<unsigned long long>(l.cameraEvents), static_cast<unsigned long long>(l.networkEvents),
                    static_cast<unsigned long long>(l.recordingEvents), static_cast<unsigned long long>(l.gapCount));
    }
    std::printf("\n");
    constexpr size_t kShown = 20;
    size_t shown = 0;
    for (const LossGap& g : l.gaps) {
        if (g.place == LossPlace::Queue)
            continue; // the polling queue is off while recording
        if (shown++ == kShown)
            break;
        std::printf("  gap %s\n", gapText(g).c_str());
    }
    if (l.gapCount > shown && shown > kShown)
        std::printf("  ... and %llu more gaps\n", static_cast<unsigned long long>(l.gapCount - kShown));
}

int cmdRecord(const CmdArgs& a) {
    using Clock = std::chrono::steady_clock;
    if (a.positional.size() != 2)
        throw Fail{"record needs SERIAL and OUT (see quorvel record --help)"};
    // Without --seconds the recording runs until a signal ends it.
    const double seconds = a.options.count("--seconds") ? parseSeconds(a.options.at("--seconds")) : 0;
    const uint64_t cacheSeconds =
        a.options.count("--cache-seconds") ? parseUnsigned("--cache-seconds", a.options.at("--cache-seconds")) : 0;
    if (cacheSeconds > 3600)
        throw Fail{"--cache-seconds is at most 3600"};
    const uint64_t queueMb = a.options.count("--queue-mb") ? parseUnsigned("--queue-mb", a.options.at("--queue-mb")) : 128;
    if (queueMb < 1 || queueMb > 65536)
        throw Fail{"--queue-mb must be within 1 .. 65536"};
    const bool verbose = a.flags.count("--verbose") > 0;
    const bool failOnLoss = a.flags.count("--fail-on-loss") > 0;
    cli::catchStopSignals();
    DvsCameraManager m;
    auto cam = m.openCamera(a.positional[0]);
    if (!cam)
        throw Fail{"cannot open camera '" + a.positional[0] + "': " + DvsCameraManager::lastError()};
    for (const auto& s : a.sets)
        applySet(*cam, s);
    // Nothing here polls the camera: its polling queue would only hold memory.
    cam->setEventQueueLimit(0);
    cam->setRecordingQueueLimit(queueMb << 20);
    if (cacheSeconds)
        cam->setCacheTime(static_cast<uint16_t>(cacheSeconds), "/tmp");
    if (cam->start() != 0)
        throw Fail{"cannot start camera '" + a.positional[0] + "': " + cam->lastError()};
    const auto stopped = [] { return cli::stopSignal() != 0; };
    for (const auto until = Clock::now() + std::chrono::seconds(cacheSeconds); Clock::now() < until && !stopped();)
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    if (stopped()) {
        cam->stop();
        std::fprintf(stderr, "quorvel: %s before the recording began; nothing written\n",
                     cli::signalName(cli::stopSignal()));
        return 0;
    }
    if (!cam->startRecording(a.positional[1])) {
        cam->stop();
        throw Fail{"cannot record to '" + a.positional[1] + "': " + cam->lastError()};
    }
    const auto t0 = Clock::now();
    const auto end = t0 + std::chrono::duration<double>(seconds > 0 ? seconds : 1e9);
    auto nextReport = t0 + std::chrono::seconds(1);
    uint64_t gapsShown = 0;
    while (Clock::now() < end && !stopped() && cam->isRecording() && cam->isConnected()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        if (!verbose)
            continue;
        const StreamLoss l = cam->getStreamLoss();
        for (; gapsShown < l.gaps.size(); ++gapsShown)
            if (l.gaps[gapsShown].place != LossPlace::Queue)
                std::fprintf(stderr, "quorvel: lost %s\n", gapText(l.gaps[gapsShown]).c_str());
        if (Clock::now() >= nextReport) {
            nextReport += std::chrono::seconds(1);
            std::fprintf(stderr, "quorvel: %.0f s recorded, %llu events lost\n",
                         std::chrono::duration<double>(Clock::now() - t0).count(),
                         static_cast<unsigned long long>(l.recordingLostEvents()));
        }
    }
    if (stopped())
        std::fprintf(stderr, "quorvel: %s: ending the recording\n", cli::signalName(cli::stopSignal()));
    // A camera that went away: its stream drains what already arrived and counts what the camera
    // said it had sent but never came, then ends by itself.
    for (int i = 0; i < 100 && !cam->isConnected() && cam->isStreaming(); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    // The stream stops first, so every event received so far reaches the file.
    cam->stop();
    const bool lost = !cam->isConnected();
    const int rc = finishRecording(*cam, a.positional[1]);
    const StreamLoss l = cam->getStreamLoss();
    printLoss(l);
    std::fflush(stdout);
    if (lost)
        throw Fail{"camera '" + a.positional[0] + "' was lost during the recording: " + cam->lastError()};
    if (failOnLoss && l.recordingLostEvents() > 0) {
        std::fprintf(stderr, "quorvel: error: %llu events were lost (--fail-on-loss)\n",
                     static_cast<unsigned long long>(l.recordingLostEvents()));
        return 3;
    }
    return rc;
}

int cmdSimulate(const CmdArgs& a) {
    if (a.positional.size() != 1)
        throw Fail{"simulate needs OUT (see quorvel simulate --help)"};
    if (!a.options.count("--seconds"))
        throw Fail{"simulate needs --seconds N"};
    SimulatedCameraOptions o;
    o.realtime = false;
    o.durationUs = static_cast<uint64_t>(parseSeconds(a.options.at("--seconds")) * 1e6);
    o.serial = "QVSIM-OFFLINE";
    if (a.options.count("--scene"))
        o.scene = a.options.at("--scene");
    if (a.options.count("--seed"))
        o.seed = parseUnsigned("--seed", a.options.at("--seed"));
    if (a.options.count("--rate"))
        o.stressEventsPerSecond = parseUnsigned("--rate", a.options.at("--rate"));
    if (a.options.count("--flicker-hz")) {
        char* end = nullptr;
        const std::string& v = a.options.at("--flicker-hz");
        o.flickerHz = std::strtof(v.c_str(), &end);
        if (v.empty() || *end != '\0' || !(o.flickerHz > 0) || o.flickerHz > 100000)
            throw Fail{"invalid value for --flicker-hz: '" + v + "'"};
    }
    if (a.options.count("--geometry")) {
        const std::string& g = a.options.at("--geometry");
        const size_t x = g.find('x');
        if (x == std::string::npos)
            throw Fail{"invalid --geometry '" + g + "' (expected WxH, e.g. 1280x720)"};
        const uint64_t w = parseUnsigned("--geometry", g.substr(0, x)), h = parseUnsigned("--geometry", g.substr(x + 1));
        if (w == 0 || h == 0 || w > 2048 || h > 2048)
            throw Fail{"invalid --geometry '" + g + "' (1 .. 2048 each)"};
        o.width = static_cast<uint16_t>(w);
        o.height = static_cast<uint16_t>(h);
    }
    std::string error;
    auto cam = createSimulatedCamera(o, error);
    if (!cam) {
        std::string names;
        for (const auto& n : simulatedSceneNames())
            names += (names.empty() ? "" : ", ") + n;
        throw Fail{error + " (scenes: " + names + ")"};
    }
    for (const auto& s : a.sets)
        applySet(*cam, s);
    // An interrupted simulation leaves no partial file behind (the signal handler removes it).
    TemporaryFileGuard unfinished(a.positional[0]);
    if (!cam->startRecording(a.positional[0]))
        throw Fail{"cannot write '" + a.positional[0] + "': " + cam->lastError()};
    if (cam->start() != 0)
        throw Fail{"cannot start the simulation: " + cam->lastError()};
    while (cam->isStreaming() && cam->isRecording())
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    cam->stop();
    const int rc = finishRecording(*cam, a.positional[0]);
    unfinished.release();
    return rc;
}

} // namespace

std::optional<int> runCameraCommand(int argc, char** argv) {
    if (argc < 2)
        return std::nullopt;
    const std::string cmd = argv[1];
    const auto help = kHelp.find(cmd);
    if (help == kHelp.end())
        return std::nullopt;
    // A fusion recording (events with APS video and calibration) is made by the video commands.
    if (cmd == "simulate")
        for (int i = 2; i < argc; ++i)
            if (std::strcmp(argv[i], "--fusion") == 0)
                return std::nullopt;
    for (int i = 2; i < argc; ++i)
        if (std::strcmp(argv[i], "--help") == 0 || std::strcmp(argv[i], "-h") == 0) {
            std::fputs(help->second.c_str(), stdout);
            return 0;
        }
    try {
        if (cmd == "cameras")
            return cmdCameras(parse(cmd, argc, argv, {}, true));
        if (cmd == "record")
            return cmdRecord(parse(cmd, argc, argv, {"--seconds", "--cache-seconds", "--queue-mb"}, false,
                                   {"--verbose", "--fail-on-loss"}));
        return cmdSimulate(
            parse(cmd, argc, argv, {"--seconds", "--scene", "--seed", "--rate", "--flicker-hz", "--geometry"}, false));
    } catch (const Fail& f) {
        std::fprintf(stderr, "quorvel: error: %s\n", f.message.c_str());
        return 1;
    }
}
