#include "quorvel/raw/EventDecoder.h"

#include <cstdlib>
#include <string>

namespace quorvel {

void DecodeStats::add(const DecodeStats& o) {
    if (o.events && !events)
        firstEventTs = o.firstEventTs;
    if (o.events)
        lastEventTs = o.lastEventTs;
    events += o.events;
    onEvents += o.onEvents;
    triggers += o.triggers;
    invalidEvents += o.invalidEvents;
    reservedWords += o.reservedWords;
    timeBackwards += o.timeBackwards;
    if (o.timeJumps && !timeJumps)
        firstTimeJumpOffset = o.firstTimeJumpOffset;
    timeJumps += o.timeJumps;
}

namespace isa_generic {
std::unique_ptr<EventDecoder> createDecoder(const RawHeader& h);
}
#if QV_HAVE_X86_V3
namespace isa_x86_v3 {
std::unique_ptr<EventDecoder> createDecoder(const RawHeader& h);
}
namespace isa_x86_v4 {
std::unique_ptr<EventDecoder> createDecoder(const RawHeader& h);
}
#endif

std::unique_ptr<EventDecoder> EventDecoder::create(const RawHeader& h) {
#if QV_HAVE_X86_V3
    // QUORVEL_CODECS=generic or =avx2 picks a lower level (tests run every level).
    static const int level = [] {
        const char* want = std::getenv("QUORVEL_CODECS");
        const std::string w = want ? want : "";
        if (w == "generic" || std::getenv("QUORVEL_GENERIC_CODECS"))
            return 0;
        const bool v3 = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi2") && __builtin_cpu_supports("popcnt");
        const bool v4 = v3 && __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512vl") &&
                        __builtin_cpu_supports("avx512vbmi2") && __builtin_cpu_supports("avx512bitalg");
        if (v4 && w != "avx2")
            return 2;
        return v3 ? 1 : 0;
    }();
    if (level == 2)
        return isa_x86_v4::createDecoder(h);
    if (level == 1)
        return isa_x86_v3::createDecoder(h);
#endif
    return isa_generic::createDecoder(h);
}

} // namespace quorvel
