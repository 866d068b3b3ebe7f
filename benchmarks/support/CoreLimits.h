#pragma once

#include <cstddef>
#include <cstdint>

/** What one core can do at best: the yardstick of the benchmarks that count operations. */
namespace vorun::benchmarks {

enum class InstructionSet : std::int8_t { sse2, avx, avx2, avx512 };

inline constexpr InstructionSet instructionSets[] = {InstructionSet::sse2, InstructionSet::avx,
                                                     InstructionSet::avx2, InstructionSet::avx512};

const char* nameOf(InstructionSet set);

/** Whether this processor runs it. */
bool isSupported(InstructionSet set);

/** The last of the supported sets. */
InstructionSet widestSet();

/**
 * `rounds` rounds of single-precision multiply-adds in twelve independent chains of registers: one
 * instruction each from AVX2 on, a product and a sum before. Returns the floating-point operations.
 */
double runMultiplyAdds(InstructionSet set, std::int64_t rounds);

/** The best rate of runMultiplyAdds() in several short runs, operations a second; measured once. */
double peakFlops(InstructionSet set);

/** Loads `bytes`, a multiple of 512, from a 64-byte boundary on into registers. */
void readBytes(InstructionSet set, const char* bytes, std::size_t count);

}  // namespace vorun::benchmarks
