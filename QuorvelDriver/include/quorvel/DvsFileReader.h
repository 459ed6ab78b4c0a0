#pragma once
// Reads an event recording (`.raw` in EVT 2.0, 2.1 or 3.0, or `.dat`) for playback, cutting and
// the command-line tools.
//
// Opening parses the header and starts building the seek index on a background thread (or loads
// the index saved by an earlier run). Reads work at once: without the index, decoding runs forward
// from the nearest known point. Operations that need the whole file (end time, trigger list, event
// counts) wait for the index.
//
// Time semantics (all times are the sensor's own microseconds, never shifted to zero, exactly as
// the recording's time words give them; an event earlier than the one before it, which only a
// damaged stream has, gets that event's time and is counted in DvsFileStats::timeBackwards):
// - getEventsInRange(start, duration) returns exactly the events with start <= t < start +
//   duration, in file order (non-decreasing time); an empty vector for a quiet span inside the
//   file; null when no event at or after `start` exists (past the end) or on a read error.
// - seekTime(ts) sets the position for getNTimeEvents; false (position unchanged) when no event
//   at or after ts exists.
// - getNTimeEvents(duration) returns the events of [position, position + duration) and moves the
//   position to the end of that span; null at the end of the file. The initial position is the
//   first event.
// - exportRawRange(start, end, path) writes the events with start <= t <= end (the end is
//   included, like the player's range) and the triggers of that range to a new `.raw` file.
// - streamEventsInRange(start, end, sink) hands the events with start <= t < end to `sink` in
//   file order, a batch at a time, without collecting them: what an export needs to go through
//   a long range with little memory.
// - openEventStream(start, end) gives the same events to a caller that pulls them into memory of
//   its own (DvsEventStream), as many at a time as it likes.
//
// Errors: createFileReader() returns null and lastCreateError() says why (missing file, not a
// recording, no geometry, ...). Failing operations return false or null and lastError() says why.
// getTriggerList() throws std::runtime_error when the recording holds no trigger record.
// Thread rules: one thread at a time uses a reader (the player's lock), except exportRawRange,
// exportVideoRange, streamEventsInRange, openEventStream and the index queries (getTimeline,
// indexProgress, isIndexReady), which read through a cursor or a lock of their own and may run
// beside other calls: the player's position and decoded window stay exactly as they were. The
// index thread is owned by the reader and joined by its destructor.

#include "quorvel/DvsEventStream.h"
#include "quorvel/DvsFileInfo.h"
#include "quorvel/Event2D.h"
#include "quorvel/VideoExportOptions.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace quorvel {

/// Counts of a whole recording (from the index).
struct DvsFileStats {
    uint64_t events = 0;
    uint64_t onEvents = 0;
    uint64_t triggers = 0;
    uint64_t firstTimestamp = 0;
    uint64_t lastTimestamp = 0;
    uint64_t invalidEvents = 0; ///< outside the sensor geometry, dropped
    uint64_t reservedWords = 0; ///< unknown word types, skipped
    uint64_t trailingBytes = 0; ///< a partial word at the end (truncated file)
    uint64_t timeBackwards = 0; ///< events earlier than the event before them, given its time
    uint64_t timeJumps = 0;     ///< time words more than a day after the previous event
    uint64_t firstTimeJumpOffset = 0; ///< file offset of the first of them
    /// Decoding errors a user should know about: invalid events, reserved words, time jumps,
    /// truncation.
    uint64_t errors() const { return invalidEvents + reservedWords + timeJumps + (trailingBytes ? 1 : 0); }
};

/// The event rate over a recording, for an overview of the whole of it: buckets of equal time
/// from a start time to the last time indexed so far.
struct DvsTimeline {
    uint64_t startUs = 0;  ///< start of the first bucket
    uint64_t bucketUs = 0; ///< time each bucket spans; 0 before anything is indexed
    std::vector<float> eventsPerSecond;
    /// [from, to) stretches holding decoding errors (events outside the geometry, unknown words,
    /// time jumps), and the end of a recording whose last word is cut off.
    std::vector<std::pair<uint64_t, uint64_t>> badRanges;
    bool complete = false; ///< the index covers the whole recording
};

class DvsFileReader {
public:
    struct Options {
        /// Build the index on a background thread right away (otherwise on first need, on the
        /// thread that needs it).
        bool backgroundIndex = true;
        /// Use and save the index file in the user's cache folder (never beside the recording).
        bool persistIndex = true;
    };

    static std::unique_ptr<DvsFileReader> createFileReader(std::string path);
    static std::unique_ptr<DvsFileReader> createFileReader(std::string path, const Options& options);
    /// Why the last createFileReader() on this thread returned null.
    static std::string lastCreateError();

    virtual ~DvsFileReader() = default;

    virtual bool prepareFile() = 0;
    virtual bool getStartTimestamp(uint64_t& timestampUs) = 0;
    virtual bool getEndTimestamp(uint64_t& timestampUs) = 0;
    virtual bool seekTime(uint64_t timestampUs) = 0;
    virtual std::shared_ptr<std::vector<Event2D>> getNTimeEvents(uint64_t durationUs) = 0;
    virtual std::shared_ptr<std::vector<Event2D>> getEventsInRange(uint64_t startUs, uint64_t durationUs) = 0;
    virtual bool exportRawRange(uint64_t startUs, uint64_t endUs, std::string path) = 0;
    /// Receives one batch of events (non-decreasing time, valid only during the call); returns
    /// false to stop the stream.
    using EventBatchSink = std::function<bool(const Event2D* begin, const Event2D* end)>;
    /// Streams [startUs, endUs) through `sink` on a cursor of its own. True when the range was
    /// read to its end or the sink stopped it; false on a read error (lastError()).
    virtual bool streamEventsInRange(uint64_t startUs, uint64_t endUs, const EventBatchSink& sink) = 0;
    /// A stream of the events of [startUs, endUs), starting at the index entry before startUs
    /// (the index as far as it is built now). Never null.
    virtual std::unique_ptr<DvsEventStream> openEventStream(uint64_t startUs, uint64_t endUs) = 0;
    /// At most this many events lie in [startUs, endUs), for sizing buffers: from the index where
    /// it is built (then at most one index step of payload more than the range holds; exact for
    /// the whole recording once the index is complete), from what the payload can hold beyond it.
    virtual uint64_t maxEventsInRange(uint64_t startUs, uint64_t endUs) = 0;
    /// Renders [startUs, endUs] into an H.264 .mp4 at 30 fps in the "Gray" colours (VideoExporter).
    virtual bool exportVideoRange(uint64_t startUs, uint64_t endUs, std::string path) = 0;
    /// The same with the caller's colours, frame rate, progress and cancellation.
    virtual bool exportVideoRange(uint64_t startUs, uint64_t endUs, std::string path,
                                  const VideoExportOptions& options);
    virtual bool getFileInfo(DvsFileInfo& info) = 0;
    virtual std::vector<EventTriggerIn> getTriggerList() = 0;

    // Beyond what the player uses: the CLI, recording and later work.
    virtual std::string lastError() const = 0;
    virtual uint16_t getWidth() const = 0;
    virtual uint16_t getHeight() const = 0;
    /// "EVT2", "EVT21", "EVT3" or "DAT".
    virtual std::string formatName() const = 0;
    virtual std::string serialNumber() const = 0;
    /// The header `date` as written ("YYYY-MM-DD HH:MM:SS"), "" when absent.
    virtual std::string headerDate() const = 0;
    /// Waits for the index, then fills the whole-file counts. False when the index failed.
    virtual bool getFileStats(DvsFileStats& stats) = 0;
    /// The event rate from `fromUs` (the first event's time, from getStartTimestamp) in at most
    /// `maxBuckets` buckets, from the index as far as it is built: it grows while a never-seen
    /// recording is indexed, and costs no decoding. Where in the recording the counts fall is
    /// known to the 128 KiB of the index's steps: events are spread evenly within a step. False
    /// while nothing past `fromUs` is indexed.
    virtual bool getTimeline(uint64_t fromUs, size_t maxBuckets, DvsTimeline& timeline) = 0;
    /// Share of the payload indexed so far, 0 .. 1.
    virtual double indexProgress() const = 0;
    virtual bool isIndexReady() const = 0;
    /// Blocks until the index is complete (starting it if needed); false when it failed.
    virtual bool waitForIndex() = 0;
    /// Where the index was loaded from or saved to in the cache folder, "" if it lives only in
    /// memory (the cache folder cannot be written, or persistIndex is off).
    virtual std::string indexPath() const = 0;
};

} // namespace quorvel
