// The DvsFileReader of `.raw` and `.dat` recordings, on the QuorvelHal codecs, index and cut.
//
// Reading keeps a window of decoded events [m_head, m_tail) in a reused buffer. It holds every
// event with time >= m_bufFrom that is earlier than the cursor's decoder floor (the smallest time
// any later event can have), so a request [s, e) is served by dropping what is before s and
// decoding until the floor reaches e. The player asks for overlapping windows that move forward,
// which this serves without decoding anything twice; a request before the window restarts from
// the index entry before it.

#include "quorvel/DvsFileReader.h"

#include "RawEventStream.h"
#include "quorvel/Logger.h"
#include "quorvel/QvObjectPool.h"
#include "quorvel/TimeUtils.h"
#include "quorvel/VideoExporter.h"
#include "quorvel/raw/RawCut.h"
#include "quorvel/raw/RawFile.h"
#include "quorvel/raw/RawIndex.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <mutex>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <sys/mman.h>
#include <sys/stat.h>
#include <thread>

namespace quorvel {

namespace {

thread_local std::string t_lastCreateError;

constexpr size_t kDecodeBatch = 1u << 16;
// A 33 ms frame of a dense recording is a few hundred kilobytes: reading in small chunks keeps a
// seek from copying megabytes it does not need.
constexpr size_t kReadChunk = 256u << 10;
// Streaming reads through a range once: bigger reads, and batches of 128 KiB that the consumer
// finds in the L2 cache.
constexpr size_t kStreamChunk = 1u << 20;
constexpr size_t kStreamBatch = 8192;

uint64_t satAdd(uint64_t a, uint64_t b) { return a > UINT64_MAX - b ? UINT64_MAX : a + b; }

bool lessTs(const Event2D& e, uint64_t t) { return e.timestamp < t; }

// The decoded-event window. Page faults are expensive (several microseconds each in a virtual
// machine), so the storage is allocated in 2 MiB-aligned blocks that the kernel may back with
// huge pages, and it only ever grows.
class EventStore {
public:
    EventStore() = default;
    EventStore(const EventStore&) = delete;
    EventStore& operator=(const EventStore&) = delete;
    ~EventStore() { std::free(m_data); }

    Event2D* data() { return m_data; }
    size_t size() const { return m_capacity; }

    /// Grows to at least `capacity` events, keeping the first `keep`.
    void grow(size_t capacity, size_t keep) {
        // (Small windows, those of small recordings, are not worth a huge page.)
        const size_t kAlign = capacity * sizeof(Event2D) >= (1u << 20) ? 2u << 20 : 64;
        const size_t bytes = (capacity * sizeof(Event2D) + kAlign - 1) / kAlign * kAlign;
        auto* fresh = static_cast<Event2D*>(std::aligned_alloc(kAlign, bytes));
        if (!fresh)
            throw std::bad_alloc();
        if (kAlign > 64)
            ::madvise(fresh, bytes, MADV_HUGEPAGE);
        if (keep)
            std::memcpy(static_cast<void*>(fresh), m_data, keep * sizeof(Event2D));
        std::free(m_data);
        m_data = fresh;
        m_capacity = bytes / sizeof(Event2D);
    }

private:
    Event2D* m_data = nullptr;
    size_t m_capacity = 0;
};

// The rate over [from, last entry time] in equal buckets from the index entries: each step's
// events spread evenly over the time the step spans; steps with decoding errors become bad ranges.
bool buildTimeline(const std::vector<RawIndexEntry>& en, uint64_t from, size_t maxBuckets, DvsTimeline& out) {
    out.eventsPerSecond.clear();
    if (en.size() < 2 || maxBuckets == 0 || en.back().timeUs <= from)
        return false;
    const uint64_t span = en.back().timeUs - from + 1;
    out.startUs = from;
    out.bucketUs = std::max<uint64_t>(1, (span + maxBuckets - 1) / maxBuckets);
    const size_t buckets = static_cast<size_t>((span + out.bucketUs - 1) / out.bucketUs);
    std::vector<double> counts(buckets, 0.0);
    std::vector<std::pair<uint64_t, uint64_t>> bad;
    for (size_t i = 0; i + 1 < en.size(); ++i) {
        const uint64_t a = std::max(en[i].timeUs, from);
        const uint64_t b = std::max(en[i + 1].timeUs, a);
        const double events = static_cast<double>(en[i + 1].eventsBefore - en[i].eventsBefore);
        if (en[i + 1].errorsBefore > en[i].errorsBefore) {
            if (!bad.empty() && bad.back().second >= a)
                bad.back().second = std::max(bad.back().second, b + 1);
            else
                bad.push_back({a, b + 1});
        }
        if (events == 0)
            continue;
        const size_t first = static_cast<size_t>((a - from) / out.bucketUs);
        const size_t last = std::min(buckets - 1, static_cast<size_t>((b - from) / out.bucketUs));
        if (first >= last) {
            counts[std::min(first, buckets - 1)] += events;
            continue;
        }
        const double perUs = events / static_cast<double>(b - a);
        for (size_t k = first; k <= last; ++k) {
            const uint64_t lo = std::max(a, from + k * out.bucketUs);
            const uint64_t hi = std::min(b, from + (k + 1) * out.bucketUs);
            counts[k] += perUs * static_cast<double>(hi > lo ? hi - lo : 0);
        }
    }
    out.eventsPerSecond.resize(buckets);
    const double seconds = static_cast<double>(out.bucketUs) / 1e6;
    for (size_t k = 0; k < buckets; ++k)
        out.eventsPerSecond[k] = static_cast<float>(counts[k] / seconds);
    out.badRanges.insert(out.badRanges.begin(), bad.begin(), bad.end());
    return true;
}

class RawDvsFileReader final : public DvsFileReader {
public:
    RawDvsFileReader(std::shared_ptr<RawFile> file, const Options& options)
        : m_file(std::move(file)), m_options(options), m_cur(m_file, kReadChunk) {
        RawIndexEntry start;
        start.offset = m_file->payloadBegin();
        start.state = m_cur.decoder().initialState();
        start.timeUs = start.state.floor;
        m_entries.push_back(start);
        if (m_options.persistIndex) {
            RawIndex idx;
            std::string err;
            if (idx.loadFor(*m_file, false, err)) {
                m_entries = std::move(idx.entries);
                m_triggers = std::move(idx.triggers);
                m_totals = idx.totals;
                m_indexComplete = true;
                m_indexPath = RawIndex::cachePath(*m_file);
                m_indexBytes = payloadBytes();
            } else if (err.find("damaged") != std::string::npos) {
                QV_LOG(LOG_WARNING, "rebuilding the index of " + m_file->path() + ": " + err);
            }
        }
        if (!m_indexComplete && m_options.backgroundIndex)
            startIndex();
    }

    ~RawDvsFileReader() override {
        m_cancel = true;
        if (m_indexThread.joinable())
            m_indexThread.join();
    }

    bool prepareFile() override { return true; }

    bool getStartTimestamp(uint64_t& ts) override {
        if (!firstEventTime(ts)) {
            setError("the recording holds no events");
            return false;
        }
        return true;
    }

    bool getEndTimestamp(uint64_t& ts) override {
        if (!waitForIndex())
            return false;
        std::lock_guard lock(m_indexMutex);
        if (m_totals.stats.events == 0) {
            setError("the recording holds no events");
            return false;
        }
        ts = m_totals.stats.lastEventTs;
        return true;
    }

    bool seekTime(uint64_t ts) override {
        if (!fillWindow(ts, ts))
            return false;
        while (m_head == m_tail && !m_cur.atEnd())
            if (!decodeMore(ts))
                return false;
        if (m_head == m_tail) {
            setError("no event at or after " + std::to_string(ts) + " us");
            return false;
        }
        m_pos = ts;
        m_posValid = true;
        return true;
    }

    std::shared_ptr<std::vector<Event2D>> getNTimeEvents(uint64_t duration) override {
        if (!m_posValid) {
            uint64_t first = 0;
            if (!firstEventTime(first)) {
                setError("the recording holds no events");
                return nullptr;
            }
            m_pos = first;
            m_posValid = true;
        }
        auto r = getEventsInRange(m_pos, duration);
        if (r)
            m_pos = satAdd(m_pos, duration);
        return r;
    }

    std::shared_ptr<std::vector<Event2D>> getEventsInRange(uint64_t start, uint64_t duration) override {
        const uint64_t end = satAdd(start, duration);
        if (!fillWindow(start, end))
            return nullptr;
        const Event2D* b = m_buf.data() + m_head;
        const Event2D* e = std::lower_bound(b, static_cast<const Event2D*>(m_buf.data() + m_tail), end, lessTs);
        if (b == e) {
            // Nothing in the span: an empty frame inside the recording, or past its end.
            while (m_head == m_tail && !m_cur.atEnd())
                if (!decodeMore(start))
                    return nullptr;
            if (m_head == m_tail) {
                setError("no events at or after " + std::to_string(start) + " us");
                return nullptr;
            }
            return std::make_shared<std::vector<Event2D>>();
        }
        // Result vectors come from a pool and keep their capacity, so that a frame does not
        // pay for fresh pages each time.
        auto result = m_results->acquire();
        const size_t n = static_cast<size_t>(e - b);
        if (result->capacity() < n)
            result->reserve(n + n / 2); // frames vary in size: leave room for the next ones
        result->assign(b, e);
        return result;
    }

    bool exportRawRange(uint64_t start, uint64_t end, std::string path) override {
        std::vector<RawIndexEntry> entries;
        {
            std::lock_guard lock(m_indexMutex);
            entries = m_entries;
        }
        uint64_t first = 0;
        firstEventTime(first);
        std::chrono::system_clock::time_point startTime{};
        parseLocalDateTime(m_file->header().date(), startTime);
        RawCutResult result;
        std::string err;
        if (!cutRawFile(m_file, entries, start, end, path, startTime, first, result, err)) {
            setError("cut failed: " + err);
            return false;
        }
        return true;
    }

    bool streamEventsInRange(uint64_t start, uint64_t end, const EventBatchSink& sink) override {
        if (end <= start)
            return true;
        // A batch small enough to stay in the cache is consumed while it is still there.
        RawEventStream stream(m_file, entryFor(start), start, end, kStreamChunk);
        std::vector<Event2D> batch(m_file->eventBatchFor(kStreamBatch));
        while (!stream.atEnd()) {
            const size_t n = stream.read(batch.data(), batch.size());
            if (n && !sink(batch.data(), batch.data() + n))
                return true;
        }
        if (stream.failed()) {
            setError(stream.lastError());
            return false;
        }
        return true;
    }

    std::unique_ptr<DvsEventStream> openEventStream(uint64_t start, uint64_t end) override {
        return std::make_unique<RawEventStream>(m_file, entryFor(start), start, end, kStreamChunk);
    }

    uint64_t maxEventsInRange(uint64_t start, uint64_t end) override {
        if (end <= start)
            return 0;
        std::lock_guard lock(m_indexMutex);
        const RawIndexEntry& from = RawIndex::entryFor(m_entries, start);
        // Decoded times never go down, so after the first entry whose last event time is at or
        // past the end no event of the range can come.
        const auto past = std::partition_point(m_entries.begin(), m_entries.end(),
                                               [&](const RawIndexEntry& e) { return e.state.floor < end; });
        if (past != m_entries.end() && past->offset > from.offset)
            return past->eventsBefore - from.eventsBefore;
        if (m_indexComplete)
            return m_totals.stats.events - from.eventsBefore;
        const uint64_t wordSize = m_file->header().wordSize();
        return (m_file->payloadEnd() - std::min(from.offset, m_file->payloadEnd())) / wordSize * m_maxEventsPerWord;
    }

    bool exportVideoRange(uint64_t start, uint64_t end, std::string path) override {
        return exportVideoRange(start, end, std::move(path), VideoExportOptions{});
    }

    bool exportVideoRange(uint64_t start, uint64_t end, std::string path, const VideoExportOptions& o) override {
        VideoExporter exporter(o);
        if (exporter.exportRange(*this, start, end, path))
            return true;
        setError("video export failed: " + exporter.lastError());
        return false;
    }

    bool getFileInfo(DvsFileInfo& info) override {
        uint64_t first = 0;
        const bool haveFirst = firstEventTime(first);
        info.firstTimestamp = first;
        std::chrono::system_clock::time_point tp{};
        info.startTime = {};
        if (parseLocalDateTime(m_file->header().date(), tp))
            info.startTime = std::chrono::time_point_cast<DvsFileInfo::Ticks>(tp);
        std::string text = formatName() + " " + std::to_string(getWidth()) + "x" + std::to_string(getHeight());
        if (!serialNumber().empty())
            text += ", serial " + serialNumber();
        if (!headerDate().empty())
            text += ", recorded " + headerDate();
        {
            std::lock_guard lock(m_indexMutex);
            if (m_indexComplete)
                text += ", " + std::to_string(m_totals.stats.events) + " events";
        }
        info.text = text;
        return haveFirst;
    }

    std::vector<EventTriggerIn> getTriggerList() override {
        if (!waitForIndex())
            throw std::runtime_error("cannot read the triggers of '" + m_file->path() + "': " + lastError());
        std::lock_guard lock(m_indexMutex);
        if (m_triggers.empty())
            throw std::runtime_error("no trigger records in '" + m_file->path() + "'");
        return m_triggers;
    }

    std::string lastError() const override {
        std::lock_guard lock(m_errorMutex);
        return m_error;
    }
    uint16_t getWidth() const override { return static_cast<uint16_t>(m_file->header().width); }
    uint16_t getHeight() const override { return static_cast<uint16_t>(m_file->header().height); }
    std::string formatName() const override { return rawEncodingName(m_file->header().encoding); }
    std::string serialNumber() const override { return m_file->header().serial(); }
    std::string headerDate() const override { return m_file->header().date(); }

    bool getFileStats(DvsFileStats& s) override {
        if (!waitForIndex())
            return false;
        std::lock_guard lock(m_indexMutex);
        const DecodeStats& d = m_totals.stats;
        s.events = d.events;
        s.onEvents = d.onEvents;
        s.triggers = d.triggers;
        s.firstTimestamp = d.firstEventTs;
        s.lastTimestamp = d.lastEventTs;
        s.invalidEvents = d.invalidEvents;
        s.reservedWords = d.reservedWords;
        s.trailingBytes = m_totals.trailingBytes;
        s.timeBackwards = d.timeBackwards;
        s.timeJumps = d.timeJumps;
        s.firstTimeJumpOffset = d.firstTimeJumpOffset;
        return true;
    }

    bool getTimeline(uint64_t fromUs, size_t maxBuckets, DvsTimeline& out) override {
        std::vector<RawIndexEntry> en;
        {
            std::lock_guard lock(m_indexMutex);
            en = m_entries;
            out.complete = m_indexComplete;
            if (m_indexComplete && !en.empty())
                en.back().timeUs = std::max(en.back().timeUs, m_totals.stats.lastEventTs);
            if (m_indexComplete && m_totals.trailingBytes > 0 && !en.empty())
                out.badRanges.push_back({en.back().timeUs, en.back().timeUs + 1}); // cut off at the end
        }
        return buildTimeline(en, fromUs, maxBuckets, out);
    }

    double indexProgress() const override {
        const uint64_t total = payloadBytes();
        if (total == 0)
            return 1.0;
        return std::min(1.0, static_cast<double>(m_indexBytes.load()) / static_cast<double>(total));
    }

    bool isIndexReady() const override {
        std::lock_guard lock(m_indexMutex);
        return m_indexComplete;
    }

    bool waitForIndex() override {
        {
            std::lock_guard lock(m_indexMutex);
            if (m_indexComplete)
                return true;
            if (m_indexFailed) {
                setError(m_indexError);
                return false;
            }
        }
        // Nothing builds it yet (no background indexing): build it here, on the caller's thread.
        if (!m_indexStarted.exchange(true))
            buildIndex();
        std::unique_lock lock(m_indexMutex);
        m_indexCv.wait(lock, [&] { return m_indexComplete || m_indexFailed; });
        if (m_indexFailed) {
            lock.unlock();
            setError(m_indexError);
            return false;
        }
        return true;
    }

    std::string indexPath() const override {
        std::lock_guard lock(m_indexMutex);
        return m_indexPath;
    }

private:
    uint64_t payloadBytes() const { return m_file->payloadEnd() - std::min(m_file->payloadBegin(), m_file->payloadEnd()); }

    void setError(const std::string& e) const {
        std::lock_guard lock(m_errorMutex);
        m_error = e;
    }

    void startIndex() {
        m_indexStarted = true;
        m_indexThread = std::thread([this] { buildIndex(); });
    }

    void buildIndex() {
        RawIndex idx;
        bool firstBatch = true;
        const bool ok = idx.build(m_file, m_cancel, [&](const std::vector<RawIndexEntry>& batch, uint64_t done) {
            std::lock_guard lock(m_indexMutex);
            if (firstBatch) {
                m_entries.clear(); // replaces the payload-start entry seeded by the constructor
                firstBatch = false;
            }
            m_entries.insert(m_entries.end(), batch.begin(), batch.end());
            m_indexBytes = done;
        });
        std::string savedPath;
        if (ok && m_options.persistIndex) {
            // Only keep an index of the recording as it still is.
            struct stat st {};
            if (::stat(m_file->path().c_str(), &st) == 0 &&
                static_cast<uint64_t>(st.st_size) == m_file->fileSize() &&
                static_cast<int64_t>(st.st_mtim.tv_sec) * 1000000000 + st.st_mtim.tv_nsec == m_file->mtimeNs()) {
                std::string err;
                savedPath = idx.saveFor(*m_file, err);
                if (savedPath.empty())
                    QV_LOG(LOG_WARNING, "cannot save the index of " + m_file->path() + ": " + err);
            }
        }
        {
            std::lock_guard lock(m_indexMutex);
            if (ok) {
                m_totals = idx.totals;
                m_triggers = std::move(idx.triggers);
                m_indexComplete = true;
                m_indexPath = savedPath;
            } else {
                m_indexFailed = true;
                m_indexError = m_cancel ? "indexing cancelled" : "read error while indexing '" + m_file->path() + "'";
            }
        }
        m_indexCv.notify_all();
    }

    // First event time, from the index or by decoding the start of the file.
    bool firstEventTime(uint64_t& ts) {
        {
            std::lock_guard lock(m_indexMutex);
            if (m_indexComplete) {
                ts = m_totals.stats.firstEventTs;
                return m_totals.stats.events > 0;
            }
        }
        std::lock_guard lock(m_firstMutex);
        if (!m_firstKnown) {
            RawStreamCursor c(m_file, 1u << 20);
            std::vector<Event2D> ev(m_file->eventBatchFor(256)); // only the first event is wanted
            std::vector<EventTriggerIn> tr;
            while (!c.atEnd()) {
                const size_t n = c.next(ev.data(), ev.size(), tr);
                tr.clear();
                if (n) {
                    m_first = ev[0].timestamp;
                    m_haveFirst = true;
                    break;
                }
            }
            m_firstKnown = !c.readFailed();
        }
        ts = m_first;
        return m_haveFirst;
    }

    RawIndexEntry entryFor(uint64_t t) {
        std::lock_guard lock(m_indexMutex);
        return RawIndex::entryFor(m_entries, t);
    }

    uint64_t completeBefore() const { return m_cur.atEnd() ? UINT64_MAX : m_cur.state().floor; }

    void reposition(const RawIndexEntry& e) {
        m_cur.seek(e.offset, e.state);
        m_head = m_tail = 0;
        m_bufFrom = e.offset == m_file->payloadBegin() ? 0 : e.timeUs + 1;
    }

    // Makes the window hold every event of [s, e) (and possibly more after it).
    bool fillWindow(uint64_t s, uint64_t e) {
        if (s < m_bufFrom) {
            reposition(entryFor(s));
        } else {
            // Far ahead of what is decoded: jump through the index instead of decoding the gap.
            const RawIndexEntry en = entryFor(s);
            if (en.offset > m_cur.offset() && en.timeUs >= completeBefore())
                reposition(en);
        }
        dropBefore(s);
        m_bufFrom = std::max(m_bufFrom, s);
        while (!m_cur.atEnd() && m_cur.state().floor < e)
            if (!decodeMore(s))
                return false;
        if (m_cur.readFailed()) {
            setError(m_cur.errorText());
            return false;
        }
        return true;
    }

    void dropBefore(uint64_t s) {
        const Event2D* b = m_buf.data() + m_head;
        const Event2D* e = m_buf.data() + m_tail;
        if (b != e && b->timestamp < s)
            m_head = static_cast<size_t>(std::lower_bound(b, e, s, lessTs) - m_buf.data());
    }

    bool decodeMore(uint64_t keepFrom) {
        const size_t batch = m_decodeBatch;
        if (m_buf.size() - m_tail < batch) {
            if (m_head > 0) {
                std::memmove(static_cast<void*>(m_buf.data()), m_buf.data() + m_head, (m_tail - m_head) * sizeof(Event2D));
                m_tail -= m_head;
                m_head = 0;
            }
            if (m_buf.size() - m_tail < batch)
                m_buf.grow(std::max<size_t>({m_buf.size() * 2, m_tail + batch, 2 * batch}), m_tail);
        }
        const size_t n = m_cur.next(m_buf.data() + m_tail, batch, m_trigScratch);
        m_trigScratch.clear();
        m_tail += n;
        dropBefore(keepFrom);
        if (m_cur.readFailed()) {
            setError(m_cur.errorText());
            return false;
        }
        return true;
    }

    std::shared_ptr<RawFile> m_file;
    Options m_options;

    // Index, shared with the index thread.
    mutable std::mutex m_indexMutex;
    std::condition_variable m_indexCv;
    std::vector<RawIndexEntry> m_entries;
    std::vector<EventTriggerIn> m_triggers;
    RawIndexTotals m_totals;
    bool m_indexComplete = false;
    bool m_indexFailed = false;
    std::string m_indexError;
    std::string m_indexPath;
    std::atomic<uint64_t> m_indexBytes{0};
    std::atomic<bool> m_cancel{false};
    std::thread m_indexThread;
    std::atomic<bool> m_indexStarted{false}; ///< a thread (background or a waiting caller) builds it

    // First event time before the index knows it.
    std::mutex m_firstMutex;
    bool m_firstKnown = false, m_haveFirst = false;
    uint64_t m_first = 0;

    // Foreground reading.
    RawStreamCursor m_cur;
    const size_t m_decodeBatch = m_file->eventBatchFor(kDecodeBatch);
    const uint64_t m_maxEventsPerWord = m_cur.decoder().maxEventsPerWord();
    EventStore m_buf;
    std::unique_ptr<QvObjectPool<std::vector<Event2D>>> m_results =
        std::make_unique<QvObjectPool<std::vector<Event2D>>>(2, [] { return std::make_unique<std::vector<Event2D>>(); });
    size_t m_head = 0, m_tail = 0;
    uint64_t m_bufFrom = 0;
    std::vector<EventTriggerIn> m_trigScratch;
    uint64_t m_pos = 0;
    bool m_posValid = false;

    mutable std::mutex m_errorMutex;
    mutable std::string m_error;
};

} // namespace

std::unique_ptr<DvsFileReader> DvsFileReader::createFileReader(std::string path) {
    return createFileReader(std::move(path), Options{});
}

std::unique_ptr<DvsFileReader> DvsFileReader::createFileReader(std::string path, const Options& options) {
    std::string err;
    auto file = RawFile::open(path, err);
    if (!file) {
        t_lastCreateError = err;
        return nullptr;
    }
    t_lastCreateError.clear();
    return std::make_unique<RawDvsFileReader>(std::move(file), options);
}

std::string DvsFileReader::lastCreateError() { return t_lastCreateError; }

} // namespace quorvel
