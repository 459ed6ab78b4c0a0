#pragma once
// DvsEventStream over a `.raw`/`.dat` recording: a RawStreamCursor positioned at an index entry,
// with the range's ends cut off the decoded batches.

#include "quorvel/DvsEventStream.h"
#include "quorvel/raw/RawFile.h"
#include "quorvel/raw/RawIndex.h"

#include <memory>
#include <vector>

namespace quorvel {

class RawEventStream final : public DvsEventStream {
public:
    /// Streams [startUs, endUs) of `file`, decoding from `entry` (an index entry at or before the
    /// range's first event). `chunkBytes` is the cursor's read size.
    RawEventStream(std::shared_ptr<const RawFile> file, const RawIndexEntry& entry, uint64_t startUs, uint64_t endUs,
                   size_t chunkBytes);

    size_t read(Event2D* out, size_t capacity) override;
    bool atEnd() const override { return m_done && m_carryPos == m_carryLen; }
    bool failed() const override { return m_cur.readFailed(); }
    std::string lastError() const override { return m_cur.errorText(); }
    size_t directCapacity() const override { return m_direct; }

private:
    /// Decodes the next batch into out[0 .. capacity) and keeps only the range's events, moved to
    /// the front; returns their count (0 when a batch held none, which is not the end).
    size_t decodeInto(Event2D* out, size_t capacity);

    std::shared_ptr<const RawFile> m_file;
    RawStreamCursor m_cur;
    const uint64_t m_start, m_end;
    const size_t m_direct;
    bool m_pastStart = false; ///< an event at or after m_start was seen: no later one is before it
    bool m_done = false;      ///< nothing more will be decoded
    std::vector<EventTriggerIn> m_triggers;
    std::vector<Event2D> m_carry; ///< for requests too small to decode in place
    size_t m_carryPos = 0, m_carryLen = 0;
};

} // namespace quorvel
