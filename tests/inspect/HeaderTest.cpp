#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>

#include "inspect/Framing.h"
#include "inspect/InspectTools.h"

namespace vorun::test {
namespace {

using inspect::FileContents;
using inspect::Framing;
using testing::ElementsAre;
using testing::IsEmpty;

FileContents sound() {
    return decoded(writer::ModelWriter().bytes());
}

FileContents framed(std::int32_t fft, std::int32_t window, std::int32_t hop) {
    FileContents contents = sound();
    contents.fftSize = fft;
    contents.windowSize = window;
    contents.hopSize = hop;
    return contents;
}

TEST(InspectFraming, AWindowBelowThreeHopsIsSymmetric) {
    const Framing framing = framingOf(framed(512, 512, 256), 0);
    EXPECT_FALSE(framing.isLowLatency);
    EXPECT_EQ(framing.hops, 2);
    EXPECT_EQ(framing.latencySamples, 512);
    EXPECT_FALSE(framingOf(framed(512, 512, 171), 0).isLowLatency);
}

TEST(InspectFraming, AWindowOfThreeHopsHasLowLatency) {
    const Framing framing = framingOf(framed(512, 384, 128), 5);
    EXPECT_TRUE(framing.isLowLatency);
    EXPECT_EQ(framing.hops, 3);
    EXPECT_EQ(framing.latencySamples, (3 + 5) * 128);
}

TEST(InspectFraming, AHopOfOneSampleSparesAHop) {
    EXPECT_EQ(framingOf(framed(2, 2, 1), 0).latencySamples, 1);
    EXPECT_EQ(framingOf(framed(4, 4, 1), 0).latencySamples, 2);
}

TEST(InspectHeader, ASoundOneHasNoWarnings) {
    EXPECT_THAT(headerWarnings(sound()), IsEmpty());
}

TEST(InspectHeader, FramesThatCannotBeCutAreToldOnce) {
    for (const FileContents& contents :
         {framed(512, 511, 256), framed(510, 512, 256), framed(512, 512, 0), framed(511, 511, 255),
          framed(-2, -2, -1)}) {
        EXPECT_THAT(headerWarnings(contents),
                    ElementsAre(testing::StartsWith("audio cannot be framed: ")));
    }
}

TEST(InspectHeader, RatesThatAreNone) {
    for (const double rate : {0.0, -1.0, std::numeric_limits<double>::quiet_NaN(),
                              std::numeric_limits<double>::infinity()}) {
        FileContents contents = sound();
        contents.sampleRate = rate;
        EXPECT_THAT(headerWarnings(contents), ElementsAre("the sample rate is not above 0"));
        EXPECT_EQ(milliseconds(contents, 512), 0.0);
    }
}

TEST(InspectHeader, CountsThatAreNone) {
    FileContents contents = sound();
    contents.inputChannels = 0;
    contents.inputBins = 0;
    contents.maskCount = 0;
    EXPECT_THAT(headerWarnings(contents),
                ElementsAre("the model has no channels for audio", "the model has no rows",
                            "the model has no outputs"));
}

TEST(InspectHeader, BinsThatDoNotFit) {
    FileContents contents = sound();
    contents.complexInputBins = 258;
    contents.inputBins = 300;
    EXPECT_THAT(headerWarnings(contents),
                ElementsAre("there are more complex bins than the transform has"));
    contents.complexInputBins = -1;
    EXPECT_THAT(headerWarnings(contents), ElementsAre("the counts of bins are below 0"));
}

TEST(InspectHeader, MoreOutputsThanCanBeMixed) {
    FileContents contents = sound();
    contents.maskCount = 15;
    EXPECT_THAT(headerWarnings(contents), IsEmpty());
    contents.maskCount = 16;
    EXPECT_THAT(headerWarnings(contents),
                ElementsAre("there are more outputs than the 15 that can be mixed"));
}

}  // namespace
}  // namespace vorun::test
