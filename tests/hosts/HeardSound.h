#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "restore/Processor.h"

// What the tests of models that ship hear, through the exported functions.
namespace vorun::test {

/** What a model keeps of interleaved samples, aligned with them. Throws if the engine refuses it.
 */
inline std::vector<float> restored(const std::string& model, const std::vector<float>& input,
                                   int rate, std::int32_t channels = 1) {
    restore::Processor processor(model, channels, rate);
    processor.setBusGain(1, 0.0F);
    std::vector<float> padded = input;
    padded.resize(input.size() + static_cast<std::size_t>(processor.latency() * channels));
    processor.push(padded);
    return processor.pull(static_cast<std::int32_t>(input.size()) / channels);
}

/** White, of that standard deviation, and always the same. */
inline std::vector<float> noise(int samples, float level) {
    std::mt19937 random(7);
    std::normal_distribution<float> value(0.0F, level);
    std::vector<float> result(static_cast<std::size_t>(samples));
    for (float& sample : result) {
        sample = value(random);
    }
    return result;
}

/** Mean power of the samples from `first` on, up to but not including `last`, in dB. */
inline double decibels(const std::vector<float>& samples, std::size_t first, std::size_t last) {
    double sum = 0.0;
    for (std::size_t i = first; i < last; ++i) {
        sum += double{samples[i]} * double{samples[i]};
    }
    return 10.0 * std::log10(sum / static_cast<double>(last - first) + 1e-30);
}

}  // namespace vorun::test
