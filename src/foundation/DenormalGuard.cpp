#include "foundation/DenormalGuard.h"

#include <xmmintrin.h>

namespace vorun {

namespace {

constexpr unsigned int flushResultsToZero = 0x8000;
constexpr unsigned int takeOperandsForZero = 0x0040;

}  // namespace

DenormalGuard::DenormalGuard() noexcept : previousMode_(_mm_getcsr()) {
    _mm_setcsr(previousMode_ | flushResultsToZero | takeOperandsForZero);
}

DenormalGuard::~DenormalGuard() {
    _mm_setcsr(previousMode_);
}

}  // namespace vorun
