// SSE4.2 and what came before it.
#define VORUN_VARIANT sse42
#define VORUN_LANES 4
#define VORUN_FUSES 0
#include "foundation/vector/generic/Variant.inc"
