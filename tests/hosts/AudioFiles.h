#pragma once

#include <cstdint>
#include <sndfile.h>
#include <string>
#include <vector>

namespace vorun::test {

/** A recording in memory: interleaved samples, and what a file's header tells of it. */
struct Recording {
    std::vector<float> samples;
    int channels = 1;
    int sampleRate = 48000;
    int format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
    std::string title;
};

/** Uniform noise within +-peak, the same for the same seed. */
Recording noiseRecording(int channels, int frames, float peak = 0.9F, unsigned seed = 1);

void writeRecording(const std::string& path, const Recording& recording);
/** Writes the samples several times, one after the other, without holding them all. */
void writeRepeated(const std::string& path, const Recording& recording, int times);
/** Writes integers as they are, left-justified in 32 bits. */
void writeIntegers(const std::string& path, const Recording& shape,
                   const std::vector<std::int32_t>& values);
Recording readRecording(const std::string& path);
std::vector<std::int32_t> readIntegers(const std::string& path);

std::string readBytes(const std::string& path);
void writeBytes(const std::string& path, const std::string& bytes);

/** Largest difference of two equally long recordings. */
float largestDifference(const std::vector<float>& a, const std::vector<float>& b);
/** Each sample times a factor. */
std::vector<float> scaled(std::vector<float> samples, float factor);

}  // namespace vorun::test
