#include "SyntheticStream.h"

#include "Xorshift.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace quorvel::test {

void generateStream(const StreamParams& p, size_t batchEvents,
                    const std::function<void(const std::vector<Event2D>&, const std::vector<EventTriggerIn>&)>& sink) {
    Xorshift rng(p.seed);
    std::vector<Event2D> ev;
    std::vector<EventTriggerIn> tr;
    ev.reserve(batchEvents + 64);
    const uint64_t end = p.startUs + p.durationUs;
    uint64_t nextTrigger = p.triggerPeriodUs ? p.startUs + p.triggerPeriodUs / 2 : UINT64_MAX;
    int16_t trigLevel = 1;
    auto triggersBefore = [&](uint64_t limit) { // square wave on channel 0, edges before `limit`
        for (; nextTrigger < limit; nextTrigger += p.triggerPeriodUs, trigLevel ^= 1)
            tr.emplace_back(static_cast<int16_t>(0), trigLevel, nextTrigger);
    };
    double t = static_cast<double>(p.startUs);
    while (t < static_cast<double>(end)) {
        const uint64_t ts = static_cast<uint64_t>(t);
        triggersBefore(ts + 1);
        const bool dense = ((ts - p.startUs) / p.periodUs) % 2 == 0;
        const double rate = dense ? p.denseRate : p.sparseRate;
        uint32_t emitted = 0;
        if (!(p.gapUs && ts >= p.gapAtUs && ts < p.gapAtUs + p.gapUs)) {
            if (rng.unit() < p.rowShare) {
                // A moving edge: a segment of one row, mostly contiguous, one polarity.
                const uint32_t y = rng.below(p.height);
                const uint32_t len = 8 + rng.below(40);
                const uint32_t x0 = rng.below(p.width > len ? p.width - len : 1);
                const uint8_t pol = static_cast<uint8_t>(rng.below(2));
                for (uint32_t i = 0; i < len && x0 + i < p.width; ++i)
                    if (rng.below(10) < 7) {
                        ev.emplace_back(static_cast<uint16_t>(x0 + i), static_cast<uint16_t>(y), pol, ts);
                        ++emitted;
                    }
            } else {
                const uint32_t n = 1 + rng.below(3);
                for (uint32_t i = 0; i < n; ++i)
                    ev.emplace_back(static_cast<uint16_t>(rng.below(p.width)), static_cast<uint16_t>(rng.below(p.height)),
                                    static_cast<uint8_t>(rng.below(2)), ts);
                emitted = n;
            }
        }
        // Advance time so that the average rate holds; at least one cluster per µs step.
        const double per = std::max<double>(emitted, 1.0);
        t += per / rate * 1e6;
        if (ev.size() >= batchEvents) {
            sink(ev, tr);
            ev.clear();
            tr.clear();
        }
    }
    triggersBefore(end);
    if (!ev.empty() || !tr.empty())
        sink(ev, tr);
}

void generateAll(const StreamParams& p, std::vector<Event2D>& events, std::vector<EventTriggerIn>& triggers) {
    events.clear();
    triggers.clear();
    generateStream(p, 1 << 16, [&](const std::vector<Event2D>& e, const std::vector<EventTriggerIn>& t) {
        events.insert(events.end(), e.begin(), e.end());
        triggers.insert(triggers.end(), t.begin(), t.end());
    });
}

namespace {
void put32(std::string& s, uint32_t w) { s.append(reinterpret_cast<const char*>(&w), 4); }

// Merges events and triggers by time, calling the matching callback (trigger first on ties).
template <typename FE, typename FT>
void merged(const std::vector<Event2D>& ev, const std::vector<EventTriggerIn>& tr, FE onEvent, FT onTrigger) {
    size_t i = 0, j = 0;
    while (i < ev.size() || j < tr.size()) {
        if (j < tr.size() && (i == ev.size() || tr[j].timestamp <= ev[i].timestamp))
            onTrigger(tr[j++]);
        else
            onEvent(ev[i++]);
    }
}
} // namespace

std::string encodeEvt2(const std::vector<Event2D>& ev, const std::vector<EventTriggerIn>& tr) {
    std::string s;
    uint64_t th = UINT64_MAX;
    auto high = [&](uint64_t t) {
        if ((t >> 6) != th) {
            th = t >> 6;
            put32(s, 0x80000000u | static_cast<uint32_t>(th & 0x0FFFFFFF));
        }
    };
    merged(ev, tr,
           [&](const Event2D& e) {
               high(e.timestamp);
               put32(s, (uint32_t{e.polarity} << 28) | static_cast<uint32_t>((e.timestamp & 63) << 22) |
                            (uint32_t{e.x} << 11) | e.y);
           },
           [&](const EventTriggerIn& t) {
               high(t.timestamp);
               put32(s, 0xA0000000u | static_cast<uint32_t>((t.timestamp & 63) << 22) |
                            (static_cast<uint32_t>(t.id) << 8) | static_cast<uint32_t>(t.polarity));
           });
    return s;
}

std::string encodeEvt21(const std::vector<Event2D>& ev, const std::vector<EventTriggerIn>& tr, bool legacy) {
    std::string s;
    auto put64 = [&](uint64_t w) {
        if (legacy) {
            put32(s, static_cast<uint32_t>(w >> 32));
            put32(s, static_cast<uint32_t>(w));
        } else {
            s.append(reinterpret_cast<const char*>(&w), 8);
        }
    };
    uint64_t th = UINT64_MAX;
    auto high = [&](uint64_t t) {
        if ((t >> 6) != th) {
            th = t >> 6;
            put64((uint64_t{0x8} << 60) | ((th & 0x0FFFFFFF) << 32));
        }
    };
    // Group events of one time, row, polarity and 32-aligned block into one vector word, as long
    // as x keeps increasing (the decoder emits a word's events in increasing x).
    size_t i = 0;
    size_t j = 0;
    while (i < ev.size() || j < tr.size()) {
        if (j < tr.size() && (i == ev.size() || tr[j].timestamp <= ev[i].timestamp)) {
            const auto& t = tr[j++];
            high(t.timestamp);
            put64((uint64_t{0xA} << 60) | ((t.timestamp & 63) << 54) | (uint64_t(t.id & 0x1F) << 40) |
                  (uint64_t(t.polarity & 1) << 32));
            continue;
        }
        const Event2D& e = ev[i];
        high(e.timestamp);
        const uint32_t base = e.x & ~31u;
        uint32_t mask = 0;
        int lastX = -1;
        size_t k = i;
        while (k < ev.size() && ev[k].timestamp == e.timestamp && ev[k].y == e.y && ev[k].polarity == e.polarity &&
               (ev[k].x & ~31u) == base && static_cast<int>(ev[k].x) > lastX) {
            mask |= 1u << (ev[k].x - base);
            lastX = ev[k].x;
            ++k;
        }
        i = k;
        put64((uint64_t(e.polarity) << 60) | ((e.timestamp & 63) << 54) | (uint64_t(base) << 43) |
              (uint64_t(e.y) << 32) | mask);
    }
    return s;
}

std::string encodeDat(const std::vector<Event2D>& ev) {
    std::string s;
    for (const auto& e : ev) {
        put32(s, static_cast<uint32_t>(e.timestamp));
        put32(s, uint32_t{e.x} | (uint32_t{e.y} << 14) | (uint32_t{e.polarity} << 28));
    }
    return s;
}

void writeFile(const std::string& path, const std::string& bytes) {
    std::ofstream f(path, std::ios::binary | std::ios::trunc);
    f.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    if (!f)
        throw std::runtime_error("cannot write " + path);
}

std::string readFileBytes(const std::string& path) {
    std::ifstream f(path, std::ios::binary);
    std::ostringstream ss;
    ss << f.rdbuf();
    return ss.str();
}

TempDir::TempDir() {
    std::string tmpl = (std::filesystem::temp_directory_path() / "qvtest-XXXXXX").string();
    if (!::mkdtemp(tmpl.data()))
        throw std::runtime_error("mkdtemp failed");
    path = tmpl;
}

TempDir::~TempDir() {
    std::error_code ec;
    std::filesystem::remove_all(path, ec);
}

std::string samplesDir() {
    std::string dir;
    if (const char* env = std::getenv("QUORVEL_SAMPLES_DIR"); env && *env)
        dir = env;
#ifdef QV_SAMPLES_DIR
    else
        dir = QV_SAMPLES_DIR;
#endif
    std::error_code ec;
    if (dir.empty() || !std::filesystem::is_directory(dir, ec))
        return {};
    return dir;
}

} // namespace quorvel::test
