// AVX-512 F, CD, BW, DQ and VL.
#define VORUN_VARIANT avx512
#define VORUN_LANES 16
#define VORUN_FUSES 1
#include "foundation/vector/generic/Variant.inc"
