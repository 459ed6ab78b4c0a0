#include "ApsStream.h"

#include "ApsRender.h"
#include "camera/CameraCore.h"
#include "quorvel/Logger.h"
#include "sim/Scene.h"
#include "sim/SimulatedSensor.h"

#include <cmath>
#include <cstdlib>
#include <vector>

namespace quorvel::detail {

namespace {

std::string envOr(const char* name, const char* fallback) {
    const char* v = std::getenv(name);
    return v && *v ? v : fallback;
}

constexpr uint64_t kMaxLagUs = 1'000'000;

std::mutex g_registryMutex;
std::map<const CameraCore*, std::weak_ptr<ApsStream>> g_registry;

} // namespace

std::shared_ptr<ApsStream> ApsStream::forCore(const std::shared_ptr<CameraCore>& core) {
    if (!core)
        return nullptr;
    std::lock_guard lock(g_registryMutex);
    for (auto it = g_registry.begin(); it != g_registry.end();)
        it = it->second.expired() ? g_registry.erase(it) : std::next(it);
    if (auto it = g_registry.find(core.get()); it != g_registry.end())
        if (auto s = it->second.lock())
            return s;
    std::shared_ptr<ApsStream> s(new ApsStream(core));
    g_registry[core.get()] = s;
    return s;
}

ApsStream::ApsStream(const std::shared_ptr<CameraCore>& core) : m_core(core) {
    m_width = core->width();
    m_height = core->height();
    m_calibration = video::simulatedCalibration(m_width, m_height, 1.0, 4.0, -3.0);
    m_reported = m_calibration;
    SensorConfig cfg;
    cfg.width = core->width();
    cfg.height = core->height();
    cfg.seed = std::strtoull(envOr("QUORVEL_SIM_SEED", "1").c_str(), nullptr, 10);
    if (!scenePreset(envOr("QUORVEL_SIM_SCENE", "default"), cfg.width, cfg.height, cfg.scene))
        scenePreset("default", cfg.width, cfg.height, cfg.scene);
    m_scene = std::make_unique<SimulatedSensor>(cfg);
    m_frame.reshape(m_calibration.apsWidth, m_calibration.apsHeight);
}

ApsStream::~ApsStream() {
    stop();
    std::string ignored;
    if (recording())
        stopRecording(ignored);
}

double ApsStream::frameIntervalUs() const {
    int fps = 30;
    if (auto core = m_core.lock())
        if (auto tool = core->tool(TOOL_APS))
            tool->getIntParam("frame_rate", fps);
    return 1e6 / std::clamp(fps, 1, 1000);
}

float ApsStream::logGain() const {
    auto core = m_core.lock();
    auto tool = core ? core->tool(TOOL_APS) : nullptr;
    if (!tool)
        return 0.0f;
    bool autoExposure = true;
    int exposureUs = 10000;
    float gain = 1.0f;
    tool->getBoolParam("auto_exposure", autoExposure);
    tool->getIntParam("exposure_us", exposureUs);
    tool->getFloatParam("gain", gain);
    if (autoExposure)
        return 0.0f;
    // Relative to the nominal 10 ms at gain 1: twice the light is one step of ln 2 brighter.
    return static_cast<float>(std::log(std::max(1, exposureUs) / 10000.0 * std::max(gain, 0.01f)));
}

bool ApsStream::start() {
    std::lock_guard lock(m_runMutex);
    if (m_running)
        return true;
    auto core = m_core.lock();
    if (!core)
        return false;
    {
        std::lock_guard c(m_clock->mutex);
        m_clock->have = false;
    }
    // The callback holds the clock, not this object: a batch already on its way when stop()
    // removes the callback cannot touch a stream that is gone.
    std::shared_ptr<Clock> clock = m_clock;
    m_eventsCallbackId = core->addEventsCallback([clock](const Event2D* b, const Event2D* e) {
        if (b == e)
            return;
        {
            std::lock_guard l(clock->mutex);
            clock->streamUs = std::max(clock->streamUs, (e - 1)->timestamp);
            clock->have = true;
        }
        clock->cv.notify_one();
    });
    m_running = true;
    m_thread = std::thread([this] { run(); });
    return true;
}

void ApsStream::stop() {
    std::lock_guard lock(m_runMutex);
    if (!m_running && !m_thread.joinable())
        return;
    m_running = false;
    m_clock->cv.notify_all();
    if (m_thread.joinable())
        m_thread.join();
    if (auto core = m_core.lock(); core && m_eventsCallbackId >= 0)
        core->removeEventsCallback(m_eventsCallbackId);
    m_eventsCallbackId = -1;
}

void ApsStream::run() {
    uint64_t next = 0;
    bool started = false;
    uint64_t sequence = 0;
    while (m_running) {
        uint64_t reached = 0;
        {
            std::unique_lock l(m_clock->mutex);
            m_clock->cv.wait_for(l, std::chrono::milliseconds(100), [&] {
                return !m_running || (m_clock->have && (!started || m_clock->streamUs >= next));
            });
            if (!m_running)
                break;
            if (!m_clock->have)
                continue;
            reached = m_clock->streamUs;
        }
        if (!started) {
            next = reached;
            started = true;
        }
        // After a long stall (camera restarted, machine overloaded) the APS sensor does not
        // replay what it missed: it resumes at the stream's time. Shorter lags are caught up, so
        // the frames keep their exact spacing.
        if (reached > next + kMaxLagUs)
            next = reached;
        while (m_running && next <= reached) {
            renderAt(next, sequence++);
            // The rate is read per frame: a change applies from the next frame on.
            next += static_cast<uint64_t>(std::llround(frameIntervalUs()));
        }
    }
}

void ApsStream::renderAt(uint64_t tUs, uint64_t sequence) {
    static thread_local std::vector<float> logI;
    m_scene->sceneLogIntensityAt(tUs, logI);
    video::renderApsFrame(logI, m_width, m_height, m_calibration, logGain(), m_frame);
    m_frame.setTimestamp(tUs);
    m_frame.setSequence(sequence);
    std::map<int, FrameCallback> callbacks;
    {
        std::lock_guard l(m_frameMutex);
        m_latest = m_frame;
        callbacks = m_callbacks;
    }
    for (auto& [id, cb] : callbacks) {
        try {
            cb(m_frame);
        } catch (...) {
            QV_LOG(LOG_ERROR, "APS frame callback threw");
        }
    }
    std::lock_guard r(m_recMutex);
    // Frames taken before the recording started (the APS thread may be a little behind the
    // events) are not part of it.
    if (m_writer && tUs >= m_recStartUs && !m_writer->writeFrame(m_frame))
        QV_LOG(LOG_WARNING, "APS recording: " + m_writer->lastError());
}

int ApsStream::addCallback(FrameCallback callback) {
    if (!callback)
        return -1;
    std::lock_guard l(m_frameMutex);
    m_callbacks[m_nextId] = std::move(callback);
    return m_nextId++;
}

bool ApsStream::removeCallback(int id) {
    std::lock_guard l(m_frameMutex);
    return m_callbacks.erase(id) > 0;
}

bool ApsStream::latestFrame(ApsFrame& frame) const {
    std::lock_guard l(m_frameMutex);
    if (m_latest.empty())
        return false;
    frame = m_latest;
    return true;
}

bool ApsStream::startRecording(const std::string& base, std::string& error) {
    std::lock_guard r(m_recMutex);
    if (m_writer) {
        error = "already recording";
        return false;
    }
    auto w = std::make_unique<ApsVideoWriter>();
    ApsVideoWriter::Options o;
    o.nominalFps = 1e6 / frameIntervalUs();
    if (!w->open(base + ".mp4", o)) {
        error = w->lastError();
        return false;
    }
    m_writer = std::move(w);
    m_recBase = base;
    std::lock_guard c(m_clock->mutex);
    m_recStartUs = m_clock->have ? m_clock->streamUs : 0;
    return true;
}

bool ApsStream::stopRecording(std::string& error) {
    std::unique_ptr<ApsVideoWriter> w;
    std::string base;
    {
        std::lock_guard r(m_recMutex);
        w = std::move(m_writer);
        base = m_recBase;
    }
    if (!w) {
        error = "not recording";
        return false;
    }
    if (!w->close()) {
        error = "APS video: " + w->lastError();
        return false;
    }
    CalibratorParameters cal = calibration();
    if (!paramToJsonFile(cal, base + ".json")) {
        error = "calibration: " + calibrationLastError();
        return false;
    }
    return true;
}

CalibratorParameters ApsStream::calibration() const {
    std::lock_guard lock(m_reportedMutex);
    return m_reported;
}

bool ApsStream::setCalibration(const CalibratorParameters& param, std::string& error) {
    if (!param.isValid()) {
        error = "invalid calibration parameters";
        return false;
    }
    std::lock_guard lock(m_reportedMutex);
    m_reported = param;
    return true;
}

bool ApsStream::recording() const {
    std::lock_guard r(m_recMutex);
    return m_writer != nullptr;
}

} // namespace quorvel::detail
