#pragma once
// Writes a camera's stream into a `.raw` recording (EVT 3.0) on a thread of its own.
//
// The streaming thread hands over copies of its batches; the writer thread encodes and writes
// them. The queue between them is bounded in bytes (RecorderOptions::maxQueuedBytes, plus at most
// a quarter of that in buffers kept for reuse), so memory stays flat whatever the event rate.
// When the writer falls behind and the queue is full:
// - a live camera (dropWhenFull) cannot wait: the batch is left out and push() says so, and the
//   camera counts it as lost from the recording;
// - an offline source waits for room instead, which only slows it down; if no room comes for
//   maxWaitMs the recording fails as "the disk cannot keep up".
//
// What was given is put into the file at least every flushMs (whole words), so a recording killed
// without warning (kill -9) is readable up to that long before; a thread of its own then puts it
// on the disk (fdatasync) for a power loss, so a slow disk's sync never holds up the writing.
// If the disk fails, the recording ends with an error and the file is cut back to the last whole
// word, staying a valid recording of everything written until then; a file that holds no events
// at all is removed, and the error says so.
//
// Thread rules: push() from one producer thread; finish() from any thread, once.

#include "camera/EventCache.h"
#include "quorvel/Event2D.h"
#include "quorvel/raw/RawFileWriter.h"

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace quorvel::detail {

struct RecorderOptions {
    RawFileWriter::Options writer;
    /// Bytes of events (16 each) and triggers the queue may hold.
    size_t maxQueuedBytes = 128u << 20;
    /// Live cameras: a batch that finds the queue full is left out instead of waited for.
    bool dropWhenFull = false;
    /// Offline sources: how long push() waits for room before the recording fails.
    uint32_t maxWaitMs = 10000;
    /// How often what was given is made durable in the file (0: only at the end).
    uint32_t flushMs = 250;
    /// Past the page cache (RawFileWriter::Options::direct), which fast streams need; off only
    /// for outputs that are no files (a pipe).
    bool direct = true;
};

class Recorder {
public:
    enum class Push { Queued, Dropped, Failed };

    Recorder() = default;
    ~Recorder();
    Recorder(const Recorder&) = delete;
    Recorder& operator=(const Recorder&) = delete;

    /// Creates the file and starts the writer thread; `prefix` (the pre-trigger cache) is written
    /// first.
    bool open(const std::string& path, const RecorderOptions& options, CacheSnapshot prefix, std::string& error);
    /// Queues a batch. Dropped: the queue was full (dropWhenFull). Failed: the recording has
    /// failed or is closing, nothing more is accepted.
    Push push(const Event2D* b, const Event2D* e, const EventTriggerIn* tb, const EventTriggerIn* te);
    /// Writes what is queued, closes the file and joins the thread. False when anything failed.
    bool finish(std::string& error);

    bool failed() const;
    std::string error() const;
    const std::string& path() const { return m_path; }
    uint64_t eventsAccepted() const { return m_accepted; }
    uint64_t eventsWritten() const;
    uint64_t bytesWritten() const;
    /// Bytes the queue and its reusable buffers hold now.
    size_t heldBytes() const;

private:
    struct Item {
        std::vector<Event2D> events;
        std::vector<EventTriggerIn> triggers;
        size_t bytes() const { return events.size() * sizeof(Event2D) + triggers.size() * sizeof(EventTriggerIn); }
        size_t capacityBytes() const {
            return events.capacity() * sizeof(Event2D) + triggers.capacity() * sizeof(EventTriggerIn);
        }
    };
    void run();
    void syncLoop();
    void writePrefix();
    void failLocked(const std::string& what);
    /// After a failure: whole words only, and no file at all when it holds no events.
    void cleanUpAfterFailure();

    std::string m_path;
    RecorderOptions m_options;
    RawFileWriter m_writer;
    CacheSnapshot m_prefix;

    mutable std::mutex m_mutex;
    std::condition_variable m_cv;
    std::deque<Item> m_queue;
    std::vector<Item> m_spare;
    size_t m_queuedBytes = 0, m_queuedCapacity = 0, m_spareCapacity = 0;
    bool m_closing = false;
    bool m_failed = false;
    std::string m_error;
    uint64_t m_accepted = 0;
    uint64_t m_written = 0;
    uint64_t m_bytes = 0;
    std::thread m_thread;
    // The syncing thread: asked by the writer after each flush.
    std::mutex m_syncMutex;
    std::condition_variable m_syncCv;
    bool m_syncWanted = false, m_syncStop = false;
    std::thread m_syncThread;
};

} // namespace quorvel::detail
