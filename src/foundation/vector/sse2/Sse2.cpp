// Any 64-bit x86 processor.
#define VORUN_VARIANT sse2
#define VORUN_LANES 4
#define VORUN_FUSES 0
#include "foundation/vector/generic/Variant.inc"
