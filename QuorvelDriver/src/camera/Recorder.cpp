#include "camera/Recorder.h"

#include "quorvel/Logger.h"
#include "quorvel/raw/RawHeader.h"

#include <chrono>
#include <pthread.h>
#include <unistd.h>

namespace quorvel::detail {

Recorder::~Recorder() {
    std::string ignored;
    if (m_thread.joinable())
        finish(ignored);
}

bool Recorder::open(const std::string& path, const RecorderOptions& options, CacheSnapshot prefix,
                    std::string& error) {
    m_path = path;
    m_options = options;
    m_options.writer.atomic = false; // a failed recording must leave what it wrote
    m_options.writer.direct = true;  // fast streams: past the page cache, whose copy costs a core
    if (!m_writer.open(path, m_options.writer)) {
        error = m_writer.lastError();
        return false;
    }
    m_prefix = std::move(prefix);
    m_thread = std::thread([this] { run(); });
    return true;
}

bool Recorder::push(const Event2D* b, const Event2D* e, const EventTriggerIn* tb, const EventTriggerIn* te) {
    const size_t n = static_cast<size_t>(e - b);
    if (n == 0 && tb == te)
        return true;
    std::unique_lock lock(m_mutex);
    if (m_failed || m_closing)
        return false;
    if (m_queued + n > m_options.maxQueuedEvents && m_queued > 0) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(m_options.maxWaitMs);
        while (!m_failed && m_queued > 0 && m_queued + n > m_options.maxQueuedEvents) {
            if (m_cv.wait_until(lock, deadline) == std::cv_status::timeout &&
                m_queued + n > m_options.maxQueuedEvents && m_queued > 0) {
                failLocked("the disk cannot keep up with the event rate (no progress for " +
                           std::to_string(m_options.maxWaitMs) + " ms)");
                break;
            }
        }
        if (m_failed)
            return false;
    }
    Item item;
    if (!m_spare.empty()) {
        item = std::move(m_spare.back());
        m_spare.pop_back();
    }
    item.events.assign(b, e);
    item.triggers.assign(tb, te);
    m_queue.push_back(std::move(item));
    m_queued += n;
    m_accepted += n;
    lock.unlock();
    m_cv.notify_all();
    return true;
}

void Recorder::failLocked(const std::string& what) {
    if (m_failed)
        return;
    m_failed = true;
    m_error = what;
    Logger::Instance().log_(LOG_ERROR, __FILE__, __LINE__, "recording '" + m_path + "' failed: " + what);
}

void Recorder::writePrefix() {
    // The pre-trigger cache, unpacked a chunk at a time from its start time on.
    std::vector<Event2D> events;
    std::vector<EventTriggerIn> triggers;
    for (const auto& chunk : m_prefix.chunks) {
        if (chunk->lastUs < m_prefix.fromUs)
            continue;
        events.clear();
        events.reserve(chunk->events.size());
        for (uint64_t w : chunk->events) {
            const Event2D ev = CacheChunk::unpack(w);
            if (ev.timestamp >= m_prefix.fromUs)
                events.push_back(ev);
        }
        triggers.clear();
        for (const auto& t : chunk->triggers)
            if (t.timestamp >= m_prefix.fromUs)
                triggers.push_back(t);
        if (!m_writer.write(events, triggers)) {
            std::lock_guard lock(m_mutex);
            failLocked(m_writer.lastError());
            return;
        }
        std::lock_guard lock(m_mutex);
        m_written += events.size();
        m_accepted += events.size();
    }
    m_prefix = {};
}

void Recorder::run() {
    pthread_setname_np(pthread_self(), "qv-record");
    writePrefix();
    for (;;) {
        Item item;
        {
            std::unique_lock lock(m_mutex);
            m_cv.wait(lock, [&] { return !m_queue.empty() || m_closing || m_failed; });
            if (m_failed)
                break;
            if (m_queue.empty()) {
                if (m_closing)
                    break;
                continue;
            }
            item = std::move(m_queue.front());
            m_queue.pop_front();
        }
        const bool ok = m_writer.write(item.events, item.triggers);
        {
            std::lock_guard lock(m_mutex);
            m_queued -= item.events.size();
            if (ok)
                m_written += item.events.size();
            else
                failLocked(m_writer.lastError());
            m_bytes = m_writer.bytesWritten();
            // Buffers are kept for reuse: large vectors given back to the allocator return to the
            // kernel, and re-faulting their pages costs more than the encoding itself. Their number
            // is bounded by the queue's budget.
            item.events.clear();
            item.triggers.clear();
            m_spare.push_back(std::move(item));
        }
        m_cv.notify_all();
    }
}

void Recorder::makeValidAfterFailure() {
    // A failed write may stop in the middle of a 16-bit word: cut the payload back to whole words
    // so every reader decodes the file (it then ends with the last event written).
    RawHeader header;
    std::string err;
    if (!readRawHeader(m_path, header, err))
        return;
    const uint64_t size = m_writer.bytesWritten();
    if (size < header.payloadOffset)
        return;
    const uint64_t payload = (size - header.payloadOffset) & ~uint64_t{1};
    if (::truncate(m_path.c_str(), static_cast<off_t>(header.payloadOffset + payload)) != 0)
        Logger::Instance().log_(LOG_WARNING, __FILE__, __LINE__, "cannot trim '" + m_path + "'");
}

bool Recorder::finish(std::string& error) {
    {
        std::lock_guard lock(m_mutex);
        m_closing = true;
    }
    m_cv.notify_all();
    if (m_thread.joinable())
        m_thread.join();
    const bool closed = m_writer.close();
    std::lock_guard lock(m_mutex);
    if (!closed && !m_failed)
        failLocked(m_writer.lastError());
    m_bytes = m_writer.bytesWritten();
    if (m_failed) {
        makeValidAfterFailure();
        error = m_error;
        return false;
    }
    return true;
}

bool Recorder::failed() const {
    std::lock_guard lock(m_mutex);
    return m_failed;
}

std::string Recorder::error() const {
    std::lock_guard lock(m_mutex);
    return m_error;
}

uint64_t Recorder::eventsWritten() const {
    std::lock_guard lock(m_mutex);
    return m_written;
}

uint64_t Recorder::bytesWritten() const {
    std::lock_guard lock(m_mutex);
    return m_bytes;
}

} // namespace quorvel::detail
