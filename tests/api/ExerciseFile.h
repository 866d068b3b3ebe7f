#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "api/TemporaryFile.h"

namespace vorun::apitest {

/** What one run over a file took. */
struct Exercise {
    bool modelLoaded = false;
    bool processorCreated = false;
    /** Peak heap above what was live before, for the load alone and for all of the run. */
    std::size_t loadBytes = 0;
    std::size_t tensorBytes = 0;
    std::size_t audioBytes = 0;
};

/**
 * Loads a file as model and as processor and runs each on a few frames of several shapes. Whatever
 * derives from std::exception is an answer; anything else is for the sanitizers to see.
 */
Exercise exerciseFile(const TemporaryFile& file);

/**
 * Heap that loading a file may take: every byte of it may stand for at most 64 bytes of weights,
 * layers, names and temporary copies, above what an empty model needs.
 */
constexpr std::size_t loadBound(std::size_t fileBytes) {
    return 64U * 1024U + 64U * fileBytes;
}

/**
 * Heap that the tensors of exerciseFile() may take: a kernel frame, which has 4 bytes in the file,
 * can ask for a ring of 127 frames of the largest input.
 */
constexpr std::size_t tensorBound(std::size_t fileBytes) {
    constexpr std::size_t largestDilation = 127;
    constexpr std::size_t largestInput = 9 * 2;
    return loadBound(fileBytes) + 8 * largestDilation * largestInput * fileBytes;
}

/**
 * Heap that the audio of exerciseFile() may take: a header of 16-bit sizes can ask for frames of
 * 2^15 samples at twice the model's rate, some tens of which are alive for two channels.
 */
constexpr std::size_t audioBound(std::size_t fileBytes) {
    return tensorBound(fileBytes) + 64U * (1U << 16U) * 2U * sizeof(float);
}

}  // namespace vorun::apitest
