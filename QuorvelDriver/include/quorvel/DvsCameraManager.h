#pragma once
// Finds and opens cameras.
//
// Without hardware the manager lists virtual cameras:
// - a simulated DVS camera (640x480) and a simulated fusion camera (1280x720, product "Tarnix",
//   firmware "Tarnix_V1.7.2"), hidden when the environment variable QUORVEL_VIRTUAL_CAMERAS is
//   "0"; QUORVEL_SIM_SCENE chooses their scene (default, busy, bars, rotor, flicker, noise,
//   static) and QUORVEL_SIM_SEED their random seed;
// - one camera per `.raw` recording named in QUORVEL_REPLAY (paths separated by ':' or ','),
//   replayed in real time in a loop as a live camera (serial "REPLAY_" + file name without
//   extension). Unreadable entries are skipped with a log line.
//
// Opening a camera that is already open returns the same camera.
//
// Errors: open functions return null and set lastError() (per thread).
// Thread rules: all members are thread-safe.

#include "quorvel/CameraDescription.h"
#include "quorvel/DvsCamera.h"
#include "quorvel/FusionCamera.h"

#include <memory>
#include <string>
#include <vector>

namespace quorvel {

class DvsCameraManager {
public:
    DvsCameraManager();
    ~DvsCameraManager();

    /// Every camera reachable now, simulated ones first.
    std::vector<CameraDescription> getCameraDescs();
    std::shared_ptr<DvsCamera> openCamera(std::string serial);
    /// Only cameras whose product is "Tarnix".
    std::shared_ptr<FusionCamera> openFusionCamera(std::string serial);

    /// Gives a network camera a fixed address (values as from stringToIP). Virtual and USB
    /// cameras have no address to set: false.
    static bool ethCameraForceIP(CameraDescription description, unsigned ip, unsigned mask, unsigned gateway);

    /// Why the last failed call on this thread failed.
    static std::string lastError();
};

} // namespace quorvel
