#include "quorvel/FusionCamera.h"

#include "camera/CameraCore.h"
#include "camera/CameraRegistry.h"
#include "net/NetCamera.h"
#include "quorvel/Logger.h"

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

FusionCamera::FusionCamera(const CameraDescription& description) : DvsCamera(openFusion(description)) {}
FusionCamera::FusionCamera(std::shared_ptr<detail::CameraCore> core) : DvsCamera(std::move(core)) {}
FusionCamera::~FusionCamera() = default;

int FusionCamera::start(STREAM_TYPE type) {
    if (type != STREAM_DVS && type != STREAM_APS && type != STREAM_FUSION)
        return -3;
    return DvsCamera::start();
}

bool FusionCamera::stop(STREAM_TYPE type) {
    if (type != STREAM_DVS && type != STREAM_APS && type != STREAM_FUSION)
        return false;
    return DvsCamera::stop();
}

std::string FusionCamera::getFirmwareVersion() const { return m_core ? m_core->description().firmware : std::string(); }

} // namespace quorvel
