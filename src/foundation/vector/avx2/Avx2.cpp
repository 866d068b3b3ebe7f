// AVX2 with fused multiply-adds.
#define VORUN_VARIANT avx2
#define VORUN_LANES 8
#define VORUN_FUSES 1
#include "foundation/vector/generic/Variant.inc"
