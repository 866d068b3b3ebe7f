#include "foundation/vector/CpuFeatures.h"

#include <cpuid.h>
#include <cstdint>

namespace vorun::dispatch {

namespace {

struct CpuidLeaf {
    unsigned eax = 0;
    unsigned ebx = 0;
    unsigned ecx = 0;
    unsigned edx = 0;
};

CpuidLeaf cpuid(unsigned leaf) {
    // A leaf that the processor lacks stays all zero.
    CpuidLeaf result;
    __get_cpuid_count(leaf, 0, &result.eax, &result.ebx, &result.ecx, &result.edx);
    return result;
}

bool bit(unsigned word, unsigned position) {
    return ((word >> position) & 1U) != 0;
}

// Which register sets the system saves (XCR0). Only to be asked if CPUID reports OSXSAVE.
unsigned savedRegisterSets() {
    unsigned low = 0;
    unsigned high = 0;
    __asm__ volatile("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
    return low;
}

constexpr unsigned xmmAndYmm = 0x06;
constexpr unsigned xmmToZmm = 0xE6;

}  // namespace

CpuFeatures detectCpuFeatures() noexcept {
    CpuFeatures features;
    const CpuidLeaf basic = cpuid(1);
    features.ssse3 = bit(basic.ecx, 9);
    features.fma = bit(basic.ecx, 12);
    features.sse41 = bit(basic.ecx, 19);
    features.sse42 = bit(basic.ecx, 20);
    features.movbe = bit(basic.ecx, 22);
    features.avx = bit(basic.ecx, 28);

    const CpuidLeaf extended = cpuid(7);
    features.avx2 = bit(extended.ebx, 5);
    features.avx512f = bit(extended.ebx, 16);
    features.avx512dq = bit(extended.ebx, 17);
    features.avx512pf = bit(extended.ebx, 26);
    features.avx512er = bit(extended.ebx, 27);
    features.avx512cd = bit(extended.ebx, 28);
    features.avx512bw = bit(extended.ebx, 30);
    features.avx512vl = bit(extended.ebx, 31);

    const bool osxsave = bit(basic.ecx, 27);
    const unsigned saved = osxsave ? savedRegisterSets() : 0;
    features.savesAvx = (saved & xmmAndYmm) == xmmAndYmm;
    features.savesAvx512 = (saved & xmmToZmm) == xmmToZmm;
    return features;
}

int dispatchIndexFor(const CpuFeatures& f) noexcept {
    // A machine can hide the fused multiply-add of its processor, without which the wide variants
    // cannot do.
    const bool avx512Base = f.savesAvx512 && f.avx512f && f.avx512cd && f.fma;
    if (avx512Base && f.avx512bw && f.avx512dq && f.avx512vl) {
        return 5;
    }
    if ((f.savesAvx && f.avx2 && f.fma) || (avx512Base && f.avx512er && f.avx512pf)) {
        return 4;
    }
    if (f.savesAvx && f.avx) {
        return 3;
    }
    if (f.sse42) {
        return 2;
    }
    return f.ssse3 || f.movbe || f.sse41 ? 1 : 0;
}

}  // namespace vorun::dispatch
