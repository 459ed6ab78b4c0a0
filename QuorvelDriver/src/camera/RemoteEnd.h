#pragma once
// What a camera core needs from the far end when the camera itself lives elsewhere (a network
// camera served by a camera daemon): the tools are mirrors whose changes go to the daemon, a
// configuration file is applied there, and the stream's health is known only to the link (its
// losses go to the core's LossLog through the event source). A core with a RemoteEnd skips its own filters, since the daemon already applied them.
//
// Thread rules: every member is thread-safe.

#include "camera/ParameterTool.h"
#include "quorvel/JsonUtils.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace quorvel::detail {

class RemoteEnd {
public:
    virtual ~RemoteEnd() = default;
    virtual std::vector<std::shared_ptr<ParameterTool>> tools() = 0;
    /// Applies a whole configuration document on the camera (all or nothing).
    virtual bool loadConfig(const Json& doc, std::string& error) = 0;
    /// The camera's current configuration document.
    virtual bool exportConfig(Json& doc, std::string& error) = 0;
    /// False once the link to the camera is gone.
    virtual bool linkUp() const = 0;
    /// Why the link went down ("" while it is up).
    virtual std::string linkError() const = 0;
    /// Tells the camera to stop streaming (after the core stopped reading).
    virtual void stopStream() = 0;
    /// EVT 3.0 payload bytes received so far: the real bandwidth, which local cameras estimate.
    virtual uint64_t receivedBytes() const = 0;
};

} // namespace quorvel::detail
