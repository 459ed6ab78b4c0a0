#include "camera/LossLog.h"

#include <algorithm>

namespace quorvel {

const char* lossPlaceName(LossPlace place) {
    switch (place) {
    case LossPlace::Camera: return "camera";
    case LossPlace::Network: return "network";
    case LossPlace::Queue: return "queue";
    case LossPlace::Recording: return "recording";
    }
    return "?";
}

namespace detail {

void LossLog::reset() {
    std::lock_guard l(m_mutex);
    m_loss = StreamLoss{};
    m_loss.since = std::chrono::system_clock::now();
}

void LossLog::add(LossPlace place, uint64_t fromUs, uint64_t toUs, uint64_t events, uint64_t packets,
                  bool continues) {
    if (events == 0 && packets == 0)
        return;
    std::lock_guard l(m_mutex);
    switch (place) {
    case LossPlace::Camera: m_loss.cameraEvents += events; break;
    case LossPlace::Network:
        m_loss.networkEvents += events;
        m_loss.networkPackets += packets;
        break;
    case LossPlace::Queue: m_loss.queueEvents += events; break;
    case LossPlace::Recording: m_loss.recordingEvents += events; break;
    }
    if (continues) {
        if (m_loss.gapCount > m_loss.gaps.size())
            return; // the gap it extends is among those only counted
        for (auto it = m_loss.gaps.rbegin(); it != m_loss.gaps.rend(); ++it) {
            if (it->place != place)
                continue;
            it->fromUs = std::min(it->fromUs, fromUs);
            it->toUs = std::max(it->toUs, toUs);
            it->events += events;
            it->packets += packets;
            return;
        }
    }
    ++m_loss.gapCount;
    if (m_loss.gaps.size() < StreamLoss::kMaxGaps)
        m_loss.gaps.push_back({place, fromUs, std::max(fromUs, toUs), events, packets, std::chrono::system_clock::now()});
}

StreamLoss LossLog::snapshot() const {
    std::lock_guard l(m_mutex);
    return m_loss;
}

uint64_t LossLog::lostEvents() const {
    std::lock_guard l(m_mutex);
    return m_loss.lostEvents();
}

uint64_t LossLog::lostPackets() const {
    std::lock_guard l(m_mutex);
    return m_loss.networkPackets;
}

uint64_t LossLog::cameraEvents() const {
    std::lock_guard l(m_mutex);
    return m_loss.cameraEvents;
}

uint64_t LossLog::queueEvents() const {
    std::lock_guard l(m_mutex);
    return m_loss.queueEvents;
}

} // namespace detail
} // namespace quorvel
