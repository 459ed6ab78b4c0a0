#include "RawEventStream.h"

#include <algorithm>
#include <cstring>

namespace quorvel {

namespace {

bool lessTs(const Event2D& e, uint64_t t) { return e.timestamp < t; }

} // namespace

RawEventStream::RawEventStream(std::shared_ptr<const RawFile> file, const RawIndexEntry& entry, uint64_t startUs,
                               uint64_t endUs, size_t chunkBytes)
    : m_file(std::move(file)), m_cur(m_file, chunkBytes), m_start(startUs), m_end(endUs),
      m_direct(m_cur.decoder().maxEventsPerWord()) {
    m_cur.seek(entry.offset, entry.state);
    m_done = endUs <= startUs;
    // A batch of a few hundred events: small enough for the cache, large enough that a caller
    // asking one event at a time does not decode word by word.
    m_carry.resize(m_file->eventBatchFor(std::max<size_t>(512, m_direct)));
}

size_t RawEventStream::decodeInto(Event2D* out, size_t capacity) {
    size_t n = m_cur.next(out, capacity, m_triggers);
    m_triggers.clear();
    if (n == 0) {
        // next() only comes back empty at the end of the payload (or on a read error).
        m_done = true;
        return 0;
    }
    Event2D* b = out;
    Event2D* e = out + n;
    if (!m_pastStart) {
        Event2D* from = std::lower_bound(b, e, m_start, lessTs);
        if (from != e)
            m_pastStart = true;
        if (from != b) {
            std::memmove(static_cast<void*>(b), from, static_cast<size_t>(e - from) * sizeof(Event2D));
            e -= from - b;
        }
    }
    if (b != e && e[-1].timestamp >= m_end) {
        e = std::lower_bound(b, e, m_end, lessTs);
        m_done = true;
    } else if (m_cur.state().floor >= m_end) {
        m_done = true; // no later event can fall inside the range
    }
    return static_cast<size_t>(e - b);
}

size_t RawEventStream::read(Event2D* out, size_t capacity) {
    size_t n = 0;
    while (n < capacity) {
        if (m_carryPos < m_carryLen) {
            const size_t k = std::min(capacity - n, m_carryLen - m_carryPos);
            std::memcpy(static_cast<void*>(out + n), m_carry.data() + m_carryPos, k * sizeof(Event2D));
            m_carryPos += k;
            n += k;
            continue;
        }
        if (m_done)
            break;
        if (capacity - n >= m_direct) {
            n += decodeInto(out + n, capacity - n);
        } else {
            m_carryPos = 0;
            m_carryLen = decodeInto(m_carry.data(), m_carry.size());
        }
    }
    return n;
}

} // namespace quorvel
