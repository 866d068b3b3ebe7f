#include <cmath>
#include <limits>

#include "hosts/RestoreFixture.h"

namespace vorun::test {
namespace {

using testing::HasSubstr;

struct FormatCase {
    const char* suffix;
    int format;
    int channels;
    int sampleRate;
};

class RestoreFormatTest : public RestoreTest, public testing::WithParamInterface<FormatCase> {};

TEST_P(RestoreFormatTest, KeepsLengthRateChannelsAndSampleFormat) {
    const FormatCase& form = GetParam();
    Recording recording = noiseRecording(form.channels, 10007);
    recording.sampleRate = form.sampleRate;
    recording.format = form.format;
    input_ = folder_.file(std::string("form") + form.suffix);
    output_ = folder_.file(std::string("out") + form.suffix);
    writeRecording(input_, recording);
    const Recording before = readRecording(input_);
    // Above its top bin the engine takes a mean of the mask that is a little below 1; the residual
    // holds the rest.
    const Recording after = restored({"--residual-db", "0"});
    EXPECT_EQ(after.format, before.format);
    EXPECT_EQ(after.channels, form.channels);
    EXPECT_EQ(after.sampleRate, form.sampleRate);
    EXPECT_EQ(after.samples.size(), before.samples.size());
    EXPECT_LT(largestDifference(after.samples, before.samples), 1e-5F);
}

INSTANTIATE_TEST_SUITE_P(
    Lossless, RestoreFormatTest,
    testing::Values(FormatCase{".wav", SF_FORMAT_WAV | SF_FORMAT_PCM_U8, 1, 8000},
                    FormatCase{".wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 2, 44100},
                    FormatCase{".wav", SF_FORMAT_WAV | SF_FORMAT_PCM_24, 1, 48000},
                    FormatCase{".wav", SF_FORMAT_WAV | SF_FORMAT_PCM_32, 3, 96000},
                    FormatCase{".wav", SF_FORMAT_WAV | SF_FORMAT_FLOAT, 2, 192000},
                    FormatCase{".wav", SF_FORMAT_WAV | SF_FORMAT_DOUBLE, 1, 16000},
                    FormatCase{".wav", SF_FORMAT_WAVEX | SF_FORMAT_PCM_16, 6, 48000},
                    FormatCase{".wav", SF_FORMAT_RF64 | SF_FORMAT_PCM_24, 2, 48000},
                    FormatCase{".flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_16, 2, 48000},
                    FormatCase{".flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_24, 1, 88200},
                    FormatCase{".aiff", SF_FORMAT_AIFF | SF_FORMAT_PCM_16, 2, 22050},
                    FormatCase{".au", SF_FORMAT_AU | SF_FORMAT_FLOAT, 1, 48000},
                    FormatCase{".caf", SF_FORMAT_CAF | SF_FORMAT_PCM_24, 11, 48000}));

TEST_F(RestoreTest, IdentityGivesSixteenBitSamplesBackExactly) {
    ASSERT_EQ(run().status, 0);
    EXPECT_EQ(readIntegers(output_), readIntegers(input_));
}

TEST_F(RestoreTest, IdentityGivesFullScaleSixteenBitSamplesBackExactly) {
    Recording shape;
    std::vector<std::int32_t> values(20000);
    for (std::size_t i = 0; i < values.size(); ++i) {
        values[i] = (i / 7 % 2 == 0 ? 32767 : -32768) * 65536;
    }
    writeIntegers(input_, shape, values);
    ASSERT_EQ(run().status, 0);
    EXPECT_EQ(readIntegers(output_), values);
}

TEST_F(RestoreTest, SamplesStayInTheirPlaces) {
    Recording recording;
    recording.samples.assign(9000, 0.0F);
    recording.samples[0] = 0.5F;
    recording.samples[4097] = -0.5F;
    recording.samples[8999] = 0.25F;
    writeRecording(input_, recording);
    EXPECT_EQ(restored().samples, recording.samples);
}

TEST_F(RestoreTest, EveryLengthAroundTheHopComesBackWhole) {
    for (const int length : {1, 2, 255, 256, 257, 511, 512, 513, 4095, 4096, 4097}) {
        const Recording recording = noiseRecording(2, length);
        writeRecording(input_, recording);
        const std::vector<std::int32_t> before = readIntegers(input_);
        ASSERT_EQ(run().status, 0) << length;
        EXPECT_EQ(readIntegers(output_), before) << length;
    }
}

TEST_F(RestoreTest, EmptyInputGivesAnEmptyOutput) {
    Recording empty;
    empty.channels = 2;
    writeRecording(input_, empty);
    const Recording after = restored();
    EXPECT_EQ(after.samples.size(), 0U);
    EXPECT_EQ(after.channels, 2);
}

TEST_F(RestoreTest, OutputDoesNotDependOnTheBlockSize) {
    ASSERT_EQ(run().status, 0);
    const std::string whole = readBytes(output_);
    for (const char* const block : {"1", "7", "255", "1048576"}) {
        ASSERT_EQ(run({"--block", block}).status, 0);
        EXPECT_EQ(readBytes(output_), whole) << block;
    }
}

TEST_F(RestoreTest, SuffixChangesTheContainer) {
    output_ = folder_.file("out.flac");
    const Recording after = restored();
    EXPECT_EQ(after.format, SF_FORMAT_FLAC | SF_FORMAT_PCM_16);
    EXPECT_EQ(readIntegers(output_), readIntegers(input_));
}

TEST_F(RestoreTest, SampleFormatThatTheContainerLacksBecomesTheNearestAndIsNamed) {
    noise_.format = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
    writeRecording(input_, noise_);
    output_ = folder_.file("out.flac");
    const ProcessResult result = run();
    ASSERT_EQ(result.status, 0);
    EXPECT_THAT(result.out, HasSubstr("24 bit PCM, because the file cannot hold 32 bit float"));
    const Recording after = readRecording(output_);
    EXPECT_EQ(after.format, SF_FORMAT_FLAC | SF_FORMAT_PCM_24);
    EXPECT_LT(largestDifference(after.samples, noise_.samples), 1e-6F);
}

TEST_F(RestoreTest, LossyContainerKeepsLengthAndIsNamed) {
    // A tone: a lossy codec would not keep noise.
    Recording tone;
    tone.sampleRate = 44100;
    for (int i = 0; i < 44101; ++i) {
        tone.samples.push_back(0.5F * std::sin(0.05F * static_cast<float>(i)));
    }
    writeRecording(input_, tone);
    output_ = folder_.file("out.ogg");
    const ProcessResult result = run();
    ASSERT_EQ(result.status, 0);
    EXPECT_THAT(result.out, HasSubstr("Vorbis, because"));
    const Recording after = readRecording(output_);
    EXPECT_EQ(after.sampleRate, 44100);
    ASSERT_EQ(after.samples.size(), tone.samples.size());
    EXPECT_LT(largestDifference(after.samples, tone.samples), 0.1F);
}

TEST_F(RestoreTest, SampleFormatCanBeAskedFor) {
    EXPECT_EQ(restored({"--sample-format", "pcm24"}).format, SF_FORMAT_WAV | SF_FORMAT_PCM_24);
    const Recording after = restored({"--sample-format", "float"});
    EXPECT_EQ(after.format, SF_FORMAT_WAV | SF_FORMAT_FLOAT);
    EXPECT_LT(largestDifference(after.samples, noise_.samples), 1e-6F);
    const ProcessResult result = run({"--sample-format", "pcm8"});
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out, testing::Not(HasSubstr("because")));
    EXPECT_EQ(readRecording(output_).format, SF_FORMAT_WAV | SF_FORMAT_PCM_U8);
}

TEST_F(RestoreTest, TitleIsKept) {
    noise_.title = "A title";
    for (const char* const name : {"out.wav", "out.flac", "out.aiff"}) {
        writeRecording(input_, noise_);
        output_ = folder_.file(name);
        EXPECT_EQ(restored().title, "A title") << name;
    }
}

TEST_F(RestoreTest, SamplesBeyondFullScaleAreClippedAndCounted) {
    Recording loud;
    loud.format = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
    loud.samples.assign(1000, 0.0F);
    loud.samples[300] = 1.5F;
    loud.samples[700] = -1.5F;
    writeRecording(input_, loud);
    const ProcessResult result = run({"--sample-format", "pcm16"});
    ASSERT_EQ(result.status, 0);
    EXPECT_THAT(result.out, HasSubstr("2 samples beyond full scale"));
    const std::vector<std::int32_t> after = readIntegers(output_);
    EXPECT_EQ(after[300], 32767 * 65536);
    EXPECT_EQ(after[700], std::numeric_limits<std::int32_t>::min());
}

TEST_F(RestoreTest, SamplesThatAreNoNumbersAreSilenceAndLeaveTheRestAlone) {
    Recording broken = noise_;
    broken.format = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
    std::vector<float> expected = broken.samples;
    for (const std::size_t place : {std::size_t{0}, std::size_t{20000}, std::size_t{47999}}) {
        expected[place] = 0.0F;
        broken.samples[place] = std::numeric_limits<float>::quiet_NaN();
    }
    expected[30000] = 0.0F;
    broken.samples[30000] = std::numeric_limits<float>::infinity();
    writeRecording(input_, broken);
    const ProcessResult result = run();
    ASSERT_EQ(result.status, 0);
    EXPECT_THAT(result.out, HasSubstr("4 samples of the input, taken as 0"));
    EXPECT_LT(largestDifference(readRecording(output_).samples, expected), 1e-5F);
}

}  // namespace
}  // namespace vorun::test
