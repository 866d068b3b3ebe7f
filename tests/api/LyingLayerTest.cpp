#include <cstdint>
#include <functional>
#include <gtest/gtest.h>
#include <limits>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "api/ApiModel.h"
#include "api/BoundedFileTest.h"
#include "api/LayerFiles.h"
#include "api/TestModels.h"

/* Layers whose record does not fit their input, their neighbours or itself. */
namespace vorun::apitest {
namespace {

using writer::LayerType;
using writer::ModelWriter;
using writer::TensorBlock;

constexpr std::int32_t huge = std::numeric_limits<std::int32_t>::max();
constexpr std::int32_t lowest = std::numeric_limits<std::int32_t>::min();

/** A layer "l" behind "input" with the block in the place of one of its tensors. */
using LayerWith = std::function<void(ModelWriter&, const TensorBlock&)>;

LayerWith firstOf(LayerType type, const std::vector<std::int32_t>& second) {
    return [=](ModelWriter& file, const TensorBlock& block) {
        file.addTwoTensors("l", "input", type, block, evenBlock(second));
    };
}

LayerWith secondOf(LayerType type, const std::vector<std::int32_t>& first) {
    return [=](ModelWriter& file, const TensorBlock& block) {
        file.addTwoTensors("l", "input", type, evenBlock(first), block);
    };
}

LayerWith attentionWith(TensorBlock writer::SelfAttentionRecord::*tensor, int lookahead) {
    return [=](ModelWriter& file, const TensorBlock& block) {
        writer::SelfAttentionRecord record{evenBlock({1, 1}), evenBlock({9}),
                                           static_cast<std::int8_t>(lookahead), evenBlock({2, 1})};
        record.*tensor = block;
        file.addSelfAttention("l", "input", record);
    };
}

LayerWith transposedWith(TensorBlock writer::TransposedConvRecord::*tensor, int outChannels) {
    return [=](ModelWriter& file, const TensorBlock& block) {
        writer::TransposedConvRecord record = decoderRecord(2, 3, 1, 1, 2, 1);
        record.outChannels = static_cast<std::int16_t>(outChannels);
        record.*tensor = block;
        file.addTransposedConv("l", "input", record);
    };
}

struct TensorPlace {
    std::string name;
    LayerWith write;
};

std::vector<TensorPlace> tensorPlaces() {
    using Attention = writer::SelfAttentionRecord;
    using Transposed = writer::TransposedConvRecord;
    return {
        {"NormOffset", firstOf(LayerType::norm, {1})},
        {"NormScale", secondOf(LayerType::norm, {1})},
        {"DenseWeights", firstOf(LayerType::dense, {9})},
        {"DenseBias", secondOf(LayerType::dense, {9, 9, 1})},
        {"TimeKernel", firstOf(LayerType::separableChannelConv, {3})},
        {"HeightKernel", secondOf(LayerType::separableChannelConv, {3})},
        {"Levels",
         [](ModelWriter& file, const TensorBlock& block) { file.addPreNorm("l", "input", block); }},
        {"Projection", attentionWith(&Attention::projection, 0)},
        {"ProjectionBias", attentionWith(&Attention::projectionBias, 1)},
        {"AttentionWeights", attentionWith(&Attention::attentionWeights, 1)},
        {"AttentionWeightsAtOnce", attentionWith(&Attention::attentionWeights, 0)},
        {"TransposedWeights", transposedWith(&Transposed::weights, 1)},
        {"TransposedWeightsOfTwoChannels", transposedWith(&Transposed::weights, 2)},
        {"TransposedBias", transposedWith(&Transposed::bias, 1)},
    };
}

class LyingLayerTensor : public BoundedFileTest, public testing::WithParamInterface<TensorPlace> {
  protected:
    void expectBoundedWith(const TensorBlock& block) {
        SCOPED_TRACE(testing::PrintToString(block.shape));
        ModelWriter file(smallHeader());
        GetParam().write(file, block);
        expectBounded(file.setOutputSource("l").bytes());
    }
};

TEST_P(LyingLayerTensor, OfOddShapeStaysBounded) {
    const std::vector<Shape> shapes = {{},
                                       {0},
                                       {1},
                                       {2},
                                       {5},
                                       {0, 0},
                                       {1, 2},
                                       {2, 1},
                                       {9, 1},
                                       {1, 9},
                                       {3, 3},
                                       {2, 2, 2},
                                       {9, 9, 2},
                                       {9, 8, 1},
                                       {1, 1, 1, 1},
                                       {2, 3, 1, 2},
                                       {2, 3, 2, 1},
                                       {1, 1, 3, 1},
                                       {1, 1, 1, 9},
                                       {2, 3, 2, 2},
                                       {0, 3, 1, 1},
                                       {2, 0, 1, 1},
                                       {2, 3, 0, 1},
                                       {2, 3, 1, 0},
                                       {0, 0, 0, 0},
                                       {1, 1, 1, 1, 3},
                                       Shape(127, 1),
                                       Shape(127, 0)};
    for (const Shape& shape : shapes) {
        std::size_t volume = shape.empty() ? 0 : 1;
        for (const std::int32_t dimension : shape) {
            volume *= static_cast<std::size_t>(dimension);
        }
        expectBoundedWith({shape, std::vector<float>(volume, 0.5f)});
    }
}

TEST_P(LyingLayerTensor, OfHugeOrNegativeShapeWithoutValuesStaysBounded) {
    const std::vector<Shape> shapes = {{huge},
                                       {-1},
                                       {lowest},
                                       {65536, 65536},
                                       {huge, 0},
                                       {0, huge},
                                       {huge, 0, 0},
                                       {-1, -1},
                                       {-1, 1},
                                       {1, -1},
                                       {-9, -9, 1},
                                       {huge, 0, 1, 1},
                                       {1, 0, 1, huge},
                                       {1, 1, huge, 0},
                                       {0, huge, 1, 1},
                                       {-2, -3, 1, 1},
                                       {2, 3, -1, -1},
                                       {65536, 65536, 1, 1},
                                       {0, 1, 1 << 26, 1},
                                       {1 << 20, 1, 1, 0},
                                       {1 << 20, 0}};
    for (const Shape& shape : shapes) {
        expectBoundedWith({shape, {}});
        expectBoundedWith({shape, {}, writer::ElementType::undefined});
    }
}

INSTANTIATE_TEST_SUITE_P(Places, LyingLayerTensor, testing::ValuesIn(tensorPlaces()),
                         [](const auto& each) { return each.param.name; });

class LyingTransposedLayer : public BoundedFileTest {
  protected:
    bool loadsBounded(const writer::TransposedConvRecord& record) {
        ModelWriter file(smallHeader());
        file.addTransposedConv("l", "input", record);
        return expectBounded(file.setOutputSource("l").bytes()).modelLoaded;
    }
};

TEST_F(LyingTransposedLayer, OfOddStridesStaysBounded) {
    using Record = writer::TransposedConvRecord;
    for (const auto field : {&Record::timeStride, &Record::heightStride, &Record::timeDilation,
                             &Record::reservedParameter, &Record::lookahead}) {
        for (const int value : {0, -1, -128, 2, 127}) {
            SCOPED_TRACE(value);
            Record record = decoderRecord(3, 3, 1, 1, 1, 1);
            record.*field = static_cast<std::int8_t>(value);
            const bool loaded = loadsBounded(record);
            if (field == &Record::timeStride && value < 1) {
                EXPECT_FALSE(loaded);
            }
            if (field == &Record::timeDilation || field == &Record::reservedParameter) {
                EXPECT_TRUE(loaded);
            }
        }
    }
}

TEST_F(LyingTransposedLayer, OfManyChannelsWithoutWeightsStaysBounded) {
    for (const int channels : {0, -1, -32768, 2, 3, 32767}) {
        for (const bool biased : {true, false}) {
            for (const std::int32_t inputs : {1, 2}) {
                SCOPED_TRACE(testing::Message() << channels << ", bias " << biased);
                writer::TransposedConvRecord record = decoderRecord(1, 1, inputs, 1, 1, 1);
                record.outChannels = static_cast<std::int16_t>(channels);
                if (!biased) {
                    record.bias = {{0}, {}};
                }
                const bool loaded = loadsBounded(record);
                if (channels < 0) {
                    EXPECT_FALSE(loaded);
                }
            }
        }
    }
}

class LyingJoin : public BoundedFileTest {
  protected:
    /** A file of a few layers of different heights, channels and delays, then a join "l". */
    static ModelWriter branches() {
        writer::ConvRecord half = constantStage(1, {0.5f});
        half.heightStride = 2;
        ModelWriter file(smallHeader());
        file.addConv("half", "input", half)
            .addConv("wide", "input", copyStage(1, 3))
            .addConv("none", "input", constantStage(1, {}))
            .addConv("late", "input", randomStage({2, 1, 1, 1}, 3, 1, 2));
        return file;
    }
    Exercise joined(const std::vector<std::string>& inputs, int operation) {
        ModelWriter file = branches();
        if (operation < 0) {
            file.addConcat("l", inputs);
        } else {
            file.addArithmetic("l", inputs, static_cast<std::int8_t>(operation));
        }
        bytes_ = file.setOutputSource("l").bytes();
        return expectBounded(bytes_);
    }
    /** The result of one frame of 9 bins fed to what joined() wrote last. */
    TensorValues resultOfAFrame() const {
        const TemporaryFile file(bytes_);
        ApiModel graph(file.path());
        return graph.run({{1, 9, 1}, std::vector<float>(9, 2.0f)});
    }
    static constexpr int concat = -1;

  private:
    std::vector<std::uint8_t> bytes_;
};

TEST_F(LyingJoin, OfFramesOfLessHeightRaises) {
    EXPECT_TRUE(joined({"input", "half"}, concat).modelLoaded);
    EXPECT_THROW(resultOfAFrame(), std::runtime_error);
    EXPECT_TRUE(joined({"half", "input"}, concat).modelLoaded);
    EXPECT_EQ(resultOfAFrame().shape, (Shape{1, 4, 2}));
}

TEST_F(LyingJoin, OfFramesOfLessVolumeRaises) {
    for (const int operation : {0, 1, 2, 3}) {
        EXPECT_TRUE(joined({"wide", "input"}, operation).modelLoaded);
        EXPECT_THROW(resultOfAFrame(), std::runtime_error) << operation;
        EXPECT_TRUE(joined({"input", "wide"}, operation).modelLoaded);
        EXPECT_EQ(resultOfAFrame().shape, (Shape{1, 9, 1})) << operation;
    }
}

TEST_F(LyingJoin, WithoutAnOperationPassesTheFirstFrameWhateverTheOthersAre) {
    for (const int operation : {4, 7, 127}) {
        EXPECT_TRUE(joined({"input", "half", "none"}, operation).modelLoaded);
        EXPECT_EQ(resultOfAFrame().values, std::vector<float>(9, 2.0f));
    }
}

TEST_F(LyingJoin, OfOneLayerTwiceWaitsForEver) {
    for (const int operation : {concat, 2}) {
        EXPECT_TRUE(joined({"input", "input"}, operation).modelLoaded);
        EXPECT_TRUE(resultOfAFrame().shape.empty());
        EXPECT_TRUE(joined({"wide", "late", "wide"}, operation).modelLoaded);
        EXPECT_TRUE(resultOfAFrame().shape.empty());
    }
}

TEST_F(LyingJoin, WithoutInputsGivesNothing) {
    for (const int operation : {concat, 2}) {
        EXPECT_TRUE(joined({}, operation).modelLoaded);
        EXPECT_TRUE(resultOfAFrame().shape.empty());
    }
}

TEST_F(LyingJoin, OfEmptyAndLateFramesStaysBounded) {
    for (const int operation : {concat, 0, 1, 2, 3, 9}) {
        for (const std::vector<std::string>& inputs : {std::vector<std::string>{"none", "input"},
                                                       {"input", "none"},
                                                       {"none", "wide"},
                                                       {"late", "input", "half"},
                                                       {"half", "late"},
                                                       {"none"},
                                                       {"wide"}}) {
            EXPECT_TRUE(joined(inputs, operation).modelLoaded);
        }
    }
}

TEST_F(LyingJoin, WithACountThatTheFileDoesNotHoldIsRefusedOrHasNoInputs) {
    for (const auto type : {LayerType::concat, LayerType::arithmetic}) {
        for (const int count : {-32768, -1, 1, 2, 255, 32767}) {
            ModelWriter file(smallHeader());
            const auto word = static_cast<std::uint16_t>(count);
            // A byte 2 stands where the operation would be.
            file.addRaw("l", static_cast<std::int16_t>(type),
                        {static_cast<std::uint8_t>(word), static_cast<std::uint8_t>(word >> 8U)})
                .setOutputSource("input");
            const bool loaded = expectBounded(file.bytes()).modelLoaded;
            EXPECT_EQ(loaded, count < 0 && type == LayerType::concat) << count;
        }
    }
}

TEST_F(LyingJoin, OfUnknownOrLaterLayersIsRefused) {
    for (const int operation : {concat, 2}) {
        EXPECT_FALSE(joined({"input", "nowhere"}, operation).modelLoaded);
        EXPECT_FALSE(joined({"l", "input"}, operation).modelLoaded);
    }
}

}  // namespace
}  // namespace vorun::apitest
