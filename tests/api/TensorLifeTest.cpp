#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <stdexcept>
#include <vector>

#include "api/ApiModel.h"
#include "api/Samples.h"
#include "api/TestModels.h"

namespace vorun::apitest {
namespace {

TestModel passThrough() {
    return {frameHeader(32, 32, 16), {}};
}

/** One output channel that doubles the input, `lookahead` frames late. */
TestModel doubler(int lookahead) {
    TestModel model{frameHeader(32, 32, 16), {copyStage(1, 1, 2.0F)}};
    std::get<writer::ConvRecord>(model.network[0]).lookahead = static_cast<std::int8_t>(lookahead);
    return model;
}

TensorValues noiseTensor(const Shape& shape, unsigned seed = 1) {
    int volume = 1;
    for (const std::int32_t dimension : shape) {
        volume *= dimension;
    }
    return {shape, whiteNoise(1, volume, seed).front()};
}

void expectSame(const TensorValues& actual, const TensorValues& expected) {
    EXPECT_EQ(actual.shape, expected.shape);
    EXPECT_TRUE(sameBits({actual.values}, {expected.values}));
}

TEST(TensorModel, MissingForeignAndOldFilesGiveNull) {
    EXPECT_EQ(vorunCreateModel("/nonexistent/model.file"), nullptr);
    EXPECT_EQ(vorunCreateModel(""), nullptr);
    EXPECT_EQ(vorunCreateModel("."), nullptr);
    TestModel model = passThrough();
    model.header.tag = "VORUM.model";
    EXPECT_FALSE(ApiModel(TemporaryModel(model).path()).created());
    model = passThrough();
    model.header.version = 4099;
    EXPECT_FALSE(ApiModel(TemporaryModel(model).path()).created());
}

TEST(TensorModel, DeletingNullDoesNothing) {
    vorunDeleteModel(nullptr);
}

TEST(TensorModel, AFileWithoutLayersGivesTensorsBackUnchanged) {
    const TemporaryModel file(passThrough());
    ApiModel model(file.path());
    ASSERT_TRUE(model.created());
    for (const Shape& shape : {Shape{1, 5, 1}, Shape{2, 3, 4}, Shape{7, 1, 1}}) {
        const TensorValues input = noiseTensor(shape);
        expectSame(model.run(input), input);
    }
}

TEST(TensorModel, KeepsEveryBitOfSpecialValues) {
    const TemporaryModel file(passThrough());
    ApiModel model(file.path());
    constexpr float infinity = std::numeric_limits<float>::infinity();
    const TensorValues input{
        {1, 6, 1},
        {std::numeric_limits<float>::quiet_NaN(), infinity, -infinity, -0.0F, 1e-45F, -3e38F}};
    expectSame(model.run(input), input);
}

TEST(TensorModel, HasNoResultBeforeTheFirstTensor) {
    const TemporaryModel file(passThrough());
    const ApiModel model(file.path());
    std::int32_t shape[3] = {7, 8, 9};
    float value = 42.0F;
    EXPECT_FALSE(vorunGetTensor(model.handle(), &value));
    EXPECT_FALSE(vorunGetResultTensorShape(model.handle(), 3, shape));
    EXPECT_TRUE(vorunGetResultTensorShape(model.handle(), 0, shape));
    EXPECT_TRUE(vorunGetResultTensorShape(model.handle(), 0, nullptr));
    EXPECT_EQ(shape[0], 7);
    EXPECT_EQ(shape[1], 8);
    EXPECT_EQ(shape[2], 9);
    EXPECT_EQ(value, 42.0F);
}

TEST(TensorModel, TellsTheShapeOnlyToTheRightRank) {
    const TemporaryModel file(passThrough());
    ApiModel model(file.path());
    model.add(noiseTensor({2, 3, 4}));
    std::int32_t shape[4] = {7, 7, 7, 7};
    for (const std::int32_t rank :
         {0, 1, 2, 4, -1, -3, 1000000, std::numeric_limits<std::int32_t>::min()}) {
        EXPECT_FALSE(vorunGetResultTensorShape(model.handle(), rank, shape)) << rank;
        EXPECT_EQ(shape[0], 7) << rank;
    }
    EXPECT_TRUE(vorunGetResultTensorShape(model.handle(), 3, shape));
    EXPECT_EQ(Shape(shape, shape + 4), (Shape{2, 3, 4, 7}));
}

TEST(TensorModel, GivesTheSameResultAsOftenAsAsked) {
    const TemporaryModel file(passThrough());
    ApiModel model(file.path());
    const TensorValues input = noiseTensor({1, 4, 2});
    model.add(input);
    expectSame(model.result(), input);
    expectSame(model.result(), input);
}

TEST(TensorModel, CopiesTheHostsData) {
    const TemporaryModel file(passThrough());
    ApiModel model(file.path());
    TensorValues input = noiseTensor({1, 4, 2});
    const TensorValues kept = input;
    model.add(input);
    input.values.assign(8, 1e9F);
    expectSame(model.result(), kept);
}

TEST(TensorModel, WritesNoMoreThanTheResult) {
    const TemporaryModel file(passThrough());
    ApiModel model(file.path());
    model.add(noiseTensor({1, 4, 1}));
    std::vector<float> out(6, 77.0F);
    EXPECT_TRUE(vorunGetTensor(model.handle(), out.data()));
    EXPECT_EQ(out[4], 77.0F);
    EXPECT_EQ(out[5], 77.0F);
}

TEST(TensorModel, OfLatencyOneAnswersFromTheSecondFrameOn) {
    const TemporaryModel file(doubler(1));
    ApiModel model(file.path());
    model.add({{1, 1, 1}, {3.0F}});
    EXPECT_FALSE(model.hasResult());
    // Two frames are in the ring by then; the kernel of one frame meets the newest.
    expectSame(model.run({{1, 1, 1}, {5.0F}}), {{1, 1, 1}, {10.0F}});
    expectSame(model.run({{1, 1, 1}, {7.0F}}), {{1, 1, 1}, {14.0F}});
}

TEST(TensorModel, ATensorThatGivesNothingClearsTheEarlierResult) {
    TestModel strided = doubler(0);
    std::get<writer::ConvRecord>(strided.network[0]).timeStride = 2;
    const TemporaryModel file(strided);
    ApiModel model(file.path());
    model.add({{1, 1, 1}, {3.0F}});
    EXPECT_TRUE(model.hasResult());
    model.add({{1, 1, 1}, {3.0F}});
    EXPECT_FALSE(model.hasResult());
    float value = 42.0F;
    EXPECT_FALSE(vorunGetTensor(model.handle(), &value));
    EXPECT_EQ(value, 42.0F);
    EXPECT_TRUE(vorunGetResultTensorShape(model.handle(), 0, nullptr));
}

TEST(TensorModel, ResetKeepsTheResultAndRestartsTheStream) {
    const TemporaryModel file(livelyMasks(frameHeader(32, 32, 16), 3, 1));
    ApiModel model(file.path());
    const TensorValues input = noiseTensor({5, 6, 1});
    const TensorValues first = model.run(input);
    ASSERT_EQ(first.shape, (Shape{4, 6, 1}));
    model.reset();
    expectSame(model.result(), first);
    expectSame(model.run(input), first);
    EXPECT_EQ(model.run(input).shape, (Shape{5, 6, 1}));
}

TEST(TensorModel, ResetBeforeTheFirstTensorChangesNothing) {
    const TemporaryModel file(livelyMasks(frameHeader(32, 32, 16), 3));
    ApiModel fresh(file.path());
    ApiModel model(file.path());
    model.reset();
    model.reset();
    EXPECT_FALSE(model.hasResult());
    const TensorValues input = noiseTensor({3, 6, 1});
    expectSame(model.run(input), fresh.run(input));
}

TEST(TensorModel, HandlesOfOneFileDoNotShareState) {
    const TemporaryModel file(livelyMasks(frameHeader(32, 32, 16), 3));
    ApiModel alone(file.path());
    ApiModel first(file.path());
    ApiModel second(file.path());
    for (unsigned i = 0; i < 6; ++i) {
        const TensorValues input = noiseTensor({1, 6, 1}, i);
        second.run(noiseTensor({1, 6, 1}, i + 100));
        expectSame(first.run(input), alone.run(input));
    }
}

TEST(TensorShapes, OfRankZeroGiveAResultWithoutFrames) {
    const TemporaryModel file(passThrough());
    ApiModel model(file.path());
    vorunAddTensor(model.handle(), nullptr, 0, nullptr);
    std::int32_t shape[3] = {7, 7, 7};
    EXPECT_TRUE(vorunGetResultTensorShape(model.handle(), 3, shape));
    EXPECT_EQ(Shape(shape, shape + 3), (Shape{0, 0, 0}));
    float value = 42.0F;
    EXPECT_FALSE(vorunGetTensor(model.handle(), &value));
    EXPECT_EQ(value, 42.0F);
}

TEST(TensorShapes, WithoutElementsGiveAShapeAndNothingToCopy) {
    const TemporaryModel file(passThrough());
    ApiModel model(file.path());
    for (const Shape& shape : {Shape{0, 4, 2}, Shape{3, 0, 2}, Shape{3, 4, 0}}) {
        model.add({shape, {}});
        EXPECT_TRUE(model.hasResult());
        EXPECT_EQ(model.result().shape, shape);
        float value = 42.0F;
        EXPECT_FALSE(vorunGetTensor(model.handle(), &value));
        EXPECT_EQ(value, 42.0F);
    }
}

TEST(TensorShapes, OfRankOneAndTwoHaveNoChannelsAndRaise) {
    const TemporaryModel file(passThrough());
    ApiModel model(file.path());
    EXPECT_THROW(model.add(noiseTensor({5})), std::runtime_error);
    model.reset();
    EXPECT_THROW(model.add(noiseTensor({5, 2})), std::runtime_error);
    model.reset();
    expectSame(model.run(noiseTensor({1, 2, 1})), noiseTensor({1, 2, 1}));
}

TEST(TensorShapes, OfRankFourFitOnlyIfTheLastDimensionIsOne) {
    const TemporaryModel file(passThrough());
    ApiModel model(file.path());
    const TensorValues input = noiseTensor({2, 3, 2, 1});
    expectSame(model.run(input), {{2, 3, 2}, input.values});
    EXPECT_THROW(model.add(noiseTensor({2, 3, 2, 2})), std::runtime_error);
    model.reset();
    expectSame(model.run(noiseTensor({1, 2, 1})), noiseTensor({1, 2, 1}));
}

TEST(TensorShapes, WithNegativeDimensionsRaise) {
    const TemporaryModel file(passThrough());
    ApiModel model(file.path());
    const std::vector<float> data(64, 1.0F);
    for (const Shape& shape :
         {Shape{-1, 2, 2}, Shape{2, -1, 2}, Shape{2, 2, -1}, Shape{-1, -1, 2}, Shape{-2, -2, -2},
          Shape{0, -1, 2}, Shape{std::numeric_limits<std::int32_t>::min(), 2, 1}}) {
        EXPECT_THROW(vorunAddTensor(model.handle(), data.data(), 3, shape.data()),
                     std::runtime_error);
    }
}

TEST(TensorShapes, WhoseElementsCannotBeCountedIn31BitsRaise) {
    const TemporaryModel file(passThrough());
    ApiModel model(file.path());
    const std::vector<float> data(64, 1.0F);
    constexpr std::int32_t huge = std::numeric_limits<std::int32_t>::max();
    for (const Shape& shape : {Shape{65536, 65536, 1}, Shape{65536, 32768, 1}, Shape{huge, 2, 1},
                               Shape{huge, huge, huge}, Shape{1 << 16, 1 << 16, 1 << 16}}) {
        EXPECT_THROW(vorunAddTensor(model.handle(), data.data(), 3, shape.data()),
                     std::runtime_error);
    }
}

TEST(TensorShapes, OfNegativeRankRaise) {
    const TemporaryModel file(passThrough());
    ApiModel model(file.path());
    const std::int32_t shape[3] = {1, 1, 1};
    const float value = 1.0F;
    for (const std::int32_t rank : {-1, -3, std::numeric_limits<std::int32_t>::min()}) {
        EXPECT_THROW(vorunAddTensor(model.handle(), &value, rank, shape), std::exception);
    }
}

TEST(TensorExceptions, CrossTheLibrarysBorderWithTypeAndText) {
    const TemporaryModel file(passThrough());
    ApiModel model(file.path());
    const std::int32_t shape[3] = {1, 1, 1};
    try {
        vorunAddTensor(model.handle(), nullptr, 3, shape);
        FAIL() << "no exception";
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "IPP exception: ippStsNullPtrErr: Null pointer error");
    }
    model.add({{1, 1, 1}, {3.0F}});
    try {
        vorunGetTensor(model.handle(), nullptr);
        FAIL() << "no exception";
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "IPP exception: ippStsNullPtrErr: Null pointer error");
    }
}

TEST(TensorExceptions, LeaveTheEarlierResultAndAModelThatAResetHeals) {
    const TemporaryModel file(livelyMasks(frameHeader(32, 32, 16, 2, 2), 3));
    ApiModel fresh(file.path());
    ApiModel model(file.path());
    const TensorValues input = noiseTensor({2, 6, 2});
    const TensorValues first = model.run(input);
    EXPECT_THROW(model.add({{-1, 6, 2}, {}}), std::runtime_error);
    expectSame(model.result(), first);
    model.reset();
    expectSame(model.run(input), fresh.run(input));
}

}  // namespace
}  // namespace vorun::apitest
