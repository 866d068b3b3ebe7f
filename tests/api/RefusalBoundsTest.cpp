#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include "api/ApiModel.h"
#include "api/ApiProcessor.h"
#include "api/BoundedFileTest.h"
#include "api/TestModels.h"

/* What is refused must be refused before it takes memory or time. */
namespace vorun::apitest {
namespace {

constexpr std::size_t fewMegabytes = std::size_t{16} << 20U;

using RefusedCreation = BoundedFileTest;
using RefusedTensor = BoundedFileTest;

TestModel maskModel() {
    return constantMasks(frameHeader(512, 512, 256), {0.5f});
}

TEST_F(RefusedCreation, AnOddTransformGivesNull) {
    const TemporaryModel file(constantMasks(frameHeader(11, 10, 5), {0.5f}));
    EXPECT_FALSE(ApiProcessor(file.path(), 1, 48000.0).created());
    EXPECT_TRUE(ApiProcessor(file.path(), 1, 96000.0).created());
}

TEST_F(RefusedCreation, AModelRateFarBelowTheHostsTakesNoMemory) {
    TestModel model = maskModel();
    model.header.sampleRate = 0.4;
    const TemporaryModel file(model);
    expectPeakWithin(fewMegabytes,
                     [&] { EXPECT_FALSE(ApiProcessor(file.path(), 1, 48000.0).created()); });
}

TEST_F(RefusedCreation, ChannelsBeyondOneBlockTakeNoMemory) {
    const TemporaryModel file(maskModel());
    for (const std::int32_t channels : {30000000, std::numeric_limits<std::int32_t>::max()}) {
        expectPeakWithin(fewMegabytes, [&] {
            EXPECT_FALSE(ApiProcessor(file.path(), channels, 48000.0).created());
        });
    }
}

TEST_F(RefusedTensor, ManyFramesWithoutElementsRaiseAndTakeNoMemory) {
    TestModel model{frameHeader(32, 32, 16), {constantStage(1, {1.0f})}};
    const TemporaryModel file(model);
    ApiModel graph(file.path());
    const float nothing = 0.0f;
    constexpr std::int32_t huge = std::numeric_limits<std::int32_t>::max();
    for (const std::vector<std::int32_t>& shape :
         {std::vector<std::int32_t>{huge, 0, 1}, {huge, 1, 0}, {65537, 0, 1}}) {
        expectPeakWithin(fewMegabytes, [&] {
            EXPECT_THROW(vorunAddTensor(graph.handle(), &nothing, 3, shape.data()),
                         std::runtime_error);
        });
    }
    const std::int32_t allowed[] = {65536, 0, 1};
    EXPECT_NO_THROW(vorunAddTensor(graph.handle(), &nothing, 3, allowed));
}

TEST(RefusedModel, ManyLayersWithoutWeightsMayNotTakeMoreThanTheFileExplains) {
    writer::ModelWriter file(frameHeader(32, 32, 16));
    writer::ConvRecord record;
    record.weights = {{3000, 1, 1, 0}, {}};
    record.bias = {{0}, {}};
    record.timeDilation = 127;
    for (int i = 0; i < 80; ++i) {
        file.addConv(std::to_string(i), "input", record);
    }
    const TemporaryFile many(file.bytes());
    EXPECT_EQ(vorunCreateModel(many.path().c_str()), nullptr);
}

TEST(OddModel, TapsWithoutWeightsCostNoTime) {
    // Ten thousand frames times ten thousand bins of kernel for each of 4096 output bins, all
    // empty: walked one by one they would take hours.
    writer::ConvRecord record;
    record.weights = {{10000, 10000, 1, 0}, {}};
    record.bias = {{0}, {}};
    record.timeDilation = 0;
    const TemporaryModel file(TestModel{frameHeader(32, 32, 16), {record}});
    ApiModel graph(file.path());
    const std::vector<float> frame(4096, 1.0f);
    const std::int32_t shape[] = {1, 4096, 1};
    vorunAddTensor(graph.handle(), frame.data(), 3, shape);
    EXPECT_EQ(graph.result().shape, (Shape{1, 4096, 0}));
}

}  // namespace
}  // namespace vorun::apitest
