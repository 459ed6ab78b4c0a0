#pragma once
// Writes a camera's stream into a `.raw` recording (EVT 3.0) on a thread of its own.
//
// The streaming thread hands over copies of its batches; the writer thread encodes and writes
// them. Recording never drops an event: when the writer falls behind, push() waits for room (the
// queue is bounded, so memory stays bounded), which slows a virtual camera down instead of losing
// data. If the writer cannot make room for a long time, or the disk fails, the recording ends with
// an error, the file is cut back to the last whole word and stays a valid recording of everything
// written until then.
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
    /// Events the queue may hold before push() waits (16 bytes each).
    size_t maxQueuedEvents = 8u << 20;
    /// How long push() waits for room before the recording fails as "disk too slow".
    uint32_t maxWaitMs = 10000;
};

class Recorder {
public:
    Recorder() = default;
    ~Recorder();
    Recorder(const Recorder&) = delete;
    Recorder& operator=(const Recorder&) = delete;

    /// Creates the file and starts the writer thread; `prefix` (the pre-trigger cache) is written
    /// first.
    bool open(const std::string& path, const RecorderOptions& options, CacheSnapshot prefix, std::string& error);
    /// Queues a batch. False once the recording has failed (nothing more is accepted).
    bool push(const Event2D* b, const Event2D* e, const EventTriggerIn* tb, const EventTriggerIn* te);
    /// Writes what is queued, closes the file and joins the thread. False when anything failed.
    bool finish(std::string& error);

    bool failed() const;
    std::string error() const;
    const std::string& path() const { return m_path; }
    uint64_t eventsAccepted() const { return m_accepted; }
    uint64_t eventsWritten() const;
    uint64_t bytesWritten() const;

private:
    struct Item {
        std::vector<Event2D> events;
        std::vector<EventTriggerIn> triggers;
    };
    void run();
    void writePrefix();
    void failLocked(const std::string& what);
    void makeValidAfterFailure();

    std::string m_path;
    RecorderOptions m_options;
    RawFileWriter m_writer;
    CacheSnapshot m_prefix;

    mutable std::mutex m_mutex;
    std::condition_variable m_cv;
    std::deque<Item> m_queue;
    std::vector<Item> m_spare;
    size_t m_queued = 0;
    bool m_closing = false;
    bool m_failed = false;
    std::string m_error;
    uint64_t m_accepted = 0;
    uint64_t m_written = 0;
    uint64_t m_bytes = 0;
    std::thread m_thread;
};

} // namespace quorvel::detail
