#include "camera/EventSource.h"

#include "quorvel/DvsFileReader.h"
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

private:
    uint16_t m_w, m_h;
    uint64_t m_rate;
    uint64_t m_now = 0;
    std::vector<Event2D> m_template;
    SceneSpec m_scene;
};

class ReplaySource final : public EventSource {
public:
    ReplaySource(std::unique_ptr<DvsFileReader> reader, std::string path)
        : m_reader(std::move(reader)), m_path(std::move(path)) {}

    bool init(std::string& error) {
        m_reader->prepareFile();
        if (!m_reader->getStartTimestamp(m_first)) {
            error = "'" + m_path + "' holds no events";
            return false;
        }
        if (!m_reader->getEndTimestamp(m_last))
            m_last = m_first;
        try {
            m_triggers = m_reader->getTriggerList();
        } catch (...) {
            m_triggers.clear(); // a recording without trigger records is normal
        }
        return true;
    }
    uint16_t width() const override { return m_reader->getWidth(); }
    uint16_t height() const override { return m_reader->getHeight(); }
    bool restart(uint64_t) override {
        m_offset = 0;
        m_pos = m_first;
        m_trigIndex = 0;
        if (!m_reader->seekTime(m_first)) {
            m_error = "cannot rewind '" + m_path + "': " + m_reader->lastError();
            return false;
        }
        return true;
    }
    bool next(uint32_t durationUs, std::vector<Event2D>& ev, std::vector<EventTriggerIn>& tr) override {
        const uint64_t end = m_pos + durationUs;
        if (m_pos <= m_last) {
            auto batch = m_reader->getNTimeEvents(std::min<uint64_t>(durationUs, m_last + 1 - m_pos));
            if (batch) {
                ev.reserve(ev.size() + batch->size());
                for (Event2D e : *batch) {
                    e.timestamp += m_offset;
                    ev.push_back(e);
                }
            } else if (!m_reader->lastError().empty() && m_pos < m_last) {
                m_error = "replay of '" + m_path + "' failed: " + m_reader->lastError();
                return false;
            }
        }
        while (m_trigIndex < m_triggers.size() && m_triggers[m_trigIndex].timestamp < end) {
            EventTriggerIn t = m_triggers[m_trigIndex++];
            if (t.timestamp >= m_pos) {
                t.timestamp += m_offset;
                tr.push_back(t);
            }
        }
        m_pos = end;
        if (m_pos > m_last) {
            // Loop: the recording starts again, with times continuing after a 1 ms gap so that the
            // stream stays non-decreasing like a live sensor's.
            m_offset += m_last + 1000 - m_first;
            m_pos = m_first;
            m_trigIndex = 0;
            if (!m_reader->seekTime(m_first)) {
                m_error = "cannot rewind '" + m_path + "': " + m_reader->lastError();
                return false;
            }
        }
        return true;
    }
    uint64_t now() const override { return m_pos + m_offset; }
    std::string lastError() const override { return m_error; }

private:
    std::unique_ptr<DvsFileReader> m_reader;
    std::string m_path;
    uint64_t m_first = 0, m_last = 0, m_pos = 0, m_offset = 0;
    std::vector<EventTriggerIn> m_triggers;
    size_t m_trigIndex = 0;
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
    DvsFileReader::Options o;
    o.backgroundIndex = true;
    auto reader = DvsFileReader::createFileReader(path, o);
    if (!reader) {
        error = DvsFileReader::lastCreateError();
        return nullptr;
    }
    auto src = std::make_unique<ReplaySource>(std::move(reader), path);
    if (!src->init(error))
        return nullptr;
    return src;
}

} // namespace quorvel::detail
