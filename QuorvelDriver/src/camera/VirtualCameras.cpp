#include "quorvel/VirtualCameras.h"

#include "camera/CameraCore.h"
#include "camera/CameraRegistry.h"
#include "sim/Scene.h"

namespace quorvel {

std::vector<std::string> simulatedSceneNames() {
    auto names = detail::scenePresetNames();
    names.push_back("stress");
    return names;
}

bool setVirtualCameraPlugged(const std::string& serial, bool plugged) {
    return detail::setVirtualCameraPlugged(serial, plugged);
}

std::shared_ptr<DvsCamera> createSimulatedCamera(const SimulatedCameraOptions& o, std::string& error) {
    if (o.width == 0 || o.height == 0 || o.width > 2048 || o.height > 2048) {
        error = "invalid sensor geometry " + std::to_string(o.width) + "x" + std::to_string(o.height) +
                " (1 .. 2048 each)";
        return nullptr;
    }
    std::unique_ptr<detail::EventSource> source;
    if (o.scene == "stress") {
        source = detail::makeStressSource(o.width, o.height, o.stressEventsPerSecond, o.seed);
    } else {
        detail::SimSourceOptions so;
        so.scene = o.scene;
        so.seed = o.seed;
        so.flickerHz = o.flickerHz;
        source = detail::makeSimSource(o.width, o.height, so, error);
        if (!source)
            return nullptr;
    }
    CameraDescription d;
    d.serial = o.serial;
    d.manufacturer = "Quorvel";
    d.product = "QV-SIM";
    d.interfaceType = CAMERA_INTERFACE_VIRTUAL;
    detail::CameraCoreOptions co;
    co.realtime = o.realtime;
    co.durationUs = o.durationUs;
    return std::make_shared<DvsCamera>(std::make_shared<detail::CameraCore>(d, std::move(source), co));
}

} // namespace quorvel
