#include "quorvel/raw/EventDecoder.h"

#include <cstdlib>

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
#endif

std::unique_ptr<EventDecoder> EventDecoder::create(const RawHeader& h) {
#if QV_HAVE_X86_V3
    static const bool v3 = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi2") &&
                           __builtin_cpu_supports("popcnt") && std::getenv("QUORVEL_GENERIC_CODECS") == nullptr;
    if (v3)
        return isa_x86_v3::createDecoder(h);
#endif
    return isa_generic::createDecoder(h);
}

} // namespace quorvel
