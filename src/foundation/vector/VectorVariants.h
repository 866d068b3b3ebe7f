#pragma once

#include "foundation/vector/VectorOperations.h"

// The variants of the operations, one namespace each, in order of the dispatch index:
//   0  SSE2 and SSE3
//   1  SSSE3, MOVBE or SSE4.1
//   2  SSE4.2
//   3  AVX
//   4  AVX2, or AVX-512 F, CD, ER, PF
//   5  AVX-512 F, CD, BW, DQ, VL
// All come from one generic source, which a small file for each compiles with the flags of its
// instruction set. `plain` is standard C++ and the contract for the others: they may differ from it
// in the order of sums, in whether a multiply-add rounds once, and within the stated errors.
#define VORUN_VECTOR_VARIANTS(X, operation) \
    X(sse2, operation)                      \
    X(ssse3, operation)                     \
    X(sse42, operation)                     \
    X(avx, operation)                       \
    X(avx2, operation)                      \
    X(avx512, operation)

// NOLINTBEGIN(bugprone-macro-parentheses): the arguments are names and parameter lists.
#define VORUN_DECLARE_OPERATION(name, parameters, arguments, precondition) \
    IppStatus name parameters;
#define VORUN_DECLARE_VARIANT(variant, operation)    \
    namespace variant {                              \
    VORUN_VECTOR_OPERATIONS(VORUN_DECLARE_OPERATION) \
    }
// NOLINTEND(bugprone-macro-parentheses)

namespace vorun {
VORUN_DECLARE_VARIANT(plain, )
VORUN_VECTOR_VARIANTS(VORUN_DECLARE_VARIANT, )
}  // namespace vorun

#undef VORUN_DECLARE_VARIANT
#undef VORUN_DECLARE_OPERATION
