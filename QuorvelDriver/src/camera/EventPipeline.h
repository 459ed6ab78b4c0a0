#pragma once
// The on-sensor digital filters behind the camera tools, applied to the pixel array's output in
// the order a sensor applies them: region of interest, anti-flicker, event trail filter, event rate
// controller; and the trigger-input channel enables.
//
// Every filter keeps the order of the events it lets through. Per-pixel state is only allocated
// while a filter is enabled.
//
// Thread rules: one thread at a time (the camera's streaming thread).

#include "camera/CameraTools.h"
#include "quorvel/Event2D.h"

#include <cstdint>
#include <vector>

namespace quorvel::detail {

struct PipelineCounters {
    uint64_t roi = 0;
    uint64_t antiFlicker = 0;
    uint64_t trail = 0;
    uint64_t rate = 0;
    uint64_t triggers = 0;
};

class EventPipeline {
public:
    EventPipeline(uint16_t width, uint16_t height);

    void configure(const PipelineSettings& settings);
    /// Filters both vectors in place.
    void process(std::vector<Event2D>& events, std::vector<EventTriggerIn>& triggers) {
        process(events, 0, triggers, 0);
    }
    /// Same for the events from `fromEvent` and the triggers from `fromTrigger` on; what is
    /// before them is left alone.
    void process(std::vector<Event2D>& events, size_t fromEvent, std::vector<EventTriggerIn>& triggers,
                 size_t fromTrigger);
    /// Events removed so far by each filter.
    const PipelineCounters& dropped() const { return m_dropped; }

private:
    size_t roi(Event2D* ev, size_t n);
    size_t antiFlicker(Event2D* ev, size_t n);
    size_t trail(Event2D* ev, size_t n);
    size_t rate(Event2D* ev, size_t n);

    struct FlickerPixel {
        uint64_t lastT = 0;
        uint64_t burstStart = 0;
        uint64_t lastOnStart = 0;
        uint64_t flaggedUntil = 0;
        uint32_t periodUs = 0;
        int8_t lastPol = -1;
        bool hasOnStart = false;
    };
    struct TrailPixel {
        uint64_t lastT = 0;
        int8_t lastPol = -1;
        uint8_t count = 0;
    };

    uint16_t m_w, m_h;
    PipelineSettings m_s;
    std::vector<FlickerPixel> m_flicker;
    std::vector<TrailPixel> m_trail;
    uint64_t m_rateWindow = UINT64_MAX;
    uint64_t m_rateKept = 0;
    PipelineCounters m_dropped;
};

} // namespace quorvel::detail
