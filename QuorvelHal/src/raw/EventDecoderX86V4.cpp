// Built with -march=x86-64-v4 plus VBMI2 and BITALG (AVX-512 with 16-bit compress and popcount);
// only used when the CPU has them.
#define QV_ISA_NS isa_x86_v4
#include "EventDecoderImpl.inc"
