#include "quorvel/DvsApsFusionProccessor.h"

#include "quorvel/Logger.h"

#include <algorithm>
#include <cstring>
#include <exception>

namespace quorvel {

namespace {
bool lessTs(const Event2D& e, uint64_t t) { return e.timestamp < t; }
constexpr size_t kMaxSyncs = 256;
} // namespace

DvsApsFusionProccessor::DvsApsFusionProccessor() : DvsApsFusionProccessor(Options{}) {}

DvsApsFusionProccessor::DvsApsFusionProccessor(const Options& options) : m_options(options) {
    m_options.maxPendingFrames = std::max<size_t>(1, m_options.maxPendingFrames);
    m_options.maxFrameSpanUs = std::max<uint64_t>(1, m_options.maxFrameSpanUs);
}

bool DvsApsFusionProccessor::refuseReentry(const char* what) const {
    if (m_deliveringThread.load() != std::this_thread::get_id())
        return false;
    QV_LOG(LOG_WARNING, std::string("DvsApsFusionProccessor: ") + what + " called from a fusion callback, ignored");
    return true;
}

void DvsApsFusionProccessor::addFusionDataCallback(FusionDataCallback callback) {
    if (!callback || refuseReentry("addFusionDataCallback"))
        return;
    std::lock_guard lock(m_mutex);
    m_callbacks.push_back(std::move(callback));
}

void DvsApsFusionProccessor::removeFusionDataCallback() {
    if (refuseReentry("removeFusionDataCallback"))
        return;
    std::lock_guard lock(m_mutex);
    m_callbacks.clear();
}

void DvsApsFusionProccessor::dropOldestEvents(size_t count) {
    m_head += count;
    m_stats.eventsOverflow += count;
    compactEvents();
}

void DvsApsFusionProccessor::compactEvents() {
    // Consumed events are removed in bulk once they make up three quarters of the buffer: what is
    // moved then (events waiting for the next frame, about one frame's worth while the stream
    // runs) is at most a third of what was consumed, so each event is moved at most about a
    // third of a time on average, and the buffer does not creep forward in memory.
    if (m_head == 0)
        return;
    if (m_head == m_events.size()) {
        m_events.clear();
        m_head = 0;
    } else if (m_head >= m_events.size() - m_events.size() / 4) {
        m_events.erase(m_events.begin(), m_events.begin() + static_cast<std::ptrdiff_t>(m_head));
        m_head = 0;
    }
}

void DvsApsFusionProccessor::addDvsData(const Event2D* begin, const Event2D* end) {
    if (begin == end || begin == nullptr || refuseReentry("addDvsData"))
        return;
    std::lock_guard lock(m_mutex);
    const Event2D* first = begin;
    if (m_haveBoundary) {
        first = std::lower_bound(begin, end, m_boundaryUs, lessTs);
        m_stats.eventsLate += static_cast<uint64_t>(first - begin);
    }
    m_events.insert(m_events.end(), first, end);
    const uint64_t last = (end - 1)->timestamp;
    if (!m_haveWatermark || last > m_watermarkUs)
        m_watermarkUs = last;
    m_haveWatermark = true;
    if (m_frames.empty() && m_watermarkUs > m_options.maxFrameSpanUs) {
        // No frame waits: events older than a frame span can only belong to a frame that arrives
        // that late, which would be dropped as late anyway. Forgetting them keeps the buffer
        // small while the APS stream is stopped.
        const uint64_t keepFrom = m_watermarkUs - m_options.maxFrameSpanUs;
        Event2D* b = m_events.data() + m_head;
        Event2D* stale = std::lower_bound(b, m_events.data() + m_events.size(), keepFrom, lessTs);
        m_stats.eventsWithoutFrame += static_cast<uint64_t>(stale - b);
        m_head += static_cast<size_t>(stale - b);
        compactEvents();
    }
    const size_t held = m_events.size() - m_head;
    if (held > m_options.maxBufferedEvents)
        dropOldestEvents(held - m_options.maxBufferedEvents);
}

void DvsApsFusionProccessor::addSyncSignal(const EventTriggerIn& signal) {
    if (refuseReentry("addSyncSignal"))
        return;
    std::lock_guard lock(m_mutex);
    // A sync edge is on the DVS clock and comes in the same stream as the events: the stream has
    // reached its time.
    if (!m_haveWatermark || signal.timestamp > m_watermarkUs)
        m_watermarkUs = signal.timestamp;
    m_haveWatermark = true;
    if (signal.polarity == 0)
        return; // exposure starts are the rising edges
    if (!m_syncs.empty() && signal.timestamp <= m_syncs.back())
        return;
    m_syncs.push_back(signal.timestamp);
    while (m_syncs.size() > kMaxSyncs)
        m_syncs.pop_front();
}

void DvsApsFusionProccessor::addApsData(ApsFrame frame) {
    if (refuseReentry("addApsData"))
        return;
    std::lock_guard lock(m_mutex);
    uint64_t t = frame.getTimestamp();
    if (!m_syncs.empty()) {
        // The nearest unused sync edge within the tolerance; edges before it are spent (their
        // frames never came).
        auto best = m_syncs.end();
        uint64_t bestDist = UINT64_MAX;
        for (auto it = m_syncs.begin(); it != m_syncs.end(); ++it) {
            const uint64_t dist = *it > t ? *it - t : t - *it;
            if (dist <= m_options.syncToleranceUs && dist < bestDist) {
                best = it;
                bestDist = dist;
            }
        }
        if (best != m_syncs.end()) {
            t = *best;
            m_syncs.erase(m_syncs.begin(), best + 1);
            ++m_stats.framesSynced;
        }
    }
    if (m_haveBoundary && t < m_boundaryUs) {
        ++m_stats.framesLate;
        return;
    }
    auto pos = std::find_if(m_frames.begin(), m_frames.end(), [t](const Pending& p) { return p.timeUs >= t; });
    if (pos != m_frames.end() && pos->timeUs == t) {
        ++m_stats.framesLate;
        return;
    }
    Pending p;
    p.frame = std::move(frame);
    p.timeUs = t;
    m_frames.insert(pos, std::move(p));
}

size_t DvsApsFusionProccessor::fusionData() {
    if (refuseReentry("fusionData"))
        return 0;
    std::lock_guard lock(m_mutex);
    size_t delivered = 0;
    while (!m_frames.empty()) {
        const uint64_t t0 = m_frames.front().timeUs;
        const uint64_t cap = t0 > UINT64_MAX - m_options.maxFrameSpanUs ? UINT64_MAX : t0 + m_options.maxFrameSpanUs;
        uint64_t windowEnd = cap;
        bool ready = false;
        if (m_frames.size() >= 2) {
            windowEnd = std::min(m_frames[1].timeUs, cap);
            ready = m_haveWatermark && m_watermarkUs >= windowEnd;
            if (!ready && m_frames.size() > m_options.maxPendingFrames) {
                ready = true;
                ++m_stats.framesForced;
            }
        } else {
            // Alone: complete once the stream has passed the cap.
            ready = m_haveWatermark && m_watermarkUs > cap;
        }
        if (!ready)
            break;

        Event2D* base = m_events.data();
        Event2D* begin = base + m_head;
        Event2D* stop = base + m_events.size();
        Event2D* from = std::lower_bound(begin, stop, t0, lessTs);
        Event2D* to = std::lower_bound(from, stop, windowEnd, lessTs);
        m_stats.eventsWithoutFrame += static_cast<uint64_t>(from - begin);

        Pending p = std::move(m_frames.front());
        m_frames.pop_front();
        m_deliveringThread.store(std::this_thread::get_id());
        for (auto& cb : m_callbacks) {
            // A consumer's exception must not unwind through the SDK thread that runs us.
            try {
                cb(p.frame, from, to);
            } catch (const std::exception& e) {
                QV_LOG(LOG_ERROR, std::string("DvsApsFusionProccessor: fusion callback threw: ") + e.what());
            } catch (...) {
                QV_LOG(LOG_ERROR, "DvsApsFusionProccessor: fusion callback threw");
            }
        }
        m_deliveringThread.store(std::thread::id{});

        m_stats.eventsDelivered += static_cast<uint64_t>(to - from);
        ++m_stats.framesDelivered;
        ++delivered;
        // Whatever follows a capped window up to the next frame is discarded as "before the
        // frame" when that frame is delivered; nothing needs skipping here.
        m_head = static_cast<size_t>(to - base);
        m_boundaryUs = windowEnd;
        m_haveBoundary = true;
        compactEvents();
    }
    return delivered;
}

void DvsApsFusionProccessor::clear() {
    if (refuseReentry("clear"))
        return;
    std::lock_guard lock(m_mutex);
    m_frames.clear();
    m_events.clear();
    m_head = 0;
    m_syncs.clear();
    m_haveWatermark = false;
    m_watermarkUs = 0;
    m_haveBoundary = false;
    m_boundaryUs = 0;
}

DvsApsFusionProccessor::Stats DvsApsFusionProccessor::getStats() const {
    std::lock_guard lock(m_mutex);
    return m_stats;
}

size_t DvsApsFusionProccessor::pendingFrames() const {
    std::lock_guard lock(m_mutex);
    return m_frames.size();
}

size_t DvsApsFusionProccessor::bufferedEvents() const {
    std::lock_guard lock(m_mutex);
    return m_events.size() - m_head;
}

} // namespace quorvel
