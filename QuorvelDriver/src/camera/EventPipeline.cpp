#include "camera/EventPipeline.h"

#include <algorithm>

namespace quorvel::detail {

namespace {
constexpr uint64_t kRateWindowUs = 1000;
}

EventPipeline::EventPipeline(uint16_t width, uint16_t height) : m_w(width), m_h(height) {
    m_s.roiWidth = width;
    m_s.roiHeight = height;
}

void EventPipeline::configure(const PipelineSettings& s) {
    const size_t n = static_cast<size_t>(m_w) * m_h;
    if (s.antiFlicker && m_flicker.empty())
        m_flicker.assign(n, FlickerPixel{});
    if (!s.antiFlicker)
        std::vector<FlickerPixel>().swap(m_flicker);
    // A new trail mode or threshold starts from clean bursts; so does re-enabling.
    if (s.trailFilter && (m_trail.empty() || s.trailMode != m_s.trailMode || s.trailThresholdUs != m_s.trailThresholdUs))
        m_trail.assign(n, TrailPixel{});
    if (!s.trailFilter)
        std::vector<TrailPixel>().swap(m_trail);
    m_s = s;
}

void EventPipeline::process(std::vector<Event2D>& events, size_t fromEvent, std::vector<EventTriggerIn>& triggers,
                            size_t fromTrigger) {
    Event2D* ev = events.data() + fromEvent;
    size_t n = events.size() - fromEvent;
    if (m_s.roi)
        n = roi(ev, n);
    if (m_s.antiFlicker)
        n = antiFlicker(ev, n);
    if (m_s.trailFilter)
        n = trail(ev, n);
    if (m_s.rateControl)
        n = rate(ev, n);
    events.resize(fromEvent + n);

    size_t k = fromTrigger;
    for (size_t i = fromTrigger; i < triggers.size(); ++i) {
        const EventTriggerIn t = triggers[i];
        const bool enabled = t.id < 0 || t.id > 1 || m_s.triggerChannel[t.id];
        if (enabled)
            triggers[k++] = t;
        else
            ++m_dropped.triggers;
    }
    triggers.resize(k);
}

size_t EventPipeline::roi(Event2D* ev, size_t n) {
    const unsigned x0 = static_cast<unsigned>(m_s.roiX), y0 = static_cast<unsigned>(m_s.roiY);
    const unsigned w = static_cast<unsigned>(m_s.roiWidth), h = static_cast<unsigned>(m_s.roiHeight);
    size_t k = 0;
    for (size_t i = 0; i < n; ++i) {
        const Event2D e = ev[i];
        // Unsigned wrap turns "x < x0" into a large number, so one compare per axis.
        if (static_cast<unsigned>(e.x - x0) < w && static_cast<unsigned>(e.y - y0) < h)
            ev[k++] = e;
    }
    m_dropped.roi += n - k;
    return k;
}

size_t EventPipeline::antiFlicker(Event2D* ev, size_t n) {
    // A pixel under a flickering light fires alternating ON and OFF bursts once per light period.
    // The time between the starts of two ON bursts is the period; when its frequency lies in the
    // band (with 10 % tolerance for timing jitter) the pixel counts as flickering for the next two
    // and a half periods, and its events within duty_cycle % of a period from the start of their
    // burst are flicker. At 50 % that covers whole half-period bursts of either polarity.
    const double lowHz = m_s.flickerLowHz, highHz = m_s.flickerHighHz;
    const double duty = m_s.flickerDutyPercent / 100.0;
    // Bursts further apart than the longest period in the band are separate bursts even with the
    // same polarity.
    const uint64_t maxGapUs = static_cast<uint64_t>(1e6 / std::max(1.0, lowHz) / 2.0);
    size_t k = 0;
    for (size_t i = 0; i < n; ++i) {
        const Event2D e = ev[i];
        FlickerPixel& p = m_flicker[static_cast<size_t>(e.y) * m_w + e.x];
        const bool newBurst = p.lastPol != static_cast<int8_t>(e.polarity) || e.timestamp - p.lastT > maxGapUs;
        if (newBurst) {
            p.burstStart = e.timestamp;
            if (e.polarity == 1) {
                if (p.hasOnStart) {
                    const uint64_t period = e.timestamp - p.lastOnStart;
                    if (period > 0) {
                        const double hz = 1e6 / static_cast<double>(period);
                        if (hz >= lowHz * 0.9 && hz <= highHz * 1.1) {
                            p.periodUs = static_cast<uint32_t>(std::min<uint64_t>(period, UINT32_MAX));
                            p.flaggedUntil = e.timestamp + 2 * period + period / 2;
                        }
                    }
                }
                p.lastOnStart = e.timestamp;
                p.hasOnStart = true;
            }
        }
        p.lastPol = static_cast<int8_t>(e.polarity);
        p.lastT = e.timestamp;
        const bool flickering = e.timestamp < p.flaggedUntil &&
                                static_cast<double>(e.timestamp - p.burstStart) < duty * p.periodUs;
        const bool keep = m_s.antiFlickerBandPass ? flickering : !flickering;
        if (keep)
            ev[k++] = e;
    }
    m_dropped.antiFlicker += n - k;
    return k;
}

size_t EventPipeline::trail(Event2D* ev, size_t n) {
    const uint64_t thr = static_cast<uint64_t>(m_s.trailThresholdUs);
    size_t k = 0;
    for (size_t i = 0; i < n; ++i) {
        const Event2D e = ev[i];
        TrailPixel& p = m_trail[static_cast<size_t>(e.y) * m_w + e.x];
        const bool sameBurst = p.lastPol == static_cast<int8_t>(e.polarity) && e.timestamp - p.lastT < thr;
        p.count = sameBurst ? static_cast<uint8_t>(std::min(p.count + 1, 255)) : 1;
        p.lastPol = static_cast<int8_t>(e.polarity);
        p.lastT = e.timestamp;
        bool keep;
        switch (m_s.trailMode) {
        case TrailMode::Trail: keep = p.count == 1; break;
        case TrailMode::StcCutTrail: keep = p.count == 2; break;
        default: keep = p.count >= 2; break;
        }
        if (keep)
            ev[k++] = e;
    }
    m_dropped.trail += n - k;
    return k;
}

size_t EventPipeline::rate(Event2D* ev, size_t n) {
    // Budget per 1 ms window. When a window holds more events than its budget, keep an evenly
    // spaced subset (Bresenham-style), so no region of the sensor is starved.
    const uint64_t budget = static_cast<uint64_t>(m_s.rateKevPerS) * kRateWindowUs / 1000;
    size_t k = 0, i = 0;
    while (i < n) {
        const uint64_t window = ev[i].timestamp / kRateWindowUs;
        size_t j = i;
        while (j < n && ev[j].timestamp / kRateWindowUs == window)
            ++j;
        if (window != m_rateWindow) {
            m_rateWindow = window;
            m_rateKept = 0;
        }
        const uint64_t count = j - i;
        const uint64_t allowed = budget > m_rateKept ? budget - m_rateKept : 0;
        const uint64_t keepN = std::min(count, allowed);
        if (keepN == count) {
            for (size_t m = i; m < j; ++m)
                ev[k++] = ev[m];
        } else {
            for (uint64_t m = 0; m < count; ++m)
                if ((m + 1) * keepN / count > m * keepN / count)
                    ev[k++] = ev[i + m];
        }
        m_rateKept += keepN;
        i = j;
    }
    m_dropped.rate += n - k;
    return k;
}

} // namespace quorvel::detail
