#include "quorvel/FusionCamera.h"

#include "camera/CameraCore.h"
#include "camera/CameraRegistry.h"
#include "quorvel/FusionRecordingWriter.h"
#include "net/NetCamera.h"
#include "quorvel/Logger.h"
#include "video/ApsStream.h"

namespace quorvel {

namespace {
std::shared_ptr<detail::CameraCore> openFusion(const CameraDescription& d) {
    if (d.product != detail::kFusionProduct) {
        Logger::Instance().log_(LOG_WARNING, __FILE__, __LINE__, "'" + d.serial + "' is not a fusion camera");
        return nullptr;
    }
    std::string error;
    auto core = d.interfaceType == CAMERA_INTERFACE_ETHERNET ? net::openNetworkCamera(d.serial, error)
                                                             : detail::openVirtualCamera(d.serial, error);
    if (!core)
        Logger::Instance().log_(LOG_WARNING, __FILE__, __LINE__, error);
    return core;
}
} // namespace

FusionCamera::FusionCamera(const CameraDescription& description)
    : DvsCamera(openFusion(description)), m_aps(detail::ApsStream::forCore(m_core)) {}
FusionCamera::FusionCamera(std::shared_ptr<detail::CameraCore> core)
    : DvsCamera(std::move(core)), m_aps(detail::ApsStream::forCore(m_core)) {}
FusionCamera::~FusionCamera() = default;

int FusionCamera::start(STREAM_TYPE type) {
    if (type != STREAM_DVS && type != STREAM_APS && type != STREAM_FUSION)
        return -3;
    const int rc = isStreaming() ? 0 : DvsCamera::start();
    if (rc != 0 || type == STREAM_DVS)
        return rc;
    return m_aps && m_aps->start() ? 0 : -2;
}

bool FusionCamera::stop(STREAM_TYPE type) {
    if (type != STREAM_DVS && type != STREAM_APS && type != STREAM_FUSION)
        return false;
    if (m_aps)
        m_aps->stop();
    return type == STREAM_APS ? true : DvsCamera::stop();
}

bool FusionCamera::isApsStreaming() const { return m_aps && m_aps->running(); }

int FusionCamera::addApsFrameCallback(ApsFrameCallback callback) {
    return m_aps ? m_aps->addCallback(std::move(callback)) : -1;
}

bool FusionCamera::removeApsFrameCallback(int id) { return m_aps && m_aps->removeCallback(id); }

bool FusionCamera::getApsFrame(ApsFrame& frame) { return m_aps && m_aps->latestFrame(frame); }

CalibratorParameters FusionCamera::getCalibrationParam() const {
    return m_aps ? m_aps->calibration() : CalibratorParameters{};
}

bool FusionCamera::setCalibrationFile(std::string path) {
    if (!m_aps || !m_core) {
        return false;
    }
    if (!m_core->connected()) {
        m_core->setError("camera " + m_core->description().serial + " is not connected");
        return false;
    }
    CalibratorParameters param;
    std::string error;
    if (!jsonFileToParam(path, param)) {
        m_core->setError("calibration file '" + path + "': " + calibrationLastError());
        return false;
    }
    if (!m_aps->setCalibration(param, error)) {
        m_core->setError("calibration file '" + path + "': " + error);
        return false;
    }
    return true;
}

bool FusionCamera::startRecording(std::string path) {
    if (!m_aps || !m_aps->running())
        return DvsCamera::startRecording(path);
    const std::string base = FusionRecordingWriter::basePath(path);
    if (!DvsCamera::startRecording(base + ".raw"))
        return false;
    std::string error;
    if (!m_aps->startRecording(base, error)) {
        DvsCamera::stopRecording();
        m_core->setError("cannot record the APS video: " + error);
        return false;
    }
    return true;
}

bool FusionCamera::stopRecording() {
    bool ok = DvsCamera::stopRecording();
    if (m_aps && m_aps->recording()) {
        std::string error;
        if (!m_aps->stopRecording(error)) {
            m_core->setError("APS recording: " + error);
            ok = false;
        }
    }
    return ok;
}

std::string FusionCamera::getFirmwareVersion() const { return m_core ? m_core->description().firmware : std::string(); }

} // namespace quorvel
