#include <gtest/gtest.h>

#include "restore/FileFormat.h"
#include "restore/HostError.h"

namespace vorun::restore {
namespace {

StreamShape shapeOf(int format, std::int64_t frames = 1000) {
    return {format, 2, 48000, frames};
}

int formatFor(const std::string& path, int inputFormat) {
    return outputFormat(path, shapeOf(inputFormat), inputFormat & SF_FORMAT_SUBMASK);
}

TEST(FileFormat, SuffixSelectsTheContainerWhateverItsCase) {
    const int wav16 = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
    EXPECT_EQ(formatFor("a.wav", wav16), wav16);
    EXPECT_EQ(formatFor("a.b.WAV", wav16), wav16);
    EXPECT_EQ(formatFor("a.aif", wav16), SF_FORMAT_AIFF | SF_FORMAT_PCM_16);
    EXPECT_EQ(formatFor("a.Flac", wav16), SF_FORMAT_FLAC | SF_FORMAT_PCM_16);
    EXPECT_EQ(formatFor("a.caf", wav16), SF_FORMAT_CAF | SF_FORMAT_PCM_16);
    EXPECT_EQ(formatFor("a.ogg", wav16), SF_FORMAT_OGG | SF_FORMAT_VORBIS);
    EXPECT_EQ(formatFor("a.opus", wav16), SF_FORMAT_OGG | SF_FORMAT_OPUS);
}

TEST(FileFormat, ContainerOfTheInputStaysUnderTheSameSuffix) {
    EXPECT_EQ(formatFor("a.wav", SF_FORMAT_WAVEX | SF_FORMAT_PCM_24),
              SF_FORMAT_WAVEX | SF_FORMAT_PCM_24);
    EXPECT_EQ(formatFor("a.flac", SF_FORMAT_WAVEX | SF_FORMAT_PCM_24),
              SF_FORMAT_FLAC | SF_FORMAT_PCM_24);
}

TEST(FileFormat, NearestSampleFormatLosesLeast) {
    EXPECT_EQ(formatFor("a.flac", SF_FORMAT_WAV | SF_FORMAT_FLOAT),
              SF_FORMAT_FLAC | SF_FORMAT_PCM_24);
    EXPECT_EQ(formatFor("a.flac", SF_FORMAT_WAV | SF_FORMAT_PCM_32),
              SF_FORMAT_FLAC | SF_FORMAT_PCM_24);
    EXPECT_EQ(formatFor("a.flac", SF_FORMAT_WAV | SF_FORMAT_PCM_U8),
              SF_FORMAT_FLAC | SF_FORMAT_PCM_S8);
    EXPECT_EQ(formatFor("a.wav", SF_FORMAT_FLAC | SF_FORMAT_PCM_S8),
              SF_FORMAT_WAV | SF_FORMAT_PCM_U8);
    EXPECT_EQ(formatFor("a.wav", SF_FORMAT_OGG | SF_FORMAT_VORBIS),
              SF_FORMAT_WAV | SF_FORMAT_PCM_24);
    EXPECT_EQ(formatFor("a.wav", SF_FORMAT_MPEG | SF_FORMAT_MPEG_LAYER_III),
              SF_FORMAT_WAV | SF_FORMAT_PCM_24);
    EXPECT_EQ(formatFor("a.mp3", SF_FORMAT_WAV | SF_FORMAT_PCM_16),
              SF_FORMAT_MPEG | SF_FORMAT_MPEG_LAYER_III);
    EXPECT_EQ(formatFor("a.flac", SF_FORMAT_WAV | SF_FORMAT_ULAW),
              SF_FORMAT_FLAC | SF_FORMAT_PCM_16);
    EXPECT_EQ(formatFor("a.wav", SF_FORMAT_AU | SF_FORMAT_ULAW), SF_FORMAT_WAV | SF_FORMAT_ULAW);
}

TEST(FileFormat, UnknownSuffixCannotBeCreated) {
    for (const char* const path : {"a", "a.", "a.txt", ".wav", "wav", "a.wav/b"}) {
        try {
            formatFor(path, SF_FORMAT_WAV | SF_FORMAT_PCM_16);
            ADD_FAILURE() << "accepted " << path;
        } catch (const HostError& error) {
            EXPECT_EQ(error.status(), ExitStatus::cannotCreateOutput);
        }
    }
}

TEST(FileFormat, ContainerThatCannotHoldTheStreamIsAnError) {
    const StreamShape manyChannels = {SF_FORMAT_WAV | SF_FORMAT_PCM_16, 11, 48000, 10};
    EXPECT_THROW(outputFormat("a.flac", manyChannels, SF_FORMAT_PCM_16), HostError);
}

TEST(FileFormat, LongWavBecomesRf64) {
    const int wav16 = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
    // Two channels of 16 bits.
    EXPECT_EQ(outputFormat("a.wav", shapeOf(wav16, 1'000'000'000), SF_FORMAT_PCM_16), wav16);
    EXPECT_EQ(outputFormat("a.wav", shapeOf(wav16, 1'070'000'000), SF_FORMAT_PCM_16),
              SF_FORMAT_RF64 | SF_FORMAT_PCM_16);
    EXPECT_EQ(outputFormat("a.wav", shapeOf(wav16, 530'000'000), SF_FORMAT_DOUBLE),
              SF_FORMAT_RF64 | SF_FORMAT_DOUBLE);
}

TEST(FileFormat, NamesOfSampleFormatsAreThoseOfTheHelp) {
    EXPECT_EQ(sampleFormatOfName("pcm24"), SampleFormat::pcm24);
    EXPECT_EQ(sampleFormatOfName("double"), SampleFormat::doublePrecision);
    EXPECT_THROW(sampleFormatOfName("PCM24"), HostError);
    EXPECT_THROW(sampleFormatOfName(""), HostError);
}

TEST(FileFormat, IntegerFormatsTellTheirBits) {
    EXPECT_EQ(integerBits(SF_FORMAT_PCM_U8), 8);
    EXPECT_EQ(integerBits(SF_FORMAT_PCM_16), 16);
    EXPECT_EQ(integerBits(SF_FORMAT_WAV | SF_FORMAT_PCM_24), 24);
    EXPECT_EQ(integerBits(SF_FORMAT_PCM_32), 32);
    EXPECT_EQ(integerBits(SF_FORMAT_FLOAT), 0);
    EXPECT_EQ(integerBits(SF_FORMAT_VORBIS), 0);
    EXPECT_EQ(integerBits(SF_FORMAT_ULAW), 16);
}

}  // namespace
}  // namespace vorun::restore
