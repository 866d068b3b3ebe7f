#include <cmath>
#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <vector>

#include "restoration/support/SmallModels.h"
#include "restoration/support/Spectra.h"
#include "support/ScratchFolder.h"

namespace vorun {
namespace {

using test::layoutOf;
using test::smallHeader;

class LoadModels : public ::testing::Test {
  protected:
    std::string save(const writer::ModelHeader& header) {
        return folder.save(writer::ModelWriter(header));
    }

    /** Whether a model loads beside a plain one, in either place. */
    void expectRefusedBesidePlain(const writer::ModelHeader& other) {
        const std::string plain = save(smallHeader());
        const std::string changed = save(other);
        EXPECT_TRUE(VorunProcessor().loadModels({changed})) << "alone";
        EXPECT_FALSE(VorunProcessor().loadModels({plain, changed}));
        EXPECT_FALSE(VorunProcessor().loadModels({changed, plain}));
        EXPECT_FALSE(VorunProcessor().loadModels({plain, plain, changed}));
    }

    test::ScratchFolder folder;
    VorunProcessor processor;
};

TEST_F(LoadModels, EmptyListLoadsNothingAndIsNoFailure) {
    EXPECT_TRUE(processor.loadModels({}));
    EXPECT_TRUE(processor.models().empty());
    EXPECT_FALSE(processor.prepare(layoutOf(1), layoutOf(1)));
}

TEST_F(LoadModels, KeepsTheOrderOfThePaths) {
    std::vector<std::string> paths;
    for (std::int16_t id = 1; id <= 3; ++id) {
        writer::ModelHeader header = smallHeader();
        header.modelId = id;
        paths.push_back(save(header));
    }
    ASSERT_TRUE(processor.loadModels(paths));
    ASSERT_EQ(processor.models().size(), 3U);
    for (std::int32_t i = 0; i < 3; ++i) {
        EXPECT_EQ(processor.models()[static_cast<std::size_t>(i)].modelId, i + 1);
    }
}

TEST_F(LoadModels, MissingFileFails) {
    EXPECT_FALSE(processor.loadModels({folder.path("no such file")}));
    VorunProcessor second;
    EXPECT_FALSE(second.loadModels({save(smallHeader()), folder.path("no such file")}));
    EXPECT_FALSE(VorunProcessor().loadModels({""}));
}

TEST_F(LoadModels, FileThatIsNoModelFails) {
    EXPECT_FALSE(VorunProcessor().loadModels({folder.save(std::vector<std::uint8_t>{})}));
    EXPECT_FALSE(
        VorunProcessor().loadModels({folder.save({'n', 'o', ' ', 'm', 'o', 'd', 'e', 'l'})}));
    EXPECT_FALSE(VorunProcessor().loadModels({folder.path(".")}));
    writer::ModelHeader old = smallHeader();
    old.version = 4099;
    EXPECT_FALSE(VorunProcessor().loadModels({save(old)}));
}

TEST_F(LoadModels, BothTagsLoadAlike) {
    writer::ModelHeader older = smallHeader();
    older.tag = "ZUTo.model";
    EXPECT_TRUE(test::makeReady(processor, {save(older)}));
    EXPECT_TRUE(VorunProcessor().loadModels({save(older), save(smallHeader())}));
}

TEST_F(LoadModels, ProcessorMayBeDestroyedAfterAFailure) {
    VorunProcessor failed;
    EXPECT_FALSE(failed.loadModels({save(smallHeader()), save(smallHeader()), "no such file"}));
}

TEST_F(LoadModels, ModelsOfOtherHopAreRefused) {
    writer::ModelHeader other = smallHeader();
    other.hopSize = 4;
    expectRefusedBesidePlain(other);
}

TEST_F(LoadModels, ModelsOfOtherWindowAreRefused) {
    writer::ModelHeader other = smallHeader();
    other.windowSize = 18;
    expectRefusedBesidePlain(other);
}

TEST_F(LoadModels, ModelsWhoseRatesDifferInTheLastBitAreRefused) {
    writer::ModelHeader other = smallHeader();
    other.sampleRate = std::nextafter(test::modelRate, 1e9);
    expectRefusedBesidePlain(other);
}

TEST_F(LoadModels, ModelsOfOtherInputChannelsAreRefused) {
    expectRefusedBesidePlain(smallHeader(2, 1));
    // 11 and 12 channels have no speakers of their own; their counts still differ.
    EXPECT_FALSE(VorunProcessor().loadModels({save(smallHeader(11, 1)), save(smallHeader(12, 1))}));
    EXPECT_TRUE(VorunProcessor().loadModels({save(smallHeader(11, 1)), save(smallHeader(11, 1))}));
}

TEST_F(LoadModels, ModelsOfOtherOutputChannelsAreRefused) {
    expectRefusedBesidePlain(smallHeader(1, 2));
}

TEST_F(LoadModels, ModelsThatDifferOnlyElsewhereLoadTogether) {
    writer::ModelHeader other = smallHeader(1, 1, 2);
    other.modelId = 99;
    other.pipelineMode = 1;
    other.complexInputBins = 3;
    other.magnitudeInputBins = 20;
    EXPECT_TRUE(processor.loadModels({save(smallHeader()), save(other)}));
}

TEST_F(LoadModels, TransformOfTheFirstModelCounts) {
    writer::ModelHeader larger = smallHeader();
    larger.fftSize = 32;
    const std::string small = save(smallHeader());
    const std::string large = save(larger);
    ASSERT_TRUE(test::makeReady(processor, {large, small}));
    // 17 bins are a transform of 32: sample-aligned audio shows it in the API, bins show it here.
    VorunProcessor smallFirst;
    ASSERT_TRUE(test::makeReady(smallFirst, {small, large}));

    // A model with 17 complex bins fits the frames of 32 samples and not those of 16.
    larger.complexInputBins = 17;
    const std::string fine = save(larger);
    EXPECT_TRUE(test::makeReady(processor, {fine, small}));
    VorunProcessor tooSmall;
    EXPECT_FALSE(test::makeReady(tooSmall, {small, fine}));
}

TEST_F(LoadModels, RateOrChannelsThatAreNoStreamAreNotPrepared) {
    for (const double rate : {0.0, -48000.0, std::numeric_limits<double>::quiet_NaN()}) {
        writer::ModelHeader header = smallHeader();
        header.sampleRate = rate;
        VorunProcessor fresh;
        EXPECT_FALSE(test::makeReady(fresh, {save(header)})) << rate;
    }
    VorunProcessor deaf;
    EXPECT_FALSE(test::makeReady(deaf, {save(smallHeader(0, 1))}));
    VorunProcessor mute;
    EXPECT_FALSE(test::makeReady(mute, {save(smallHeader(1, 0))}));
}

TEST_F(LoadModels, NegativeChannelCountsAreRefused) {
    for (const auto& [in, out] : {std::pair{-1, 1}, std::pair{1, -1}, std::pair{-128, -128}}) {
        VorunProcessor fresh;
        EXPECT_FALSE(fresh.loadModels({save(smallHeader(in, out))}));
    }
}

TEST_F(LoadModels, AFirstWindowOfZeroLeavesTheNextModelToSetTheFraming) {
    writer::ModelHeader windowless = smallHeader();
    windowless.windowSize = 0;
    writer::ModelHeader otherHop = smallHeader();
    otherHop.hopSize = static_cast<std::int16_t>(otherHop.hopSize / 2);
    const std::string none = save(windowless);
    const std::string plain = save(smallHeader());
    EXPECT_TRUE(VorunProcessor().loadModels({none, plain}));
    EXPECT_TRUE(VorunProcessor().loadModels({none, plain, plain}));
    EXPECT_FALSE(VorunProcessor().loadModels({none, plain, save(otherHop)}));
    EXPECT_FALSE(VorunProcessor().loadModels({plain, none}));
}

TEST_F(LoadModels, LoadAfterPrepareFramesAnew) {
    ASSERT_TRUE(test::makeReady(processor, {save(smallHeader())}, 2, 96000.0));
    EXPECT_EQ(processor.getLatency(1), 2 * 2 * 8);

    writer::ModelHeader longer = smallHeader();
    longer.fftSize = 64;
    longer.windowSize = 64;
    longer.hopSize = 32;
    ASSERT_TRUE(processor.loadModels({save(longer)}));
    EXPECT_EQ(processor.frameScaleLog2(), 1);
    EXPECT_EQ(processor.getLatency(1), 2 * 2 * 32);
    // The primer is one hop short of a window: 63 samples give nothing, the 128th the first hop.
    EXPECT_EQ(processor.process(test::randomSamples(2, 127, 1)).length(), 0);
    const Signal32 hop = processor.process(test::randomSamples(2, 1, 2));
    EXPECT_EQ(hop.length(), 64);
    EXPECT_EQ(hop.channels(), 2);
}

TEST_F(LoadModels, LoadAfterPrepareTakesTheInputLayoutForBothSides) {
    ASSERT_TRUE(processor.loadModels({save(smallHeader())}));
    ASSERT_TRUE(processor.prepare(layoutOf(2), layoutOf(1)));
    ASSERT_TRUE(processor.loadModels({save(smallHeader())}));
    EXPECT_EQ(processor.inputLayout.speakerIds.size(), 2U);
    EXPECT_EQ(processor.outputLayout.speakerIds.size(), 2U);
    EXPECT_EQ(processor.process(test::randomSamples(2, 64, 1)).channels(), 2);
}

TEST_F(LoadModels, LoadingAgainStartsWithFreshModels) {
    const std::string path = save(smallHeader());
    ASSERT_TRUE(test::makeReady(processor, {path}));
    ASSERT_TRUE(processor.loadModels({path}));
    EXPECT_EQ(processor.models().size(), 1U);
    EXPECT_EQ(processor.models()[0].busNames.size(), 2U);
    EXPECT_EQ(processor.getOutputBusCount(true), 2);
    const ComplexSignal32 frame = test::randomSpectrum(1, test::smallBins, 1);
    const auto mixed = processor.processSpectrum(frame);
    ASSERT_EQ(mixed.size(), 1U);
    test::expectNear(mixed.front(), test::toGrid(frame), 1e-5);
}

TEST_F(LoadModels, FewerModelsTheNextTimeDropTheSurplus) {
    const std::string path = save(smallHeader());
    ASSERT_TRUE(test::makeReady(processor, {path, path, path}));
    ASSERT_TRUE(processor.loadModels({path}));
    EXPECT_EQ(processor.models().size(), 1U);
    EXPECT_EQ(processor.getOutputBusCount(false), 1);
    const ComplexSignal32 frame = test::randomSpectrum(1, test::smallBins, 2);
    const auto mixed = processor.processSpectrum(frame);
    ASSERT_EQ(mixed.size(), 1U);
    test::expectNear(mixed.front(), test::toGrid(frame), 1e-5);
}

TEST_F(LoadModels, LoadingOtherModelsReplacesChannelsRateAndNames) {
    ASSERT_TRUE(test::makeReady(processor, {save(smallHeader(1, 1, 3))}, 2));
    writer::ModelHeader other = smallHeader(2, 2, 1);
    other.sampleRate = 24000.0;
    ASSERT_TRUE(processor.loadModels({save(other)}));
    EXPECT_EQ(processor.getOutputBusCount(true), 2);
    EXPECT_EQ(processor.frameScaleLog2(), 1);
}

TEST_F(LoadModels, EmptyListAfterPrepareLetsAudioPassBy) {
    ASSERT_TRUE(test::makeReady(processor, {save(smallHeader())}));
    ASSERT_TRUE(processor.loadModels({}));
    const Signal32 block = test::randomSamples(1, 37, 1);
    test::expectSame(processor.process(block), block);
    EXPECT_EQ(processor.getOutputBusCount(true), 0);
    EXPECT_EQ(processor.getLatency(1), 0);
}

TEST_F(LoadModels, ReloadThatCannotBeFramedForTheHostFails) {
    ASSERT_TRUE(test::makeReady(processor, {save(smallHeader())}, 1, 8000.0 * 6.0));
    writer::ModelHeader unframed = smallHeader();
    unframed.hopSize = 0;
    EXPECT_FALSE(processor.loadModels({save(unframed)}));
}

}  // namespace
}  // namespace vorun
