#pragma once

#include "foundation/vector/CpuFeatures.h"

// Which variant of the operations runs: one index for the whole family. It starts undetected, and
// the first operation to run asks the processor and stores the answer; two threads that come first
// at once store the same one.
namespace vorun::dispatch {

inline constexpr int undetectedIndex = -1;
inline constexpr int indexCount = 6;

/// The index in force now; undetectedIndex before the first operation.
int currentIndex() noexcept;

/// The largest index that this processor and system can run.
int largestIndex() noexcept;

/// For tests and benchmarks: makes every operation from now on run the variant of `index`, or
/// detect anew for undetectedIndex. False, and no change, for an index that the processor cannot
/// run or that does not exist. Not to be called while operations run on other threads whose variant
/// matters.
bool forceIndex(int index) noexcept;

/// The name of the variant that serves `index`, from 0 to indexCount - 1.
const char* variantName(int index) noexcept;

}  // namespace vorun::dispatch
