// quorvel: inspect, dump, cut, index and convert event recordings from the command line.
//
// Every sub-command prints a one-line error and exits non-zero on failure, and shows progress on
// stderr only when stderr is a terminal, so scripts get clean output.

#include "camera_commands.h"
#include "cli_signals.h"
#include "quorvel/DvsFileReader.h"
#include "quorvel/TemporaryFiles.h"
#include "quorvel/raw/RawFileWriter.h"
#include "quorvel/raw/RawIndex.h"

#include "cli_video.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <map>
#include <optional>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

using namespace quorvel;

namespace {

constexpr const char* kTimeNote =
    "Timestamps are the sensor's own microseconds, exactly as recorded: nothing is shifted to zero\n"
    "(some other tools shift times to the first TIME_HIGH of the file, so their numbers may differ).\n";

const char* kUsage =
    "usage: quorvel <command> [options]\n"
    "\n"
    "commands:\n"
    "  info FILE [--json]                          format, geometry, times and counts of a recording\n"
    "  dump FILE [--from-us T] [--duration-us D]   events as lines t,x,y,p\n"
    "  cut IN OUT --from-us A --to-us B            write the events A <= t <= B to a new .raw file\n"
    "  index FILE                                  build (or check) the seek index of a recording\n"
    "  convert IN OUT                              rewrite as EVT 3.0 .raw, or as .csv\n"
    "  export IN OUT --from-us A --to-us B [--fps N] [--scheme NAME]\n"
    "                                              render A <= t <= B as an H.264 .mp4 video\n"
    "%s"
    "\n"
    "Reads EVT 2.0, EVT 2.1, EVT 3.0 .raw files and .dat files. 'quorvel <command> --help' for details.\n";

const std::map<std::string, std::string> kHelp = {
    {"export", quorvel::cli::kExportHelp},
    {"simulate", quorvel::cli::kSimulateHelp},
    {"info",
     "usage: quorvel info FILE [--json]\n"
     "Prints the format, geometry, serial number, recording date, first and last event time, duration,\n"
     "event count, ON event count, trigger count and the decoding errors found (events outside the\n"
     "geometry, unknown words, time jumps of more than a day, a truncated last word). Counts come from\n"
     "the seek index, which is built on first use and kept in the cache folder ($XDG_CACHE_HOME/Quorvel,\n"
     "else ~/.cache/Quorvel; never beside the recording), so later calls answer at once.\n"
     "With --json prints one object with keys format, width, height, serial, date, first_ts, last_ts,\n"
     "duration_us, events, on_events, triggers, errors.\n"},
    {"dump",
     "usage: quorvel dump FILE [--from-us T] [--duration-us D]\n"
     "Prints one event per line as t,x,y,p (p is 1 for ON, 0 for OFF), from time T (default: the first\n"
     "event) for D microseconds (default: to the end), i.e. the events with T <= t < T + D.\n"},
    {"cut",
     "usage: quorvel cut IN OUT --from-us A --to-us B\n"
     "Writes the events with A <= t <= B (both ends included) and the triggers of that range to the new\n"
     "recording OUT. EVT 3.0 and EVT 2.0 recordings keep their format and most of the payload is copied\n"
     "unchanged; others are written as EVT 3.0. OUT only appears when the cut succeeded.\n"},
    {"index",
     "usage: quorvel index FILE\n"
     "Builds the seek index of FILE unless a current one exists, and prints where it is kept: in the\n"
     "cache folder ($XDG_CACHE_HOME/Quorvel, else ~/.cache/Quorvel), never beside the recording, or in\n"
     "memory only when that folder cannot be written. An index belongs to one version of the recording\n"
     "(its size, modification time, inode and sampled content) and is rebuilt when the recording\n"
     "changes or the index is damaged. The folder is kept under QUORVEL_INDEX_CACHE_MB megabytes\n"
     "(default 512), least recently used indexes removed first.\n"},
    {"convert",
     "usage: quorvel convert IN OUT\n"
     "Rewrites any readable recording as EVT 3.0 when OUT ends in .raw, or as text when it ends in .csv\n"
     "(a header line t,x,y,p then one event per line). Triggers are kept in .raw output.\n"},
};

struct CliError {
    std::string message;
};

[[noreturn]] void fail(const std::string& msg) { throw CliError{msg}; }

bool stderrIsTerminal() { return ::isatty(2) == 1; }

uint64_t parseUs(const std::string& opt, const std::string& v) {
    uint64_t out = 0;
    const auto r = std::from_chars(v.data(), v.data() + v.size(), out);
    if (v.empty() || r.ec != std::errc() || r.ptr != v.data() + v.size())
        fail("invalid value for " + opt + ": '" + v + "' (expected microseconds, a whole number)");
    return out;
}

struct Args {
    std::vector<std::string> positional;
    std::map<std::string, std::string> options;
    bool json = false;
};

Args parseArgs(const std::string& cmd, int argc, char** argv, int first, const std::vector<std::string>& valued,
               bool allowJson) {
    Args a;
    for (int i = first; i < argc; ++i) {
        const std::string s = argv[i];
        if (s == "--json" && allowJson) {
            a.json = true;
        } else if (std::find(valued.begin(), valued.end(), s) != valued.end()) {
            if (i + 1 >= argc)
                fail(s + " needs a value");
            a.options[s] = argv[++i];
        } else if (s.size() > 1 && s[0] == '-') {
            fail("unknown option '" + s + "' for " + cmd + " (see quorvel " + cmd + " --help)");
        } else {
            a.positional.push_back(s);
        }
    }
    return a;
}

std::unique_ptr<DvsFileReader> openReader(const std::string& path, bool backgroundIndex = true) {
    DvsFileReader::Options o;
    o.backgroundIndex = backgroundIndex;
    auto r = DvsFileReader::createFileReader(path, o);
    if (!r)
        fail("cannot read '" + path + "': " + DvsFileReader::lastCreateError());
    return r;
}

// Waits for the index, showing its progress on a terminal.
void waitIndexed(DvsFileReader& r, const char* what = "indexing") {
    if (!r.isIndexReady() && stderrIsTerminal()) {
        std::thread waiter([&] { r.waitForIndex(); });
        while (!r.isIndexReady()) {
            std::fprintf(stderr, "\r%s %3.0f%%", what, r.indexProgress() * 100.0);
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
            if (r.indexProgress() >= 1.0 && !r.isIndexReady() && !r.waitForIndex())
                break;
        }
        waiter.join();
        std::fprintf(stderr, "\r%*s\r", 20, "");
    }
    if (!r.waitForIndex())
        fail("cannot index the recording: " + r.lastError());
}

int cmdInfo(const Args& a) {
    if (a.positional.size() != 1)
        fail("info needs exactly one FILE");
    auto r = openReader(a.positional[0]);
    waitIndexed(*r);
    DvsFileStats s;
    if (!r->getFileStats(s))
        fail(r->lastError());
    const bool any = s.events > 0;
    if (a.json) {
        nlohmann::ordered_json j;
        j["format"] = r->formatName();
        j["width"] = r->getWidth();
        j["height"] = r->getHeight();
        j["serial"] = r->serialNumber();
        j["date"] = r->headerDate();
        j["first_ts"] = any ? nlohmann::ordered_json(s.firstTimestamp) : nlohmann::ordered_json(nullptr);
        j["last_ts"] = any ? nlohmann::ordered_json(s.lastTimestamp) : nlohmann::ordered_json(nullptr);
        j["duration_us"] = any ? s.lastTimestamp - s.firstTimestamp : 0;
        j["events"] = s.events;
        j["on_events"] = s.onEvents;
        j["triggers"] = s.triggers;
        j["errors"] = s.errors();
        std::printf("%s\n", j.dump(2).c_str());
        return 0;
    }
    std::printf("format:      %s\n", r->formatName().c_str());
    std::printf("geometry:    %ux%u\n", r->getWidth(), r->getHeight());
    std::printf("serial:      %s\n", r->serialNumber().empty() ? "-" : r->serialNumber().c_str());
    std::printf("date:        %s\n", r->headerDate().empty() ? "-" : r->headerDate().c_str());
    if (any) {
        std::printf("first event: %llu us\n", static_cast<unsigned long long>(s.firstTimestamp));
        std::printf("last event:  %llu us\n", static_cast<unsigned long long>(s.lastTimestamp));
        std::printf("duration:    %.6f s\n", static_cast<double>(s.lastTimestamp - s.firstTimestamp) / 1e6);
    } else {
        std::printf("first event: -\nlast event:  -\nduration:    -\n");
    }
    std::printf("events:      %llu\n", static_cast<unsigned long long>(s.events));
    std::printf("ON events:   %llu\n", static_cast<unsigned long long>(s.onEvents));
    std::printf("triggers:    %llu\n", static_cast<unsigned long long>(s.triggers));
    std::printf("errors:      %llu", static_cast<unsigned long long>(s.errors()));
    if (s.errors()) {
        std::printf(" (%llu events outside the geometry, %llu unknown words",
                    static_cast<unsigned long long>(s.invalidEvents), static_cast<unsigned long long>(s.reservedWords));
        if (s.timeJumps)
            std::printf(", %llu time jumps of more than a day, the first at byte %llu",
                        static_cast<unsigned long long>(s.timeJumps),
                        static_cast<unsigned long long>(s.firstTimeJumpOffset));
        std::printf("%s)", s.trailingBytes ? ", truncated last word" : "");
    }
    std::printf("\n");
    if (s.timeBackwards)
        std::printf("note:        %llu events came earlier than the event before them and were given its time\n",
                    static_cast<unsigned long long>(s.timeBackwards));
    return 0;
}

// Writes the decimal digits of v at p and returns the position after them.
char* putUint(char* p, uint64_t v) {
    char tmp[20];
    int n = 0;
    do {
        tmp[n++] = static_cast<char>('0' + v % 10);
        v /= 10;
    } while (v);
    while (n)
        *p++ = tmp[--n];
    return p;
}

bool writeOut(std::FILE* f, std::string& buf) {
    const bool ok = std::fwrite(buf.data(), 1, buf.size(), f) == buf.size();
    buf.clear();
    return ok;
}

// Streams the events of [from, end) through `sink`, batch by batch as the recording holds them:
// the work follows the data, not the time span a damaged file may claim.
template <typename Sink>
void forEachBatch(DvsFileReader& r, uint64_t from, uint64_t end, Sink sink) {
    if (end <= from)
        return;
    if (!r.streamEventsInRange(from, end, [&](const Event2D* b, const Event2D* e) {
            sink(b, e);
            return true;
        }))
        fail(r.lastError());
}

// Appends "t,x,y,p\n" lines; a few times faster than printf for millions of events.
void appendEvents(std::string& out, const Event2D* b, const Event2D* e) {
    char line[64];
    for (; b != e; ++b) {
        char* p = putUint(line, b->timestamp);
        *p++ = ',';
        p = putUint(p, b->x);
        *p++ = ',';
        p = putUint(p, b->y);
        *p++ = ',';
        *p++ = b->polarity ? '1' : '0';
        *p++ = '\n';
        out.append(line, static_cast<size_t>(p - line));
    }
}

int cmdDump(const Args& a) {
    if (a.positional.size() != 1)
        fail("dump needs exactly one FILE");
    const std::optional<uint64_t> fromOpt =
        a.options.count("--from-us") ? std::optional(parseUs("--from-us", a.options.at("--from-us"))) : std::nullopt;
    const uint64_t duration =
        a.options.count("--duration-us") ? parseUs("--duration-us", a.options.at("--duration-us")) : UINT64_MAX;
    auto r = openReader(a.positional[0], false);
    uint64_t from = 0;
    if (fromOpt)
        from = *fromOpt;
    else if (!r->getStartTimestamp(from))
        return 0; // no events at all
    std::string buf;
    buf.reserve(1 << 20);
    forEachBatch(*r, from, duration > UINT64_MAX - from ? UINT64_MAX : from + duration, [&](const Event2D* b, const Event2D* e) {
        appendEvents(buf, b, e);
        if (buf.size() > (1u << 20) && !writeOut(stdout, buf))
            fail("cannot write the output");
    });
    if (!writeOut(stdout, buf) || std::fflush(stdout) != 0)
        fail("cannot write the output");
    return 0;
}

int cmdCut(const Args& a) {
    if (a.positional.size() != 2)
        fail("cut needs IN and OUT");
    if (!a.options.count("--from-us") || !a.options.count("--to-us"))
        fail("cut needs --from-us and --to-us");
    const uint64_t from = parseUs("--from-us", a.options.at("--from-us"));
    const uint64_t to = parseUs("--to-us", a.options.at("--to-us"));
    if (from > to)
        fail("--from-us must not be after --to-us");
    auto r = openReader(a.positional[0]);
    if (!r->exportRawRange(from, to, a.positional[1]))
        fail(r->lastError());
    return 0;
}

int cmdIndex(const Args& a) {
    if (a.positional.size() != 1)
        fail("index needs exactly one FILE");
    // No background indexing here: on a small file it could finish before the check below, which
    // must tell whether a saved index was found.
    auto r = openReader(a.positional[0], false);
    const bool existed = r->isIndexReady();
    waitIndexed(*r);
    DvsFileStats s;
    r->getFileStats(s);
    const std::string where = r->indexPath();
    if (where.empty()) {
        const std::string dir = RawIndex::cacheDir();
        std::printf("index built: kept in memory only, %s (%llu events)\n",
                    dir.empty() ? "there is no cache folder" : ("the cache folder " + dir + " cannot be written").c_str(),
                    static_cast<unsigned long long>(s.events));
    } else {
        std::printf("%s %s (%llu events)\n", existed ? "index up to date:" : "index built:", where.c_str(),
                    static_cast<unsigned long long>(s.events));
    }
    return 0;
}

int cmdConvert(const Args& a) {
    if (a.positional.size() != 2)
        fail("convert needs IN and OUT");
    const std::string& out = a.positional[1];
    const auto endsWith = [&](const char* ext) {
        const size_t n = std::strlen(ext);
        return out.size() >= n && std::equal(out.end() - static_cast<ptrdiff_t>(n), out.end(), ext,
                                             [](char x, char y) { return std::tolower(x) == y; });
    };
    const bool csv = endsWith(".csv");
    if (!csv && !endsWith(".raw"))
        fail("OUT must end in .raw or .csv");
    auto r = openReader(a.positional[0]);
    uint64_t first = 0, last = 0;
    waitIndexed(*r);
    if (!r->getStartTimestamp(first) || !r->getEndTimestamp(last)) {
        first = 0;
        last = 0;
    }
    const uint64_t end = last == UINT64_MAX ? last : last + 1;
    const bool progress = stderrIsTerminal();
    auto showProgress = [&](uint64_t t) {
        if (progress && last > first)
            std::fprintf(stderr, "\rconverting %3.0f%%",
                         100.0 * static_cast<double>(std::min(t, last) - first) / static_cast<double>(last - first));
    };
    if (csv) {
        const std::string tmp = out + ".part";
        TemporaryFileGuard listed(tmp); // removed by the signal handler should we be interrupted
        std::FILE* f = std::fopen(tmp.c_str(), "wb");
        if (!f)
            fail("cannot create '" + tmp + "': " + std::strerror(errno));
        std::string buf = "t,x,y,p\n";
        bool ok = true;
        try {
            forEachBatch(*r, first, end, [&](const Event2D* b, const Event2D* e) {
                appendEvents(buf, b, e);
                if (buf.size() > (1u << 20))
                    ok = ok && writeOut(f, buf);
                showProgress(e[-1].timestamp);
            });
        } catch (...) {
            std::fclose(f);
            std::remove(tmp.c_str());
            throw;
        }
        ok = writeOut(f, buf) && ok;
        ok = std::fclose(f) == 0 && ok;
        if (!ok || std::rename(tmp.c_str(), out.c_str()) != 0) {
            std::remove(tmp.c_str());
            fail("cannot write '" + out + "': " + std::strerror(errno));
        }
    } else {
        std::vector<EventTriggerIn> triggers;
        try {
            triggers = r->getTriggerList();
        } catch (const std::exception&) {
            // no trigger records
        }
        // Trigger edges keep the clock's time, which may step back: write them in time order.
        std::stable_sort(triggers.begin(), triggers.end(), [](const auto& x, const auto& y) { return x.timestamp < y.timestamp; });
        uint32_t w = r->getWidth(), h = r->getHeight();
        if (w == 0 || h == 0) { // a DAT file without geometry: fit the events
            uint32_t mx = 0, my = 0;
            forEachBatch(*r, first, end, [&](const Event2D* b, const Event2D* e) {
                for (; b != e; ++b) {
                    mx = std::max<uint32_t>(mx, b->x);
                    my = std::max<uint32_t>(my, b->y);
                }
            });
            w = mx + 1;
            h = my + 1;
            if (w > 2048 || h > 2048)
                fail("events beyond 2048x2048 cannot be written as EVT 3.0");
        }
        RawFileWriter writer;
        RawFileWriter::Options o;
        o.width = w;
        o.height = h;
        o.serial = r->serialNumber();
        o.atomic = true;
        DvsFileInfo info;
        if (r->getFileInfo(info) && info.startTime.time_since_epoch().count() != 0)
            o.startTime = std::chrono::time_point_cast<std::chrono::system_clock::duration>(info.startTime);
        if (!writer.open(out, o))
            fail(writer.lastError());
        // Each batch goes with the trigger edges up to its last event's time.
        size_t ti = 0;
        forEachBatch(*r, first, end, [&](const Event2D* b, const Event2D* e) {
            const size_t from = ti;
            while (ti < triggers.size() && triggers[ti].timestamp <= e[-1].timestamp)
                ++ti;
            if (!writer.write(b, e, triggers.data() + from, triggers.data() + ti)) {
                writer.abort();
                fail(writer.lastError());
            }
            showProgress(e[-1].timestamp);
        });
        if (!writer.write(nullptr, nullptr, triggers.data() + ti, triggers.data() + triggers.size()) || !writer.close()) {
            writer.abort();
            fail(writer.lastError());
        }
    }
    if (progress)
        std::fprintf(stderr, "\r%*s\r", 20, "");
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, kUsage, kCameraCommandsUsage);
        return 2;
    }
    const std::string cmd = argv[1];
    if (cmd == "--version") {
        std::printf("quorvel %s\n", QV_VERSION);
        return 0;
    }
    // Interrupted, a command leaves no half-written output under a temporary name behind.
    quorvel::cli::removeTemporaryFilesOnSignals();
    if (cmd == "--help" || cmd == "-h" || cmd == "help") {
        std::fprintf(stdout, kUsage, kCameraCommandsUsage);
        std::fputs("\n", stdout);
        std::fputs(kTimeNote, stdout);
        return 0;
    }
    if (const auto rc = runCameraCommand(argc, argv))
        return *rc;
    const auto help = kHelp.find(cmd);
    if (help == kHelp.end()) {
        std::fprintf(stderr, "quorvel: error: unknown command '%s' (see quorvel --help)\n", cmd.c_str());
        return 2;
    }
    for (int i = 2; i < argc; ++i)
        if (std::strcmp(argv[i], "--help") == 0 || std::strcmp(argv[i], "-h") == 0) {
            std::fputs(help->second.c_str(), stdout);
            std::fputs(kTimeNote, stdout);
            return 0;
        }
    try {
        if (cmd == "info")
            return cmdInfo(parseArgs(cmd, argc, argv, 2, {}, true));
        if (cmd == "dump")
            return cmdDump(parseArgs(cmd, argc, argv, 2, {"--from-us", "--duration-us"}, false));
        if (cmd == "cut")
            return cmdCut(parseArgs(cmd, argc, argv, 2, {"--from-us", "--to-us"}, false));
        if (cmd == "export")
            return quorvel::cli::runExport(argc, argv, 2);
        if (cmd == "simulate")
            return quorvel::cli::runSimulate(argc, argv, 2);
        if (cmd == "index")
            return cmdIndex(parseArgs(cmd, argc, argv, 2, {}, false));
        return cmdConvert(parseArgs(cmd, argc, argv, 2, {}, false));
    } catch (const CliError& e) {
        std::fprintf(stderr, "quorvel: error: %s\n", e.message.c_str());
        return 1;
    } catch (const std::exception& e) {
        std::fprintf(stderr, "quorvel: error: %s\n", e.what());
        return 1;
    }
}
