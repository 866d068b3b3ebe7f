// AVX: 256-bit registers for floats.
#define VORUN_VARIANT avx
#define VORUN_LANES 8
#define VORUN_FUSES 0
#include "foundation/vector/generic/Variant.inc"
