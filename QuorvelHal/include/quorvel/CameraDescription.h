#pragma once
// Who a camera is and how it is reached: one record per camera found by
// DvsCameraManager::getCameraDescs(), passed whole to the manager and to FusionCamera to open it.
//
// The text fields come first (serial, manufacturer, product) and the settings-keeping flag right
// after them: the settings panel reads that 32-bit field to decide whether to push the user's
// configuration file into a newly opened camera. Address fields are dotted IPv4 text and are only
// filled for network cameras (interfaceType == CAMERA_INTERFACE_ETHERNET).
//
// Thread rules: plain value.

#include <cstdint>
#include <string>

namespace quorvel {

/// How a camera is attached. The application only tests for CAMERA_INTERFACE_ETHERNET (1).
enum CameraInterfaceType : int32_t {
    CAMERA_INTERFACE_USB = 0,
    CAMERA_INTERFACE_ETHERNET = 1,
    /// Simulated sensors and recordings replayed as live cameras.
    CAMERA_INTERFACE_VIRTUAL = 2,
};

struct CameraDescription {
    std::string serial;       ///< unique per camera; the key for opening it
    std::string manufacturer; ///< e.g. "Quorvel"
    std::string product;      ///< "Tarnix" marks a fusion camera (events + APS frames)
    /// 1 when the camera keeps its own settings and must not be given the user's configuration
    /// file on opening; 0 otherwise.
    int32_t keepSettings = 0;
    int32_t interfaceType = CAMERA_INTERFACE_USB;
    std::string ip;           ///< camera address (network cameras)
    std::string localIp;      ///< address of the host interface that reaches the camera
    std::string mask;         ///< subnet mask of that interface
    std::string gateway;      ///< camera gateway
    std::string firmware;     ///< firmware version text, e.g. "Tarnix_V1.7.2"
    uint16_t width = 0;       ///< sensor geometry in pixels (0 when unknown before opening)
    uint16_t height = 0;
    std::string mac;          ///< hardware (MAC-like) address of a network camera, "02:1a:..."

    friend bool operator==(const CameraDescription&, const CameraDescription&) = default;
};

} // namespace quorvel
