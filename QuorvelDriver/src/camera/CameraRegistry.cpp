#include "camera/CameraRegistry.h"

#include "quorvel/Logger.h"
#include "quorvel/raw/RawHeader.h"

#include <cstdlib>
#include <map>
#include <set>
#include <mutex>

namespace quorvel::detail {

namespace {

struct Entry {
    CameraDescription desc;
    std::string replayPath; ///< empty for simulated cameras
};

std::mutex g_mutex;
std::map<std::string, std::weak_ptr<CameraCore>> g_open;
std::set<std::string> g_unplugged;

std::string envOr(const char* name, const std::string& fallback) {
    const char* v = std::getenv(name);
    return v && *v ? std::string(v) : fallback;
}

std::string stemOf(const std::string& path) {
    const size_t slash = path.find_last_of('/');
    std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
    const size_t dot = name.find_last_of('.');
    return dot == std::string::npos || dot == 0 ? name : name.substr(0, dot);
}

std::vector<Entry> entries() {
    std::vector<Entry> out;
    if (envOr("QUORVEL_VIRTUAL_CAMERAS", "1") != "0") {
        Entry dvs;
        dvs.desc.serial = kSimDvsSerial;
        dvs.desc.manufacturer = "Quorvel";
        dvs.desc.product = "QV640-SIM";
        dvs.desc.interfaceType = CAMERA_INTERFACE_VIRTUAL;
        dvs.desc.firmware = "QV640_V2.1.0";
        dvs.desc.width = 640;
        dvs.desc.height = 480;
        out.push_back(dvs);
        Entry fus;
        fus.desc.serial = kSimFusionSerial;
        fus.desc.manufacturer = "Quorvel";
        fus.desc.product = kFusionProduct;
        fus.desc.interfaceType = CAMERA_INTERFACE_VIRTUAL;
        fus.desc.firmware = "Tarnix_V1.7.2";
        fus.desc.width = 1280;
        fus.desc.height = 720;
        out.push_back(fus);
    }
    const std::string list = envOr("QUORVEL_REPLAY", "");
    std::map<std::string, int> used;
    size_t pos = 0;
    while (pos <= list.size() && !list.empty()) {
        const size_t next = list.find_first_of(":,", pos);
        const std::string path = list.substr(pos, next == std::string::npos ? std::string::npos : next - pos);
        pos = next == std::string::npos ? list.size() + 1 : next + 1;
        if (path.empty())
            continue;
        RawHeader header;
        std::string err;
        if (!readRawHeader(path, header, err)) {
            Logger::Instance().log_(LOG_WARNING, __FILE__, __LINE__, "QUORVEL_REPLAY: skipping '" + path + "': " + err);
            continue;
        }
        Entry e;
        std::string serial = "REPLAY_" + stemOf(path);
        if (int n = used[serial]++; n > 0)
            serial += "_" + std::to_string(n + 1);
        e.desc.serial = serial;
        e.desc.manufacturer = "Quorvel";
        e.desc.product = "Replay";
        e.desc.interfaceType = CAMERA_INTERFACE_VIRTUAL;
        e.desc.firmware = header.value("firmware_version");
        e.desc.width = static_cast<uint16_t>(header.width);
        e.desc.height = static_cast<uint16_t>(header.height);
        e.replayPath = path;
        out.push_back(e);
    }
    return out;
}

} // namespace

std::vector<CameraDescription> listVirtualCameras() {
    std::lock_guard lock(g_mutex);
    std::vector<CameraDescription> out;
    for (auto& e : entries())
        if (!g_unplugged.count(e.desc.serial))
            out.push_back(e.desc);
    return out;
}

bool setVirtualCameraPlugged(const std::string& serial, bool plugged) {
    std::lock_guard lock(g_mutex);
    bool known = false;
    for (const auto& e : entries())
        known |= e.desc.serial == serial;
    if (!known)
        return false;
    std::shared_ptr<CameraCore> core;
    if (auto it = g_open.find(serial); it != g_open.end())
        core = it->second.lock();
    if (plugged) {
        g_unplugged.erase(serial);
        if (core)
            core->reconnect();
    } else {
        g_unplugged.insert(serial);
        if (core)
            core->disconnect("camera " + serial + " was unplugged");
    }
    return true;
}

std::shared_ptr<CameraCore> openVirtualCamera(const std::string& serial, std::string& error) {
    std::lock_guard lock(g_mutex);
    if (g_unplugged.count(serial)) {
        error = "camera " + serial + " is not connected";
        return nullptr;
    }
    if (auto it = g_open.find(serial); it != g_open.end())
        if (auto core = it->second.lock())
            return core;
    for (const Entry& e : entries()) {
        if (e.desc.serial != serial)
            continue;
        std::unique_ptr<EventSource> source;
        CameraCoreOptions options;
        if (e.replayPath.empty()) {
            SimSourceOptions so;
            so.scene = envOr("QUORVEL_SIM_SCENE", "default");
            so.seed = std::strtoull(envOr("QUORVEL_SIM_SEED", "1").c_str(), nullptr, 10);
            source = makeSimSource(e.desc.width, e.desc.height, so, error);
            options.fusion = e.desc.product == kFusionProduct;
        } else {
            source = makeReplaySource(e.replayPath, error);
        }
        if (!source) {
            error = "cannot open camera " + serial + ": " + error;
            return nullptr;
        }
        auto core = std::make_shared<CameraCore>(e.desc, std::move(source), options);
        g_open[serial] = core;
        return core;
    }
    error = "no camera with serial '" + serial + "'";
    return nullptr;
}

} // namespace quorvel::detail
