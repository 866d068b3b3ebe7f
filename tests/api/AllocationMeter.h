#pragma once

#include <cstddef>

/**
 * Counts the heap of the whole process, the engine's part included: this program's allocation
 * functions stand before the C library's, or a sanitizer tells of every block.
 */
namespace vorun::apitest::meter {

/** False where neither way exists; the numbers are 0 then. */
bool isAvailable();

/** Bytes in blocks that are allocated now. */
std::size_t liveBytes();

/** Sets the peak to what is live now. */
void restartPeak();

/** Most live bytes since restartPeak(). */
std::size_t peakBytes();

}  // namespace vorun::apitest::meter
