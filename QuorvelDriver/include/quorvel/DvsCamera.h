#pragma once
// An open event camera: streaming, its tools, recording and the pre-trigger cache.
//
// Obtained from DvsCameraManager::openCamera(). A DvsCamera is a handle: copies refer to the same
// camera, and the camera closes (its threads joined, a running recording finished) when the last
// handle goes.
//
// Streaming: start() starts a thread of the camera's own that produces events in batches of the
// time interval (setTimeInterval, default 10 ms of sensor time). Each batch goes to every events
// callback, into the queue read by getEvents(), to a running recording and to the pre-trigger
// cache. Batches are non-decreasing in time. If nobody reads getEvents() fast enough the queue
// keeps the newest 8 M events (setEventQueueLimit) and counts the older ones as dropped
// (droppedEvents()); callbacks never lose events. A recording's own queue is bounded too
// (setRecordingQueueLimit): when the disk cannot keep up with a live stream, batches are left out
// of the file and counted. Every loss, where it happened and when, is in getStreamLoss().
//
// Errors: operations report failure by return value and set lastError(). start() returns 0 on
// success, -1 when the camera is disconnected, -2 when its source cannot start.
// Thread rules: every operation is thread-safe. Callbacks run on the camera's streaming thread;
// they should only copy and hand on, and must not remove callbacks or stop the camera from inside
// a callback.

#include "quorvel/CameraDescription.h"
#include "quorvel/CameraTool.h"
#include "quorvel/Event2D.h"
#include "quorvel/QvStatisticInfo.h"
#include "quorvel/StreamLoss.h"
#include "quorvel/ToolType.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace quorvel {

namespace detail {
class CameraCore;
}

using EventsCallback = std::function<void(const Event2D* begin, const Event2D* end)>;
using TriggerInCallback = std::function<void(const EventTriggerIn& trigger)>;
using StatisticInfoCallback = std::function<void(QvStatisticInfo info)>;

class DvsCamera {
public:
    explicit DvsCamera(std::shared_ptr<detail::CameraCore> core);
    virtual ~DvsCamera();
    DvsCamera(const DvsCamera&) = default;
    DvsCamera& operator=(const DvsCamera&) = default;
    DvsCamera(DvsCamera&&) noexcept = default;
    DvsCamera& operator=(DvsCamera&&) noexcept = default;

    CameraDescription getDescription() const;
    /// The tool of that kind, or null when the camera has none (a replayed recording has no
    /// biases; only fusion cameras have TOOL_APS).
    std::shared_ptr<CameraTool> getTool(ToolType type) const;
    std::vector<ToolInfo> getAllToolsInfo() const;

    /// Applies a configuration file (JSON object of tool sections, values by parameter name).
    /// Sections the camera lacks and unknown keys are ignored; a malformed file, a value of the
    /// wrong type, out of range or refused by its tool changes nothing and returns false.
    bool loadCameraConfigParams(std::string path);
    /// Writes every tool's current values as a configuration file (atomically replaced).
    bool exportCameraConfigParams(std::string path);

    virtual int start();
    /// Stops streaming and joins the streaming thread; false when it was not streaming.
    virtual bool stop();
    virtual bool isStreaming() const;
    /// False once the camera is gone (for a replayed recording: the file became unreadable).
    virtual bool isConnected();

    /// Replaces `events` by everything produced since the previous call; false when nothing was.
    virtual bool getEvents(std::vector<Event2D>& events);
    /// Registers a callback for every batch; returns its id (>= 0), -1 for an empty function.
    virtual int addEventsCallback(EventsCallback callback);
    virtual bool removeEventsCallback(int id);
    /// Registers a callback for each trigger-input edge of the enabled channels.
    virtual int addTriggerInCallback(TriggerInCallback callback);
    virtual bool removeTriggerInCallback(int id);
    /// Called once a second while streaming with bytes/s of the EVT 3.0 encoded stream and
    /// events/s; an empty function removes it.
    virtual void setStatisticInfoCallback(StatisticInfoCallback callback);

    /// Batch length in µs of sensor time (clamped to 100 .. 1000000).
    virtual void setTimeInterval(uint32_t intervalUs);
    virtual uint32_t getTimeInterval() const;

    virtual uint16_t getWidth() const;
    virtual uint16_t getHeight() const;

    /// Records the stream into a new EVT 3.0 `.raw` file, starting with the pre-trigger cache
    /// when one is set. False when already recording or the file cannot be created.
    virtual bool startRecording(std::string path);
    /// Writes what is pending and closes the file; false when not recording or when the recording
    /// failed (lastError() says why; the file then holds everything written before the failure).
    virtual bool stopRecording();
    virtual bool isRecording() const;
    /// Keeps the last `seconds` of the stream in memory (0 switches the cache off) so that a
    /// recording started later begins that long before. `cacheFolder` is accepted for
    /// compatibility with cameras that spill the cache to disk; virtual cameras keep it in memory.
    virtual bool setCacheTime(uint16_t seconds, std::string cacheFolder);
    /// Events written by the last finished recording.
    uint64_t lastRecordingEventCount() const;

    /// Events the getEvents() queue keeps before it drops its oldest batches (default 8 M, about
    /// 128 MB). 0 switches the queue off, for a client that only uses callbacks or records.
    void setEventQueueLimit(uint64_t events);
    /// Bytes of events (16 each) a recording started afterwards may queue for its writer (default
    /// 128 MB); a live stream that finds it full leaves the batch out of the file and counts it.
    void setRecordingQueueLimit(uint64_t bytes);

    /// Events removed from the getEvents() queue because it was not read in time, since start().
    uint64_t droppedEvents() const;
    /// Stream packets that never arrived from a network camera since start() (sequence gaps and
    /// what a broken link cut off; never silent). 0 for local cameras.
    uint64_t lostPackets() const;
    /// Events the camera produced since start() that never reached this computer: lost in the
    /// camera itself (its readout overflowed) or in lost packets.
    uint64_t lostEvents() const;
    /// All of it with the gaps' times and since when it is counted (for a loss label's tooltip).
    StreamLoss getStreamLoss() const;
    std::string lastError() const;

    /// The shared implementation (for the SDK's own tools and tests).
    const std::shared_ptr<detail::CameraCore>& core() const { return m_core; }

protected:
    std::shared_ptr<detail::CameraCore> m_core;
};

} // namespace quorvel
