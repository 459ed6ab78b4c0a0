#include "camera/EventSource.h"

#include "quorvel/raw/RawFile.h"
#include "sim/SimulatedSensor.h"

#include <algorithm>
#include <cmath>

namespace quorvel::detail {

namespace {

class SimSource final : public EventSource {
public:
    explicit SimSource(const SensorConfig& cfg) : m_sensor(cfg) {}
    uint16_t width() const override { return m_sensor.width(); }
    uint16_t height() const override { return m_sensor.height(); }
    bool restart(uint64_t hintUs) override {
        m_sensor.reset(hintUs);
        return true;
    }
    bool next(uint32_t durationUs, std::vector<Event2D>& ev, std::vector<EventTriggerIn>& tr) override {
        const uint64_t from = m_sensor.now();
        m_sensor.generate(durationUs, ev, ev.size());
        m_sensor.triggers(from, m_sensor.now(), tr);
        return true;
    }
    uint64_t now() const override { return m_sensor.now(); }
    bool skipTo(uint64_t tUs) override {
        m_sensor.reset(tUs);
        return true;
    }
    bool hasBiases() const override { return true; }
    void setBiases(const BiasSettings& b) override { m_sensor.setBiases(b); }

private:
    SimulatedSensor m_sensor;
};

class StressSource final : public EventSource {
public:
    StressSource(uint16_t w, uint16_t h, uint64_t rate, uint64_t seed) : m_w(w), m_h(h), m_rate(rate) {
        SensorConfig cfg;
        cfg.width = w;
        cfg.height = h;
        cfg.seed = seed;
        scenePreset("busy", w, h, cfg.scene);
        SimulatedSensor sensor(cfg);
        sensor.generate(20000, m_template);
        if (m_template.empty())
            m_template.emplace_back(0, 0, 1, 0);
        m_scene = cfg.scene;
    }
    uint16_t width() const override { return m_w; }
    uint16_t height() const override { return m_h; }
    bool restart(uint64_t hintUs) override {
        m_now = hintUs;
        return true;
    }
    bool next(uint32_t durationUs, std::vector<Event2D>& ev, std::vector<EventTriggerIn>& tr) override {
        // Exactly `rate` events per second: slice i of 1 µs gets the events whose running index
        // falls in it, so the count over any span is exact and timestamps are evenly spread.
        const uint64_t from = m_now, to = m_now + durationUs;
        const uint64_t first = from * m_rate / 1000000, last = to * m_rate / 1000000;
        const size_t n = static_cast<size_t>(last - first);
        // Reserved and appended rather than resized: resizing would write every event twice.
        if (ev.capacity() < ev.size() + n)
            ev.reserve(std::max(ev.size() + n, ev.capacity() * 2));
        const size_t T = m_template.size();
        size_t pos = static_cast<size_t>(first % T);
        // Event k's time is k * 1e6 / rate; stepped with a remainder instead of a division each.
        const uint64_t step = 1000000 / m_rate, stepRem = 1000000 % m_rate;
        uint64_t t = first * 1000000 / m_rate, rem = first * 1000000 % m_rate;
        for (size_t i = 0; i < n; ++i) {
            Event2D e = m_template[pos];
            e.timestamp = t;
            ev.push_back(e);
            t += step;
            rem += stepRem;
            if (rem >= m_rate) {
                rem -= m_rate;
                ++t;
            }
            if (++pos == T)
                pos = 0;
        }
        // The same trigger signals as the simulated sensor, so channel enables can be tested here.
        const double half = 1e6 / (2.0 * m_scene.triggerHz[0]);
        for (uint64_t k = static_cast<uint64_t>(std::ceil(from / half));; ++k) {
            const uint64_t t = static_cast<uint64_t>(std::llround(k * half));
            if (t >= to)
                break;
            if (t >= from)
                tr.emplace_back(0, static_cast<int16_t>(k % 2 == 0), t);
        }
        m_now = to;
        return true;
    }
    uint64_t now() const override { return m_now; }
    bool skipTo(uint64_t tUs) override {
        m_now = std::max(m_now, tUs);
        return true;
    }
    std::optional<uint64_t> eventsBetween(uint64_t fromUs, uint64_t toUs) const override {
        if (toUs <= fromUs)
            return 0;
        return toUs * m_rate / 1000000 - fromUs * m_rate / 1000000;
    }

private:
    uint16_t m_w, m_h;
    uint64_t m_rate;
    uint64_t m_now = 0;
    std::vector<Event2D> m_template;
    SceneSpec m_scene;
};

// A recording decoded front to back as a live stream, looping at its end. It needs no index, so
// a camera replaying a large recording starts at once.
class ReplaySource final : public EventSource {
public:
    ReplaySource(std::shared_ptr<const RawFile> file, std::string path)
        : m_file(std::move(file)), m_cur(m_file, 1u << 20), m_path(std::move(path)), m_events(kChunk) {}

    bool init(std::string& error) {
        if (!fill() || m_head == m_count) {
            error = m_cur.readFailed() ? m_error : "'" + m_path + "' holds no events";
            return false;
        }
        m_first = m_events[m_head].timestamp;
        m_pos = m_first;
        return true;
    }
    uint16_t width() const override { return static_cast<uint16_t>(m_file->header().width); }
    uint16_t height() const override { return static_cast<uint16_t>(m_file->header().height); }
    bool restart(uint64_t) override {
        m_offset = 0;
        rewind();
        return true;
    }
    bool next(uint32_t durationUs, std::vector<Event2D>& ev, std::vector<EventTriggerIn>& tr) override {
        const uint64_t end = m_pos + durationUs;
        for (;;) {
            while (m_trHead < m_triggers.size() && m_triggers[m_trHead].timestamp < end) {
                EventTriggerIn t = m_triggers[m_trHead++];
                t.timestamp += m_offset;
                tr.push_back(t);
            }
            size_t stop = m_head;
            while (stop < m_count && m_events[stop].timestamp < end)
                ++stop;
            const size_t at = ev.size();
            ev.insert(ev.end(), m_events.begin() + static_cast<std::ptrdiff_t>(m_head),
                      m_events.begin() + static_cast<std::ptrdiff_t>(stop));
            for (size_t i = at; i < ev.size(); ++i)
                ev[i].timestamp += m_offset;
            m_head = stop;
            if (m_head < m_count || m_cur.atEnd())
                break;
            if (!fill())
                return false;
        }
        m_pos = end;
        if (m_cur.atEnd() && m_head == m_count && m_trHead == m_triggers.size() && m_pos > m_last) {
            // Loop: the recording starts again, with times continuing after a 1 ms gap so that the
            // stream stays non-decreasing like a live sensor's.
            m_offset += m_last + 1000 - m_first;
            rewind();
        }
        return true;
    }
    uint64_t now() const override { return m_pos + m_offset; }
    std::string lastError() const override { return m_error; }

private:
    static constexpr size_t kChunk = 64 * 1024;

    // Decodes the next events (and the triggers among them) into the pending buffers, which keep
    // their size: m_count of m_events hold events.
    bool fill() {
        m_triggers.erase(m_triggers.begin(), m_triggers.begin() + static_cast<std::ptrdiff_t>(m_trHead));
        m_trHead = 0;
        size_t n = 0;
        while (n == 0 && !m_cur.atEnd())
            n = m_cur.next(m_events.data(), kChunk, m_triggers);
        m_count = n;
        m_head = 0;
        if (m_cur.readFailed()) {
            m_error = "replay of '" + m_path + "' failed: " + m_cur.errorText();
            return false;
        }
        if (n)
            m_last = std::max(m_last, m_events[n - 1].timestamp);
        return true;
    }
    void rewind() {
        m_cur.rewind();
        m_triggers.clear();
        m_head = m_trHead = m_count = 0;
        m_pos = m_first;
    }

    std::shared_ptr<const RawFile> m_file;
    RawStreamCursor m_cur;
    std::string m_path;
    std::vector<Event2D> m_events; ///< decoded; [m_head, m_count) not yet delivered
    std::vector<EventTriggerIn> m_triggers;
    size_t m_head = 0, m_trHead = 0, m_count = 0;
    uint64_t m_first = 0, m_last = 0, m_pos = 0, m_offset = 0;
    std::string m_error;
};

} // namespace

std::unique_ptr<EventSource> makeSimSource(uint16_t width, uint16_t height, const SimSourceOptions& o,
                                           std::string& error) {
    SensorConfig cfg;
    cfg.width = width;
    cfg.height = height;
    cfg.seed = o.seed;
    if (!scenePreset(o.scene, width, height, cfg.scene)) {
        error = "unknown scene '" + o.scene + "'";
        return nullptr;
    }
    if (o.flickerHz > 0)
        cfg.scene.flicker.frequencyHz = o.flickerHz;
    return std::make_unique<SimSource>(cfg);
}

std::unique_ptr<EventSource> makeStressSource(uint16_t width, uint16_t height, uint64_t eventsPerSecond, uint64_t seed) {
    return std::make_unique<StressSource>(width, height, std::max<uint64_t>(eventsPerSecond, 1), seed);
}

std::unique_ptr<EventSource> makeReplaySource(const std::string& path, std::string& error) {
    auto file = RawFile::open(path, error);
    if (!file)
        return nullptr;
    auto src = std::make_unique<ReplaySource>(std::move(file), path);
    if (!src->init(error))
        return nullptr;
    return src;
}

} // namespace quorvel::detail
