#pragma once
// The process-wide list of virtual cameras: what the manager lists and the cameras currently
// open (weakly held, so a camera closes when its last handle goes).
//
// Thread rules: thread-safe.

#include "camera/CameraCore.h"
#include "quorvel/CameraDescription.h"

#include <memory>
#include <string>
#include <vector>

namespace quorvel::detail {

inline constexpr const char* kSimDvsSerial = "QVSIM-DVS-0001";
inline constexpr const char* kSimFusionSerial = "QVSIM-FUS-0001";
inline constexpr const char* kFusionProduct = "Tarnix";

std::vector<CameraDescription> listVirtualCameras();
/// Unplugs (or plugs back) a virtual camera: hidden from the list, its open camera disconnected.
bool setVirtualCameraPlugged(const std::string& serial, bool plugged);
/// The open camera with this serial, or a newly opened one; null with `error`.
std::shared_ptr<CameraCore> openVirtualCamera(const std::string& serial, std::string& error);

} // namespace quorvel::detail
