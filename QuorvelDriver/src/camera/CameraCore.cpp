#include "camera/CameraCore.h"

#include <sys/mman.h>

#include "quorvel/JsonUtils.h"
#include "quorvel/Logger.h"

#include <algorithm>
#include <pthread.h>

namespace quorvel::detail {

namespace {
// Fresh batch buffers are tens of megabytes at high rates, and the streaming thread pays for
// their first touch while a camera starts. Where transparent huge pages are allowed on request,
// that costs about half as much (measured on a virtual machine: 5.8 against 11 us per 4 KiB).
void adviseHugePages(std::vector<Event2D>& v) {
    constexpr uintptr_t kHuge = 2u << 20;
    const auto begin = (reinterpret_cast<uintptr_t>(v.data()) + kHuge - 1) & ~(kHuge - 1);
    const auto end = (reinterpret_cast<uintptr_t>(v.data() + v.capacity())) & ~(kHuge - 1);
    if (end > begin)
        ::madvise(reinterpret_cast<void*>(begin), end - begin, MADV_HUGEPAGE);
}
} // namespace

namespace {
constexpr uint32_t kChunkUs = 2000;
constexpr uint32_t kMinIntervalUs = 100;
constexpr uint32_t kMaxIntervalUs = 1000000;
constexpr size_t kMaxSpare = 16;
/// How far a simulated sensor may fall behind the wall clock before it skips ahead.
constexpr uint64_t kMaxLagUs = 200000;
} // namespace

CameraCore::CameraCore(CameraDescription desc, std::unique_ptr<EventSource> source, const CameraCoreOptions& options)
    : m_desc(std::move(desc)), m_source(std::move(source)), m_options(options), m_width(m_source->width()),
      m_height(m_source->height()), m_pipeline(m_width, m_height), m_queueLimit(options.maxQueuedEvents),
      m_recordingQueueBytes(options.recordingQueueBytes) {
    m_source->setLossLog(m_loss.get());
    m_desc.width = m_width;
    m_desc.height = m_height;
    if (m_options.remote) {
        for (auto& t : m_options.remote->tools())
            m_tools[t->getToolType()] = t;
        m_toolGenerations.assign(m_tools.size(), UINT64_MAX);
        return;
    }
    if (m_source->hasBiases())
        m_tools[TOOL_BIASES] = makeBiasesTool();
    m_tools[TOOL_TRIGGER_IN] = makeTriggerInTool();
    m_tools[TOOL_ANTI_FLICKER] = makeAntiFlickerTool();
    m_tools[TOOL_EVENT_TRAIL_FILTER] = makeEventTrailFilterTool();
    m_tools[TOOL_EVENT_RATE_CONTROL] = makeEventRateControlTool();
    m_tools[TOOL_ROI] = makeRoiTool(m_width, m_height);
    if (m_options.fusion)
        m_tools[TOOL_APS] = makeApsTool();
    m_toolGenerations.assign(m_tools.size(), UINT64_MAX);
}

CameraCore::~CameraCore() {
    stop();
    std::unique_ptr<Recorder> rec;
    {
        std::lock_guard lock(m_recMutex);
        rec = std::move(m_recorder);
    }
    if (rec) {
        std::string err;
        rec->finish(err);
    }
}

std::shared_ptr<ParameterTool> CameraCore::tool(ToolType type) const {
    auto it = m_tools.find(type);
    return it == m_tools.end() ? nullptr : it->second;
}

std::vector<ToolInfo> CameraCore::toolsInfo() const {
    std::vector<ToolInfo> out;
    for (const auto& [type, t] : m_tools)
        out.push_back(t->getToolInfo());
    return out;
}

void CameraCore::setError(const std::string& e) const {
    std::lock_guard lock(m_errorMutex);
    m_error = e;
}

std::string CameraCore::lastError() const {
    {
        std::lock_guard lock(m_errorMutex);
        if (!m_error.empty())
            return m_error;
    }
    // The link may have gone before the streaming thread noticed and said why.
    if (m_options.remote && !m_options.remote->linkUp())
        return m_options.remote->linkError();
    return {};
}

bool CameraCore::loadConfig(const std::string& path) {
    Json doc;
    std::string err;
    if (!readJsonFile(path, doc, &err)) {
        setError(err);
        return false;
    }
    if (!doc.is_object()) {
        setError("'" + path + "' is not a camera configuration (a JSON object of tool sections)");
        return false;
    }
    if (m_options.remote) {
        if (!m_options.remote->loadConfig(doc, err)) {
            setError("'" + path + "': " + err);
            return false;
        }
        return true;
    }
    if (!applyConfig(doc, err)) {
        setError("'" + path + "': " + err);
        return false;
    }
    return true;
}

bool CameraCore::applyConfig(const Json& doc, std::string& error) {
    std::vector<std::pair<ParameterTool*, ValueMap>> changes;
    for (const auto& [type, t] : m_tools) {
        auto it = doc.find(toolSectionKey(type));
        if (it == doc.end())
            continue;
        ValueMap ch;
        if (!t->changesFromJson(*it, ch, error) || !t->validate(ch, error))
            return false;
        changes.emplace_back(t.get(), std::move(ch));
    }
    for (size_t i = 0; i < changes.size(); ++i) {
        ValueMap before = changes[i].first->values();
        if (changes[i].first->apply(changes[i].second, error)) {
            changes[i].second = std::move(before);
            continue;
        }
        std::string ignored;
        while (i-- > 0)
            changes[i].first->apply(changes[i].second, ignored);
        return false;
    }
    return true;
}

bool CameraCore::exportConfig(const std::string& path) {
    Json doc = Json::object();
    for (const auto& [type, t] : m_tools)
        doc[toolSectionKey(type)] = t->toJson();
    std::string err;
    if (m_options.remote && !m_options.remote->exportConfig(doc, err)) {
        setError(err);
        return false;
    }
    if (!writeJsonFile(path, doc, &err)) {
        setError(err);
        return false;
    }
    return true;
}

void CameraCore::refreshSettings() {
    if (m_options.remote)
        return; // the daemon filters
    bool changed = false;
    size_t i = 0;
    for (const auto& [type, t] : m_tools) {
        const uint64_t g = t->generation();
        if (g != m_toolGenerations[i]) {
            m_toolGenerations[i] = g;
            changed = true;
        }
        ++i;
    }
    if (!changed)
        return;
    std::vector<std::shared_ptr<ParameterTool>> list;
    for (const auto& [type, t] : m_tools)
        list.push_back(t);
    const PipelineSettings s = readPipelineSettings(list, m_width, m_height);
    m_pipeline.configure(s);
    if (m_source->hasBiases())
        m_source->setBiases(s.biases);
}

int CameraCore::start() {
    std::lock_guard lock(m_runMutex);
    if (m_running)
        return 0;
    if (m_thread.joinable())
        m_thread.join(); // a stream that ended on its own
    if (!m_connected) {
        setError("camera " + m_desc.serial + " is not connected");
        return -1;
    }
    const auto sinceOpen = std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - m_opened);
    // A live sensor's clock runs from when it was opened; an offline simulation starts at zero.
    const uint64_t hint = m_options.realtime ? static_cast<uint64_t>(sinceOpen.count()) : 0;
    if (!m_source->restart(hint)) {
        setError(m_source->lastError());
        return -2;
    }
    std::fill(m_toolGenerations.begin(), m_toolGenerations.end(), UINT64_MAX);
    refreshSettings();
    {
        std::lock_guard c(m_counterMutex);
        m_counters = {};
    }
    m_loss->reset();
    m_rateEvents = m_ratePrevEvents = m_ratePrevUs = 0;
    m_rateFromUs = m_source->now();
    m_queueDropping = m_recordingDropping = false;
    {
        // Events of an earlier stream are stale for whoever polls the new one.
        std::lock_guard q(m_queueMutex);
        for (auto& v : m_queue) {
            v.clear();
            if (m_spare.size() < kMaxSpare && m_spareEvents + v.capacity() <= m_queueLimit / 4) {
                m_spareEvents += v.capacity();
                m_spare.push_back(std::move(v));
            }
        }
        m_queue.clear();
        m_queued = 0;
    }
    m_running = true;
    m_thread = std::thread([this] { run(); });
    return 0;
}

bool CameraCore::stop() {
    std::lock_guard lock(m_runMutex);
    const bool was = m_running.exchange(false);
    if (m_thread.joinable())
        m_thread.join();
    if (was && m_options.remote)
        m_options.remote->stopStream();
    return was;
}

void CameraCore::run() {
    pthread_setname_np(pthread_self(), "qv-stream");
    std::vector<Event2D> batch;
    std::vector<EventTriggerIn> batchTr;
    const auto wall0 = std::chrono::steady_clock::now();
    const uint64_t sens0 = m_source->now();
    uint64_t batchStart = sens0, batchProduced = 0;
    m_statStart = wall0;
    m_statEvents = m_statBytes = 0;
    m_statRemoteBytes = m_options.remote ? m_options.remote->receivedBytes() : 0;
    m_statEncoder.reset(); // a new stream starts its own time words
    while (m_running.load(std::memory_order_relaxed)) {
        const auto now = std::chrono::steady_clock::now();
        statistics(now);
        if (m_options.realtime) {
            // A sensor cannot run ahead of the wall clock; when the source is slower than real
            // time the stream simply lags (and the statistics show the lower rate).
            const uint64_t target =
                sens0 + static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::microseconds>(now - wall0).count());
            if (m_source->now() >= target) {
                const uint64_t ahead = m_source->now() - target;
                std::this_thread::sleep_for(std::chrono::microseconds(std::min<uint64_t>(ahead + 200, 20000)));
                continue;
            }
            // A live sensor never lags: when the simulation cannot keep up (a busy scene on a busy
            // machine, a host that stalled the process) it skips ahead like a sensor whose readout
            // FIFO overflows, and counts what that loses.
            if (target - m_source->now() > kMaxLagUs)
                skipAhead(target);
        }
        uint32_t chunk = kChunkUs;
        if (m_options.durationUs) {
            const uint64_t end = sens0 + m_options.durationUs;
            if (m_source->now() >= end)
                break;
            chunk = static_cast<uint32_t>(std::min<uint64_t>(chunk, end - m_source->now()));
        }
        refreshSettings();
        // The source appends to the batch directly; the filters then see only the new slice.
        const size_t evFrom = batch.size(), trFrom = batchTr.size();
        if (!m_source->next(chunk, batch, batchTr)) {
            const std::string err = m_source->lastError();
            setError(err);
            Logger::Instance().log_(LOG_ERROR, __FILE__, __LINE__, "camera " + m_desc.serial + " lost: " + err);
            m_connected = false;
            if (m_options.remote)
                statistics(now, true); // one last report, so the loss shows after the stream ends
            break;
        }
        batchProduced += batch.size() - evFrom;
        m_rateEvents += batch.size() - evFrom;
        if (m_source->now() - m_rateFromUs >= 1000000) {
            m_ratePrevEvents = m_rateEvents;
            m_ratePrevUs = m_source->now() - m_rateFromUs;
            m_rateEvents = 0;
            m_rateFromUs = m_source->now();
        }
        if (!m_options.remote)
            m_pipeline.process(batch, evFrom, batchTr, trFrom);
        if (m_source->now() - batchStart >= m_intervalUs.load(std::memory_order_relaxed)) {
            deliver(batch, batchTr, batchProduced);
            batchStart = m_source->now();
            batchProduced = 0;
        }
    }
    deliver(batch, batchTr, batchProduced);
    m_running = false;
}

void CameraCore::skipAhead(uint64_t target) {
    const uint64_t from = m_source->now();
    if (!m_source->skipTo(target))
        return;
    uint64_t lost = 0;
    if (const auto exact = m_source->eventsBetween(from, target)) {
        lost = *exact;
    } else {
        // A simulated scene cannot say what it would have shown without simulating it: the rate
        // of the last second or two stands in for it.
        const uint64_t events = m_ratePrevEvents + m_rateEvents;
        const uint64_t spanUs = m_ratePrevUs + (from - m_rateFromUs);
        lost = spanUs ? static_cast<uint64_t>(static_cast<double>(events) * static_cast<double>(target - from) /
                                              static_cast<double>(spanUs))
                      : 0;
    }
    m_rateFromUs = target;
    m_rateEvents = 0;
    {
        std::lock_guard c(m_counterMutex);
        m_counters.skippedUs += target - from;
    }
    m_loss->add(LossPlace::Camera, from, target, lost);
    Logger::Instance().log_(LOG_WARNING, __FILE__, __LINE__,
                            "camera " + m_desc.serial + " fell " + std::to_string((target - from) / 1000) +
                                " ms behind its sensor and skipped ahead: " + std::to_string(lost) + " events lost");
}

uint64_t CameraCore::encodedSize(const Event2D* b, const Event2D* e, const EventTriggerIn* tb,
                                 const EventTriggerIn* te) {
    // What the stream costs on the wire: the bytes our EVT 3.0 writer spends on it, vectors and
    // time words included (the same as a recording of it).
    if (b == e && tb == te)
        return 0;
    if (!m_statEncoder) {
        m_statEncoder = EventEncoder::create(RawEncoding::Evt3, m_source->width(), m_source->height());
        m_statEncoder->begin(m_statEncoder->timeBaseFor(b != e ? b->timestamp : tb->timestamp));
    }
    m_statEncoder->encode(b, e, tb, te);
    const uint64_t bytes = m_statEncoder->size();
    m_statEncoder->clearBuffer();
    return bytes;
}

void CameraCore::statistics(std::chrono::steady_clock::time_point now, bool final) {
    const auto elapsed = now - m_statStart;
    if (elapsed < std::chrono::seconds(1) && !final)
        return;
    const double sec = std::max(std::chrono::duration<double>(elapsed).count(), 1e-3);
    QvStatisticInfo info(static_cast<uint64_t>(m_statBytes / sec), static_cast<uint64_t>(m_statEvents / sec));
    if (m_options.remote) {
        const uint64_t received = m_options.remote->receivedBytes();
        info.bandwidth = static_cast<uint64_t>((received - m_statRemoteBytes) / sec);
        m_statRemoteBytes = received;
    }
    info.lostPackets = m_loss->lostPackets();
    info.lostEvents = m_loss->lostEvents();
    m_statStart = now;
    m_statEvents = m_statBytes = 0;
    StatisticCallbackFn cb;
    {
        std::lock_guard lock(m_cbMutex);
        cb = m_statCb;
    }
    if (cb)
        cb(info);
}

void CameraCore::deliver(std::vector<Event2D>& batch, std::vector<EventTriggerIn>& batchTr, uint64_t produced) {
    const Event2D* b = batch.data();
    const Event2D* e = b + batch.size();
    m_statEvents += batch.size();
    // The per-event size estimate is only worth its cost when someone reads the statistics (a
    // camera daemon never does); network cameras count the bytes they really received.
    if (!m_options.remote && m_hasStatCb.load(std::memory_order_relaxed))
        m_statBytes += encodedSize(b, e, batchTr.data(), batchTr.data() + batchTr.size());
    {
        std::lock_guard c(m_counterMutex);
        m_counters.produced += produced;
        m_counters.delivered += batch.size();
        m_counters.triggers += batchTr.size();
        m_counters.filtered = m_pipeline.dropped();
    }
    if (batch.empty() && batchTr.empty())
        return;

    // Callbacks are called without the lock, so they may add callbacks or call into the camera.
    std::vector<EventsCallbackFn> evCbs;
    std::vector<TriggerCallbackFn> trCbs;
    {
        std::lock_guard lock(m_cbMutex);
        for (const auto& [id, fn] : m_eventCbs)
            evCbs.push_back(fn);
        if (!batchTr.empty())
            for (const auto& [id, fn] : m_triggerCbs)
                trCbs.push_back(fn);
    }
    if (!batch.empty())
        for (auto& fn : evCbs)
            fn(b, e);
    for (const EventTriggerIn& t : batchTr)
        for (auto& fn : trCbs)
            fn(t);

    {
        std::lock_guard lock(m_recMutex);
        if (m_cache)
            m_cache->append(b, e, batchTr.data(), batchTr.data() + batchTr.size());
        if (m_recorder && !m_recorder->failed()) {
            switch (m_recorder->push(b, e, batchTr.data(), batchTr.data() + batchTr.size())) {
            case Recorder::Push::Queued: m_recordingDropping = false; break;
            case Recorder::Push::Dropped:
                // The disk is slower than the stream: this batch is not in the file, and says so.
                if (b != e)
                    m_loss->add(LossPlace::Recording, b->timestamp, (e - 1)->timestamp, batch.size(), 0,
                                m_recordingDropping);
                m_recordingDropping = true;
                break;
            case Recorder::Push::Failed:
                setError("recording '" + m_recorder->path() + "' failed: " + m_recorder->error());
                break;
            }
        }
    }

    if (!batch.empty())
        queueBatch(batch);
    batch.clear();
    batchTr.clear();
}

void CameraCore::queueBatch(std::vector<Event2D>& batch) {
    const size_t limit = m_queueLimit.load(std::memory_order_relaxed);
    std::lock_guard lock(m_queueMutex);
    if (limit == 0) {
        // Nobody polls (a daemon, a recorder): the batch buffer is simply used again.
        for (auto& v : m_queue)
            m_queued -= v.size();
        m_queue.clear();
        m_spare.clear();
        m_spareEvents = 0;
        return;
    }
    m_queued += batch.size();
    std::vector<Event2D> next;
    if (!m_spare.empty()) {
        next = std::move(m_spare.back());
        m_spare.pop_back();
        m_spareEvents -= next.capacity();
    } else {
        next.reserve(batch.capacity()); // the next batch will be about as large: no regrowing
        adviseHugePages(next);
    }
    m_queue.push_back(std::move(batch));
    batch = std::move(next);
    // Nobody is reading fast enough: drop the oldest batches, and count them. Memory stays within
    // the limit plus a batch, and a quarter of it in buffers kept for reuse.
    bool dropped = false;
    while (m_queued > limit && m_queue.size() > 1) {
        std::vector<Event2D>& old = m_queue.front();
        m_queued -= old.size();
        {
            std::lock_guard c(m_counterMutex);
            m_counters.queueDropped += old.size();
        }
        m_loss->add(LossPlace::Queue, old.front().timestamp, old.back().timestamp, old.size(), 0,
                    m_queueDropping || dropped);
        dropped = true;
        old.clear();
        if (m_spare.size() < kMaxSpare && m_spareEvents + old.capacity() <= limit / 4) {
            m_spareEvents += old.capacity();
            m_spare.push_back(std::move(old));
        }
        m_queue.pop_front();
    }
    m_queueDropping = dropped;
}

bool CameraCore::getEvents(std::vector<Event2D>& out) {
    std::deque<std::vector<Event2D>> taken;
    size_t total = 0;
    {
        std::lock_guard lock(m_queueMutex);
        if (m_queue.empty()) {
            out.clear();
            return false;
        }
        // One batch is handed over as it is, unless `out` already has room for it: a caller's
        // vector that keeps its (largest) buffer never makes the next join allocate afresh.
        if (m_queue.size() == 1 && out.capacity() < m_queue.front().size()) {
            out.swap(m_queue.front());
            m_queue.front().clear();
            if (m_spare.size() < kMaxSpare && m_spareEvents + m_queue.front().capacity() <= m_queueLimit / 4) {
                m_spareEvents += m_queue.front().capacity();
                m_spare.push_back(std::move(m_queue.front()));
            }
            m_queue.clear();
            m_queued = 0;
            return !out.empty();
        }
        // Otherwise joined outside the lock, so the streaming thread never waits for the copy.
        taken.swap(m_queue);
        total = m_queued;
        m_queued = 0;
    }
    out.clear();
    out.reserve(total);
    for (const auto& v : taken)
        out.insert(out.end(), v.begin(), v.end());
    std::lock_guard lock(m_queueMutex);
    for (auto& v : taken) {
        v.clear();
        if (m_spare.size() < kMaxSpare && m_spareEvents + v.capacity() <= m_queueLimit / 4) {
            m_spareEvents += v.capacity();
            m_spare.push_back(std::move(v));
        }
    }
    return !out.empty();
}

int CameraCore::addEventsCallback(EventsCallbackFn fn) {
    if (!fn)
        return -1;
    std::lock_guard lock(m_cbMutex);
    const int id = m_nextId++;
    m_eventCbs[id] = std::move(fn);
    return id;
}

bool CameraCore::removeEventsCallback(int id) {
    std::lock_guard lock(m_cbMutex);
    return m_eventCbs.erase(id) > 0;
}

int CameraCore::addTriggerCallback(TriggerCallbackFn fn) {
    if (!fn)
        return -1;
    std::lock_guard lock(m_cbMutex);
    const int id = m_nextId++;
    m_triggerCbs[id] = std::move(fn);
    return id;
}

bool CameraCore::removeTriggerCallback(int id) {
    std::lock_guard lock(m_cbMutex);
    return m_triggerCbs.erase(id) > 0;
}

void CameraCore::setStatisticCallback(StatisticCallbackFn fn) {
    std::lock_guard lock(m_cbMutex);
    m_hasStatCb = static_cast<bool>(fn);
    m_statCb = std::move(fn);
}

void CameraCore::setTimeInterval(uint32_t us) { m_intervalUs = std::clamp(us, kMinIntervalUs, kMaxIntervalUs); }

bool CameraCore::startRecording(const std::string& path) {
    std::lock_guard lock(m_recMutex);
    if (m_recorder) {
        setError("camera " + m_desc.serial + " is already recording to '" + m_recorder->path() + "'");
        return false;
    }
    RecorderOptions o;
    o.maxQueuedBytes = m_recordingQueueBytes;
    // A live camera cannot wait for a slow disk; an offline simulation can.
    o.dropWhenFull = m_options.realtime || m_options.remote;
    o.writer.width = m_width;
    o.writer.height = m_height;
    o.writer.serial = m_desc.serial;
    o.writer.startTime = std::chrono::system_clock::now();
    o.writer.extraHeader = {{"firmware_version", m_desc.firmware},
                            {"camera_product", m_desc.product},
                            {"camera_manufacturer", m_desc.manufacturer}};
    auto rec = std::make_unique<Recorder>();
    std::string err;
    if (!rec->open(path, o, m_cache ? m_cache->snapshot() : CacheSnapshot{}, err)) {
        setError(err);
        return false;
    }
    m_recorder = std::move(rec);
    m_recordingDropping = false;
    return true;
}

void CameraCore::setEventQueueLimit(size_t events) { m_queueLimit = events; }

void CameraCore::setRecordingQueueLimit(size_t bytes) {
    std::lock_guard lock(m_recMutex);
    m_recordingQueueBytes = bytes;
}

bool CameraCore::stopRecording() {
    std::unique_ptr<Recorder> rec;
    {
        std::lock_guard lock(m_recMutex);
        rec = std::move(m_recorder);
    }
    if (!rec) {
        setError("camera " + m_desc.serial + " is not recording");
        return false;
    }
    std::string err;
    const bool ok = rec->finish(err);
    {
        std::lock_guard lock(m_recMutex);
        m_lastRecordingEvents = rec->eventsWritten();
    }
    if (!ok)
        setError("recording '" + rec->path() + "' failed: " + err);
    return ok;
}

bool CameraCore::recording() const {
    std::lock_guard lock(m_recMutex);
    return m_recorder && !m_recorder->failed();
}

uint64_t CameraCore::lastRecordingEvents() const {
    std::lock_guard lock(m_recMutex);
    return m_lastRecordingEvents;
}

bool CameraCore::setCacheTime(uint16_t seconds, const std::string& /*folder*/) {
    std::lock_guard lock(m_recMutex);
    if (seconds == 0) {
        m_cache.reset();
    } else if (!m_cache || m_cache->keepUs() != static_cast<uint64_t>(seconds) * 1000000) {
        m_cache = std::make_unique<EventCache>(seconds);
    }
    m_cacheSeconds = seconds;
    return true;
}

uint16_t CameraCore::cacheSeconds() const {
    std::lock_guard lock(m_recMutex);
    return m_cacheSeconds;
}

void CameraCore::disconnect(const std::string& reason) {
    setError(reason);
    m_connected = false;
    m_running = false; // the streaming thread ends on its own; stop() or start() joins it
}

void CameraCore::reconnect() { m_connected = true; }

StreamCounters CameraCore::counters() const {
    std::lock_guard c(m_counterMutex);
    StreamCounters out = m_counters;
    out.lostPackets = m_loss->lostPackets();
    out.lostEvents = m_loss->lostEvents();
    return out;
}

} // namespace quorvel::detail
