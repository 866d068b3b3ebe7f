#include "support/CoreLimits.h"

#include <algorithm>
#include <array>
#include <chrono>

namespace vorun::benchmarks {
namespace {

// The loops are assembly, so that no compiler spills a register, folds a sum or drops a load. Their
// registers hold zeros, which no core computes faster than other ordinary numbers.

// A step for each r from 0 to 11, then the next round.
#define VORUN_LOOP(setUp, step)                                                                \
    asm volatile(setUp "\n1:\n .irp r,0,1,2,3,4,5,6,7,8,9,10,11\n" step                        \
                       "\n.endr\n dec %0\n jnz 1b\n"                                           \
                 : "+r"(rounds)::"cc", "xmm0", "xmm1", "xmm2", "xmm3", "xmm4", "xmm5", "xmm6", \
                   "xmm7", "xmm8", "xmm9", "xmm10", "xmm11", "xmm13", "xmm14", "xmm15")

void chainSse2(std::int64_t rounds) {
    VORUN_LOOP("xorps %%xmm14, %%xmm14\n xorps %%xmm15, %%xmm15",
               "movaps %%xmm14, %%xmm13\n mulps %%xmm15, %%xmm13\n addps %%xmm13, %%xmm\\r");
}

void chainAvx(std::int64_t rounds) {
    VORUN_LOOP("vxorps %%xmm14, %%xmm14, %%xmm14\n vxorps %%xmm15, %%xmm15, %%xmm15",
               "vmulps %%ymm14, %%ymm15, %%ymm13\n vaddps %%ymm13, %%ymm\\r, %%ymm\\r");
    asm volatile("vzeroupper");
}

void chainAvx2(std::int64_t rounds) {
    VORUN_LOOP("vxorps %%xmm14, %%xmm14, %%xmm14\n vxorps %%xmm15, %%xmm15, %%xmm15",
               "vfmadd231ps %%ymm14, %%ymm15, %%ymm\\r");
    asm volatile("vzeroupper");
}

void chainAvx512(std::int64_t rounds) {
    VORUN_LOOP("vxorps %%xmm14, %%xmm14, %%xmm14\n vxorps %%xmm15, %%xmm15, %%xmm15",
               "vfmadd231ps %%zmm14, %%zmm15, %%zmm\\r");
    asm volatile("vzeroupper");
}

// 512 bytes a round, in eight loads or more of `width` bytes.
#define VORUN_READ(loads, load)                                                                  \
    asm volatile("1:\n .irp r," loads "\n" load "\n.endr\n add $512, %0\n cmp %1, %0\n jne 1b\n" \
                 : "+r"(at)                                                                      \
                 : "r"(end)                                                                      \
                 : "cc", "memory", "xmm0")

#define VORUN_TO_7 "0,1,2,3,4,5,6,7"
#define VORUN_TO_15 VORUN_TO_7 ",8,9,10,11,12,13,14,15"
#define VORUN_TO_31 VORUN_TO_15 ",16,17,18,19,20,21,22,23,24,25,26,27,28,29,30,31"

void readSse2(const char* at, const char* end) {
    VORUN_READ(VORUN_TO_31, "movaps 16*\\r(%0), %%xmm0");
}

void readAvx(const char* at, const char* end) {
    VORUN_READ(VORUN_TO_15, "vmovaps 32*\\r(%0), %%ymm0");
    asm volatile("vzeroupper");
}

void readAvx512(const char* at, const char* end) {
    VORUN_READ(VORUN_TO_7, "vmovaps 64*\\r(%0), %%zmm0");
    asm volatile("vzeroupper");
}

#undef VORUN_TO_31
#undef VORUN_TO_15
#undef VORUN_TO_7
#undef VORUN_READ
#undef VORUN_LOOP

double lanesOf(InstructionSet set) {
    constexpr double lanes[] = {4.0, 8.0, 8.0, 16.0};
    return lanes[static_cast<std::size_t>(set)];
}

double bestRate(InstructionSet set) {
    using Clock = std::chrono::steady_clock;
    constexpr int runs = 60;
    constexpr std::int64_t rounds = 200'000;
    double best = 0.0;
    for (int run = 0; run < runs; ++run) {
        const auto start = Clock::now();
        const double operations = runMultiplyAdds(set, rounds);
        const std::chrono::duration<double> taken = Clock::now() - start;
        best = std::max(best, operations / taken.count());
    }
    return best;
}

}  // namespace

const char* nameOf(InstructionSet set) {
    constexpr const char* names[] = {"sse2", "avx", "avx2", "avx512"};
    return names[static_cast<std::size_t>(set)];
}

bool isSupported(InstructionSet set) {
    switch (set) {
        case InstructionSet::sse2:
            return true;
        case InstructionSet::avx:
            return __builtin_cpu_supports("avx") != 0;
        case InstructionSet::avx2:
            return __builtin_cpu_supports("avx2") != 0 && __builtin_cpu_supports("fma") != 0;
        default:
            return __builtin_cpu_supports("avx512f") != 0;
    }
}

InstructionSet widestSet() {
    return *std::find_if(std::rbegin(instructionSets), std::rend(instructionSets), isSupported);
}

double runMultiplyAdds(InstructionSet set, std::int64_t rounds) {
    constexpr double chains = 12.0;
    constexpr void (*loops[])(std::int64_t) = {chainSse2, chainAvx, chainAvx2, chainAvx512};
    loops[static_cast<std::size_t>(set)](rounds);
    return static_cast<double>(rounds) * chains * 2.0 * lanesOf(set);
}

double peakFlops(InstructionSet set) {
    static std::array<double, std::size(instructionSets)> measured{};
    double& peak = measured[static_cast<std::size_t>(set)];
    if (peak == 0.0) {
        peak = bestRate(set);
    }
    return peak;
}

void readBytes(InstructionSet set, const char* bytes, std::size_t count) {
    constexpr void (*loops[])(const char*, const char*) = {readSse2, readAvx, readAvx, readAvx512};
    loops[static_cast<std::size_t>(set)](bytes, bytes + count);
}

}  // namespace vorun::benchmarks
