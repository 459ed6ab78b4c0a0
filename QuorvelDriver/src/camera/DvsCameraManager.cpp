#include "quorvel/DvsCameraManager.h"

#include "camera/CameraRegistry.h"
#include "net/NetCamera.h"

namespace quorvel {

namespace {
thread_local std::string t_error;
}

DvsCameraManager::DvsCameraManager() = default;
DvsCameraManager::~DvsCameraManager() = default;

std::vector<CameraDescription> DvsCameraManager::getCameraDescs() {
    auto out = detail::listVirtualCameras();
    for (auto& d : net::discoverNetworkCameras())
        out.push_back(std::move(d));
    return out;
}

namespace {
bool isVirtual(const std::string& serial) {
    for (const auto& d : detail::listVirtualCameras())
        if (d.serial == serial)
            return true;
    return false;
}
std::shared_ptr<detail::CameraCore> openAny(const std::string& serial, std::string& error) {
    return isVirtual(serial) ? detail::openVirtualCamera(serial, error) : net::openNetworkCamera(serial, error);
}
} // namespace

std::shared_ptr<DvsCamera> DvsCameraManager::openCamera(std::string serial) {
    std::string error;
    auto core = openAny(serial, error);
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
    CameraDescription netDesc;
    if (!isVirtual(serial) && net::isNetworkCamera(serial, &netDesc) && netDesc.product != detail::kFusionProduct) {
        t_error = "camera " + serial + " (" + netDesc.product + ") is not a fusion camera";
        return nullptr;
    }
    auto core = openAny(serial, error);
    if (!core) {
        t_error = error;
        return nullptr;
    }
    return std::make_shared<FusionCamera>(std::move(core));
}

bool DvsCameraManager::ethCameraForceIP(CameraDescription description, unsigned ip, unsigned mask, unsigned gateway) {
    if (description.interfaceType != CAMERA_INTERFACE_ETHERNET) {
        t_error = "camera " + description.serial + " is not an Ethernet camera";
        return false;
    }
    std::string error;
    if (!net::forceIp(description, ip, mask, gateway, error)) {
        t_error = error;
        return false;
    }
    return true;
}

std::string DvsCameraManager::lastError() { return t_error; }

} // namespace quorvel
