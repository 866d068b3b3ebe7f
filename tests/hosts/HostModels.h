#pragma once

#include <string>

/** Small models whose effect on audio is known by hand. All have a hop of 256 at 48 kHz. */
namespace vorun::test {

/** A mask that is the same everywhere; buses "Processed" and "Residual". Latency 512 samples. */
void writeConstantMask(const std::string& path, float mask);
/** Masks of 0.25 and 0.5; buses "Voice", "Music" and "Residual". */
void writeTwoMasks(const std::string& path);
/** A mask of 1 that costs about as much time as the audio lasts. */
void writeSlowModel(const std::string& path);
/** Gives one frame for two that it takes. */
void writeFrameDropper(const std::string& path);
/** Gives half the rows that its header promises, which the engine finds out when it decodes them.
 */
void writeRowDropper(const std::string& path);

}  // namespace vorun::test
