#include <cmath>
#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <list>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "restoration/support/GraphLayers.h"
#include "restoration/support/MixOracle.h"
#include "restoration/support/SmallModels.h"
#include "restoration/support/Spectra.h"
#include "support/ScratchFolder.h"

namespace vorun {
namespace {

using test::ActionLayer;
using test::expectNear;
using test::makeReady;
using test::product;
using test::randomSpectrum;
using test::smallBins;
using test::smallHeader;
using test::toGrid;
using Shape = std::vector<std::int32_t>;

class ProcessSpectrum : public ::testing::Test {
  protected:
    ProcessSpectrum() {
        for (std::uint32_t i = 0; i < 8; ++i) {
            frames.push_back(randomSpectrum(1, smallBins, 100 + i));
        }
    }

    std::string pass() { return folder.save(writer::ModelWriter(smallHeader())); }
    std::string conv(const writer::ConvRecord& record) {
        return folder.save(test::convModel(smallHeader(), record));
    }

    /** Only the masked part, so that which mask met which frame shows in the output. */
    void hearFirstBusAlone() {
        for (std::int32_t bus = 1; bus < 16; ++bus) {
            processor.setBusGain(bus, 0.0f);
        }
    }

    /** Holds tensors back: gives `batches[i]` of the oldest in call i, nothing later. */
    void holdBack(std::vector<int> batches) {
        auto held = std::make_shared<std::list<Tensor<float>>>();
        auto call = std::make_shared<std::size_t>(0);
        test::putBehindInput(test::modelOf(processor, 0),
                             [=](ActionLayer& layer, const Tensor<float>& input) {
                                 held->push_back(input);
                                 for (int i = 0; i < batches.at(*call); ++i) {
                                     layer.PropagateToConsumers(held->front(), &layer);
                                     held->pop_front();
                                 }
                                 return batches.at((*call)++) > 0;
                             });
    }

    /** Frame `dry` under the mask that frame `mask` gave in a pass-through network. */
    void expectPair(const ComplexSignal32& mixed, std::size_t dry, std::size_t mask) {
        expectNear(mixed, product(toGrid(frames[dry]), toGrid(frames[mask])), 1e-5);
    }

    test::ScratchFolder folder;
    VorunProcessor processor;
    std::vector<ComplexSignal32> frames;
};

TEST_F(ProcessSpectrum, WithoutLatencyOneCallGivesOneFrameFromTheFirstOn) {
    ASSERT_TRUE(makeReady(processor, {pass()}));
    hearFirstBusAlone();
    for (std::size_t i = 0; i < frames.size(); ++i) {
        const auto mixed = processor.processSpectrum(frames[i]);
        ASSERT_EQ(mixed.size(), 1U);
        expectPair(mixed.front(), i, i);
        EXPECT_EQ(frames[i].useCount(), 1);
    }
}

TEST_F(ProcessSpectrum, LatencyTwoPairsTheFirstFrameWithTheFirstOutputInTheThirdCall) {
    ASSERT_TRUE(makeReady(processor, {conv(test::delayLine(1, 2))}));
    hearFirstBusAlone();
    EXPECT_TRUE(processor.processSpectrum(frames[0]).empty());
    EXPECT_TRUE(processor.processSpectrum(frames[1]).empty());
    for (std::size_t i = 2; i < frames.size(); ++i) {
        const auto mixed = processor.processSpectrum(frames[i]);
        ASSERT_EQ(mixed.size(), 1U);
        expectPair(mixed.front(), i - 2, i - 2);
    }
}

TEST_F(ProcessSpectrum, FramesMeetByAgeAndNothingElse) {
    // This network passes each frame on at once but swallows the first two.
    ASSERT_TRUE(makeReady(processor, {conv(test::lateStart(1, 2))}));
    hearFirstBusAlone();
    EXPECT_TRUE(processor.processSpectrum(frames[0]).empty());
    EXPECT_TRUE(processor.processSpectrum(frames[1]).empty());
    for (std::size_t i = 2; i < frames.size(); ++i) {
        const auto mixed = processor.processSpectrum(frames[i]);
        ASSERT_EQ(mixed.size(), 1U);
        expectPair(mixed.front(), i - 2, i);
    }
}

TEST_F(ProcessSpectrum, WaitingFramesAreHeldByHandle) {
    ASSERT_TRUE(makeReady(processor, {conv(test::delayLine(1, 2))}));
    processor.processSpectrum(frames[0]);
    processor.processSpectrum(frames[1]);
    EXPECT_EQ(frames[0].useCount(), 2);
    EXPECT_EQ(frames[1].useCount(), 2);
    processor.processSpectrum(frames[2]);
    EXPECT_EQ(frames[0].useCount(), 1);
    EXPECT_EQ(frames[2].useCount(), 2);
}

TEST_F(ProcessSpectrum, TwoOutputsInOneCallAfterNoneBothLeaveInThatCall) {
    ASSERT_TRUE(makeReady(processor, {pass()}));
    hearFirstBusAlone();
    holdBack({0, 2, 0, 2});
    for (const std::size_t i : {std::size_t{0}, std::size_t{2}}) {
        EXPECT_TRUE(processor.processSpectrum(frames[i]).empty());
        const auto mixed = processor.processSpectrum(frames[i + 1]);
        ASSERT_EQ(mixed.size(), 2U);
        expectPair(mixed.front(), i, i);
        expectPair(mixed.back(), i + 1, i + 1);
    }
}

TEST_F(ProcessSpectrum, OneTensorOfTwoFramesIsTwoOutputs) {
    ASSERT_TRUE(makeReady(processor, {pass()}));
    hearFirstBusAlone();
    int calls = 0;
    test::putBehindInput(test::modelOf(processor, 0),
                         [&](ActionLayer& layer, const Tensor<float>& input) {
                             if (++calls < 2) {
                                 return false;
                             }
                             const std::int32_t rows = input.dim(1);
                             Tensor<float> both(Shape{2, rows, 1});
                             for (std::int32_t r = 0; r < rows; ++r) {
                                 both.data()[r] = input.readData()[r];
                                 both.data()[rows + r] = 0.5f * input.readData()[r];
                             }
                             return layer.PropagateToConsumers(both, &layer);
                         });
    EXPECT_TRUE(processor.processSpectrum(frames[0]).empty());
    const auto mixed = processor.processSpectrum(frames[1]);
    ASSERT_EQ(mixed.size(), 2U);
    expectPair(mixed.front(), 0, 1);
    expectNear(mixed.back(), test::scaled(product(toGrid(frames[1]), toGrid(frames[1])), 0.5),
               1e-5);
}

TEST_F(ProcessSpectrum, OutputWithoutAFrameToMeetWaits) {
    ASSERT_TRUE(makeReady(processor, {pass()}));
    hearFirstBusAlone();
    test::putBehindInput(test::modelOf(processor, 0),
                         [calls = 0](ActionLayer& layer, const Tensor<float>& input) mutable {
                             if (++calls == 1) {
                                 layer.PropagateToConsumers(input, &layer);
                             }
                             return layer.PropagateToConsumers(input, &layer);
                         });
    // The first call gives its mask twice; from then on every mask waits for the next frame.
    auto mixed = processor.processSpectrum(frames[0]);
    ASSERT_EQ(mixed.size(), 1U);
    expectPair(mixed.front(), 0, 0);
    for (std::size_t i = 1; i < 4; ++i) {
        mixed = processor.processSpectrum(frames[i]);
        ASSERT_EQ(mixed.size(), 1U);
        expectPair(mixed.front(), i, i - 1);
    }
}

TEST_F(ProcessSpectrum, NetworkThatGivesFewerFramesThanItTakesKeepsTheRestWaiting) {
    writer::ConvRecord everySecond = test::lateStart(1, 0);
    everySecond.timeStride = 2;
    ASSERT_TRUE(makeReady(processor, {conv(everySecond)}));
    hearFirstBusAlone();
    std::size_t left = 0;
    for (std::size_t i = 0; i < frames.size(); ++i) {
        const auto mixed = processor.processSpectrum(frames[i]);
        ASSERT_EQ(mixed.size(), i % 2 == 0 ? 1U : 0U);
        if (!mixed.empty()) {
            expectPair(mixed.front(), left++, i);
        }
    }
    for (std::size_t i = 0; i < frames.size(); ++i) {
        EXPECT_EQ(frames[i].useCount(), i < left ? 1 : 2);
    }
}

TEST_F(ProcessSpectrum, OutputHasTheHostsChannelsAndBins) {
    ASSERT_TRUE(makeReady(processor, {pass()}, 3));
    const ComplexSignal32 frame = randomSpectrum(3, smallBins, 1);
    const auto mixed = processor.processSpectrum(frame);
    ASSERT_EQ(mixed.size(), 1U);
    expectNear(mixed.front(), toGrid(frame), 1e-5);
}

TEST_F(ProcessSpectrum, ChangedGainCountsFromTheNextFrameInAStep) {
    ASSERT_TRUE(makeReady(processor, {pass()}));
    hearFirstBusAlone();
    expectPair(processor.processSpectrum(frames[0]).front(), 0, 0);
    processor.setBusGain(0, 0.5f);
    expectNear(processor.processSpectrum(frames[1]).front(),
               test::scaled(product(toGrid(frames[1]), toGrid(frames[1])), 0.5), 1e-5);
    processor.setBusGain(0, 1.0f);
    expectPair(processor.processSpectrum(frames[2]).front(), 2, 2);
}

TEST_F(ProcessSpectrum, GainCountsWhenAFrameIsMixedNotWhenItCameIn) {
    ASSERT_TRUE(makeReady(processor, {conv(test::delayLine(1, 1))}));
    hearFirstBusAlone();
    processor.setBusGain(0, 0.0f);
    processor.processSpectrum(frames[0]);
    processor.setBusGain(0, 1.0f);
    expectPair(processor.processSpectrum(frames[1]).front(), 0, 0);
}

TEST_F(ProcessSpectrum, TailFillIsSwitchedOnAgainBeforeEveryFrame) {
    writer::ModelHeader header = test::magnitudeHeader(4);
    ASSERT_TRUE(makeReady(processor, {folder.save(writer::ModelWriter(header))}));
    hearFirstBusAlone();
    const ComplexSignal32 frame = test::constantSpectrum(1, smallBins, {1.0f, 0.0f});
    for (int i = 0; i < 3; ++i) {
        test::modelOf(processor, 0).enabled = false;
        const auto mixed = processor.processSpectrum(frame);
        EXPECT_TRUE(processor.models()[0].enabled);
        ASSERT_EQ(mixed.size(), 1U);
        // 1 - 0.98^4 after four bins of magnitude 1.
        EXPECT_NEAR(mixed.front().readData(0)[8].re, 0.07763184f, 1e-6f);
    }
}

TEST_F(ProcessSpectrum, HostOfDoubleRateHearsTheTailAboveTheModel) {
    ASSERT_TRUE(makeReady(processor,
                          {folder.save(writer::ModelWriter(test::magnitudeHeader(smallBins)))}, 1,
                          96000.0));
    hearFirstBusAlone();
    const ComplexSignal32 frame = test::constantSpectrum(1, 17, {0.0f, 2.0f});
    const auto mixed = processor.processSpectrum(frame);
    ASSERT_EQ(mixed.size(), 1U);
    test::Grid expected(1, test::Row(17, {0.0, 4.0}));
    for (std::size_t b = 9; b < 17; ++b) {
        expected[0][b] = {0.0, 2.0 * 2.0 * (1.0 - std::pow(0.98, 9))};
    }
    expectNear(mixed.front(), expected, 1e-5);
}

TEST_F(ProcessSpectrum, HostOfHalfRateLeavesTheModelsTopRowsZero) {
    ASSERT_TRUE(makeReady(processor,
                          {folder.save(writer::ModelWriter(test::magnitudeHeader(smallBins)))}, 1,
                          24000.0));
    std::vector<float> seen;
    test::putBehindInput(test::modelOf(processor, 0),
                         [&](ActionLayer& layer, const Tensor<float>& input) {
                             seen.assign(input.readData(), input.readData() + input.volume());
                             return layer.PropagateToConsumers(input, &layer);
                         });
    const ComplexSignal32 frame = test::constantSpectrum(1, 5, {0.0f, 2.0f});
    const auto mixed = processor.processSpectrum(frame);
    EXPECT_EQ(seen, (std::vector<float>{2, 2, 2, 2, 2, 0, 0, 0, 0}));
    ASSERT_EQ(mixed.size(), 1U);
    expectNear(mixed.front(), toGrid(frame), 1e-5);
}

TEST_F(ProcessSpectrum, ModelIsFedOneFrameAtATime) {
    ASSERT_TRUE(makeReady(processor, {pass()}));
    std::vector<Shape> shapes;
    test::putBehindInput(test::modelOf(processor, 0),
                         [&](ActionLayer& layer, const Tensor<float>& input) {
                             shapes.push_back(input.shape());
                             return layer.PropagateToConsumers(input, &layer);
                         });
    processor.process(test::randomSamples(1, 80, 1));
    ASSERT_EQ(shapes.size(), 10U);
    for (const Shape& shape : shapes) {
        EXPECT_EQ(shape, (Shape{1, 36, 1}));
    }
}

TEST_F(ProcessSpectrum, EmptyResultTensorEntersNoQueue) {
    ASSERT_TRUE(makeReady(processor, {pass()}));
    test::putBehindInput(test::modelOf(processor, 0), [](ActionLayer& layer, const Tensor<float>&) {
        return layer.PropagateToConsumers(Tensor<float>(Shape{0, 36, 1}), &layer);
    });
    EXPECT_TRUE(processor.processSpectrum(frames[0]).empty());
    EXPECT_EQ(frames[0].useCount(), 2);
}

TEST_F(ProcessSpectrum, ResultWithTooFewChannelsRaises) {
    // Two masks are promised, one comes.
    ASSERT_TRUE(makeReady(processor, {folder.save(writer::ModelWriter(smallHeader(1, 1, 2)))}));
    EXPECT_THROW(processor.processSpectrum(frames[0]), std::runtime_error);
}

TEST_F(ProcessSpectrum, ResultWithTooFewRowsRaises) {
    writer::ConvRecord halving = test::lateStart(1, 0);
    halving.heightStride = 2;
    ASSERT_TRUE(makeReady(processor, {conv(halving)}));
    EXPECT_THROW(processor.processSpectrum(frames[0]), std::runtime_error);
}

TEST_F(ProcessSpectrum, ResultWithMoreChannelsThanPromisedUsesTheFirst) {
    ASSERT_TRUE(makeReady(processor, {conv(test::channelMix({{0.25f, 9.0f, 9.0f}}))}));
    hearFirstBusAlone();
    const auto mixed = processor.processSpectrum(frames[0]);
    ASSERT_EQ(mixed.size(), 1U);
    expectNear(mixed.front(), test::scaled(product(toGrid(frames[0]), toGrid(frames[0])), 0.25),
               1e-5);
}

TEST_F(ProcessSpectrum, FailureOfALayerPassesUnchanged) {
    ASSERT_TRUE(makeReady(processor, {pass()}));
    test::putBehindInput(test::modelOf(processor, 0), [](auto&, const auto&) -> bool {
        throw std::domain_error("the layer gave up");
    });
    try {
        processor.processSpectrum(frames[0]);
        FAIL() << "no failure came through";
    } catch (const std::domain_error& failure) {
        EXPECT_STREQ(failure.what(), "the layer gave up");
    }
    // The frame had joined its queue by then.
    EXPECT_EQ(frames[0].useCount(), 2);
}

TEST_F(ProcessSpectrum, StreamStartsCleanAfterAFailureAndAReset) {
    ASSERT_TRUE(makeReady(processor, {conv(test::delayLine(1, 2))}));
    hearFirstBusAlone();
    auto fails = std::make_shared<bool>(false);
    test::putBehindInput(test::modelOf(processor, 0),
                         [=](ActionLayer& layer, const Tensor<float>& input) {
                             if (*fails) {
                                 throw std::runtime_error("now");
                             }
                             return layer.PropagateToConsumers(input, &layer);
                         });
    processor.processSpectrum(frames[0]);
    processor.processSpectrum(frames[1]);
    processor.processSpectrum(frames[2]);
    *fails = true;
    EXPECT_THROW(processor.processSpectrum(frames[3]), std::runtime_error);
    *fails = false;
    processor.reset();
    for (const ComplexSignal32& frame : frames) {
        EXPECT_EQ(frame.useCount(), 1);
    }
    EXPECT_TRUE(processor.processSpectrum(frames[4]).empty());
    EXPECT_TRUE(processor.processSpectrum(frames[5]).empty());
    const auto mixed = processor.processSpectrum(frames[6]);
    ASSERT_EQ(mixed.size(), 1U);
    expectPair(mixed.front(), 4, 4);
}

TEST_F(ProcessSpectrum, FailureInABlockLeavesTheProcessorToItsReset) {
    ASSERT_TRUE(makeReady(processor, {pass()}));
    const Signal32 noise = test::randomSamples(1, 100, 1);
    const Signal32 clean = processor.process(noise);
    auto fails = std::make_shared<bool>(true);
    test::putBehindInput(test::modelOf(processor, 0),
                         [=](ActionLayer& layer, const Tensor<float>& input) {
                             if (*fails) {
                                 throw std::runtime_error("now");
                             }
                             return layer.PropagateToConsumers(input, &layer);
                         });
    EXPECT_THROW(processor.process(noise), std::runtime_error);
    *fails = false;
    processor.reset();
    test::expectSame(processor.process(noise), clean);
}

TEST_F(ProcessSpectrum, NoHistoryOfItsOwnOutlivesAFrame) {
    ASSERT_TRUE(makeReady(processor, {pass()}));
    hearFirstBusAlone();
    const ComplexSignal32 first = processor.processSpectrum(frames[0]).front();
    ComplexSignal32 poisoned =
        test::constantSpectrum(1, smallBins, {std::numeric_limits<float>::quiet_NaN(), 1e30f});
    processor.processSpectrum(poisoned);
    test::expectSame(processor.processSpectrum(frames[0]).front(), first);
}

TEST_F(ProcessSpectrum, BinOfMinusZeroIsLikeZero) {
    ASSERT_TRUE(makeReady(processor, {pass()}));
    const ComplexSignal32 zeros = test::constantSpectrum(1, smallBins, {-0.0f, -0.0f});
    const auto mixed = processor.processSpectrum(zeros);
    ASSERT_EQ(mixed.size(), 1U);
    expectNear(mixed.front(), toGrid(zeros), 0.0);
}

}  // namespace
}  // namespace vorun
