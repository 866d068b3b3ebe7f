#pragma once

#include <cstdint>
#include <string>

namespace vorun::restore {

/** Bytes of sound that a header promises, and those of them that the file holds. */
struct SoundBytes {
    std::int64_t promised = 0;
    std::int64_t present = 0;
};

/**
 * Looks up the sound of a WAV, RF64 or AIFF file. libsndfile reads a file that was cut short as if
 * it had been meant so, and only the header tells.
 *
 * @return two equal numbers for other files, and where a program that wrote to a pipe could not
 * know the length and left a stand-in for it.
 */
SoundBytes soundBytes(const std::string& path);

}  // namespace vorun::restore
