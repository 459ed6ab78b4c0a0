#pragma once
// A fusion camera (product "Tarnix"): an event sensor and an APS image sensor in one device.
//
// Everything of DvsCamera applies to its event stream; in addition it has the APS tool
// (TOOL_APS: exposure, gain, frame rate, auto exposure), stream selection for start and stop, and
// its firmware version.
//
// APS frames: start(STREAM_APS) or start(STREAM_FUSION) also starts the APS stream, frames of the
// same scene at the APS tool's frame rate, each stamped with its capture time on the event clock
// (the event stream runs either way, it is the clock the frames are taken on). Frames reach the
// APS frame callbacks (on the camera's APS thread) and getApsFrame(). stop(STREAM_APS) stops the
// frames only; stop(STREAM_DVS) or stop(STREAM_FUSION) stops both.
//
// Recording: while the APS stream runs, startRecording(path) records a fusion recording:
// `<base>.raw` (events, as DvsCamera), `<base>.mp4` (frames) and, at stopRecording(),
// `<base>.json` (getCalibrationParam()); `<base>` is the path without .raw/.mp4/.json.
//
// Constructing from a description opens that camera (the same one the manager would return);
// isValid() is false when no such fusion camera exists, and every operation then fails.
// Copies refer to the same camera.
//
// Thread rules: as DvsCamera.

#include "quorvel/ApsFrame.h"
#include "quorvel/CalibratorParameters.h"
#include "quorvel/CameraDescription.h"
#include "quorvel/DvsCamera.h"
#include "quorvel/StreamType.h"

#include <functional>
#include <memory>
#include <string>

namespace quorvel {

namespace detail {
class ApsStream;
}

using ApsFrameCallback = std::function<void(const ApsFrame& frame)>;

class FusionCamera : public DvsCamera {
public:
    explicit FusionCamera(const CameraDescription& description);
    explicit FusionCamera(std::shared_ptr<detail::CameraCore> core);
    FusionCamera(const FusionCamera&) = default;
    FusionCamera& operator=(const FusionCamera&) = default;
    FusionCamera(FusionCamera&&) noexcept = default;
    FusionCamera& operator=(FusionCamera&&) noexcept = default;
    ~FusionCamera() override;

    bool isValid() const { return m_core != nullptr; }

    using DvsCamera::start;
    using DvsCamera::stop;
    /// Starts the selected stream(s): 0 on success as DvsCamera::start().
    virtual int start(STREAM_TYPE type);
    virtual bool stop(STREAM_TYPE type);

    /// e.g. "Tarnix_V1.7.2".
    virtual std::string getFirmwareVersion() const;

    virtual bool isApsStreaming() const;
    /// Registers a callback for every APS frame; returns its id (>= 0), -1 for an empty function.
    virtual int addApsFrameCallback(ApsFrameCallback callback);
    virtual bool removeApsFrameCallback(int id);
    /// The newest APS frame; false before the first.
    virtual bool getApsFrame(ApsFrame& frame);
    /// The APS-to-DVS calibration of this camera (recorded as `<base>.json`).
    virtual CalibratorParameters getCalibrationParam() const;
    /// Writes a calibration file (the format of CalibratorParameters) into the camera, which
    /// reports and records it from then on. False, with lastError() set, when the camera is not
    /// connected or the file is unreadable or invalid.
    virtual bool setCalibrationFile(std::string path);

    bool startRecording(std::string path) override;
    bool stopRecording() override;

private:
    std::shared_ptr<detail::ApsStream> m_aps;
};

} // namespace quorvel
