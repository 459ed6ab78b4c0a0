#include "quorvel/DvsCameraManager.h"

#include "camera/CameraRegistry.h"

namespace quorvel {

namespace {
thread_local std::string t_error;
}

DvsCameraManager::DvsCameraManager() = default;
DvsCameraManager::~DvsCameraManager() = default;

std::vector<CameraDescription> DvsCameraManager::getCameraDescs() { return detail::listVirtualCameras(); }

std::shared_ptr<DvsCamera> DvsCameraManager::openCamera(std::string serial) {
    std::string error;
    auto core = detail::openVirtualCamera(serial, error);
    if (!core) {
        t_error = error;
        return nullptr;
    }
    return std::make_shared<DvsCamera>(std::move(core));
}

std::shared_ptr<FusionCamera> DvsCameraManager::openFusionCamera(std::string serial) {
    std::string error;
    for (const auto& d : detail::listVirtualCameras())
        if (d.serial == serial && d.product != detail::kFusionProduct) {
            t_error = "camera " + serial + " (" + d.product + ") is not a fusion camera";
            return nullptr;
        }
    auto core = detail::openVirtualCamera(serial, error);
    if (!core) {
        t_error = error;
        return nullptr;
    }
    return std::make_shared<FusionCamera>(std::move(core));
}

bool DvsCameraManager::ethCameraForceIP(CameraDescription description, unsigned, unsigned, unsigned) {
    if (description.interfaceType != CAMERA_INTERFACE_ETHERNET) {
        t_error = "camera " + description.serial + " is not an Ethernet camera";
        return false;
    }
    t_error = "no Ethernet camera " + description.serial + " is reachable";
    return false;
}

std::string DvsCameraManager::lastError() { return t_error; }

} // namespace quorvel
