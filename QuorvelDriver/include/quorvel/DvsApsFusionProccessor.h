#pragma once
// Pairs the APS frames of a fusion camera with the DVS events that belong to them.
//
// Which events belong to a frame: frame i, aligned at time T_i on the DVS clock, gets the events
// with T_i <= t < T_{i+1}, where T_{i+1} is the next frame's time — the events that happened while
// the frame was the latest picture, which is also what fusion playback overlays on a frame. The
// window is capped at maxFrameSpanUs: when frames go missing, a frame does not swallow an
// arbitrarily long stretch of events; events after the cap and before the next frame belong to
// no frame and are dropped (counted). Events before the first frame are dropped likewise.
//
// A frame's time T is its own timestamp (the fusion camera stamps APS frames on the DVS clock).
// When sync signals are given (trigger edges that the APS exposure puts on the DVS clock), a frame
// takes the time of the unused sync edge nearest to its timestamp, if one lies within
// syncToleranceUs; otherwise it keeps its own timestamp.
//
// When a frame is delivered: as soon as its window is complete, i.e. the next frame has arrived
// and the DVS stream has reached T_{i+1} (an event or sync signal at or after it; batches arrive
// in time order, so nothing earlier can follow), or, without a next frame, the DVS stream has
// passed T_i + maxFrameSpanUs. So the output runs one frame behind the APS stream. If the DVS
// stream stalls while frames keep coming, the oldest frame is delivered with what has arrived
// once more than maxPendingFrames wait.
//
// Late and missing data:
// - a frame whose time falls inside an already delivered window (or repeats a pending frame's
//   time) is dropped and counted in framesLate; frames arriving out of order but before their
//   window was delivered are put in place;
// - events older than the end of the last delivered window are dropped (eventsLate);
// - a missing frame makes the previous frame's window longer, up to the cap.
//
// Bounded buffering: at most maxPendingFrames + 1 frames and maxBufferedEvents events are held;
// beyond that the oldest events go (eventsOverflow).
//
// fusionData() runs the alignment on the calling thread and calls every registered callback with
// each ready frame and its events, in frame order; it returns the number of frames delivered. The
// callbacks run under the processor's lock: they must copy what they need and return, and must not
// call back into the processor (such calls are refused and logged). The frame may be modified by a
// callback; the event range is valid only during the call.
// Thread rules: all members may be called from any thread (camera DVS thread, APS thread, the
// thread that runs fusionData).

#include "quorvel/ApsFrame.h"
#include "quorvel/Event2D.h"

#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace quorvel {

class DvsApsFusionProccessor {
public:
    using FusionDataCallback = std::function<void(ApsFrame&, Event2D*, Event2D*)>;

    struct Options {
        uint64_t maxFrameSpanUs = 200'000;
        size_t maxPendingFrames = 4;
        size_t maxBufferedEvents = 8'000'000;
        uint64_t syncToleranceUs = 10'000;
    };

    struct Stats {
        uint64_t framesDelivered = 0;
        uint64_t framesLate = 0;
        uint64_t framesSynced = 0;         ///< aligned on a sync signal
        uint64_t framesForced = 0;         ///< delivered before the DVS stream reached the window end
        uint64_t eventsDelivered = 0;
        uint64_t eventsLate = 0;
        uint64_t eventsWithoutFrame = 0;   ///< before the first frame or after a frame's capped window
        uint64_t eventsOverflow = 0;
    };

    DvsApsFusionProccessor();
    explicit DvsApsFusionProccessor(const Options& options);
    ~DvsApsFusionProccessor() = default;
    DvsApsFusionProccessor(const DvsApsFusionProccessor&) = delete;
    DvsApsFusionProccessor& operator=(const DvsApsFusionProccessor&) = delete;

    void addDvsData(const Event2D* begin, const Event2D* end);
    void addApsData(ApsFrame frame);
    void addSyncSignal(const EventTriggerIn& signal);

    void addFusionDataCallback(FusionDataCallback callback);
    /// Removes every registered callback.
    void removeFusionDataCallback();

    size_t fusionData();
    /// Drops all buffered frames, events and sync signals and forgets the stream's time (a new
    /// stream may start at any time); callbacks and statistics stay.
    void clear();

    Stats getStats() const;
    size_t pendingFrames() const;
    size_t bufferedEvents() const;

private:
    struct Pending {
        ApsFrame frame;
        uint64_t timeUs = 0;
    };

    bool refuseReentry(const char* what) const;
    void dropOldestEvents(size_t count);
    void compactEvents();

    Options m_options;
    mutable std::mutex m_mutex;
    std::atomic<std::thread::id> m_deliveringThread{};
    std::vector<FusionDataCallback> m_callbacks;
    std::deque<Pending> m_frames;
    std::vector<Event2D> m_events;
    size_t m_head = 0; ///< events before this index are consumed
    std::deque<uint64_t> m_syncs;
    bool m_haveWatermark = false;
    uint64_t m_watermarkUs = 0; ///< the DVS stream has reached this time
    bool m_haveBoundary = false;
    uint64_t m_boundaryUs = 0;  ///< end of the last delivered window
    Stats m_stats;
};

} // namespace quorvel
