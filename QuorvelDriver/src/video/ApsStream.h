#pragma once
// The APS half of a virtual fusion camera: frames of the scene the simulated event sensor sees,
// taken at the APS tool's frame rate on the event stream's clock, handed to callbacks and
// recorded as `<base>.mp4` + `<base>.json` beside the camera's `<base>.raw`.
//
// The clock: the camera's events callback posts the time its stream has reached; the APS thread
// renders frame after frame as that time passes each frame's capture time, so frames never run
// ahead of the events they belong to. The frames show the scene (same preset and seed as the
// camera's sensor, from QUORVEL_SIM_SCENE / QUORVEL_SIM_SEED like the camera registry) through the
// simulated calibration: 1.0 x scale, shifted (4, -3) APS pixels. Exposure and gain of the APS tool
// brighten or darken the picture unless auto exposure is on.
//
// One ApsStream per camera core, shared by every FusionCamera handle of that camera.
// Thread rules: every member is thread-safe; frame callbacks run on the APS thread and should only
// copy and hand on.

#include "quorvel/ApsFrame.h"
#include "quorvel/ApsVideoWriter.h"
#include "quorvel/CalibratorParameters.h"

#include <atomic>
#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

namespace quorvel::detail {

class CameraCore;
class SimulatedSensor;

class ApsStream {
public:
    using FrameCallback = std::function<void(const ApsFrame&)>;

    static std::shared_ptr<ApsStream> forCore(const std::shared_ptr<CameraCore>& core);
    ~ApsStream();
    ApsStream(const ApsStream&) = delete;
    ApsStream& operator=(const ApsStream&) = delete;

    bool start();
    void stop();
    bool running() const { return m_running.load(); }

    int addCallback(FrameCallback callback);
    bool removeCallback(int id);
    bool latestFrame(ApsFrame& frame) const;
    /// The calibration the camera reports (and records as `<base>.json`): the factory one until a
    /// calibration is written with setCalibration.
    CalibratorParameters calibration() const;
    /// Stores a calibration in the camera (the user's manual calibration). The frames are still
    /// taken through the camera's real optics: only what the camera reports changes. False, with
    /// `error`, for invalid parameters.
    bool setCalibration(const CalibratorParameters& param, std::string& error);

    /// Records the frames from now on into `<base>.mp4`; `<base>.json` is written by stopRecording.
    bool startRecording(const std::string& base, std::string& error);
    bool stopRecording(std::string& error);
    bool recording() const;

private:
    struct Clock {
        std::mutex mutex;
        std::condition_variable cv;
        bool have = false;
        uint64_t streamUs = 0;
    };

    explicit ApsStream(const std::shared_ptr<CameraCore>& core);
    void run();
    void renderAt(uint64_t tUs, uint64_t sequence);
    double frameIntervalUs() const;
    float logGain() const;

    std::weak_ptr<CameraCore> m_core;
    int m_width = 0;
    int m_height = 0;
    CalibratorParameters m_calibration;   // the real mapping the frames are rendered through
    mutable std::mutex m_reportedMutex;
    CalibratorParameters m_reported;      // what the camera reports and records
    std::unique_ptr<SimulatedSensor> m_scene; // APS thread only
    std::shared_ptr<Clock> m_clock = std::make_shared<Clock>();
    int m_eventsCallbackId = -1;

    std::mutex m_runMutex; // serialises start/stop
    std::thread m_thread;
    std::atomic<bool> m_running{false};

    mutable std::mutex m_frameMutex;
    ApsFrame m_frame;  // APS thread's work frame
    ApsFrame m_latest;
    std::map<int, FrameCallback> m_callbacks;
    int m_nextId = 0;

    mutable std::mutex m_recMutex;
    std::unique_ptr<ApsVideoWriter> m_writer;
    std::string m_recBase;
    uint64_t m_recStartUs = 0; ///< stream time when the recording started
};

} // namespace quorvel::detail
