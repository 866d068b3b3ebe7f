#include <gtest/gtest.h>
#include <limits>

#include "audio/BaseAudioProcessor.h"

namespace vorun {
namespace {

class PassThrough : public BaseAudioProcessor {
  public:
    Signal32 process(const Signal32& input) override { return input; }
};

ChannelLayout layoutOf(int channels, double rate) {
    ChannelLayout layout = ChannelLayout::forChannelCount(channels);
    layout.sampleRate = rate;
    return layout;
}

TEST(BaseAudioProcessor, StartsWithEmptyLayouts) {
    const PassThrough processor;
    EXPECT_FALSE(processor.inputLayout.isConfigured());
    EXPECT_FALSE(processor.outputLayout.isConfigured());
    EXPECT_EQ(processor.inputLayout.sampleRate, 0.0);
    EXPECT_EQ(processor.outputLayout.sampleRate, 0.0);
}

TEST(BaseAudioProcessor, PrepareStoresBothLayoutsAndSharesTheSpeakers) {
    PassThrough processor;
    const ChannelLayout input = layoutOf(2, 48000.0);
    const ChannelLayout output = layoutOf(1, 44100.0);
    EXPECT_TRUE(processor.prepare(input, output));
    EXPECT_EQ(processor.inputLayout.speakerIds, input.speakerIds);
    EXPECT_EQ(processor.inputLayout.speakers, input.speakers);
    EXPECT_EQ(processor.inputLayout.sampleRate, 48000.0);
    EXPECT_EQ(processor.outputLayout.speakers, output.speakers);
    EXPECT_EQ(processor.outputLayout.sampleRate, 44100.0);
}

TEST(BaseAudioProcessor, EqualIdsAndRatesKeepTheStoredSpeakers) {
    PassThrough processor;
    const ChannelLayout first = layoutOf(2, 48000.0);
    ChannelLayout second = layoutOf(2, 48000.0);
    second.speakers.pop_back();
    processor.prepare(first, first);
    EXPECT_TRUE(processor.prepare(second, second));
    EXPECT_EQ(processor.inputLayout.speakers, first.speakers);
    EXPECT_EQ(processor.outputLayout.speakers, first.speakers);
}

TEST(BaseAudioProcessor, AChangeOfTheOutputRateAloneCopiesBothLayouts) {
    PassThrough processor;
    const ChannelLayout first = layoutOf(2, 48000.0);
    const ChannelLayout sameInput = layoutOf(2, 48000.0);
    const ChannelLayout output = layoutOf(2, 96000.0);
    processor.prepare(first, first);
    EXPECT_TRUE(processor.prepare(sameInput, output));
    EXPECT_EQ(processor.inputLayout.speakers, sameInput.speakers);
    EXPECT_EQ(processor.outputLayout.speakers, output.speakers);
    EXPECT_EQ(processor.outputLayout.sampleRate, 96000.0);
}

TEST(BaseAudioProcessor, AChangeOfOneSpeakerIdCopiesBothLayouts) {
    PassThrough processor;
    const ChannelLayout first = layoutOf(2, 48000.0);
    ChannelLayout changed = layoutOf(2, 48000.0);
    changed.speakerIds[1] = 9;
    processor.prepare(first, first);
    processor.prepare(changed, first);
    EXPECT_EQ(processor.inputLayout.speakerIds[1], 9);
    EXPECT_EQ(processor.inputLayout.speakers, changed.speakers);
}

TEST(BaseAudioProcessor, ARateThatIsNotANumberNeverComparesEqual) {
    PassThrough processor;
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const ChannelLayout first = layoutOf(1, nan);
    const ChannelLayout second = layoutOf(1, nan);
    processor.prepare(first, first);
    EXPECT_TRUE(processor.prepare(second, second));
    EXPECT_EQ(processor.inputLayout.speakers, second.speakers);
}

TEST(BaseAudioProcessor, PrepareNeverRefuses) {
    PassThrough processor;
    EXPECT_TRUE(processor.prepare(ChannelLayout(), ChannelLayout()));
    EXPECT_TRUE(processor.prepare(layoutOf(0, -1.0), layoutOf(11, 0.0)));
}

TEST(BaseAudioProcessor, PrepareMaySwapItsOwnLayouts) {
    PassThrough processor;
    processor.prepare(layoutOf(1, 8000.0), layoutOf(2, 16000.0));
    processor.prepare(processor.outputLayout, processor.inputLayout);
    EXPECT_EQ(processor.inputLayout.sampleRate, 16000.0);
    EXPECT_EQ(processor.outputLayout.sampleRate, 8000.0);
}

TEST(BaseAudioProcessor, HasNoLatencyAndNothingToReset) {
    PassThrough processor;
    processor.prepare(layoutOf(1, 8000.0), layoutOf(1, 8000.0));
    processor.reset();
    EXPECT_EQ(processor.getLatency(1), 0);
    EXPECT_EQ(processor.inputLayout.sampleRate, 8000.0);
}

}  // namespace
}  // namespace vorun
