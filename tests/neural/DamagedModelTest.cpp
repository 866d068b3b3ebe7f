#include <algorithm>
#include <cstdint>
#include <gtest/gtest.h>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "neural/GraphTools.h"
#include "neural/MemoryStream.h"

namespace vorun {
namespace {

using test::countingTensor;
using test::evaluate;
using test::FloatTensor;
using test::MemoryStream;
using writer::ConvRecord;
using writer::ElementType;
using writer::LayerType;
using writer::ModelHeader;
using writer::ModelWriter;

using Bytes = std::vector<std::uint8_t>;

constexpr std::int32_t testHeight = 6;
constexpr std::uint64_t kibibyte = 1024;

ConvRecord smallConv(std::vector<std::int32_t> shape, ElementType elementType) {
    const std::int32_t outChannels = shape.back();
    ConvRecord record = test::uniformConv(std::move(shape), 0.5F);
    record.bias = {{outChannels}, std::vector<float>(static_cast<std::size_t>(outChannels), 0.25F)};
    record.weights.elementType = elementType;
    record.bias.elementType = elementType;
    return record;
}

Bytes passThrough() {
    return ModelWriter().bytes();
}

/** Halves, a stride, a dilation, a look-ahead, a depthwise layer and a fork. */
Bytes convolutions() {
    ConvRecord first = smallConv({2, 3, 1, 2}, ElementType::half);
    first.timeDilation = 2;
    first.lookahead = 1;
    ConvRecord second = smallConv({1, 2, 1, 4}, ElementType::single);
    second.heightStride = 2;
    second.timeStride = 2;
    ModelWriter file;
    file.addConv("a", "input", first)
        .addLeakyRelu("b", "a", 0.125F)
        .addConv("c", "b", second)
        .addActivation("d", "b", LayerType::sigmoid)
        .setOutputSource("c");
    return file.bytes();
}

/** The oldest version, the other tag, split bins and every activation. */
Bytes oldActivations() {
    ModelHeader header;
    header.tag = "ZUTo.model";
    header.version = 4100;
    header.inputFormat = 2;
    header.outputFormat = 2;
    ModelWriter file(header);
    file.addActivation("e", "input", LayerType::elu)
        .addActivation("h", "e", LayerType::hardSigmoid)
        .addActivation("s", "h", LayerType::softplus)
        .addConv("c", "s", smallConv({1, 1, 1, 1}, ElementType::single))
        .addActivation("r", "c", LayerType::relu)
        .setOutputSource("r");
    return file.bytes();
}

writer::TensorBlock halves(std::vector<std::int32_t> shape) {
    writer::TensorBlock block = test::uniformConv(std::move(shape), 0.5F).weights;
    block.elementType = ElementType::half;
    return block;
}

/** Every layer without look-ahead over 6 bins and one channel; old rules if the version is old. */
Bytes mixing(std::int32_t version) {
    ModelHeader header;
    header.version = version;
    ModelWriter file(header);
    file.addPreNorm("p", "input", halves({3}))
        .addTwoTensors("n", "p", LayerType::norm, halves({1}), halves({1}))
        .addTwoTensors("s", "n", LayerType::separableChannelConv, halves({3}), halves({3}))
        .addSelfAttention("a", "s", {halves({1, 1}), halves({testHeight}), 1, halves({2, 1})})
        .addTwoTensors("d", "a", LayerType::dense, halves({testHeight, testHeight, 1}),
                       halves({testHeight}))
        .setOutputSource("d");
    return file.bytes();
}

/** An encoder and a decoder, with both joins behind them. */
Bytes skips(std::int32_t version) {
    ModelHeader header;
    header.version = version;
    ConvRecord encoder = smallConv({2, 2, 1, 2}, ElementType::half);
    encoder.timeStride = 2;
    encoder.heightStride = 2;
    writer::TransposedConvRecord decoder;
    decoder.weights = halves({3, 2, 1, 2});
    decoder.bias = halves({1});
    decoder.timeStride = 2;
    decoder.heightStride = 2;
    ModelWriter file(header);
    file.addConv("e", "input", encoder)
        .addTransposedConv("t", "e", decoder)
        .addArithmetic("m", {"input", "t"}, 1)
        .addConcat("c", {"m", "t", "input"})
        .setOutputSource("c");
    return file.bytes();
}

const std::vector<std::pair<std::string, Bytes>>& validFiles() {
    static const std::vector<std::pair<std::string, Bytes>> files = {
        {"pass-through", passThrough()},
        {"convolutions", convolutions()},
        {"old activations", oldActivations()},
        {"mixing", mixing(4105)},
        {"old mixing", mixing(4102)},
        {"skips", skips(4105)},
        {"old skips", skips(4103)}};
    return files;
}

/**
 * Tensor memory of a load: 16-bit values double, blocks without values count up to twice the file
 * or 64 KiB.
 */
std::uint64_t loadBound(std::size_t fileSize) {
    return 4 * fileSize + 64 * kibibyte;
}

/**
 * Tensor memory of the frames: a history has at most 127 rows for each kernel frame, of which a
 * file holds no more than bytes; a convolution's output has no more channels than that.
 */
std::uint64_t runBound(std::size_t fileSize) {
    return 512 * kibibyte + 127 * fileSize * 4 * 64;
}

void runFrames(NeuralModel<float>& model) {
    for (const std::int32_t channels : {1, 2}) {
        for (int frame = 0; frame < 3; ++frame) {
            try {
                evaluate(model, countingTensor({1, testHeight, channels}));
                evaluate(model, countingTensor({2, testHeight, channels}));
            } catch (const std::runtime_error&) {
                // A shape that the damaged layers cannot take: a refusal, not a fault.
            }
        }
    }
    model.Reset();
}

/** Loads what may be damaged and runs what loads; memory stays in proportion to the file. */
bool survives(const Bytes& bytes) {
    const std::uint64_t start = TensorData<float>::bytesAllocated();
    const auto stream = std::make_shared<MemoryStream>(bytes);
    NeuralModel<float> model;
    const bool loaded = model.Load(stream);
    const std::uint64_t afterLoad = TensorData<float>::bytesAllocated();
    EXPECT_LE(afterLoad - start, loadBound(bytes.size()));
    EXPECT_LE(stream->largestRequest(), std::max<std::size_t>(bytes.size(), 8));
    runFrames(model);
    EXPECT_LE(TensorData<float>::bytesAllocated() - afterLoad, runBound(bytes.size()));
    return loaded;
}

TEST(DamagedModel, UndamagedFilesLoad) {
    for (const auto& [name, bytes] : validFiles()) {
        EXPECT_TRUE(survives(bytes)) << name;
    }
}

TEST(DamagedModel, FileCutAtAnyLengthIsRefused) {
    for (const auto& [name, bytes] : validFiles()) {
        for (std::size_t length = 0; length < bytes.size(); ++length) {
            const Bytes cut(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(length));
            EXPECT_FALSE(survives(cut)) << name << " cut at " << length;
        }
    }
}

TEST(DamagedModel, AnyByteChangedIsRefusedOrRuns) {
    for (const auto& [name, bytes] : validFiles()) {
        std::size_t refused = 0;
        for (std::size_t i = 0; i < bytes.size(); ++i) {
            for (const std::uint8_t value : Bytes{0, 1, 127, 128, 255}) {
                SCOPED_TRACE(name + " byte " + std::to_string(i) + " set to " +
                             std::to_string(value));
                Bytes damaged = bytes;
                damaged[i] = value;
                refused += survives(damaged) ? 0 : 1;
            }
        }
        EXPECT_GT(refused, bytes.size() / 4) << name;
    }
}

TEST(DamagedModel, SeveralBytesChangedAreRefusedOrRun) {
    for (std::uint32_t seed = 1; seed <= 1500; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 engine(seed);
        Bytes damaged = validFiles()[seed % validFiles().size()].second;
        std::uniform_int_distribution<std::size_t> place(0, damaged.size() - 1);
        std::uniform_int_distribution<int> byte(0, 255);
        for (int i = 0; i < 3; ++i) {
            damaged[place(engine)] = static_cast<std::uint8_t>(byte(engine));
        }
        survives(damaged);
    }
}

}  // namespace
}  // namespace vorun
