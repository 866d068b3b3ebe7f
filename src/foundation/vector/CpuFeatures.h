#pragma once

namespace vorun::dispatch {

/// What the processor offers and the operating system keeps across a change of thread.
struct CpuFeatures {
    bool ssse3 = false;
    bool sse41 = false;
    bool sse42 = false;
    bool movbe = false;
    bool avx = false;
    bool avx2 = false;
    bool fma = false;
    bool avx512f = false;
    bool avx512cd = false;
    bool avx512er = false;
    bool avx512pf = false;
    bool avx512bw = false;
    bool avx512dq = false;
    bool avx512vl = false;
    /// The system saves the 256-bit and the 512-bit registers.
    bool savesAvx = false;
    bool savesAvx512 = false;
};

/// Asks the processor. SSE2 is part of every 64-bit x86 processor and not asked for.
CpuFeatures detectCpuFeatures() noexcept;

/// The dispatch index, 0 to 5, of the widest variant that `features` can run; the rows stand in
/// VectorVariants.h.
int dispatchIndexFor(const CpuFeatures& features) noexcept;

}  // namespace vorun::dispatch
