#pragma once

#include <cstdint>
#include <sndfile.h>
#include <string>

namespace vorun::restore {

/** Sample formats that can be asked for by name. */
enum class SampleFormat { pcm8, pcm16, pcm24, pcm32, single, doublePrecision };

/** @throws HostError badUsage for a name that --help does not list. */
SampleFormat sampleFormatOfName(const std::string& name);

/** libsndfile's number of a sample format. */
int subtypeOf(SampleFormat format);

/** A name for users of a sample format of libsndfile, such as "16-bit PCM". */
std::string subtypeName(int subtype);

/** Shape of a recording. */
struct StreamShape {
    /** Container and sample format in libsndfile's numbers. */
    int format = 0;
    std::int32_t channels = 0;
    std::int32_t sampleRate = 0;
    /** Samples for each channel as the header tells; 0 or below where it does not. */
    std::int64_t frames = 0;
};

/**
 * Container and sample format for an output: the container by the suffix, the sample format as
 * wished or, where the container cannot hold it, the nearest that it can hold.
 *
 * The container of the input stays where the suffix allows it, and a WAV file that would pass 4 GiB
 * becomes RF64.
 *
 * @param wishedSubtype sample format in libsndfile's numbers.
 * @throws HostError cannotCreateOutput for an unknown suffix, or when the container takes no stream
 * of that rate and those channels.
 */
int outputFormat(const std::string& path, const StreamShape& input, int wishedSubtype);

/** Bits of an integer sample format; 0 where samples are stored as floats or by a lossy codec. */
int integerBits(int subtype);

}  // namespace vorun::restore
