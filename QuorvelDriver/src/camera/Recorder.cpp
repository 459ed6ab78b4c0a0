#include "camera/Recorder.h"

#include "quorvel/Logger.h"
#include "quorvel/raw/RawHeader.h"

#include <chrono>
#include <cstdio>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

namespace quorvel::detail {

using Clock = std::chrono::steady_clock;

Recorder::~Recorder() {
    std::string ignored;
    if (m_thread.joinable())
        finish(ignored);
}

bool Recorder::open(const std::string& path, const RecorderOptions& options, CacheSnapshot prefix,
                    std::string& error) {
    m_path = path;
    m_options = options;
    m_options.writer.atomic = false; // a failed or killed recording must leave what it wrote
    m_options.writer.direct = options.direct; // fast streams: past the page cache, whose copy costs a core
    if (!m_writer.open(path, m_options.writer)) {
        error = m_writer.lastError();
        return false;
    }
    m_prefix = std::move(prefix);
    m_thread = std::thread([this] { run(); });
    if (m_options.flushMs)
        m_syncThread = std::thread([this] { syncLoop(); });
    return true;
}

void Recorder::syncLoop() {
    pthread_setname_np(pthread_self(), "qv-record-sync");
    std::unique_lock lock(m_syncMutex);
    for (;;) {
        m_syncCv.wait(lock, [&] { return m_syncWanted || m_syncStop; });
        if (m_syncStop)
            return;
        m_syncWanted = false;
        lock.unlock();
        std::string err;
        const bool ok = m_writer.syncToDisk(err);
        lock.lock();
        if (!ok) {
            std::lock_guard l(m_mutex);
            failLocked(err);
        }
    }
}

Recorder::Push Recorder::push(const Event2D* b, const Event2D* e, const EventTriggerIn* tb, const EventTriggerIn* te) {
    const size_t n = static_cast<size_t>(e - b);
    if (n == 0 && tb == te)
        return Push::Queued;
    const size_t bytes = n * sizeof(Event2D) + static_cast<size_t>(te - tb) * sizeof(EventTriggerIn);
    std::unique_lock lock(m_mutex);
    if (m_failed || m_closing)
        return Push::Failed;
    const auto full = [&] { return m_queuedBytes > 0 && m_queuedBytes + bytes > m_options.maxQueuedBytes; };
    if (full()) {
        if (m_options.dropWhenFull)
            return Push::Dropped;
        const auto deadline = Clock::now() + std::chrono::milliseconds(m_options.maxWaitMs);
        while (!m_failed && full()) {
            if (m_cv.wait_until(lock, deadline) == std::cv_status::timeout && full()) {
                failLocked("the disk cannot keep up with the event rate (no progress for " +
                           std::to_string(m_options.maxWaitMs) + " ms)");
                break;
            }
        }
        if (m_failed)
            return Push::Failed;
    }
    Item item;
    if (!m_spare.empty()) {
        item = std::move(m_spare.back());
        m_spare.pop_back();
        m_spareCapacity -= item.capacityBytes();
    }
    item.events.assign(b, e);
    item.triggers.assign(tb, te);
    m_queuedBytes += item.bytes();
    m_queuedCapacity += item.capacityBytes();
    m_queue.push_back(std::move(item));
    m_accepted += n;
    lock.unlock();
    m_cv.notify_all();
    return Push::Queued;
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
    const auto period = std::chrono::milliseconds(m_options.flushMs);
    auto nextFlush = Clock::now() + period;
    bool unflushed = true; // the cache prefix, or nothing yet
    for (;;) {
        Item item;
        bool have = false;
        {
            std::unique_lock lock(m_mutex);
            const auto ready = [&] { return !m_queue.empty() || m_closing || m_failed; };
            if (m_options.flushMs && unflushed)
                m_cv.wait_until(lock, nextFlush, ready);
            else
                m_cv.wait(lock, ready);
            if (m_failed)
                break;
            if (!m_queue.empty()) {
                item = std::move(m_queue.front());
                m_queue.pop_front();
                have = true;
            } else if (m_closing) {
                break;
            }
        }
        if (have) {
            const bool ok = m_writer.write(item.events, item.triggers);
            unflushed = true;
            std::lock_guard lock(m_mutex);
            m_queuedBytes -= item.bytes();
            m_queuedCapacity -= item.capacityBytes();
            if (ok)
                m_written += item.events.size();
            else
                failLocked(m_writer.lastError());
            m_bytes = m_writer.bytesWritten();
            // Buffers are kept for reuse, as many as a quarter of the queue's budget: large vectors
            // given back to the allocator return to the kernel, and re-faulting their pages costs
            // more than the encoding itself.
            item.events.clear();
            item.triggers.clear();
            if (m_spareCapacity + item.capacityBytes() <= m_options.maxQueuedBytes / 4) {
                m_spareCapacity += item.capacityBytes();
                m_spare.push_back(std::move(item));
            }
        }
        m_cv.notify_all();
        if (m_options.flushMs && unflushed && Clock::now() >= nextFlush) {
            // In the file at least every period, so a kill leaves it readable up to about then;
            // on the disk soon after, for a power cut.
            if (!m_writer.flush(false)) {
                std::lock_guard lock(m_mutex);
                failLocked(m_writer.lastError());
                break;
            }
            {
                std::lock_guard lock(m_syncMutex);
                m_syncWanted = true;
            }
            m_syncCv.notify_one();
            unflushed = false;
            nextFlush = Clock::now() + period;
        }
    }
}

void Recorder::cleanUpAfterFailure() {
    // A failed write may stop in the middle of a word: cut the payload back to whole words so
    // every reader decodes the file (it then ends with the last event written). A file without a
    // complete header or without any payload holds no events and is removed.
    RawHeader header;
    std::string err;
    struct stat st {};
    if (::stat(m_path.c_str(), &st) == 0 && !S_ISREG(st.st_mode))
        return; // a device or a pipe: nothing to trim, and reading it back would block
    const bool exists = ::stat(m_path.c_str(), &st) == 0;
    const uint64_t size = exists ? static_cast<uint64_t>(st.st_size) : 0;
    if (exists && readRawHeader(m_path, header, err) && size > header.payloadOffset) {
        const uint64_t ws = header.wordSize();
        const uint64_t payload = (size - header.payloadOffset) / ws * ws;
        if (payload > 0) {
            if (::truncate(m_path.c_str(), static_cast<off_t>(header.payloadOffset + payload)) != 0)
                Logger::Instance().log_(LOG_WARNING, __FILE__, __LINE__, "cannot trim '" + m_path + "'");
            return;
        }
    }
    if (exists && std::remove(m_path.c_str()) == 0)
        m_error += "; nothing was recorded, so '" + m_path + "' was removed";
}

bool Recorder::finish(std::string& error) {
    {
        std::lock_guard lock(m_mutex);
        m_closing = true;
    }
    m_cv.notify_all();
    if (m_thread.joinable())
        m_thread.join();
    {
        std::lock_guard lock(m_syncMutex);
        m_syncStop = true;
    }
    m_syncCv.notify_one();
    if (m_syncThread.joinable())
        m_syncThread.join(); // before the file closes under it
    const bool closed = m_writer.close();
    std::lock_guard lock(m_mutex);
    if (!closed && !m_failed)
        failLocked(m_writer.lastError());
    m_bytes = m_writer.bytesWritten();
    if (m_failed) {
        cleanUpAfterFailure();
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

size_t Recorder::heldBytes() const {
    std::lock_guard lock(m_mutex);
    return m_queuedCapacity + m_spareCapacity;
}

} // namespace quorvel::detail
