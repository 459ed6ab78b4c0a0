#include "quorvel/FusionSimulation.h"

#include "quorvel/FusionRecordingWriter.h"
#include "quorvel/raw/RawFileWriter.h"
#include "sim/Scene.h"
#include "sim/SimulatedSensor.h"

#include <algorithm>
#include <cmath>

namespace quorvel {

namespace {

// Grey level of a log intensity: the scene spans about -1.6 .. 1.6 around the background, which
// this maps onto most of 0 .. 255 the way a camera's log-like tone curve would.
inline unsigned char toGrey(float logI) {
    return static_cast<unsigned char>(std::clamp(128.0f + 70.0f * logI, 0.0f, 255.0f) + 0.5f);
}

// Renders the APS frame: each APS pixel looks up the DVS position the inverse calibration gives.
void renderAps(const std::vector<float>& logI, int dvsW, int dvsH, const FusionSimulationOptions& o, ApsFrame& f) {
    const int w = f.getWidth(), h = f.getHeight();
    const double inv = 1.0 / o.apsScale;
    for (int v = 0; v < h; ++v) {
        // The APS pixel u holds what DVS pixel (u - shift) / scale shows (pixel corners at
        // integers, so truncating the forward mapping lands DVS pixel x on APS pixel u).
        const double yd = std::clamp((v + 0.5 - o.apsShiftY) * inv - 0.5, 0.0, dvsH - 1.0);
        const int y0 = std::min(static_cast<int>(yd), dvsH - 1), y1 = std::min(y0 + 1, dvsH - 1);
        const float fy = static_cast<float>(yd - y0);
        unsigned char* row = f.data() + static_cast<size_t>(v) * w * 3;
        for (int u = 0; u < w; ++u) {
            const double xd = std::clamp((u + 0.5 - o.apsShiftX) * inv - 0.5, 0.0, dvsW - 1.0);
            const int x0 = std::min(static_cast<int>(xd), dvsW - 1), x1 = std::min(x0 + 1, dvsW - 1);
            const float fx = static_cast<float>(xd - x0);
            const float* r0 = logI.data() + static_cast<size_t>(y0) * dvsW;
            const float* r1 = logI.data() + static_cast<size_t>(y1) * dvsW;
            const float top = r0[x0] + (r0[x1] - r0[x0]) * fx;
            const float bottom = r1[x0] + (r1[x1] - r1[x0]) * fx;
            const unsigned char g = toGrey(top + (bottom - top) * fy);
            row[u * 3 + 0] = g;
            row[u * 3 + 1] = g;
            row[u * 3 + 2] = g;
        }
    }
}

} // namespace

bool simulateRecording(const std::string& base, const FusionSimulationOptions& o, FusionSimulationResult& result,
                       std::string& error) {
    result = FusionSimulationResult{};
    if (o.width < 16 || o.height < 16) {
        error = "the sensor must be at least 16 x 16 pixels";
        return false;
    }
    if (o.durationUs == 0) {
        error = "the duration must be positive";
        return false;
    }
    if (o.fusion && (!(o.apsFps > 0 && o.apsFps <= 1000) || !(o.apsScale >= 0.25 && o.apsScale <= 8))) {
        error = "APS frame rate must be in (0, 1000] and scale in [0.25, 8]";
        return false;
    }
    detail::SensorConfig cfg;
    cfg.width = o.width;
    cfg.height = o.height;
    cfg.seed = o.seed;
    if (!detail::scenePreset(o.scene, o.width, o.height, cfg.scene)) {
        std::string names;
        for (const auto& n : detail::scenePresetNames())
            names += (names.empty() ? "" : ", ") + n;
        error = "unknown scene '" + o.scene + "' (" + names + ")";
        return false;
    }
    detail::SimulatedSensor sensor(cfg);
    sensor.reset(o.startUs);

    RawFileWriter::Options raw;
    raw.width = o.width;
    raw.height = o.height;
    raw.serial = o.serial;
    raw.atomic = true;
    const std::string b = FusionRecordingWriter::basePath(base);

    FusionRecordingWriter fusion;
    RawFileWriter eventsOnly;
    ApsFrame frame;
    if (o.fusion) {
        const int apsW = static_cast<int>(std::lround(o.width * o.apsScale / 2.0)) * 2;
        const int apsH = static_cast<int>(std::lround(o.height * o.apsScale / 2.0)) * 2;
        FusionRecordingWriter::Options fo;
        fo.raw = raw;
        fo.calibration.affine = {o.apsScale, 0.0, o.apsShiftX, 0.0, o.apsScale, o.apsShiftY};
        fo.calibration.dvsWidth = o.width;
        fo.calibration.dvsHeight = o.height;
        fo.calibration.apsWidth = apsW;
        fo.calibration.apsHeight = apsH;
        fo.video.nominalFps = o.apsFps;
        if (!fusion.open(b, fo)) {
            error = fusion.lastError();
            return false;
        }
        frame.reshape(apsW, apsH);
        result.apsWidth = apsW;
        result.apsHeight = apsH;
        result.calibration = fo.calibration;
    } else if (!eventsOnly.open(b + ".raw", raw)) {
        error = eventsOnly.lastError();
        return false;
    }
    auto abortAll = [&](const std::string& why) {
        error = why;
        fusion.abort();
        eventsOnly.abort();
        return false;
    };

    const uint64_t end = o.startUs + o.durationUs;
    const double frameUs = o.fusion ? 1e6 / o.apsFps : static_cast<double>(o.durationUs);
    uint64_t frameIndex = 0;
    std::vector<Event2D> events;
    std::vector<EventTriggerIn> triggers;
    std::vector<float> logI;
    while (sensor.now() < end) {
        const uint64_t nextFrame = o.startUs + static_cast<uint64_t>(std::llround(frameIndex * frameUs));
        if (o.fusion && sensor.now() >= nextFrame) {
            sensor.sceneLogIntensity(logI);
            renderAps(logI, o.width, o.height, o, frame);
            frame.setTimestamp(sensor.now());
            frame.setSequence(frameIndex);
            if (!fusion.writeFrame(frame))
                return abortAll(fusion.lastError());
            ++frameIndex;
            ++result.frames;
            continue;
        }
        // Up to the next frame (or 10 ms at most, to keep batches small), never past the end.
        uint64_t until = std::min<uint64_t>(end, sensor.now() + 10'000);
        if (o.fusion)
            until = std::min<uint64_t>(until, std::max<uint64_t>(nextFrame, sensor.now() + 1));
        const uint64_t from = sensor.now();
        sensor.generate(static_cast<uint32_t>(until - from), events);
        triggers.clear();
        sensor.triggers(from, sensor.now(), triggers);
        const bool ok = o.fusion ? fusion.writeEvents(events, triggers) : eventsOnly.write(events, triggers);
        if (!ok)
            return abortAll(o.fusion ? fusion.lastError() : eventsOnly.lastError());
        result.events += events.size();
        if (o.progress && !o.progress(static_cast<double>(sensor.now() - o.startUs) / static_cast<double>(o.durationUs)))
            return abortAll("cancelled");
    }
    const bool closed = o.fusion ? fusion.close() : eventsOnly.close();
    if (!closed) {
        error = o.fusion ? fusion.lastError() : eventsOnly.lastError();
        return false;
    }
    return true;
}

} // namespace quorvel
