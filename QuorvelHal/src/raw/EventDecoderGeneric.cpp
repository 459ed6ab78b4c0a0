#define QV_ISA_NS isa_generic
#include "EventDecoderImpl.inc"
