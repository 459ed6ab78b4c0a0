#pragma once
// Collects the losses of one camera's stream (see quorvel/StreamLoss.h) from wherever they happen:
// the streaming thread (a sensor skipping ahead, queue drops), the network source (sequence
// gaps) and the recording path.
//
// Memory is bounded: the first StreamLoss::kMaxGaps gaps are kept, later ones only counted.
// Thread rules: every member is thread-safe.

#include "quorvel/StreamLoss.h"

#include <mutex>

namespace quorvel::detail {

class LossLog {
public:
    /// A new stream: counts and gaps start again from zero, `since` is now.
    void reset();
    /// `continues`: the previous thing this place did was drop too (consecutive batches), so the
    /// gap extends the last one of that place instead of starting another.
    void add(LossPlace place, uint64_t fromUs, uint64_t toUs, uint64_t events, uint64_t packets = 0,
             bool continues = false);
    StreamLoss snapshot() const;
    uint64_t lostEvents() const;
    uint64_t lostPackets() const;
    uint64_t queueEvents() const;
    uint64_t cameraEvents() const;

private:
    mutable std::mutex m_mutex;
    StreamLoss m_loss;
};

} // namespace quorvel::detail
