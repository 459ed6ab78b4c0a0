#include "camera/EventCache.h"

#include <algorithm>

namespace quorvel::detail {

namespace {
constexpr uint64_t kChunkUs = 50000;
}

void EventCache::closeCurrent() {
    if (!m_current->empty())
        m_closed.push_back(std::move(m_current));
    m_current = std::make_shared<CacheChunk>();
    // Release chunks that lie entirely before the kept window.
    while (!m_closed.empty() && m_newestUs > m_keepUs && m_closed.front()->lastUs < m_newestUs - m_keepUs)
        m_closed.pop_front();
}

void EventCache::append(const Event2D* b, const Event2D* e, const EventTriggerIn* tb, const EventTriggerIn* te) {
    if (b == e && tb == te)
        return;
    if (m_keepUs == 0)
        return;
    CacheChunk& c = *m_current;
    if (c.empty()) {
        uint64_t first = b != e ? b->timestamp : tb->timestamp;
        if (tb != te)
            first = std::min(first, tb->timestamp);
        c.firstUs = first;
    }
    c.events.reserve(c.events.size() + static_cast<size_t>(e - b));
    for (const Event2D* p = b; p != e; ++p)
        c.events.push_back(CacheChunk::pack(*p));
    c.triggers.insert(c.triggers.end(), tb, te);
    uint64_t last = b != e ? (e - 1)->timestamp : 0;
    if (tb != te)
        last = std::max(last, (te - 1)->timestamp);
    c.lastUs = std::max(c.lastUs, last);
    m_newestUs = std::max(m_newestUs, last);
    m_any = true;
    if (c.lastUs - c.firstUs >= kChunkUs)
        closeCurrent();
}

CacheSnapshot EventCache::snapshot() {
    CacheSnapshot s;
    if (!m_any)
        return s;
    closeCurrent();
    s.fromUs = m_newestUs > m_keepUs ? m_newestUs - m_keepUs : 0;
    s.chunks.assign(m_closed.begin(), m_closed.end());
    return s;
}

uint64_t EventCache::bytes() const {
    uint64_t n = m_current->events.capacity() * 8;
    for (const auto& c : m_closed)
        n += c->events.capacity() * 8 + c->triggers.capacity() * sizeof(EventTriggerIn);
    return n;
}

} // namespace quorvel::detail
