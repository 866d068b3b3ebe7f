// SSSE3.
#define VORUN_VARIANT ssse3
#define VORUN_LANES 4
#define VORUN_FUSES 0
#include "foundation/vector/generic/Variant.inc"
