// Built with -march=x86-64-v3 (AVX2, BMI2, POPCNT); only used when the CPU has them.
#define QV_ISA_NS isa_x86_v3
#include "EventDecoderImpl.inc"
