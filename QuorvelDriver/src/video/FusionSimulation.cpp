#include "quorvel/FusionSimulation.h"

#include "quorvel/FusionRecordingWriter.h"
#include "quorvel/raw/RawFileWriter.h"

#include "ApsRender.h"
#include "sim/Scene.h"
#include "sim/SimulatedSensor.h"

#include <algorithm>
#include <cmath>

namespace quorvel {


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
        FusionRecordingWriter::Options fo;
        fo.raw = raw;
        fo.calibration = video::simulatedCalibration(o.width, o.height, o.apsScale, o.apsShiftX, o.apsShiftY);
        fo.video.nominalFps = o.apsFps;
        if (!fusion.open(b, fo)) {
            error = fusion.lastError();
            return false;
        }
        frame.reshape(fo.calibration.apsWidth, fo.calibration.apsHeight);
        result.apsWidth = fo.calibration.apsWidth;
        result.apsHeight = fo.calibration.apsHeight;
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
            sensor.sceneLogIntensityAt(sensor.now(), logI);
            video::renderApsFrame(logI, o.width, o.height, result.calibration, 0.0f, frame);
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
