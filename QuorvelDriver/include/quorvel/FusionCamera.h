#pragma once
// A fusion camera (product "Tarnix"): an event sensor and an APS image sensor in one device.
//
// Everything of DvsCamera applies to its event stream; in addition it has the APS tool
// (TOOL_APS: exposure, gain, frame rate, auto exposure), stream selection for start and stop, and
// its firmware version. The APS frame stream itself is not produced yet by the virtual fusion
// camera: starting STREAM_APS or STREAM_FUSION streams events only.
//
// Constructing from a description opens that camera (the same one the manager would return);
// isValid() is false when no such fusion camera exists, and every operation then fails.
// Copies refer to the same camera.
//
// Thread rules: as DvsCamera.

#include "quorvel/CameraDescription.h"
#include "quorvel/DvsCamera.h"
#include "quorvel/StreamType.h"

#include <string>

namespace quorvel {

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
};

} // namespace quorvel
