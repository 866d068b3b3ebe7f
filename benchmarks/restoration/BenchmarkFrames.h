#pragma once

#include <cstdint>
#include <vector>

#include "audio/ComplexSignal32.h"
#include "audio/Signal32.h"
#include "support/ModelWriter.h"

/** Networks and material of known cost: 48 kHz stereo, transform of 1024 samples, hop 256. */
namespace vorun::benchmarks {

inline constexpr double sampleRate = 48000.0;
inline constexpr std::int32_t channels = 2;
inline constexpr std::int32_t fftSize = 1024;
inline constexpr std::int32_t hopSize = 256;
inline constexpr std::int32_t bins = fftSize / 2 + 1;
/** The lowest bins, as four feature rows each. */
inline constexpr std::int32_t complexBins = 128;

enum class Network : std::int64_t {
    passThrough,  ///< No layer: coding, decoding and mixing remain.
    gate,         ///< One convolution, 3 frames by 3 rows, and a sigmoid.
    fourStems,    ///< As gate, with four masks.
};

enum class Material : std::int64_t {
    speech,              ///< Noise in bursts with pauses, at the level of speech.
    silenceAfterSpeech,  ///< Exact zeros behind such bursts.
    denormal,            ///< Noise below the smallest normal float.
};

writer::ModelWriter modelOf(Network network);

/** Blocks of one hop; silenceAfterSpeech gives the silence alone. */
std::vector<Signal32> hopsOf(Material material, std::int32_t count);

/** Values of either sign with magnitudes up to about `level`. */
ComplexSignal32 randomSpectrum(float level);

}  // namespace vorun::benchmarks
