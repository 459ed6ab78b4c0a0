#pragma once
// The machinery shared by every virtual camera: one event source, the tools and their filters, a
// streaming thread, the getEvents queue, callbacks, statistics, recording and the pre-trigger
// cache. DvsCamera and FusionCamera are handles onto one CameraCore.
//
// Thread rules: every public member is thread-safe. The streaming thread is owned here: start()
// creates it, stop() and the destructor join it. Callbacks run on the streaming thread, never
// under a lock that a camera call from inside a callback would need, except that removing a
// callback from inside a callback is not allowed.

#include "camera/CameraTools.h"
#include "camera/EventCache.h"
#include "camera/EventPipeline.h"
#include "camera/EventSource.h"
#include "camera/LossLog.h"
#include "camera/ParameterTool.h"
#include "camera/RemoteEnd.h"
#include "camera/Recorder.h"
#include "quorvel/CameraDescription.h"
#include "quorvel/Event2D.h"
#include "quorvel/QvStatisticInfo.h"
#include "quorvel/StreamLoss.h"
#include "quorvel/raw/EventEncoder.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace quorvel::detail {

using EventsCallbackFn = std::function<void(const Event2D*, const Event2D*)>;
using TriggerCallbackFn = std::function<void(const EventTriggerIn&)>;
using StatisticCallbackFn = std::function<void(QvStatisticInfo)>;

struct CameraCoreOptions {
    bool fusion = false;   ///< adds the APS tool
    bool realtime = true;  ///< pace the source to the wall clock (off for offline generation)
    /// Events the getEvents() queue keeps before it drops its oldest batches (0: no queue).
    size_t maxQueuedEvents = 8u << 20;
    /// Bytes a recording may queue for its writer (see Recorder).
    size_t recordingQueueBytes = 128u << 20;
    uint64_t durationUs = 0; ///< the stream ends after this much sensor time (0: never)
    /// Set for a network camera: tools, configuration and stream control live in its daemon.
    std::shared_ptr<RemoteEnd> remote;
};

/// Counts of a stream since start(), for tests and the CLI.
struct StreamCounters {
    uint64_t produced = 0;  ///< events out of the pixel array
    uint64_t delivered = 0; ///< events after the tools' filters
    uint64_t queueDropped = 0;
    uint64_t triggers = 0;
    uint64_t skippedUs = 0; ///< sensor time skipped because the source fell behind the wall clock
    uint64_t lostPackets = 0; ///< network cameras: stream packets that never arrived
    uint64_t lostEvents = 0;  ///< events that never reached this computer (see StreamLoss)
    PipelineCounters filtered;
};

class CameraCore {
public:
    CameraCore(CameraDescription desc, std::unique_ptr<EventSource> source, const CameraCoreOptions& options);
    ~CameraCore();
    CameraCore(const CameraCore&) = delete;
    CameraCore& operator=(const CameraCore&) = delete;

    const CameraDescription& description() const { return m_desc; }
    uint16_t width() const { return m_width; }
    uint16_t height() const { return m_height; }

    std::shared_ptr<ParameterTool> tool(ToolType type) const;
    std::vector<ToolInfo> toolsInfo() const;
    bool loadConfig(const std::string& path);
    bool exportConfig(const std::string& path);
    /// Applies a configuration document (tool sections keyed as in the configuration files) to
    /// this camera's own tools: every section is checked first, and a document with any bad
    /// section changes nothing. Should applying fail midway (another thread or network client
    /// changed a related value in between), the tools already changed get their earlier values
    /// back. false with `error` set on refusal.
    bool applyConfig(const Json& doc, std::string& error);

    int start();
    bool stop();
    bool streaming() const { return m_running.load(); }
    bool connected() const { return m_connected.load() && (!m_options.remote || m_options.remote->linkUp()); }

    bool getEvents(std::vector<Event2D>& out);
    int addEventsCallback(EventsCallbackFn fn);
    bool removeEventsCallback(int id);
    int addTriggerCallback(TriggerCallbackFn fn);
    bool removeTriggerCallback(int id);
    void setStatisticCallback(StatisticCallbackFn fn);
    void setTimeInterval(uint32_t us);
    uint32_t timeInterval() const { return m_intervalUs.load(); }

    /// 0 turns the getEvents() queue off; a smaller limit applies from the next batch on.
    void setEventQueueLimit(size_t events);
    /// For recordings started afterwards.
    void setRecordingQueueLimit(size_t bytes);

    bool startRecording(const std::string& path);
    bool stopRecording();
    bool recording() const;
    bool setCacheTime(uint16_t seconds, const std::string& folder);
    uint16_t cacheSeconds() const;
    uint64_t lastRecordingEvents() const;

    /// The camera is gone (unplugged): the stream ends, isConnected() turns false, start() fails.
    void disconnect(const std::string& reason);
    /// Plugged back in: start() works again.
    void reconnect();

    StreamCounters counters() const;
    StreamLoss loss() const { return m_loss->snapshot(); }
    /// Events the camera itself lost since start() (its sensor skipped ahead).
    uint64_t cameraLostEvents() const { return m_loss->cameraEvents(); }
    /// The error of the stream or the camera; when none was set but the link to a network camera
    /// is down, the link's reason.
    std::string lastError() const;
    void setError(const std::string& e) const;

private:
    void run();
    void refreshSettings();
    void deliver(std::vector<Event2D>& events, std::vector<EventTriggerIn>& triggers, uint64_t produced);
    void statistics(std::chrono::steady_clock::time_point now, bool final = false);
    void skipAhead(uint64_t target);
    void queueBatch(std::vector<Event2D>& batch);
    uint64_t encodedSize(const Event2D* b, const Event2D* e, const EventTriggerIn* tb, const EventTriggerIn* te);

    CameraDescription m_desc;
    std::unique_ptr<EventSource> m_source;
    CameraCoreOptions m_options;
    uint16_t m_width, m_height;
    std::map<ToolType, std::shared_ptr<ParameterTool>> m_tools;
    EventPipeline m_pipeline;
    std::vector<uint64_t> m_toolGenerations;
    std::chrono::steady_clock::time_point m_opened = std::chrono::steady_clock::now();
    std::shared_ptr<LossLog> m_loss = std::make_shared<LossLog>();
    // The stream's recent rate (streaming thread only), for what a skip ahead loses.
    uint64_t m_rateEvents = 0, m_rateFromUs = 0, m_ratePrevEvents = 0, m_ratePrevUs = 0;

    // Streaming thread.
    std::mutex m_runMutex; // serialises start/stop
    std::thread m_thread;
    std::atomic<bool> m_running{false};
    std::atomic<bool> m_connected{true};
    std::atomic<uint32_t> m_intervalUs{10000};

    // getEvents queue.
    mutable std::mutex m_queueMutex;
    std::deque<std::vector<Event2D>> m_queue;
    std::vector<std::vector<Event2D>> m_spare;
    size_t m_queued = 0;
    size_t m_spareEvents = 0; ///< capacity of m_spare, kept within a quarter of the queue limit
    std::atomic<size_t> m_queueLimit;
    bool m_queueDropping = false; ///< the last batch handed on pushed another one out

    // Callbacks.
    mutable std::mutex m_cbMutex;
    std::map<int, EventsCallbackFn> m_eventCbs;
    std::map<int, TriggerCallbackFn> m_triggerCbs;
    StatisticCallbackFn m_statCb;
    std::atomic<bool> m_hasStatCb{false};
    int m_nextId = 0;

    // Recording and cache; deliver() holds this while it hands a batch on, so a recording starts
    // exactly after the last batch the cache holds.
    mutable std::mutex m_recMutex;
    std::unique_ptr<Recorder> m_recorder;
    std::unique_ptr<EventCache> m_cache;
    uint16_t m_cacheSeconds = 0;
    uint64_t m_lastRecordingEvents = 0;
    size_t m_recordingQueueBytes;
    bool m_recordingDropping = false; ///< the last batch found the recording's queue full

    // Statistics (streaming thread only, except the counters).
    mutable std::mutex m_counterMutex;
    StreamCounters m_counters;
    std::chrono::steady_clock::time_point m_statStart;
    uint64_t m_statEvents = 0, m_statBytes = 0, m_statRemoteBytes = 0;
    std::unique_ptr<EventEncoder> m_statEncoder; ///< sizes the stream for the statistics

    mutable std::mutex m_errorMutex;
    mutable std::string m_error;
};

} // namespace quorvel::detail
