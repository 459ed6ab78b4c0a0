// Tool descriptions in a daemon's open reply, from which the host builds mirror tools.
#include "net/ToolWire.h"
#include "quorvel/net/NetProtocol.h"

#include <cstddef>
#include <cstdint>
#include <memory>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    quorvel::Json msg;
    std::string err;
    if (!quorvel::net::parseControlBody(data, size, msg, err) || !msg.contains("tools"))
        return 0;
    std::vector<quorvel::net::WireTool> tools;
    if (!quorvel::net::toolsFromJson(msg["tools"], tools, err))
        return 0;
    for (auto& w : tools) {
        quorvel::detail::ParameterTool t(w.type, w.description, w.defs);
        t.apply(w.values, err);
        (void)quorvel::net::toolToJson(t);
    }
    return 0;
}
