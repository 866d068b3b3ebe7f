#include <algorithm>
#include <gtest/gtest.h>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "inspect/InspectTools.h"
#include "neural/MemoryStream.h"
#include "neural/NeuralModel.h"

/** What the program says of a model is what the engine does with it. */
namespace vorun::test {
namespace {

using inspect::Frames;
using inspect::GraphFlow;
using writer::ConvRecord;
using writer::LayerType;
using writer::ModelHeader;
using writer::ModelWriter;
using writer::SelfAttentionRecord;

using Model = NeuralModel<float>;
using FloatTensor = Tensor<float>;

constexpr std::int16_t rows = 4;
constexpr std::int8_t channels = 2;

std::unique_ptr<Model> loaded(const ModelWriter& file) {
    auto model = std::make_unique<Model>();
    LoadReport report;
    if (!model->Load(std::make_shared<MemoryStream>(file.bytes()), report)) {
        throw std::logic_error(report.reason);
    }
    return model;
}

/** Runs one frame of ones, and gives what comes out. */
FloatTensor step(Model& model, std::int32_t height = rows, std::int32_t inChannels = channels) {
    FloatTensor input({1, height, inChannels});
    std::fill_n(input.data(), input.volume(), 1.0F);
    model.input->AddTensor(input, nullptr);
    return model.output->TakeResult();
}

std::uint64_t allocated() {
    return TensorData<float>::bytesAllocated();
}

TEST(EngineAgreement, EveryLayerGivesTheShapeAndRateThatIsTold) {
    constexpr int frames = 40;
    constexpr double mostLate = 4.0;
    const GraphFlow graph = followed(everyLayer());
    const inspect::FileContents contents = decoded(everyLayer().bytes());
    for (std::size_t i = 0; i < contents.layers.size(); ++i) {
        ModelWriter file = everyLayer();
        file.setOutputSource(contents.layers[i].name);
        const auto model = loaded(file);
        const Frames& told = graph.layers[i].flow->output;
        double given = 0;
        for (int frame = 0; frame < frames; ++frame) {
            const FloatTensor result = step(*model);
            given += result.dim(0);
            if (result.dim(0) > 0) {
                EXPECT_EQ(result.dim(1), told.height) << contents.layers[i].name;
                EXPECT_EQ(result.dim(2), told.channels) << contents.layers[i].name;
            }
        }
        EXPECT_NEAR(given, told.rate.value() * frames, mostLate) << contents.layers[i].name;
    }
}

/** Layers whose tensors are all taken at the load and the first frame that comes out. */
std::vector<ModelWriter> singleLayers() {
    const ModelHeader header = headerOf(rows, channels);
    ConvRecord conv = convOf({3, 2, channels, 5});
    conv.bias = blockOf({5});
    conv.timeDilation = 4;
    SelfAttentionRecord attention;
    attention.projection = blockOf({channels, channels});
    attention.projectionBias = blockOf({rows, channels});
    attention.attentionWeights = blockOf({3, channels});
    std::vector<ModelWriter> files(12, ModelWriter(header));
    files[0].addConv("x", "input", conv);
    files[1].addConv("x", "input", convOf({2, 1, 1, 6}));
    files[2].addTwoTensors("x", "input", LayerType::norm, blockOf({channels}), blockOf({channels}));
    files[3].addTwoTensors("x", "input", LayerType::dense, blockOf({rows, rows, channels}),
                           blockOf({}));
    files[4].addPreNorm("x", "input", blockOf({7}));
    files[5].addSelfAttention("x", "input", attention);
    files[6].addActivation("x", "input", LayerType::relu);
    files[7].addActivation("x", "input", LayerType::elu);
    files[8].addLeakyRelu("x", "input", 0.5F);
    files[9].addActivation("x", "input", LayerType::softplus);
    files[10].addTwoTensors("x", "input", LayerType::separableChannelConv, blockOf({1}),
                            blockOf({3}));
    files[11].addTransposedConv("x", "input", transposedOf({2, 3, 5, channels}, 5));
    for (ModelWriter& file : files) {
        file.setOutputSource("x");
    }
    return files;
}

/** A model of `height` rows until its first frame has come out. */
void expectMemoryAsTold(const ModelWriter& file, std::int32_t height, int inChannels = channels) {
    const inspect::FileContents contents = decoded(file.bytes());
    const GraphFlow graph = followGraph(contents);
    const std::uint64_t before = allocated();
    const auto model = loaded(file);
    const FloatTensor result = step(*model, height, inChannels);
    // What goes in, and the copy that comes out, are the caller's.
    const std::int64_t callers = (std::int64_t{height} * inChannels + result.volume()) * 4;
    EXPECT_EQ(
        static_cast<double>(allocated() - before),
        graph.weightBytes + graph.historyBytes + graph.outputBytes + static_cast<double>(callers))
        << "type " << contents.layers[0].type;
    // Nothing is left for later frames to take.
    const std::uint64_t settled = allocated();
    const FloatTensor next = step(*model, height, inChannels);
    EXPECT_EQ(static_cast<std::int64_t>(allocated() - settled),
              (std::int64_t{height} * inChannels + next.volume()) * 4);
}

TEST(EngineAgreement, MemoryIsWhatTheEngineTakes) {
    for (const ModelWriter& file : singleLayers()) {
        expectMemoryAsTold(file, rows);
    }
}

/** Convolutions with columns where there are bins and channels for them, and without. */
std::vector<ConvRecord> columnConvolutions(int inChannels, int outChannels) {
    std::vector<ConvRecord> records(8, convOf({3, 8, inChannels, outChannels}));
    records[1].timeDilation = 4;
    records[2].timeDilation = 0;
    records[3].timeStride = 2;
    records[4].heightStride = 2;
    records[5].heightStride = 3;
    records[6] = convOf({1, 40, inChannels, outChannels});
    records[6].timeDilation = 0;
    // Of one channel each.
    records[7] = convOf({2, 9, 1, 2 * outChannels});
    return records;
}

/** Heights below and above that from which channels are summed by column, in every way. */
TEST(EngineAgreement, MemoryOfColumnsIsWhatTheEngineTakes) {
    for (const int height : {15, 16, 17, 33, 34, 67}) {
        for (const int outChannels : {1, 4, 6, 7, 10, 11, 13, 16, 18, 28, 40}) {
            SCOPED_TRACE(std::to_string(height) + " rows to " + std::to_string(outChannels));
            for (const int inChannels : {1, 2}) {
                for (const ConvRecord& record : columnConvolutions(inChannels, outChannels)) {
                    ModelWriter file(headerOf(static_cast<std::int16_t>(height),
                                              static_cast<std::int8_t>(inChannels)));
                    file.addConv("x", "input", record).setOutputSource("x");
                    expectMemoryAsTold(file, height, inChannels);
                }
            }
            for (const std::int8_t stride : std::vector<std::int8_t>{1, 2, 3}) {
                // A kernel of one channel stays an ordinary one only in front of one.
                for (const int given : {outChannels, outChannels == 1 ? 1 : 41}) {
                    writer::TransposedConvRecord record = transposedOf(
                        {3, 20, outChannels, channels}, static_cast<std::int16_t>(given));
                    record.heightStride = stride;
                    ModelWriter file(headerOf(static_cast<std::int16_t>(height), channels));
                    file.addTransposedConv("x", "input", record).setOutputSource("x");
                    expectMemoryAsTold(file, height);
                }
            }
        }
    }
}

/** Models that load and cannot run; the faults are those of LayerFaultTest. */
std::vector<ModelWriter> faultyModels() {
    const ModelHeader header = headerOf(rows, channels);
    ConvRecord half = convOf({1, 1, channels, channels});
    half.heightStride = 2;
    SelfAttentionRecord attention;
    attention.projection = blockOf({1, channels});
    attention.projectionBias = blockOf({rows, channels});
    std::vector<ModelWriter> files(7, ModelWriter(header));
    files[0].addConv("x", "input", convOf({1, 1, 3, 2}));
    files[1].addTransposedConv("x", "input", transposedOf({1, 1, 2, 3}, 2));
    files[2].addTwoTensors("x", "input", LayerType::dense, blockOf({3, 3, 2}), blockOf({}));
    files[3].addTwoTensors("x", "input", LayerType::norm, blockOf({1}), blockOf({1}));
    files[4].addSelfAttention("x", "input", attention);
    files[5].addConv("h", "input", half).addArithmetic("x", {"input", "h"}, 2);
    files[6].addConcat("x", {"input", "input"});
    for (ModelWriter& file : files) {
        file.setOutputSource("x");
    }
    return files;
}

/** Whether a frame comes out within a few that go in. */
bool runs(Model& model) {
    try {
        for (int frame = 0; frame < 5; ++frame) {
            if (step(model).volume() > 0) {
                return true;
            }
        }
        return false;
    } catch (const std::exception&) {
        return false;
    }
}

TEST(EngineAgreement, WhatIsWarnedOfDoesNotRun) {
    for (const ModelWriter& file : faultyModels()) {
        EXPECT_FALSE(followed(file).warnings.empty());
        EXPECT_FALSE(runs(*loaded(file))) << followed(file).warnings.front();
    }
}

TEST(EngineAgreement, WhatIsNotWarnedOfRuns) {
    for (const ModelWriter& file : singleLayers()) {
        const inspect::FileContents contents = decoded(file.bytes());
        EXPECT_TRUE(followed(file).warnings.empty()) << contents.layers[0].type;
        EXPECT_TRUE(runs(*loaded(file))) << contents.layers[0].type;
    }
    EXPECT_TRUE(runs(*loaded(everyLayer())));
}

}  // namespace
}  // namespace vorun::test
